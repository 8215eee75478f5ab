// Writes the page piece by piece. All drawing is inline SVG in units of a phone's width, so that its labels stay
// readable there and grow on larger screens.
#include "kit/evaluation/report_html.h"

#include "kit/base/wide_text.h"
#include "kit/engine/rating.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <sstream>

namespace velq::kit {

namespace {

constexpr std::string_view pageStart = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
)html";

// Spam is orange and ham is blue throughout: a pair that most colour-blind readers can tell apart.
constexpr std::string_view style = R"css(<style>
:root {
  --page: #f6f7f9; --card: #ffffff; --ink: #1b2129; --soft: #5a6675; --line: #d9dee5;
  --spam: #c4500b; --spam-soft: #fbe3d3; --ham: #1f6fb2; --ham-soft: #dcebf8; --unsure: #6b7280; --unsure-soft: #e8eaee;
  --right: #dbf0e4; --wrong: #f9dcdc;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #12161b; --card: #1b2128; --ink: #e7ebf0; --soft: #9aa7b5; --line: #333c47;
    --spam: #f2935a; --spam-soft: #47270f; --ham: #6fb1ea; --ham-soft: #12324e; --unsure: #aab3be; --unsure-soft: #2b333d;
    --right: #14402a; --wrong: #562023;
  }
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 16px/1.5 system-ui, sans-serif; }
main { max-width: 62rem; margin: 0 auto; padding: 1rem; }
h1 { font-size: 1.45rem; line-height: 1.25; margin: .5rem 0; overflow-wrap: anywhere; }
h2 { font-size: 1.1rem; margin: 0 0 .6rem; }
h3 { font-size: 1rem; margin: 1.2rem 0 .5rem; }
p { margin: .3rem 0; }
.soft { color: var(--soft); font-size: .875rem; }
.card { background: var(--card); border: 1px solid var(--line); border-radius: .6rem; padding: .9rem; margin: 1rem 0; }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(8.5rem, 1fr)); gap: .6rem; margin: 1rem 0; }
.tile { background: var(--card); border: 1px solid var(--line); border-radius: .6rem; padding: .6rem .8rem; }
.tile b { display: block; font-size: 1.4rem; line-height: 1.3; font-variant-numeric: tabular-nums; }
.tile span { color: var(--soft); font-size: .8rem; }
.charts { display: grid; gap: 1rem; } .charts .card { margin: 0; }
@media (min-width: 52rem) { .charts { grid-template-columns: 1fr 1fr; } }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; font-size: .9rem; }
caption { text-align: left; color: var(--soft); font-size: .875rem; padding-bottom: .3rem; }
th, td { padding: .3rem .45rem; text-align: right; border-bottom: 1px solid var(--line); vertical-align: top; }
td { white-space: nowrap; }
th { font-weight: 600; } th .soft { font-weight: normal; }
th:first-child, td:first-child { text-align: left; padding-left: 0; }
tr:last-child > * { border-bottom: 0; }
thead th { color: var(--soft); font-size: .8rem; vertical-align: bottom; }
.spam { color: var(--spam); } .ham { color: var(--ham); } .unsure { color: var(--unsure); }
td.right { background: var(--right); } td.wrong { background: var(--wrong); } td.open { background: var(--unsure-soft); }
svg { display: block; width: 100%; height: auto; max-width: 34rem; margin: 0 auto; }
svg text { fill: var(--soft); font: 11px system-ui, sans-serif; }
.grid { stroke: var(--line); stroke-width: 1; } .axis { stroke: var(--soft); stroke-width: 1; }
.bar-spam { fill: var(--spam); } .bar-ham { fill: var(--ham); }
.curve { fill: none; stroke: var(--spam); stroke-width: 2; stroke-linejoin: round; }
.chance { stroke: var(--soft); stroke-dasharray: 3 4; } .point { fill: var(--ink); stroke: var(--card); stroke-width: 1.5; }
.key { display: inline-block; width: .75em; height: .75em; border-radius: .15em; margin: 0 .3em 0 .8em; }
.key:first-child { margin-left: 0; }
.key.spam { background: var(--spam); } .key.ham { background: var(--ham); }
details { border-top: 1px solid var(--line); padding: .55rem 0; }
summary { cursor: pointer; overflow-wrap: anywhere; }
summary bdi { white-space: pre-wrap; }
.badge { display: inline-block; font-size: .75rem; padding: 0 .45em; border-radius: 1em; margin-right: .35em; white-space: nowrap; }
.badge.spam { background: var(--spam-soft); } .badge.ham { background: var(--ham-soft); } .badge.unsure { background: var(--unsure-soft); }
.meter { display: inline-block; width: 3.5rem; height: .55em; margin-left: .4em; border-radius: .2em; background: var(--unsure-soft); vertical-align: middle; }
.meter i { display: block; height: 100%; border-radius: .2em; background: var(--unsure); }
.counted .meter i.spam { background: var(--spam); } .counted .meter i.ham { background: var(--ham); }
@media (max-width: 30rem) {
  main { padding: .6rem; } .card { padding: .75rem; }
  table { font-size: .82rem; } th, td { padding: .28rem .3rem; } thead th { font-size: .72rem; }
}
tr.idle { color: var(--soft); }
td.token { font-family: ui-monospace, monospace; white-space: pre; }
</style>
)css";

std::string fixed(double value, int digits)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", digits, value);
    return text.data();
}

std::string percent(double share)
{
    return fixed(100 * share, 2) + " %";
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
    writeTile(out, percent(metrics.accuracy), "accuracy");
    writeTile(out, percent(metrics.spamCaught), "of the spam caught (SC)");
    writeTile(out, percent(metrics.hamBlocked), "of the ham blocked (BH)");
    writeTile(out, fixed(metrics.mcc, 3), "correlation (MCC)");
    writeTile(out, percent(metrics.unsure), "left unsure");
    writeTile(out, fixed(areaUnder(rocCurve(result.scores)), 4), "area under ROC");
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
    for (const auto &[name, field] : shownFigures) {
        out << "<tr><th scope=\"row\">" << name << "</th>";
        for (const Column &column : columns) {
            const double value = column.metrics.*field;
            out << "<td>" << (field == &Metrics::mcc ? fixed(value, 4) : percent(value)) << "</td>";
        }
        out << "</tr>\n";
    }
    out << "</tbody></table></div>\n";
}

void writeCorpora(std::ostream &out, const ReportSource &source)
{
    if (source.corpora.size() < 2) {
        return;
    }
    out << "<section class=\"card\"><h2>By file, training off</h2><div class=\"scroll\"><table><thead><tr><th>file</th>"
           "<th>accuracy</th><th>SC</th><th>BH</th><th>MCC</th><th>unsure</th></tr></thead><tbody>\n";
    for (std::size_t i = 0; i < source.corpora.size() && i < source.result.trainingOff.corpora.size(); ++i) {
        const ConfusionCounts &counts = source.result.trainingOff.corpora[i];
        const Metrics metrics = metricsOf(counts);
        if (counts.total() == 0) {
            continue; // only trained on
        }
        out << "<tr><th scope=\"row\">" << htmlText(source.corpora[i]) << "<br><span class=\"soft\">" << counts.total()
            << "</span></th><td>" << percent(metrics.accuracy) << "</td><td>" << percent(metrics.spamCaught)
            << "</td><td>" << percent(metrics.hamBlocked) << "</td><td>" << fixed(metrics.mcc, 3) << "</td><td>"
            << percent(metrics.unsure) << "</td></tr>\n";
    }
    out << "</tbody></table></div></section>\n";
}

// ---- Charts ----

// The frame that both kinds of charts share: the plot's corners in the picture.
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

void startChart(std::ostream &out, const Plot &plot, const std::string &label)
{
    out << "<svg viewBox=\"0 0 400 " << fixed(plot.top + plot.height + 40, 0) << R"(" role="img" aria-label=")"
        << htmlText(label) << "\">\n";
}

void writeLine(std::ostream &out, const char *look, double x1, double y1, double x2, double y2)
{
    out << "<line class=\"" << look << "\" x1=\"" << fixed(x1, 1) << "\" y1=\"" << fixed(y1, 1) << "\" x2=\""
        << fixed(x2, 1) << "\" y2=\"" << fixed(y2, 1) << "\"/>\n";
}

void writeLabel(std::ostream &out, double x, double y, const char *anchor, const std::string &text)
{
    out << "<text x=\"" << fixed(x, 1) << "\" y=\"" << fixed(y, 1) << "\" text-anchor=\"" << anchor << "\">" << text
        << "</text>\n";
}

void writeBar(std::ostream &out, const Plot &plot, const char *look, double x, double width, std::uint64_t count,
              double share)
{
    if (count == 0) {
        return;
    }
    const double height = std::max(share * plot.height, 1.5);
    out << "<rect class=\"" << look << "\" x=\"" << fixed(x, 1) << "\" y=\""
        << fixed(plot.top + plot.height - height, 1) << "\" width=\"" << fixed(width, 1) << "\" height=\""
        << fixed(height, 1) << "\"><title>" << count << "</title></rect>\n";
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
                   fixed(mark, cutoff ? 2 : 0));
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
    out << "<clipPath id=\"" << clip << "\"><rect x=\"" << fixed(plot.left, 1) << "\" y=\"" << fixed(plot.top - 2, 1)
        << "\" width=\"" << fixed(plot.width + 2, 1) << "\" height=\"" << fixed(plot.height + 4, 1)
        << "\"/></clipPath>\n";
    for (int step = 0; step <= 4; ++step) {
        const double ham = window.widest * step / 4;
        const double spam = window.lowest + (1 - window.lowest) * step / 4;
        writeLine(out, "grid", x(ham), plot.y(0), x(ham), plot.y(1));
        writeLine(out, "grid", plot.x(0), y(spam), plot.x(1), y(spam));
        writeLabel(out, x(ham), plot.y(0) + 16, step == 4 ? "end" : "middle", fixed(100 * ham, 0) + "%");
        writeLabel(out, plot.left - 5, y(spam) + 4, "end", fixed(100 * spam, 0) + "%");
    }
    out << "<g clip-path=\"url(#" << clip << ")\">\n";
    writeLine(out, "chance", x(0), y(0), x(1), y(1));
    out << R"(<polyline class="curve" points=")";
    for (const RocPoint &point : curve) {
        out << fixed(x(point.hamShare), 1) << ',' << fixed(y(point.spamShare), 1) << ' ';
    }
    out << "\"/>\n<circle class=\"point\" r=\"5\" cx=\"" << fixed(x(metrics.hamBlocked), 1) << "\" cy=\""
        << fixed(y(metrics.spamCaught), 1) << "\"/>\n</g>\n";
    writeLabel(out, plot.x(0.5), plot.y(0) + 33, "middle", "ham blocked (x), spam caught (y); dot: the engine");
    out << "</svg>\n";
}

// The window in which a good filter works: little ham blocked, and the spam from a round share below the engine's on.
RocWindow workingWindow(const Metrics &metrics)
{
    const double widest = metrics.hamBlocked < 0.035 ? 0.04 : 0.2;
    const double lowest = std::clamp(std::floor((metrics.spamCaught - 0.05) * 5) / 5, 0.0, 0.8);
    return {widest, lowest, "ROC curve, the part where filters work"};
}

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

void writeLearningCurve(std::ostream &out, const std::vector<CurvePoint> &curve)
{
    if (curve.empty()) {
        return;
    }
    out << "<section class=\"card\"><h2>Learning from corrections</h2><div class=\"scroll\"><table><thead><tr>"
           "<th>corrections</th><th>error</th><th>SC</th><th>BH</th><th>MCC</th><th>unsure</th></tr></thead><tbody>\n";
    for (const CurvePoint &point : curve) {
        const Metrics metrics = metricsOf(point.counts);
        out << "<tr><td>" << point.made << "</td><td>" << percent(1 - metrics.accuracy) << "</td><td>"
            << percent(metrics.spamCaught) << "</td><td>" << percent(metrics.hamBlocked) << "</td><td>"
            << fixed(metrics.mcc, 3) << "</td><td>" << percent(metrics.unsure) << "</td></tr>\n";
    }
    out << "</tbody></table></div></section>\n";
}

// ---- Errors ----

void writeToken(std::ostream &out, const ExplainedToken &token)
{
    out << "<tr class=\"" << (token.counted ? "counted" : "idle") << R"("><td class="token"><bdi>)"
        << htmlText(oneLine(utf8FromUtf16(token.text))) << "</bdi></td><td>" << token.position + 1 << "</td><td>"
        << token.counts.spam << "</td><td>" << token.counts.ham << "</td><td>";
    if (std::isnan(token.probability)) {
        out << "none";
    } else {
        const char *side = token.probability > 0.5 ? "spam" : "ham";
        out << fixed(token.probability, 3) << R"(<span class="meter"><i class=")" << side
            << "\" style=\"width:" << fixed(100 * std::clamp(token.probability, 0.0, 1.0), 0) << "%\"></i></span>";
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
    for (const ExplainedToken &token : explanation.tokens) {
        writeToken(out, token);
    }
    out << "</tbody></table></div>\n";
}

void writeError(std::ostream &out, const ReportSource &source, const EvaluationError &error)
{
    const TestMessage &message = source.messages[error.message];
    const std::string_view rating = ratingName(error.rating);
    out << "<details><summary><span class=\"badge " << rating << "\">" << rating;
    if (error.explanation.score) {
        out << ' ' << fixed(error.explanation.score->spamicity, 3);
    }
    out << "</span><bdi>" << htmlText(utf8FromUtf16(message.text)) << "</bdi></summary>\n<p class=\"soft\">"
        << stepSentence(error.explanation.step);
    if (const auto &score = error.explanation.score) {
        out << ' ' << score->counted << (score->counted == 1 ? " token counts." : " tokens count.");
    }
    if (message.corpus < source.corpora.size()) {
        out << ' ' << htmlText(source.corpora[message.corpus]) << ':' << message.line;
    }
    out << "</p>\n";
    writeTokens(out, error.explanation);
    out << "</details>\n";
}

void writeErrorList(std::ostream &out, const ReportSource &source, bool spam, const char *heading,
                    std::uint64_t counted)
{
    std::uint64_t shown = 0;
    std::ostringstream list;
    for (const EvaluationError &error : source.result.errors) {
        if (error.spam == spam) {
            writeError(list, source, error);
            ++shown;
        }
    }
    out << "<section class=\"card errors\"><h2>" << heading << ": " << counted << "</h2>\n";
    if (shown < counted) {
        out << "<p class=\"soft\">The first " << shown << " are shown.</p>\n";
    }
    out << list.str() << "</section>\n";
}

void writeErrors(std::ostream &out, const ReportSource &source)
{
    const ConfusionCounts &counts = source.result.trainingOff.all;
    writeErrorList(out, source, false, "Ham rated spam", counts.ham.ratedSpam);
    writeErrorList(out, source, true, "Spam not rated spam", counts.spam.ratedHam + counts.spam.ratedUnsure);
}

} // namespace

std::string htmlText(std::string_view text)
{
    std::string safe;
    for (const char c : text) {
        switch (c) {
        case '&':
            safe += "&amp;";
            break;
        case '<':
            safe += "&lt;";
            break;
        case '>':
            safe += "&gt;";
            break;
        case '"':
            safe += "&quot;";
            break;
        case '\'':
            safe += "&#39;";
            break;
        default:
            // Control characters have no place in a page; line ends and tabs are kept.
            safe += static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' ? ' ' : c;
        }
    }
    return safe;
}

std::string reportPage(const ReportSource &source)
{
    const EvaluationResult &result = source.result;
    std::ostringstream out;
    out << pageStart << "<title>" << htmlText(source.title) << "</title>\n"
        << style << "</head>\n<body>\n<main>\n<h1>" << htmlText(source.title) << "</h1>\n";
    for (const std::string &remark : source.remarks) {
        out << "<p class=\"soft\">" << htmlText(remark) << "</p>\n";
    }
    writeTiles(out, result);
    out << "<section class=\"card\"><h2>Ratings</h2>\n";
    writeConfusion(out, "Training off", result.trainingOff.all);
    out << "<br>\n";
    writeConfusion(out, "Training on, in the order of the messages", result.trainingOn.all);
    out << "</section>\n<section class=\"card\"><h2>Figures</h2>\n";
    writeMetricsTable(out, result);
    out << "<p class=\"soft\">Off, on: live training. Unsure counts as not spam. "
        << fixed(result.trainingOff.messagesPerSecond(), 0) << " messages a second with training off, "
        << fixed(result.trainingOn.messagesPerSecond(), 0) << " with it.";
    if (result.trainingKnown) {
        out << " New: without the " << result.seenTexts << " texts that also stand in the training part.";
    }
    out << "</p>\n</section>\n";
    writeCorpora(out, source);
    writeCharts(out, result);
    writeLearningCurve(out, source.curve);
    writeErrors(out, source);
    out << "</main>\n</body>\n</html>\n";
    return out.str();
}

} // namespace velq::kit
