// Inputs and values that are missing, empty, folders or no numbers.
#include "cli/fixtures.h"

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using inputs = Robustness;

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
        refuse("number,Number\n1,2\n", import, "n.csv:1: the column number stands twice");
        refuse("name\na\n", import, "n.csv:1: ");
        refuse("number,name\n1,a\n2,b,c\n", import, "n.csv:3: 3 fields where the header has 2");
        refuse("number,name\n1\n", import, "n.csv:2: 1 field where the header has 2");
    }
    refuse("number,nme\n1,a\n", false, "n.csv:1: the column \"nme\" is not one of number, name");
    refuse("1,Alice,extra\n", false, "n.csv:1: more than the two fields");
    EXPECT_FALSE(fs::exists(path("x")));
    EXPECT_EQ(velq({"list", "black", "count", "--install", root}).out, "0\n");
}

} // namespace
} // namespace velq::test
