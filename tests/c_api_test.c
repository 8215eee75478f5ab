/*
 * Every export called from strict C11. Without an argument it checks what holds before a start; with the path of an
 * installation it runs a whole life of the engine on it. Exit status 0: all as expected.
 */
#include "velq.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

#define EXPECT(condition)                                                                                              \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition);                                  \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)

_Static_assert(sizeof(VELQ_WideChar) == 2, "wide text is UTF-16");
_Static_assert(offsetof(NumberRecord, number) == 0 && offsetof(NumberRecord, name) == sizeof(void *), "layout");
_Static_assert(offsetof(NumberListNode, next) == 0 && offsetof(NumberListNode, name) == sizeof(void *) &&
                   offsetof(NumberListNode, number) == 2 * sizeof(void *) &&
                   offsetof(NumberListNode, extendID) == 3 * sizeof(void *),
               "layout");
_Static_assert(offsetof(UIDListNode, next) == 0 && offsetof(UIDListNode, uid) == sizeof(void *), "layout");
_Static_assert(offsetof(VersionRecord, command) == 0 && offsetof(VersionRecord, version) == 4 &&
                   sizeof(VersionRecord) == 8,
               "layout");

static VELQ_WideChar number[] = VELQ_TEXT("13812345678");
static VELQ_WideChar name[] = VELQ_TEXT("Anna");

static void checkReservedEntries(int32_t guarded)
{
    EXPECT(VELQ_GetSpamMsgList(NULL) == guarded);
    EXPECT(VELQ_ReadSpamMsg(NULL) == guarded);
    EXPECT(VELQ_DeleteSpamMsg(NULL) == guarded);
    EXPECT(VELQ_DeleteAllSpamMsg(NULL) == guarded);
    EXPECT(VELQ_AddSpamMsg(NULL, number, NULL) == guarded);
    EXPECT(VELQ_GetMsgUIDList(NULL) == guarded);
    EXPECT(VELQ_GetTotalCountOfMsg(NULL) == guarded);
    VELQ_FreeSpamMsgList(NULL);
    VELQ_FreeSpamMsgBuf(NULL);
    EXPECT(VELQ_MT_AddWhiteNumber(NULL) == 0);
    EXPECT(VELQ_MT_DumpBin(NULL) == 0);
    EXPECT(VELQ_MT_End_Training(NULL) == 0);
    EXPECT(VELQ_MT_GetCurrentVersion(NULL) == 0);
    EXPECT(VELQ_MT_RegisterMsg(NULL) == 0);
    EXPECT(VELQ_MT_Start_Training(NULL) == 0);
    EXPECT(VELQ_MT_UpdateVersion(NULL) == 0);
    EXPECT(VELQ_MT_UpdateWordDict(NULL) == 0);
    EXPECT(VELQ_CheckSpamMsgASync() == VELQ_ERR_NOT_SUPPORTED);
}

static void checkStopped(void)
{
    uint32_t rating = 77;
    int32_t count = 77;
    NumberRecord record = {number, name};
    NumberListNode node = {NULL, name, number, 5};
    NumberListNode *list = NULL;
    UIDListNode *uids = NULL;
    VersionRecord version = {VELQ_DATA_RULES, 77};

    EXPECT(VELQ_Finalize() == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_Norix_Finalize() == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_CheckSpamMsgSync(&rating, number, number) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_SetMsgAsHam(number, number) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_SetMsgAsSpam(number) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_AddBlackNumberSync(&record, 0, 0) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_AddWhiteNumberSync(&record, 0, 0) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_AddWhiteNumberListSync(&node, 0) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_RemoveBlackNumberSync(&record) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_RemoveWhiteNumberSync(&record) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_RemoveAllBlackNumberSync(VELQ_HIDDEN_ANY) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_RemoveAllWhiteNumberSync(VELQ_HIDDEN_ANY) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_DeleteBlackNumberByUID(1) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_DeleteWhiteNumberByUID(1) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_DeleteBlackNumberByExtendID(1) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_DeleteWhiteNumberByExtendID(1) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_GetBlackNumberList(&list, VELQ_HIDDEN_ANY) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_GetWhiteNumberList(&list, VELQ_HIDDEN_ANY) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_GetBlackNumberUIDList(&uids, VELQ_HIDDEN_ANY) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_GetWhiteNumberUIDList(&uids, VELQ_HIDDEN_ANY) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_ReadBlackNumberByUID(&record, 1) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_ReadWhiteNumberByUID(&record, 1) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_GetTotalCountOfBlackNumber(&count) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_GetTotalCountOfWhiteNumber(&count) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_GetCurVersion(&version) == VELQ_NOT_INITIALIZED);
    EXPECT(VELQ_UpdateData(number, 1, NULL, 0) == VELQ_NOT_INITIALIZED);
    EXPECT(rating == 77 && count == 77 && list == NULL && uids == NULL && version.version == 77);

    /* Before a start the free functions leave everything as it is. */
    VELQ_FreeBlackNumberList(&node);
    VELQ_FreeWhiteNumberList(&node);
    VELQ_FreeMsgUIDList(NULL);
    VELQ_FreeBlackNumberUIDList(NULL);
    VELQ_FreeWhiteNumberUIDList(NULL);
    VELQ_FreeWhiteNumber(&record);
    VELQ_FreeBlackNumber(&record);
    EXPECT(record.number == number && record.name == name);
    checkReservedEntries(VELQ_NOT_INITIALIZED);
}

static void checkBlackList(void)
{
    NumberRecord record = {number, name};
    NumberRecord read = {NULL, NULL};
    NumberListNode *list = NULL;
    UIDListNode *uids = NULL;
    int32_t count = 0;
    uint32_t rating = VELQ_RATING_UNSURE;

    EXPECT(VELQ_AddBlackNumberSync(&record, 0, 7) == 0);
    EXPECT(VELQ_GetTotalCountOfBlackNumber(&count) == 0 && count == 1);
    EXPECT(VELQ_CheckSpamMsgSync(&rating, name, number) == 0 && rating == VELQ_RATING_SPAM);
    EXPECT(VELQ_GetBlackNumberList(&list, VELQ_HIDDEN_ANY) == 0);
    EXPECT(list != NULL && list->next == NULL && list->extendID == 7);
    EXPECT(list != NULL && memcmp(list->number, number, sizeof number) == 0);
    EXPECT(list != NULL && memcmp(list->name, name, sizeof name) == 0);
    VELQ_FreeBlackNumberList(list);
    EXPECT(VELQ_GetBlackNumberUIDList(&uids, 0) == 0 && uids != NULL && uids->next == NULL);
    EXPECT(uids != NULL && VELQ_ReadBlackNumberByUID(&read, uids->uid) == 0);
    EXPECT(read.number != NULL && memcmp(read.number, number, sizeof number) == 0);
    VELQ_FreeBlackNumber(&read);
    EXPECT(read.number == NULL && read.name == NULL);
    EXPECT(uids != NULL && VELQ_DeleteBlackNumberByUID(uids->uid) == 0);
    VELQ_FreeBlackNumberUIDList(uids);
    EXPECT(VELQ_DeleteBlackNumberByExtendID(7) == 0);
    EXPECT(VELQ_RemoveBlackNumberSync(&record) == 0);
    EXPECT(VELQ_RemoveAllBlackNumberSync(VELQ_HIDDEN_ANY) == 0);
    EXPECT(VELQ_GetTotalCountOfBlackNumber(&count) == 0 && count == 0);
}

static void checkWhiteList(void)
{
    NumberRecord record = {number, NULL};
    NumberListNode second = {NULL, name, number, 9};
    NumberListNode first = {&second, NULL, number, 8};
    NumberRecord read = {NULL, NULL};
    NumberListNode *list = NULL;
    UIDListNode *uids = NULL;
    int32_t count = 0;
    uint32_t rating = VELQ_RATING_UNSURE;

    EXPECT(VELQ_AddWhiteNumberSync(&record, 1, 3) == 0);
    EXPECT(VELQ_CheckSpamMsgSync(&rating, name, number) == 0 && rating == VELQ_RATING_HAM);
    EXPECT(VELQ_AddWhiteNumberListSync(&first, 0) == 0);
    EXPECT(VELQ_AddWhiteNumberListSync(NULL, 0) == VELQ_ERR_BATCH_ARGUMENT);
    EXPECT(VELQ_GetTotalCountOfWhiteNumber(&count) == 0 && count == 3);
    EXPECT(VELQ_GetWhiteNumberList(&list, 0) == 0 && list != NULL && list->next != NULL);
    VELQ_FreeWhiteNumberList(list);
    EXPECT(VELQ_GetWhiteNumberUIDList(&uids, VELQ_HIDDEN_ANY) == 0 && uids != NULL);
    EXPECT(uids != NULL && VELQ_ReadWhiteNumberByUID(&read, uids->uid) == 0 && read.name != NULL && read.name[0] == 0);
    VELQ_FreeWhiteNumber(&read);
    EXPECT(uids != NULL && VELQ_DeleteWhiteNumberByUID(uids->uid) == 0);
    VELQ_FreeWhiteNumberUIDList(uids);
    EXPECT(VELQ_DeleteWhiteNumberByExtendID(8) == 0);
    EXPECT(VELQ_RemoveWhiteNumberSync(&record) == 0);
    EXPECT(VELQ_RemoveAllWhiteNumberSync(VELQ_HIDDEN_ANY) == 0);
    VELQ_FreeMsgUIDList(NULL);
}

static void checkStarted(void)
{
    static const VELQ_WideChar noFile[] = VELQ_TEXT("/no/such/update");
    VersionRecord version = {VELQ_DATA_PROBABILITY, -1};

    checkBlackList();
    checkWhiteList();
    EXPECT(VELQ_SetMsgAsSpam(name) == 0);
    EXPECT(VELQ_SetMsgAsHam(name, number) == 0);
    EXPECT(VELQ_GetCurVersion(&version) == 0 && version.version == 1);
    EXPECT(VELQ_UpdateData(NULL, 0, NULL, 0) == VELQ_ERR_FAILED);
    EXPECT(VELQ_UpdateData(noFile, 2, NULL, 0) == VELQ_ERR_FAILED);
    checkReservedEntries(0);
}

/* The program directory comes as ASCII. */
static void widen(VELQ_WideChar *wide, size_t capacity, const char *text)
{
    size_t length = 0;
    for (; text[length] != '\0' && length + 1 < capacity; ++length) {
        wide[length] = (VELQ_WideChar)(unsigned char)text[length];
    }
    wide[length] = 0;
}

int main(int argumentCount, char **arguments)
{
    VELQ_WideChar programDir[512];
    checkStopped();
    EXPECT(VELQ_Initialize(NULL) == VELQ_ERR_FAILED);
    EXPECT(VELQ_Norix_Initialize(NULL) == VELQ_ERR_FAILED);
    if (argumentCount > 1) {
        widen(programDir, sizeof programDir / sizeof *programDir, arguments[1]);
        EXPECT(VELQ_Initialize(programDir) == 0);
        checkStarted();
        EXPECT(VELQ_Finalize() == 0);
        EXPECT(VELQ_Norix_Initialize(programDir) == 0);
        checkStarted();
        EXPECT(VELQ_Norix_Finalize() == 0);
        checkStopped();
    }
    printf("%d checks failed\n", failures);
    return failures == 0 ? 0 : 1;
}
