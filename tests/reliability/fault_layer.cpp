// One plan, one counter. The tests that use it run one thread.
#include "fault_layer.h"

#include "layered_file.h"
#include "platform/platform.h"

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sqlite3.h>
#include <unistd.h>

namespace velq::reliability {

namespace {

struct Plan {
    bool isArmed = false;
    Fault fault = Fault::write;
    long call = 0;
    Duration duration = Duration::once;
    long seen = 0;
    bool happened = false;
};

Plan plan;

// Counts a call of the fault's kind; whether it is to fail.
bool fails(Fault fault)
{
    if (!plan.isArmed || plan.fault != fault) {
        return false;
    }
    ++plan.seen;
    const bool now = plan.duration == Duration::once ? plan.seen == plan.call : plan.seen >= plan.call;
    plan.happened = plan.happened || now;
    return now;
}

[[noreturn]] void die()
{
    std::raise(SIGKILL);
    std::abort();
}

// ---- Files

sqlite3_vfs *base;

struct LayeredFile {
    sqlite3_file file;
};

using Passed = PassedOn<LayeredFile>;

// Counts twice for the kill: once before the call and once after it.
template <typename Call>
int withKill(Call call)
{
    if (fails(Fault::kill)) {
        die();
    }
    const int code = call();
    if (fails(Fault::kill)) {
        die();
    }
    return code;
}

int closeFile(sqlite3_file *file)
{
    return withKill([file] { return Passed::close(file); });
}

int readFile(sqlite3_file *file, void *bytes, int count, sqlite3_int64 offset)
{
    if (fails(Fault::read)) {
        return SQLITE_IOERR_READ;
    }
    if (fails(Fault::cutRead)) {
        Passed::read(file, bytes, count / 2, offset);
        return SQLITE_IOERR_READ;
    }
    return Passed::read(file, bytes, count, offset);
}

int writeFile(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 offset)
{
    const auto write = [&](int bytesToWrite) { return Passed::write(file, bytes, bytesToWrite, offset); };
    if (fails(Fault::write)) {
        return SQLITE_IOERR_WRITE;
    }
    if (fails(Fault::cutWrite)) {
        write(count / 2);
        return SQLITE_IOERR_WRITE;
    }
    if (fails(Fault::diskFull)) {
        return SQLITE_FULL;
    }
    if (fails(Fault::kill)) {
        write(count / 2);
        die();
    }
    return withKill([&write, count] { return write(count); });
}

int truncateFile(sqlite3_file *file, sqlite3_int64 size)
{
    if (fails(Fault::truncate)) {
        return SQLITE_IOERR_TRUNCATE;
    }
    return withKill([file, size] { return Passed::truncate(file, size); });
}

int syncFile(sqlite3_file *file, int flags)
{
    if (fails(Fault::sync)) {
        return SQLITE_IOERR_FSYNC;
    }
    return withKill([file, flags] { return Passed::sync(file, flags); });
}

int lockFile(sqlite3_file *file, int level)
{
    if (fails(Fault::lockBusy)) {
        return SQLITE_BUSY;
    }
    if (fails(Fault::lockError)) {
        return SQLITE_IOERR_LOCK;
    }
    return withKill([file, level] { return Passed::lock(file, level); });
}

int unlockFile(sqlite3_file *file, int level)
{
    return withKill([file, level] { return Passed::unlock(file, level); });
}

int mapShared(sqlite3_file *file, int region, int size, int isExtending, void volatile **memory)
{
    if (fails(Fault::open)) {
        *memory = nullptr;
        return SQLITE_IOERR_SHMOPEN;
    }
    return withKill([&] { return Passed::mapShared(file, region, size, isExtending, memory); });
}

int lockShared(sqlite3_file *file, int offset, int count, int flags)
{
    if ((flags & SQLITE_SHM_LOCK) != 0 && fails(Fault::lockBusy)) {
        return SQLITE_BUSY;
    }
    if ((flags & SQLITE_SHM_LOCK) != 0 && fails(Fault::lockError)) {
        return SQLITE_IOERR_SHMLOCK;
    }
    return withKill([&] { return Passed::lockShared(file, offset, count, flags); });
}

int unmapShared(sqlite3_file *file, int isRemoving)
{
    return withKill([file, isRemoving] { return Passed::unmapShared(file, isRemoving); });
}

constexpr sqlite3_io_methods methods = [] {
    sqlite3_io_methods taken = Passed::methods;
    taken.xClose = closeFile;
    taken.xRead = readFile;
    taken.xWrite = writeFile;
    taken.xTruncate = truncateFile;
    taken.xSync = syncFile;
    taken.xLock = lockFile;
    taken.xUnlock = unlockFile;
    taken.xShmMap = mapShared;
    taken.xShmLock = lockShared;
    taken.xShmUnmap = unmapShared;
    return taken;
}();

int openFile(sqlite3_vfs *, const char *path, sqlite3_file *file, int flags, int *flagsGiven)
{
    file->pMethods = nullptr;
    if (fails(Fault::open)) {
        return SQLITE_CANTOPEN;
    }
    const int code = withKill([&] { return base->xOpen(base, path, Passed::under(file), flags, flagsGiven); });
    if (code == SQLITE_OK) {
        file->pMethods = &methods;
    }
    return code;
}

int removeFile(sqlite3_vfs *, const char *path, int syncFolder)
{
    if (fails(Fault::remove)) {
        return SQLITE_IOERR_DELETE;
    }
    return withKill([path, syncFolder] { return base->xDelete(base, path, syncFolder); });
}

// ---- Memory

sqlite3_mem_methods baseMemory;

void *allocateForDatabase(int size)
{
    return fails(Fault::databaseMemory) ? nullptr : baseMemory.xMalloc(size);
}

void *reallocateForDatabase(void *memory, int size)
{
    return fails(Fault::databaseMemory) ? nullptr : baseMemory.xRealloc(memory, size);
}

void *allocateForEngine(std::size_t size) noexcept
{
    return fails(Fault::engineMemory) ? nullptr : systemPlatformCalls().allocate(size);
}

void skipSleep(std::uint32_t) noexcept {}

int skipDatabaseSleep(sqlite3_vfs *, int microseconds)
{
    return microseconds;
}

// Before main, since SQLite takes a configuration only before it is first used.
const bool isInstalled = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &baseMemory);
    sqlite3_mem_methods memory = baseMemory;
    memory.xMalloc = allocateForDatabase;
    memory.xRealloc = reallocateForDatabase;
    if (sqlite3_config(SQLITE_CONFIG_MALLOC, &memory) != SQLITE_OK) {
        std::abort();
    }
    base = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs layer = *base;
    layer.zName = "faults";
    layer.szOsFile = static_cast<int>(sizeof(LayeredFile)) + base->szOsFile;
    layer.xOpen = openFile;
    layer.xDelete = removeFile;
    layer.xSleep = skipDatabaseSleep; // the waits of SQLite's own
    if (sqlite3_vfs_register(&layer, 1) != SQLITE_OK) {
        std::abort();
    }
    return true;
}();

} // namespace

const char *nameOf(Fault fault)
{
    constexpr const char *names[] = {"write",    "cutWrite",       "diskFull",     "sync",    "open",
                                     "lockBusy", "lockError",      "read",         "cutRead", "truncate",
                                     "remove",   "databaseMemory", "engineMemory", "kill"};
    return names[static_cast<std::size_t>(fault)];
}

void arm(Fault fault, long call, Duration duration)
{
    plan = {isInstalled, fault, call, duration, 0, false};
}

bool disarm()
{
    plan.isArmed = false;
    return plan.happened;
}

void replacePlatformCalls()
{
    platformCalls.allocate = allocateForEngine;
    platformCalls.sleepMilliseconds = skipSleep;
}

} // namespace velq::reliability
