/* The shortest host: rates one message on the installation in the current folder. */
#include <stdio.h>
#include <velq.h>
#include <velq_text.h>

enum { CAPACITY = 1024 };

int main(void)
{
    static const char *const verdicts[] = {"spam", "ham", "unsure"};
    VELQ_WideChar body[CAPACITY];
    uint32_t rating = VELQ_RATING_UNSURE;
    if (VELQ_Initialize(VELQ_TEXT("./Quenlibra\\Tarvolent")) != 0) {
        return 1; /* engine.log in that folder says why */
    }
    /* Unprepared, these capitals would be lost in the engine's filter. */
    if (velq_prepare_text(VELQ_TEXT("YOU HAVE WON A PRIZE, CALL NOW"), body, CAPACITY) <= CAPACITY) {
        VELQ_CheckSpamMsgSync(&rating, body, VELQ_TEXT("+447700900555"));
    }
    puts(verdicts[rating]);
    return VELQ_Finalize() == 0 ? 0 : 1;
}
