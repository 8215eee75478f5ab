// A linear separation of segmented messages. It is a sum in a fixed order, so the same messages in the same order give
// the same weights.
#ifndef VELQ_KIT_LEARNING_SEPARATION_H
#define VELQ_KIT_LEARNING_SEPARATION_H

#include "kit/learning/candidates.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velq::kit {

// A weight for each of so many tokens (positive towards spam): a linear support vector machine with squared hinge loss
// over messages of unit length. It has no bias of its own, since the engine has none; what it has to clear instead is
// close to what the engine asks of a message.
std::vector<double> separatingWeights(const std::vector<SegmentedText> &texts, std::size_t tokens, std::uint64_t seed);

} // namespace velq::kit

#endif
