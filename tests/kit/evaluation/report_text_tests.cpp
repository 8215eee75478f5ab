// The tables for people.
#include "evaluation/invented_measurement.h"
#include "kit/evaluation/report_text.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

std::string textOf(const Measured &measured, const EvaluationPlan &plan = planOf("en.tsv"))
{
    std::ostringstream out;
    printReport(out, plan, measured);
    return out.str();
}

// The cells of the first row with the title from `from` on.
std::vector<std::string> cellsOf(const std::string &text, const std::string &title, std::size_t from = 0)
{
    const std::size_t row = text.find("\n" + title + "  ", from);
    if (row == std::string::npos) {
        return {};
    }
    std::istringstream cells(text.substr(row + 1 + title.size(), text.find('\n', row + 1) - row - 1 - title.size()));
    std::vector<std::string> found;
    for (std::string cell; cells >> cell;) {
        if (cell == "%") {
            found.back() += " %";
        } else {
            found.push_back(cell);
        }
    }
    return found;
}

using Cells = std::vector<std::string>;

TEST(report_text, shows_counts_and_figures_of_both_runs)
{
    Measured measured = measuredOf({bothClasses});
    measured.result.trainingOn = runOf({{{9, 0, 1}, {2, 16, 2}}});
    const std::string text = textOf(measured);
    EXPECT_TRUE(text.starts_with("as invented\n\n")) << text;
    EXPECT_EQ(cellsOf(text, "  spam"), (Cells{"8", "1", "1", "10"}));
    EXPECT_EQ(cellsOf(text, "accuracy"), (Cells{"90.00 %", "90.00 %"}));
    EXPECT_EQ(cellsOf(text, "SC (recall)"), (Cells{"80.00 %", "90.00 %"}));
    EXPECT_EQ(cellsOf(text, "BH"), (Cells{"5.00 %", "10.00 %"}));
    EXPECT_EQ(cellsOf(text, "unsure, of ham"), (Cells{"10.00 %", "10.00 %"}));
    EXPECT_EQ(cellsOf(text, "messages a second"), (Cells{"60", "60"}));
    EXPECT_EQ(text.find("new texts"), std::string::npos);
    EXPECT_EQ(text.find("over the folds"), std::string::npos);
}

TEST(report_text, known_training_adds_the_new_texts)
{
    Measured measured = measuredOf({bothClasses});
    measured.result.trainingKnown = true;
    measured.result.seenTexts = 3;
    measured.result.trainingOff.unseen = hamAlone;
    measured.result.trainingOn.unseen = bothClasses;
    const std::string text = textOf(measured);
    EXPECT_EQ(cellsOf(text, "SC (recall)"), (Cells{"80.00 %", "80.00 %", "-", "80.00 %"}));
    EXPECT_NE(text.find("new texts: without 3 whose text"), std::string::npos);
}

TEST(report_text, figure_without_a_denominator_is_a_dash_everywhere)
{
    Measured measured = measuredOf({hamAlone, hamAlone});
    measured.curve = {{0, 0, 0, hamAlone}, {10, 4, 9, bothClasses}};
    const std::string text = textOf(measured);
    const std::size_t folds = text.find("over the folds");
    ASSERT_NE(folds, std::string::npos);
    for (const char *title : {"SC (recall)", "precision", "F1", "MCC", "unsure, of spam"}) {
        EXPECT_EQ(cellsOf(text, title), (Cells{"-", "-"})) << title;
        EXPECT_EQ(cellsOf(text, title, folds), (Cells{"-", "-", "-", "-"})) << title;
    }
    EXPECT_EQ(cellsOf(text, "BH", folds), (Cells{"0.00 %", "0.00 %", "0.00 %", "0.00 %"}));
    EXPECT_EQ(cellsOf(text, "area under ROC"), Cells{"-"});
    EXPECT_EQ(cellsOf(text, "corrections"), (Cells{"error", "SC", "BH", "MCC", "unsure"}));
    EXPECT_EQ(cellsOf(text, "0"), (Cells{"0.00 %", "-", "0.00 %", "-", "25.00 %"}));
    EXPECT_EQ(cellsOf(text, "4 of 10"), (Cells{"10.00 %", "80.00 %", "5.00 %", "0.7715", "10.00 %"}));
}

TEST(report_text, folds_are_shown_by_mean_and_deviation)
{
    const std::string text = textOf(measuredOf({{{5, 5, 0}, {0, 9, 1}}, {{10, 0, 0}, {0, 10, 0}}}));
    const std::size_t folds = text.find("over the folds");
    ASSERT_NE(folds, std::string::npos);
    EXPECT_EQ(cellsOf(text, "SC (recall)", folds), (Cells{"75.00 %", "25.00 %", "75.00 %", "25.00 %"}));
    EXPECT_EQ(cellsOf(text, "BH", folds), (Cells{"0.00 %", "0.00 %", "0.00 %", "0.00 %"}));
}

TEST(report_text, files_that_are_tested_are_shown_apart)
{
    Measured measured = measuredOf({bothClasses});
    measured.result.trainingOff.corpora = {{}, bothClasses};
    measured.result.trainingOn.corpora = {{}, bothClasses};
    EvaluationPlan plan = planOf("trained.tsv");
    plan.corpora.emplace_back("tested.tsv");
    const std::string text = textOf(measured, plan);
    EXPECT_EQ(text.find("trained.tsv"), std::string::npos);
    EXPECT_NE(text.find("\ntested.tsv\n"), std::string::npos);
}

} // namespace
} // namespace velq::kit
