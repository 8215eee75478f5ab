// An evaluation as JSON, for programs.
#ifndef VELQ_KIT_EVALUATION_REPORT_JSON_H
#define VELQ_KIT_EVALUATION_REPORT_JSON_H

#include "kit/evaluation/measurement.h"
#include "kit/evaluation/plan.h"

#include <nlohmann/json.hpp>

namespace velq::kit {

// A figure without a value is null.
nlohmann::ordered_json reportJson(const EvaluationPlan &plan, const Measured &measured);

} // namespace velq::kit

#endif
