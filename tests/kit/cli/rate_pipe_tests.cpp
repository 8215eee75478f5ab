// velq rate --json-lines: answers, deciding steps, broken requests.
#include "cli/fixtures.h"
#include "support/database.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

namespace velq::test {
namespace {

using nlohmann::json;

class rate_pipe : public CliTest {
  protected:
    // The answer to one message.
    json ask(const std::string &body, const std::string &number = {}) const
    {
        const CommandResult result =
            run({"rate", "--json-lines"}, json{{"body", body}, {"number", number}}.dump() + "\n");
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out);
    }
};

TEST_F(rate_pipe, names_each_deciding_step)
{
    installation.addNumber(NumberList::black, "+8613912345678");
    installation.addNumber(NumberList::white, "13700000001");
    installation.setPrior(600000);
    EXPECT_EQ(ask(hamText, "13912345678")["reason"], "black-list");
    EXPECT_EQ(ask(hamText, "13912345678")["rating"], "spam");
    EXPECT_EQ(ask(spamText, "10086123")["reason"], "operator");
    EXPECT_EQ(ask(spamText, "008613700000001")["reason"], "white-list");
    EXPECT_EQ(ask("hi!!! ok")["reason"], "length");
    EXPECT_EQ(ask("nothing that it knows of")["reason"], "few-tokens");
    EXPECT_EQ(ask("nothing that it knows of")["rating"], "unsure");
    EXPECT_EQ(ask(spamText)["reason"], "classifier");
    EXPECT_EQ(ask(hamText)["reason"], "classifier");
    const json unsure = ask(unsureLongText);
    EXPECT_EQ(unsure["reason"], "classifier");
    EXPECT_EQ(unsure["rating"], "unsure");
    EXPECT_DOUBLE_EQ(unsure["spamicity"], 0.6);
    EXPECT_EQ(ask(unsureLongText + " 138-1234-5678")["reason"], "digit-run");
    EXPECT_EQ(ask(unsureLongText + " 138-1234-5678")["rating"], "spam");
    EXPECT_EQ(ask("neut, ral1, mid2")["reason"], "short-text");
    EXPECT_EQ(ask("neut, ral1, mid2")["rating"], "ham");
}

TEST_F(rate_pipe, prepares_bodies_unless_they_are_to_be_raw)
{
    EXPECT_EQ(ask("PRIZE WINNER, CLAIM IT")["rating"], "spam");
    const CommandResult raw = run({"rate", "--raw", "--json-lines"}, R"({"body":"PRIZE WINNER, CLAIM IT"})");
    expectDone(raw);
    EXPECT_EQ(json::parse(raw.out)["reason"], "length");
}

TEST_F(rate_pipe, answers_have_five_members_in_order)
{
    const CommandResult result = run({"rate", "--json-lines"}, R"({"id":"a","body":"hello","more":[1,{"x":2}]})");
    expectDone(result);
    EXPECT_TRUE(
        result.out.starts_with(R"({"id":"a","rating":"ham","reason":"length","spamicity":null,"microseconds":)"))
        << result.out;
    EXPECT_EQ(json::parse(result.out).size(), 5U);
}

TEST_F(rate_pipe, answers_each_line_before_it_reads_the_next)
{
    Conversation conversation({"rate", "--install", rootOf(installation), "--json-lines"});
    for (int i = 0; i < 20; ++i) {
        conversation.say(json{{"id", i}, {"body", hamText}}.dump());
        const json answer = json::parse(conversation.hear());
        EXPECT_EQ(answer["id"], i);
        EXPECT_EQ(answer["rating"], "ham");
    }
    EXPECT_EQ(conversation.finish(), 0);
}

TEST_F(rate_pipe, answers_bad_lines_with_errors_and_goes_on)
{
    const std::string deep(100'000, '[');
    const std::vector<std::string> hostile = {"no json",
                                              "[1,2]",
                                              "{\"id\":1}",
                                              R"({"id":2,"body":7})",
                                              R"({"id":3,"body":null})",
                                              R"({"id":4,"body":"x","number":5})",
                                              R"({"id":5,"body":"a\u0000b"})",
                                              R"({"id":6,"body":"\ud800"})",
                                              "{\"id\":7,\"body\":\"\xFF\"}",
                                              R"({"id":[[8]],"body":"x"})",
                                              "{\"id\":" + deep + std::string(100'000, ']') + ",\"body\":\"x\"}",
                                              "{\"x\":" + deep,
                                              "{\"body\":\"" + std::string(2'000'000, 'x') + "\"}",
                                              std::string("\0", 1)};
    std::string input;
    for (const std::string &line : hostile) {
        input += line + "\n" + R"({"id":"ok","body":"hello"})" + "\n\n";
    }
    const CommandResult result = run({"rate", "--json-lines"}, input);
    expectDone(result);
    std::istringstream lines(result.out);
    std::string line;
    for (std::size_t i = 0; i < hostile.size(); ++i) {
        ASSERT_TRUE(std::getline(lines, line)) << i;
        const json error = json::parse(line);
        EXPECT_TRUE(error.contains("error")) << line;
        EXPECT_EQ(error["line"], 3 * i + 1) << line;
        ASSERT_TRUE(std::getline(lines, line)) << i;
        EXPECT_EQ(json::parse(line)["id"], "ok") << line;
        ASSERT_TRUE(std::getline(lines, line)) << i;
        EXPECT_EQ(json::parse(line), (json{{"id", nullptr}, {"error", "the line is empty"}, {"line", 3 * i + 3}}));
    }
    EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(rate_pipe, error_carries_the_id_where_it_can_be_read)
{
    const json error = json::parse(run({"rate", "--json-lines"}, R"({"id":"m1","number":"1"})").out);
    EXPECT_EQ(error["id"], "m1");
    EXPECT_NE(error["error"].get<std::string>().find("body"), std::string::npos);
}

TEST_F(rate_pipe, passes_over_nesting_in_members_that_it_does_not_know)
{
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    const CommandResult result = run({"rate", "--json-lines"}, "{\"id\":1,\"body\":\"hello\",\"x\":" + deep + "}\n");
    expectDone(result);
    EXPECT_EQ(json::parse(result.out)["rating"], "ham");
}

TEST_F(rate_pipe, rates_ten_thousand_messages_with_reasons_that_follow_the_learning)
{
    constexpr int count = 10'000;
    std::string input;
    for (int i = 0; i < count; ++i) {
        // Every hundredth message is spam and changes the counts.
        const std::string body = i % 100 == 0 ? spamText
                                 : i % 2 == 0 ? hamText
                                              : "你好 " + std::to_string(i) + " cake, hello 😀";
        input += json{{"id", i}, {"number", "13900000000"}, {"body", body}}.dump() + "\n";
    }
    const CommandResult result = run({"rate", "--json-lines"}, input);
    expectDone(result);
    std::istringstream lines(result.out);
    std::string line;
    int read = 0;
    double firstSpamicity = 0;
    double lastSpamicity = 0;
    for (; std::getline(lines, line); ++read) {
        const json answer = json::parse(line);
        ASSERT_EQ(answer["id"], read);
        ASSERT_EQ(answer["rating"], read % 100 == 0 ? "spam" : "ham") << line;
        ASSERT_EQ(answer["reason"], "classifier") << line;
        (read == 0 ? firstSpamicity : lastSpamicity) =
            read % 100 == 0 ? answer["spamicity"].get<double>() : lastSpamicity;
    }
    EXPECT_EQ(read, count);
    EXPECT_NE(firstSpamicity, lastSpamicity);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{200, 100}));
}

TEST_F(rate_pipe, follows_lists_that_change_meanwhile)
{
    Conversation conversation({"rate", "--install", rootOf(installation), "--json-lines"});
    const std::string request = json{{"body", hamText}, {"number", "13912345678"}}.dump();
    conversation.say(request);
    EXPECT_EQ(json::parse(conversation.hear())["reason"], "classifier");
    expectDone(run({"list", "black", "add", "13912345678"}));
    conversation.say(request);
    EXPECT_EQ(json::parse(conversation.hear())["reason"], "black-list");
    expectDone(run({"list", "black", "clear"}));
    conversation.say(request);
    EXPECT_EQ(json::parse(conversation.hear())["reason"], "classifier");
    EXPECT_EQ(conversation.finish(), 0);
}

TEST_F(rate_pipe, store_that_is_locked_at_the_start_is_waited_for)
{
    HeldLock lock(installation.dataFile("prob.bin"));
    Conversation conversation({"rate", "--install", rootOf(installation), "--json-lines"});
    conversation.say(json{{"body", spamText}}.dump());
    std::this_thread::sleep_for(std::chrono::milliseconds(600)); // longer than one attempt
    lock.release();
    EXPECT_EQ(json::parse(conversation.hear())["rating"], "spam");
    EXPECT_EQ(conversation.finish(), 0);
}

TEST_F(rate_pipe, store_that_stays_locked_is_a_clear_error)
{
    const HeldLock lock(installation.dataFile("prob.bin"));
    const CommandResult result = run({"rate", "--json-lines"}, json{{"body", spamText}}.dump() + "\n");
    expectFailure(result, inputOutput, "prob.bin was in use by another program for 5 seconds");
    EXPECT_EQ(result.out, "");
}

TEST_F(rate_pipe, message_that_meets_a_lock_is_answered_with_what_a_pipe_can_do)
{
    Conversation conversation({"rate", "--install", rootOf(installation), "--json-lines"});
    conversation.say(json{{"body", spamText}}.dump());
    EXPECT_EQ(json::parse(conversation.hear())["rating"], "spam");
    {
        const HeldLock lock(installation.dataFile("prob.bin"));
        conversation.say(json{{"id", 7}, {"body", spamText}}.dump());
        const json answer = json::parse(conversation.hear());
        EXPECT_EQ(answer["id"], 7);
        EXPECT_EQ(answer["line"], 2);
        const std::string error = answer["error"].get<std::string>();
        EXPECT_TRUE(error.ends_with("prob.bin is in use by another program; send the line again")) << error;
    }
    conversation.say(json{{"body", spamText}}.dump());
    EXPECT_EQ(json::parse(conversation.hear())["rating"], "spam");
    EXPECT_EQ(conversation.finish(), 0);
}

TEST_F(rate_pipe, dry_run_learns_nothing)
{
    const auto before = files();
    std::string input;
    for (int i = 0; i < 20; ++i) {
        input += json{{"id", i}, {"body", spamText}}.dump() + "\n";
    }
    const CommandResult result = run({"rate", "--json-lines", "--dry-run"}, input);
    expectDone(result);
    std::istringstream lines(result.out);
    json first;
    for (std::string line; std::getline(lines, line);) {
        const json answer = json::parse(line);
        first = first.is_null() ? answer["spamicity"] : first;
        EXPECT_EQ(answer["rating"], "spam");
        EXPECT_EQ(answer["spamicity"], first);
    }
    EXPECT_EQ(files(), before);
}

TEST_F(rate_pipe, id_comes_back_as_it_went_in)
{
    for (const char *id : {"123456789012345678901234567890", "-98765432109876543210", "1.50", "18446744073709551615",
                           "-9223372036854775808", "\"a\\\"\u4F60\"", "null", "0"}) {
        const std::string answer =
            run({"rate", "--json-lines"}, std::string("{\"body\":\"x\",\"id\":") + id + "}\n").out;
        EXPECT_TRUE(answer.starts_with(std::string("{\"id\":") + id + ",\"rating\":\"ham\"")) << answer;
    }
}

TEST_F(rate_pipe, broken_line_is_answered_with_the_id_that_was_read)
{
    for (const char *rest : {"\"body\":\"\\ud800\"}", "\"body\":\"\xFF\"}", "\"body\":\"x\"", "\"body\":}"}) {
        const json answer =
            json::parse(run({"rate", "--json-lines"}, std::string("{\"id\":\"m7\",") + rest + "\n").out);
        EXPECT_EQ(answer["id"], "m7") << rest;
        EXPECT_TRUE(answer.contains("error")) << rest;
    }
}

} // namespace
} // namespace velq::test
