// The texts of figures, and figures over folds.
#include "kit/evaluation/figures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace velq::kit {

std::vector<Figure> figuresShown(bool Shown::*where)
{
    std::vector<Figure> shown;
    std::copy_if(figures.begin(), figures.end(), std::back_inserter(shown),
                 [where](const Figure &figure) { return figure.shown.*where; });
    return shown;
}

std::string decimalText(std::optional<double> value, int digits)
{
    if (!value) {
        return "-";
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", digits, *value);
    return text.data();
}

std::string percentText(std::optional<double> share)
{
    return share ? decimalText(100 * *share, 2) + " %" : "-";
}

std::string figureText(const Figure &figure, const Metrics &metrics, int digits)
{
    const std::optional<double> value = metrics.*figure.value;
    return figure.isShare ? percentText(value) : decimalText(value, digits);
}

namespace {

std::optional<double> meanOfValues(const std::vector<double> &values)
{
    if (values.empty()) {
        return std::nullopt;
    }
    double sum = 0;
    for (const double value : values) {
        sum += value;
    }
    return sum / static_cast<double>(values.size());
}

std::optional<double> deviationOfValues(const std::vector<double> &values)
{
    const std::optional<double> mean = meanOfValues(values);
    if (!mean) {
        return std::nullopt;
    }
    double squares = 0;
    for (const double value : values) {
        squares += (value - *mean) * (value - *mean);
    }
    return std::sqrt(squares / static_cast<double>(values.size()));
}

// Each figure from its values in the folds.
Metrics overFolds(const std::vector<ConfusionCounts> &folds,
                  std::optional<double> (*combine)(const std::vector<double> &))
{
    Metrics combined;
    for (const Figure &figure : figures) {
        std::vector<double> values;
        for (const ConfusionCounts &fold : folds) {
            if (const std::optional<double> value = metricsOf(fold).*figure.value) {
                values.push_back(*value);
            }
        }
        combined.*figure.value = combine(values);
    }
    return combined;
}

} // namespace

Metrics meanOf(const std::vector<ConfusionCounts> &folds)
{
    return overFolds(folds, meanOfValues);
}

Metrics deviationOf(const std::vector<ConfusionCounts> &folds)
{
    return overFolds(folds, deviationOfValues);
}

} // namespace velq::kit
