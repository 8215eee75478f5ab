// The steps that number lists, merges and token store have in common: opening a file with the busy rule, preparing a
// statement, running a transaction statement. They log nothing and close nothing: texts and cleaning up are the
// callers'. Only the line that names a bound is written here.
#ifndef VELQ_DB_CONNECTION_H
#define VELQ_DB_CONNECTION_H

#include "VELQ_DSH.h"

#include <cstdint>

inline constexpr char beginImmediate[] = "BEGIN IMMEDIATE TRANSACTION;";
inline constexpr char commitTransaction[] = "COMMIT TRANSACTION;";
inline constexpr char rollbackTransaction[] = "ROLLBACK TRANSACTION;";

// How the access layer opens: VELQ_DSH_Open for the data files, VELQ_DSH_OpenForeign for update files.
using OpenCall = int (*)(const char *path, VELQ_DSH_Connection **connection) noexcept;

// Opens the file of a path as the engine builds it, without the busy rule. `*connection` must be closed also after a
// failure. A null path cannot be opened.
int openDatabase(const char *path, VELQ_DSH_Connection **connection, OpenCall call = VELQ_DSH_Open) noexcept;

// How far a connection came, and the database's result code there.
enum class ConnectStep : std::uint8_t { open, busyHandler, connected };
struct ConnectResult {
    ConnectStep reached; // the step that failed, or connected
    int code;
};

// Takes the standing connection when `keptOpen` is set, otherwise opens the file; then installs the busy rule.
// `*connection` is set also after a failure, and must then be closed unless it is the standing one.
ConnectResult connectDatabase(const char *path, VELQ_DSH_Connection *keptOpen, VELQ_DSH_Connection **connection,
                              OpenCall call = VELQ_DSH_Open) noexcept;

// The database's result code. After a failure `*statement` is null.
int prepareSql(VELQ_DSH_Connection *connection, const char *sql, VELQ_DSH_Statement **statement) noexcept;

// Releases a statement and clears it. A standing connection keeps it compiled for the next time. Null is no statement.
void finishSql(VELQ_DSH_Statement **statement, bool isKeptOpen) noexcept;

// To be asked right after a call has failed with a result code: whether that was because the file is beyond one of the
// access layer's bounds. `logBound` writes the error line that names it.
bool isBeyondBound(VELQ_DSH_Connection *connection, int code) noexcept;
bool logBound(VELQ_DSH_Connection *connection, int code) noexcept;

// Runs a statement without parameters and rows; the database's result code.
int executeSql(VELQ_DSH_Connection *connection, const char *sql) noexcept;

#endif
