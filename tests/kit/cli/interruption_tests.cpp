// Signals in the middle of the work.
#include "cli/fixtures.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace velq::test {
namespace {

namespace fs = std::filesystem;

using interruption = Robustness;

// Starts the command with its temporary folders in `scratch`, sends the signal once one is there, and returns the
// status. The run would take much longer than the test waits.
int interrupted(const std::vector<std::string> &arguments, const fs::path &scratch, int signal)
{
    std::vector<std::string> command = {"TMPDIR=" + scratch.string(), velqProgram()};
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
        EXPECT_EQ(interrupted({"evaluate", "--random-folds", "--plain", "--quiet", many}, path("scratch"), signal),
                  128 + signal);
        EXPECT_TRUE(fs::is_empty(path("scratch")));
    }
    EXPECT_EQ(interrupted({"store", "build", "--plain", "--quiet", many, "-o", path("x")}, path("scratch"), SIGTERM),
              128 + SIGTERM);
    EXPECT_TRUE(fs::is_empty(path("scratch")));
    EXPECT_EQ(names(), (std::vector<std::string>{"messages.tsv", "scratch"}));
}

// Both lists, read as the next program would find them.
std::vector<std::string> listsOf(const Installation &installation)
{
    std::vector<std::string> lines = installation.open("bn.bin").dump();
    const std::vector<std::string> white = installation.open("wn.bin").dump();
    lines.insert(lines.end(), white.begin(), white.end());
    return lines;
}

TEST_F(interruption, import_that_is_killed_has_changed_both_lists_or_neither)
{
    std::string csv = "number\n";
    Rows rows;
    for (int i = 0; i < 12'000; ++i) {
        const std::string number = std::to_string(13'000'000'000 + i);
        csv += number + "\n";
        if (i % 4 == 0) {
            rows.push_back({Value::ofText(storedNumber(number))});
        }
    }
    const std::string numbers = file("numbers.csv", csv);
    const Installation installation;
    installation.open("wn.bin").execForEach("INSERT INTO whiteList(number) VALUES(?);", rows);
    const std::vector<std::string> before = listsOf(installation);
    std::size_t endings = 0;
    for (int wait = 0; wait < 50; ++wait) {
        const int nothing = openOrThrow("/dev/null", O_RDWR);
        const pid_t child = startProgram(
            velqProgram(), {"list", "black", "import", "--quiet", "--install", rootOf(installation), numbers}, nothing,
            nothing, nothing);
        close(nothing);
        std::this_thread::sleep_for(std::chrono::milliseconds(6 * wait));
        kill(child, wait % 2 == 0 ? SIGKILL : SIGINT);
        endings += waitFor(child) > 128 ? 1 : 0;
        const std::vector<std::string> after = listsOf(installation);
        if (after != before) {
            ASSERT_EQ(installation.numberRows(NumberList::black).size(), 12'000U);
            ASSERT_TRUE(installation.numberRows(NumberList::white).empty());
            return;
        }
    }
    EXPECT_GT(endings, 0U);
}

} // namespace
} // namespace velq::test
