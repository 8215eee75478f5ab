// The operating commands through the built program, each on an installation of its own: what they print, what they
// change, and how they fail.
#include "support/run_command.h"
#include "support/installation.h"
#include "velq.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace velq::test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

std::string rootOf(const Installation &installation)
{
    return installation.programFolder().parent_path().parent_path().string();
}

// Words that lean clearly to one side, and neutral ones.
void fillStore(Installation &installation)
{
    installation.addTokens({{VELQ_TEXT("priz"), {90, 1}},
                            {VELQ_TEXT("winn"), {80, 1}},
                            {VELQ_TEXT("clai"), {70, 1}},
                            {VELQ_TEXT("hell"), {1, 90}},
                            {VELQ_TEXT("seve"), {1, 80}},
                            {VELQ_TEXT("cake"), {1, 70}},
                            {VELQ_TEXT("neut"), {50, 50}},
                            {VELQ_TEXT("ral1"), {50, 50}},
                            {VELQ_TEXT("mid2"), {50, 50}},
                            {VELQ_TEXT("发票"), {60, 1}},
                            {VELQ_TEXT("你好"), {1, 60}}});
    installation.setMessageCounts(100, 100);
    installation.setPrior(400000);
}

const std::string spamText = "prize winner, claim it";
const std::string hamText = "hello, seven o'clock with cake";
// Three counted neutral tokens: the spamicity is the prior, which leaves the classifier unsure.
const std::string unsureLongText = "neutneutral1ral1mid2mid2xxxxxxxx";

// An installation with words, and the prior where the classifier is unsure of messages without evidence.
class CliTest : public testing::Test {
  protected:
    CliTest()
    {
        fillStore(installation);
    }

    // The arguments with --install added at the end of the command's words.
    CommandResult run(std::vector<std::string> arguments, const std::string &input = {},
                      const fs::path &outFile = {}) const
    {
        arguments.insert(arguments.begin() + words(arguments), {"--install", rootOf(installation)});
        return velq(arguments, input, outFile);
    }

    // Every file below the installation with its bytes.
    std::map<std::string, std::string> files() const
    {
        std::map<std::string, std::string> contents;
        for (const auto &entry : fs::recursive_directory_iterator(installation.folder())) {
            contents[entry.path().string()] = entry.is_regular_file() ? readFile(entry.path()) : "folder";
        }
        return contents;
    }

    // The reason and the rating of one message on the pipe.
    json ask(const std::string &body, const std::string &number = {}) const
    {
        const CommandResult result =
            run({"rate", "--json-lines"}, json{{"body", body}, {"number", number}}.dump() + "\n");
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out);
    }

    Installation installation;

  private:
    static std::ptrdiff_t words(const std::vector<std::string> &arguments)
    {
        const std::set<std::string> groups = {"mark", "list"};
        return arguments.at(0) == "list" ? 3 : groups.contains(arguments.at(0)) ? 2 : 1;
    }
};

void expectDone(const CommandResult &result)
{
    EXPECT_EQ(result.status, 0) << result.err;
}

} // namespace

// ---- The command line as such

TEST(cli, wrong_command_lines_are_usage_errors_in_one_line)
{
    expectFailure(velq({}), 64, "velq --help");
    expectFailure(velq({"bogus"}), 64, "bogus");
    expectFailure(velq({"rate"}), 64, "--install is required; see velq rate --help");
    expectFailure(velq({"init", "a", "b"}), 64, "b");
    expectFailure(velq({"list", "grey", "show"}), 64, "velq list --help");
    expectFailure(velq({"list", "black"}), 64, "velq list black --help");
    expectFailure(velq({"mark"}), 64, "velq mark --help");
    expectFailure(velq({"versions", "--install"}), 64, "--install");
    expectFailure(velq({"--generate", "html"}), 64, "html not in");
}

TEST(cli, version_is_that_of_the_header)
{
    const CommandResult result = velq({"--version"});
    expectDone(result);
    EXPECT_EQ(result.out, "velq 1.0.0\n");
}

TEST(cli, missing_installation_is_no_input_for_every_command)
{
    const TemporaryFolder folder;
    const std::string root = folder.path().string();
    const std::vector<std::vector<std::string>> commands = {{"rate", "a"},
                                                            {"rate", "--json-lines"},
                                                            {"explain", "a"},
                                                            {"mark", "ham", "a"},
                                                            {"mark", "spam", "a"},
                                                            {"versions"},
                                                            {"list", "black", "show"},
                                                            {"list", "white", "count"},
                                                            {"list", "black", "clear"},
                                                            {"list", "white", "add", "1"}};
    for (std::vector<std::string> command : commands) {
        command.insert(command.end(), {"--install", root});
        expectFailure(velq(command, "x\n"), 66, "velq init");
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(CliTest, failed_output_is_an_input_output_error)
{
    expectFailure(run({"versions"}, {}, "/dev/full"), 74, "standard output");
    expectFailure(run({"rate", "--json-lines"}, "{\"body\":\"a\"}\n", "/dev/full"), 74, "standard output");
}

TEST_F(CliTest, damaged_data_file_is_reported_with_the_log)
{
    writeFile(installation.dataFile("bn.bin"), std::string(4096, 'x'));
    expectFailure(run({"list", "black", "count"}), 74, "engine.log");
}

// ---- init

TEST(cli_init, lays_out_an_installation_that_rates)
{
    Installation source;
    fillStore(source);
    const TemporaryFolder folder;
    const std::string root = (folder.path() / "短信 filter").string();
    const CommandResult result = velq({"init", root, "--store", source.dataFile("prob.bin").string()});
    expectDone(result);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("laid out in"), std::string::npos);
    EXPECT_EQ(velq({"rate", "--install", root, spamText}).out, "spam\t" + spamText + "\n");
}

TEST(cli_init, takes_the_text_form_of_a_store)
{
    const TemporaryFolder folder;
    const fs::path text = folder.path() / "store.txt";
    writeFile(text, "velq-store 1\nmessages\t10\t20\ntokens\nfree\t7\t1\nend\n");
    const std::string root = (folder.path() / "new").string();
    expectDone(velq({"init", root, "--store", text.string()}));
    EXPECT_EQ(
        Database(fs::path(root) / "Quenlibra/Tarvolent/data/prob.bin").query("SELECT hex(key) FROM velqTable;").size(),
        2U);
    const json report = json::parse(velq({"explain", "--json", "--install", root, "freedom"}).out)[0];
    EXPECT_EQ(report["spamMessages"], 10);
    EXPECT_EQ(report["tokens"][0]["spam"], 7);
    writeFile(text, "velq-store 1\nnonsense\n");
    expectFailure(velq({"init", root + "2", "--store", text.string()}), 65, "store.txt:2");
}

TEST(cli_init, refuses_to_overwrite)
{
    const Installation existing;
    const std::string before = readFile(existing.dataFile("prob.bin"));
    const Installation source;
    expectFailure(velq({"init", rootOf(existing), "--store", source.dataFile("prob.bin").string()}), 73,
                  "prob.bin exists");
    EXPECT_EQ(readFile(existing.dataFile("prob.bin")), before);
}

TEST(cli_init, says_what_is_wrong_with_the_store)
{
    const TemporaryFolder folder;
    const std::string root = (folder.path() / "new").string();
    writeFile(folder.path() / "text.bin", "this is no token store of any kind");
    expectFailure(velq({"init", root, "--store", (folder.path() / "none").string()}), 66, "no such file");
    expectFailure(velq({"init", root, "--store", (folder.path() / "text.bin").string()}), 65, "text.bin");
    EXPECT_FALSE(fs::exists(root));
}

TEST(cli_init, is_silent_when_quiet)
{
    const Installation source;
    const TemporaryFolder folder;
    const CommandResult result =
        velq({"init", (folder.path() / "new").string(), "--quiet", "--store", source.dataFile("prob.bin").string()});
    expectDone(result);
    EXPECT_EQ(result.out + result.err, "");
}

// ---- rate

TEST_F(CliTest, rate_prints_rating_and_text_for_each_argument)
{
    const CommandResult result = run({"rate", spamText, hamText, "", "list"});
    expectDone(result);
    EXPECT_EQ(result.out, "spam\t" + spamText + "\nham\t" + hamText + "\nham\t\nham\tlist\n");
    EXPECT_EQ(result.err, "");
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

// ---- rate on a pipe

TEST_F(CliTest, pipe_names_each_deciding_step)
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

TEST_F(CliTest, pipe_answers_have_five_members_in_order)
{
    const CommandResult result = run({"rate", "--json-lines"}, R"({"id":"a","body":"hello","more":[1,{"x":2}]})");
    expectDone(result);
    EXPECT_TRUE(
        result.out.starts_with(R"({"id":"a","rating":"ham","reason":"length","spamicity":null,"microseconds":)"))
        << result.out;
    EXPECT_EQ(json::parse(result.out).size(), 5U);
}

TEST_F(CliTest, pipe_answers_each_line_before_it_reads_the_next)
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

TEST_F(CliTest, plain_lines_are_answered_one_by_one_too)
{
    Conversation conversation({"rate", "--install", rootOf(installation)});
    conversation.say(hamText);
    EXPECT_EQ(conversation.hear(), "ham\t" + hamText);
    conversation.say("hello");
    EXPECT_EQ(conversation.hear(), "ham\thello");
    EXPECT_EQ(conversation.finish(), 0);
}

TEST_F(CliTest, pipe_answers_bad_lines_with_errors_and_goes_on)
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
    }
    EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(CliTest, pipe_error_carries_the_id_where_it_can_be_read)
{
    const json error = json::parse(run({"rate", "--json-lines"}, R"({"id":"m1","number":"1"})").out);
    EXPECT_EQ(error["id"], "m1");
    EXPECT_NE(error["error"].get<std::string>().find("body"), std::string::npos);
}

TEST_F(CliTest, pipe_passes_over_nesting_in_members_that_it_does_not_know)
{
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    const CommandResult result = run({"rate", "--json-lines"}, "{\"id\":1,\"body\":\"hello\",\"x\":" + deep + "}\n");
    expectDone(result);
    EXPECT_EQ(json::parse(result.out)["rating"], "ham");
}

TEST_F(CliTest, pipe_rates_ten_thousand_messages_with_reasons_that_follow_the_learning)
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

TEST_F(CliTest, pipe_follows_lists_that_change_meanwhile)
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

// ---- mark

TEST_F(CliTest, mark_spam_moves_words_to_the_spam_side)
{
    const CommandResult result = run({"mark", "spam", "hello hello"});
    expectDone(result);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "velq: 1 message marked as spam\n");
    EXPECT_EQ(installation.token(VELQ_TEXT("hell")), (TokenCounts{2, 89}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{101, 99}));
}

TEST_F(CliTest, mark_ham_moves_words_and_takes_the_sender_off_the_black_list)
{
    installation.addNumber(NumberList::black, "13912345678");
    const CommandResult result = run({"mark", "ham", "--json", "--number", "+8613912345678", "prize prize", "prize"});
    expectDone(result);
    EXPECT_EQ(json::parse(result.out), (json{{"marked", 2}, {"as", "ham"}}));
    EXPECT_EQ(installation.token(VELQ_TEXT("priz")), (TokenCounts{88, 3}));
    EXPECT_TRUE(installation.numberRows(NumberList::black).empty());
}

TEST_F(CliTest, mark_reads_lines_and_is_silent_when_quiet)
{
    const CommandResult result = run({"mark", "spam", "--quiet"}, "hello there\nham\thello again\n");
    expectDone(result);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(installation.token(VELQ_TEXT("hell")), (TokenCounts{3, 88}));
}

TEST_F(CliTest, mark_refuses_long_numbers_and_bad_text_and_learns_nothing)
{
    expectFailure(run({"mark", "ham", "--number", std::string(30, '1'), spamText}), 64, "29 characters");
    expectFailure(run({"mark", "spam", "\xFF"}), 64, "not UTF-8");
    expectFailure(run({"mark", "spam", "--number", "1", "a"}), 64, "--number");
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{100, 100}));
}

// ---- list

TEST_F(CliTest, list_add_show_count_remove_clear)
{
    for (const std::string list : {"black", "white"}) {
        expectDone(
            run({"list", list, "add", "13912345678", "--name", "王芳 \"F\" 😀", "--hidden", "1", "--extend-id", "-7"}));
        expectDone(run({"list", list, "add", "10000"}));
        EXPECT_EQ(run({"list", list, "count"}).out, "2\n");
        EXPECT_EQ(json::parse(run({"list", list, "count", "--json"}).out), (json{{"count", 2}}));
        EXPECT_EQ(run({"list", list, "show"}).out, "uid\tnumber\thidden\textendID\tname\n"
                                                   "2\t10000\t0\t0\t\n"
                                                   "1\t13912345678\t1\t-7\t王芳 \"F\" 😀\n");
        const json hidden = json::parse(run({"list", list, "show", "--hidden", "1", "--json"}).out);
        EXPECT_EQ(
            hidden,
            json::array(
                {{{"number", "13912345678"}, {"name", "王芳 \"F\" 😀"}, {"hidden", 1}, {"extendID", -7}, {"uid", 1}}}));
        EXPECT_EQ(run({"list", list, "remove", "+8613912345678"}).err,
                  "velq: 1 taken off the " + list + " list, 1 left\n");
        expectDone(run({"list", list, "clear"}));
        EXPECT_EQ(run({"list", list, "count"}).out, "0\n");
        EXPECT_EQ(json::parse(run({"list", list, "show", "--json"}).out), json::array());
    }
}

TEST_F(CliTest, list_add_moves_a_number_and_tells_a_repeated_one)
{
    expectDone(run({"list", "white", "add", "13912345678"}));
    EXPECT_NE(run({"list", "black", "add", "+8613912345678"}).err.find("added"), std::string::npos);
    EXPECT_EQ(run({"list", "white", "count"}).out, "0\n");
    EXPECT_NE(run({"list", "black", "add", "13912345678"}).err.find("already"), std::string::npos);
}

TEST_F(CliTest, list_removes_by_uid_and_link_value_and_clears_by_flag)
{
    installation.addNumber(NumberList::black, "1001", 0, {}, 5);
    installation.addNumber(NumberList::black, "1002", 1, {}, 5);
    installation.addNumber(NumberList::black, "1003", 1, {}, 6);
    installation.addNumber(NumberList::black, "1004", 0, {}, 7);
    expectDone(run({"list", "black", "remove", "--uid", "4"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "3\n");
    expectDone(run({"list", "black", "remove", "--extend-id", "5"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "1\n");
    expectDone(run({"list", "black", "clear", "--hidden", "0"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "1\n");
    expectDone(run({"list", "black", "clear", "--hidden", "1"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "0\n");
}

TEST_F(CliTest, list_refuses_entries_that_the_list_cannot_hold)
{
    expectFailure(run({"list", "black", "add", std::string(30, '1')}), 64, "29 characters");
    expectFailure(run({"list", "black", "add", "１３９"}), 64, "ASCII");
    expectFailure(run({"list", "black", "add", ""}), 64, "at least one");
    expectFailure(run({"list", "black", "add", "1", "--name", std::string(30, 'n')}), 64, "29 UTF-16 units");
    expectFailure(run({"list", "black", "add", "1", "--name", "\xFF"}), 64, "not UTF-8");
    expectFailure(run({"list", "black", "add", "1", "--hidden", "2"}), 64, "--hidden");
    expectFailure(run({"list", "black", "remove"}), 64, "NUMBER");
    expectFailure(run({"list", "black", "remove", "1", "--uid", "1"}), 64, "either");
    expectFailure(run({"list", "black", "show", "--hidden", "2"}), 64, "--hidden");
    EXPECT_EQ(run({"list", "black", "count"}).out, "0\n");
}

TEST_F(CliTest, list_export_and_import_give_the_same_list)
{
    installation.addNumber(NumberList::white, "+8613912345678", 0, VELQ_TEXT("a,\"b\"\r\nc"), 3);
    installation.addNumber(NumberList::white, "10000", 1, VELQ_TEXT(" 王芳 \U0001F600 "), -2147483647 - 1);
    installation.addNumber(NumberList::white, "#21#", 0);
    const std::string exported = run({"list", "white", "export"}).out;
    EXPECT_TRUE(exported.starts_with("number,name,hidden,extendID\r\n")) << exported;
    const fs::path file = installation.folder() / "white.csv";
    expectDone(run({"list", "white", "export", file.string()}));
    EXPECT_EQ(readFile(file), exported);
    for (const std::vector<std::string> &options : {std::vector<std::string>{}, std::vector<std::string>{"--batch"}}) {
        expectDone(run({"list", "white", "clear"}));
        std::vector<std::string> arguments = {"list", "white", "import", file.string(), "--json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(json::parse(run(arguments).out), (json{{"rows", 3}, {"added", 3}}));
        EXPECT_EQ(run({"list", "white", "export"}).out, exported);
    }
}

TEST_F(CliTest, list_import_takes_columns_in_any_order_and_standard_input)
{
    const CommandResult result =
        run({"list", "black", "import", "-"}, "Name,Number\nWang,10000\n,10001\nagain,10000\n");
    expectDone(result);
    EXPECT_EQ(result.err, "velq: 2 of 3 numbers added to the black list\n");
    EXPECT_EQ(run({"list", "black", "export"}).out, "number,name,hidden,extendID\r\n10000,Wang,0,0\r\n10001,,0,0\r\n");
}

TEST_F(CliTest, list_import_names_file_and_line_and_adds_nothing)
{
    const std::map<std::string, std::string> faults = {
        {"name\nWang\n", "standard input:1: "},
        {"number\n1\n" + std::string(30, '1') + "\n", "standard input:3: the number is longer"},
        {"number,name\n1,\"a\nb\"\n2," + std::string(30, 'n') + "\n", "standard input:4: the name is longer"},
        {"number,hidden\n1,2\n", "standard input:2: hidden"},
        {"number,hidden\n1,x\n", "standard input:2: hidden and extendID"},
        {"number,extendID\n1,2147483648\n", "standard input:2: hidden and extendID"},
        {"number,name\n1\n", "standard input:2: 1 field "},
        {"number\n\xFF\n", "standard input:2: not UTF-8"}};
    for (const auto &[input, message] : faults) {
        expectFailure(run({"list", "white", "import", "-"}, input), 65, message);
    }
    expectFailure(run({"list", "white", "import", "/no/such/file.csv"}), 66, "/no/such/file.csv");
    expectFailure(run({"list", "black", "import", "--batch", "-"}), 64, "--batch");
    EXPECT_EQ(run({"list", "white", "count"}).out, "0\n");
}

TEST_F(CliTest, list_export_into_a_missing_folder_cannot_be_created)
{
    expectFailure(run({"list", "black", "export", "/no/such/folder/a.csv"}), 73, "/no/such/folder/a.csv");
}

// ---- update and versions

TEST_F(CliTest, versions_prints_the_three_versions)
{
    installation.setVersion(0, 4);
    installation.setVersion(1, 5);
    installation.setVersion(2, 6);
    EXPECT_EQ(run({"versions"}).out, "probability data\t4\nwhite numbers\t5\nrules\t6\n");
    EXPECT_EQ(json::parse(run({"versions", "--json"}).out),
              (json{{"probability", 4}, {"whiteNumbers", 5}, {"rules", 6}}));
}

TEST_F(CliTest, update_merges_both_files_and_records_their_versions)
{
    const fs::path prob = installation.folder() / "words 词.upd";
    const fs::path white = installation.folder() / "white.upd";
    makeProbabilityUpdate(prob, {probabilityRow(VELQ_TEXT("priz"), {5, 6})});
    makeWhiteNumberUpdate(white, {whiteNumberRow(VELQ_TEXT("10010"), VELQ_TEXT("name"))});
    const CommandResult result = run({"update", "--json", "--prob", prob.string(), "--prob-version", "7", "--white",
                                      white.string(), "--white-version", "8"});
    expectDone(result);
    EXPECT_EQ(json::parse(result.out), (json{{"probability", 7}, {"whiteNumbers", 8}, {"rules", 1}}));
    EXPECT_EQ(installation.token(VELQ_TEXT("priz")), (TokenCounts{95, 7}));
    EXPECT_EQ(installation.numberRows(NumberList::white).size(), 1U);
}

TEST_F(CliTest, update_reports_a_failed_first_merge_and_changes_nothing)
{
    const fs::path prob = installation.folder() / "words.upd";
    const fs::path white = installation.folder() / "white.upd";
    makeProbabilityUpdate(prob,
                          {probabilityRow(VELQ_TEXT("priz"), {5, 6}), {Value::ofBlob("ab"), Value::ofBlob("short")}});
    makeWhiteNumberUpdate(white, {whiteNumberRow(VELQ_TEXT("10010"), {})});
    expectFailure(run({"update", "--prob", prob.string(), "--prob-version", "7", "--white", white.string(),
                       "--white-version", "8"}),
                  65, "row 2: the key is not ended by a zero unit");
    EXPECT_EQ(installation.token(VELQ_TEXT("priz")), (TokenCounts{90, 1}));
    EXPECT_EQ(installation.version(0), 1);
    EXPECT_EQ(installation.version(1), 1);
}

TEST_F(CliTest, update_refuses_missing_and_wrong_files_and_half_options)
{
    const fs::path white = installation.folder() / "white.upd";
    makeWhiteNumberUpdate(white, {});
    expectFailure(run({"update"}), 64, "--prob");
    expectFailure(velq({"update", "--white", white.string(), "--white-version", "1"}), 64, "--install");
    expectFailure(run({"update", "--prob", white.string()}), 64, "--prob-version");
    expectFailure(run({"update", "--white-version", "3"}), 64, "--white");
    expectFailure(run({"update", "--prob", white.string(), "--prob-version", "x"}), 64, "--prob-version");
    expectFailure(run({"update", "--prob", "/no/such.upd", "--prob-version", "2"}), 66, "/no/such.upd");
    expectFailure(run({"update", "--prob", white.string(), "--prob-version", "2"}), 65, "no diffProbTable");
    expectFailure(run({"update", "--prob", "/" + std::string(255, 'a'), "--prob-version", "2"}), 64, "255 bytes");
    expectFailure(run({"update", "--prob", "a\\b", "--prob-version", "2"}), 64, "backslash");
    EXPECT_EQ(installation.version(0), 1);
}

TEST_F(CliTest, update_of_a_locked_store_fails_instead_of_being_skipped)
{
    const fs::path prob = installation.folder() / "words.upd";
    makeProbabilityUpdate(prob, {probabilityRow(VELQ_TEXT("priz"), {5, 6})});
    const HeldLock lock(installation.dataFile("prob.bin"), HeldLock::Kind::immediate);
    expectFailure(run({"update", "--prob", prob.string(), "--prob-version", "7"}), 74, "in use");
    EXPECT_EQ(installation.version(0), 1);
}

// ---- explain

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

} // namespace velq::test
