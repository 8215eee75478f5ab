// The token store's table over the database-access layer. Counts and their byte form are the datastore's.
#include "bfilter/VELQ_BFilter_Datastore_Sqlite.h"

#include "VELQ_DB_Connection.h"
#include "VELQ_Util.h"

#include <cstring>
#include <initializer_list>

transaction_table transactionTable;

static const char *textOrNull(const char *text) noexcept
{
    return text != nullptr ? text : "NULL";
}

dbh *db_open(const word *, const wordlist_settings *settings, int) noexcept
{
    transactionTable = {db_txn_begin, db_txn_abort, db_txn_commit};
    auto *handle = static_cast<dbh *>(allocateMemory(sizeof(dbh)));
    if (handle == nullptr) {
        return nullptr;
    }
    handle->path = settings->databasePath;
    const ConnectResult result = connectDatabase(handle->path, engineState.tokenStoreConn, &handle->connection);
    if (result.reached == ConnectStep::connected) {
        return handle;
    }
    const char *message = VELQ_DSH_Error(handle->connection);
    if (result.reached == ConnectStep::open) {
        logError("%s:%d\tCan't open database %s: %s\n", VELQ_HERE, handle->path, message);
        logError("%s:%d\tError on database %s: %s\n", VELQ_HERE, handle->path, message);
    } else {
        logError("%s:%d\tCan't set user non-service handle: %s\n", VELQ_HERE, message);
        logError("%s:%d\tError on database %s: %s\n", VELQ_HERE, handle->path, message);
    }
    db_close(handle);
    return nullptr;
}

void db_close(dbh *handle) noexcept
{
    const bool isKeptOpen = engineState.tokenStoreConn != nullptr;
    for (VELQ_DSH_Statement **statement : {&handle->spare, &handle->insert, &handle->select, &handle->update}) {
        finishSql(statement, isKeptOpen);
    }
    if (!isKeptOpen) {
        const int code = VELQ_DSH_Close(handle->connection);
        if (code != VELQ_DSH_OK) {
            logError("%s:%d\tCan't close database %s: %d", VELQ_HERE, handle->path, code);
        }
    }
    freeMemory(handle);
}

int db_exec_sql(VELQ_DSH_Connection *connection, const char *sql) noexcept
{
    char *message = nullptr;
    const int code = VELQ_DSH_Exec(connection, sql, nullptr, nullptr, &message);
    if (code != VELQ_DSH_OK) {
        logBound(connection, code);
        logError("%s:%d\tError executing \"%s\": %s (#%d)\n", VELQ_HERE, sql, textOrNull(message), code);
        VELQ_DSH_Free(message);
    }
    return code;
}

VELQ_DSH_Statement *db_prepare_statement(dbh *handle, const char *sql, bool) noexcept
{
    VELQ_DSH_Statement *statement = nullptr;
    const int code = prepareSql(handle->connection, sql, &statement);
    if (code != VELQ_DSH_OK) {
        logBound(handle->connection, code);
        logError("%s:%d\tError: velq3_prepare %s: %s\n", VELQ_HERE, sql, VELQ_DSH_Error(handle->connection));
    }
    return statement;
}

// Copies the row's first column, as much of it as the buffer takes.
static void copyValue(VELQ_DSH_Statement *statement, value_buffer *value) noexcept
{
    const void *bytes = VELQ_DSH_getBlob(statement, 0);
    const auto count = static_cast<std::uint32_t>(VELQ_DSH_getBytes(statement, 0));
    if (count < value->length) {
        value->length = count;
    }
    if (bytes != nullptr && value->length > 0) {
        std::memcpy(value->bytes, bytes, value->length);
    }
}

static void logExecutionFailure(dbh *handle, const char *function, int code) noexcept
{
    logBound(handle->connection, code);
    logDebug("%s:%d\t%s: error executing statement on %s: %s (%d)\n", VELQ_HERE, function, handle->path,
             VELQ_DSH_Error(handle->connection), code);
}

int db_run_statement(dbh *handle, const char *function, VELQ_DSH_Statement *statement, value_buffer *value,
                     int notFound) noexcept
{
    bool found = false;
    for (;;) {
        const int code = VELQ_DSH_doNext(statement);
        switch (code) {
        case VELQ_DSH_ROW:
            if (value != nullptr) {
                copyValue(statement, value);
            }
            found = true;
            continue;
        case VELQ_DSH_DONE:
            VELQ_DSH_Reset(statement);
            return found ? 0 : notFound;
        case VELQ_DSH_BUSY: // the busy handler has waited already
            VELQ_DSH_Reset(statement);
            db_exec_sql(handle->connection, "ROLLBACK;");
            return DS_ABORT_RETRY;
        default:
            logExecutionFailure(handle, function, code);
            VELQ_DSH_Reset(statement);
            return code;
        }
    }
}

// Binds the blobs from parameter 1 on. A value that cannot be bound is logged and counts as an execution that failed.
static int bindBlobs(dbh *handle, const char *function, VELQ_DSH_Statement *statement,
                     std::initializer_list<const key_blob *> blobs) noexcept
{
    int index = 0;
    for (const key_blob *blob : blobs) {
        const int code = VELQ_DSH_mapBlob(statement, ++index, blob->bytes, static_cast<int>(blob->length), nullptr);
        if (code != VELQ_DSH_OK) {
            logExecutionFailure(handle, function, code);
            return code;
        }
    }
    return VELQ_DSH_OK;
}

// Prepares a cached statement on first use; an empty slot stays for the next call to try again.
static bool prepareCached(dbh *handle, VELQ_DSH_Statement *&slot, const char *sql) noexcept
{
    if (slot == nullptr) {
        slot = db_prepare_statement(handle, sql, true);
    }
    return slot != nullptr;
}

int db_set_dbvalue(dbh *handle, const key_blob *key, const key_blob *value) noexcept
{
    if (!prepareCached(handle, handle->insert, "INSERT OR REPLACE INTO velqTable VALUES(?,?);")) {
        logError("%s:%d\t\n Error: dbh->insert is NULL", VELQ_HERE);
        return dsPrepareFailed;
    }
    constexpr char function[] = "db_set_dbvalue";
    const int code = bindBlobs(handle, function, handle->insert, {key, value});
    return code == VELQ_DSH_OK ? db_run_statement(handle, function, handle->insert, nullptr, 0) : code;
}

int db_update_dbvalue(dbh *handle, const key_blob *key, const key_blob *value) noexcept
{
    if (!prepareCached(handle, handle->update, "UPDATE velqTable SET value=? where key=?;")) {
        logError("%s:%d\t\n Error: dbh->update is NULL", VELQ_HERE);
        return dsPrepareFailed;
    }
    constexpr char function[] = "db_update_dbvalue";
    const int code = bindBlobs(handle, function, handle->update, {value, key});
    return code == VELQ_DSH_OK ? db_run_statement(handle, function, handle->update, nullptr, 0) : code;
}

int db_get_dbvalue(dbh *handle, const key_blob *key, value_buffer *value) noexcept
{
    if (!prepareCached(handle, handle->select, "SELECT value FROM velqTable WHERE key=? LIMIT 1;")) {
        logError("%s:%d\t\n Error: dbh->select is NULL", VELQ_HERE);
        return dsPrepareFailed;
    }
    constexpr char function[] = "db_get_dbvalue";
    const int code = bindBlobs(handle, function, handle->select, {key});
    return code == VELQ_DSH_OK ? db_run_statement(handle, function, handle->select, value, dbValueNotFound) : code;
}

int db_txn_begin(dbh *handle) noexcept
{
    return db_exec_sql(handle->connection, "BEGIN TRANSACTION;");
}

int db_txn_abort(dbh *handle) noexcept
{
    return db_exec_sql(handle->connection, "ROLLBACK;");
}

int db_txn_commit(dbh *handle) noexcept
{
    const int code = db_exec_sql(handle->connection, "COMMIT;");
    if (code != VELQ_DSH_OK && engineState.tokenStoreConn != nullptr) {
        // A connection of the handle's own abandons the transaction when it is closed; the kept-open one would hold it,
        // and the write lock with it, into the next operation.
        if (executeSql(handle->connection, "ROLLBACK;") == VELQ_DSH_NOMEM) {
            logError("%s:%d\tError: no memory to roll back, the token store is not kept open any longer\n", VELQ_HERE);
            engineState.tokenStoreConn = nullptr; // db_close closes it, which takes no memory
        }
    }
    return code;
}
