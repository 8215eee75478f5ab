// Flushing after a number of messages, on a thread of its own.
#include "kit/serve/log_flusher.h"

#include <exception>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace velq::kit {

// No process has locks on a log, which closing a descriptor of it would end.
void flushFile(const std::string &file) noexcept
{
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fdatasync(descriptor); // where that fails, it does for the one that copies the log back, and is noticed
        ::close(descriptor);
    }
}

LogFlusher::LogFlusher(const std::vector<std::filesystem::path> &files, std::function<void(const std::string &)> flush)
    : flush_(std::move(flush))
{
    for (const std::filesystem::path &file : files) {
        logs_.push_back(file.string() + "-wal");
    }
}

void LogFlusher::messageRated() noexcept
{
    constexpr std::size_t between = 128; // a message changes one to four pages
    if (++rated_ < between) {
        return;
    }
    try {
        const auto flushAll = [this](std::size_t) {
            for (const std::string &log : logs_) {
                flush_(log);
            }
        };
        if (queue_.add(flushAll)) {
            rated_ = 0;
        }
    } catch (const std::exception &) { // out of memory; the next message tries again
    }
}

} // namespace velq::kit
