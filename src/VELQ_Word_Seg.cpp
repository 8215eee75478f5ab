// Forward longest-match segmentation over the token store.
#include "VELQ_Word_Seg.h"

#include "VELQ_Util.h"
#include "bfilter/VELQ_BFilter_WordList.h"

#include <algorithm>
#include <cstring>

static constexpr std::uint32_t longestToken = 4;
static constexpr std::uint32_t shortestToken = 2;

static struct {
    token_entry slots[tokenSlots];
    std::uint8_t count;
} token_list;

int wordSeg(const VELQ_WideChar *text) noexcept
{
    if (open_wordlist(wordListForReading) != 0) {
        close_wordlist(rollBackWordList);
        logError("%s:%d\tError: open_wordlist\n", VELQ_HERE);
        logError("%s:%d\t**********Error:Leave VELQ_Word_Seg  wordSeg()!********\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    if (segmentWords(text) != 0) {
        close_wordlist(rollBackWordList);
        logError("%s:%d\tError: segmentWords\n", VELQ_HERE);
        logError("%s:%d\t**********Error:Leave VELQ_Word_Seg  wordSeg()!********\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    close_wordlist(commitWordList);
    return 0;
}

// The longest stored token that `candidate` begins with; its length, or 0.
static std::uint32_t findToken(const VELQ_WideChar *candidate, std::uint32_t longest, word_counts *counts) noexcept
{
    for (std::uint32_t length = longest; length >= shortestToken; --length) {
        const word key{candidate, length};
        if (lookup_word(&key, counts) == 1) {
            return length;
        }
    }
    return 0;
}

// Once all slots are taken, each new token goes to the last slot and the count stays.
static void appendToken(const VELQ_WideChar *text, std::uint32_t length, const word_counts &counts) noexcept
{
    const std::uint32_t index = token_list.count;
    set_token_entry(index, text, length);
    ++token_list.count;
    token_entry &slot = token_list.slots[index];
    slot.ham_count = counts.ham_count;
    slot.spam_count = counts.spam_count;
    slot.ham_msgs = counts.ham_msgs;
    slot.spam_msgs = counts.spam_msgs;
    slot.reserved = 0;
    slot.increment = 1;
    slot.stored_reserved = counts.stored_reserved;
    if (token_list.count > mostCountedTokens) {
        token_list.count = mostCountedTokens;
    }
}

int segmentWords(const VELQ_WideChar *text) noexcept
{
    token_list = {};
    std::size_t remaining = wideLength(text);
    const VELQ_WideChar *position = text;
    while (remaining > 0) {
        VELQ_WideChar candidate[longestToken + 1]{};
        const auto longest = static_cast<std::uint32_t>(std::min<std::size_t>(remaining, longestToken));
        std::copy_n(position, longest, candidate);
        word_counts counts{};
        const std::uint32_t length = findToken(candidate, longest, &counts);
        if (length > 0) {
            const word key{candidate, length};
            if (token_in_list(&key) == 0) {
                appendToken(candidate, length, counts);
            }
        }
        const std::uint32_t advance = std::max(length, 1U);
        position += advance;
        remaining -= advance;
    }
    return 0;
}

int lookup_word(const word *key, word_counts *counts) noexcept
{
    *counts = {};
    token_value value{};
    const int code = ds_read(word_list->store, key, &value);
    switch (code) {
    case dsFound:
        counts->ham_count = value.ham;
        counts->spam_count = value.spam;
        counts->stored_reserved = value.reserved;
        break;
    case dsNotFound:
        break;
    case DS_ABORT_RETRY:
        logError("ds_read, DS_ABORT_RETRY!\n");
        break;
    default:
        logError("Error, ds_read!\n");
        return 0;
    }
    counts->ham_msgs = word_list->hamMessages;
    counts->spam_msgs = word_list->spamMessages;
    return code == dsFound ? 1 : 0;
}

void set_token_entry(std::uint32_t index, const VELQ_WideChar *text, std::uint32_t length) noexcept
{
    constexpr std::uint32_t mostUnits = 5;
    if (index >= tokenSlots || length > mostUnits) {
        return;
    }
    // The rest of the text is not cleared: a shorter token in the last slot keeps the tail of the longer one before it.
    std::copy_n(text, length, token_list.slots[index].text);
    token_list.slots[index].length = length;
}

int token_in_list(const word *key) noexcept
{
    for (const token_entry &slot : token_list.slots) {
        const auto *end = std::find(std::begin(slot.text), std::end(slot.text), VELQ_WideChar{0});
        const word listed{slot.text, static_cast<std::uint32_t>(end - slot.text)};
        if (compare_words(&listed, key) == 0) {
            return 1;
        }
    }
    return 0;
}

const VELQ_WideChar *get_token_text(std::uint32_t index) noexcept
{
    return index < tokenSlots ? token_list.slots[index].text : nullptr;
}

static std::uint32_t slotValue(std::uint32_t index, std::uint32_t token_entry::*field) noexcept
{
    return index < tokenSlots ? token_list.slots[index].*field : 0xFFFFFFFFU;
}

std::uint32_t get_token_length(std::uint32_t index) noexcept
{
    return slotValue(index, &token_entry::length);
}

std::uint32_t get_token_ham_count(std::uint32_t index) noexcept
{
    return slotValue(index, &token_entry::ham_count);
}

std::uint32_t get_token_spam_count(std::uint32_t index) noexcept
{
    return slotValue(index, &token_entry::spam_count);
}

std::uint32_t get_token_ham_msgs(std::uint32_t index) noexcept
{
    return slotValue(index, &token_entry::ham_msgs);
}

std::uint32_t get_token_spam_msgs(std::uint32_t index) noexcept
{
    return slotValue(index, &token_entry::spam_msgs);
}

std::uint32_t get_token_increment(std::uint32_t index) noexcept
{
    return slotValue(index, &token_entry::increment);
}

std::uint32_t get_token_stored_reserved(std::uint32_t index) noexcept
{
    return slotValue(index, &token_entry::stored_reserved);
}

std::uint32_t get_token_count() noexcept
{
    return token_list.count;
}

void dumpTokens() noexcept
{
    for (std::uint32_t i = 0; i < token_list.count; ++i) {
        dumpUtf8(token_list.slots[i].text);
    }
}
