// Evaluations made up of counts, without an engine.
#ifndef VELQ_TESTS_KIT_EVALUATION_INVENTED_MEASUREMENT_H
#define VELQ_TESTS_KIT_EVALUATION_INVENTED_MEASUREMENT_H

#include "kit/evaluation/measurement.h"
#include "kit/evaluation/plan.h"

#include <string>
#include <vector>

namespace velq::kit {

// Ten spam: eight caught, one ham, one unsure. Twenty ham: one blocked, seventeen ham, two unsure.
inline constexpr ConfusionCounts bothClasses{{8, 1, 1}, {1, 17, 2}};
// Four ham, none of them blocked: without spam there is no share of it.
inline constexpr ConfusionCounts hamAlone{{0, 0, 0}, {0, 3, 1}};

inline RunResult runOf(const std::vector<ConfusionCounts> &parts)
{
    RunResult run;
    run.parts = parts;
    for (const ConfusionCounts &part : parts) {
        run.all += part;
    }
    run.corpora = {run.all};
    run.seconds = 0.5;
    return run;
}

// The same with training off and on.
inline Measured measuredOf(const std::vector<ConfusionCounts> &parts)
{
    Measured measured;
    measured.result.trainingOff = runOf(parts);
    measured.result.trainingOn = runOf(parts);
    measured.tokens = std::vector<std::size_t>(parts.size(), 100);
    return measured;
}

inline EvaluationPlan planOf(const std::string &file)
{
    EvaluationPlan plan;
    plan.corpora = {file};
    plan.method = "as invented";
    return plan;
}

} // namespace velq::kit

#endif
