// The curve fills the drawing: its window is that of the points, so that small differences show.
#include "kit/evaluation/report_trade_off.h"

#include "kit/evaluation/figures.h"
#include "kit/evaluation/report_charts.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace velq::kit {

Metrics metricsOf(const TradeOffPoint &point)
{
    return meanOf(point.sources);
}

namespace {

constexpr double grain = 0.05; // SC is shown from a multiple of it on

void writeCurve(std::ostream &out, const std::vector<TradeOffPoint> &points)
{
    double mostBlocked = 0.001;
    double leastCaught = 1;
    for (const TradeOffPoint &point : points) {
        const Metrics metrics = metricsOf(point);
        mostBlocked = std::max(mostBlocked, metrics.hamBlocked.value_or(0));
        leastCaught = std::min(leastCaught, metrics.spamCaught.value_or(1));
    }
    const double widest = mostBlocked * 1.15;
    const double lowest = std::min(1 - grain, std::floor(leastCaught / grain) * grain);
    const Plot plot;
    const auto x = [&](double blocked) { return plot.x(blocked / widest); };
    const auto y = [&](double caught) { return plot.y((caught - lowest) / (1 - lowest)); };
    startChart(out, plot, "Ham blocked and spam caught by the cost of blocked ham");
    for (int step = 0; step <= 4; ++step) {
        const double blocked = widest * step / 4;
        const double caught = lowest + (1 - lowest) * step / 4;
        writeLine(out, "grid", x(blocked), plot.y(0), x(blocked), plot.y(1));
        writeLine(out, "grid", plot.x(0), y(caught), plot.x(1), y(caught));
        writeLabel(out, x(blocked), plot.y(0) + 16, step == 4 ? "end" : "middle", decimalText(100 * blocked, 2) + "%");
        writeLabel(out, plot.left - 5, y(caught) + 4, "end", decimalText(100 * caught, 0) + "%");
    }
    out << R"(<polyline class="curve" points=")";
    for (const TradeOffPoint &point : points) {
        const Metrics metrics = metricsOf(point);
        out << decimalText(x(metrics.hamBlocked.value_or(0)), 1) << ','
            << decimalText(y(metrics.spamCaught.value_or(lowest)), 1) << ' ';
    }
    out << "\"/>\n";
    for (const TradeOffPoint &point : points) {
        const Metrics metrics = metricsOf(point);
        const double across = x(metrics.hamBlocked.value_or(0));
        const double up = y(metrics.spamCaught.value_or(lowest));
        out << R"(<circle class="point" r="4" cx=")" << decimalText(across, 1) << "\" cy=\"" << decimalText(up, 1)
            << "\"/>\n";
        writeLabel(out, across, up - 8, "middle", decimalText(point.blockedCost, 0));
    }
    writeLabel(out, plot.x(0.5), plot.y(0) + 33, "middle", "ham blocked (x), spam caught (y); at each dot its cost");
    out << "</svg>\n";
}

} // namespace

void writeTradeOff(std::ostream &out, const std::vector<TradeOffPoint> &points)
{
    if (points.empty()) {
        return;
    }
    out << "<section class=\"card\"><h2>Trade-off over the cost of blocked ham</h2>\n";
    writeCurve(out, points);
    out << "<div class=\"scroll\"><table><thead><tr><th>cost</th><th>BH</th><th>ham unsure</th><th>SC</th></tr></thead>"
           "<tbody>\n";
    for (const TradeOffPoint &point : points) {
        const Metrics metrics = metricsOf(point);
        out << "<tr><td>" << decimalText(point.blockedCost, 0) << "</td><td>" << percentText(metrics.hamBlocked)
            << "</td><td>" << percentText(metrics.unsureHam) << "</td><td>" << percentText(metrics.spamCaught)
            << "</td></tr>\n";
    }
    out << "</tbody></table></div><p class=\"soft\">Means over the sources, training off. The cost of a spam message "
           "let through is 1.</p></section>\n";
}

} // namespace velq::kit
