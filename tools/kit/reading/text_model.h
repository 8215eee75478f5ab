// The engine's reading of a message, in memory: filtering, segmentation, scoring and the rules around them, over a
// token store that is a plain record. It serves to build and to judge stores without an installation.
//
// Left to others: the number lists (a message is read as from a number on no list), the store's file form, and every
// published rating, which comes from the engine itself.
#ifndef VELQ_KIT_READING_TEXT_MODEL_H
#define VELQ_KIT_READING_TEXT_MODEL_H

#include "kit/engine/rating.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velq::kit {

inline constexpr std::size_t shortestToken = 2;
inline constexpr std::size_t longestToken = 4;
// Tokens that a message is scored and trained with; further ones only take up text.
inline constexpr std::size_t mostTokens = 29;
// The engine's limits on the filtered text's length: up to the first a message is ham unread, up to the second an
// undecided one is ham.
inline constexpr std::size_t longestUnread = 6;
inline constexpr std::size_t longestBrief = 20;
inline constexpr double spamCutoff = 0.9;
inline constexpr double hamCutoff = 0.45;

struct TokenStats {
    std::uint32_t spam = 0;
    std::uint32_t ham = 0;

    friend bool operator==(const TokenStats &, const TokenStats &) = default;
};

struct Store {
    std::map<std::u16string, TokenStats, std::less<>> tokens; // 2 to 4 units each
    std::uint32_t spamMessages = 0;
    std::uint32_t hamMessages = 0;
    std::uint32_t priorMillionths = 0; // 0: no record, and the engine takes 0.52

    friend bool operator==(const Store &, const Store &) = default;
};

// ---- Text ---------------------------------------------------------------------------------------------------------

bool isDigitUnit(char16_t unit); // ASCII and full-width
// The body without punctuation, capitals and isolated letters, up to its first zero unit.
std::u16string filterText(std::u16string_view body);
// Seven or more ASCII digits on end.
bool hasDigitRun(std::u16string_view filtered);

// ---- Tokens -------------------------------------------------------------------------------------------------------

// A token of 1 to 4 units as one number: the first unit lowest, 0 where there is none.
using PackedToken = std::uint64_t;

PackedToken packToken(std::u16string_view token);
std::u16string unpackToken(PackedToken token);

// A store made ready for reading many messages.
struct StoreIndex {
    std::unordered_map<PackedToken, TokenStats> tokens;
    std::uint32_t spamMessages = 0;
    std::uint32_t hamMessages = 0;
    double prior = 0;
};

StoreIndex indexStore(const Store &store);

// The distinct tokens of the longest match from left to right, at most `mostTokens`, in the order of the text.
std::vector<PackedToken> segmentText(const StoreIndex &index, std::u16string_view filtered);

// ---- Scores -------------------------------------------------------------------------------------------------------

// The smoothed spam probability of a token; NaN when neither class has weight.
double tokenProbability(const TokenStats &counts, std::uint32_t spamMessages, std::uint32_t hamMessages, double prior);
// Whether a token of that probability takes part in the score.
bool probabilityCounts(double probability);
// The upper tail of the chi-square distribution with 2 * `halfDegrees` degrees of freedom at 2 * `halfStatistic`.
double chiSquareTail(std::size_t halfDegrees, double halfStatistic);
// Fisher's combination of `counted` probabilities, given the sums of -ln(1 - p) and of -ln(p).
double combineTails(std::size_t counted, double spamEvidence, double hamEvidence, double prior);

struct TextVerdict {
    Rating rating = Rating::unsure;
    double spamicity = -1; // negative when the classifier was not asked
    std::size_t tokens = 0;
};

TextVerdict rateFiltered(const StoreIndex &index, std::u16string_view filtered);
TextVerdict rateText(const Store &store, std::u16string_view body);

// What the engine's training does to the counts: adds the message to one class.
void trainFiltered(StoreIndex &index, std::u16string_view filtered, bool spam);

} // namespace velq::kit

#endif
