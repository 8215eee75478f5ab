// Whether a database still holds what was read of it, told without a transaction: what is read again for each message
// can then be kept in memory.
#ifndef VELQ_KIT_BASE_FILE_WATCH_H
#define VELQ_KIT_BASE_FILE_WATCH_H

#include "kit/base/database.h"

#include <array>
#include <cstdint>
#include <optional>

namespace velq::kit {

// What every commit to a file changes, whoever commits: the start of its first page, or of the index of its write-ahead
// log, which has the checksum of all that was written.
struct FileState {
    std::array<unsigned char, 48> bytes{};
    std::uint32_t commits = 0; // counted; runs over

    friend bool operator==(const FileState &, const FileState &) = default;
};

// Of a connection that outlives it, for the thread that uses that.
class FileWatch {
  public:
    explicit FileWatch(Database &database) : database_(database) {}

    // How the file stands. None where only a transaction tells: before `follow`, while another program writes a file
    // with a rollback journal, and where the system has no such means.
    std::optional<FileState> state();

    // To be called within a transaction that has read: only there it is known where commits go.
    void follow();

  private:
    enum class Mode : std::uint8_t { unknown, rollback, writeAhead };

    Database &database_;
    Mode mode_ = Mode::unknown;
};

} // namespace velq::kit

#endif
