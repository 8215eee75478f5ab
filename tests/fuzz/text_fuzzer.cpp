// The text helpers and the segmentation, for any sequence of code units: what an attacker's message reaches before the
// classifier. The engine keeps running and nothing is written, so that inputs take microseconds. Input: one byte that
// says whether pieces or plain code units follow.
#include "VELQ_Util.h"
#include "VELQ_Word_Seg.h"
#include "fuzz_harness.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

using namespace velq::fuzz;

namespace {

constexpr std::size_t longestText = 4000;

WideText plainUnits(Input &input)
{
    WideText out;
    while (!input.isAtEnd() && out.size() < longestText) {
        const std::uint8_t high = input.byte();
        const auto unit = static_cast<VELQ_WideChar>(high << 8 | input.byte());
        if (unit != 0) {
            out += unit;
        }
    }
    return out;
}

bool holdsSevenDigits(const WideText &text)
{
    std::size_t run = 0;
    for (const VELQ_WideChar unit : text) {
        run = unit >= '0' && unit <= '9' ? run + 1 : 0;
        if (run == 7) {
            return true;
        }
    }
    return false;
}

// Buffers are exactly as long as they must be, so that the sanitizers see every unit too far.
void convert(const VELQ_WideChar *text, int (*lengthOf)(const VELQ_WideChar *) noexcept,
             int (*to)(const VELQ_WideChar *, char *, int) noexcept)
{
    const int needed = lengthOf(text);
    require(needed >= 1, "a text has no length");
    std::vector<char> whole(static_cast<std::size_t>(needed));
    require(to(text, whole.data(), needed) == needed, "the conversion and its length differ");
    require(whole.back() == '\0' && std::string_view(whole.data()).size() + 1 == whole.size(), "no single terminator");
    if (needed > 1) {
        std::vector<char> shorter(static_cast<std::size_t>(needed) - 1);
        require(to(text, shorter.data(), needed - 1) < 1, "a conversion into too small a buffer");
    }
}

void filter(const WideText &body, WideText *filtered)
{
    const std::unique_ptr<VELQ_WideChar, void (*)(void *) noexcept> result(filterMessageBody(body.c_str()), freeMemory);
    require(result != nullptr, "no filtered body");
    *filtered = result.get();
    require(filtered->size() <= body.size(), "filtering made the body longer");
    for (const VELQ_WideChar unit : *filtered) {
        require(!isPunctuation(unit) && (unit < 'A' || unit > 'Z'), "the filter left something");
        require(body.find(unit) != WideText::npos || (unit >= 'a' && unit <= 'z'), "the filter made something up");
    }
}

void turnNumber(const WideText &number)
{
    constexpr std::size_t mostKept = 39;
    char narrow[mostKept + 1]{};
    narrowNumber(narrow, number.c_str());
    const std::string once = narrow;
    require(once.size() <= number.size(), "a number grew");
    VELQ_WideChar wide[mostKept + 1]{};
    require(widenNumber(wide, narrow) == once.size(), "widening changed the length");
    reverseNumber(narrow);
    require(std::string(once.rbegin(), once.rend()) == narrow, "a number reversed");
    reverseNumber(narrow);
    require(once == narrow, "a number reversed twice");
}

void segment(const WideText &filtered)
{
    require(wordSeg(filtered.c_str()) == 0, "a segmentation failed");
    require(get_token_count() <= mostCountedTokens, "more than 29 tokens");
    for (std::uint32_t i = 0; i < get_token_count(); ++i) {
        const WideText token(get_token_text(i), get_token_length(i));
        require(token.size() >= 2 && token.size() <= 4, "a token's length");
        require(filtered.find(token) != WideText::npos, "a token that is not in the text");
        for (std::uint32_t other = 0; other < i; ++other) {
            require(token != get_token_text(other), "a token stands twice");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Engine engine(StartVariant::norix);
    Input input(data, size);
    const WideText text = input.below(2) == 0 ? input.text(longestText) : plainUnits(input);
    // On the heap and of its own length, for the same reason as above.
    const std::vector<VELQ_WideChar> units(text.c_str(), text.c_str() + text.size() + 1);
    convert(units.data(), API_unicodeToUtf8Length, API_unicodeToUtf8);
    convert(units.data(), API_unicodeToOemLength, API_unicodeToOem);
    require((hasTelNumber(units.data()) != 0) == holdsSevenDigits(text), "a run of seven digits");
    turnNumber(text);
    WideText filtered;
    filter(text, &filtered);
    segment(filtered);
    return 0;
}
