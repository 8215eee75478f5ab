// The page: what is in it, and what can not get into it.
#include "evaluation/invented_measurement.h"
#include "evaluation/small_evaluation.h"
#include "kit/evaluation/report_html.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

bool holds(const std::string &page, const std::string &part)
{
    return page.find(part) != std::string::npos;
}

TEST(report_html, text_of_messages_cannot_become_markup)
{
    EvaluationPlan plan = planOf("folder/<file>.tsv");
    plan.method = "x & y";
    plan.messages = {ham(u"win <script>free</script> cash & \"prize\""),
                     spam(u"home meet soon " + std::u16string(1, char16_t{0xD800}))};
    EvaluationOptions options;
    options.mostErrors = 10;
    Measured measured;
    measured.tokens = {8};
    measured.result = evaluate(
        plan.messages, 1, [&](std::size_t) { return partOf(smallStore(), plan.messages.size()); }, options);
    const std::string page = reportPage(plan, measured);
    EXPECT_FALSE(holds(page, "<script"));
    EXPECT_TRUE(holds(page, "win &lt;script&gt;free&lt;/script&gt; cash &amp; &quot;prize&quot;"));
    EXPECT_TRUE(holds(page, "home meet soon \uFFFD"));
    EXPECT_TRUE(holds(page, "<title>Evaluation of &lt;file&gt;.tsv</title>"));
    EXPECT_TRUE(holds(page, "2 messages; x &amp; y; 8 tokens in the store."));
    EXPECT_TRUE(holds(page, "&lt;file&gt;.tsv:1"));
    EXPECT_TRUE(holds(page, "<h2>Ham rated spam: 1</h2>"));
    EXPECT_TRUE(holds(page, "<h2>Spam not rated spam: 1</h2>"));
}

TEST(report_html, shows_the_figures_of_tiles_tables_and_curve)
{
    Measured measured = measuredOf({bothClasses, bothClasses});
    measured.tokens = {100, 300};
    measured.curve = {{10, 10, 20, bothClasses}};
    measured.result.trainingOff.corpora = {bothClasses, {}};
    EvaluationPlan plan = planOf("-");
    plan.corpora.emplace_back("other.tsv");
    const std::string page = reportPage(plan, measured);
    EXPECT_TRUE(holds(page, "<title>Evaluation of standard input, other.tsv</title>"));
    EXPECT_TRUE(holds(page, "60 messages; as invented; 200 tokens in a store on average."));
    EXPECT_TRUE(holds(page, "<b>80.00 %</b><span>of the spam caught (SC)</span>"));
    EXPECT_TRUE(holds(page, "<b>0.772</b><span>correlation (MCC)</span>"));
    EXPECT_TRUE(holds(page, "<th scope=\"row\">MCC</th><td>0.7715</td><td>0.7715</td>"));
    EXPECT_TRUE(holds(page, "<th>corrections</th><th>error</th><th>SC</th><th>BH</th><th>MCC</th><th>unsure</th>"));
    EXPECT_TRUE(holds(page, "<td>10</td><td>10.00 %</td><td>80.00 %</td><td>5.00 %</td><td>0.772</td>"));
    EXPECT_TRUE(holds(page, "standard input<br><span class=\"soft\">20 ham, 10 spam</span></th><td>80.00 %<br>"
                            "<span class=\"soft\">49.0 to 94.3</span>"));
    EXPECT_TRUE(holds(page, "mean over the sources</th><td>80.00 %</td><td>5.00 %</td><td>10.00 %</td>"));
    EXPECT_FALSE(holds(page, "other.tsv<br>")) << "it is only trained on";
}

TEST(report_html, no_messages_of_a_class_make_a_page_all_the_same)
{
    Measured measured = measuredOf({hamAlone});
    measured.result.scores = {{false, 0.1}, {false, 0.2}};
    measured.curve = {{0, 0, 0, hamAlone}};
    const std::string page = reportPage(planOf("en.tsv"), measured);
    EXPECT_FALSE(holds(page, "nan"));
    EXPECT_FALSE(holds(page, "inf\""));
    EXPECT_TRUE(holds(page, "</html>"));
    EXPECT_TRUE(holds(page, "<b>-</b><span>of the spam caught (SC)</span>"));
    EXPECT_TRUE(holds(page, "<b>-</b><span>area under ROC</span>"));
    EXPECT_TRUE(holds(page, "<th scope=\"row\">precision</th><td>-</td><td>-</td>"));
    EXPECT_TRUE(holds(page, "<td>0</td><td>0.00 %</td><td>-</td><td>0.00 %</td><td>-</td><td>25.00 %</td>"));
    EXPECT_FALSE(holds(page, "<circle")) << "the engine has no place on a curve without spam";
}

} // namespace
} // namespace velq::kit
