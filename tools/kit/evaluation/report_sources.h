// The part of the page that shows the sources side by side, each with how sure its figures are.
#ifndef VELQ_KIT_EVALUATION_REPORT_SOURCES_H
#define VELQ_KIT_EVALUATION_REPORT_SOURCES_H

#include "kit/evaluation/metrics.h"

#include <ostream>
#include <string>
#include <vector>

namespace velq::kit {

// Nothing for a single source. `counts` are those of the named files; files without tested messages are passed over.
void writeSources(std::ostream &out, const std::vector<std::string> &names, const std::vector<ConfusionCounts> &counts);

} // namespace velq::kit

#endif
