// Moves tokens and message counts between the sides of the token store. Never adds a token.
#include "bfilter/VELQ_BFilter_Register.h"

#include "VELQ_Util.h"
#include "VELQ_Word_Seg.h"
#include "bfilter/VELQ_BFilter_WordList.h"

static bool addsCounts(std::uint32_t operation) noexcept
{
    return operation == REGISTER_SPAM || operation == REGISTER_HAM;
}

static bool isSpamSide(std::uint32_t operation) noexcept
{
    return operation == REGISTER_SPAM || operation == UNREGISTER_SPAM;
}

static void moveTokenCount(std::uint32_t &count, std::uint32_t operation, std::uint32_t increment) noexcept
{
    if (addsCounts(operation)) {
        count += increment;
    } else {
        const bool falls = static_cast<std::int32_t>(count) < static_cast<std::int32_t>(increment);
        count = falls ? 0 : count - increment;
    }
}

static void moveMessageCount(std::uint32_t &count, std::uint32_t operation, std::uint32_t amount) noexcept
{
    if (addsCounts(operation)) {
        count += amount;
    } else {
        count = count <= amount ? 0 : count - amount;
    }
}

// Starts from the counts as segmentation read them.
static int writeToken(std::uint32_t slot, std::uint32_t operation) noexcept
{
    token_value value{get_token_spam_count(slot), get_token_ham_count(slot), get_token_stored_reserved(slot)};
    moveTokenCount(isSpamSide(operation) ? value.spam : value.ham, operation, get_token_increment(slot));
    const word key{get_token_text(slot), get_token_length(slot)};
    return ds_update(word_list->store, &key, &value);
}

int register_words(std::uint32_t operation, std::uint32_t amount) noexcept
{
    if (operation > UNREGISTER_HAM) {
        return VELQ_ERR_FAILED;
    }
    for (std::uint32_t i = 0; i < get_token_count(); ++i) {
        if (writeToken(i, operation) != 0) {
            logError("%s:%d\tcannot write to data base.\n", VELQ_HERE);
            return VELQ_ERR_FAILED;
        }
    }
    token_value counts{};
    const int code = ds_get_msgcounts_to_change(word_list->store, &counts);
    if (code != dsFound && code != dsNotFound) { // counts that are there are not replaced by a count from zero
        return VELQ_ERR_FAILED;
    }
    moveMessageCount(isSpamSide(operation) ? counts.spam : counts.ham, operation, amount);
    word_list->spamMessages = counts.spam;
    word_list->hamMessages = counts.ham;
    if (ds_set_msgcounts(word_list->store, &counts) != 0) {
        logError("%s:%d\tcannot set message count values\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    return 0;
}
