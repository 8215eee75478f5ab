// Runs the velq command as a child process: whole runs with what they print, and a run that is talked to line by line.
// What cannot be started, opened or written throws std::runtime_error.
#ifndef VELQ_TESTS_SUPPORT_RUN_COMMAND_H
#define VELQ_TESTS_SUPPORT_RUN_COMMAND_H

#include "support/temporary_folder.h"

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace velq::test {

struct CommandResult {
    int status = -1; // the exit status, or 128 and the signal's number
    std::string out;
    std::string err;
};

// The files of one test, in a folder of their own.
class TestFiles {
  protected:
    std::string path(const std::string &name) const
    {
        return (folder_.path() / name).string();
    }
    std::string file(const std::string &name, const std::string &content) const
    {
        writeFile(folder_.path() / name, content);
        return path(name);
    }

    TemporaryFolder folder_;
};

// The built velq, for tests that start it through another program.
std::string velqProgram();

// A descriptor that child processes do not inherit; the caller closes it.
int openOrThrow(const std::filesystem::path &file, int flags);

// Starts the program with its three streams on the given descriptors. The child is to be waited for.
pid_t startProgram(const std::string &program, const std::vector<std::string> &arguments, int in, int out, int err);

// The exit status, or 128 and the signal's number.
int waitFor(pid_t child);

// Standard output goes to `outFile` where one is given.
CommandResult runProgram(const std::string &program, const std::vector<std::string> &arguments,
                         const std::string &input = {}, const std::filesystem::path &outFile = {});
CommandResult velq(const std::vector<std::string> &arguments, const std::string &input = {},
                   const std::filesystem::path &outFile = {});

// Fails the test unless the command ended with that status and one line on standard error that holds `part`.
void expectFailure(const CommandResult &result, int status, const std::string &part);

// A run that stays open: lines go in, lines come out.
class Conversation {
  public:
    explicit Conversation(const std::vector<std::string> &arguments);
    // Kills the command unless it was finished.
    ~Conversation();
    Conversation(const Conversation &) = delete;
    Conversation &operator=(const Conversation &) = delete;

    void say(const std::string &line);
    // The next line; empty when none comes within a minute.
    std::string hear();
    // Ends the input and returns the exit status.
    int finish();

  private:
    pid_t child_ = 0;
    int toChild_ = -1;
    int fromChild_ = -1;
    std::string heard_;
};

} // namespace velq::test

#endif
