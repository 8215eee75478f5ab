// The elimination. The numbers come from separation.h and fit.h.
#include "kit/learning/weights.h"

#include "kit/learning/fit.h"
#include "kit/learning/separation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

constexpr std::size_t firstTokens = 10000;
constexpr std::size_t lastTokens = 6000;

std::vector<SegmentedText> weighed(const Group &group, const std::vector<std::uint8_t> &listed)
{
    std::vector<SegmentedText> texts;
    for (const IndexedText &text : group.texts) {
        SegmentedText &added = texts.emplace_back(SegmentedText{text.spam, text.digitRun, text.brief, {}});
        segmentIndexed(text, listed, added.tokens);
    }
    return texts;
}

std::vector<SegmentedText> overlapping(const Group &group)
{
    std::vector<SegmentedText> texts;
    for (const IndexedText &text : group.texts) {
        texts.push_back({text.spam, text.digitRun, text.brief, candidatesIn(text)});
    }
    return texts;
}

// Lists the `most` candidates of those listed with the greatest weight in all.
void keepHeaviest(const Group &group, const std::vector<SegmentedText> &texts, const std::vector<double> &weights,
                  std::size_t most, std::vector<std::uint8_t> &listed)
{
    std::vector<double> messages(listed.size(), 0);
    for (const SegmentedText &text : texts) {
        for (const std::uint32_t token : text.tokens) {
            ++messages[token];
        }
    }
    std::vector<std::pair<double, std::size_t>> ranked;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        if (listed[i] != 0 && group.taken[i] == 0) {
            ranked.emplace_back(std::fabs(weights[i]) * std::sqrt(messages[i]), i);
        }
    }
    std::sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    ranked.resize(std::min(ranked.size(), most));
    listed = group.fixed;
    for (const auto &[weight, candidate] : ranked) {
        listed[candidate] = 1;
    }
}

} // namespace

Learned learnByWeights(const Group &group, std::uint64_t seed)
{
    const std::size_t size = group.candidates.tokens.size();
    std::vector<std::uint8_t> listed(size, 1);
    std::vector<SegmentedText> texts = overlapping(group);
    std::vector<double> weights = separatingWeights(texts, size, seed);
    std::size_t left = firstTokens;
    keepHeaviest(group, texts, weights, left, listed);
    for (;;) {
        texts = weighed(group, listed);
        weights = separatingWeights(texts, size, seed);
        if (left <= lastTokens) {
            break;
        }
        left = std::max(lastTokens, left / 5 * 4);
        keepHeaviest(group, texts, weights, left, listed);
    }
    std::vector<double> leans(size);
    for (std::size_t i = 0; i < size; ++i) {
        leans[i] = group.fixed[i] != 0 ? group.leans[i] : leanOfWeight(weights[i]);
    }
    fitLeans(texts, group.fixed, seed, leans);
    return collect(group, listed, leans);
}

} // namespace velq::kit
