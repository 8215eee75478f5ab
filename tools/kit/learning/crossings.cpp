// Places by the weights of their messages.
#include "kit/learning/crossings.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace velq::kit {

namespace {

bool crosses(const std::vector<bool> &begins, std::size_t at, std::size_t length)
{
    const auto unit = [&](std::size_t number) {
        return begins.begin() + static_cast<std::ptrdiff_t>(std::min(number, begins.size()));
    };
    return std::find(unit(at + 1), unit(at + length), true) != unit(at + length);
}

} // namespace

std::vector<double> crossingShares(const Group &group, const std::vector<FilteredText> &messages)
{
    const std::size_t size = group.candidates.tokens.size();
    std::vector<double> places(size, 0);
    std::vector<double> shares(size, 0);
    for (const IndexedText &indexed : group.texts) {
        const std::vector<bool> &begins = messages[indexed.message].begins;
        forEachPlace(indexed, [&](std::uint32_t candidate, std::size_t at, std::size_t length) {
            places[candidate] += indexed.weight;
            shares[candidate] += crosses(begins, at, length) ? indexed.weight : 0;
        });
    }
    for (std::size_t i = 0; i < size; ++i) {
        shares[i] = places[i] > 0 ? shares[i] / places[i] : 0;
    }
    return shares;
}

} // namespace velq::kit
