// The recipe for many messages: candidates are eliminated by their weight in a linear separation, segmenting anew each
// time, and the log odds of those left are fitted to the engine's score.
#ifndef VELQ_KIT_LEARNING_WEIGHTS_H
#define VELQ_KIT_LEARNING_WEIGHTS_H

#include "kit/learning/groups.h"

#include <cstdint>

namespace velq::kit {

Learned learnByWeights(const Group &group, std::uint64_t seed);

} // namespace velq::kit

#endif
