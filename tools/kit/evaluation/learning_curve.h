// How the error falls as a user corrects the engine.
#ifndef VELQ_KIT_EVALUATION_LEARNING_CURVE_H
#define VELQ_KIT_EVALUATION_LEARNING_CURVE_H

#include "kit/evaluation/metrics.h"
#include "kit/evaluation/test_message.h"
#include "kit/store/store_file.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velq::kit {

struct CurvePoint {
    std::uint64_t asked = 0; // corrections asked for
    std::uint64_t made = 0;  // corrections made
    std::uint64_t read = 0;  // messages gone through for them
    ConfusionCounts counts;  // on the messages kept for measuring, with training off
};

// Adds up what the same corrections did to another store: the counts, the fewest corrections made and the most messages
// gone through. An empty curve becomes the other one.
void addCurve(std::vector<CurvePoint> &curve, const std::vector<CurvePoint> &other);

struct CurveOptions {
    std::vector<std::uint64_t> corrections; // ascending
    bool onlyErrors = false;
    std::uint64_t seed = 1;
};

// Throws Error (usage) when so many messages are too few.
void checkCurve(std::size_t messages, const CurveOptions &options);

// Corrects from a seeded stratified order of the messages and measures after each number of corrections, always on the
// same messages: those behind the ones that the largest number needs, or, with `onlyErrors`, the last third. Throws
// Error (usage) when too few messages are there.
std::vector<CurvePoint> learningCurve(const StoreContents &store, const std::vector<const TestMessage *> &messages,
                                      const CurveOptions &options);

// The tokens of a store without their counts. The message counts stay: a correction moves a message from one side to
// the other, so that corrections alone would never let both grow from zero, and no token would get a probability.
StoreContents withoutCounts(const StoreContents &store);

} // namespace velq::kit

#endif
