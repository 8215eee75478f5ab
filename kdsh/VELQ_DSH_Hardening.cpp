// Bounds on what a file made by others can do to the process that opens it: no views, virtual tables and slow functions
// of its own schema, bounded values, bounded runs, no deletion of other files by way of its journal.
#include "VELQ_DSH_Hardening.h"

#include <initializer_list>
#include <sqlite3.h>

namespace {

// Values of well-formed files stay far below. The limit bounds the memory that a computed column can ask for.
constexpr int longestValue = 1 << 20;

// How many steps of SQLite's virtual machine one run of a statement may take: the engine's own statements need less
// than three for each byte of the file. What needs more is a loop, of a trigger or of pages that point back, and would
// go on for ever.
constexpr int stepsBetweenChecks = 100'000;
constexpr sqlite3_int64 leastSteps = 1'000'000;
constexpr sqlite3_int64 stepsPerByte = 16;

struct RunLimit {
    sqlite3 *connection;
    sqlite3_int64 steps; // since the running statement began
};

sqlite3_int64 fileSize(sqlite3 *connection) noexcept
{
    sqlite3_file *file = nullptr;
    sqlite3_int64 size = 0;
    if (sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || file == nullptr ||
        file->pMethods == nullptr || file->pMethods->xFileSize(file, &size) != SQLITE_OK) {
        return 0;
    }
    return size;
}

// Nonzero interrupts the statement; its transaction is rolled back.
int checkRunLimit(void *argument) noexcept
{
    auto *limit = static_cast<RunLimit *>(argument);
    limit->steps += stepsBetweenChecks;
    return limit->steps > leastSteps && limit->steps > fileSize(limit->connection) * stepsPerByte ? 1 : 0;
}

// Told of every statement that begins, and of the connection's closing, with which the limit's record goes.
int followStatements(unsigned event, void *argument, void *, void *text) noexcept
{
    auto *limit = static_cast<RunLimit *>(argument);
    if (event == SQLITE_TRACE_CLOSE) {
        sqlite3_progress_handler(limit->connection, 0, nullptr, nullptr);
        sqlite3_trace_v2(limit->connection, 0, nullptr, nullptr);
        sqlite3_free(limit);
    } else if (const auto *sql = static_cast<const char *>(text); sql[0] != '-') { // "-- ..." is a trigger within one
        limit->steps = 0;
    }
    return 0;
}

int limitRuns(sqlite3 *connection) noexcept
{
    auto *limit = static_cast<RunLimit *>(sqlite3_malloc(sizeof(RunLimit)));
    if (limit == nullptr) {
        return SQLITE_NOMEM;
    }
    *limit = {connection, 0};
    sqlite3_progress_handler(connection, stepsBetweenChecks, checkRunLimit, limit);
    return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT | SQLITE_TRACE_CLOSE, followStatements, limit);
}

void refuseFunction(sqlite3_context *context, int, sqlite3_value **) noexcept
{
    sqlite3_result_error(context, "not available to the schema", -1);
}

// A computed column of a few bytes can keep one of these busy for hours, and nothing stops it before it returns. The
// engine's statements use none of them.
void refuseSlowFunctions(sqlite3 *connection) noexcept
{
    constexpr int anyCount = -1;
    for (const char *name : {"printf", "format", "instr", "replace", "glob", "trim", "ltrim", "rtrim", "json_patch"}) {
        sqlite3_create_function(connection, name, anyCount, SQLITE_UTF8, nullptr, refuseFunction, nullptr, nullptr);
    }
}

// Takes away from the file what a plain table does not need. Refused settings leave the connection as SQLite makes it.
void distrustSchema(sqlite3 *connection) noexcept
{
    // No SQL functions with side effects in the schema, no writing to it or to the files behind virtual tables.
    sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    // The engine's tables are neither views nor virtual tables. Triggers stay: a data file may have its own.
    sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_drop_modules(connection, nullptr);
    // Damaged pages are found when they are read and not only when they mislead.
    sqlite3_exec(connection, "PRAGMA cell_size_check = ON;", nullptr, nullptr, nullptr);
    sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, longestValue);
    refuseSlowFunctions(connection);
}

// SQLite's default file layer, but for one kind of file. A rollback journal may name a super-journal, which ties the
// journals of one transaction over several files together and is deleted with the last of them. The engine's
// transactions are over one file each, and a journal left beside an update file could name any file to be deleted: a
// super-journal is never opened, and so never deleted.
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

int openFile(sqlite3_vfs *, const char *path, sqlite3_file *file, int flags, int *flagsGiven) noexcept
{
    if ((flags & SQLITE_OPEN_SUPER_JOURNAL) != 0) {
        file->pMethods = nullptr;
        return SQLITE_CANTOPEN;
    }
    return fileLayer.base->xOpen(fileLayer.base, path, file, flags, flagsGiven);
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
            fileLayer.layer.xOpen = openFile;
            sqlite3_vfs_register(&fileLayer.layer, 0);
        }
    }
    sqlite3_mutex_leave(lock);
    return name;
}

int hardenConnection(sqlite3 *connection) noexcept
{
    distrustSchema(connection);
    return limitRuns(connection);
}
