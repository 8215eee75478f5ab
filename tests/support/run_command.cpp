// Child processes, their streams and their ends.
#include "support/run_command.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace velq::test {

std::string velqProgram()
{
    return VELQ_COMMAND;
}

int openOrThrow(const std::filesystem::path &file, int flags)
{
    const int descriptor = open(file.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        throw std::runtime_error("cannot open " + file.string());
    }
    return descriptor;
}

pid_t startProgram(const std::string &program, const std::vector<std::string> &arguments, int in, int out, int err)
{
    std::vector<char *> argv{const_cast<char *>(program.c_str())};
    for (const std::string &argument : arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO);
    pid_t child = 0;
    const int code = posix_spawnp(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (code != 0) {
        throw std::runtime_error("cannot start " + program + ": " + std::strerror(code));
    }
    return child;
}

int waitFor(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::runtime_error("waitpid failed");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

CommandResult runProgram(const std::string &program, const std::vector<std::string> &arguments,
                         const std::string &input, const std::filesystem::path &outFile)
{
    const TemporaryFolder folder;
    const std::filesystem::path outPath = outFile.empty() ? folder.path() / "out" : outFile;
    writeFile(folder.path() / "in", input);
    const int in = openOrThrow(folder.path() / "in", O_RDONLY);
    const int out = openOrThrow(outPath, O_WRONLY | O_CREAT);
    const int err = openOrThrow(folder.path() / "err", O_WRONLY | O_CREAT);
    const pid_t child = startProgram(program, arguments, in, out, err);
    close(in);
    close(out);
    close(err);
    CommandResult result;
    result.status = waitFor(child);
    result.out = outFile.empty() ? readFile(outPath) : std::string();
    result.err = readFile(folder.path() / "err");
    return result;
}

CommandResult velq(const std::vector<std::string> &arguments, const std::string &input,
                   const std::filesystem::path &outFile)
{
    return runProgram(velqProgram(), arguments, input, outFile);
}

void expectFailure(const CommandResult &result, int status, const std::string &part)
{
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.err.rfind("velq: ", 0), 0U) << result.err;
    EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
}

Conversation::Conversation(const std::vector<std::string> &arguments)
{
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
    toChild_ = in[1];
    fromChild_ = out[0];
    child_ = startProgram(velqProgram(), arguments, in[0], out[1], STDERR_FILENO);
    close(in[0]);
    close(out[1]);
}

Conversation::~Conversation()
{
    if (child_ != 0) {
        kill(child_, SIGKILL);
        finish();
    }
}

void Conversation::say(const std::string &line)
{
    const std::string bytes = line + "\n";
    if (write(toChild_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the command does not read");
    }
}

std::string Conversation::hear()
{
    constexpr int milliseconds = 60'000;
    while (heard_.find('\n') == std::string::npos) {
        pollfd waiting{fromChild_, POLLIN, 0};
        char piece[4096];
        const ssize_t length =
            poll(&waiting, 1, milliseconds) == 1 ? read(fromChild_, piece, sizeof piece) : ssize_t{0};
        if (length <= 0) {
            return {};
        }
        heard_.append(piece, static_cast<std::size_t>(length));
    }
    const std::string line = heard_.substr(0, heard_.find('\n'));
    heard_.erase(0, line.size() + 1);
    return line;
}

int Conversation::finish()
{
    close(toChild_);
    close(fromChild_);
    const int status = waitFor(child_);
    child_ = 0;
    return status;
}

} // namespace velq::test
