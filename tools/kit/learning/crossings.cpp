// Places by the weights of their messages. Whether a source is written in syllables shows by how long its words are.
#include "kit/learning/crossings.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>

namespace velq::kit {

namespace {

bool crosses(const std::vector<bool> &begins, std::size_t at, std::size_t length)
{
    const auto unit = [&](std::size_t number) {
        return begins.begin() + static_cast<std::ptrdiff_t>(std::min(number, begins.size()));
    };
    return std::find(unit(at + 1), unit(at + length), true) != unit(at + length);
}

struct WordCounts {
    double all = 0;
    double longerThanTokens = 0;
};

void addWords(const std::vector<bool> &begins, WordCounts &counts)
{
    for (auto word = std::find(begins.begin(), begins.end(), true); word != begins.end();) {
        const auto next = std::find(word + 1, begins.end(), true);
        ++counts.all;
        counts.longerThanTokens += next - word > static_cast<std::ptrdiff_t>(longestToken) ? 1 : 0;
        word = next;
    }
}

// In the texts at hand one word in eight is that long in Vietnamese, one in four at least in the other languages.
bool writtenInSyllables(const WordCounts &counts)
{
    return counts.longerThanTokens < 0.2 * counts.all;
}

} // namespace

Crossings crossingsOf(const Group &group, const std::vector<FilteredText> &messages)
{
    std::map<std::uint32_t, WordCounts> wordsOfSources;
    for (const FilteredText &message : messages) {
        addWords(message.begins, wordsOfSources[message.source]);
    }
    const std::size_t size = group.candidates.tokens.size();
    std::vector<double> places(size, 0);
    Crossings crossings{std::vector<double>(size, 0), std::vector<double>(size, 0)};
    for (const IndexedText &indexed : group.texts) {
        const FilteredText &message = messages[indexed.message];
        std::vector<double> &shares =
            writtenInSyllables(wordsOfSources[message.source]) ? crossings.syllables : crossings.words;
        forEachPlace(indexed, [&](std::uint32_t candidate, std::size_t at, std::size_t length) {
            places[candidate] += indexed.weight;
            shares[candidate] += crosses(message.begins, at, length) ? indexed.weight : 0;
        });
    }
    for (std::size_t i = 0; i < size; ++i) {
        crossings.words[i] = places[i] > 0 ? crossings.words[i] / places[i] : 0;
        crossings.syllables[i] = places[i] > 0 ? crossings.syllables[i] / places[i] : 0;
    }
    return crossings;
}

} // namespace velq::kit
