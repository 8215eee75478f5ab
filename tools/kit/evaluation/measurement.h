// Carries a plan out: the stores of its parts, their evaluation, and the learning curve.
#ifndef VELQ_KIT_EVALUATION_MEASUREMENT_H
#define VELQ_KIT_EVALUATION_MEASUREMENT_H

#include "kit/evaluation/evaluation.h"
#include "kit/evaluation/learning_curve.h"
#include "kit/evaluation/plan.h"
#include "kit/learning/training_set.h"
#include "kit/reading/text_model.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <istream>
#include <vector>

namespace velq::kit {

// What stores of another cost of blocked ham come to.
struct TradeOffPoint {
    double blockedCost = 0;
    std::vector<ConfusionCounts> sources; // ratings of each file's messages with training off
};

struct Measured {
    EvaluationResult result;
    std::vector<std::size_t> tokens;     // of each part's store
    std::vector<CurvePoint> curve;       // empty when none was asked for
    std::vector<TradeOffPoint> tradeOff; // the same
};

struct MeasureOptions {
    std::size_t mostErrors = 0; // how many errors of each kind are explained; all are counted
    std::function<void(std::uint64_t done, std::uint64_t total)> progress; // may be empty
};

// The costs of blocked ham that a trade-off is measured at.
inline constexpr double tradeOffCosts[] = {1, 2, 4, 8, 16};

// How many steps the progress of measuring has.
std::uint64_t measuringSteps(const EvaluationPlan &plan, const EvaluationRequest &request);

// `plan` is that of `request`. Throws Error: what readStore throws, and usage for corrections that leave nothing to
// measure on. A store of the name "-" is read from `standardInput`.
Measured measure(const EvaluationPlan &plan, const EvaluationRequest &request, const MeasureOptions &options,
                 std::istream &standardInput);

// The store of a part as `velq store build` makes it of the part's training messages, in their order. A tuned one is
// learned from `sample` of them at most.
Store storeOfPart(const EvaluationPlan &plan, const Split &part, const EvaluationRequest &request,
                  std::size_t sample = usualSample);

} // namespace velq::kit

#endif
