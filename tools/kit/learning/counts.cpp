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
constexpr std::uint32_t builtPrior = 400000; // millionths

std::uint32_t rounded(double value, double least, double most)
{
    return static_cast<std::uint32_t>(std::clamp(std::round(value), least, std::max(least, most)));
}

TokenStats countsOf(const LearnedToken &learned)
{
    const std::uint32_t spam = rounded(learned.spamShare * messageScale, 1, messageScale);
    if (learned.lean == 0) {
        return {spam, rounded(learned.hamShare * messageScale, std::ceil(spam / mostNeutralOdds),
                              std::floor(spam * mostNeutralOdds))};
    }
    const double odds = std::exp(std::fabs(learned.lean));
    if (learned.lean < 0) {
        return {spam, static_cast<std::uint32_t>(std::ceil(spam * odds))};
    }
    const std::uint32_t ham = rounded(spam / odds, 1, messageScale);
    return {static_cast<std::uint32_t>(std::ceil(ham * odds)), ham};
}

} // namespace

Store storeOf(const Learned &learned)
{
    Store store = emptyStore({messageScale, messageScale});
    for (const LearnedToken &token : learned) {
        store.tokens.emplace(unpackToken(token.token), countsOf(token));
    }
    return store;
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
