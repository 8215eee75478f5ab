// The figures as they are shown: their names, where each stands, how its value is written. Text, JSON, page and
// learning curve are made from the one list.
#ifndef VELQ_KIT_EVALUATION_FIGURES_H
#define VELQ_KIT_EVALUATION_FIGURES_H

#include "kit/evaluation/metrics.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace velq::kit {

// Where a figure is shown.
struct Shown {
    bool inJson = false;
    bool inTable = false; // the full table, one row for each figure
    bool inBrief = false; // what is most important: the tiles of the page, the table of the files
    bool inCurve = false; // the learning curve
};

struct Figure {
    std::optional<double> Metrics::*value;
    const char *name;    // its abbreviation: in JSON, and over a column
    const char *title;   // before its row of the full table
    const char *counted; // what it counts, in words below its value on a tile
    bool isShare;        // written as a percentage, otherwise as a plain number
    Shown shown;
};

// In the order in which they are shown.
inline constexpr std::array<Figure, 11> figures = {{
    {&Metrics::error, "error", nullptr, nullptr, true, {false, false, false, true}},
    {&Metrics::accuracy, "accuracy", "accuracy", "accuracy", true, {true, true, true, false}},
    {&Metrics::spamCaught, "SC", "SC (recall)", "of the spam caught (SC)", true, {true, true, true, true}},
    {&Metrics::hamBlocked, "BH", "BH", "of the ham blocked (BH)", true, {true, true, true, true}},
    {&Metrics::precision, "precision", "precision", nullptr, true, {true, true, false, false}},
    {&Metrics::recall, "recall", nullptr, nullptr, true, {true, false, false, false}},
    {&Metrics::f1, "F1", "F1", nullptr, true, {true, true, false, false}},
    {&Metrics::mcc, "MCC", "MCC", "correlation (MCC)", false, {true, true, true, true}},
    {&Metrics::unsure, "unsure", "unsure", "left unsure", true, {true, true, true, true}},
    {&Metrics::unsureSpam, "unsureSpam", "unsure, of spam", nullptr, true, {true, true, false, false}},
    {&Metrics::unsureHam, "unsureHam", "unsure, of ham", nullptr, true, {true, true, false, false}},
}};
static_assert(sizeof(Metrics) == figures.size() * sizeof(std::optional<double>), "every figure is in the list");

// Those that are shown there, such as figuresShown(&Shown::inTable).
std::vector<Figure> figuresShown(bool Shown::*where);

// "97.50 %", or a plain number with so many digits; "-" for a figure without a value.
std::string figureText(const Figure &figure, const Metrics &metrics, int digits);
std::string percentText(std::optional<double> share);
std::string decimalText(std::optional<double> value, int digits);

// The mean of each figure over the folds in which it has a value, and how far the values of these folds lie from it
// (standard deviation over the given folds, not an estimate beyond them). A figure without a value in any fold has
// none.
Metrics meanOf(const std::vector<ConfusionCounts> &folds);
Metrics deviationOf(const std::vector<ConfusionCounts> &folds);

} // namespace velq::kit

#endif
