// Deliberately plain: sets and whole-string operations instead of tables and pointers.
#include "text_rules.h"

#include <set>

namespace velq::reference {

namespace {

constexpr std::size_t comparedNumberLength = 11;
constexpr int telephoneDigits = 7;

const std::set<unsigned> &punctuationTable()
{
    static const std::set<unsigned> table = {
        0x0021, 0x0022, 0x0023, 0x0024, 0x0025, 0x0027, 0x0028, 0x0029, 0x002A, 0x002B, 0x002D, 0x002E,
        0x002F, 0x003A, 0x003B, 0x003C, 0x003D, 0x003E, 0x003F, 0x0040, 0x005B, 0x005C, 0x005D, 0x005E,
        0x005F, 0x0060, 0x007B, 0x007C, 0x007D, 0x007E, 0x0020, 0x000D, 0x000A, 0x00B7, 0x00D7, 0x00F7,
        0x203B, 0x2192, 0x25CE, 0x2605, 0x3001, 0x3002, 0x300A, 0x300B, 0x3010, 0x3011, 0xFF01, 0xFF03,
        0xFF05, 0xFF08, 0xFF09, 0xFF0B, 0xFF0C, 0xFF0D, 0xFF1A, 0xFF1B, 0xFF1F, 0xFF5E, 0xFFE5};
    return table;
}

bool isLower(unsigned unit)
{
    return unit >= 'a' && unit <= 'z';
}
bool isUpper(unsigned unit)
{
    return unit >= 'A' && unit <= 'Z';
}

// Whether the Latin letter at `at` has a lower-case letter beside it in the unfiltered body. A body of one unit is its
// own neighbour.
bool hasLetterNeighbour(const WideText &body, std::size_t at)
{
    if (body.size() == 1) {
        return isLower(body[0]);
    }
    const bool before = at > 0 && isLower(body[at - 1]);
    const bool after = at + 1 < body.size() && isLower(body[at + 1]);
    return before || after;
}

} // namespace

bool isPunctuation(VELQ_WideChar unit)
{
    const unsigned value = unit;
    return (value >= 0x0081 && value <= 0x00FD) || punctuationTable().count(value) != 0;
}

WideText filterMessageBody(const WideText &body)
{
    WideText kept;
    for (std::size_t at = 0; at < body.size(); ++at) {
        const unsigned unit = body[at];
        if (isPunctuation(body[at])) {
            continue;
        }
        if (!isLower(unit) && !isUpper(unit)) {
            kept += body[at];
        } else if (hasLetterNeighbour(body, at)) {
            kept += static_cast<VELQ_WideChar>(isUpper(unit) ? unit + ('a' - 'A') : unit);
        }
    }
    return kept;
}

bool hasTelNumber(const WideText &text)
{
    int run = 0;
    for (const VELQ_WideChar unit : text) {
        run = unit >= '0' && unit <= '9' ? run + 1 : 0;
        if (run == telephoneDigits) {
            return true;
        }
    }
    return false;
}

std::string narrowNumber(const WideText &number)
{
    std::string narrow;
    for (const VELQ_WideChar unit : number.substr(0, longestNarrowNumber)) {
        const auto low = static_cast<char>(unit & 0xFF);
        if (low == '\0') {
            break;
        }
        narrow += low;
    }
    return narrow;
}

std::string numberKey(const WideText &number)
{
    const std::string narrow = narrowNumber(number);
    return std::string(narrow.rbegin(), narrow.rend());
}

WideText displayedNumber(const std::string &key)
{
    WideText displayed;
    for (auto at = key.rbegin(); at != key.rend(); ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        displayed += static_cast<VELQ_WideChar>(byte >= 0x80 ? 0xFF00 + byte : byte);
    }
    return displayed;
}

bool numbersMatch(const std::string &a, const std::string &b)
{
    if (a.size() >= comparedNumberLength && b.size() >= comparedNumberLength) {
        return a.substr(0, comparedNumberLength) == b.substr(0, comparedNumberLength);
    }
    return a == b && !a.empty() && a.size() < comparedNumberLength;
}

} // namespace velq::reference
