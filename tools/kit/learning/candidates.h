// Which sequences of 2 to 4 units could become tokens: counted over many messages in bounded memory, and the messages
// indexed by them so that they can be segmented again and again as the choice of tokens changes.
//
// Which of them are chosen, and what they carry, is the store builder's business.
#ifndef VELQ_KIT_LEARNING_CANDIDATES_H
#define VELQ_KIT_LEARNING_CANDIDATES_H

#include "kit/reading/text_model.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velq::kit {

struct FilteredText {
    bool spam = false;
    std::u16string text; // as filterText() gives it
    double weight = 1;   // how much it counts among the others; a reading of a message has its part of the message's
    std::uint32_t source = 0;
    std::uint32_t cluster = 0;     // of near-duplicates
    std::vector<bool> begins = {}; // as wordBegins() gives it; may be left empty
};

// ---- Counting -----------------------------------------------------------------------------------------------------

// Copies of one message say nothing new, so clusters of near-duplicates are counted and not messages.
struct CandidateCounts {
    std::uint32_t spam = 0; // clusters with a spam message that holds it
    std::uint32_t ham = 0;
    std::uint32_t clusters = 0;
    std::uint32_t shortRuns = 0; // of a digits-only sequence: clusters that hold it in a run too short for a number
};

struct CandidateCounter {
    // Beyond this many different sequences the rarest are forgotten, so that a count may miss early sightings of a
    // sequence that was rare then.
    std::size_t tableLimit = std::size_t{1} << 22;
    struct Entry : CandidateCounts {
        // The last cluster that was counted, plus one.
        std::uint32_t lastSpam = 0;
        std::uint32_t lastHam = 0;
        std::uint32_t lastShort = 0;
    };
    TokenTable<Entry> table;
    std::uint32_t forgotten = 0; // the count up to which sequences were forgotten so far
};

// Each different sequence of a cluster counts once, when the messages of a cluster come one behind the other. Full
// messages only: the unread ones teach nothing.
void countCandidates(CandidateCounter &counter, const FilteredText &message);

// All of them, cluster by cluster.
void countCandidates(CandidateCounter &counter, const std::vector<FilteredText> &messages);

struct Candidates {
    std::vector<PackedToken> tokens; // ascending
    std::vector<CandidateCounts> counts;
    TokenTable<std::uint32_t> positions;
};

// The sequences seen in at least so many clusters that may become tokens. A sequence of digits alone may only where it
// is shown to be a price, a year, a short code: at least a dozen clusters, and half of those that hold it, hold it in a
// run of at most six digits. Pieces of telephone numbers fail that.
Candidates takeCandidates(const CandidateCounter &counter, std::uint32_t fewestClusters);

// ---- Indexed messages ---------------------------------------------------------------------------------------------

inline constexpr std::uint32_t noCandidate = 0xFFFFFFFF;
inline constexpr std::size_t startsPerUnit = longestToken - shortestToken + 1;

struct IndexedText {
    bool spam = false;
    bool digitRun = false;
    bool brief = false;
    double weight = 1;
    std::uint32_t message = 0; // where it stands among the messages of its group
    // For each unit of the text the candidates of length 4, 3 and 2 that begin there, or noCandidate.
    std::vector<std::uint32_t> starts;
};

IndexedText indexText(const Candidates &candidates, const FilteredText &message);

// Calls take(candidate, at, length) for each place where a candidate stands in the text.
template <typename Take>
void forEachPlace(const IndexedText &text, const Take &take)
{
    for (std::size_t i = 0; i < text.starts.size(); ++i) {
        if (text.starts[i] != noCandidate) {
            take(text.starts[i], i / startsPerUnit, longestToken - i % startsPerUnit);
        }
    }
}

// Every different candidate that stands anywhere in the text, ascending.
std::vector<std::uint32_t> candidatesIn(const IndexedText &text);

// A message by the positions of the candidates that stand in it.
struct SegmentedText {
    bool spam = false;
    bool digitRun = false; // when undecided, the engine calls it spam
    bool brief = false;    // when undecided, the engine calls it ham
    std::vector<std::uint32_t> tokens;
    double weight = 1;
};

// The tokens that the engine would find, were those candidates its store for which `listed` is not 0.
void segmentIndexed(const IndexedText &text, const std::vector<std::uint8_t> &listed,
                    std::vector<std::uint32_t> &tokens);

} // namespace velq::kit

#endif
