// The counts of each token: its share of the spam messages, and as many ham counts as its log odds ask for.
#include "kit/learning/counts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace velq::kit {

namespace {

// Both classes' message counts. More make corrections weaker, fewer let one language's traffic wear off what is known
// of another.
constexpr std::uint32_t messageScale = 8000;
constexpr double mostNeutralOdds = 3;
// The ham count of a spam token that three corrections of a blocked message take out of the count. A token that would
// have up to twice as much gets this: of more, live training would soon make its spam count what the messages have.
constexpr double correctableHam = 13;
constexpr std::uint32_t builtPrior = 400000; // millionths

std::uint32_t rounded(double value, double least, double most)
{
    return static_cast<std::uint32_t>(std::clamp(std::round(value), least, std::max(least, most)));
}

TokenStats countsOf(const LearnedToken &learned, const ClassSizes &sizes)
{
    const double hamPerSpam = sizes.ham / sizes.spam;
    const std::uint32_t spam = rounded(learned.spamShare * sizes.spam, 1, sizes.spam);
    if (learned.lean == 0) {
        return {spam, rounded(learned.hamShare * sizes.ham, std::ceil(spam * hamPerSpam / mostNeutralOdds),
                              std::floor(spam * hamPerSpam * mostNeutralOdds))};
    }
    const double odds = std::exp(std::fabs(learned.lean));
    if (learned.lean < 0) {
        return {spam, static_cast<std::uint32_t>(std::ceil(spam * hamPerSpam * odds))};
    }
    const double wantedHam = spam * hamPerSpam / odds;
    const double givenHam = wantedHam <= 2 * correctableHam ? std::min(wantedHam, correctableHam) : wantedHam;
    const std::uint32_t ham = rounded(givenHam, 1, sizes.ham);
    return {static_cast<std::uint32_t>(std::ceil(ham * odds / hamPerSpam)), ham};
}

} // namespace

Store storeOf(const Learned &learned)
{
    Store store = emptyStore({messageScale, messageScale});
    addTokens(store, learned);
    return store;
}

void addTokens(Store &store, const Learned &learned)
{
    const ClassSizes sizes{static_cast<double>(store.spamMessages), static_cast<double>(store.hamMessages)};
    for (const LearnedToken &token : learned) {
        store.tokens.emplace(unpackToken(token.token), countsOf(token, sizes));
    }
}

Learned learnedFrom(const Store &store)
{
    const StoreTotals totals = totalsOf(store);
    const auto share = [](std::uint32_t count, std::uint32_t all) { return count / std::max(1.0, double{1} * all); };
    Learned learned;
    for (const auto &[token, counts] : store.tokens) {
        const double probability = tokenProbability(counts, totals);
        const double lean = probabilityCounts(probability) ? std::log(probability / (1 - probability)) : 0;
        learned.push_back(
            {packToken(token), lean, share(counts.spam, store.spamMessages), share(counts.ham, store.hamMessages)});
    }
    return learned;
}

Store emptyStore(const ClassSizes &sizes)
{
    Store store;
    store.spamMessages = static_cast<std::uint32_t>(sizes.spam);
    store.hamMessages = static_cast<std::uint32_t>(sizes.ham);
    store.priorMillionths = builtPrior;
    return store;
}

} // namespace velq::kit
