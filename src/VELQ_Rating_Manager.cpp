// The decision pipeline: black list, operator rule, white list, length, classifier. Lookup, segmentation, scoring and
// training are other modules'; here stands their order.
//
// The leave lines differ in their spacing on purpose: readers of the log tell the paths apart by them.
#include "VELQ_Rating_Manager.h"

#include "VELQ_DB_Interface.h"
#include "VELQ_Util.h"
#include "VELQ_Word_Seg.h"
#include "bfilter/VELQ_BFilter_Interface.h"
#include "bfilter/VELQ_BFilter_Register.h"

#include <cstring>

namespace {

// Bodies of so few filtered characters are too short to be judged: ham.
constexpr std::size_t longestTrivialBody = 6;
// An unsure verdict on a body of at most so many filtered characters becomes ham.
constexpr std::size_t longestShortBody = 20;
// With so few tokens the classifier is not asked.
constexpr std::uint32_t mostTokensWithoutVerdict = 2;

constexpr char operatorPrefix[] = "10086";
constexpr std::size_t operatorPrefixLength = sizeof operatorPrefix - 1;

// The sender in the two forms that the pipeline asks about.
struct Sender {
    char key[numberKeyCapacity]; // narrowed and reversed
    char prefix[8];              // the first five characters as sent; empty for shorter numbers
};

Sender readSender(const VELQ_WideChar *number, const VELQ_WideChar *body) noexcept
{
    Sender sender{};
    narrowNumber(sender.key, number);
    dumpNumber(sender.key);
    dumpUtf8(body);
    if (narrowLength(sender.key) >= operatorPrefixLength) {
        std::memcpy(sender.prefix, sender.key, operatorPrefixLength);
    }
    reverseNumber(sender.key);
    return sender;
}

void trainListedTokensAsSpam() noexcept
{
    const int result = bfilter_register(REGISTER_SPAM, 1);
    logDebug("****** registerMsg(), result=%d ******\n", result);
}

// True when the black list, the operator rule or the white list has decided.
bool rateBySender(std::uint32_t *rating, const Sender &sender, const VELQ_WideChar *body) noexcept
{
    std::uint8_t found = 0;
    if (db_SearchBlackNumberList(&found, sender.key) != 0) {
        logError("Error: db_SearchBlackNumberList \n");
    } else if (found != 0) {
        *rating = VELQ_RATING_SPAM;
        logDebug("SPAM: number in Black-List, is a Spam Msg\n");
        registerMsg(REGISTER_SPAM, body);
        logDebug("%s:%d\t== Auto add the spam msg to DB ===\n", VELQ_HERE);
        logDebug("**********OK: Leave   checkSpamMsg()!********\n");
        return true;
    }
    // After the black list, so that a black-listed operator number is still spam.
    if (std::memcmp(sender.prefix, operatorPrefix, operatorPrefixLength) == 0) {
        *rating = VELQ_RATING_HAM;
        logDebug("**********OK: 10086* numbers ********\n");
        return true;
    }
    *rating = VELQ_RATING_UNSURE;
    if (db_SearchWhiteNumberList(&found, sender.key) != 0) {
        logError("%s:%d\tError: db_SearchWhiteNumberList \n", VELQ_HERE);
    } else if (found != 0) {
        *rating = VELQ_RATING_HAM;
        const int result = registerMsg(REGISTER_HAM, body);
        logDebug(" ********** registerMsg(), result=%d ********\n", result);
        logDebug("HAM: number in While-List, is a Good Msg\n");
        logDebug(" **********OK: Leave  checkSpamMsg()!********\n");
        return true;
    }
    return false;
}

// The classifier's verdict on the listed tokens, with the two corrections of an unsure one.
void rateByClassifier(std::uint32_t *rating, const VELQ_WideChar *filtered) noexcept
{
    double spamicity = 0;
    const int result = bfilter_check(rating, &spamicity);
    logDebug("checkSpam result=%d, spamicity=%f, rating=%d\n", result, spamicity, static_cast<int>(*rating));
    if (*rating == VELQ_RATING_SPAM) {
        trainListedTokensAsSpam();
    } else if (*rating == VELQ_RATING_UNSURE && hasTelNumber(filtered)) {
        logDebug("-------> UNSURE,  But, Has Tel number, set to SPAM <--------\n");
        *rating = VELQ_RATING_SPAM;
        trainListedTokensAsSpam();
    } else if (*rating == VELQ_RATING_UNSURE && wideLength(filtered) <= longestShortBody) {
        logDebug("-------> UNSURE,  But,  len<=20, set to HAM <--------\n");
        *rating = VELQ_RATING_HAM;
    }
}

void rateByBody(std::uint32_t *rating, const VELQ_WideChar *filtered) noexcept
{
    if (wideLength(filtered) <= longestTrivialBody) {
        *rating = VELQ_RATING_HAM;
        logDebug("HAM: msg body length <=5\n");
        logDebug("**********OK: Leave  checkSpamMsg()!********\n");
        return;
    }
    if (wordSeg(filtered) != 0) {
        return;
    }
    dumpTokens();
    if (get_token_count() > mostTokensWithoutVerdict) {
        rateByClassifier(rating, filtered);
    }
    logDebug("**********OK: Leave checkSpamMsg()!********\n");
}

} // namespace

int checkSpamMsg(std::uint32_t *rating, const VELQ_WideChar *body, const VELQ_WideChar *number) noexcept
{
    logDebug("********** Enter  checkSpamMsg() ********\n");
    const Sender sender = readSender(number, body);
    *rating = VELQ_RATING_UNSURE;
    if (rateBySender(rating, sender, body)) {
        return 0;
    }
    VELQ_WideChar *filtered = filterMessageBody(body);
    if (filtered == nullptr) { // no memory: unsure, like a failed segmentation
        logError("%s:%d\tError: Memory Allocation  failed\n", VELQ_HERE);
        return 0;
    }
    dumpUtf8(filtered);
    rateByBody(rating, filtered);
    freeMemory(filtered);
    return 0;
}
