// The child answers through a pipe: one letter, then its result, or the exit status as one byte and the message.
#include "kit/base/child_process.h"

#include "kit/base/status.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace velq::kit {

namespace {

constexpr char workDone = 'd';
constexpr char workFailed = 'f';

[[noreturn]] void failToStart(const char *what)
{
    throw Error(Status::internal, std::string("cannot start a process: ") + what + ": " + std::strerror(errno));
}

bool writeAll(int file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

std::string readAll(int file)
{
    std::string bytes;
    char buffer[1 << 16];
    for (ssize_t got = 1; got != 0;) {
        got = ::read(file, buffer, sizeof buffer);
        if (got < 0 && errno != EINTR) {
            break;
        }
        bytes.append(buffer, got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    return bytes;
}

std::string failure(Status status, const char *message)
{
    return std::string{workFailed, static_cast<char>(status)} + message;
}

[[noreturn]] void runChild(int out, const std::function<std::string()> &work)
{
    std::string answer;
    try {
        answer = workDone + work();
    } catch (const Error &error) {
        answer = failure(error.status(), error.what());
    } catch (const std::exception &error) {
        answer = failure(Status::internal, error.what());
    }
    const bool sent = writeAll(out, answer);
    ::_exit(sent ? 0 : 1); // the parent's buffers and folders are not the child's to flush and remove
}

} // namespace

std::string inChildProcess(const std::function<std::string()> &work)
{
    int ends[2];
    if (::pipe(ends) != 0) {
        failToStart("pipe");
    }
    const pid_t child = ::fork();
    if (child < 0) {
        const int reason = errno;
        ::close(ends[0]);
        ::close(ends[1]);
        errno = reason;
        failToStart("fork");
    }
    if (child == 0) {
        ::close(ends[0]);
        runChild(ends[1], work);
    }
    ::close(ends[1]);
    const std::string answer = readAll(ends[0]);
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (answer.starts_with(workDone) && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return answer.substr(1);
    }
    if (answer.size() > 2 && answer[0] == workFailed) {
        throw Error(static_cast<Status>(answer[1]), answer.substr(2));
    }
    throw Error(Status::internal, "a process started for a part of the work ended early; please report this");
}

} // namespace velq::kit
