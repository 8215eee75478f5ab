// Tokens that say nothing. A message with fewer than three tokens is left unsure, so pairs that stand in many messages
// fill them up to that. They stay neutral and take part in segmentation only.
#ifndef VELQ_KIT_LEARNING_FILLERS_H
#define VELQ_KIT_LEARNING_FILLERS_H

#include "kit/learning/groups.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velq::kit {

// For an alphabet: the most frequent pairs without a lean of those not listed. Few of them, since each takes up text
// that another token might begin in.
std::vector<std::uint8_t> neutralPairs(const Group &group, const std::vector<std::uint8_t> &listed,
                                       const std::vector<double> &leans, std::size_t most);

// For ideographs: the pairs that most clusters of ham messages hold. There most short ham messages stay below three
// tokens without them.
std::vector<std::uint8_t> hamPairs(const Group &group, std::size_t most);

} // namespace velq::kit

#endif
