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

struct Measured {
    EvaluationResult result;
    std::vector<std::size_t> tokens; // of each part's store
    std::vector<CurvePoint> curve;   // empty when none was asked for
};

struct MeasureOptions {
    std::size_t mostErrors = 0; // how many errors of each kind are explained; all are counted
    std::function<void(std::uint64_t done, std::uint64_t total)> progress; // may be empty
};

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
