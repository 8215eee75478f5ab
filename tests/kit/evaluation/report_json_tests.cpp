// The report for programs.
#include "evaluation/invented_measurement.h"
#include "kit/evaluation/report_json.h"

#include <gtest/gtest.h>
#include <string>

namespace velq::kit {
namespace {

using Json = nlohmann::ordered_json;

TEST(report_json, holds_counts_and_figures)
{
    const Json json = reportJson(planOf("en.tsv"), measuredOf({bothClasses}));
    EXPECT_EQ(json["method"], "as invented");
    EXPECT_EQ(json["messages"], (Json{{"spam", 10}, {"ham", 20}}));
    EXPECT_EQ(json["tokens"], Json::array({100}));
    const Json &off = json["trainingOff"];
    EXPECT_EQ(off["spam"], (Json{{"ratedSpam", 8}, {"ratedHam", 1}, {"ratedUnsure", 1}, {"all", 10}}));
    EXPECT_DOUBLE_EQ(off["metrics"]["SC"].get<double>(), 0.8);
    EXPECT_DOUBLE_EQ(off["metrics"]["recall"].get<double>(), 0.8);
    EXPECT_DOUBLE_EQ(off["metrics"]["unsureHam"].get<double>(), 0.1);
    EXPECT_EQ(off["metrics"].size(), 10U);
    EXPECT_EQ(off["mean"], off["metrics"]) << "of one part";
    EXPECT_EQ(off["messagesPerSecond"], 60.0);
    EXPECT_EQ(off["corpora"][0]["file"], "en.tsv");
    EXPECT_TRUE(off["newTexts"].is_null());
    EXPECT_TRUE(json["textsSeenInTraining"].is_null());
}

TEST(report_json, figure_without_a_denominator_is_null_everywhere)
{
    Measured measured = measuredOf({hamAlone, hamAlone});
    measured.curve = {{10, 4, 9, hamAlone}, {10, 10, 20, {}}};
    const Json json = reportJson(planOf("en.tsv"), measured);
    const Json &off = json["trainingOff"];
    const Json &curve = json["corrections"];
    for (const Json &figures : {off["metrics"], off["mean"], off["deviation"], off["parts"][0]["metrics"],
                                off["corpora"][0]["metrics"], curve[0]["metrics"]}) {
        for (const char *name : {"SC", "precision", "recall", "F1", "MCC", "unsureSpam"}) {
            EXPECT_TRUE(figures[name].is_null()) << name;
        }
        EXPECT_EQ(figures["BH"], 0.0);
    }
    EXPECT_TRUE(json["areaUnderRoc"].is_null());
    EXPECT_EQ(curve[0]["error"], 0.0);
    EXPECT_EQ(curve[0]["made"], 4);
    EXPECT_EQ(curve[0]["asked"], 10);
    EXPECT_EQ(curve[0]["messagesRead"], 9);
    EXPECT_TRUE(curve[1]["error"].is_null());
}

TEST(report_json, folds_have_mean_and_deviation)
{
    const Json json = reportJson(planOf("en.tsv"), measuredOf({{{5, 5, 0}, {0, 9, 1}}, {{10, 0, 0}, {0, 10, 0}}}));
    EXPECT_DOUBLE_EQ(json["trainingOff"]["mean"]["SC"].get<double>(), 0.75);
    EXPECT_DOUBLE_EQ(json["trainingOff"]["deviation"]["SC"].get<double>(), 0.25);
}

TEST(report_json, fold_without_a_figure_does_not_count_as_zero)
{
    const Json json = reportJson(planOf("en.tsv"), measuredOf({hamAlone, bothClasses}));
    EXPECT_DOUBLE_EQ(json["trainingOff"]["mean"]["SC"].get<double>(), 0.8);
    EXPECT_DOUBLE_EQ(json["trainingOff"]["deviation"]["SC"].get<double>(), 0);
}

} // namespace
} // namespace velq::kit
