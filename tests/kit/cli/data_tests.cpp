// The data commands through the built program, on small invented messages: what they write, print and refuse.
#include "support/run_command.h"
#include "support/database.h"
#include "support/installation.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

constexpr int badUsage = 64;
constexpr int badData = 65;
constexpr int noInput = 66;
constexpr int cannotCreate = 73;

std::size_t pick(std::uint64_t &state, std::size_t bound)
{
    state = state * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::size_t>((state >> 33) % bound);
}

// Messages of both labels from two lists of words with some words in common.
std::string inventedMessages(std::size_t messages, std::uint64_t seed)
{
    constexpr std::array spamWords = {"winner", "prize", "claim now", "free cash", "urgent", "call this number"};
    constexpr std::array hamWords = {"see you", "dinner", "home soon", "love", "tomorrow", "thanks mum"};
    constexpr std::array anyWords = {"today", "with", "about", "please"};
    std::uint64_t state = seed;
    std::string lines;
    for (std::size_t i = 0; i < messages; ++i) {
        const bool isSpam = i % 3 == 0;
        lines += isSpam ? "spam\t" : "ham\t";
        for (int word = 0; word < 6; ++word) {
            lines += word % 3 == 2 ? anyWords[pick(state, anyWords.size())]
                     : isSpam      ? spamWords[pick(state, spamWords.size())]
                                   : hamWords[pick(state, hamWords.size())];
            lines += ' ';
        }
        lines += std::to_string(pick(state, 1000)) + "\n";
    }
    return lines;
}

class DataCommands : public testing::Test, protected TestFiles {
  protected:
    std::string corpus(std::size_t messages = 240, std::uint64_t seed = 1) const
    {
        return file("messages-" + std::to_string(messages) + "-" + std::to_string(seed) + ".tsv",
                    inventedMessages(messages, seed));
    }
    std::string store(const std::string &name, const std::string &lines) const
    {
        const std::string text = file(name + ".txt", "velq-store 1\n" + lines + "end\n");
        EXPECT_EQ(velq({"store", "load", "--quiet", text, "-o", path(name)}).status, 0);
        return path(name);
    }
};

using store_command = DataCommands;

TEST_F(store_command, builds_the_same_bytes_for_the_same_seed)
{
    for (const std::vector<std::string> &mode : {std::vector<std::string>{"--plain"}, std::vector<std::string>{}}) {
        std::vector<std::string> built;
        for (const char *name : {"a.bin", "b.bin"}) {
            std::vector<std::string> arguments = {"store", "build", corpus(), "--seed", "5", "-o", path(name)};
            arguments.insert(arguments.end(), mode.begin(), mode.end());
            const CommandResult result = velq(arguments);
            ASSERT_EQ(result.status, 0) << result.err;
            EXPECT_EQ(result.out, "");
            built.push_back(readFile(path(name)));
        }
        EXPECT_EQ(built[0], built[1]);
        const CommandResult verified = velq({"store", "verify", path("a.bin")});
        EXPECT_EQ(verified.status, 0) << verified.out;
        EXPECT_GT(Json::parse(velq({"store", "stats", "--json", path("a.bin")}).out)["tokens"], 10);
    }
}

TEST_F(store_command, builds_the_text_form_by_name_or_on_request)
{
    ASSERT_EQ(velq({"store", "build", "--plain", corpus(), "-o", path("a.bin")}).status, 0);
    ASSERT_EQ(velq({"store", "build", "--plain", corpus(), "-o", path("a.txt")}).status, 0);
    ASSERT_EQ(velq({"store", "build", "--plain", corpus(), "--text", "-o", path("b.bin")}).status, 0);
    const std::string dumped = velq({"store", "dump", path("a.bin")}).out;
    EXPECT_EQ(dumped.rfind("velq-store 1\n", 0), 0U);
    EXPECT_EQ(readFile(path("a.txt")), dumped);
    EXPECT_EQ(readFile(path("b.bin")), dumped);
}

TEST_F(store_command, builds_from_standard_input_and_other_formats)
{
    const std::string messages = inventedMessages(120, 1);
    std::string csv = "text,label\n";
    std::string lines;
    std::istringstream in(messages);
    for (std::string line; std::getline(in, line);) {
        const std::string label = line.substr(0, line.find('\t'));
        const std::string text = line.substr(line.find('\t') + 1);
        csv += "\"" + text + "\"," + label + "\n";
        lines += Json{{"label", label}, {"text", text}}.dump() + "\n";
    }
    const auto build = [&](const std::string &from, const std::string &input) {
        const CommandResult result = velq({"store", "build", "--plain", from, "-o", path("x.txt")}, input);
        EXPECT_EQ(result.status, 0) << result.err;
        return readFile(path("x.txt"));
    };
    const std::string expected = build(file("m.tsv", messages), "");
    EXPECT_EQ(build("-", messages), expected);
    EXPECT_EQ(build(file("m.csv", csv), ""), expected);
    EXPECT_EQ(build(file("m.jsonl", lines), ""), expected);
}

TEST_F(store_command, build_says_what_is_wrong)
{
    expectFailure(velq({"store", "build", path("none.tsv"), "-o", path("x")}), noInput, "none.tsv");
    expectFailure(velq({"store", "build", file("bad.tsv", "ham\tone\nwhat\ttwo\n"), "-o", path("x")}), badData,
                  "bad.tsv:2");
    expectFailure(velq({"store", "build", file("utf8.tsv", "ham\tone\nham\t\xFF\n"), "-o", path("x")}), badData,
                  "utf8.tsv:2");
    expectFailure(velq({"store", "build", file("ham.tsv", "ham\tone\n"), "-o", path("x")}), badData, "no spam");
    expectFailure(velq({"store", "build", file("spam.tsv", "spam\tone\n"), "-o", path("x")}), badData, "no ham");
    expectFailure(velq({"store", "build", "--plain", corpus(), "-o", path("no/x")}), cannotCreate, "no/x");
    expectFailure(velq({"store", "build", corpus()}), badUsage, "--output");
    expectFailure(velq({"store"}), badUsage, "store --help");
    EXPECT_FALSE(fs::exists(path("x")));
}

TEST_F(store_command, dump_and_load_are_byte_stable)
{
    const std::string text =
        "velq-store 1\nmessages\t10\t20\t3\nprior\t400000\ntokens\n\\u0023a\t1\t2\n\\\\x\tblob:00ff\n"
        "free\t5\t1\t9\n\\ud83da\t0\t0\n\u514D\u8D39\t7\t0\n!blob:2e5200\t1\t2\n!text:6162\tnull\n"
        "end\n";
    ASSERT_EQ(velq({"store", "load", file("a.txt", text), "-o", path("a.bin")}).status, 0);
    const CommandResult dumped = velq({"store", "dump", path("a.bin")});
    // The order of the dump is by unit: the backslash before letters, ideographs before surrogates.
    const std::string expected =
        "velq-store 1\nmessages\t10\t20\t3\nprior\t400000\ntokens\n\\u0023a\t1\t2\n\\\\x\tblob:00ff\n"
        "free\t5\t1\t9\n\u514D\u8D39\t7\t0\n\\ud83da\t0\t0\n!blob:2e5200\t1\t2\n!text:6162\tnull\nend\n";
    EXPECT_EQ(dumped.out, expected);
    ASSERT_EQ(velq({"store", "load", "-", "-o", path("b.bin")}, dumped.out).status, 0);
    EXPECT_EQ(readFile(path("a.bin")), readFile(path("b.bin")));
    ASSERT_EQ(velq({"store", "dump", path("b.bin"), "-o", path("b.txt")}).status, 0);
    EXPECT_EQ(readFile(path("b.txt")), expected);
}

TEST_F(store_command, load_and_dump_say_what_is_wrong)
{
    expectFailure(velq({"store", "load", file("x.txt", "velq-store 1\ntokens\nab\t1\nend\n"), "-o", path("x")}),
                  badData, "x.txt:3");
    expectFailure(velq({"store", "load", path("none.txt"), "-o", path("x")}), noInput, "none.txt");
    expectFailure(velq({"store", "dump", path("none.bin")}), noInput, "none.bin");
    expectFailure(velq({"store", "dump", file("text.bin", "no database, whatever its name says")}), badData,
                  "text.bin");
    EXPECT_FALSE(fs::exists(path("x")));
}

TEST_F(store_command, verify_lists_each_problem_and_fails)
{
    const std::string bad = store("bad.bin", "messages\t0\t5\ntokens\na\t1\t1\nabcde\t1\t1\ncd\tblob:00\n");
    const CommandResult result = velq({"store", "verify", bad});
    EXPECT_EQ(result.status, badData);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 4) << result.out;
    EXPECT_NE(result.out.find("abcde\tthe key has 5 units; only 2 to 4 are looked up\n"), std::string::npos);
    EXPECT_NE(result.err.find("4 problems"), std::string::npos) << result.err;
    const Json json = Json::parse(velq({"store", "verify", "--json", bad}).out);
    EXPECT_EQ(json["problems"].size(), 4U);
    EXPECT_EQ(json["problems"][1]["where"], "a");

    const CommandResult good = velq({"store", "verify", store("good.bin", "messages\t5\t5\ntokens\nab\t1\t1\n")});
    EXPECT_EQ(good.status, 0);
    EXPECT_EQ(good.out, "");
    EXPECT_EQ(velq({"store", "verify", path("good.bin.txt")}).status, 0) << "the text form is checked as well";
    expectFailure(velq({"store", "verify", path("none")}), noInput, "none");
}

TEST_F(store_command, stats_agree_as_text_and_json)
{
    const std::string some =
        store("some.bin", "messages\t10\t20\nprior\t300000\ntokens\nab\t9\t0\nabcd\t0\t9\nxyz\t1\t2\n12\t0\t0\n");
    const Json json = Json::parse(velq({"store", "stats", "--json", some}).out);
    EXPECT_EQ(json["tokens"], 4);
    EXPECT_EQ(json["tokensOfLength"], (Json{{"2", 2}, {"3", 1}, {"4", 1}}));
    EXPECT_EQ(json["messages"], (Json{{"spam", 10}, {"ham", 20}}));
    EXPECT_EQ(json["priorMillionths"], 300000);
    EXPECT_EQ(json["spamSide"], 1);
    EXPECT_EQ(json["hamSide"], 1);
    EXPECT_EQ(json["neutral"], 1);
    EXPECT_EQ(json["withoutCounts"], 1);
    EXPECT_EQ(json["fileBytes"], fs::file_size(some));
    const std::string text = velq({"store", "stats", some}).out;
    EXPECT_NE(text.find("tokens\t4\n"), std::string::npos) << text;
    EXPECT_NE(text.find("prior in millionths\t300000\n"), std::string::npos) << text;
}

TEST_F(store_command, diff_makes_an_update_and_says_what_it_cannot)
{
    const std::string before = store("old.bin", "messages\t5\t5\ntokens\nab\t3\t1\ngone\t1\t1\n");
    const std::string after = store("new.bin", "messages\t6\t5\ntokens\nab\t2\t1\ncd\t1\t0\n");
    const CommandResult result = velq({"store", "diff", before, after, "-o", path("u.db")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "gone\tthe token cannot be removed; its counts become 0, and texts are still cut at it\n");
    EXPECT_NE(result.err.find("1 row added, 2 changed, 1 set to 0"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("2 rows with lower counts"), std::string::npos) << result.err;

    const Json json = Json::parse(velq({"store", "diff", "--json", before, after, "-o", path("u2.db")}).out);
    EXPECT_EQ(json["rows"], 4);
    EXPECT_EQ(json["deviations"].size(), 1U);
    EXPECT_EQ(readFile(path("u.db")), readFile(path("u2.db")));
    EXPECT_EQ(velq({"update", "inspect", path("u.db")}).out, "token counts\t4 rows, 4 new, 0 known\n");

    expectFailure(velq({"store", "diff", before, path("none"), "-o", path("x")}), noInput, "none");
    expectFailure(velq({"store", "diff", before, after}), badUsage, "--output");
}

using update_file_commands = DataCommands;

TEST_F(update_file_commands, white_update_is_built_and_inspected)
{
    const CommandResult built =
        velq({"white-update", "build", file("n.csv", "number,name\n111,Ann\n222,Bob\n111,Cat\n"), "-o", path("w.db")});
    EXPECT_EQ(built.status, 0) << built.err;
    EXPECT_NE(built.err.find("n.csv:4: number 111 stands above already; left out"), std::string::npos) << built.err;
    const CommandResult inspected = velq({"update", "inspect", path("w.db")});
    EXPECT_EQ(inspected.status, 0);
    EXPECT_EQ(inspected.out, "white numbers\t2 rows, 2 new, 0 known\n");
    const Rows rows = Database(path("w.db")).query("SELECT number, name FROM diffWnTable;");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[1], (Row{Value::ofBlob(utf16BytesWithTerminator(VELQ_TEXT("222"))),
                            Value::ofBlob(utf16BytesWithTerminator(VELQ_TEXT("Bob")))}));
}

TEST_F(update_file_commands, white_update_ends_with_a_number_new_to_the_list)
{
    const Installation installation;
    const auto know = [&](const VELQ_WideChar *number) {
        installation.open("wn.bin").query("INSERT INTO whiteList(hidden, number, name) VALUES(1, ?, ?);",
                                          {Value::ofBlob(utf16BytesWithTerminator(number)), Value::ofBlob("")});
    };
    know(VELQ_TEXT("222"));
    const std::string list = installation.dataFile("wn.bin").string();
    const std::string csv = file("n.csv", "111,Ann\n222,Bob\n");
    ASSERT_EQ(velq({"white-update", "build", csv, "--white-list", list, "-o", path("w.db")}).status, 0);
    EXPECT_EQ(velq({"update", "inspect", "--white-list", list, path("w.db")}).out,
              "white numbers\t2 rows, 1 new, 1 known\n");
    know(VELQ_TEXT("111"));
    expectFailure(velq({"white-update", "build", csv, "--white-list", list, "-o", path("x")}), badData,
                  "all numbers are in");
    const CommandResult inspected = velq({"update", "inspect", "--white-list", list, path("w.db")});
    EXPECT_EQ(inspected.status, badData);
    EXPECT_NE(inspected.out.find("problem\trow 2\t"), std::string::npos) << inspected.out;
    EXPECT_FALSE(fs::exists(path("x")));
}

TEST_F(update_file_commands, refuse_what_is_wrong)
{
    expectFailure(
        velq({"white-update", "build", file("long.csv", "1,a\n" + std::string(30, '5') + ",b\n"), "-o", path("x")}),
        badData, "long.csv:2");
    expectFailure(velq({"white-update", "build", file("none.csv", "number,name\n"), "-o", path("x")}), badData,
                  "no numbers");
    expectFailure(velq({"white-update", "build", path("missing.csv"), "-o", path("x")}), noInput, "missing.csv");
    expectFailure(velq({"white-update", "build", file("a.csv", "1,a\n"), "-o", path("no/x")}), cannotCreate, "no/x");
    expectFailure(velq({"update", "inspect", path("missing.db")}), noInput, "missing.db");
    expectFailure(velq({"update", "inspect", file("text.db", "a text that is no database, long enough")}), badData,
                  "text.db");
    expectFailure(velq({"update", "inspect", store("s.bin", "tokens\n")}), badData, "no update file");
    EXPECT_FALSE(fs::exists(path("x")));
}

using evaluate_command = DataCommands;

TEST_F(evaluate_command, counts_every_message_once_over_the_folds)
{
    const CommandResult result = velq({"evaluate", "--plain", "--folds", "4", "--json", corpus()});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = Json::parse(result.out);
    EXPECT_EQ(json["messages"], (Json{{"spam", 80}, {"ham", 160}}));
    EXPECT_EQ(json["scoreDisagreements"], 0);
    for (const char *run : {"trainingOff", "trainingOn"}) {
        EXPECT_EQ(json[run]["spam"]["all"], 80);
        EXPECT_EQ(json[run]["ham"]["all"], 160);
        ASSERT_EQ(json[run]["parts"].size(), 4U);
        for (const Json &part : json[run]["parts"]) {
            EXPECT_EQ(part["spam"]["all"], 20);
            EXPECT_EQ(part["ham"]["all"], 40);
        }
        for (const auto &[name, value] : json[run]["metrics"].items()) {
            EXPECT_GE(value, name == "MCC" ? -1.0 : 0.0) << name;
            EXPECT_LE(value, 1.0) << name;
        }
        EXPECT_GT(json[run]["metrics"]["accuracy"], 0.9);
        EXPECT_GT(json[run]["messagesPerSecond"], 0);
    }
}

TEST_F(evaluate_command, same_seed_gives_the_same_figures)
{
    const auto figures = [&](const char *seed) {
        Json json = Json::parse(velq({"evaluate", "--plain", "--folds", "3", "--seed", seed, "--json", corpus()}).out);
        json["trainingOff"].erase("messagesPerSecond");
        json["trainingOn"].erase("messagesPerSecond");
        return json;
    };
    EXPECT_EQ(figures("1"), figures("1"));
    EXPECT_NE(figures("1")["method"], figures("2")["method"]);
}

TEST_F(evaluate_command, split_test_file_and_store_choose_what_is_tested)
{
    const auto tested = [](const CommandResult &result) {
        EXPECT_EQ(result.status, 0) << result.err;
        const Json json = Json::parse(result.out);
        return json["trainingOff"]["spam"]["all"].get<int>() + json["trainingOff"]["ham"]["all"].get<int>();
    };
    EXPECT_EQ(tested(velq({"evaluate", "--plain", "--split", "first:200", "--json", corpus()})), 40);
    EXPECT_EQ(tested(velq({"evaluate", "--plain", "--test", corpus(30, 2), "--json", corpus()})), 30);
    ASSERT_EQ(velq({"store", "build", "--plain", corpus(), "-o", path("s.bin")}).status, 0);
    const CommandResult result = velq({"evaluate", "--store", path("s.bin"), "--json", corpus(30, 2)});
    EXPECT_EQ(tested(result), 30);
    EXPECT_TRUE(Json::parse(result.out)["trainingOff"]["newTexts"].is_null());
}

TEST_F(evaluate_command, texts_known_from_training_are_left_out_of_the_second_count)
{
    const std::string messages = inventedMessages(90, 3);
    const std::string first = messages.substr(0, messages.find('\n') + 1); // spam
    const CommandResult result = velq(
        {"evaluate", "--plain", "--split", "first:90", "--json", file("m.tsv", messages + first + "ham\tquite new\n")});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = Json::parse(result.out);
    EXPECT_EQ(json["textsSeenInTraining"], 1);
    EXPECT_EQ(json["trainingOff"]["spam"]["all"], 1);
    EXPECT_EQ(json["trainingOff"]["newTexts"]["spam"]["all"], 0);
    EXPECT_EQ(json["trainingOff"]["newTexts"]["ham"]["all"], 1);
}

TEST_F(evaluate_command, prints_tables_for_people)
{
    const CommandResult result = velq({"evaluate", "--plain", "--folds", "2", corpus(), corpus(30, 2)});
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char *part : {"2 stratified folds, seed 1", "rated spam", "SC (recall)", "off, new texts", "mean, off",
                             "messages a second", "messages-30-2.tsv"}) {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << "\n" << result.out;
    }
    EXPECT_EQ(result.err, "");
}

TEST_F(evaluate_command, learning_curve_is_measured_from_a_store)
{
    ASSERT_EQ(velq({"store", "build", "--plain", corpus(), "-o", path("s.bin")}).status, 0);
    const CommandResult result = velq({"evaluate", "--store", path("s.bin"), "--without-counts", "--corrections",
                                       "0,10,60", "--json", corpus(120, 4)});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json curve = Json::parse(result.out)["corrections"];
    ASSERT_EQ(curve.size(), 3U);
    EXPECT_EQ(curve[2]["made"], 60);
    EXPECT_EQ(curve[0]["spam"]["all"], curve[2]["spam"]["all"]);
    EXPECT_LT(curve[2]["error"], curve[0]["error"]);
}

TEST_F(evaluate_command, says_what_is_wrong)
{
    const std::string messages = corpus();
    expectFailure(velq({"evaluate", "--folds", "3", "--split", "first:5", messages}), badUsage, "give one of");
    expectFailure(velq({"evaluate", "--folds", "1", messages}), badUsage, "--folds 1");
    expectFailure(velq({"evaluate", "--split", "5", messages}), badUsage, "first:N");
    expectFailure(velq({"evaluate", "--split", "first:0", messages}), badUsage, "first:N");
    expectFailure(velq({"evaluate", "--split", "first:9999", messages}), badData, "no messages are left");
    expectFailure(velq({"evaluate", "--corrections", "1", messages}), badUsage, "--corrections");
    expectFailure(velq({"evaluate", "--without-counts", messages}), badUsage, "--without-counts");
    expectFailure(velq({"evaluate", "--only-errors", messages}), badUsage, "--only-errors");
    expectFailure(velq({"evaluate", path("none.tsv")}), noInput, "none.tsv");
    expectFailure(velq({"evaluate", "--store", path("none.bin"), messages}), noInput, "none.bin");
    expectFailure(velq({"evaluate", file("empty.tsv", "")}), badData, "no messages");
    const std::string some = store("some.bin", "messages\t5\t5\ntokens\nab\t1\t1\n");
    expectFailure(velq({"evaluate", "--store", some, "--corrections", "10,5", messages}), badUsage, "ascend");
    expectFailure(velq({"evaluate", "--store", some, "--corrections", "500", messages}), badUsage, "500 corrections");
    expectFailure(velq({"evaluate", "--store", some, "--report", path("no/r.html"), messages}), cannotCreate, "no/r");
}

// ---- The page in a browser ----

class report_in_browser : public DataCommands {
  protected:
    void SetUp() override
    {
        for (const char *name : {"chromium", "chromium-browser", "google-chrome"}) {
            for (const char *folder : {"/usr/bin/", "/usr/local/bin/"}) {
                if (browser_.empty() && fs::exists(std::string(folder) + name)) {
                    browser_ = std::string(folder) + name;
                }
            }
        }
        if (browser_.empty()) {
            GTEST_SKIP() << "no Chromium here: install the package chromium to have the page looked at";
        }
    }
    // A page with errors of both kinds and long words.
    std::string report() const
    {
        std::string messages = inventedMessages(150, 1);
        for (int i = 0; i < 10; ++i) {
            messages += "ham\twinner prize claim now free cash " + std::string(90, 'w') + std::to_string(i) + "\n";
            messages +=
                "spam\tsee you dinner home soon love tomorrow \u514D\u8D39\u9886\u53D6 " + std::to_string(i) + "\n";
        }
        const CommandResult result =
            velq({"evaluate", "--plain", "--folds", "3", file("m.tsv", messages), "--report", path("report.html")});
        EXPECT_EQ(result.status, 0) << result.err;
        return path("report.html");
    }
    CommandResult browse(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                                             "--disable-dev-shm-usage", "--user-data-dir=" + path("profile")});
        return runProgram(browser_, arguments);
    }

    std::string browser_;
};

TEST_F(report_in_browser, page_needs_nothing_from_elsewhere)
{
    const std::string page = readFile(report());
    for (const char *part : {"<script", "http:", "https:", "src=", "@import", "<link"}) {
        EXPECT_EQ(page.find(part), std::string::npos) << part;
    }
    EXPECT_NE(page.find("prefers-color-scheme: dark"), std::string::npos);
}

// The pictures are kept where VELQ_SCREENSHOTS names a folder, to be looked at.
TEST_F(report_in_browser, page_is_drawn_on_a_phone_and_a_desktop)
{
    const std::string url = "file://" + report();
    const char *kept = std::getenv("VELQ_SCREENSHOTS");
    const fs::path folder = kept != nullptr ? fs::path(kept) : folder_.path();
    for (const char *size : {"400,6000", "1280,3200"}) {
        const fs::path picture = folder / ("report-" + std::string(size, std::strcspn(size, ",")) + ".png");
        const CommandResult result =
            browse({"--window-size=" + std::string(size), "--screenshot=" + picture.string(), url});
        ASSERT_EQ(result.status, 0) << result.err;
        const std::string bytes = readFile(picture);
        ASSERT_GT(bytes.size(), 10000U) << "an empty page is smaller";
        EXPECT_EQ(bytes.substr(1, 3), "PNG");
    }
}

// A script added by the test opens every error and writes the page's width into it: nothing may stick out of a phone.
TEST_F(report_in_browser, page_fits_a_phones_width)
{
    std::string page = readFile(report());
    const std::size_t policy = page.find("<meta http-equiv=\"Content-Security-Policy\"");
    ASSERT_NE(policy, std::string::npos);
    page.erase(policy, page.find('\n', policy) - policy);
    page += "<script>document.querySelectorAll('details').forEach(d => d.open = true);"
            "document.body.dataset.width = document.documentElement.scrollWidth;"
            "document.body.dataset.window = window.innerWidth;"
            "document.body.dataset.errors = document.querySelectorAll('.errors details').length;</script>";
    const CommandResult result = browse({"--window-size=400,900", "--dump-dom", "file://" + file("wide.html", page)});
    ASSERT_EQ(result.status, 0) << result.err;
    const auto value = [&result](const std::string &name) {
        const std::size_t at = result.out.find("data-" + name + "=\"");
        return at == std::string::npos ? -1 : std::atoi(result.out.c_str() + at + name.size() + 7);
    };
    EXPECT_GT(value("width"), 0);
    EXPECT_LE(value("width"), value("window"));
    EXPECT_LE(value("window"), 500) << "the browser does not go below that";
    EXPECT_GE(value("errors"), 10);
}

} // namespace
} // namespace velq::test
