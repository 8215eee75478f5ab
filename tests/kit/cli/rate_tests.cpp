// velq rate with messages as arguments and as lines.
#include "cli/fixtures.h"
#include "support/database.h"
#include "velq.h"

#include <chrono>
#include <nlohmann/json.hpp>

namespace velq::test {
namespace {

using nlohmann::json;

TEST_F(CliTest, rate_prints_rating_and_text_for_each_argument)
{
    const CommandResult result = run({"rate", spamText, hamText, "", "list"});
    expectDone(result);
    EXPECT_EQ(result.out, "spam\t" + spamText + "\nham\t" + hamText + "\nham\t\nham\tlist\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(CliTest, rate_prepares_texts_and_prints_them_as_given)
{
    const std::string disguised = "PR\u0406ZE winner, Cl\u00E1im it";
    EXPECT_EQ(run({"rate", disguised}).out, "spam\t" + disguised + "\n");
    EXPECT_EQ(run({"rate", "--raw", disguised}).out, "unsure\t" + disguised + "\n");
    EXPECT_EQ(json::parse(run({"rate", "--json", disguised}).out)[0]["text"], disguised);
}

TEST_F(CliTest, rate_reads_lines_with_and_without_label)
{
    const CommandResult result = run({"rate"}, "spam\t" + hamText + "\r\n\n" + spamText + "\nother\ttab");
    expectDone(result);
    EXPECT_EQ(result.out, "ham\t" + hamText + "\nspam\t" + spamText + "\nunsure\tother tab\n");
}

TEST_F(CliTest, rate_takes_messages_that_begin_with_a_dash_after_two_dashes)
{
    expectFailure(run({"rate", "--50% off"}), 64, "--50% off");
    EXPECT_EQ(run({"rate", "--", "--50% off"}).out, "ham\t--50% off\n");
}

TEST_F(CliTest, rate_prints_unicode_and_quotes_as_given_and_no_control_characters)
{
    EXPECT_EQ(run({"rate", "a \"b\" 'c' 你好 😀", "x\n\x1B[31m"}).out, "ham\ta \"b\" 'c' 你好 😀\nham\tx  [31m\n");
}

TEST_F(CliTest, rate_refuses_text_that_is_not_utf8)
{
    expectFailure(run({"rate", "a\xFF"}), 64, "not UTF-8");
    expectFailure(run({"rate", "--number", "\xFF", "a"}), 64, "number");
    const CommandResult result = run({"rate"}, hamText + "\nb\xFF\n");
    expectFailure(result, 65, "standard input:2: not UTF-8");
    EXPECT_EQ(result.out, "ham\t" + hamText + "\n");
}

TEST_F(CliTest, rate_exit_code_tells_the_verdict_of_one_message)
{
    EXPECT_EQ(run({"rate", "--exit-code", hamText}).status, 0);
    EXPECT_EQ(run({"rate", "--exit-code", spamText}).status, 1);
    EXPECT_EQ(run({"rate", "--exit-code", "words without any known token"}).status, 2);
    EXPECT_EQ(run({"rate", "--exit-code"}, spamText + "\n").status, 1);
    EXPECT_EQ(run({"rate", spamText}).status, 0);
}

TEST_F(CliTest, rate_exit_code_refuses_none_and_several_messages)
{
    expectFailure(run({"rate", "--exit-code", hamText, hamText}), 64, "single message");
    expectFailure(run({"rate", "--exit-code"}), 64, "no message");
    expectFailure(run({"rate", "--exit-code", "--json-lines"}), 64, "--exit-code");
}

TEST_F(CliTest, rate_json_is_one_document)
{
    const CommandResult result = run({"rate", "--json", "--number", "13900000000", spamText, "a \"hi\" 😀"});
    expectDone(result);
    const json messages = json::parse(result.out);
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0]["rating"], "spam");
    EXPECT_EQ(messages[0]["reason"], "classifier");
    EXPECT_GE(messages[0]["spamicity"], 0.9);
    EXPECT_EQ(messages[0]["number"], "13900000000");
    EXPECT_EQ(messages[1]["text"], "a \"hi\" 😀");
    EXPECT_EQ(messages[1]["reason"], "length");
    EXPECT_TRUE(messages[1]["spamicity"].is_null());
    EXPECT_EQ(json::parse(run({"rate", "--json"}).out), json::array());
    EXPECT_EQ(json::parse(run({"rate", "--json"}, "ham\thello\n").out)[0]["label"], "ham");
}

TEST_F(CliTest, rate_learns_as_the_engine_does)
{
    run({"rate", spamText});
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{101, 100}));
    EXPECT_EQ(installation.token(VELQ_TEXT("priz")), (TokenCounts{91, 1}));
}

TEST_F(CliTest, rate_dry_run_rates_alike_and_leaves_every_byte)
{
    installation.addNumber(NumberList::white, "13700000001");
    installation.addNumber(NumberList::black, "13700000002");
    const auto before = files();
    const std::string lines = spamText + "\n" + hamText + "\n" + unsureLongText + "\n" + spamText + "\n";
    const CommandResult dry = run({"rate", "--dry-run"}, lines);
    expectDone(dry);
    expectDone(run({"rate", "--dry-run", "--number", "13700000001"}, lines));
    expectDone(run({"rate", "--dry-run", "--number", "13700000002", "--json"}, lines));
    EXPECT_EQ(run({"rate", "--dry-run", "--exit-code", spamText}).status, 1);
    EXPECT_EQ(files(), before);
    EXPECT_EQ(run({"rate"}, lines).out, dry.out);
    EXPECT_NE(files(), before);
}

TEST_F(CliTest, plain_lines_are_answered_one_by_one_too)
{
    Conversation conversation({"rate", "--install", rootOf(installation)});
    conversation.say(hamText);
    EXPECT_EQ(conversation.hear(), "ham\t" + hamText);
    conversation.say("hello");
    EXPECT_EQ(conversation.hear(), "ham\thello");
    EXPECT_EQ(conversation.finish(), 0);
}

class rate_robustness : public Robustness {
  protected:
    CommandResult rate(std::vector<std::string> arguments, const std::string &input = {}) const
    {
        arguments.insert(arguments.begin(), {"rate", "--install", rootOf(installation_)});
        return velq(arguments, input);
    }

    Installation installation_;
};

TEST_F(rate_robustness, exit_code_counts_messages_before_it_rates)
{
    for (const CommandResult &result : {rate({"--exit-code", "one", "two"}), rate({"--exit-code"}, "one\ntwo\n")}) {
        expectFailure(result, badUsage, "single message");
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(rate_robustness, bad_argument_is_found_before_any_is_rated)
{
    const CommandResult result = rate({"one", "t\xFF"});
    expectFailure(result, badUsage, "not UTF-8");
    EXPECT_EQ(result.out, "");
}

TEST_F(rate_robustness, json_stays_one_document_when_a_line_is_bad)
{
    const CommandResult result = rate({"--json"}, "hello\nb\xFF\n");
    expectFailure(result, badData, "standard input:2");
    EXPECT_EQ(json::parse(result.out).size(), 1U);
    EXPECT_EQ(json::parse(rate({"--json"}, "\xFF\n").out), json::array());
}

TEST_F(rate_robustness, two_forms_of_json_are_refused)
{
    expectFailure(rate({"--json-lines", "--json"}), badUsage, "--json");
}

TEST_F(rate_robustness, store_that_cannot_be_read_is_a_failure_and_no_verdict)
{
    writeFile(installation_.dataFile("prob.bin"), std::string(5000, 'x'));
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"text"}, {"--exit-code", "text"}, {"--json", "text"}, {"--json-lines"}}) {
        expectFailure(rate(options), badData, installation_.dataFile("prob.bin").string());
    }
    writeFile(installation_.dataFile("prob.bin"), "");
    expectFailure(rate({"text"}), badData, "holds no velqTable");
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{"explain"}, {"mark", "spam"}, {"mark", "ham"}}) {
        std::vector<std::string> command = words;
        command.insert(command.end(), {"--install", rootOf(installation_), "text"});
        expectFailure(velq(command), badData, installation_.dataFile("prob.bin").string());
    }
}

TEST_F(rate_robustness, locked_store_is_a_failure_soon)
{
    const HeldLock lock(installation_.dataFile("prob.bin"), HeldLock::Kind::exclusive);
    const auto start = std::chrono::steady_clock::now();
    expectFailure(rate({"text"}), inputOutput, "in use by another program");
    expectFailure(velq({"mark", "spam", "--install", rootOf(installation_), "text"}), inputOutput, "in use");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(rate_robustness, empty_message_is_a_message)
{
    EXPECT_EQ(rate({""}).out, "ham\t\n");
}

} // namespace
} // namespace velq::test
