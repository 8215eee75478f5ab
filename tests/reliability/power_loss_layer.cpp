// What has reached the disk is kept in memory, beside the files that the process sees.
#include "power_loss_layer.h"

#include "layered_file.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace velq::reliability {

namespace {

constexpr std::size_t sectorSize = 512;

// A write, or the cutting or growing to a size.
struct PendingWrite {
    bool isWrite;
    std::size_t at; // or the size
    std::string bytes;
};

struct FileOnDisk {
    bool exists = false;
    std::string content;
    std::vector<PendingWrite> pending;  // since the last sync
    bool isNew = false;                 // made, and
    bool isRemoved = false;             // removed, since its folder was synced
    std::optional<std::string> removed; // a file of the same name before a new one
};

struct Plan {
    bool isMade = false;
    long call = 0;
    Loss loss = Loss::all;
    std::mt19937 random{0};
    long seen = 0;
    std::map<std::string, FileOnDisk> disk;
};

Plan plan;

std::string readWhole(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void put(std::string &content, std::size_t at, std::string_view bytes)
{
    content.resize(std::max(content.size(), at + bytes.size()), '\0');
    content.replace(at, bytes.size(), bytes);
}

void put(std::string &content, const PendingWrite &change)
{
    if (change.isWrite) {
        put(content, change.at, change.bytes);
    } else {
        content.resize(change.at, '\0');
    }
}

bool chance()
{
    return plan.random() % 2 == 0;
}

void putSome(std::string &content, const PendingWrite &change)
{
    if (!change.isWrite || chance()) {
        if (chance()) {
            put(content, change);
        }
        return;
    }
    for (std::size_t from = 0; from < change.bytes.size();) {
        const std::size_t end = std::min(change.bytes.size(), from + sectorSize - (change.at + from) % sectorSize);
        if (chance()) {
            put(content, change.at + from, std::string_view(change.bytes).substr(from, end - from));
        }
        from = end;
    }
}

void settle(FileOnDisk &file)
{
    const std::size_t kept = plan.loss == Loss::allAfter ? plan.random() % (file.pending.size() + 1) : 0;
    for (std::size_t i = 0; i < file.pending.size(); ++i) {
        if (plan.loss == Loss::some) {
            putSome(file.content, file.pending[i]);
        } else if (i < kept) {
            put(file.content, file.pending[i]);
        }
    }
    if (file.isRemoved) {
        file.exists = file.exists && chance();
    } else if (file.isNew && file.removed && chance()) {
        file.exists = true;
        file.content = *file.removed;
    } else if (file.isNew) {
        file.exists = plan.loss != Loss::all && chance();
    }
}

[[noreturn]] void losePower()
{
    for (auto &[path, file] : plan.disk) {
        settle(file);
        if (file.exists) {
            std::ofstream(path, std::ios::binary | std::ios::trunc) << file.content;
        } else {
            unlink(path.c_str());
        }
        // Shared memory is no content of the disk.
        const std::string shared = path + "-shm";
        if (access(shared.c_str(), F_OK) == 0) {
            std::ofstream(shared, std::ios::binary | std::ios::trunc) << std::string(chance() ? 0 : 32768, 'x');
        }
    }
    std::raise(SIGKILL);
    std::abort();
}

// Before each call that changes a file.
void countChange()
{
    if (plan.isMade && ++plan.seen == plan.call) {
        losePower();
    }
}

// ---- Files

sqlite3_vfs *base;

struct LayeredFile {
    sqlite3_file file;
    FileOnDisk *onDisk; // null for a file that is not followed
};

LayeredFile *layered(sqlite3_file *file)
{
    return reinterpret_cast<LayeredFile *>(file);
}

using Passed = PassedOn<LayeredFile>;

int writeFile(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 offset)
{
    countChange();
    if (FileOnDisk *onDisk = layered(file)->onDisk) {
        onDisk->pending.push_back({true, static_cast<std::size_t>(offset),
                                   std::string(static_cast<const char *>(bytes), static_cast<std::size_t>(count))});
    }
    return Passed::write(file, bytes, count, offset);
}

int truncateFile(sqlite3_file *file, sqlite3_int64 size)
{
    countChange();
    if (FileOnDisk *onDisk = layered(file)->onDisk) {
        onDisk->pending.push_back({false, static_cast<std::size_t>(size), {}});
    }
    return Passed::truncate(file, size);
}

// All files lie in one folder.
void syncFolder()
{
    for (auto &[path, file] : plan.disk) {
        file.removed.reset();
        if (file.isRemoved) {
            file = FileOnDisk{};
        }
    }
}

int syncFile(sqlite3_file *file, int)
{
    countChange();
    if (FileOnDisk *onDisk = layered(file)->onDisk) {
        for (const PendingWrite &change : onDisk->pending) {
            put(onDisk->content, change);
        }
        onDisk->pending.clear();
        if (onDisk->isNew) { // the first sync of a new file is also one of its folder
            onDisk->exists = true;
            onDisk->isNew = false;
            syncFolder();
        }
    }
    return SQLITE_OK; // what is tested does not wait for a disk
}

constexpr sqlite3_io_methods methods = [] {
    sqlite3_io_methods taken = Passed::methods;
    taken.xWrite = writeFile;
    taken.xTruncate = truncateFile;
    taken.xSync = syncFile;
    return taken;
}();

FileOnDisk *follow(const std::string &path, bool existed)
{
    const auto [entry, isNew] = plan.disk.try_emplace(path);
    FileOnDisk &file = entry->second;
    if (isNew && existed) {
        file.exists = true;
        file.content = readWhole(path);
    } else if (!existed) {
        std::optional<std::string> removed = file.exists ? std::move(file.content) : std::move(file.removed);
        file = FileOnDisk{};
        file.isNew = true;
        file.removed = std::move(removed);
    }
    return &file;
}

int openFile(sqlite3_vfs *, const char *path, sqlite3_file *file, int flags, int *flagsGiven)
{
    file->pMethods = nullptr;
    layered(file)->onDisk = nullptr;
    const bool existed = path != nullptr && access(path, F_OK) == 0;
    const int code = base->xOpen(base, path, Passed::under(file), flags, flagsGiven);
    if (code == SQLITE_OK) {
        file->pMethods = &methods;
        if (plan.isMade && path != nullptr) {
            layered(file)->onDisk = follow(path, existed);
        }
    }
    return code;
}

int removeFile(sqlite3_vfs *, const char *path, int withFolder)
{
    countChange();
    const auto file = plan.disk.find(path);
    if (file != plan.disk.end()) {
        file->second.isRemoved = true;
    }
    if (withFolder != 0) {
        syncFolder();
    }
    return base->xDelete(base, path, 0);
}

[[maybe_unused]] const bool isInstalled = [] {
    base = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs layer = *base;
    layer.zName = "power-loss";
    layer.szOsFile = static_cast<int>(sizeof(LayeredFile)) + base->szOsFile;
    layer.xOpen = openFile;
    layer.xDelete = removeFile;
    if (sqlite3_vfs_register(&layer, 1) != SQLITE_OK) {
        std::abort();
    }
    return true;
}();

} // namespace

long changesSeen()
{
    return plan.seen;
}

void planPowerLoss(long call, Loss loss, unsigned seed)
{
    plan = Plan{true, call, loss, std::mt19937(seed), 0, {}};
}

} // namespace velq::reliability
