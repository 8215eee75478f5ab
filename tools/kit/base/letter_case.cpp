#include "kit/base/letter_case.h"

namespace velq::kit {

std::string inSmallLetters(std::string_view text)
{
    std::string small(text);
    for (char &unit : small) {
        unit = unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit;
    }
    return small;
}

std::string inCapitals(std::string_view text)
{
    std::string capitals(text);
    for (char &unit : capitals) {
        unit = unit >= 'a' && unit <= 'z' ? static_cast<char>(unit - 'a' + 'A') : unit;
    }
    return capitals;
}

} // namespace velq::kit
