// The one reading of a message: the tokens of the longest match, what they weigh, the score they come to, and the step
// that decides. How a token is looked up is the caller's, so that stores in memory, read millions of times, and a store
// behind SQL are read alike.
//
// Left to others: the filter before it, and the number lists, which come before the text.
#ifndef VELQ_KIT_READING_MESSAGE_READING_H
#define VELQ_KIT_READING_MESSAGE_READING_H

#include "kit/engine/rating.h"
#include "kit/reading/deciding_step.h"
#include "kit/reading/token_format.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace velq::kit {

// Tokens that a message is scored and trained with; further ones only take up text.
inline constexpr std::size_t mostTokens = 29;
// With fewer, the classifier is not asked.
inline constexpr std::size_t fewestTokens = 3;
// The limits on the filtered text's length: up to the first a message is ham unread, up to the second an undecided one
// is ham.
inline constexpr std::size_t longestUnread = 6;
inline constexpr std::size_t longestBrief = 20;
inline constexpr double spamCutoff = 0.9;
inline constexpr double hamCutoff = 0.45;

// ---- Tokens -------------------------------------------------------------------------------------------------------

// A token of 1 to 4 units as one number: the first unit lowest, 0 where there is none.
using PackedToken = std::uint64_t;

constexpr PackedToken packToken(std::u16string_view token)
{
    const auto unit = [token](std::size_t at) {
        return at < token.size() ? static_cast<PackedToken>(token[at]) << (16 * at) : 0;
    };
    return unit(0) | unit(1) | unit(2) | unit(3);
}
std::u16string unpackToken(PackedToken token);

// std::hash gives a number as it is, cut to the size of a pointer: with one of 32 bits the tokens that share their
// first two units would all have the same. Here such tokens never have.
struct PackedTokenHash {
    std::size_t operator()(PackedToken token) const noexcept
    {
        return static_cast<std::uint32_t>((token * 0x9E3779B97F4A7C15U) >> 32);
    }
};
template <typename Value>
using TokenTable = std::unordered_map<PackedToken, Value, PackedTokenHash>;
using TokenSet = std::unordered_set<PackedToken, PackedTokenHash>;

struct TokenStats {
    std::uint32_t spam = 0;
    std::uint32_t ham = 0;

    friend bool operator==(const TokenStats &, const TokenStats &) = default;
};

// Longest match from left to right over a text of so many units. `tokenAt(position, length)` gives the token of that
// length that begins there, or an empty optional. Each different token is added once, in the order of the text, while
// there are fewer than `mostTokens`; tokens are the same when `identity` of them is.
template <typename Token, typename TokenAt, typename Identity = std::identity>
void addLongestMatches(std::vector<Token> &tokens, std::size_t units, TokenAt tokenAt, Identity identity = {})
{
    static_assert(shortestToken == 2, "where no token begins, one unit is passed over");
    const auto isNew = [&tokens, identity](const Token &token) {
        return std::none_of(tokens.begin(), tokens.end(), [&token, identity](const Token &known) {
            return std::invoke(identity, known) == std::invoke(identity, token);
        });
    };
    for (std::size_t at = 0; at < units && tokens.size() < mostTokens;) {
        std::size_t length = std::min(longestToken, units - at);
        for (; length >= shortestToken; --length) {
            if (const std::optional<Token> token = tokenAt(at, length)) {
                if (isNew(*token)) {
                    tokens.push_back(*token);
                }
                break;
            }
        }
        at += length;
    }
}

// ---- Scores -------------------------------------------------------------------------------------------------------

// What weighs every token of a store.
struct StoreTotals {
    std::uint32_t spamMessages = 0;
    std::uint32_t hamMessages = 0;
    double prior = 0;
};

// The smoothed spam probability of a token; NaN when neither class has weight.
double tokenProbability(const TokenStats &counts, const StoreTotals &totals);
// Whether a token of that probability takes part in the score.
bool probabilityCounts(double probability);
// The upper tail of the chi-square distribution with 2 * `halfDegrees` degrees of freedom at 2 * `halfStatistic`.
double chiSquareTail(std::size_t halfDegrees, double halfStatistic);

struct ReadToken {
    PackedToken token = 0;
    std::size_t position = 0; // of its first unit in the filtered text, from 0
    TokenStats counts;
    double probability = 0; // NaN when the store has no messages of either side to compare
    bool counted = false;   // whether it takes part in the score

    std::u16string text() const
    {
        return unpackToken(token);
    }
};

struct ClassifierScore {
    std::size_t counted = 0; // tokens that took part
    double spamTail = 1;     // the chance of as much evidence for spam by luck; small for spam
    double hamTail = 1;      // the same for ham
    double spamicity = 0;
};

// Fisher's combination of the tokens that count; the prior when none does.
ClassifierScore scoreOf(const std::vector<ReadToken> &tokens, double prior);

// ---- Readings -----------------------------------------------------------------------------------------------------

struct Reading {
    Rating rating = Rating::unsure;
    DecidingStep step = DecidingStep::classifier;
    StoreTotals totals; // with the tokens
    std::vector<ReadToken> tokens;
    std::optional<ClassifierScore> score; // where the classifier was asked
};

// The step that ends a reading, and its rating.
void decide(Reading &reading, DecidingStep step, Rating rating);
// The steps after the tokens are read.
void decideByTokens(Reading &reading, std::u16string_view filtered);

// Fills in the tokens, without a decision. `store.totals()` gives the StoreTotals, `store.find(PackedToken)` something
// that is false or points to a token's TokenStats.
template <typename TokenStore>
void readTokens(Reading &reading, std::u16string_view filtered, TokenStore &store)
{
    reading.totals = store.totals();
    reading.tokens.reserve(mostTokens);
    const auto tokenAt = [filtered, &store](std::size_t at, std::size_t length) {
        const PackedToken packed = packToken(filtered.substr(at, length));
        const auto counts = store.find(packed);
        return counts ? std::optional(ReadToken{.token = packed, .position = at, .counts = *counts}) : std::nullopt;
    };
    addLongestMatches(reading.tokens, filtered.size(), tokenAt, &ReadToken::token);
    for (ReadToken &token : reading.tokens) {
        token.probability = tokenProbability(token.counts, reading.totals);
        token.counted = probabilityCounts(token.probability);
    }
}

// Reads a message from a number on no list. Of one that is ham unread the store is not asked.
template <typename TokenStore>
Reading readMessage(std::u16string_view filtered, TokenStore &store)
{
    Reading reading;
    if (filtered.size() <= longestUnread) {
        decide(reading, DecidingStep::length, Rating::ham);
        return reading;
    }
    readTokens(reading, filtered, store);
    decideByTokens(reading, filtered);
    return reading;
}

} // namespace velq::kit

#endif
