// Counts sequences in all messages, takes those that are worth a token, and counts again what segmentation finds of
// them.
#include "kit/learning/plain.h"

#include "kit/learning/candidates.h"
#include "kit/learning/counts.h"
#include "kit/learning/votes.h"

#include <cmath>
#include <cstdint>

namespace velq::kit {

namespace {

constexpr std::uint32_t plainFewestMessages = 12;
constexpr double plainLean = 2;
constexpr double plainNeutralLean = 0.5;
constexpr double plainFrequent = 0.02; // share of the messages, for sequences without a lean
constexpr int plainRounds = 2;

void countTokens(const MessageSource &messages, StoreIndex &index)
{
    for (auto &[token, counts] : index.tokens) {
        counts = {};
    }
    index.spamMessages = index.hamMessages = 0;
    messages([&](const LabelledText &message) { trainFiltered(index, filterText(message.text), message.spam); });
}

// The sequences that are worth a token, by their counts in all messages.
StoreIndex choosePlain(const CandidateCounter &counter, const ClassSizes &sizes)
{
    const Candidates candidates = takeCandidates(counter, plainFewestMessages);
    StoreIndex index;
    for (std::size_t i = 0; i < candidates.tokens.size(); ++i) {
        const CandidateCounts &counts = candidates.counts[i];
        const double lean = std::fabs(cautiousLean(counts.spam, counts.ham, sizes));
        const bool frequent = counts.spam + counts.ham >= plainFrequent * (sizes.spam + sizes.ham);
        if (lean >= plainLean || (lean < plainNeutralLean && frequent)) {
            index.tokens.emplace(candidates.tokens[i], TokenStats{});
        }
    }
    return index;
}

} // namespace

Store buildPlainStore(const MessageSource &messages, const BuildProgress &progress)
{
    BuildSteps steps{progress, plainRounds + 1};
    ClassSizes sizes;
    CandidateCounter counter;
    std::uint32_t number = 0; // each message counts for itself
    messages([&](const LabelledText &message) {
        ++(message.spam ? sizes.spam : sizes.ham);
        countCandidates(counter, {message.spam, filterText(message.text), 1, 0, number++});
    });
    oneStep(steps);
    Store store = emptyStore(sizes);
    if (sizes.spam == 0 || sizes.ham == 0) {
        return store;
    }
    StoreIndex index = choosePlain(counter, sizes);
    counter = {};
    for (int round = 0; round < plainRounds; ++round) {
        countTokens(messages, index);
        oneStep(steps);
        if (round + 1 < plainRounds) {
            std::erase_if(index.tokens, [](const auto &entry) {
                return entry.second.spam + entry.second.ham < plainFewestMessages / 2;
            });
        }
    }
    for (const auto &[token, counts] : index.tokens) {
        store.tokens.emplace(unpackToken(token), counts);
    }
    return store;
}

} // namespace velq::kit
