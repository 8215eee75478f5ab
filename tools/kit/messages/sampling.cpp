// Everything random comes from one generator. It is the project's own few lines because the distributions and the
// shuffle of the standard library may give other results elsewhere, and a split must be the same everywhere for a seed.
#include "kit/messages/sampling.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <utility>

namespace velq::kit {

// SplitMix64: a counter with a fixed odd step, and a mixing function of three multiply-shift rounds.
std::uint64_t SeededSequence::next()
{
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
}

std::uint64_t SeededSequence::drawBelow(std::uint64_t bound)
{
    // Values below 2^64 mod bound would make the low results likelier.
    const std::uint64_t unfair = (0 - bound) % bound;
    std::uint64_t value = next();
    while (value < unfair) {
        value = next();
    }
    return value % bound;
}

void shuffle(std::vector<std::size_t> &items, SeededSequence &sequence)
{
    for (std::size_t left = items.size(); left > 1; --left) {
        std::swap(items[left - 1], items[sequence.below(left)]);
    }
}

namespace {

// The members of each stratum, shuffled; strata in ascending order.
std::vector<std::vector<std::size_t>> shuffledStrata(const std::vector<std::uint32_t> &strata, std::uint64_t seed)
{
    std::map<std::uint32_t, std::vector<std::size_t>> members;
    for (std::size_t i = 0; i < strata.size(); ++i) {
        members[strata[i]].push_back(i);
    }
    SeededSequence sequence(seed);
    std::vector<std::vector<std::size_t>> shuffled;
    for (auto &[stratum, indices] : members) {
        shuffle(indices, sequence);
        shuffled.push_back(std::move(indices));
    }
    return shuffled;
}

std::vector<Split> splitsOf(const std::vector<std::size_t> &foldOf, std::size_t folds)
{
    std::vector<Split> splits(folds);
    for (std::size_t i = 0; i < foldOf.size(); ++i) {
        for (std::size_t fold = 0; fold < folds; ++fold) {
            (fold == foldOf[i] ? splits[fold].test : splits[fold].training).push_back(i);
        }
    }
    return splits;
}

} // namespace

std::vector<Split> stratifiedFolds(const std::vector<std::uint32_t> &strata, std::size_t folds, std::uint64_t seed)
{
    // Dealing goes on from stratum to stratum, so that the folds' sizes differ by at most one as well.
    std::vector<std::size_t> foldOf(strata.size());
    std::size_t dealt = 0;
    for (const std::vector<std::size_t> &members : shuffledStrata(strata, seed)) {
        for (const std::size_t index : members) {
            foldOf[index] = dealt++ % folds;
        }
    }
    return splitsOf(foldOf, folds);
}

namespace {

// The members of each group; the large groups first, groups of one size in a seeded order.
std::vector<std::vector<std::size_t>> groupsBySize(const std::vector<std::uint32_t> &groups, std::uint64_t seed)
{
    std::vector<std::vector<std::size_t>> members;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        members.resize(std::max(members.size(), std::size_t{groups[i]} + 1));
        members[groups[i]].push_back(i);
    }
    std::vector<std::size_t> order(members.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    SeededSequence sequence(seed);
    shuffle(order, sequence);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return members[a].size() > members[b].size(); });
    std::vector<std::vector<std::size_t>> ordered;
    ordered.reserve(order.size());
    std::transform(order.begin(), order.end(), std::back_inserter(ordered),
                   [&](std::size_t group) { return std::move(members[group]); });
    return ordered;
}

// How many messages of each stratum each fold has so far.
class FoldShares {
  public:
    FoldShares(const std::vector<std::uint32_t> &strata, std::size_t folds) : strata_(strata), counts_(folds)
    {
        for (const std::uint32_t stratum : strata) {
            totals_.resize(std::max(totals_.size(), std::size_t{stratum} + 1));
            ++totals_[stratum];
        }
        for (Counts &counts : counts_) {
            counts.ofStratum.resize(totals_.size());
        }
    }

    // The fold that has least of what the group's members are, and of equal ones the smallest.
    std::size_t neediest(const std::vector<std::size_t> &group) const
    {
        std::size_t best = 0;
        double bestShare = 0;
        for (std::size_t fold = 0; fold < counts_.size(); ++fold) {
            double share = 0;
            for (const std::size_t index : group) {
                const std::uint32_t stratum = strata_[index];
                share += static_cast<double>(counts_[fold].ofStratum[stratum]) / static_cast<double>(totals_[stratum]);
            }
            const bool better = share < bestShare || (share == bestShare && counts_[fold].all < counts_[best].all);
            if (fold == 0 || better) {
                best = fold;
                bestShare = share;
            }
        }
        return best;
    }
    void add(std::size_t fold, const std::vector<std::size_t> &group)
    {
        for (const std::size_t index : group) {
            ++counts_[fold].ofStratum[strata_[index]];
        }
        counts_[fold].all += group.size();
    }

  private:
    struct Counts {
        std::vector<std::size_t> ofStratum;
        std::size_t all = 0;
    };

    const std::vector<std::uint32_t> &strata_;
    std::vector<std::size_t> totals_;
    std::vector<Counts> counts_;
};

} // namespace

std::vector<Split> groupedFolds(const std::vector<std::uint32_t> &strata, const std::vector<std::uint32_t> &groups,
                                std::size_t folds, std::uint64_t seed)
{
    std::vector<std::size_t> foldOf(strata.size());
    FoldShares shares(strata, folds);
    for (const std::vector<std::size_t> &group : groupsBySize(groups, seed)) {
        const std::size_t fold = shares.neediest(group);
        shares.add(fold, group);
        for (const std::size_t index : group) {
            foldOf[index] = fold;
        }
    }
    return splitsOf(foldOf, folds);
}

Split splitAfter(std::size_t messages, std::size_t trainingCount)
{
    Split split;
    for (std::size_t i = 0; i < messages; ++i) {
        (i < trainingCount ? split.training : split.test).push_back(i);
    }
    return split;
}

std::vector<std::size_t> stratifiedOrder(const std::vector<std::uint32_t> &strata, std::uint64_t seed)
{
    // Member k of a stratum of n stands at the share (k + 1/2) / n of the order. The shares are compared as whole
    // numbers, (2k + 1) * other n, so that no rounding can change the order.
    struct Place {
        std::uint64_t odd;
        std::uint64_t size;
        std::size_t stratum;
        std::size_t index;
    };
    std::vector<Place> places;
    std::size_t number = 0;
    for (const std::vector<std::size_t> &members : shuffledStrata(strata, seed)) {
        for (std::size_t k = 0; k < members.size(); ++k) {
            places.push_back({2 * k + 1, members.size(), number, members[k]});
        }
        ++number;
    }
    std::sort(places.begin(), places.end(), [](const Place &a, const Place &b) {
        const std::uint64_t left = a.odd * b.size;
        const std::uint64_t right = b.odd * a.size;
        return left != right ? left < right : a.stratum < b.stratum;
    });
    std::vector<std::size_t> order;
    order.reserve(places.size());
    for (const Place &place : places) {
        order.push_back(place.index);
    }
    return order;
}

std::size_t Reservoir::place(std::uint32_t stratum)
{
    if (stratum >= seen_.size()) {
        seen_.resize(std::size_t{stratum} + 1);
    }
    const std::uint64_t before = seen_[stratum]++;
    if (before < perStratum_) {
        return static_cast<std::size_t>(before);
    }
    const std::uint64_t place = sequence_.below(before + 1);
    return place < perStratum_ ? static_cast<std::size_t>(place) : notKept;
}

} // namespace velq::kit
