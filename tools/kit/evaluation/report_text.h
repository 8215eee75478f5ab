// An evaluation as tables for people.
#ifndef VELQ_KIT_EVALUATION_REPORT_TEXT_H
#define VELQ_KIT_EVALUATION_REPORT_TEXT_H

#include "kit/evaluation/measurement.h"
#include "kit/evaluation/plan.h"

#include <ostream>

namespace velq::kit {

// A figure without a value is a dash.
void printReport(std::ostream &out, const EvaluationPlan &plan, const Measured &measured);

} // namespace velq::kit

#endif
