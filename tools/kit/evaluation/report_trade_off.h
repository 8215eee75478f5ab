// What blocking less ham costs, as rows of figures and as a drawing.
#ifndef VELQ_KIT_EVALUATION_REPORT_TRADE_OFF_H
#define VELQ_KIT_EVALUATION_REPORT_TRADE_OFF_H

#include "kit/evaluation/measurement.h"

#include <ostream>
#include <vector>

namespace velq::kit {

// The figures of one point: means over the sources.
Metrics metricsOf(const TradeOffPoint &point);

// A section of the page, nothing without points. BH to the right, SC upwards, each point with its cost.
void writeTradeOff(std::ostream &out, const std::vector<TradeOffPoint> &points);

} // namespace velq::kit

#endif
