// Word segmentation: cuts a filtered message body into the tokens that the token store holds, by longest match of 4 to
// 2 code units. The token list of the last segmentation stays readable until the next.
#ifndef VELQ_WORD_SEG_H
#define VELQ_WORD_SEG_H

#include "VELQ_Word.h"

#include <cstddef>
#include <cstdint>

inline constexpr std::uint32_t tokenSlots = 30;
inline constexpr std::uint32_t mostCountedTokens = 29; // the thirtieth slot takes part in the duplicate test only

struct token_entry {
    VELQ_WideChar text[6];
    std::uint32_t length; // in code units
    std::uint32_t ham_count;
    std::uint32_t spam_count;
    std::uint32_t ham_msgs; // the store's message counts at the time of segmentation
    std::uint32_t spam_msgs;
    std::uint32_t reserved;
    std::uint32_t increment;       // what training adds or subtracts
    std::uint32_t stored_reserved; // the value's third word as read, so that training keeps it
};

// What the store says of a word.
struct word_counts {
    std::uint32_t ham_count;
    std::uint32_t spam_count;
    std::uint32_t ham_msgs;
    std::uint32_t spam_msgs;
    std::uint32_t stored_reserved;
};

// Opens the word list, segments and closes it. 0, or -2 when the word list cannot be opened.
int wordSeg(const VELQ_WideChar *text) noexcept;
// The segmentation proper, on an open word list. Always 0.
int segmentWords(const VELQ_WideChar *text) noexcept;
// 1 when the word is stored, else 0.
int lookup_word(const word *key, word_counts *counts) noexcept;
// Does nothing for an index or length out of range.
void set_token_entry(std::uint32_t index, const VELQ_WideChar *text, std::uint32_t length) noexcept;
// 1 when the word is in one of the thirty slots, else 0.
int token_in_list(const word *key) noexcept;

// By slot index. Above 29: null, or 0xFFFFFFFF.
const VELQ_WideChar *get_token_text(std::uint32_t index) noexcept;
std::uint32_t get_token_length(std::uint32_t index) noexcept;
std::uint32_t get_token_ham_count(std::uint32_t index) noexcept;
std::uint32_t get_token_spam_count(std::uint32_t index) noexcept;
std::uint32_t get_token_ham_msgs(std::uint32_t index) noexcept;
std::uint32_t get_token_spam_msgs(std::uint32_t index) noexcept;
std::uint32_t get_token_increment(std::uint32_t index) noexcept;
std::uint32_t get_token_stored_reserved(std::uint32_t index) noexcept;
std::uint32_t get_token_count() noexcept;

// Debug dump of every counted token's text.
void dumpTokens() noexcept;

#endif
