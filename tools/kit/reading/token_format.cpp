// Bytes of keys and values, the same on every machine. Said here apart from the engine's own code, because the kit also
// reads what the engine would not.
#include "kit/reading/token_format.h"

namespace velq::kit {

// ---- Texts --------------------------------------------------------------------------------------------------------

std::string bytesOfUnits(std::u16string_view units)
{
    std::string bytes;
    bytes.reserve(2 * units.size());
    for (const char16_t unit : units) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

std::u16string unitsOfBytes(std::string_view bytes)
{
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        units +=
            static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return units;
}

std::string zeroEnded(std::string_view bytes)
{
    return std::string(bytes) + std::string(2, '\0');
}

std::optional<std::size_t> zeroUnitIn(std::string_view bytes)
{
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        if (bytes[i] == 0 && bytes[i + 1] == 0) {
            return i;
        }
    }
    return std::nullopt;
}

// ---- Keys ---------------------------------------------------------------------------------------------------------

std::string_view messageCountKey()
{
    static const std::string key = bytesOfUnits(u".MSG_CNT");
    return key;
}

std::string_view priorKey()
{
    return {".ROBX\0", 6};
}

bool isTokenKey(std::string_view key)
{
    return key.size() % 2 == 0 && key.size() >= 2 * shortestToken && key.size() <= 2 * longestToken &&
           key != priorKey();
}

// ---- Values -------------------------------------------------------------------------------------------------------

static std::uint32_t wordAt(std::string_view value, std::size_t at)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < sizeof word && at + i < value.size(); ++i) {
        word |= static_cast<std::uint32_t>(static_cast<unsigned char>(value[at + i])) << (8 * i);
    }
    return word;
}

TokenWords wordsOf(std::string_view value)
{
    return {wordAt(value, 0), wordAt(value, 4), wordAt(value, 8)};
}

std::string valueOf(const TokenWords &words)
{
    std::string bytes;
    bytes.reserve(valueBytes);
    for (const std::uint32_t word : {words.spam, words.ham, words.reserved}) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>((word >> shift) & 0xFF);
        }
    }
    return bytes;
}

double priorOf(std::uint32_t millionths)
{
    constexpr double absent = 0.52;
    return millionths == 0 ? absent : millionths * 0.000001;
}

} // namespace velq::kit
