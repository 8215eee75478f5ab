// The preparation of texts, for any sequence of code units. A byte below 0x80 is that character, 0xFF introduces any
// code unit, and the others name characters that the rules look at.
#include "fuzz_target.h"
#include "text/prepare.h"

#include <algorithm>
#include <vector>

using namespace velq::fuzz;
using namespace velq::test;

namespace {

constexpr VELQ_WideChar untouched = 0x2592;

// Look-alikes of all scripts and letters without one, accents, invisible characters, forms, digits, halves of pairs.
constexpr char16_t characters[] = {
    0x430,  0x435,  0x43E,  0x440,  0x441,  0x443,  0x445,  0x456,  0x432,  0x43D,  0x436,  0x44F,  0x412,  0x41D,
    0x3B1,  0x3B7,  0x397,  0x3BD,  0x39D,  0x3C5,  0x3A5,  0x3BC,  0x39C,  0x3C3,  0x3C2,  0x3F2,  0x585,  0x578,
    0x13AA, 0x13BB, 0xAB70, 0xA4D0, 0xA4F3, 0x2C9E, 0x301,  0x308,  0x345,  0x20E3, 0x200B, 0x200D, 0xAD,   0xFE0F,
    0x202E, 0xFEFF, 0xDF,   0xE9,   0x130,  0x131,  0x149,  0x1C4,  0x1E9E, 0xFB01, 0xFDFA, 0xFEF7, 0xFF21, 0xFF11,
    0xFF0C, 0x3000, 0xA0,   0x24D0, 0x2776, 0x249C, 0x660,  0xE51,  0x4F60, 0xAC00, 0x30AB, 0xE20,  0x915,  0x94D,
    0xD83D, 0xDE00, 0xD835, 0xDC00, 0xD83C, 0xDD70, 0xDB40, 0xDC41, 0xD801, 0xD83A, 0xDD00, 0x7F,   0x85,   0x1};

WideText textOf(const std::uint8_t *data, std::size_t size)
{
    WideText text;
    for (std::size_t i = 0; i < size && data[i] != 0; ++i) {
        if (data[i] < 0x80) {
            text += static_cast<VELQ_WideChar>(data[i]);
        } else if (data[i] != 0xFF) {
            text += static_cast<VELQ_WideChar>(characters[(data[i] - 0x80U) % std::size(characters)]);
        } else if (i + 2 < size && (data[i + 1] | data[i + 2]) != 0) {
            text += static_cast<VELQ_WideChar>(data[i + 1] << 8 | data[i + 2]);
            i += 2;
        }
    }
    return text;
}

bool isAscii(const WideText &text)
{
    return std::all_of(text.begin(), text.end(), [](VELQ_WideChar unit) { return unit >= ' ' && unit < 0x7F; });
}

void requireFolded(const WideText &prepared)
{
    for (std::size_t i = 0; i < prepared.size(); ++i) {
        const VELQ_WideChar unit = prepared[i];
        require(unit < 'A' || unit > 'Z', "a capital is left");
        require(unit < 0x300 || unit > 0x36F, "an accent is left");
        require(unit < 0x200B || unit > 0x200F, "an invisible character is left");
        require(unit < 0x410 || unit > 0x42F, "a Cyrillic capital is left");
        require(unit < 0x660 || unit > 0x669, "a digit is left");
        const bool isHigh = unit >= 0xD800 && unit < 0xDC00;
        const bool isLow = unit >= 0xDC00 && unit < 0xE000;
        const bool followsHigh = i > 0 && prepared[i - 1] >= 0xD800 && prepared[i - 1] < 0xDC00;
        require(isLow == followsHigh && !(isHigh && i + 1 == prepared.size()), "half a pair is left");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const WideText text = textOf(data, size);
    // On the heap and of its own length, so that the sanitizers see a unit too far.
    const std::vector<VELQ_WideChar> units(text.c_str(), text.c_str() + text.size() + 1);
    const std::size_t needed = velq_prepare_text(units.data(), nullptr, 0);
    require(needed >= 1, "a text needs no units");
    std::vector<VELQ_WideChar> shorter(needed - 1, untouched);
    require(velq_prepare_text(units.data(), shorter.data(), needed - 1) == needed, "the size depends on the capacity");
    require(std::all_of(shorter.begin(), shorter.end(), [](VELQ_WideChar unit) { return unit == untouched; }),
            "something was written though there was no room");
    std::vector<VELQ_WideChar> exact(needed, untouched);
    require(velq_prepare_text(units.data(), exact.data(), needed) == needed, "the size depends on the buffer");
    require(std::find(exact.begin(), exact.end(), 0) == exact.end() - 1,
            "the text is not as long as it was said to be");
    const WideText prepared(exact.data());
    requireFolded(prepared);
    require(!isAscii(text) || prepared.size() == text.size(), "plain text changed its length");
    require(prepare(prepared) == prepared, "a prepared text did not stay");
    return 0;
}
