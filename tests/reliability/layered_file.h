// Layers over SQLite's file layer: a file of a layer is followed by the base layer's own, to which every call goes that
// the layer does not take.
#ifndef VELQ_TEST_RELIABILITY_LAYERED_FILE_H
#define VELQ_TEST_RELIABILITY_LAYERED_FILE_H

#include <cstdlib>
#include <sqlite3.h>
#include <unistd.h>

namespace velq::reliability {

// LayeredFile begins with a sqlite3_file.
template <typename LayeredFile>
struct PassedOn {
    static sqlite3_file *under(sqlite3_file *file)
    {
        return reinterpret_cast<sqlite3_file *>(reinterpret_cast<LayeredFile *>(file) + 1);
    }
    static int close(sqlite3_file *file)
    {
        return under(file)->pMethods->xClose(under(file));
    }
    static int read(sqlite3_file *file, void *bytes, int count, sqlite3_int64 offset)
    {
        return under(file)->pMethods->xRead(under(file), bytes, count, offset);
    }
    static int write(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 offset)
    {
        return under(file)->pMethods->xWrite(under(file), bytes, count, offset);
    }
    static int truncate(sqlite3_file *file, sqlite3_int64 size)
    {
        return under(file)->pMethods->xTruncate(under(file), size);
    }
    static int sync(sqlite3_file *file, int flags)
    {
        return under(file)->pMethods->xSync(under(file), flags);
    }
    static int fileSize(sqlite3_file *file, sqlite3_int64 *size)
    {
        return under(file)->pMethods->xFileSize(under(file), size);
    }
    static int lock(sqlite3_file *file, int level)
    {
        return under(file)->pMethods->xLock(under(file), level);
    }
    static int unlock(sqlite3_file *file, int level)
    {
        return under(file)->pMethods->xUnlock(under(file), level);
    }
    static int checkReserved(sqlite3_file *file, int *isReserved)
    {
        return under(file)->pMethods->xCheckReservedLock(under(file), isReserved);
    }
    static int control(sqlite3_file *file, int operation, void *argument)
    {
        return under(file)->pMethods->xFileControl(under(file), operation, argument);
    }
    static int sectorSize(sqlite3_file *file)
    {
        return under(file)->pMethods->xSectorSize(under(file));
    }
    static int characteristics(sqlite3_file *file)
    {
        return under(file)->pMethods->xDeviceCharacteristics(under(file));
    }
    // The memory that connections share in write-ahead mode is a file of its own.
    static int mapShared(sqlite3_file *file, int region, int size, int isExtending, void volatile **memory)
    {
        return under(file)->pMethods->xShmMap(under(file), region, size, isExtending, memory);
    }
    static int lockShared(sqlite3_file *file, int offset, int count, int flags)
    {
        return under(file)->pMethods->xShmLock(under(file), offset, count, flags);
    }
    static void orderShared(sqlite3_file *file)
    {
        under(file)->pMethods->xShmBarrier(under(file));
    }
    static int unmapShared(sqlite3_file *file, int isRemoving)
    {
        return under(file)->pMethods->xShmUnmap(under(file), isRemoving);
    }

    static constexpr sqlite3_io_methods methods = {
        2,           close,         read,    write,      truncate,        sync,      fileSize,   lock,
        unlock,      checkReserved, control, sectorSize, characteristics, mapShared, lockShared, orderShared,
        unmapShared, nullptr,       nullptr};
};

// What the layers test is no property of a disk, and memory is faster: files lie there where the system offers it.
[[maybe_unused]] inline const bool filesLieInMemory =
    std::getenv("TMPDIR") == nullptr && access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 1) == 0;

} // namespace velq::reliability

#endif
