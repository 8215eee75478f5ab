/* The shortest host: rates one message on the installation in the current folder. */
#include <stdio.h>
#include <velq.h>

int main(void)
{
    static const char *const verdicts[] = {"spam", "ham", "unsure"};
    uint32_t rating = VELQ_RATING_UNSURE;
    if (VELQ_Initialize(VELQ_TEXT("./Quenlibra\\Tarvolent")) != 0) {
        return 1; /* engine.log in that folder says why */
    }
    VELQ_CheckSpamMsgSync(&rating, VELQ_TEXT("You have won a prize, call now"), VELQ_TEXT("+447700900555"));
    puts(verdicts[rating]);
    return VELQ_Finalize() == 0 ? 0 : 1;
}
