// The recipe for scripts without blanks: candidates are eliminated by their weight in a linear separation, segmenting
// anew each time.
#ifndef VELQ_KIT_LEARNING_ELIMINATION_H
#define VELQ_KIT_LEARNING_ELIMINATION_H

#include "kit/learning/groups.h"

#include <cstddef>
#include <cstdint>

namespace velq::kit {

struct EliminationRule {
    std::size_t firstTokens; // left after the first separation, which is on all overlapping candidates
    std::size_t lastTokens;  // left at the end
    std::size_t fillers;     // at most, beside them
};

// The leans are those that a fit starts from.
Choice chooseByElimination(const Group &group, const EliminationRule &rule, std::uint64_t seed);

} // namespace velq::kit

#endif
