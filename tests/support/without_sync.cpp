// A default VFS that hands everything on to the system's and answers sync requests itself.
#include "support/without_sync.h"

#include <map>
#include <mutex>
#include <sqlite3.h>
#include <stdexcept>

namespace velq::test {

namespace {

sqlite3_vfs *systemVfs = nullptr;

int skipSync(sqlite3_file *, int)
{
    return SQLITE_OK;
}

// The file's own methods but for the sync.
const sqlite3_io_methods *methodsWithoutSync(const sqlite3_io_methods *methods)
{
    static std::mutex mutex;
    static std::map<const sqlite3_io_methods *, sqlite3_io_methods> known;
    const std::lock_guard lock(mutex);
    const auto [entry, isNew] = known.try_emplace(methods, *methods);
    if (isNew) {
        entry->second.xSync = skipSync;
    }
    return &entry->second;
}

int openFile(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *flagsOut)
{
    const int code = systemVfs->xOpen(systemVfs, name, file, flags, flagsOut);
    if (code == SQLITE_OK && file->pMethods != nullptr) {
        file->pMethods = methodsWithoutSync(file->pMethods);
    }
    return code;
}

int deleteFile(sqlite3_vfs *, const char *name, int)
{
    return systemVfs->xDelete(systemVfs, name, 0);
}

bool install()
{
    sqlite3_initialize();
    systemVfs = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs vfs = *systemVfs;
    vfs.pNext = nullptr;
    vfs.zName = "without-sync";
    vfs.xOpen = openFile;
    vfs.xDelete = deleteFile;
    if (sqlite3_vfs_register(&vfs, 1) != SQLITE_OK) {
        throw std::runtime_error("registering the VFS without sync");
    }
    return true;
}

} // namespace

void disableDatabaseSync()
{
    [[maybe_unused]] static const bool installed = install();
}

} // namespace velq::test
