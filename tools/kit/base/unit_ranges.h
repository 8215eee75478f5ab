// Kinds of characters, as ranges of UTF-16 units.
#ifndef VELQ_KIT_BASE_UNIT_RANGES_H
#define VELQ_KIT_BASE_UNIT_RANGES_H

#include <algorithm>
#include <span>

namespace velq::kit {

struct UnitRange {
    char16_t first;
    char16_t last;
};

inline bool isInRanges(char16_t unit, std::span<const UnitRange> ranges)
{
    return std::ranges::any_of(ranges,
                               [unit](const UnitRange &range) { return unit >= range.first && unit <= range.last; });
}

} // namespace velq::kit

#endif
