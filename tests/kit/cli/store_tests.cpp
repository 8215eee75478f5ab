// velq store on small invented messages: what its commands write, print and refuse.
#include "cli/fixtures.h"
#include "support/database.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

using store_command = DataCommands;
using store_inputs = Robustness;

TEST_F(store_command, builds_the_same_bytes_for_the_same_seed)
{
    for (const std::vector<std::string> &mode :
         {std::vector<std::string>{"--plain"}, std::vector<std::string>{"--at-least-clusters", "1"}}) {
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

TEST_F(store_command, builds_of_prepared_messages_or_of_raw_ones)
{
    std::string disguised;
    std::string plain;
    for (int i = 0; i < 20; ++i) {
        const std::string number = std::to_string(100 + i);
        disguised += "spam\tFR\u00C9E pr\u0456ze" + number + "\nham\tSOON home" + number + "\n";
        plain += "spam\tfree prize" + number + "\nham\tsoon home" + number + "\n";
    }
    const auto build = [&](const std::string &messages, const std::vector<std::string> &more, const char *mode) {
        std::vector<std::string> arguments = {"store", "build", "-", "-o", path("x.txt"), "--at-least-clusters=1"};
        arguments.emplace_back(mode);
        arguments.insert(arguments.end(), more.begin(), more.end());
        const CommandResult result = velq(arguments, messages);
        EXPECT_EQ(result.status, 0) << result.err;
        return test::readFile(path("x.txt"));
    };
    EXPECT_EQ(build(disguised, {}, "--plain"), build(plain, {}, "--plain"));
    for (const char *mode : {"--plain", "--seed=1"}) {
        EXPECT_EQ(build(plain, {"--raw"}, mode), build(plain, {}, mode)) << mode;
        EXPECT_NE(build(disguised, {"--raw"}, mode), build(disguised, {}, mode)) << mode;
    }
}

TEST_F(store_command, tuned_store_of_disguised_messages_rates_them_raw_and_prepared)
{
    std::string messages;
    for (int i = 0; i < 60; ++i) {
        const std::string own = std::to_string(i * 7919);
        messages += "spam\tCL\u00C0IM your pr\u0456ze " + own + " now\nham\tSee you at home soon " + own + "\n";
    }
    ASSERT_EQ(velq({"store", "build", file("m.tsv", messages), "-o", path("s.bin"), "--at-least-clusters=1"}).status,
              0);
    for (const std::string &form : {std::string("--raw"), std::string("--quiet")}) {
        const CommandResult result = velq({"evaluate", "--store", path("s.bin"), form, "--json", path("m.tsv")});
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_GT(Json::parse(result.out)["trainingOff"]["metrics"]["accuracy"], 0.9) << form;
    }
}

TEST_F(store_command, learns_a_further_language_on_top_of_a_store_and_writes_the_update_that_adds_it)
{
    const std::string further = file("further.tsv", inventedMessages(120, 9));
    const std::string base = store("base.bin", "messages\t100\t100\ntokens\n\u4F60\u597D\t50\t1\n");
    const std::vector<std::string> build = {"store", "build", further, "--onto", base, "--at-least-clusters=1", "-o"};
    const auto buildTo = [&build](const std::string &name) {
        std::vector<std::string> arguments = build;
        arguments.push_back(name);
        return velq(arguments);
    };
    ASSERT_EQ(buildTo(path("new.bin")).status, 0);
    ASSERT_EQ(buildTo(path("new.update")).status, 0);
    ASSERT_EQ(velq({"store", "diff", base, path("new.bin"), "-o", path("diff.update")}).status, 0);
    EXPECT_EQ(readFile(path("new.update")), readFile(path("diff.update")));
    const Json built = Json::parse(velq({"store", "stats", "--json", path("new.bin")}).out);
    EXPECT_GT(built["tokens"], 10);
    EXPECT_EQ(built["messages"], Json::parse(velq({"store", "stats", "--json", base}).out)["messages"]);
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
    for (const char *cost : {"--cost-blocked=-1", "--cost-blocked=2000", "--cost-unsure=", "--cost-unsure=nan"}) {
        expectFailure(velq({"store", "build", corpus(), "-o", path("x"), cost}), badUsage, "--cost-");
    }
    expectFailure(velq({"store", "build", corpus(), "-o", path("x.update")}), badUsage, "--onto");
    expectFailure(velq({"store", "build", corpus(), "--known", corpus(), "-o", path("x")}), badUsage, "--known");
    expectFailure(velq({"store", "build", "--plain", "--onto", path("s"), corpus(), "-o", path("x")}), badUsage,
                  "--onto");
    expectFailure(velq({"store", "build", corpus(), "--onto", path("none.bin"), "-o", path("x")}), noInput, "none.bin");
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

TEST_F(store_command, what_stands_in_a_log_beside_a_store_counts)
{
    const std::string store = this->store("ahead.bin", "messages\t5\t5\ntokens\nab\t1\t1\n");
    Database writer(store);
    writer.query("PRAGMA journal_mode = WAL;");
    writer.exec("INSERT INTO velqTable VALUES(x'63006400', x'020000000300000000000000');");
    ASSERT_GT(fs::file_size(store + "-wal"), 0U);
    EXPECT_NE(velq({"store", "dump", store}).out.find("cd\t2\t3\n"), std::string::npos);
    EXPECT_EQ(Json::parse(velq({"store", "stats", "--json", store}).out)["tokens"], 2);
    EXPECT_NE(velq({"store", "verify", store}).err.find("journal: wal"), std::string::npos);
    const std::string before = this->store("before.bin", "messages\t5\t5\ntokens\nab\t1\t1\n");
    EXPECT_EQ(Json::parse(velq({"store", "diff", "--json", before, store, "-o", path("u.db")}).out)["added"], 1);
    expectFailure(velq({"store", "load", path("before.bin.txt"), "-o", store}), inputOutput, "in use");
    EXPECT_NE(velq({"store", "dump", store}).out.find("cd\t2\t3\n"), std::string::npos);
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

TEST_F(store_command, diff_adds_only_and_says_what_it_cannot)
{
    const std::string before = store("old.bin", "messages\t50\t50\ntokens\nab\t3\t1\ngone\t1\t1\n");
    const std::string after = store("new.bin", "messages\t60\t50\ntokens\nab\t6\t2\ncd\t1\t0\n");
    const CommandResult result =
        velq({"store", "diff", before, after, "-o", path("u.db"), "--merged", path("merged.txt")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "gone\tthe token cannot be removed; it becomes neutral, and texts are still cut at it\n");
    EXPECT_NE(result.err.find("1 row added, 3 changed, 1 made neutral"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("lower counts"), std::string::npos) << result.err;
    EXPECT_EQ(readFile(path("merged.txt")),
              "velq-store 1\nmessages\t60\t50\ntokens\nab\t6\t2\ncd\t1\t0\ngone\t30\t25\nend\n");

    const Json json = Json::parse(velq({"store", "diff", "--json", before, after, "-o", path("u2.db")}).out);
    EXPECT_EQ(json["rows"], 4);
    EXPECT_EQ(json["neutral"], 1);
    EXPECT_EQ(json["factor"], 1);
    EXPECT_EQ(json["lowered"], 0);
    EXPECT_EQ(json["deviations"].size(), 1U);
    EXPECT_EQ(readFile(path("u.db")), readFile(path("u2.db")));
    EXPECT_EQ(velq({"update", "inspect", path("u.db")}).out, "token counts\t4 rows, 4 new, 0 known\n");

    expectFailure(velq({"store", "diff", before, path("none"), "-o", path("x")}), noInput, "none");
    expectFailure(velq({"store", "diff", before, after}), badUsage, "--output");
    expectFailure(velq({"store", "diff", before, after, "-o", path("x"), "--merged", before}), badUsage, "input");
    expectFailure(velq({"store", "diff", before, store("none.bin", "tokens\nab\t1\t1\n"), "-o", path("x")}), badData,
                  "--exact");
    EXPECT_FALSE(fs::exists(path("x")));
}

TEST_F(store_command, diff_takes_counts_away_only_when_asked_and_warns)
{
    const std::string before = store("old.bin", "messages\t5\t5\ntokens\nab\t3\t1\ngone\t1\t1\n");
    const std::string after = store("new.bin", "messages\t6\t5\ntokens\nab\t2\t1\ncd\t1\t0\n");
    const CommandResult result =
        velq({"store", "diff", "--exact", before, after, "-o", path("u.db"), "--merged", path("merged.txt")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "gone\tthe token cannot be removed; its counts become 0, and texts are still cut at it\n");
    EXPECT_NE(result.err.find("1 row added, 2 changed, 1 set to 0"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("2 rows with lower counts"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("full spam tokens"), std::string::npos) << result.err;
    EXPECT_EQ(readFile(path("merged.txt")),
              "velq-store 1\nmessages\t6\t5\ntokens\nab\t2\t1\ncd\t1\t0\ngone\t0\t0\nend\n");
    EXPECT_NE(velq({"store", "diff", "--help"}).out.find("Dangerous"), std::string::npos);
}

TEST_F(store_inputs, store_in_text_form_is_read_from_a_pipe)
{
    for (const std::vector<std::string> &command :
         {std::vector<std::string>{"stats"}, {"verify"}, {"diff", path("store.txt"), "-o", path("u.db")}}) {
        store();
        const std::string fifo = pipe("fifo");
        std::thread writer([&] { writeFile(fifo, storeText); });
        std::vector<std::string> arguments = {"store", command[0], fifo};
        arguments.insert(arguments.end(), command.begin() + 1, command.end());
        const CommandResult result = velq(arguments);
        writer.join();
        EXPECT_EQ(result.status, 0) << command[0] << result.err;
        fs::remove(fifo);
    }
}

TEST_F(store_inputs, size_of_a_store_on_a_pipe_is_not_known)
{
    const Json statistics = Json::parse(velq({"store", "stats", "--json", "-"}, storeText).out);
    EXPECT_TRUE(statistics["fileBytes"].is_null());
    EXPECT_EQ(statistics["tokens"], 2);
}

TEST_F(store_inputs, database_on_a_pipe_is_refused)
{
    const std::string bytes = readFile(store());
    expectFailure(velq({"store", "stats", "-"}, bytes), noInput, "not read from a pipe");
    expectFailure(velq({"store", "dump", "-"}, bytes), badUsage, "not read from standard input");
    expectFailure(velq({"store", "dump", pipe("fifo")}), noInput, "not read from a pipe");
}

TEST_F(store_inputs, store_with_a_repeated_key_is_not_dumped)
{
    const std::string from = path("twice.bin");
    Database(from, OpenMode::create)
        .exec("CREATE TABLE velqTable(key BLOB, value BLOB);"
              "INSERT INTO velqTable VALUES(x'61006200', x'010000000100000000000000');"
              "INSERT INTO velqTable VALUES(x'61006200', x'020000000100000000000000');");
    expectFailure(velq({"store", "dump", from}), badData, "the key ab occurs twice");
    expectFailure(velq({"store", "dump", from, "-o", path("x.txt")}), badData, "the key ab occurs twice");
    expectFailure(velq({"store", "diff", store(), from, "-o", path("u.db")}), badData, "the key ab occurs twice");
    EXPECT_FALSE(fs::exists(path("x.txt")));
}

} // namespace
} // namespace velq::test
