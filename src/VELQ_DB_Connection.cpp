// Opening, preparing and running over the database-access layer.
#include "VELQ_DB_Connection.h"

#include "VELQ_Util.h"

#include <cstring>

int openDatabase(const char *path, VELQ_DSH_Connection **connection, OpenCall call) noexcept
{
    *connection = nullptr;
    if (path == nullptr) {
        return VELQ_DSH_CANTOPEN;
    }
    char *native = platformCalls.databasePath(path);
    if (native == nullptr) {
        return VELQ_DSH_CANTOPEN;
    }
    const int code = call(native, connection);
    freeMemory(native);
    return code;
}

ConnectResult connectDatabase(const char *path, VELQ_DSH_Connection *keptOpen, VELQ_DSH_Connection **connection,
                              OpenCall call) noexcept
{
    *connection = keptOpen;
    if (keptOpen == nullptr) {
        const int code = openDatabase(path, connection, call);
        if (code != VELQ_DSH_OK) {
            return {ConnectStep::open, code};
        }
    }
    const int code = VELQ_DSH_busyHandler(*connection, sqliteBusyHandler, nullptr);
    return {code == VELQ_DSH_OK ? ConnectStep::connected : ConnectStep::busyHandler, code};
}

int prepareSql(VELQ_DSH_Connection *connection, const char *sql, VELQ_DSH_Statement **statement) noexcept
{
    const char *tail = nullptr;
    const int code = VELQ_DSH_Prepare(connection, sql, static_cast<int>(std::strlen(sql)), statement, &tail);
    if (code != VELQ_DSH_OK) {
        finishSql(statement, false);
    }
    return code;
}

void finishSql(VELQ_DSH_Statement **statement, bool isKeptOpen) noexcept
{
    if (isKeptOpen && *statement != nullptr) {
        VELQ_DSH_Keep(*statement);
    } else {
        VELQ_DSH_Fini(*statement);
    }
    *statement = nullptr;
}

bool isBeyondBound(VELQ_DSH_Connection *connection, int code) noexcept
{
    const bool isBoundsCode = code == VELQ_DSH_INTERRUPT || code == VELQ_DSH_TOOBIG || code == VELQ_DSH_FULL;
    return isBoundsCode && VELQ_DSH_Bound(connection) != nullptr;
}

bool logBound(VELQ_DSH_Connection *connection, int code) noexcept
{
    if (!isBeyondBound(connection, code)) {
        return false;
    }
    logError("%s:%d\tError: file beyond a bound: %s\n", VELQ_HERE, VELQ_DSH_Bound(connection));
    return true;
}

int executeSql(VELQ_DSH_Connection *connection, const char *sql) noexcept
{
    return VELQ_DSH_Exec(connection, sql, nullptr, nullptr, nullptr);
}
