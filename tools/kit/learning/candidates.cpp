// Counting of candidate sequences and the index of messages by candidate.
#include "kit/learning/candidates.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

namespace velq::kit {

namespace {

constexpr std::uint32_t fewestShortRuns = 12;
constexpr std::size_t longestShortRun = 6;

bool isDigitsOnly(std::u16string_view units)
{
    return std::all_of(units.begin(), units.end(), isDigitUnit);
}

// The length of the run of digits around a digit.
std::size_t runLengthAt(std::u16string_view text, std::size_t at)
{
    std::size_t begin = at;
    while (begin > 0 && isDigitUnit(text[begin - 1])) {
        --begin;
    }
    std::size_t end = at;
    while (end < text.size() && isDigitUnit(text[end])) {
        ++end;
    }
    return end - begin;
}

struct Sighting {
    PackedToken token;
    bool inShortRun;
};

// Each sequence once, marked when any of its places is a short run of digits.
std::vector<Sighting> sightingsIn(std::u16string_view text)
{
    std::vector<Sighting> sightings;
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (std::size_t length = shortestToken; length <= longestToken && at + length <= text.size(); ++length) {
            const std::u16string_view units = text.substr(at, length);
            const bool inShortRun = isDigitsOnly(units) && runLengthAt(text, at) <= longestShortRun;
            sightings.push_back({packToken(units), inShortRun});
        }
    }
    std::sort(sightings.begin(), sightings.end(), [](const Sighting &a, const Sighting &b) {
        return a.token != b.token ? a.token < b.token : a.inShortRun > b.inShortRun;
    });
    const auto sameToken = [](const Sighting &a, const Sighting &b) { return a.token == b.token; };
    sightings.erase(std::unique(sightings.begin(), sightings.end(), sameToken), sightings.end());
    return sightings;
}

void forgetRare(CandidateCounter &counter)
{
    while (counter.table.size() > counter.tableLimit / 2) {
        ++counter.forgotten;
        std::erase_if(counter.table,
                      [&counter](const auto &entry) { return entry.second.clusters <= counter.forgotten; });
    }
}

bool mayBeToken(PackedToken token, const CandidateCounts &counts)
{
    if (!isDigitsOnly(unpackToken(token))) {
        return true;
    }
    return counts.shortRuns >= fewestShortRuns && std::uint64_t{2} * counts.shortRuns >= counts.clusters;
}

} // namespace

void countCandidates(CandidateCounter &counter, const FilteredText &message)
{
    if (message.text.size() <= longestUnread) {
        return;
    }
    for (const Sighting &sighting : sightingsIn(message.text)) {
        CandidateCounter::Entry &counts = counter.table[sighting.token];
        const auto isNew = [mark = message.cluster + 1](std::uint32_t &last) {
            return std::exchange(last, mark) != mark;
        };
        if (counts.lastSpam != message.cluster + 1 && counts.lastHam != message.cluster + 1) {
            ++counts.clusters;
        }
        if (isNew(message.spam ? counts.lastSpam : counts.lastHam)) {
            ++(message.spam ? counts.spam : counts.ham);
        }
        if (sighting.inShortRun && isNew(counts.lastShort)) {
            ++counts.shortRuns;
        }
    }
    if (counter.table.size() > counter.tableLimit) {
        forgetRare(counter);
    }
}

void countCandidates(CandidateCounter &counter, const std::vector<FilteredText> &messages)
{
    std::vector<std::uint32_t> order(messages.size());
    std::iota(order.begin(), order.end(), std::uint32_t{0});
    std::stable_sort(order.begin(), order.end(), [&messages](std::uint32_t a, std::uint32_t b) {
        return messages[a].cluster < messages[b].cluster;
    });
    for (const std::uint32_t message : order) {
        countCandidates(counter, messages[message]);
    }
}

Candidates takeCandidates(const CandidateCounter &counter, std::uint32_t fewestClusters)
{
    Candidates candidates;
    for (const auto &[token, counts] : counter.table) {
        if (counts.clusters >= fewestClusters && mayBeToken(token, counts)) {
            candidates.tokens.push_back(token);
        }
    }
    std::sort(candidates.tokens.begin(), candidates.tokens.end());
    for (const PackedToken token : candidates.tokens) {
        candidates.positions.emplace(token, static_cast<std::uint32_t>(candidates.counts.size()));
        candidates.counts.push_back(counter.table.at(token));
    }
    return candidates;
}

IndexedText indexText(const Candidates &candidates, const FilteredText &message)
{
    IndexedText indexed;
    indexed.spam = message.spam;
    indexed.weight = message.weight;
    indexed.digitRun = hasDigitRun(message.text);
    indexed.brief = message.text.size() <= longestBrief;
    indexed.starts.assign(startsPerUnit * message.text.size(), noCandidate);
    const std::u16string_view text = message.text;
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (std::size_t length = shortestToken; length <= longestToken && at + length <= text.size(); ++length) {
            const auto found = candidates.positions.find(packToken(text.substr(at, length)));
            if (found != candidates.positions.end()) {
                indexed.starts[startsPerUnit * at + longestToken - length] = found->second;
            }
        }
    }
    return indexed;
}

std::vector<std::uint32_t> candidatesIn(const IndexedText &text)
{
    std::vector<std::uint32_t> found;
    std::copy_if(text.starts.begin(), text.starts.end(), std::back_inserter(found),
                 [](std::uint32_t candidate) { return candidate != noCandidate; });
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

void segmentIndexed(const IndexedText &text, const std::vector<std::uint8_t> &listed,
                    std::vector<std::uint32_t> &tokens)
{
    tokens.clear();
    const auto tokenAt = [starts = text.starts.data(), chosen = listed.data()](std::size_t at, std::size_t length) {
        const std::uint32_t candidate = starts[startsPerUnit * at + longestToken - length];
        return candidate != noCandidate && chosen[candidate] != 0 ? std::optional(candidate) : std::nullopt;
    };
    addLongestMatches(tokens, text.starts.size() / startsPerUnit, tokenAt);
}

} // namespace velq::kit
