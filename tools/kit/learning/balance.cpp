// Near-duplicates share the weight that the root of their number gives; then each class of each source is brought to
// its own, and the classes to their shares.
#include "kit/learning/balance.h"

#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

namespace velq::kit {

namespace {

struct Language {
    double classes[2] = {0, 0}; // ham and spam, by the powers of their sources
};

// What each class of the language is multiplied with to have its share. A language of one class alone has all of it.
double factorOf(const Language &language, bool spam, double hamShare)
{
    const double all = language.classes[0] + language.classes[1];
    const double own = language.classes[spam ? 1 : 0];
    return own == all ? 1 : all * (spam ? 1 - hamShare : hamShare) / own;
}

} // namespace

void balance(std::vector<FilteredText> &messages, const BalanceRule &rule,
             const std::map<std::uint32_t, std::uint32_t> &languages)
{
    double before = 0;
    std::unordered_map<std::uint32_t, double> clusterSizes;
    for (const FilteredText &message : messages) {
        clusterSizes[message.cluster] += message.weight;
        before += message.weight;
    }
    using Stratum = std::pair<std::uint32_t, bool>;
    std::map<Stratum, double> strata; // of the weights so far
    for (FilteredText &message : messages) {
        message.weight /= std::sqrt(clusterSizes[message.cluster]);
        strata[{message.source, message.spam}] += message.weight;
    }
    const auto languageOf = [&languages](std::uint32_t source) {
        const auto found = languages.find(source);
        return found == languages.end() ? 0 : found->second;
    };
    std::set<std::uint32_t> languagesWithOthers; // than light sources
    for (const auto &[stratum, size] : strata) {
        if (stratum.first < rule.firstLight) {
            languagesWithOthers.insert(languageOf(stratum.first));
        }
    }
    const auto weightOf = [&](std::uint32_t source, bool spam) {
        const bool isLight = source >= rule.firstLight && languagesWithOthers.contains(languageOf(source));
        return !isLight ? 1 : spam ? rule.lightSpamWeight : rule.lightHamWeight;
    };
    std::map<std::uint32_t, Language> all;
    double sum = 0;
    for (const auto &[stratum, size] : strata) {
        const double power = weightOf(stratum.first, stratum.second) * std::pow(size, rule.sourcePower);
        all[languageOf(stratum.first)].classes[stratum.second ? 1 : 0] += power;
        sum += power;
    }
    for (FilteredText &message : messages) {
        const double size = strata[{message.source, message.spam}];
        message.weight *= weightOf(message.source, message.spam) * std::pow(size, rule.sourcePower - 1) * before / sum *
                          factorOf(all[languageOf(message.source)], message.spam, rule.hamShare);
    }
}

} // namespace velq::kit
