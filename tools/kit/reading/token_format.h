// How a token store and an update hold tokens: keys of little-endian UTF-16 units, values of three counts, and the two
// records among them that are no tokens.
#ifndef VELQ_KIT_READING_TOKEN_FORMAT_H
#define VELQ_KIT_READING_TOKEN_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velq::kit {

// ---- Texts --------------------------------------------------------------------------------------------------------

std::string bytesOfUnits(std::u16string_view units);
// A last byte that makes no unit is passed over.
std::u16string unitsOfBytes(std::string_view bytes);

// Texts of updates and names of lists end with a zero unit.
std::string zeroEnded(std::string_view bytes);
// The offset in bytes of the first zero unit; none without one.
std::optional<std::size_t> zeroUnitIn(std::string_view bytes);

// ---- Keys ---------------------------------------------------------------------------------------------------------

// Units of a token.
inline constexpr std::size_t shortestToken = 2;
inline constexpr std::size_t longestToken = 4;

// The records of the message counts, ".MSG_CNT" in UTF-16, and of the prior: ".ROBX" in ASCII and a zero byte.
std::string_view messageCountKey();
std::string_view priorKey();

// Of a length that is looked up for tokens, and not the prior's key, which has such a length.
bool isTokenKey(std::string_view key);

// ---- Values -------------------------------------------------------------------------------------------------------

// The counts of a token, or of messages. In the prior's record `spam` is the prior in millionths.
struct TokenWords {
    std::uint32_t spam = 0;
    std::uint32_t ham = 0;
    std::uint32_t reserved = 0;

    friend bool operator==(const TokenWords &, const TokenWords &) = default;
};

// Of a value as the engine writes it: three little-endian words.
inline constexpr std::size_t valueBytes = 12;

// Missing bytes read as zero, further ones are passed over, as the engine does.
TokenWords wordsOf(std::string_view value);
std::string valueOf(const TokenWords &words);

// The engine adds a token's counts up in a signed word: beyond this, its probability comes out wrong.
inline constexpr std::uint64_t largestSum = 0x7FFFFFFF;

// Of 0 millionths, as of a missing record, the prior is 0.52.
inline constexpr std::uint32_t millionthsOfOne = 1'000'000;
double priorOf(std::uint32_t millionths);

} // namespace velq::kit

#endif
