// One database operation, from opening the file to closing it, written once for all operations. What differs between
// operations (log texts, where the texts go, whether a failure rolls back) is a constant record; SQL and values stay
// with the operation. Once a step has failed, the session is cleaned up and logged, and all further steps do nothing.
#ifndef VELQ_DB_OPERATION_H
#define VELQ_DB_OPERATION_H

#include "VELQ_Util.h"

#include <array>
#include <cstddef>
#include <cstdint>

inline constexpr char beginImmediate[] = "BEGIN IMMEDIATE TRANSACTION;";
inline constexpr char commitTransaction[] = "COMMIT TRANSACTION;";
inline constexpr char rollbackTransaction[] = "ROLLBACK TRANSACTION;";

// The steps of an operation that can fail, in their order.
enum class StorePhase : std::uint8_t { open, busyHandler, matcher, begin, prepare, step, commit };
inline constexpr std::size_t storePhaseCount = 7;

enum class LogLevel : std::uint8_t { none, debug, error };

// What a text takes after source name and line: nothing or the database's result code; the file's path; the value 0.
enum class LogValue : std::uint8_t { code, path, zero };

struct StoreLogText {
    LogLevel level = LogLevel::none;
    const char *format = nullptr;
    LogValue value = LogValue::code;
};

constexpr StoreLogText errorLine(const char *format, LogValue value = LogValue::code) noexcept
{
    return {LogLevel::error, format, value};
}

constexpr StoreLogText debugLine(const char *format, LogValue value = LogValue::code) noexcept
{
    return {LogLevel::debug, format, value};
}

// What is logged when a phase fails: the cause, then the operation's leave line, where it has one.
struct StoreFailureTexts {
    StoreLogText cause;
    StoreLogText leave;
};

struct StoreOperation {
    StoreLogText enter;
    std::array<StoreFailureTexts, storePhaseCount> failures; // by StorePhase; no cause where the phase cannot fail
    StoreLogText done;
    bool rollsBack; // a failed step or commit runs a rollback; otherwise closing abandons the transaction
};

// For compile-time checks: the record has a cause text for exactly these phases.
consteval bool hasTextsForExactly(const StoreOperation &operation, std::initializer_list<StorePhase> phases)
{
    std::array<bool, storePhaseCount> expected{};
    for (const StorePhase phase : phases) {
        expected[static_cast<std::size_t>(phase)] = true;
    }
    for (std::size_t i = 0; i < storePhaseCount; ++i) {
        if ((operation.failures[i].cause.format != nullptr) != expected[i]) {
            return false;
        }
    }
    return true;
}

struct StoreSession {
    const StoreOperation *operation;
    const char *path;
    VELQ_DSH_Connection *connection;
    VELQ_DSH_Statement *statement;
    bool isKeptOpen; // a standing connection, never closed by the session
    bool hasFailed;
    StorePhase failedPhase; // while hasFailed
    int code;               // the database's result code of the last step
};

// Writes one text of a record; nothing where the record has none.
void logStoreText(const StoreLogText &text, SourceLine where, int code, const char *path) noexcept;

// Opens the file, or takes the standing connection when `keptOpen` is set, and installs the busy handler.
StoreSession openStore(const StoreOperation &operation, const char *path, VELQ_DSH_Connection *keptOpen,
                       SourceLine where) noexcept;
// Registers the scalar SQL function `function` of two arguments as "like".
void registerLike(StoreSession &session, VELQ_DSH_Function function, SourceLine where) noexcept;
void beginWrite(StoreSession &session, SourceLine where) noexcept;
void prepareStatement(StoreSession &session, const char *sql, SourceLine where) noexcept;
void bindInt(StoreSession &session, int index, int value) noexcept;
// Bound memory outlives the statement. A text is bound with its terminator.
void bindText(StoreSession &session, int index, const char *text) noexcept;
void bindBlob(StoreSession &session, int index, const void *bytes, std::size_t count) noexcept;
// Steps for a row: true for a row, false when there is none or on an error, which `code` then tells.
bool stepToRow(StoreSession &session) noexcept;
// Like stepToRow, but a result that is neither row nor done fails the session.
bool stepToRowOrDone(StoreSession &session, SourceLine where) noexcept;
// Steps a statement that returns no row.
void stepToDone(StoreSession &session, SourceLine where) noexcept;
// Fails the session in its step for want of memory.
void failForMemory(StoreSession &session, SourceLine where) noexcept;
void finishStatement(StoreSession &session) noexcept;
void commitWrite(StoreSession &session, SourceLine where) noexcept;
// Ends the session: 0 when nothing failed, otherwise -2.
int closeStore(StoreSession &session, SourceLine where) noexcept;

// ---- Merging an update file into a store

// The log texts of one merge.
struct MergeOperation {
    StoreLogText enter;
    StoreFailureTexts openUpdate;
    StoreFailureTexts busyHandlerOfUpdate;
    StoreFailureTexts openTarget;
    StoreFailureTexts busyHandlerOfTarget;
    StoreLogText beginFailed;
    StoreLogText prepareFailed; // the update's rows, and the lookup in the target
    StoreLogText prepareInsertFailed;
    StoreLogText stepFailed;
    StoreLogText done;
    StoreLogText failed;
    const char *selectRows;
};

// Statements on the target, prepared when first needed and kept for all rows.
struct MergeStatements {
    VELQ_DSH_Statement *lookup;
    VELQ_DSH_Statement *insert;
    VELQ_DSH_Statement *update;
};

struct MergeSession {
    const MergeOperation *operation;
    VELQ_DSH_Connection *update;
    VELQ_DSH_Connection *target;
    VELQ_DSH_Statement *rows;
    MergeStatements statements;
    bool isOpen;        // both files are open and the target's transaction has begun
    bool isUnreachable; // a file could not be opened: the merge has failed
    int code;           // the last result code on the target; it decides how the merge ends
};

// Opens both files and begins the transaction on the target. A target that cannot begin gives a merge without rows that
// succeeds.
MergeSession openMerge(const MergeOperation &operation, const char *targetPath, const char *updatePath,
                       SourceLine where) noexcept;
// Moves to the next row of the update. False at its end (an error while reading counts as the end) and once the merge
// has failed. A last result code of row is no failure: the target knew the row before.
bool nextMergeRow(MergeSession &merge, SourceLine where) noexcept;
// Makes `statement` ready for binding; false when it cannot be prepared, which fails the merge.
bool prepareMergeStatement(MergeSession &merge, VELQ_DSH_Statement *&statement, const char *sql,
                           const StoreLogText &failure, SourceLine where) noexcept;
// Fails the merge because of the update's content.
void rejectMergeRow(MergeSession &merge, const char *format, SourceLine where) noexcept;
// Commits when the last result code is 0 or done, else rolls back; closes both files. 0 or -2.
int endMerge(MergeSession &merge, SourceLine where) noexcept;

#endif
