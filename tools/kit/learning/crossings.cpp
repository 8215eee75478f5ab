// Places by the weights of their messages.
#include "kit/learning/crossings.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace velq::kit {

namespace {

constexpr std::size_t lengths = longestToken - shortestToken + 1;

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
        for (std::size_t i = 0; i < indexed.starts.size(); ++i) {
            if (const std::uint32_t candidate = indexed.starts[i]; candidate != noCandidate) {
                places[candidate] += indexed.weight;
                const bool isCrossing =
                    crosses(messages[indexed.message].begins, i / lengths, longestToken - i % lengths);
                shares[candidate] += isCrossing ? indexed.weight : 0;
            }
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        shares[i] = places[i] > 0 ? shares[i] / places[i] : 0;
    }
    return shares;
}

} // namespace velq::kit
