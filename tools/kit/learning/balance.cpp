// Near-duplicates share the weight that the root of their number gives; then each class of each source is brought to
// its own, and the classes to their shares.
#include "kit/learning/balance.h"

#include <cmath>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>

namespace velq::kit {

void balance(std::vector<FilteredText> &messages, const BalanceRule &rule)
{
    double all = 0;
    std::unordered_map<std::uint32_t, double> clusterSizes;
    for (const FilteredText &message : messages) {
        clusterSizes[message.cluster] += message.weight;
        all += message.weight;
    }
    using Stratum = std::pair<std::uint32_t, bool>;
    std::map<Stratum, double> strata; // of the weights so far
    for (FilteredText &message : messages) {
        message.weight /= std::sqrt(clusterSizes[message.cluster]);
        strata[{message.source, message.spam}] += message.weight;
    }
    double classes[2] = {0, 0};
    for (const auto &[stratum, size] : strata) {
        classes[stratum.second ? 1 : 0] += std::pow(size, rule.sourcePower);
    }
    const double shares[2] = {rule.hamShare, 1 - rule.hamShare};
    for (FilteredText &message : messages) {
        const double size = strata[{message.source, message.spam}];
        const std::size_t side = message.spam ? 1 : 0;
        message.weight *= std::pow(size, rule.sourcePower) / size * shares[side] / classes[side] * all;
    }
}

} // namespace velq::kit
