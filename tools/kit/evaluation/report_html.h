// The page that shows an evaluation: figures, confusion table, score histogram, ROC curve, and the errors with what the
// engine saw in them. One file without scripts or anything from elsewhere, for phones and desktops, light and dark.
#ifndef VELQ_KIT_EVALUATION_REPORT_HTML_H
#define VELQ_KIT_EVALUATION_REPORT_HTML_H

#include "kit/evaluation/evaluation.h"

#include <string>
#include <vector>

namespace velq::kit {

struct ReportSource {
    std::string title;                // what was evaluated
    std::vector<std::string> remarks; // how, one sentence each
    std::vector<std::string> corpora; // names of the files
    const std::vector<TestMessage> &messages;
    const EvaluationResult &result;
    const std::vector<CurvePoint> &curve; // may be empty
};

// The page holds the texts of the messages that were rated wrongly.
std::string reportPage(const ReportSource &source);

// Text for an element or a quoted attribute.
std::string htmlText(std::string_view text);

} // namespace velq::kit

#endif
