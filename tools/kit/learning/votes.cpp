// Votes: first by the surroundings in which a sequence stands, then by what segmentation leaves of it.
#include "kit/learning/votes.h"

#include "kit/learning/crossings.h"
#include "kit/learning/fillers.h"
#include "kit/messages/sampling.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <utility>

namespace velq::kit {

double cautiousLean(double spam, double ham, const ClassSizes &sizes)
{
    constexpr double seen = 0.1;
    constexpr double unseenHam = 0.5;
    constexpr double unseenSpam = 1;
    const auto share = [](double count, double all, double extra) { return (count + extra) / (all + 2 * extra); };
    if (share(spam, sizes.spam, seen) > share(ham, sizes.ham, seen)) {
        return std::log(share(spam, sizes.spam, seen) / share(ham, sizes.ham, unseenHam));
    }
    return std::log(share(spam, sizes.spam, unseenSpam) / share(ham, sizes.ham, seen));
}

namespace {

constexpr double hamSlope = 0.3;
// Where the fitting of every spam token starts: one alone is short of the spam cut-off, two reach it.
constexpr double spamVote = 2.13;
constexpr double fewestSpamPlaces = 6; // different surroundings
constexpr double fewestHamPlaces = 5;
constexpr double fewestSegmented = 2;
constexpr int voteRounds = 4;

// In how many different surroundings, up to three units on either side, each candidate stands in each class. Copies of
// one message count once that way, which the number of messages would take for broad evidence.
struct PlaceCounts {
    ClassCounts weighed;         // each place by the weight of its heaviest message
    std::vector<double> numbers; // of places, of both classes
};

struct Place {
    std::uint32_t candidate;
    float weight;
    std::uint64_t surroundings; // mixed with the class
};

std::uint64_t surroundingsOf(std::u16string_view text, std::size_t at, std::size_t length, bool spam)
{
    constexpr std::size_t reach = 3;
    const std::size_t begin = at < reach ? 0 : at - reach;
    const PackedToken left = packToken(text.substr(begin, at - begin));
    const PackedToken right = packToken(text.substr(at + length, reach));
    // Mixed, not joined: 96 bits of surroundings do not fit. A collision costs one count.
    const std::uint64_t mixed = SeededSequence(left * 31 + right).next() ^ left;
    return (mixed << 1) | (spam ? 1 : 0);
}

// The places of the candidates from `first` up to `last`.
void addPlaces(const IndexedText &indexed, std::u16string_view text, std::uint32_t first, std::uint32_t last,
               std::vector<Place> &places)
{
    forEachPlace(indexed, [&](std::uint32_t candidate, std::size_t at, std::size_t length) {
        if (candidate >= first && candidate < last) {
            places.push_back(
                {candidate, static_cast<float>(indexed.weight), surroundingsOf(text, at, length, indexed.spam)});
        }
    });
}

void countPlacesOf(std::vector<Place> &places, PlaceCounts &counts)
{
    std::sort(places.begin(), places.end(), [](const Place &a, const Place &b) {
        return std::tie(a.candidate, a.surroundings, b.weight) < std::tie(b.candidate, b.surroundings, a.weight);
    });
    const auto samePlace = [](const Place &a, const Place &b) {
        return a.candidate == b.candidate && a.surroundings == b.surroundings;
    };
    places.erase(std::unique(places.begin(), places.end(), samePlace), places.end());
    for (const Place &place : places) {
        const bool spam = place.surroundings % 2 == 1;
        (spam ? counts.weighed.spam : counts.weighed.ham)[place.candidate] += static_cast<double>(place.weight);
        ++counts.numbers[place.candidate];
    }
}

// In several rounds, each over some of the candidates, so that not all places are held at once.
PlaceCounts countPlaces(const Group &group, const std::vector<FilteredText> &messages)
{
    constexpr std::size_t rounds = 4;
    const std::size_t size = group.candidates.tokens.size();
    PlaceCounts counts{{std::vector<double>(size, 0), std::vector<double>(size, 0)}, std::vector<double>(size, 0)};
    std::vector<Place> places;
    for (std::size_t round = 0; round < rounds; ++round) {
        places.clear();
        const auto first = static_cast<std::uint32_t>(size * round / rounds);
        const auto last = static_cast<std::uint32_t>(size * (round + 1) / rounds);
        for (const IndexedText &indexed : group.texts) {
            addPlaces(indexed, messages[indexed.message].text, first, last, places);
        }
        countPlacesOf(places, counts);
    }
    const ClassCounts messagesHolding = countHolding(group);
    for (std::size_t i = 0; i < size; ++i) {
        counts.weighed.spam[i] = std::min(counts.weighed.spam[i], messagesHolding.spam[i]);
        counts.weighed.ham[i] = std::min(counts.weighed.ham[i], messagesHolding.ham[i]);
    }
    return counts;
}

// 1 in a group of few texts.
double scarcityOf(const Group &group)
{
    constexpr double few = 1000;
    return std::sqrt(few / std::max(few, static_cast<double>(group.texts.size())));
}

} // namespace

Choice chooseByVotes(const Group &group, const std::vector<FilteredText> &messages, const VoteRule &rule)
{
    const Crossings crossings = crossingsOf(group, messages);
    const double scarcity = scarcityOf(group);
    const double spamStrictness = rule.spamStrictness + rule.scarce * scarcity;
    const double hamStrictness = rule.hamStrictness + rule.scarce * scarcity;
    const auto votes = [&](std::size_t i, double lean, double count, double fewestSpam, double fewestHam) {
        const double words = crossings.words[i] * (1 - scarcity);
        const double syllables = crossings.syllables[i] * (1 - scarcity);
        const double spamLean = spamStrictness + rule.spamCrossing * words + rule.spamSyllables * syllables;
        const double hamLean = hamStrictness + rule.hamCrossing * words + rule.hamSyllables * syllables;
        return (lean >= spamLean && count >= fewestSpam) || (-lean >= hamLean && count >= fewestHam);
    };
    const std::size_t size = group.candidates.tokens.size();
    const PlaceCounts places = countPlaces(group, messages);
    std::vector<double> placeLeans(size);
    std::vector<std::uint8_t> listed = group.fixed;
    for (std::size_t i = 0; i < size; ++i) {
        placeLeans[i] = cautiousLean(places.weighed.spam[i], places.weighed.ham[i], group.sizes);
        if (group.taken[i] == 0 && votes(i, placeLeans[i], places.numbers[i], fewestSpamPlaces, fewestHamPlaces)) {
            listed[i] = 1;
        }
    }
    std::vector<double> leans(size, 0);
    for (int round = 0; round < voteRounds; ++round) {
        const ClassCounts counts = countSegmented(group, listed);
        for (std::size_t i = 0; i < size; ++i) {
            leans[i] = cautiousLean(counts.spam[i], counts.ham[i], group.sizes);
            if (group.fixed[i] == 0 &&
                !votes(i, leans[i], counts.spam[i] + counts.ham[i], fewestSegmented, fewestSegmented)) {
                listed[i] = 0;
            }
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        const double hamLean = leastLean + hamSlope * (-leans[i] - hamStrictness);
        const double voted = leans[i] > 0 ? spamVote : -std::min(greatestHamLean, std::max(leastLean, hamLean));
        leans[i] = group.fixed[i] != 0 ? group.leans[i] : listed[i] == 0 ? 0 : voted;
    }
    std::vector<std::uint8_t> fillers = neutralPairs(group, listed, placeLeans, rule.fillers);
    for (std::size_t i = 0; i < size; ++i) {
        listed[i] |= fillers[i];
    }
    return {std::move(listed), std::move(fillers), std::move(leans)};
}

void levelVotes(const std::vector<std::uint8_t> &fixed, std::vector<double> &leans)
{
    for (std::size_t i = 0; i < leans.size(); ++i) {
        if (fixed[i] == 0 && leans[i] > 0) {
            leans[i] = votedSpamLean;
        }
    }
}

} // namespace velq::kit
