// The engine's punctuation filter on plain strings.
#include "kit/reading/text_filter.h"

#include <algorithm>
#include <array>

namespace velq::kit {

namespace {

constexpr std::u16string_view punctuation = u"#'+/;?[_{$(<@\\|!%)-=]}\"*:> ^~`.\r\n"
                                            u"\uFF03\u25CE\uFFE5\uFF05\u203B\uFF0B\uFF0D\uFF5E\u300A\u300B\uFF1F"
                                            u"\uFF0C\u3002\u3010\u3011\uFF09\uFF08\u3001\uFF1A\uFF01\uFF1B\u2605\u2192";

constexpr char16_t firstLatinOne = 0x81;
constexpr char16_t lastLatinOne = 0xFD;

std::array<bool, 0x10000> punctuationTable()
{
    std::array<bool, 0x10000> table{};
    for (const char16_t unit : punctuation) {
        table[unit] = true;
    }
    for (std::size_t unit = firstLatinOne; unit <= lastLatinOne; ++unit) {
        table[unit] = true;
    }
    return table;
}

bool isPunctuation(char16_t unit)
{
    static const std::array<bool, 0x10000> table = punctuationTable();
    return table[unit];
}

bool isSmallLetter(char16_t unit)
{
    return unit >= u'a' && unit <= u'z';
}

// Only small letters of the body as it came make company: in "Ab" the b stands alone, the A does not.
bool hasLetterNeighbour(std::u16string_view body, std::size_t at)
{
    const std::size_t last = body.size() - 1;
    if (at == 0) {
        return isSmallLetter(body[std::min<std::size_t>(1, last)]);
    }
    return isSmallLetter(body[at - 1]) || (at < last && isSmallLetter(body[at + 1]));
}

// What is left of a unit, or 0.
char16_t filteredUnit(std::u16string_view body, std::size_t at)
{
    char16_t unit = body[at];
    if (isPunctuation(unit)) {
        return 0;
    }
    if (unit >= u'A' && unit <= u'Z') {
        unit = static_cast<char16_t>(unit + (u'a' - u'A'));
    }
    return !isSmallLetter(unit) || hasLetterNeighbour(body, at) ? unit : u'\0';
}

} // namespace

bool isDigitUnit(char16_t unit)
{
    return (unit >= u'0' && unit <= u'9') || (unit >= u'\uFF10' && unit <= u'\uFF19');
}

std::u16string filterText(std::u16string_view body)
{
    body = body.substr(0, body.find(u'\0'));
    std::u16string filtered;
    filtered.reserve(body.size());
    for (std::size_t at = 0; at < body.size(); ++at) {
        if (const char16_t unit = filteredUnit(body, at)) {
            filtered.push_back(unit);
        }
    }
    return filtered;
}

std::vector<bool> wordBegins(std::u16string_view body)
{
    body = body.substr(0, body.find(u'\0'));
    std::vector<bool> begins;
    begins.reserve(body.size());
    bool isApart = true;
    for (std::size_t at = 0; at < body.size(); ++at) {
        if (const char16_t unit = filteredUnit(body, at)) {
            const bool isSign = unit == u',' || unit == u'&';
            begins.push_back(isApart || isSign);
            isApart = isSign;
        } else {
            isApart = true;
        }
    }
    return begins;
}

std::u16string markDropped(std::u16string_view body)
{
    body = body.substr(0, body.find(u'\0'));
    std::u16string marked;
    bool isDropping = false;
    for (std::size_t at = 0; at < body.size(); ++at) {
        const char16_t unit = filteredUnit(body, at);
        if (isDropping != (unit == 0)) {
            isDropping = !isDropping;
            marked.push_back(isDropping ? u'[' : u']');
        }
        marked.push_back(isDropping ? body[at] : unit);
    }
    if (isDropping) {
        marked.push_back(u']');
    }
    return marked;
}

bool hasDigitRun(std::u16string_view filtered)
{
    std::size_t run = 0;
    for (const char16_t unit : filtered) {
        run = unit >= u'0' && unit <= u'9' ? run + 1 : 0;
        if (run == digitRunLength) {
            return true;
        }
    }
    return false;
}

} // namespace velq::kit
