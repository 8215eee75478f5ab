/*
 * A small messaging host: starts the engine on the installation whose program directory is the first argument, rates a
 * message, lets the user correct the verdict, keeps the black list, and stops. ASCII arguments are enough for an
 * example. Usage: host PROGRAM_DIR NUMBER TEXT [ham|spam]
 */
#include <stdio.h>
#include <string.h>
#include <velq.h>

enum { CAPACITY = 1024 };

static const char *resultText(int32_t code)
{
    switch (code) {
    case VELQ_SUCCESS:
        return "done";
    case VELQ_NOT_INITIALIZED:
        return "the engine is not started";
    case VELQ_ERR_FAILED:
        return "failed, see the log";
    case VELQ_ERR_BUSY:
        return "a data update is running, try again later";
    case VELQ_ERR_DATABASE_FULL:
        return "no room for the data files";
    case VELQ_ERR_NOT_SUPPORTED:
        return "not offered";
    case VELQ_ERR_BATCH_FAILED:
        return "the batch could not be stored";
    case VELQ_ERR_BATCH_ARGUMENT:
        return "bad batch";
    default:
        return "unknown result";
    }
}

static void widen(VELQ_WideChar *wide, const char *ascii)
{
    size_t i = 0;
    for (; ascii[i] != '\0' && i + 1 < CAPACITY; ++i) {
        wide[i] = (VELQ_WideChar)(unsigned char)ascii[i];
    }
    wide[i] = 0;
}

/* Prints the black list; every list that the engine hands out goes back to it. */
static int printBlackList(void)
{
    NumberListNode *list = NULL;
    int32_t code = VELQ_GetBlackNumberList(&list, VELQ_HIDDEN_ANY);
    for (const NumberListNode *node = list; node != NULL; node = node->next) {
        printf("black list:");
        for (const VELQ_WideChar *unit = node->number; *unit != 0; ++unit) {
            printf("%s%c", unit == node->number ? " " : "", (char)*unit);
        }
        printf(" (contact %d)\n", (int)node->extendID);
    }
    VELQ_FreeBlackNumberList(list);
    return code;
}

/* What the user says of the verdict: spam also blocks the sender, ham also unblocks it. */
static int32_t correct(const char *verdict, VELQ_WideChar *body, VELQ_WideChar *number)
{
    NumberRecord sender = {number, NULL};
    int32_t code = 0;
    if (strcmp(verdict, "ham") == 0) {
        return VELQ_SetMsgAsHam(body, number);
    }
    code = VELQ_SetMsgAsSpam(body);
    return code == 0 ? VELQ_AddBlackNumberSync(&sender, 0, 42) : code;
}

int main(int argumentCount, char **arguments)
{
    static const char *const verdicts[] = {"spam", "ham", "unsure"};
    static VELQ_WideChar directory[CAPACITY], number[CAPACITY], body[CAPACITY];
    uint32_t rating = VELQ_RATING_UNSURE;
    int32_t code = 0;

    if (argumentCount < 4) {
        fprintf(stderr, "usage: host PROGRAM_DIR NUMBER TEXT [ham|spam]\n");
        return 64;
    }
    widen(directory, arguments[1]);
    widen(number, arguments[2]);
    widen(body, arguments[3]);

    code = VELQ_Norix_Initialize(directory); /* keeps the data files open: the right start for a long-running host */
    if (code == 0) {
        code = VELQ_CheckSpamMsgSync(&rating, body, number);
    }
    if (code == 0) {
        printf("%s\n", verdicts[rating]);
        if (argumentCount > 4) {
            code = correct(arguments[4], body, number);
        }
    }
    if (code == 0) {
        code = printBlackList();
    }
    if (code != 0) {
        fprintf(stderr, "host: %s\n", resultText(code));
    }
    VELQ_Norix_Finalize();
    return code == 0 ? 0 : 1;
}
