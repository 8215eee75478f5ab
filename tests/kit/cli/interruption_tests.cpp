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

} // namespace
} // namespace velq::test
