// Writes the page piece by piece.
#include "kit/evaluation/report_html.h"

#include "kit/base/wide_text.h"
#include "kit/engine/rating.h"
#include "kit/evaluation/figures.h"
#include "kit/evaluation/html.h"
#include "kit/evaluation/report_charts.h"
#include "kit/evaluation/report_sources.h"
#include "kit/evaluation/report_style.h"
#include "kit/evaluation/report_trade_off.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <ostream>
#include <sstream>
#include <string_view>
#include <vector>

namespace velq::kit {

namespace {

struct Page {
    const EvaluationPlan &plan;
    const Measured &measured;
    std::vector<std::string> names; // of the files, without their folders
};

constexpr int briefDigits = 3; // of figures that are no shares, where only some are shown
constexpr int tableDigits = 4; // in the full table

// ---- Head ----

std::vector<std::string> namesOf(const std::vector<std::string> &files)
{
    std::vector<std::string> names;
    names.reserve(files.size());
    for (const std::string &file : files) {
        names.push_back(file == "-" ? "standard input" : std::filesystem::path(file).filename().string());
    }
    return names;
}

std::string titleOf(const Page &page)
{
    std::string title;
    for (const std::string &name : page.names) {
        title += (title.empty() ? "Evaluation of " : ", ") + name;
    }
    return title;
}

std::string remarkOf(const Page &page)
{
    const std::vector<std::size_t> &tokens = page.measured.tokens;
    const std::size_t all = std::accumulate(tokens.begin(), tokens.end(), std::size_t{0});
    return std::to_string(page.measured.result.trainingOff.all.total()) + " messages; " + page.plan.method + "; " +
           std::to_string(all / tokens.size()) + " tokens in " +
           (tokens.size() == 1 ? "the store." : "a store on average.");
}

// ---- Figures ----

void writeTile(std::ostream &out, const std::string &value, const char *what)
{
    out << "<div class=\"tile\"><b>" << value << "</b><span>" << what << "</span></div>\n";
}

void writeTiles(std::ostream &out, const EvaluationResult &result)
{
    const Metrics metrics = metricsOf(result.trainingOff.all);
    out << "<div class=\"tiles\">\n";
    for (const Figure &figure : figuresShown(&Shown::inBrief)) {
        writeTile(out, figureText(figure, metrics, briefDigits), figure.counted);
    }
    writeTile(out, decimalText(areaUnder(rocCurve(result.scores)), tableDigits), "area under ROC");
    out << "</div>\n";
}

void writeClassRow(std::ostream &out, const char *name, const ClassCounts &counts, bool isSpam)
{
    const auto cell = [&out](const char *look, std::uint64_t value) {
        out << "<td class=\"" << look << "\">" << value << "</td>";
    };
    out << R"(<tr><th scope="row" class=")" << name << "\">" << name << "</th>";
    cell(isSpam ? "right" : "wrong", counts.ratedSpam);
    cell(isSpam ? "wrong" : "right", counts.ratedHam);
    cell("open", counts.ratedUnsure);
    out << "<td>" << counts.total() << "</td></tr>\n";
}

void writeConfusion(std::ostream &out, const char *caption, const ConfusionCounts &counts)
{
    out << R"(<div class="scroll"><table class="confusion"><caption>)" << caption
        << "</caption>\n<thead><tr><th scope=\"col\">label</th><th scope=\"col\">rated spam</th><th "
           "scope=\"col\">rated "
           "ham</th><th scope=\"col\">unsure</th><th scope=\"col\">all</th></tr></thead>\n<tbody>\n";
    writeClassRow(out, "spam", counts.spam, true);
    writeClassRow(out, "ham", counts.ham, false);
    out << "</tbody></table></div>\n";
}

struct Column {
    const char *name;
    Metrics metrics;
};

void writeMetricsTable(std::ostream &out, const EvaluationResult &result)
{
    std::vector<Column> columns = {{"off", metricsOf(result.trainingOff.all)},
                                   {"on", metricsOf(result.trainingOn.all)}};
    if (result.trainingKnown) {
        columns.push_back({"off, new", metricsOf(result.trainingOff.unseen)});
        columns.push_back({"on, new", metricsOf(result.trainingOn.unseen)});
    }
    out << R"(<div class="scroll"><table><thead><tr><th scope="col">figure</th>)";
    for (const Column &column : columns) {
        out << "<th scope=\"col\">" << column.name << "</th>";
    }
    out << "</tr></thead>\n<tbody>\n";
    for (const Figure &figure : figuresShown(&Shown::inTable)) {
        out << "<tr><th scope=\"row\">" << figure.title << "</th>";
        for (const Column &column : columns) {
            out << "<td>" << figureText(figure, column.metrics, tableDigits) << "</td>";
        }
        out << "</tr>\n";
    }
    out << "</tbody></table></div>\n";
}

// A table with a column for each figure.
void startBriefTable(std::ostream &out, const char *heading, const char *first, const std::vector<Figure> &shown)
{
    out << "<section class=\"card\"><h2>" << heading << "</h2><div class=\"scroll\"><table><thead><tr><th>" << first
        << "</th>";
    for (const Figure &figure : shown) {
        out << "<th>" << figure.name << "</th>";
    }
    out << "</tr></thead><tbody>\n";
}

// The rest of a row, behind its first cell.
void writeBriefCells(std::ostream &out, const std::vector<Figure> &shown, const ConfusionCounts &counts)
{
    const Metrics metrics = metricsOf(counts);
    for (const Figure &figure : shown) {
        out << "<td>" << figureText(figure, metrics, briefDigits) << "</td>";
    }
    out << "</tr>\n";
}

void endBriefTable(std::ostream &out)
{
    out << "</tbody></table></div></section>\n";
}

void writeLearningCurve(std::ostream &out, const std::vector<CurvePoint> &curve)
{
    if (curve.empty()) {
        return;
    }
    const std::vector<Figure> shown = figuresShown(&Shown::inCurve);
    startBriefTable(out, "Learning from corrections", "corrections", shown);
    for (const CurvePoint &point : curve) {
        out << "<tr><td>" << point.made << "</td>";
        writeBriefCells(out, shown, point.counts);
    }
    endBriefTable(out);
}

// ---- Errors ----

void writeToken(std::ostream &out, const ReadToken &token)
{
    out << "<tr class=\"" << (token.counted ? "counted" : "idle") << R"("><td class="token"><bdi>)"
        << htmlText(oneLine(utf8FromUtf16(token.text()))) << "</bdi></td><td>" << token.position + 1 << "</td><td>"
        << token.counts.spam << "</td><td>" << token.counts.ham << "</td><td>";
    if (std::isnan(token.probability)) {
        out << "none";
    } else {
        const char *side = token.probability > 0.5 ? "spam" : "ham";
        out << decimalText(token.probability, 3) << R"(<span class="meter"><i class=")" << side
            << "\" style=\"width:" << decimalText(100 * std::clamp(token.probability, 0.0, 1.0), 0)
            << "%\"></i></span>";
    }
    out << "</td></tr>\n";
}

void writeTokens(std::ostream &out, const Explanation &explanation)
{
    if (explanation.tokens.empty()) {
        out << "<p class=\"soft\">No tokens of the store are in it.</p>\n";
        return;
    }
    out << "<div class=\"scroll\"><table><thead><tr><th>token</th><th>at</th><th>spam</th><th>ham</th><th>probability"
           "</th></tr></thead><tbody>\n";
    for (const ReadToken &token : explanation.tokens) {
        writeToken(out, token);
    }
    out << "</tbody></table></div>\n";
}

void writeError(std::ostream &out, const Page &page, const EvaluationError &error)
{
    const TestMessage &message = page.plan.messages[error.message];
    const std::string_view rating = ratingName(error.rating);
    out << "<details><summary><span class=\"badge " << rating << "\">" << rating;
    if (error.explanation.score) {
        out << ' ' << decimalText(error.explanation.score->spamicity, 3);
    }
    out << "</span><bdi>" << htmlText(utf8FromUtf16(message.text)) << "</bdi></summary>\n<p class=\"soft\">"
        << stepSentence(error.explanation.step);
    if (const auto &score = error.explanation.score) {
        out << ' ' << score->counted << (score->counted == 1 ? " token counts." : " tokens count.");
    }
    if (message.corpus < page.names.size()) {
        out << ' ' << htmlText(page.names[message.corpus]) << ':' << message.line;
    }
    out << "</p>\n";
    writeTokens(out, error.explanation);
    out << "</details>\n";
}

// Spam rated ham or unsure, or ham rated spam.
std::uint64_t errorsOf(const ConfusionCounts &counts, bool spam)
{
    return spam ? counts.spam.ratedHam + counts.spam.ratedUnsure : counts.ham.ratedSpam;
}

// The errors of one source; with several sources, under its name.
void writeSourceErrors(std::ostream &out, const Page &page, bool spam, std::uint32_t source, std::uint64_t &shown)
{
    const std::uint64_t counted = errorsOf(page.measured.result.trainingOff.corpora[source], spam);
    if (page.names.size() > 1 && counted > 0) {
        out << "<h3>" << htmlText(page.names[source]) << ": " << counted << "</h3>\n";
    }
    for (const EvaluationError &error : page.measured.result.errors) {
        if (error.spam == spam && page.plan.messages[error.message].corpus == source) {
            writeError(out, page, error);
            ++shown;
        }
    }
}

void writeErrorList(std::ostream &out, const Page &page, bool spam, const char *heading)
{
    const std::uint64_t counted = errorsOf(page.measured.result.trainingOff.all, spam);
    std::uint64_t shown = 0;
    std::ostringstream list;
    for (std::uint32_t source = 0; source < page.names.size(); ++source) {
        writeSourceErrors(list, page, spam, source, shown);
    }
    out << "<section class=\"card errors\"><h2>" << heading << ": " << counted << "</h2>\n";
    if (shown < counted) {
        out << "<p class=\"soft\">The first " << shown << " are shown.</p>\n";
    }
    out << list.str() << "</section>\n";
}

void writeErrors(std::ostream &out, const Page &page)
{
    writeErrorList(out, page, false, "Ham rated spam");
    writeErrorList(out, page, true, "Spam not rated spam");
}

} // namespace

std::string reportPage(const EvaluationPlan &plan, const Measured &measured)
{
    const Page page{plan, measured, namesOf(plan.corpora)};
    const EvaluationResult &result = measured.result;
    const std::string title = htmlText(titleOf(page));
    std::ostringstream out;
    out << pageStart << "<title>" << title << "</title>\n"
        << pageStyle << "</head>\n<body>\n<main>\n<h1>" << title << "</h1>\n";
    out << "<p class=\"soft\">" << htmlText(remarkOf(page)) << "</p>\n";
    writeTiles(out, result);
    out << "<section class=\"card\"><h2>Ratings</h2>\n";
    writeConfusion(out, "Training off", result.trainingOff.all);
    out << "<br>\n";
    writeConfusion(out, "Training on, in the order of the messages", result.trainingOn.all);
    out << "</section>\n<section class=\"card\"><h2>Figures</h2>\n";
    writeMetricsTable(out, result);
    out << "<p class=\"soft\">Off, on: live training. Unsure counts as not spam. "
        << decimalText(result.trainingOff.messagesPerSecond(), 0) << " messages a second with training off, "
        << decimalText(result.trainingOn.messagesPerSecond(), 0) << " with it.";
    if (result.trainingKnown) {
        out << " New: without the " << result.seenTexts << " texts that also stand in the training part.";
    }
    out << "</p>\n</section>\n";
    writeSources(out, page.names, result.trainingOff.corpora);
    writeCharts(out, result);
    writeLearningCurve(out, measured.curve);
    writeTradeOff(out, measured.tradeOff);
    writeErrors(out, page);
    out << "</main>\n</body>\n</html>\n";
    return out.str();
}

} // namespace velq::kit
