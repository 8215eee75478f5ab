// The elimination. The numbers come from separation.h and fit.h.
#include "kit/learning/elimination.h"

#include "kit/learning/fillers.h"
#include "kit/learning/fit.h"
#include "kit/learning/separation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

// The vectors have one member for each candidate.
struct Elimination {
    std::vector<std::uint8_t> running; // may still become tokens with a weight
    std::vector<std::uint8_t> listed;
    std::vector<std::uint8_t> fillers;
};

std::vector<SegmentedText> overlapping(const Group &group)
{
    std::vector<SegmentedText> texts;
    for (const IndexedText &text : group.texts) {
        texts.push_back({text.spam, text.digitRun, text.brief, candidatesIn(text), text.weight});
    }
    return texts;
}

// Lists the `most` candidates of those still in the running with the greatest weight in all, and the fillers.
void keepHeaviest(const Group &group, const std::vector<SegmentedText> &texts, const std::vector<double> &weights,
                  std::size_t most, Elimination &elimination)
{
    std::vector<double> messages(weights.size(), 0);
    for (const SegmentedText &text : texts) {
        for (const std::uint32_t token : text.tokens) {
            messages[token] += text.weight;
        }
    }
    std::vector<std::pair<double, std::size_t>> ranked;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        if (elimination.running[i] != 0 && group.taken[i] == 0) {
            ranked.emplace_back(std::fabs(weights[i]) * std::sqrt(messages[i]), i);
        }
    }
    std::sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    ranked.resize(std::min(ranked.size(), most));
    std::fill(elimination.running.begin(), elimination.running.end(), std::uint8_t{0});
    for (const auto &[weight, candidate] : ranked) {
        elimination.running[candidate] = 1;
    }
    for (std::size_t i = 0; i < weights.size(); ++i) {
        elimination.listed[i] = group.fixed[i] | elimination.running[i] | elimination.fillers[i];
    }
}

// Fillers take part in segmentation only.
void dropFillers(std::vector<SegmentedText> &texts, const Elimination &elimination)
{
    for (SegmentedText &text : texts) {
        std::erase_if(text.tokens, [&](std::uint32_t token) {
            return elimination.fillers[token] != 0 && elimination.running[token] == 0;
        });
    }
}

} // namespace

Choice chooseByElimination(const Group &group, const EliminationRule &rule, std::uint64_t seed)
{
    const std::size_t size = group.candidates.tokens.size();
    Elimination elimination{std::vector<std::uint8_t>(size, 1), std::vector<std::uint8_t>(size, 1),
                            hamPairs(group, rule.fillers)};
    std::vector<SegmentedText> texts = overlapping(group);
    std::vector<double> weights = separatingWeights(texts, size, seed);
    std::size_t left = rule.firstTokens;
    keepHeaviest(group, texts, weights, left, elimination);
    for (;;) {
        texts = segmentAll(group.texts, elimination.listed);
        dropFillers(texts, elimination);
        weights = separatingWeights(texts, size, seed);
        if (left <= rule.lastTokens) {
            break;
        }
        left = std::max(rule.lastTokens, left / 5 * 4);
        keepHeaviest(group, texts, weights, left, elimination);
    }
    Choice choice{elimination.listed, std::vector<std::uint8_t>(size, 0), std::vector<double>(size, 0)};
    for (std::size_t i = 0; i < size; ++i) {
        choice.fillers[i] = elimination.listed[i] != 0 && group.fixed[i] == 0 && elimination.running[i] == 0 ? 1 : 0;
        choice.leans[i] = group.fixed[i] != 0 ? group.leans[i] : choice.fillers[i] != 0 ? 0 : leanOfWeight(weights[i]);
    }
    return choice;
}

} // namespace velq::kit
