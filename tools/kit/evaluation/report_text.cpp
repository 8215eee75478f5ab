// Tables of a title and right-aligned columns.
#include "kit/evaluation/report_text.h"

#include "kit/evaluation/figures.h"
#include "kit/evaluation/legend.h"
#include "kit/evaluation/report_trade_off.h"

#include <cstdint>
#include <iomanip>
#include <string>
#include <vector>

namespace velq::kit {

namespace {

constexpr int digits = 4; // of figures that are no shares

void printRow(std::ostream &out, const std::string &title, const std::vector<std::string> &cells)
{
    out << std::left << std::setw(18) << title << std::right;
    for (const std::string &cell : cells) {
        out << std::setw(16) << cell;
    }
    out << '\n';
}

void printConfusion(std::ostream &out, const std::string &title, const ConfusionCounts &counts)
{
    printRow(out, title, {"rated spam", "rated ham", "unsure", "all"});
    for (const bool spam : {true, false}) {
        const ClassCounts &row = spam ? counts.spam : counts.ham;
        printRow(out, spam ? "  spam" : "  ham",
                 {std::to_string(row.ratedSpam), std::to_string(row.ratedHam), std::to_string(row.ratedUnsure),
                  std::to_string(row.total())});
    }
    out << '\n';
}

struct MetricsColumn {
    const char *name;
    Metrics metrics;
};

void printMetrics(std::ostream &out, const std::vector<MetricsColumn> &columns)
{
    std::vector<std::string> cells;
    cells.reserve(columns.size());
    for (const MetricsColumn &column : columns) {
        cells.emplace_back(column.name);
    }
    printRow(out, "", cells);
    for (const Figure &figure : figuresShown(&Shown::inTable)) {
        cells.clear();
        for (const MetricsColumn &column : columns) {
            cells.push_back(figureText(figure, column.metrics, digits));
        }
        printRow(out, figure.title, cells);
    }
}

void printParts(std::ostream &out, const EvaluationPlan &plan, const EvaluationResult &result)
{
    if (result.trainingOff.parts.size() < 2) {
        return;
    }
    const std::vector<ConfusionCounts> &off = result.trainingOff.parts;
    const std::vector<ConfusionCounts> &on = result.trainingOn.parts;
    out << "\nover the " << plan.partsAre << " (deviation of just these " << plan.partsAre
        << ": divided by their number)\n";
    printMetrics(out, {{"mean, off", meanOf(off)},
                       {"deviation, off", deviationOf(off)},
                       {"mean, on", meanOf(on)},
                       {"deviation, on", deviationOf(on)}});
}

void printCorpora(std::ostream &out, const EvaluationPlan &plan, const EvaluationResult &result)
{
    if (plan.corpora.size() < 2) {
        return;
    }
    out << "\nmean over the sources, each counting alike\n";
    printMetrics(out, {{"training off", meanOf(result.trainingOff.corpora)},
                       {"training on", meanOf(result.trainingOn.corpora)}});
    for (std::size_t i = 0; i < plan.corpora.size(); ++i) {
        if (result.trainingOff.corpora[i].total() > 0) {
            out << '\n' << plan.corpora[i] << '\n';
            printMetrics(out, {{"training off", metricsOf(result.trainingOff.corpora[i])},
                               {"training on", metricsOf(result.trainingOn.corpora[i])}});
        }
    }
}

void printLegend(std::ostream &out)
{
    out << '\n';
    for (const auto &[name, meaning] : legend) {
        out << std::left << std::setw(11) << name << meaning << '\n';
    }
}

void printCurve(std::ostream &out, const EvaluationPlan &plan, const std::vector<CurvePoint> &curve)
{
    if (curve.empty()) {
        return;
    }
    const std::vector<Figure> shown = figuresShown(&Shown::inCurve);
    std::vector<std::string> cells;
    cells.reserve(shown.size());
    for (const Figure &figure : shown) {
        cells.emplace_back(figure.name);
    }
    out << '\n';
    if (plan.splits.size() > 1) {
        out << "so many corrections of each store, the " << plan.splits.size() << ' ' << plan.partsAre << " added up\n";
    }
    printRow(out, "corrections", cells);
    for (const CurvePoint &point : curve) {
        const Metrics metrics = metricsOf(point.counts);
        const std::string asked = point.made < point.asked ? " of " + std::to_string(point.asked) : "";
        cells.clear();
        for (const Figure &figure : shown) {
            cells.push_back(figureText(figure, metrics, digits));
        }
        printRow(out, std::to_string(point.made) + asked, cells);
    }
}

void printTradeOff(std::ostream &out, const std::vector<TradeOffPoint> &points)
{
    if (points.empty()) {
        return;
    }
    out << "\nmeans over the sources, training off\n";
    printRow(out, "cost of blocked ham", {"BH", "unsure, of ham", "SC"});
    for (const TradeOffPoint &point : points) {
        const Metrics metrics = metricsOf(point);
        printRow(out, decimalText(point.blockedCost, 0),
                 {percentText(metrics.hamBlocked), percentText(metrics.unsureHam), percentText(metrics.spamCaught)});
    }
}

std::string messagesPerSecondText(const RunResult &run)
{
    return std::to_string(static_cast<std::uint64_t>(run.messagesPerSecond()));
}

} // namespace

void printReport(std::ostream &out, const EvaluationPlan &plan, const Measured &measured)
{
    const EvaluationResult &result = measured.result;
    out << plan.method << "\n\n";
    printConfusion(out, "training off", result.trainingOff.all);
    printConfusion(out, "training on", result.trainingOn.all);
    std::vector<MetricsColumn> columns = {{"training off", metricsOf(result.trainingOff.all)},
                                          {"training on", metricsOf(result.trainingOn.all)}};
    if (result.trainingKnown) {
        columns.push_back({"off, new texts", metricsOf(result.trainingOff.unseen)});
        columns.push_back({"on, new texts", metricsOf(result.trainingOn.unseen)});
    }
    printMetrics(out, columns);
    printRow(out, "messages a second",
             {messagesPerSecondText(result.trainingOff), messagesPerSecondText(result.trainingOn)});
    printRow(out, "area under ROC", {decimalText(areaUnder(rocCurve(result.scores)), digits)});
    if (result.trainingKnown) {
        out << "new texts: without " << result.seenTexts << " whose text also stands in the training part\n";
    }
    printParts(out, plan, result);
    printCorpora(out, plan, result);
    printCurve(out, plan, measured.curve);
    printTradeOff(out, measured.tradeOff);
    printLegend(out);
}

} // namespace velq::kit
