// The charts of the page that shows an evaluation: scores, ROC curve, and its part where filters work. All drawing is
// inline SVG in units of a phone's width, so that its labels stay readable there and grow on larger screens.
#ifndef VELQ_KIT_EVALUATION_REPORT_CHARTS_H
#define VELQ_KIT_EVALUATION_REPORT_CHARTS_H

#include "kit/evaluation/evaluation.h"

#include <ostream>
#include <string>

namespace velq::kit {

// ---- What charts are drawn with

// The frame of a chart: the plot's corners in the picture.
struct Plot {
    double left = 44;
    double top = 10;
    double width = 346;
    double height = 220;

    double x(double share) const
    {
        return left + share * width;
    }
    double y(double share) const
    {
        return top + (1 - share) * height;
    }
};

// The picture, to be closed with </svg>.
void startChart(std::ostream &out, const Plot &plot, const std::string &label);
void writeLine(std::ostream &out, const char *look, double x1, double y1, double x2, double y2);
void writeLabel(std::ostream &out, double x, double y, const char *anchor, const std::string &text);

// ---- The charts

void writeCharts(std::ostream &out, const EvaluationResult &result);

} // namespace velq::kit

#endif
