// Weights of tokens from segmented messages: a linear separation, and the fitting of token probabilities to a smooth
// form of the engine's own score.
//
// Both are sums in a fixed order, so the same messages in the same order give the same weights.
#ifndef VELQ_KIT_LEARNING_WEIGHTS_H
#define VELQ_KIT_LEARNING_WEIGHTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velq::kit {

struct WeighedText {
    bool spam = false;
    bool digitRun = false; // when undecided, the engine calls it spam
    bool brief = false;    // when undecided, the engine calls it ham
    std::vector<std::uint32_t> tokens;
};

// A probability of 0.886 in log odds: the first that counts, with a margin for the rounding to counts.
inline constexpr double leastLean = 2.05;
// The log odds of 73 counts against 1.
inline constexpr double greatestLean = 4.3;

// A weight for each token (positive towards spam): a linear support vector machine with squared hinge loss over
// messages of unit length. It has no bias of its own, since the engine has none; what it has to clear instead is close
// to what the engine asks of a message.
std::vector<double> separatingWeights(const std::vector<WeighedText> &texts, std::size_t tokens, std::uint64_t seed);

// The log odds that the fitting starts from: light weights stay neutral, the others are spread over what counts.
double leanOfWeight(double weight);

// Moves the tokens' log odds so that the engine's score tells the messages apart, held to where they started. Tokens
// with `fixed` not 0 stay. Leans between -leastLean and leastLean come out as 0, the others within greatestLean.
void fitLeans(const std::vector<WeighedText> &texts, const std::vector<std::uint8_t> &fixed, std::uint64_t seed,
              std::vector<double> &leans);

} // namespace velq::kit

#endif
