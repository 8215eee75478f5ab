// Dual coordinate descent, one message after the other in a seeded order.
#include "kit/learning/separation.h"

#include "kit/messages/sampling.h"

#include <algorithm>
#include <cmath>

namespace velq::kit {

namespace {

constexpr int separationRounds = 20;
constexpr double separationPenalty = 0.02; // of a message on the wrong side; more learns rare sequences by heart
constexpr double spamWeight = 1.5;
// Where spam begins on the linear scale: the engine asks for more than an even balance, except of messages with a run
// of digits, which it calls spam as soon as they are undecided.
constexpr double plainThreshold = 0.3;
constexpr double digitRunThreshold = -0.1;

// One step of dual coordinate descent: brings one message's multiplier to its optimum, the others held.
void separateOne(const SegmentedText &text, double &multiplier, std::vector<double> &weights)
{
    const double side = text.spam ? 1 : -1;
    const double scale = 1 / std::sqrt(static_cast<double>(text.tokens.size()));
    double sum = 0;
    for (const std::uint32_t token : text.tokens) {
        sum += weights[token];
    }
    const double value = sum * scale - (text.digitRun ? digitRunThreshold : plainThreshold);
    const double slack = 0.5 / (separationPenalty * text.weight * (text.spam ? spamWeight : 1));
    const double gradient = side * value - 1 + slack * multiplier;
    const double moved = std::max(0.0, multiplier - gradient / (1 + slack));
    const double step = (moved - multiplier) * side * scale;
    multiplier = moved;
    for (const std::uint32_t token : text.tokens) {
        weights[token] += step;
    }
}

} // namespace

std::vector<double> separatingWeights(const std::vector<SegmentedText> &texts, std::size_t tokens, std::uint64_t seed)
{
    std::vector<double> weights(tokens, 0);
    std::vector<double> multipliers(texts.size(), 0);
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (!texts[i].tokens.empty()) {
            order.push_back(i);
        }
    }
    SeededSequence sequence(seed);
    for (int round = 0; round < separationRounds; ++round) {
        shuffle(order, sequence);
        for (const std::size_t i : order) {
            separateOne(texts[i], multipliers[i], weights);
        }
    }
    return weights;
}

} // namespace velq::kit
