// A file of this layer is a record of its own, followed by the base layer's. Every call goes through to that one.
#include "VELQ_DSH_File_Layer.h"

#include "VELQ_DSH_Schema.h"

namespace {

struct alignas(8) LayerFile {
    sqlite3_file file;
    bool isOnlyRead;
    LayerFile *main; // of the same database; null when it is not known
    Bounds bounds;   // of a main file
};

// The base layer's file.
sqlite3_file *under(sqlite3_file *file) noexcept
{
    return reinterpret_cast<sqlite3_file *>(reinterpret_cast<LayerFile *>(file) + 1);
}

LayerFile *layerFile(sqlite3_file *file) noexcept
{
    return reinterpret_cast<LayerFile *>(file);
}

int closeFile(sqlite3_file *file) noexcept
{
    LayerFile *closed = layerFile(file);
    if (closed->main == closed) {
        for (auto &calculations : closed->bounds.calculations) {
            for (sqlite3_stmt *calculation : calculations) {
                sqlite3_finalize(calculation);
            }
        }
        sqlite3_close(closed->bounds.calculator);
    } else if (closed->main != nullptr && closed->main->bounds.log == file) {
        closed->main->bounds.log = nullptr;
    }
    const int code = under(file)->pMethods->xClose(under(file));
    file->pMethods = nullptr;
    return code;
}

int readFile(sqlite3_file *file, void *bytes, int count, sqlite3_int64 offset) noexcept
{
    const int code = under(file)->pMethods->xRead(under(file), bytes, count, offset);
    LayerFile *main = layerFile(file);
    if (offset == 0 && main->main == main && !main->bounds.isSchemaKnown) {
        main->bounds.isPlain = code == SQLITE_OK && isPlainFirstPage(bytes, static_cast<std::size_t>(count));
    }
    return code;
}

// Whether the file may have `end` bytes.
bool isWithinBounds(sqlite3_file *file, sqlite3_int64 end) noexcept
{
    LayerFile *main = layerFile(file)->main;
    return main == nullptr || main->bounds.connection == nullptr || mayGrow(main->bounds, main == layerFile(file), end);
}

int writeFile(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 offset) noexcept
{
    if (layerFile(file)->isOnlyRead) {
        return SQLITE_READONLY;
    }
    if (!isWithinBounds(file, offset + count)) {
        return SQLITE_FULL;
    }
    return under(file)->pMethods->xWrite(under(file), bytes, count, offset);
}

int truncateFile(sqlite3_file *file, sqlite3_int64 size) noexcept
{
    if (layerFile(file)->isOnlyRead) {
        return SQLITE_READONLY;
    }
    if (!isWithinBounds(file, size)) {
        return SQLITE_FULL;
    }
    return under(file)->pMethods->xTruncate(under(file), size);
}

int syncFile(sqlite3_file *file, int flags) noexcept
{
    return under(file)->pMethods->xSync(under(file), flags);
}

int sizeOfFile(sqlite3_file *file, sqlite3_int64 *size) noexcept
{
    return under(file)->pMethods->xFileSize(under(file), size);
}

int lockFile(sqlite3_file *file, int level) noexcept
{
    return under(file)->pMethods->xLock(under(file), level);
}

int unlockFile(sqlite3_file *file, int level) noexcept
{
    return under(file)->pMethods->xUnlock(under(file), level);
}

int checkReservedLock(sqlite3_file *file, int *isReserved) noexcept
{
    return under(file)->pMethods->xCheckReservedLock(under(file), isReserved);
}

int controlFile(sqlite3_file *file, int operation, void *argument) noexcept
{
    return under(file)->pMethods->xFileControl(under(file), operation, argument);
}

int sectorSize(sqlite3_file *file) noexcept
{
    return under(file)->pMethods->xSectorSize(under(file));
}

int deviceCharacteristics(sqlite3_file *file) noexcept
{
    return under(file)->pMethods->xDeviceCharacteristics(under(file));
}

int mapShared(sqlite3_file *file, int region, int size, int extends, void volatile **memory) noexcept
{
    const int code = under(file)->pMethods->xShmMap(under(file), region, size, extends, memory);
    if (region == 0) {
        layerFile(file)->bounds.logIndex =
            code == SQLITE_OK ? static_cast<const volatile unsigned char *>(*memory) : nullptr;
    }
    return code;
}

int lockShared(sqlite3_file *file, int offset, int count, int flags) noexcept
{
    return under(file)->pMethods->xShmLock(under(file), offset, count, flags);
}

void sharedBarrier(sqlite3_file *file) noexcept
{
    under(file)->pMethods->xShmBarrier(under(file));
}

int unmapShared(sqlite3_file *file, int deletes) noexcept
{
    layerFile(file)->bounds.logIndex = nullptr;
    return under(file)->pMethods->xShmUnmap(under(file), deletes);
}

int fetchPage(sqlite3_file *file, sqlite3_int64 offset, int count, void **page) noexcept
{
    return under(file)->pMethods->xFetch(under(file), offset, count, page);
}

int releasePage(sqlite3_file *file, sqlite3_int64 offset, void *page) noexcept
{
    return under(file)->pMethods->xUnfetch(under(file), offset, page);
}

constexpr sqlite3_io_methods methodsOf(int version) noexcept
{
    return {version,
            closeFile,
            readFile,
            writeFile,
            truncateFile,
            syncFile,
            sizeOfFile,
            lockFile,
            unlockFile,
            checkReservedLock,
            controlFile,
            sectorSize,
            deviceCharacteristics,
            mapShared,
            lockShared,
            sharedBarrier,
            unmapShared,
            fetchPage,
            releasePage};
}

// SQLite asks a file's version for what it can do: shared memory from 2, mapped pages from 3.
constexpr sqlite3_io_methods methods[] = {methodsOf(1), methodsOf(2), methodsOf(3)};

const sqlite3_io_methods *methodsLike(const sqlite3_io_methods &base) noexcept
{
    return &methods[base.iVersion <= 1 ? 0 : base.iVersion == 2 ? 1 : 2];
}

struct FileLayer {
    sqlite3_vfs *base; // null until the first open
    sqlite3_vfs layer;

    ~FileLayer()
    {
        if (base != nullptr) {
            sqlite3_vfs_unregister(&layer);
        }
    }
};

FileLayer fileLayer{};

// A rollback journal may name a super-journal, which ties the journals of one transaction over several files together
// and is deleted with the last of them. The engine's transactions are over one file each, and a journal left beside an
// update file could name any file to be deleted: a super-journal is never opened, and so never deleted. Temporary data
// stay in memory, where they are bounded.
constexpr int refusedKinds = SQLITE_OPEN_SUPER_JOURNAL | SQLITE_OPEN_TEMP_DB | SQLITE_OPEN_TRANSIENT_DB |
                             SQLITE_OPEN_TEMP_JOURNAL | SQLITE_OPEN_SUBJOURNAL;

// The main file of the database to which a journal or log belongs.
LayerFile *mainFileOf(const char *path, int flags) noexcept
{
    constexpr int kindsBesideMain = SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL;
    return (flags & kindsBesideMain) != 0 ? layerFile(sqlite3_database_file_object(path)) : nullptr;
}

int openFile(sqlite3_vfs *, const char *path, sqlite3_file *file, int flags, int *flagsGiven) noexcept
{
    file->pMethods = nullptr;
    if ((flags & refusedKinds) != 0) {
        return SQLITE_CANTOPEN;
    }
    under(file)->pMethods = nullptr;
    // Some systems wait for a writer when a pipe is opened for reading only: what is only read is opened for both.
    const bool isOnlyRead = (flags & SQLITE_OPEN_MAIN_DB) != 0 && (flags & SQLITE_OPEN_READONLY) != 0;
    const int given = isOnlyRead ? (flags & ~SQLITE_OPEN_READONLY) | SQLITE_OPEN_READWRITE : flags;
    const int code = fileLayer.base->xOpen(fileLayer.base, path, under(file), given, flagsGiven);
    if (under(file)->pMethods == nullptr) {
        return code;
    }
    LayerFile *opened = layerFile(file);
    *opened = {};
    opened->isOnlyRead = isOnlyRead;
    if (isOnlyRead && flagsGiven != nullptr) {
        *flagsGiven = (*flagsGiven & ~SQLITE_OPEN_READWRITE) | SQLITE_OPEN_READONLY;
    }
    opened->main = (flags & SQLITE_OPEN_MAIN_DB) != 0 ? opened : mainFileOf(path, flags);
    if ((flags & SQLITE_OPEN_MAIN_DB) != 0) {
        opened->bounds.file = file;
        opened->bounds.clockOwner = fileLayer.base;
    } else if (opened->main != nullptr && (flags & SQLITE_OPEN_WAL) != 0) {
        opened->main->bounds.log = file;
    }
    file->pMethods = methodsLike(*under(file)->pMethods);
    return code;
}

} // namespace

const char *fileLayerName() noexcept
{
    static constexpr char name[] = "velq";
    if (sqlite3_initialize() != SQLITE_OK) {
        return name; // opening fails for the same reason
    }
    // One of SQLite's own locks: a local static with a constructor would bind the library to the C++ runtime.
    sqlite3_mutex *lock = sqlite3_mutex_alloc(SQLITE_MUTEX_STATIC_APP1);
    sqlite3_mutex_enter(lock);
    if (fileLayer.base == nullptr) {
        fileLayer.base = sqlite3_vfs_find(nullptr);
        if (fileLayer.base != nullptr) { // without any, opening fails as well
            fileLayer.layer = *fileLayer.base;
            fileLayer.layer.zName = name;
            fileLayer.layer.szOsFile += static_cast<int>(sizeof(LayerFile));
            fileLayer.layer.xOpen = openFile;
            sqlite3_vfs_register(&fileLayer.layer, 0);
        }
    }
    sqlite3_mutex_leave(lock);
    return name;
}

Bounds *boundsOf(sqlite3 *connection) noexcept
{
    sqlite3_file *file = nullptr;
    if (connection == nullptr ||
        sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK) {
        return nullptr;
    }
    const bool isOurs = file != nullptr && file->pMethods != nullptr && file->pMethods->xClose == closeFile;
    return isOurs ? &layerFile(file)->bounds : nullptr;
}
