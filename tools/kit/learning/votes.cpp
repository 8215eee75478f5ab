// Votes: first by the surroundings in which a sequence stands, then by what segmentation leaves of it.
#include "kit/learning/votes.h"

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

constexpr double hamStrictness = 2.5;
constexpr double hamSlope = 0.3;
// Of every spam token: a probability of 0.894. One token alone is short of the spam cut-off, two reach it, and the
// weight outlasts a good deal of other traffic, which adds to the spam message count but not to this token's.
constexpr double spamVote = 2.13;
constexpr double fewestSpamPlaces = 6; // different surroundings
constexpr double fewestHamPlaces = 5;
constexpr double fewestSegmented = 2;
constexpr double neutralLean = 0.5;
constexpr std::size_t mostFillers = 50;
constexpr int voteRounds = 4;

// In how many different surroundings, up to three units on either side, each candidate stands in each class. Copies of
// one message count once that way, which the number of messages would take for broad evidence.
ClassCounts countPlaces(const Group &group, const std::vector<FilteredText> &messages)
{
    using Place = std::tuple<std::uint32_t, bool, std::uint64_t>;
    constexpr std::size_t reach = 3;
    constexpr std::size_t unitsPerPart = 3;
    std::vector<Place> places;
    for (const FilteredText &message : messages) {
        const std::u16string_view text = message.text;
        for (std::size_t at = 0; at < text.size() && text.size() > longestUnread; ++at) {
            for (std::size_t length = shortestToken; length <= longestToken && at + length <= text.size(); ++length) {
                const auto found = group.candidates.positions.find(packToken(text.substr(at, length)));
                if (found == group.candidates.positions.end()) {
                    continue;
                }
                const std::size_t begin = at < reach ? 0 : at - reach;
                const PackedToken left = packToken(text.substr(begin, at - begin));
                const PackedToken right = packToken(text.substr(at + length, unitsPerPart));
                // Mixed, not joined: 96 bits of surroundings do not fit. A collision costs one count.
                places.emplace_back(found->second, message.spam, SeededSequence(left * 31 + right).next() ^ left);
            }
        }
    }
    std::sort(places.begin(), places.end());
    places.erase(std::unique(places.begin(), places.end()), places.end());
    const std::size_t size = group.candidates.tokens.size();
    ClassCounts counts{std::vector<double>(size, 0), std::vector<double>(size, 0)};
    for (const auto &[candidate, spam, surroundings] : places) {
        ++(spam ? counts.spam : counts.ham)[candidate];
    }
    for (std::size_t i = 0; i < size; ++i) {
        counts.spam[i] = std::min(counts.spam[i], static_cast<double>(group.candidates.counts[i].spam));
        counts.ham[i] = std::min(counts.ham[i], static_cast<double>(group.candidates.counts[i].ham));
    }
    return counts;
}

// The most frequent pairs without a lean: with them few ham messages stay below the three tokens that the classifier
// asks for. Few of them, since each takes up text that a voting token might begin in.
void addFillers(const Group &group, const std::vector<double> &leans, std::vector<std::uint8_t> &listed)
{
    std::vector<std::pair<std::uint32_t, std::size_t>> pairs;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        const bool isPair = group.candidates.tokens[i] >> 32 == 0;
        if (isPair && listed[i] == 0 && group.taken[i] == 0 && std::fabs(leans[i]) < neutralLean) {
            pairs.emplace_back(group.candidates.counts[i].spam + group.candidates.counts[i].ham, i);
        }
    }
    std::sort(pairs.begin(), pairs.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    pairs.resize(std::min(pairs.size(), mostFillers));
    for (const auto &[messages, candidate] : pairs) {
        listed[candidate] = 1;
    }
}

} // namespace

Learned learnByVotes(const Group &group, const std::vector<FilteredText> &messages, double spamStrictness)
{
    const auto votes = [&](double lean, double count, double fewestSpam, double fewestHam) {
        return (lean >= spamStrictness && count >= fewestSpam) || (lean <= -hamStrictness && count >= fewestHam);
    };
    const std::size_t size = group.candidates.tokens.size();
    const ClassCounts places = countPlaces(group, messages);
    std::vector<double> placeLeans(size);
    std::vector<std::uint8_t> listed = group.fixed;
    for (std::size_t i = 0; i < size; ++i) {
        placeLeans[i] = cautiousLean(places.spam[i], places.ham[i], group.sizes);
        if (group.taken[i] == 0 &&
            votes(placeLeans[i], places.spam[i] + places.ham[i], fewestSpamPlaces, fewestHamPlaces)) {
            listed[i] = 1;
        }
    }
    std::vector<double> leans(size, 0);
    for (int round = 0; round < voteRounds; ++round) {
        const ClassCounts counts = countSegmented(group, listed);
        for (std::size_t i = 0; i < size; ++i) {
            leans[i] = cautiousLean(counts.spam[i], counts.ham[i], group.sizes);
            if (group.fixed[i] == 0 &&
                !votes(leans[i], counts.spam[i] + counts.ham[i], fewestSegmented, fewestSegmented)) {
                listed[i] = 0;
            }
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        const double hamLean = leastLean + hamSlope * (-leans[i] - hamStrictness);
        leans[i] = listed[i] == 0 ? 0 : leans[i] > 0 ? spamVote : -std::min(greatestLean, hamLean);
    }
    addFillers(group, placeLeans, listed);
    return collect(group, listed, leans);
}

} // namespace velq::kit
