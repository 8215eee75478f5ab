// Fits the log odds of tokens to a smooth form of the engine's own score. It is a sum in a fixed order, so the same
// messages in the same order give the same log odds.
#ifndef VELQ_KIT_LEARNING_FIT_H
#define VELQ_KIT_LEARNING_FIT_H

#include "kit/learning/candidates.h"

#include <cstdint>
#include <vector>

namespace velq::kit {

// The log odds that the fitting starts from: light weights of a separation stay neutral, the others are spread over
// what counts.
double leanOfWeight(double weight);

struct FitCosts {
    double blocked; // of blocked ham, when a spam message let through costs 1
    double unsure;  // of ham left unsure
};

// Moves the tokens' log odds so that the engine's score tells the messages apart, held to where they started. Tokens
// with `fixed` not 0 stay. Leans between -leastLean and leastLean come out as 0, the others within greatestLean.
void fitLeans(const std::vector<SegmentedText> &texts, const std::vector<std::uint8_t> &fixed, const FitCosts &costs,
              std::uint64_t seed, std::vector<double> &leans);

} // namespace velq::kit

#endif
