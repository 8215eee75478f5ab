// Pieces of messages to learn from beside the whole ones, so that no message is learned by heart as a whole.
#ifndef VELQ_KIT_LEARNING_CROPS_H
#define VELQ_KIT_LEARNING_CROPS_H

#include "kit/learning/candidates.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace velq::kit {

// Hands on two pieces of each message, of random length and place, each with half of its weight. Messages of hardly any
// text have none.
void forEachCrop(const std::vector<FilteredText> &messages, std::uint64_t seed,
                 const std::function<void(const FilteredText &crop)> &take);

} // namespace velq::kit

#endif
