// velq explain: its reports against figures by hand, and what it leaves alone.
#include "cli/fixtures.h"
#include "support/database.h"

#include <nlohmann/json.hpp>

namespace velq::test {
namespace {

using nlohmann::json;

TEST_F(CliTest, explain_leaves_every_file_as_it_was)
{
    installation.addNumber(NumberList::black, "13912345678");
    const auto before = files();
    expectDone(run({"explain", spamText, hamText}));
    expectDone(run({"explain", "--number", "13912345678", hamText}));
    EXPECT_EQ(files(), before);
}

TEST_F(CliTest, explain_begins_with_verdict_and_step_and_lists_the_tokens)
{
    const CommandResult result = run({"explain", spamText + " 你好"});
    expectDone(result);
    const std::string expected = "unsure  classifier: spam from 0.9 on, ham up to 0.45\n"
                                 "  message     prize winner, claim it 你好\n"
                                 "  prepared    prize winner, claim it 你好\n"
                                 "  dropped     prize[ ]winner,[ ]claim[ ]it[ ]你好  (in brackets)\n"
                                 "  filtered    prizewinner,claimit你好  (21 characters)\n"
                                 "\n"
                                 "  token       position     spam      ham  probability  counted\n"
                                 "  priz               1       90        1     0.988896  yes\n"
                                 "  winn               6       80        1     0.987525  yes\n"
                                 "  clai              13       70        1     0.985769  yes\n"
                                 "  你好              20        1       60     0.016505  yes\n";
    EXPECT_TRUE(result.out.starts_with(expected)) << result.out;
    EXPECT_NE(result.out.find("learned     100 spam messages, 100 ham messages; prior 0.4"), std::string::npos);
    EXPECT_NE(result.out.find("spam tail   "), std::string::npos);
    EXPECT_NE(result.out.find("ham tail    "), std::string::npos);
    EXPECT_NE(result.out.find("(4 of 4 tokens counted)"), std::string::npos);
}

TEST_F(CliTest, explain_shows_the_text_prepared_and_with_raw_as_it_is)
{
    const std::string text = "PRIZE w\u0456nner, cl\u00E1im IT";
    const CommandResult prepared = run({"explain", text});
    expectDone(prepared);
    EXPECT_NE(prepared.out.find("  message     " + text +
                                "\n"
                                "  prepared    prize winner, claim it\n"
                                "  dropped     prize[ ]winner,[ ]claim[ ]it  (in brackets)\n"
                                "  filtered    prizewinner,claimit  (19 characters)\n"),
              std::string::npos)
        << prepared.out;
    const CommandResult raw = run({"explain", "--raw", text});
    expectDone(raw);
    EXPECT_NE(raw.out.find("  message     " + text +
                           "\n"
                           "  dropped     [PRIZE w]\u0456nner,[ ]cl[\u00E1]im[ IT]  (in brackets)\n"
                           "  filtered    \u0456nner,clim  (10 characters)\n"),
              std::string::npos)
        << raw.out;
    const json report = json::parse(run({"explain", "--json", text}).out)[0];
    EXPECT_EQ(report["message"], text);
    EXPECT_EQ(report["prepared"], "prize winner, claim it");
    EXPECT_EQ(report["dropped"], "prize[ ]winner,[ ]claim[ ]it");
    EXPECT_TRUE(json::parse(run({"explain", "--json", "--raw", text}).out)[0]["prepared"].is_null());
}

TEST_F(CliTest, explain_json_carries_the_figures_by_hand)
{
    const json report = json::parse(run({"explain", "--json", "--number", "123", "neut ral1 priz"}).out)[0];
    EXPECT_EQ(report["number"], "123");
    EXPECT_EQ(report["filtered"], "neutral1priz");
    ASSERT_EQ(report["tokens"].size(), 3U);
    EXPECT_EQ(report["tokens"][1]["position"], 5);
    EXPECT_EQ(report["tokens"][1]["counted"], false);
    // One token with p counts: both tails are of two degrees of freedom, Q(1, x) = exp(-x), so 1 - p and p.
    const double p = (91 * (90.0 / 91) + 0.0178 * 0.4) / (91 + 0.0178);
    EXPECT_NEAR(report["tokens"][2]["probability"], p, 1e-12);
    EXPECT_EQ(report["counted"], 1);
    EXPECT_NEAR(report["spamTail"], 1 - p, 1e-12);
    EXPECT_NEAR(report["hamTail"], p, 1e-12);
    EXPECT_NEAR(report["spamicity"], p, 1e-12);
    EXPECT_EQ(report["rating"], "spam");
}

TEST_F(CliTest, explain_names_the_matching_entry)
{
    installation.addNumber(NumberList::black, "+8613912345678", 0, VELQ_TEXT("王芳"));
    const CommandResult result = run({"explain", "--number", "13912345678", hamText});
    EXPECT_TRUE(result.out.starts_with("spam  black list: the sender matches an entry\n"
                                       "  entry       +8613912345678  王芳  (uid 1)\n"))
        << result.out;
    EXPECT_NE(result.out.find("the classifier was not asked"), std::string::npos);
    const json report = json::parse(run({"explain", "--json", "--number", "13912345678", hamText}).out)[0];
    EXPECT_EQ(report["entry"]["uid"], 1);
    EXPECT_EQ(report["reason"], "black-list");
    EXPECT_EQ(report["tokens"].size(), 3U);
    EXPECT_TRUE(report["spamicity"].is_null());
}

TEST_F(CliTest, explain_names_every_other_step)
{
    installation.setPrior(600000);
    installation.addNumber(NumberList::white, "13700000001");
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--number", "1008611", spamText}, "ham  operator rule"},
        {{"--number", "13700000001", spamText}, "ham  white list"},
        {{"hi!!! ok"}, "ham  length"},
        {{"nothing that it knows of"}, "unsure  too few tokens"},
        {{unsureLongText}, "unsure  classifier"},
        {{unsureLongText + "138-1234-5678"}, "spam  digit run"},
        {{"neut, ral1, mid2"}, "ham  short text"}};
    for (const auto &[arguments, start] : cases) {
        std::vector<std::string> command = {"explain"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const CommandResult result = run(command);
        expectDone(result);
        EXPECT_TRUE(result.out.starts_with(start)) << result.out;
    }
}

TEST_F(CliTest, explain_reports_on_each_line_of_standard_input)
{
    const CommandResult result = run({"explain"}, spamText + "\n" + hamText + "\n");
    expectDone(result);
    EXPECT_NE(result.out.find("\n\nham  classifier"), std::string::npos) << result.out;
}

TEST_F(CliTest, explain_of_a_locked_store_says_that_it_is_in_use)
{
    const HeldLock lock(installation.dataFile("prob.bin"));
    expectFailure(run({"explain", spamText}), 74, "in use");
}

TEST_F(CliTest, explain_shows_tokens_without_weight_as_none)
{
    installation.addToken(VELQ_TEXT("nodd"), 0, 5);
    installation.setMessageCounts(0, 100);
    const CommandResult result = run({"explain", hamText + " nodding"});
    expectDone(result);
    EXPECT_NE(result.out.find("  nodd              25        0        5         none  no\n"), std::string::npos)
        << result.out;
    const json report = json::parse(run({"explain", "--json", hamText + " nodding"}).out)[0];
    EXPECT_TRUE(report["tokens"][3]["probability"].is_null());
}

} // namespace
} // namespace velq::test
