// The charts of the page that shows an evaluation: scores, ROC curve, and its part where filters work. All drawing is
// inline SVG in units of a phone's width, so that its labels stay readable there and grow on larger screens.
#ifndef VELQ_KIT_EVALUATION_REPORT_CHARTS_H
#define VELQ_KIT_EVALUATION_REPORT_CHARTS_H

#include "kit/evaluation/evaluation.h"

#include <ostream>

namespace velq::kit {

void writeCharts(std::ostream &out, const EvaluationResult &result);

} // namespace velq::kit

#endif
