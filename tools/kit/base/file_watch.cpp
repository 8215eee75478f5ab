// The format of SQLite's files and of the index of its logs, over SQLite's own handle of the file: another descriptor,
// when it is closed, would end the locks that this process has on the file.
#include "kit/base/file_watch.h"

#include <algorithm>
#include <atomic>
#include <sqlite3.h>

namespace velq::kit {

namespace {

// Of the first page: the version of its format, and the count of changes with what follows it.
constexpr int pageStart = 16;
constexpr std::size_t pageBytes = 24;
constexpr std::size_t versionAt = 18 - pageStart;
constexpr std::size_t changesAt = 24 - pageStart;

// The index of a log begins with its header, twice.
constexpr int indexRegion = 32768;
constexpr std::size_t headerBytes = 48;
constexpr std::size_t headerChangesAt = 8;
constexpr std::size_t headerReadyAt = 12;
constexpr std::uint32_t indexVersion = 3007000;

using Header = std::array<unsigned char, headerBytes>;

// Written by other programs meanwhile.
Header copied(const volatile unsigned char *from)
{
    Header header{};
    std::copy_n(from, header.size(), header.begin());
    return header;
}

std::uint32_t nativeWord(const Header &header, std::size_t at)
{
    std::uint32_t word = 0;
    std::copy_n(header.begin() + static_cast<std::ptrdiff_t>(at), sizeof word,
                reinterpret_cast<unsigned char *>(&word));
    return word;
}

sqlite3_file *fileOf(sqlite3 *connection)
{
    sqlite3_file *file = nullptr;
    const bool known = sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK;
    return known && file != nullptr && file->pMethods != nullptr ? file : nullptr;
}

// A writer has the reserved lock from its start until all is on the disk or taken back.
std::optional<FileState> firstPageOf(sqlite3_file &file)
{
    int isReserved = 1;
    FileState state;
    if (file.pMethods->xCheckReservedLock(&file, &isReserved) != SQLITE_OK || isReserved != 0 ||
        file.pMethods->xRead(&file, state.bytes.data(), pageBytes, pageStart) != SQLITE_OK ||
        state.bytes.at(versionAt) != 1) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < sizeof state.commits; ++i) {
        state.commits = state.commits << 8 | state.bytes.at(changesAt + i);
    }
    return state;
}

// A writer changes the second copy before the first.
std::optional<FileState> logIndexOf(sqlite3_file &file)
{
    volatile void *region = nullptr;
    constexpr int withShm = 2;
    if (file.pMethods->iVersion < withShm || file.pMethods->xShmMap == nullptr ||
        file.pMethods->xShmMap(&file, 0, indexRegion, 0, &region) != SQLITE_OK || region == nullptr) {
        return std::nullopt;
    }
    const auto *bytes = static_cast<const volatile unsigned char *>(region);
    FileState state;
    state.bytes = copied(bytes);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    if (copied(bytes + headerBytes) != state.bytes || nativeWord(state.bytes, 0) != indexVersion ||
        state.bytes.at(headerReadyAt) == 0) {
        return std::nullopt;
    }
    state.commits = nativeWord(state.bytes, headerChangesAt);
    return state;
}

} // namespace

std::optional<FileState> FileWatch::state()
{
    sqlite3_file *file = mode_ == Mode::unknown ? nullptr : fileOf(database_.handle());
    if (file == nullptr) {
        return std::nullopt;
    }
    return mode_ == Mode::writeAhead ? logIndexOf(*file) : firstPageOf(*file);
}

// A connection that has read a file in write-ahead mode keeps it in that mode.
void FileWatch::follow()
{
    if (mode_ == Mode::writeAhead) {
        return;
    }
    Query query(database_, "PRAGMA journal_mode;");
    const std::string_view name = query.step() ? query.text(0) : std::string_view();
    if (name == journalName(Journal::writeAhead)) {
        mode_ = Mode::writeAhead;
    } else {
        mode_ = name == journalName(Journal::rollback) ? Mode::rollback : Mode::unknown;
    }
}

} // namespace velq::kit
