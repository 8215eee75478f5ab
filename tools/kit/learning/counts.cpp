// The counts of each token: its share of the spam messages, and as many ham counts as its log odds ask for.
#include "kit/learning/counts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace velq::kit {

namespace {

// The message counts. Every trained spam verdict adds to the first: where it is large, verdicts in one language wear
// off little of what is known of another. A correction weighs by the second, and so does ham of the white list.
constexpr double builtSpamMessages = 64000;
constexpr double builtHamMessages = 10000;
constexpr double mostNeutralOdds = 3;
constexpr double corrections = 3;    // of a message, that take a token out of the count
constexpr double mostBelowShare = 8; // a token's counts, for that
// The least count that is made so low: 1 would become twice as much with the first message that trains it.
constexpr double leastCorrectable = 2;
constexpr std::uint32_t builtPrior = 400000; // millionths

std::uint32_t rounded(double value, double least, double most)
{
    return static_cast<std::uint32_t>(std::clamp(std::round(value), least, std::max(least, most)));
}

// The count on the side that a token speaks against, when its share would give it `count`: lower, where that lets the
// corrections silence it, each of which adds one here and takes one off the other side. The other side has `odds` as
// great a share, of `messages` for each one of this side.
double correctable(double count, double odds, double messages)
{
    constexpr double margin = 0.85;   // counts are whole, and corrections change the message counts, too
    constexpr double countedOdds = 7; // a probability of 0.875
    const double most = std::floor(margin * corrections * (countedOdds + 1 / messages) / (odds - countedOdds));
    return most >= leastCorrectable && count <= mostBelowShare * most ? std::min(count, most) : count;
}

TokenStats countsOf(const LearnedToken &learned, const ClassSizes &sizes)
{
    const double hamPerSpam = sizes.ham / sizes.spam;
    const std::uint32_t sharesSpam = rounded(learned.spamShare * sizes.spam, 1, sizes.spam);
    if (learned.lean == 0) {
        return {sharesSpam, rounded(learned.hamShare * sizes.ham, std::ceil(sharesSpam * hamPerSpam / mostNeutralOdds),
                                    std::floor(sharesSpam * hamPerSpam * mostNeutralOdds))};
    }
    const double odds = std::exp(std::fabs(learned.lean));
    if (learned.lean < 0) {
        const double spam = correctable(sharesSpam, odds, hamPerSpam);
        return {static_cast<std::uint32_t>(spam), static_cast<std::uint32_t>(std::ceil(spam * hamPerSpam * odds))};
    }
    const double ham = rounded(correctable(sharesSpam * hamPerSpam / odds, odds, 1 / hamPerSpam), 1, sizes.ham);
    return {static_cast<std::uint32_t>(std::ceil(ham * odds / hamPerSpam)), static_cast<std::uint32_t>(ham)};
}

} // namespace

Store storeOf(const Learned &learned)
{
    Store store = emptyStore({builtSpamMessages, builtHamMessages});
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
