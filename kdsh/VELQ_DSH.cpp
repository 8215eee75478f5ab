// The database-access layer over SQLite 3. Everything here passes straight through; opening, and compiling the first
// statement, also put the bounds on the connection, and a busy handler begins an operation within them. Compiling hands
// out the statements that a connection keeps, and a function that stands already is not registered again. Opening keeps
// to the file's mode of journal. Policy (busy rule, transactions, logging) belongs to the callers.
#include "VELQ_DSH.h"

#include "VELQ_DSH_File_Layer.h"
#include "VELQ_DSH_Hardening.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sqlite3.h>

static_assert(VELQ_DSH_OK == SQLITE_OK && VELQ_DSH_BUSY == SQLITE_BUSY && VELQ_DSH_NOMEM == SQLITE_NOMEM &&
              VELQ_DSH_INTERRUPT == SQLITE_INTERRUPT && VELQ_DSH_FULL == SQLITE_FULL &&
              VELQ_DSH_TOOBIG == SQLITE_TOOBIG && VELQ_DSH_CANTOPEN == SQLITE_CANTOPEN && VELQ_DSH_ROW == SQLITE_ROW &&
              VELQ_DSH_DONE == SQLITE_DONE && VELQ_DSH_ANY_TEXT == SQLITE_ANY);

// By the file's header, without a lock and without reading the schema.
static bool isWriteAhead(VELQ_DSH_Connection *connection) noexcept
{
    constexpr sqlite3_int64 versionOffset = 18;
    constexpr unsigned char writeAheadVersion = 2;
    sqlite3_file *file = nullptr;
    unsigned char version = 0;
    return sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK && file != nullptr &&
           file->pMethods != nullptr && file->pMethods->xRead(file, &version, 1, versionOffset) == SQLITE_OK &&
           version == writeAheadVersion;
}

// In write-ahead mode a commit is sound without waiting for the disk: a loss of power takes the latest ones back. When
// the setting is refused each commit waits. Callers set their busy rule later; until then, what another process does
// when it is the first or the last one at the file is waited for as long as theirs waits.
static void waitForDiskAtCheckpointsOnly(VELQ_DSH_Connection *connection) noexcept
{
    constexpr int longestWait = 250; // milliseconds
    sqlite3_busy_timeout(connection, longestWait);
    sqlite3_exec(connection, "PRAGMA synchronous = NORMAL;", nullptr, nullptr, nullptr);
    sqlite3_busy_timeout(connection, 0);
}

static int openFile(const char *path, int flags, FileOrigin origin, VELQ_DSH_Connection **connection) noexcept
{
    const int code = sqlite3_open_v2(path, connection, flags, fileLayerName());
    return code == SQLITE_OK ? hardenConnection(*connection, origin) : code;
}

int VELQ_DSH_Open(const char *path, VELQ_DSH_Connection **connection) noexcept
{
    const int code = openFile(path, SQLITE_OPEN_READWRITE, FileOrigin::owner, connection);
    if (code == SQLITE_OK && isWriteAhead(*connection)) {
        waitForDiskAtCheckpointsOnly(*connection);
    }
    return code;
}

int VELQ_DSH_OpenForeign(const char *path, VELQ_DSH_Connection **connection) noexcept
{
    return openFile(path, SQLITE_OPEN_READONLY, FileOrigin::stranger, connection);
}

// Takes a statement out of those that a connection keeps. For callers that have its lock, or the connection to
// themselves.
static sqlite3_stmt *takeOut(Bounds &bounds, sqlite3_stmt **place) noexcept
{
    sqlite3_stmt *taken = *place;
    *std::move(place + 1, std::end(bounds.kept), place) = nullptr;
    return taken;
}

// The kept statement with that text, otherwise null. Nobody else has it then.
static sqlite3_stmt *takeKept(Bounds &bounds, const char *sql, std::size_t length) noexcept
{
    const auto hasText = [sql, length](sqlite3_stmt *statement) noexcept {
        const char *text = sqlite3_sql(statement); // null of null
        return text != nullptr && std::strlen(text) == length && std::memcmp(text, sql, length) == 0;
    };
    sqlite3_mutex *lock = sqlite3_db_mutex(bounds.connection);
    sqlite3_mutex_enter(lock);
    sqlite3_stmt **place = std::find_if(std::begin(bounds.kept), std::end(bounds.kept), hasText);
    sqlite3_stmt *taken = place != std::end(bounds.kept) ? takeOut(bounds, place) : nullptr;
    sqlite3_mutex_leave(lock);
    return taken;
}

// Returns the oldest where there is no room for it any more, otherwise null.
static sqlite3_stmt *addKept(Bounds &bounds, sqlite3_stmt *statement) noexcept
{
    sqlite3_mutex *lock = sqlite3_db_mutex(bounds.connection);
    sqlite3_mutex_enter(lock);
    sqlite3_stmt *oldest = *std::rbegin(bounds.kept) != nullptr ? takeOut(bounds, bounds.kept) : nullptr;
    *std::find(std::begin(bounds.kept), std::end(bounds.kept), nullptr) = statement;
    sqlite3_mutex_leave(lock);
    return oldest;
}

int VELQ_DSH_Close(VELQ_DSH_Connection *connection) noexcept
{
    if (Bounds *bounds = boundsOf(connection); bounds != nullptr) {
        while (bounds->kept[0] != nullptr) {
            sqlite3_finalize(takeOut(*bounds, bounds->kept));
        }
    }
    return sqlite3_close(connection);
}

const char *VELQ_DSH_Bound(VELQ_DSH_Connection *connection) noexcept
{
    const Bounds *bounds = boundsOf(connection);
    if (bounds == nullptr) {
        return nullptr;
    }
    return bounds->fired == nullptr && sqlite3_errcode(connection) == SQLITE_TOOBIG ? "length of a value"
                                                                                    : bounds->fired;
}

int VELQ_DSH_Prepare(VELQ_DSH_Connection *connection, const char *sql, int length, VELQ_DSH_Statement **statement,
                     const char **tail) noexcept
{
    *statement = nullptr;
    Bounds *bounds = boundsOf(connection);
    int code = bounds != nullptr && !bounds->isSchemaKnown ? hardenSchema(*bounds) : SQLITE_OK;
    if (code == SQLITE_OK && bounds != nullptr && bounds->hasCode && isTimeUp(*bounds)) {
        code = SQLITE_INTERRUPT;
    }
    if (code == SQLITE_OK && bounds != nullptr && !bounds->hasCode) {
        *statement = takeKept(*bounds, sql, static_cast<std::size_t>(length));
    }
    if (*statement != nullptr) {
        if (tail != nullptr) {
            *tail = sql + length;
        }
        return SQLITE_OK;
    }
    code = code == SQLITE_OK ? sqlite3_prepare_v2(connection, sql, length, statement, tail) : code;
    return code == SQLITE_OK && bounds != nullptr && bounds->hasCode ? boundValues(*bounds, *statement) : code;
}

int VELQ_DSH_Exec(VELQ_DSH_Connection *connection, const char *sql, VELQ_DSH_ExecCallback callback, void *argument,
                  char **error) noexcept
{
    return sqlite3_exec(connection, sql, callback, argument, error);
}

void VELQ_DSH_Free(void *memory) noexcept
{
    sqlite3_free(memory);
}

const char *VELQ_DSH_Error(VELQ_DSH_Connection *connection) noexcept
{
    return sqlite3_errmsg(connection);
}

int VELQ_DSH_Reset(VELQ_DSH_Statement *statement) noexcept
{
    return sqlite3_reset(statement);
}

int VELQ_DSH_Fini(VELQ_DSH_Statement *statement) noexcept
{
    return sqlite3_finalize(statement);
}

void VELQ_DSH_Keep(VELQ_DSH_Statement *statement) noexcept
{
    if (statement == nullptr) {
        return;
    }
    Bounds *bounds = boundsOf(sqlite3_db_handle(statement));
    // With code in the schema each preparation looks at what was compiled.
    if (sqlite3_reset(statement) == SQLITE_OK && bounds != nullptr && !bounds->hasCode && !bounds->hasFailed) {
        sqlite3_clear_bindings(statement);
        statement = addKept(*bounds, statement);
    }
    sqlite3_finalize(statement);
}

int VELQ_DSH_doNext(VELQ_DSH_Statement *statement) noexcept
{
    const int code = sqlite3_step(statement);
    const bool isFailure = code != SQLITE_ROW && code != SQLITE_DONE;
    if (Bounds *bounds = isFailure ? boundsOf(sqlite3_db_handle(statement)) : nullptr; bounds != nullptr) {
        bounds->hasFailed = true;
    }
    return code;
}

int VELQ_DSH_mapBlob(VELQ_DSH_Statement *statement, int index, const void *bytes, int count,
                     VELQ_DSH_Destructor destructor) noexcept
{
    return sqlite3_bind_blob(statement, index, bytes, count, destructor);
}

int VELQ_DSH_mapInt(VELQ_DSH_Statement *statement, int index, int value) noexcept
{
    return sqlite3_bind_int(statement, index, value);
}

int VELQ_DSH_mapText(VELQ_DSH_Statement *statement, int index, const char *text, int count,
                     VELQ_DSH_Destructor destructor) noexcept
{
    return sqlite3_bind_text(statement, index, text, count, destructor);
}

const void *VELQ_DSH_getBlob(VELQ_DSH_Statement *statement, int column) noexcept
{
    return sqlite3_column_blob(statement, column);
}

int VELQ_DSH_getBytes(VELQ_DSH_Statement *statement, int column) noexcept
{
    return sqlite3_column_bytes(statement, column);
}

int VELQ_DSH_getInt(VELQ_DSH_Statement *statement, int column) noexcept
{
    return sqlite3_column_int(statement, column);
}

const unsigned char *VELQ_DSH_getText(VELQ_DSH_Statement *statement, int column) noexcept
{
    return sqlite3_column_text(statement, column);
}

int VELQ_DSH_busyHandler(VELQ_DSH_Connection *connection, VELQ_DSH_BusyHandler handler, void *argument) noexcept
{
    Bounds *bounds = boundsOf(connection);
    return bounds != nullptr ? installBusyHandler(*bounds, handler, argument)
                             : sqlite3_busy_handler(connection, handler, argument);
}

static bool isSame(const UserFunction &one, const UserFunction &other) noexcept
{
    return std::strcmp(one.name, other.name) == 0 && one.arguments == other.arguments &&
           one.textRepresentation == other.textRepresentation && one.userData == other.userData &&
           one.function == other.function;
}

int VELQ_DSH_makeUserHand(VELQ_DSH_Connection *connection, const char *name, int arguments, int textRepresentation,
                          void *userData, VELQ_DSH_Function function, VELQ_DSH_Function step,
                          VELQ_DSH_Final final) noexcept
{
    const auto create = [&]() noexcept {
        // The schema may use it as it uses SQLite's own.
        constexpr int flags = SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
        return sqlite3_create_function(connection, name, arguments, textRepresentation | flags, userData, function,
                                       step, final);
    };
    UserFunction wanted = {{}, arguments, textRepresentation, userData, function};
    const std::size_t length = std::strlen(name);
    Bounds *bounds = function != nullptr && length < sizeof wanted.name ? boundsOf(connection) : nullptr;
    if (bounds == nullptr) {
        return create();
    }
    std::memcpy(wanted.name, name, length);
    sqlite3_mutex *lock = sqlite3_db_mutex(connection);
    sqlite3_mutex_enter(lock);
    int code = SQLITE_OK;
    if (!isSame(bounds->registered, wanted)) {
        code = create();
        bounds->registered = code == SQLITE_OK ? wanted : UserFunction{};
    }
    sqlite3_mutex_leave(lock);
    return code;
}

void VELQ_DSH_returnInt(VELQ_DSH_Context *context, int value) noexcept
{
    sqlite3_result_int(context, value);
}

const unsigned char *VELQ_DSH_resultText(VELQ_DSH_Value *value) noexcept
{
    return sqlite3_value_text(value);
}
