// What holds for all commands: wrong command lines, missing installations, messages and failures.
#include "cli/fixtures.h"
#include "velq.h"

#include <algorithm>

namespace velq::test {
namespace {

namespace fs = std::filesystem;

using messages = Robustness;

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
    EXPECT_EQ(result.out, "velq " + std::to_string(VELQ_VERSION_MAJOR) + "." + std::to_string(VELQ_VERSION_MINOR) +
                              "." + std::to_string(VELQ_VERSION_PATCH) + "\n");
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

TEST_F(messages, name_the_word_that_is_no_command)
{
    expectFailure(velq({"eggs"}), badUsage, "eggs is not a command of velq;");
    expectFailure(velq({"mark", "eggs"}), badUsage, "eggs is not a command of velq mark;");
    expectFailure(velq({"list", "grey", "show"}), badUsage, "grey is not a command of velq list;");
    expectFailure(velq({"store", "bild"}), badUsage, "bild is not a command of velq store;");
    expectFailure(velq({"rate", "--inst", "x", "hello"}), badUsage, "--inst is not an option of velq rate ");
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

} // namespace
} // namespace velq::test
