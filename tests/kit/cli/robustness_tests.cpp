// What the command does with files, values and interruptions that were not meant: outputs that are devices, links or
// inputs, inputs that are pipes or empty, numbers and names that are none, signals in the middle of the work.
#include "support/run_command.h"
#include "support/database.h"
#include "support/installation.h"
#include "velq.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <thread>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr int badUsage = 64;
constexpr int badData = 65;
constexpr int noInput = 66;
constexpr int cannotCreate = 73;
constexpr int inputOutput = 74;

const std::string storeText = "velq-store 1\nmessages\t5\t5\ntokens\nab\t1\t2\ncd\t3\t4\nend\n";

std::string rootOf(const Installation &installation)
{
    return installation.programFolder().parent_path().parent_path().string();
}

class Robustness : public testing::Test, protected TestFiles {
  protected:
    std::string corpus(int messages = 60) const
    {
        std::string lines;
        for (int i = 0; i < messages; ++i) {
            lines +=
                (i % 2 == 0 ? "spam\twinner prize claim now " : "ham\tsee you dinner home ") + std::to_string(i) + "\n";
        }
        return file("messages.tsv", lines);
    }
    std::string store(const std::string &name = "store.bin") const
    {
        EXPECT_EQ(velq({"store", "load", "--quiet", file("store.txt", storeText), "-o", path(name)}).status, 0);
        return path(name);
    }
    // The names in the folder, to see that nothing was left behind.
    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for (const auto &entry : fs::directory_iterator(folder_.path())) {
            found.push_back(entry.path().filename().string());
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    // Runs the command while `name`, a new pipe, is read or written by the test.
    std::string pipe(const std::string &name) const
    {
        EXPECT_EQ(mkfifo(path(name).c_str(), 0600), 0);
        return path(name);
    }
};

// ---- Outputs

using outputs = Robustness;

TEST_F(outputs, device_is_written_through_and_stays)
{
    const std::string from = store();
    const std::string device = path("device");
    fs::create_symlink("/dev/null", device);
    EXPECT_EQ(velq({"store", "dump", from, "-o", device}).status, 0);
    EXPECT_TRUE(fs::is_symlink(device));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    expectFailure(velq({"store", "dump", from, "-o", "/dev/full"}), inputOutput, "/dev/full");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(outputs, standard_output_can_be_named)
{
    const CommandResult result = velq({"store", "dump", store(), "-o", "/dev/stdout"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, storeText);
}

TEST_F(outputs, pipe_is_written_through_and_stays)
{
    const std::string from = store();
    const std::string fifo = pipe("fifo");
    std::string read;
    std::thread reader([&] { read = readFile(fifo); });
    const CommandResult result = velq({"store", "dump", from, "-o", fifo});
    if (result.status != 0) { // the reader waits for somebody to write
        close(open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    }
    reader.join();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(read, storeText);
    EXPECT_TRUE(fs::is_fifo(fifo));
}

TEST_F(outputs, database_is_refused_on_a_device_or_a_pipe)
{
    const std::string text = file("s.txt", storeText);
    const std::string fifo = pipe("fifo");
    expectFailure(velq({"store", "load", text, "-o", fifo}), cannotCreate, "give the name of a file");
    expectFailure(velq({"store", "load", text, "-o", "/dev/stdout"}), cannotCreate, "give the name of a file");
    expectFailure(velq({"store", "load", text, "-o", "/dev/null"}), cannotCreate, "give the name of a file");
    expectFailure(velq({"white-update", "build", file("n.csv", "1,a\n"), "-o", fifo}), cannotCreate, "fifo");
    EXPECT_TRUE(fs::is_fifo(fifo));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(outputs, link_is_followed_and_stays)
{
    const std::string from = store();
    file("target.txt", "before");
    fs::create_symlink("target.txt", path("link.txt"));
    fs::create_symlink("missing.bin", path("link.bin"));
    EXPECT_EQ(velq({"store", "dump", from, "-o", path("link.txt")}).status, 0);
    EXPECT_EQ(velq({"store", "load", path("link.txt"), "-o", path("link.bin")}).status, 0);
    EXPECT_TRUE(fs::is_symlink(path("link.txt")));
    EXPECT_TRUE(fs::is_symlink(path("link.bin")));
    EXPECT_EQ(readFile(path("target.txt")), storeText);
    EXPECT_EQ(readFile(path("missing.bin")), readFile(from));
}

TEST_F(outputs, permissions_of_an_existing_file_are_kept)
{
    const std::string from = store();
    for (const char *name : {"a.txt", "a.bin"}) {
        const std::string to = file(name, "before");
        ASSERT_EQ(chmod(to.c_str(), 0640), 0);
        EXPECT_EQ(velq({"store", std::string(name) == "a.txt" ? "dump" : "load",
                        std::string(name) == "a.txt" ? from : path("store.txt"), "-o", to})
                      .status,
                  0);
        EXPECT_NE(readFile(to), "before");
        EXPECT_EQ(fs::status(to).permissions(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    }
}

TEST_F(outputs, folder_is_refused)
{
    expectFailure(velq({"store", "dump", store(), "-o", folder_.path().string()}), cannotCreate,
                  "it is a folder; give a file's name in it");
}

TEST_F(outputs, input_is_never_overwritten)
{
    const std::string messages = corpus();
    const std::string bin = store();
    const std::string text = path("store.txt");
    const std::string csv = file("n.csv", "1,a\n");
    fs::create_hard_link(messages, path("other name.tsv"));
    fs::create_symlink(bin, path("link.bin"));
    const std::vector<std::vector<std::string>> commands = {
        {"store", "build", "--plain", messages, "-o", messages},
        {"store", "build", "--plain", messages, "-o", path("other name.tsv")},
        {"store", "dump", bin, "-o", path("link.bin")},
        {"store", "load", text, "-o", text},
        {"store", "diff", bin, text, "-o", bin},
        {"store", "diff", bin, text, "-o", text},
        {"white-update", "build", csv, "-o", csv},
        {"white-update", "build", csv, "--white-list", bin, "-o", bin},
        {"evaluate", "--plain", "--folds", "2", messages, "--report", messages},
        {"evaluate", "--store", bin, messages, "--report", bin},
        {"evaluate", "--test", text, messages, "--report", text}};
    const auto contents = [&] { return readFile(messages) + readFile(bin) + readFile(text) + readFile(csv); };
    const std::string before = contents();
    for (const std::vector<std::string> &command : commands) {
        expectFailure(velq(command), badUsage, "give another output");
    }
    EXPECT_EQ(contents(), before);
}

TEST_F(outputs, exported_list_is_written_whole_and_never_over_a_data_file)
{
    const Installation installation;
    const std::string data = installation.dataFile("bn.bin").string();
    const std::string before = readFile(data);
    expectFailure(velq({"list", "black", "export", "--install", rootOf(installation), data}), badUsage, "bn.bin");
    EXPECT_EQ(readFile(data), before);
    EXPECT_EQ(velq({"list", "black", "export", "--install", rootOf(installation), path("a.csv")}).status, 0);
    EXPECT_EQ(names(), std::vector<std::string>{"a.csv"});
}

// ---- Inputs

using inputs = Robustness;

TEST_F(inputs, store_in_text_form_is_read_from_a_pipe)
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

TEST_F(inputs, installation_is_laid_out_with_a_store_from_a_pipe)
{
    const CommandResult result = velq({"init", path("new"), "--store", "-"}, storeText);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(
        json::parse(velq({"store", "stats", "--json", path("new/Quenlibra/Tarvolent/data/prob.bin")}).out)["tokens"],
        2);
}

TEST_F(inputs, size_of_a_store_on_a_pipe_is_not_known)
{
    const json statistics = json::parse(velq({"store", "stats", "--json", "-"}, storeText).out);
    EXPECT_TRUE(statistics["fileBytes"].is_null());
    EXPECT_EQ(statistics["tokens"], 2);
}

TEST_F(inputs, database_on_a_pipe_is_refused)
{
    const std::string bytes = readFile(store());
    expectFailure(velq({"store", "stats", "-"}, bytes), noInput, "not read from a pipe");
    expectFailure(velq({"store", "dump", "-"}, bytes), badUsage, "not read from standard input");
    expectFailure(velq({"store", "dump", pipe("fifo")}), noInput, "not read from a pipe");
}

TEST_F(inputs, missing_files_and_folders_are_no_input)
{
    const std::string missing = path("nosuch");
    const std::string folder = folder_.path().string();
    for (const std::vector<std::string> &command : {std::vector<std::string>{"store", "build", "-o", path("x")},
                                                    {"store", "stats"},
                                                    {"store", "verify"},
                                                    {"store", "dump"},
                                                    {"store", "load", "-o", path("x")},
                                                    {"evaluate"},
                                                    {"white-update", "build", "-o", path("x")},
                                                    {"update", "inspect"}}) {
        std::vector<std::string> arguments = command;
        arguments.push_back(missing);
        expectFailure(velq(arguments), noInput, "no such file");
        arguments.back() = folder;
        expectFailure(velq(arguments), noInput, "is a folder");
    }
}

TEST_F(inputs, empty_names_are_refused)
{
    const std::string messages = corpus();
    for (const std::vector<std::string> &command : {std::vector<std::string>{"init", ""},
                                                    {"init", path("d"), "--store", ""},
                                                    {"evaluate", messages, "--test", ""},
                                                    {"evaluate", messages, "--store", ""},
                                                    {"evaluate", messages, "--split", ""},
                                                    {"evaluate", messages, "--report", ""},
                                                    {"versions", "--install", ""},
                                                    {"store", "build", "", "-o", path("x")},
                                                    {"store", "build", messages, "-o", ""},
                                                    {"store", "load", "", "-o", path("x")}}) {
        expectFailure(velq(command), badUsage, "the value is empty");
    }
    EXPECT_EQ(names(), std::vector<std::string>{"messages.tsv"});
}

TEST_F(inputs, empty_message_is_a_message)
{
    const Installation installation;
    EXPECT_EQ(velq({"rate", "--install", rootOf(installation), ""}).out, "ham\t\n");
}

TEST_F(inputs, numbers_that_are_none_are_refused)
{
    const std::string messages = corpus();
    for (const char *number : {"-1", "18446744073709551616", "99999999999999999999999", "1.5", "1e3", "x"}) {
        for (const char *option : {"--seed", "--folds", "--report-errors", "--corrections"}) {
            expectFailure(velq({"evaluate", "--split", "first:20", messages, std::string(option) + "=" + number}),
                          badUsage, option);
        }
        expectFailure(velq({"store", "build", messages, "-o", path("x"), std::string("--seed=") + number}), badUsage,
                      "--seed");
    }
    const Installation installation;
    const std::string root = rootOf(installation);
    for (const char *version : {"-1", "0", "2147483648", "x"}) {
        expectFailure(velq({"update", "--install", root, "--prob", messages, std::string("--prob-version=") + version}),
                      badUsage, "--prob-version");
        expectFailure(
            velq({"update", "--install", root, "--white", messages, std::string("--white-version=") + version}),
            badUsage, "--white-version");
    }
    expectFailure(velq({"list", "black", "remove", "--install", root, "--uid=99999999999"}), badUsage, "--uid");
}

TEST_F(inputs, empty_files_are_named)
{
    const std::string empty = file("empty.tsv", "");
    const Installation installation;
    expectFailure(velq({"store", "build", empty, "-o", path("x")}), badData, "empty.tsv: there is no message");
    expectFailure(velq({"store", "build", "--plain", empty, "-o", path("x")}), badData, "empty.tsv");
    expectFailure(velq({"evaluate", "--plain", "--test", empty, corpus()}), badData,
                  "no messages to test on in " + empty);
    expectFailure(velq({"store", "load", empty, "-o", path("x")}), badData, "empty.tsv is empty");
    expectFailure(velq({"list", "white", "import", "--install", rootOf(installation), empty}), badData,
                  "empty.tsv is empty");
    EXPECT_FALSE(fs::exists(path("x")));
}

TEST_F(inputs, columns_that_are_unknown_or_stand_twice_are_refused)
{
    const Installation installation;
    const std::string root = rootOf(installation);
    const auto refuse = [&](const std::string &csv, bool import, const std::string &part) {
        const std::string from = file("n.csv", csv);
        expectFailure(import ? velq({"list", "black", "import", "--install", root, from})
                             : velq({"white-update", "build", from, "-o", path("x")}),
                      badData, part);
    };
    for (const bool import : {true, false}) {
        refuse("number,nme\n1,a\n", import, "n.csv:1: the column \"nme\" is none of number, name");
        refuse("number,Number\n1,2\n", import, "n.csv:1: the column number stands twice");
        refuse("name\na\n", import, "n.csv:1: ");
        refuse("number,name\n1,a\n2,b,c\n", import, "n.csv:3: 3 fields where the header has 2");
        refuse("number,name\n1\n", import, "n.csv:2: 1 field where the header has 2");
    }
    refuse("1,Alice,extra\n", false, "n.csv:1: more than the two fields");
    EXPECT_FALSE(fs::exists(path("x")));
    EXPECT_EQ(velq({"list", "black", "count", "--install", root}).out, "0\n");
}

TEST_F(inputs, store_with_a_repeated_key_is_not_dumped)
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

TEST_F(inputs, figures_of_a_missing_class_are_null_and_dashes)
{
    const std::string ham = file("ham.tsv", "ham\tsee you at home\nham\tdinner at eight\n");
    const json metrics =
        json::parse(velq({"evaluate", "--store", store(), "--json", ham}).out)["trainingOff"]["metrics"];
    EXPECT_TRUE(metrics["SC"].is_null());
    EXPECT_TRUE(metrics["MCC"].is_null());
    EXPECT_TRUE(metrics["BH"].is_number());
    const std::string text = velq({"evaluate", "--store", store(), ham}).out;
    EXPECT_NE(text.find("SC (recall)                      -               -\n"), std::string::npos) << text;
}

// What an update brings is listed by its first character and makes no sender trusted that has more than that one.
TEST_F(inputs, delivered_numbers_are_listed_by_their_first_character)
{
    const Installation installation;
    const std::string root = rootOf(installation);
    ASSERT_EQ(velq({"white-update", "build", file("n.csv", "+4598765432,Shop\n"), "-o", path("w.db")}).status, 0);
    ASSERT_EQ(velq({"update", "--install", root, "--white", path("w.db"), "--white-version", "2"}).status, 0);
    EXPECT_EQ(velq({"list", "white", "export", "--install", root}).out,
              "number,name,hidden,extendID\r\n+,Shop,1,0\r\n");
    const auto reason = [&](const std::string &number) {
        const CommandResult result = velq({"rate", "--json", "--install", root, "--number", number, "a longer text"});
        return json::parse(result.out).at(0).at("reason").get<std::string>();
    };
    EXPECT_EQ(reason("+4598765432"), "few-tokens");
    EXPECT_EQ(reason("+"), "white-list");
}

// ---- Interruptions

using interruption = Robustness;

// Starts the command with its temporary folders in `scratch`, sends the signal once one is there, and returns the
// status. The run would take much longer than the test waits.
int interrupted(const std::vector<std::string> &arguments, const fs::path &scratch, int signal)
{
    std::vector<std::string> command = {"TMPDIR=" + scratch.string(), VELQ_COMMAND};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const int nothing = openOrThrow("/dev/null", O_RDWR);
    const pid_t child = startProgram("env", command, nothing, nothing, nothing);
    close(nothing);
    constexpr int mostTries = 12'000; // a minute
    for (int tries = 0; tries < mostTries && fs::is_empty(scratch); ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(fs::is_empty(scratch)) << "nothing to leave behind yet";
    kill(child, signal);
    return waitFor(child);
}

TEST_F(interruption, leaves_no_temporary_folder_behind)
{
    fs::create_directory(path("scratch"));
    const std::string many = corpus(20'000);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EQ(interrupted({"evaluate", "--plain", "--quiet", many}, path("scratch"), signal), 128 + signal);
        EXPECT_TRUE(fs::is_empty(path("scratch")));
    }
    EXPECT_EQ(interrupted({"store", "build", "--plain", "--quiet", many, "-o", path("x")}, path("scratch"), SIGTERM),
              128 + SIGTERM);
    EXPECT_TRUE(fs::is_empty(path("scratch")));
    EXPECT_EQ(names(), (std::vector<std::string>{"messages.tsv", "scratch"}));
}

// ---- rate

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

TEST_F(rate_robustness, id_comes_back_as_it_went_in)
{
    for (const char *id : {"123456789012345678901234567890", "-98765432109876543210", "1.50", "18446744073709551615",
                           "-9223372036854775808", "\"a\\\"\u4F60\"", "null", "0"}) {
        const std::string answer = rate({"--json-lines"}, std::string("{\"body\":\"x\",\"id\":") + id + "}\n").out;
        EXPECT_TRUE(answer.starts_with(std::string("{\"id\":") + id + ",\"rating\":\"ham\"")) << answer;
    }
}

TEST_F(rate_robustness, broken_line_is_answered_with_the_id_that_was_read)
{
    for (const char *rest : {"\"body\":\"\\ud800\"}", "\"body\":\"\xFF\"}", "\"body\":\"x\"", "\"body\":}"}) {
        const json answer = json::parse(rate({"--json-lines"}, std::string("{\"id\":\"m7\",") + rest + "\n").out);
        EXPECT_EQ(answer["id"], "m7") << rest;
        EXPECT_TRUE(answer.contains("error")) << rest;
    }
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

// ---- Messages

using messages = Robustness;

TEST_F(messages, name_the_word_that_is_no_command)
{
    expectFailure(velq({"eggs"}), badUsage, "eggs is no command of velq;");
    expectFailure(velq({"mark", "eggs"}), badUsage, "eggs is no command of velq mark;");
    expectFailure(velq({"list", "grey", "show"}), badUsage, "grey is no command of velq list;");
    expectFailure(velq({"store", "bild"}), badUsage, "bild is no command of velq store;");
    expectFailure(velq({"rate", "--inst", "x", "hello"}), badUsage, "--inst is no option of velq rate ");
}

TEST_F(messages, of_list_remove_tell_none_from_two)
{
    const Installation installation;
    const std::string root = rootOf(installation);
    expectFailure(velq({"list", "black", "remove", "--install", root}), badUsage, "nothing to remove by");
    expectFailure(velq({"list", "black", "remove", "--install", root, "1", "--uid", "2"}), badUsage, "only one");
}

TEST_F(messages, are_silenced_in_every_command_that_has_data)
{
    const Installation installation;
    const std::string root = rootOf(installation);
    const std::string bin = store();
    for (const std::vector<std::string> &command : {std::vector<std::string>{"versions", "--install", root},
                                                    {"explain", "--install", root, "text"},
                                                    {"list", "black", "show", "--install", root},
                                                    {"list", "white", "count", "--install", root},
                                                    {"store", "dump", bin},
                                                    {"store", "stats", bin}}) {
        std::vector<std::string> quiet = command;
        quiet.emplace_back("--quiet");
        const CommandResult result = velq(quiet);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, velq(command).out);
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(messages, count_one_thing_as_one)
{
    const Installation installation;
    const std::string csv = file("n.csv", "number\n1\n");
    EXPECT_EQ(velq({"list", "white", "import", "--install", rootOf(installation), csv}).err,
              "velq: 1 of 1 number added to the white list\n");
    EXPECT_NE(velq({"list", "white", "export", "--install", rootOf(installation), path("o.csv")}).err.find("1 number "),
              std::string::npos);
    EXPECT_NE(velq({"white-update", "build", csv, "-o", path("w.db")}).err.find("1 number written"), std::string::npos);
    EXPECT_EQ(velq({"update", "inspect", path("w.db")}).out, "white numbers\t1 row, 1 new, 0 known\n");
}

TEST_F(messages, point_to_no_log_that_is_not_there)
{
    const Installation installation;
    writeFile(installation.dataFile("bn.bin"), std::string(4096, 'x'));
    fs::create_directory(installation.programFolder() / "engine.log"); // takes no line
    const CommandResult result = velq({"list", "black", "count", "--install", rootOf(installation)});
    expectFailure(result, inputOutput, "could not be logged");
    EXPECT_EQ(result.err.find("at the end of"), std::string::npos) << result.err;
}

TEST_F(messages, of_the_command_itself_end_with_examples)
{
    const std::string help = velq({"--help"}).out;
    const std::size_t examples = help.find("\nExamples:\n");
    ASSERT_NE(examples, std::string::npos) << help;
    EXPECT_LE(std::count(help.begin() + static_cast<std::ptrdiff_t>(examples) + 1, help.end(), '\n'), 10);
}

TEST_F(messages, of_an_update_that_cannot_be_merged_point_to_inspect)
{
    Installation installation;
    const std::string list = installation.dataFile("wn.bin").string();
    ASSERT_EQ(velq({"white-update", "build", "--quiet", file("n.csv", "1,a\n"), "-o", path("w.db")}).status, 0);
    const std::vector<std::string> update = {
        "update", "--install", rootOf(installation), "--white", path("w.db"), "--white-version", "3"};
    EXPECT_EQ(velq(update).status, 0);
    const std::string before = readFile(list);
    expectFailure(velq(update), badData, "velq update inspect " + path("w.db"));
    EXPECT_EQ(readFile(list), before);
}

} // namespace
} // namespace velq::test
