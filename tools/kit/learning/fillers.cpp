// Pairs by the number of clusters that hold them.
#include "kit/learning/fillers.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velq::kit {

namespace {

constexpr double neutralLean = 0.5;
constexpr std::uint32_t fewestHamClusters = 3;

bool isPair(PackedToken token)
{
    return token >> 32 == 0;
}

// A mark for each of the `most` candidates with the greatest numbers.
std::vector<std::uint8_t> mostFrequent(std::vector<std::pair<std::uint32_t, std::size_t>> numbered, std::size_t most,
                                       std::size_t candidates)
{
    std::sort(numbered.begin(), numbered.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    numbered.resize(std::min(numbered.size(), most));
    std::vector<std::uint8_t> marks(candidates, 0);
    for (const auto &[number, candidate] : numbered) {
        marks[candidate] = 1;
    }
    return marks;
}

} // namespace

std::vector<std::uint8_t> neutralPairs(const Group &group, const std::vector<std::uint8_t> &listed,
                                       const std::vector<double> &leans, std::size_t most)
{
    const Candidates &candidates = group.candidates;
    std::vector<std::pair<std::uint32_t, std::size_t>> pairs;
    for (std::size_t i = 0; i < candidates.tokens.size(); ++i) {
        if (isPair(candidates.tokens[i]) && listed[i] == 0 && group.taken[i] == 0 &&
            std::fabs(leans[i]) < neutralLean) {
            pairs.emplace_back(candidates.counts[i].spam + candidates.counts[i].ham, i);
        }
    }
    return mostFrequent(std::move(pairs), most, candidates.tokens.size());
}

std::vector<std::uint8_t> hamPairs(const Group &group, std::size_t most)
{
    const Candidates &candidates = group.candidates;
    std::vector<std::pair<std::uint32_t, std::size_t>> pairs;
    for (std::size_t i = 0; i < candidates.tokens.size(); ++i) {
        if (isPair(candidates.tokens[i]) && group.taken[i] == 0 && candidates.counts[i].ham >= fewestHamClusters) {
            pairs.emplace_back(candidates.counts[i].ham, i);
        }
    }
    return mostFrequent(std::move(pairs), most, candidates.tokens.size());
}

} // namespace velq::kit
