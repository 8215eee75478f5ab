// The page that shows an evaluation: figures, confusion table, score histogram, ROC curve, and the errors with what the
// engine saw in them. One file without scripts or anything from elsewhere, for phones and desktops, light and dark.
#ifndef VELQ_KIT_EVALUATION_REPORT_HTML_H
#define VELQ_KIT_EVALUATION_REPORT_HTML_H

#include "kit/evaluation/measurement.h"
#include "kit/evaluation/plan.h"

#include <string>

namespace velq::kit {

// The page holds the texts of the messages that were rated wrongly. A figure without a value is a dash.
std::string reportPage(const EvaluationPlan &plan, const Measured &measured);

} // namespace velq::kit

#endif
