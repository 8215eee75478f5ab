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
#include <unordered_map>
#include <vector>

namespace velq::kit {

struct FilteredText {
    bool spam = false;
    std::u16string text; // as filterText() gives it
};

// ---- Counting -----------------------------------------------------------------------------------------------------

struct CandidateCounts {
    std::uint32_t spam = 0; // messages
    std::uint32_t ham = 0;
    std::uint32_t shortRuns = 0; // of a digits-only sequence: messages that hold it in a run too short for a number
};

struct CandidateCounter {
    // Beyond this many different sequences the rarest are forgotten, so that a count may miss early sightings of a
    // sequence that was rare then.
    std::size_t tableLimit = std::size_t{1} << 22;
    std::unordered_map<PackedToken, CandidateCounts> table;
    std::uint32_t forgotten = 0; // the count up to which sequences were forgotten so far
};

// Each different sequence of a message counts once. Full messages only: the unread ones teach nothing.
void countCandidates(CandidateCounter &counter, const FilteredText &message);

struct Candidates {
    std::vector<PackedToken> tokens; // ascending
    std::vector<CandidateCounts> counts;
    std::unordered_map<PackedToken, std::uint32_t> positions;
};

// The sequences seen in at least so many messages that may become tokens. A sequence of digits alone may only where it
// is shown to be a price, a year, a short code: at least a dozen messages, and half of those that hold it, hold it in a
// run of at most six digits. Pieces of telephone numbers fail that.
Candidates takeCandidates(const CandidateCounter &counter, std::uint32_t fewestMessages);

// ---- Indexed messages ---------------------------------------------------------------------------------------------

inline constexpr std::uint32_t noCandidate = 0xFFFFFFFF;

struct IndexedText {
    bool spam = false;
    bool digitRun = false;
    bool brief = false;
    // For each unit of the text the candidates of length 4, 3 and 2 that begin there, or noCandidate.
    std::vector<std::uint32_t> starts;
};

IndexedText indexText(const Candidates &candidates, const FilteredText &message);

// Every different candidate that stands anywhere in the text, ascending.
std::vector<std::uint32_t> candidatesIn(const IndexedText &text);

// A message by the positions of the candidates that stand in it.
struct SegmentedText {
    bool spam = false;
    bool digitRun = false; // when undecided, the engine calls it spam
    bool brief = false;    // when undecided, the engine calls it ham
    std::vector<std::uint32_t> tokens;
};

// The tokens that the engine would find, were those candidates its store for which `listed` is not 0.
void segmentIndexed(const IndexedText &text, const std::vector<std::uint8_t> &listed,
                    std::vector<std::uint32_t> &tokens);

} // namespace velq::kit

#endif
