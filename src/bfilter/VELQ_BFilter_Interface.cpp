// Each entry is one opening of the word list around scoring or training.
#include "bfilter/VELQ_BFilter_Interface.h"

#include "VELQ_Util.h"
#include "bfilter/VELQ_BFilter_Register.h"
#include "bfilter/VELQ_BFilter_Score.h"
#include "bfilter/VELQ_BFilter_WordList.h"

// A verdict is handed out as the rating of the message.
static_assert(std::uint32_t{VERDICT_SPAM} == std::uint32_t{VELQ_RATING_SPAM} &&
              std::uint32_t{VERDICT_HAM} == std::uint32_t{VELQ_RATING_HAM} &&
              std::uint32_t{VERDICT_UNSURE} == std::uint32_t{VELQ_RATING_UNSURE});

int bfilter_check(std::uint32_t *verdict, double *spamicity) noexcept
{
    const int code = open_wordlist(wordListForReading);
    if (code != 0) {
        logError("%s:%d\tError: open_wordlist!\n", VELQ_HERE);
        close_wordlist(commitWordList);
        return code;
    }
    init_score_params();
    *spamicity = compute_spamicity();
    *verdict = classify_spamicity();
    close_wordlist(commitWordList);
    return 0;
}

int bfilter_register(std::uint32_t operation, std::uint32_t amount) noexcept
{
    int code = open_wordlist(wordListForWriting);
    if (code != 0) {
        logError("%s:%d\tError: open_wordlist\n", VELQ_HERE);
    } else {
        code = register_words(operation, amount);
        if (code != 0) {
            logError("%s:%d\tError: register_words\n", VELQ_HERE);
        }
    }
    close_wordlist(commitWordList);
    return code;
}
