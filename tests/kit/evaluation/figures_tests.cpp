// The list of the figures, their texts, and figures over folds.
#include "kit/evaluation/figures.h"

#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

const Figure &figureOf(const std::string &name)
{
    for (const Figure &figure : figures) {
        if (figure.name == name) {
            return figure;
        }
    }
    throw std::out_of_range(name);
}

std::vector<std::string> namesShown(bool Shown::*where)
{
    std::vector<std::string> names;
    for (const Figure &figure : figuresShown(where)) {
        names.emplace_back(figure.name);
    }
    return names;
}

TEST(figures, every_value_is_in_the_list_once_and_every_figure_is_shown_somewhere)
{
    Metrics metrics;
    double number = 0;
    std::set<std::string> names;
    for (const Figure &figure : figures) {
        EXPECT_FALSE((metrics.*figure.value).has_value()) << figure.name;
        metrics.*figure.value = ++number;
        EXPECT_TRUE(names.insert(figure.name).second) << figure.name;
        const Shown &shown = figure.shown;
        EXPECT_TRUE(shown.inJson || shown.inTable || shown.inBrief || shown.inCurve) << figure.name;
        EXPECT_EQ(shown.inTable, figure.title != nullptr) << figure.name;
        EXPECT_EQ(shown.inBrief, figure.counted != nullptr) << figure.name;
    }
}

TEST(figures, order_and_places_are_part_of_the_output)
{
    using Names = std::vector<std::string>;
    EXPECT_EQ(namesShown(&Shown::inJson),
              (Names{"accuracy", "SC", "BH", "precision", "recall", "F1", "MCC", "unsure", "unsureSpam", "unsureHam"}));
    EXPECT_EQ(namesShown(&Shown::inTable),
              (Names{"accuracy", "SC", "BH", "precision", "F1", "MCC", "unsure", "unsureSpam", "unsureHam"}));
    EXPECT_EQ(namesShown(&Shown::inBrief), (Names{"accuracy", "SC", "BH", "MCC", "unsure"}));
    EXPECT_EQ(namesShown(&Shown::inCurve), (Names{"error", "SC", "BH", "MCC", "unsure"}));
}

TEST(figures, shares_are_percentages_and_correlations_numbers)
{
    Metrics metrics;
    metrics.accuracy = 0.98765;
    metrics.mcc = -0.12345;
    EXPECT_EQ(figureText(figureOf("accuracy"), metrics, 4), "98.77 %");
    EXPECT_EQ(figureText(figureOf("MCC"), metrics, 4), "-0.1235");
    EXPECT_EQ(figureText(figureOf("MCC"), metrics, 3), "-0.123");
    EXPECT_EQ(percentText(0.0), "0.00 %");
    EXPECT_EQ(decimalText(12.0, 0), "12");
}

TEST(figures, figure_without_a_value_is_a_dash)
{
    EXPECT_EQ(figureText(figureOf("SC"), {}, 4), "-");
    EXPECT_EQ(figureText(figureOf("MCC"), {}, 4), "-");
    EXPECT_EQ(percentText(std::nullopt), "-");
    EXPECT_EQ(decimalText(std::nullopt, 2), "-");
}

TEST(figures, mean_and_deviation_are_taken_over_the_folds)
{
    const std::vector<ConfusionCounts> folds = {{{9, 1, 0}, {0, 10, 0}}, {{10, 0, 0}, {2, 8, 0}}};
    EXPECT_NEAR(meanOf(folds).accuracy.value(), 0.925, 1e-12); // 0.95 and 0.9
    EXPECT_NEAR(deviationOf(folds).accuracy.value(), 0.025, 1e-12);
    EXPECT_NEAR(meanOf(folds).error.value(), 0.075, 1e-12);
    EXPECT_NEAR(meanOf(folds).spamCaught.value(), 0.95, 1e-12);
    EXPECT_NEAR(deviationOf(folds).hamBlocked.value(), 0.1, 1e-12);
}

TEST(figures, folds_without_a_value_do_not_count_as_zero)
{
    const ConfusionCounts hamAlone{{}, {0, 10, 0}};
    const ConfusionCounts both{{8, 2, 0}, {1, 9, 0}};
    EXPECT_DOUBLE_EQ(meanOf({hamAlone, both}).spamCaught.value(), 0.8);
    EXPECT_DOUBLE_EQ(deviationOf({hamAlone, both}).spamCaught.value(), 0);
    EXPECT_DOUBLE_EQ(meanOf({hamAlone, both}).hamBlocked.value(), 0.05);
    EXPECT_FALSE(meanOf({hamAlone, hamAlone}).spamCaught.has_value());
    EXPECT_FALSE(deviationOf({hamAlone, hamAlone}).spamCaught.has_value());
    EXPECT_FALSE(meanOf({}).accuracy.has_value());
    EXPECT_FALSE(deviationOf({}).accuracy.has_value());
}

} // namespace
} // namespace velq::kit
