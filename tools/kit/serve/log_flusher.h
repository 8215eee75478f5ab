// Logs of files in write-ahead mode, brought to the disk before somebody waits for that.
#ifndef VELQ_KIT_SERVE_LOG_FLUSHER_H
#define VELQ_KIT_SERVE_LOG_FLUSHER_H

#include "kit/serve/work_queue.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace velq::kit {

// Brings what has been written to a file to the disk. Does nothing where there is no such file.
void flushFile(const std::string &file) noexcept;

// A connection that commits copies the log back once that has a thousand pages, and waits until all of the log is on
// the disk first. A thread that flushes the log now and then leaves it little to wait for. It leaves copying back to
// that connection: SQLite 3.40 has no lock between a second one that copies and the first when it begins the log anew.
class LogFlusher {
  public:
    // Of databases; one with a rollback journal has no log. `flush` does not throw.
    explicit LogFlusher(const std::vector<std::filesystem::path> &files,
                        std::function<void(const std::string &)> flush = flushFile);

    // A message has been rated, and may have been written to the files. To be called by one thread at a time.
    void messageRated() noexcept;

  private:
    std::vector<std::string> logs_;
    std::function<void(const std::string &)> flush_;
    std::size_t rated_ = 0; // since the logs were flushed last
    WorkQueue queue_{1};
};

} // namespace velq::kit

#endif
