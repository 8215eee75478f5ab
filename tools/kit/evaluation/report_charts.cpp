// Writes the charts piece by piece.
#include "kit/evaluation/report_charts.h"

#include "kit/evaluation/figures.h"
#include "kit/evaluation/html.h"
#include "kit/evaluation/metrics.h"
#include "kit/reading/text_model.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace velq::kit {

void startChart(std::ostream &out, const Plot &plot, const std::string &label)
{
    out << "<svg viewBox=\"0 0 400 " << decimalText(plot.top + plot.height + 40, 0) << R"(" role="img" aria-label=")"
        << htmlText(label) << "\">\n";
}

void writeLine(std::ostream &out, const char *look, double x1, double y1, double x2, double y2)
{
    out << "<line class=\"" << look << "\" x1=\"" << decimalText(x1, 1) << "\" y1=\"" << decimalText(y1, 1)
        << "\" x2=\"" << decimalText(x2, 1) << "\" y2=\"" << decimalText(y2, 1) << "\"/>\n";
}

void writeLabel(std::ostream &out, double x, double y, const char *anchor, const std::string &text)
{
    out << "<text x=\"" << decimalText(x, 1) << "\" y=\"" << decimalText(y, 1) << "\" text-anchor=\"" << anchor << "\">"
        << text << "</text>\n";
}

namespace {

void writeBar(std::ostream &out, const Plot &plot, const char *look, double x, double width, std::uint64_t count,
              double share)
{
    if (count == 0) {
        return;
    }
    const double height = std::max(share * plot.height, 1.5);
    out << "<rect class=\"" << look << "\" x=\"" << decimalText(x, 1) << "\" y=\""
        << decimalText(plot.top + plot.height - height, 1) << "\" width=\"" << decimalText(width, 1) << "\" height=\""
        << decimalText(height, 1) << "\"><title>" << count << "</title></rect>\n";
}

// Most scores lie at the two ends: only a logarithmic scale shows the rest.
void writeHistogram(std::ostream &out, const std::vector<ScoredMessage> &scores)
{
    constexpr std::size_t bins = 20;
    const Histogram histogram = histogramOf(scores, bins);
    const Plot plot;
    std::uint64_t most = 1;
    for (std::size_t i = 0; i < bins; ++i) {
        most = std::max({most, histogram.spam[i], histogram.ham[i]});
    }
    const double top = std::log10(static_cast<double>(most) + 1);
    const auto heightOf = [top](std::uint64_t count) { return std::log10(static_cast<double>(count) + 1) / top; };

    startChart(out, plot, "Messages by score and label, logarithmic");
    for (std::uint64_t mark = 1; mark <= most; mark *= 10) {
        writeLine(out, "grid", plot.x(0), plot.y(heightOf(mark)), plot.x(1), plot.y(heightOf(mark)));
        writeLabel(out, plot.left - 6, plot.y(heightOf(mark)) + 4, "end", std::to_string(mark));
    }
    const double binWidth = plot.width / static_cast<double>(bins);
    for (std::size_t i = 0; i < bins; ++i) {
        const double x = plot.left + binWidth * static_cast<double>(i);
        writeBar(out, plot, "bar-ham", x + 1, binWidth / 2 - 1, histogram.ham[i], heightOf(histogram.ham[i]));
        writeBar(out, plot, "bar-spam", x + binWidth / 2, binWidth / 2 - 1, histogram.spam[i],
                 heightOf(histogram.spam[i]));
    }
    writeLine(out, "axis", plot.x(0), plot.y(0), plot.x(1), plot.y(0));
    for (const double mark : {0.0, hamCutoff, spamCutoff, 1.0}) {
        const bool cutoff = mark > 0 && mark < 1;
        if (cutoff) {
            writeLine(out, "chance", plot.x(mark), plot.y(0), plot.x(mark), plot.y(1));
        }
        writeLabel(out, plot.x(mark), plot.y(0) + 16,
                   mark == 0   ? "start"
                   : mark == 1 ? "end"
                               : "middle",
                   decimalText(mark, cutoff ? 2 : 0));
    }
    writeLabel(out, plot.x(0.5), plot.y(0) + 33, "middle", "score; dashed: ham up to 0.45, spam from 0.90");
    out << "</svg>\n";
}

// The part of the curve with at most `widest` of the ham and at least `lowest` of the spam.
struct RocWindow {
    double widest = 1;
    double lowest = 0;
    const char *name = "ROC curve";
};

void writeRoc(std::ostream &out, const std::vector<RocPoint> &curve, const Metrics &metrics, const RocWindow &window)
{
    const Plot plot;
    const auto x = [&](double hamShare) { return plot.x(hamShare / window.widest); };
    const auto y = [&](double spamShare) { return plot.y((spamShare - window.lowest) / (1 - window.lowest)); };
    const std::string clip = window.widest < 1 ? "zoom" : "whole";

    startChart(out, plot, window.name);
    out << "<clipPath id=\"" << clip << "\"><rect x=\"" << decimalText(plot.left, 1) << "\" y=\""
        << decimalText(plot.top - 2, 1) << "\" width=\"" << decimalText(plot.width + 2, 1) << "\" height=\""
        << decimalText(plot.height + 4, 1) << "\"/></clipPath>\n";
    for (int step = 0; step <= 4; ++step) {
        const double ham = window.widest * step / 4;
        const double spam = window.lowest + (1 - window.lowest) * step / 4;
        writeLine(out, "grid", x(ham), plot.y(0), x(ham), plot.y(1));
        writeLine(out, "grid", plot.x(0), y(spam), plot.x(1), y(spam));
        writeLabel(out, x(ham), plot.y(0) + 16, step == 4 ? "end" : "middle", decimalText(100 * ham, 0) + "%");
        writeLabel(out, plot.left - 5, y(spam) + 4, "end", decimalText(100 * spam, 0) + "%");
    }
    out << "<g clip-path=\"url(#" << clip << ")\">\n";
    writeLine(out, "chance", x(0), y(0), x(1), y(1));
    out << R"(<polyline class="curve" points=")";
    for (const RocPoint &point : curve) {
        out << decimalText(x(point.hamShare), 1) << ',' << decimalText(y(point.spamShare), 1) << ' ';
    }
    out << "\"/>\n";
    if (metrics.hamBlocked && metrics.spamCaught) {
        out << R"(<circle class="point" r="5" cx=")" << decimalText(x(*metrics.hamBlocked), 1) << "\" cy=\""
            << decimalText(y(*metrics.spamCaught), 1) << "\"/>\n";
    }
    out << "</g>\n";
    writeLabel(out, plot.x(0.5), plot.y(0) + 33, "middle", "ham blocked (x), spam caught (y); dot: the engine");
    out << "</svg>\n";
}

// The window in which a good filter works: little ham blocked, and the spam from a round share below the engine's on.
RocWindow workingWindow(const Metrics &metrics)
{
    const double widest = metrics.hamBlocked.value_or(0) < 0.035 ? 0.04 : 0.2;
    const double lowest = std::clamp(std::floor((metrics.spamCaught.value_or(0) - 0.05) * 5) / 5, 0.0, 0.8);
    return {widest, lowest, "ROC curve, the part where filters work"};
}

} // namespace

void writeCharts(std::ostream &out, const EvaluationResult &result)
{
    const std::vector<RocPoint> curve = rocCurve(result.scores);
    const Metrics metrics = metricsOf(result.trainingOff.all);
    out << "<section class=\"card\"><h2>Scores</h2>\n<p class=\"soft\"><i class=\"key ham\"></i>ham <i class=\"key "
           "spam\"></i>spam; messages, on a logarithmic scale</p>\n";
    writeHistogram(out, result.scores);
    out << "</section>\n<div class=\"charts\">\n<section class=\"card\"><h2>ROC curve</h2>\n";
    writeRoc(out, curve, metrics, {});
    out << "</section>\n<section class=\"card\"><h2>ROC curve, close up</h2>\n";
    writeRoc(out, curve, metrics, workingWindow(metrics));
    out << "</section>\n</div>\n";
}

} // namespace velq::kit
