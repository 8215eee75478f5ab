// The sequence open, busy handler, begin, prepare, step, commit or rollback, close, with the log texts of the operation
// that runs it. What the statements mean is left to the operations.
#include "VELQ_DB_Operation.h"

#include <cstring>

void logStoreText(const StoreLogText &text, SourceLine where, int code, const char *path) noexcept
{
    if (text.level == LogLevel::none) {
        return;
    }
    const auto write = text.level == LogLevel::error ? logError : logDebug;
    if (text.value == LogValue::path) {
        write(text.format, where.file, where.line, path);
    } else {
        write(text.format, where.file, where.line, text.value == LogValue::zero ? 0 : code);
    }
}

static void closeConnection(StoreSession &session) noexcept
{
    if (!session.isKeptOpen) {
        VELQ_DSH_Close(session.connection);
    }
    session.connection = nullptr;
}

// Cleans up after a failed phase and logs it. The first failure's code is the one that is kept.
static void failSession(StoreSession &session, StorePhase phase, SourceLine where) noexcept
{
    const StoreOperation &operation = *session.operation;
    session.hasFailed = true;
    session.failedPhase = phase;
    finishStatement(session);
    if (operation.rollsBack && phase >= StorePhase::step) {
        VELQ_DSH_Exec(session.connection, rollbackTransaction, nullptr, nullptr, nullptr);
    }
    closeConnection(session);
    const StoreFailureTexts &texts = operation.failures[static_cast<std::size_t>(phase)];
    logStoreText(texts.cause, where, session.code, session.path);
    logStoreText(texts.leave, where, session.code, session.path);
}

StoreSession openStore(const StoreOperation &operation, const char *path, VELQ_DSH_Connection *keptOpen,
                       SourceLine where) noexcept
{
    StoreSession session{};
    session.operation = &operation;
    session.path = path;
    session.connection = keptOpen;
    session.isKeptOpen = keptOpen != nullptr;
    if (!session.isKeptOpen) {
        session.code = openDatabase(path, &session.connection);
        if (session.code != VELQ_DSH_OK) {
            failSession(session, StorePhase::open, where);
            return session;
        }
    }
    session.code = VELQ_DSH_busyHandler(session.connection, sqliteBusyHandler, nullptr);
    if (session.code != VELQ_DSH_OK) {
        failSession(session, StorePhase::busyHandler, where);
    }
    return session;
}

void registerLike(StoreSession &session, VELQ_DSH_Function function, SourceLine where) noexcept
{
    if (session.hasFailed) {
        return;
    }
    session.code = VELQ_DSH_makeUserHand(session.connection, "like", 2, VELQ_DSH_ANY_TEXT, session.connection, function,
                                         nullptr, nullptr);
    if (session.code != VELQ_DSH_OK) {
        failSession(session, StorePhase::matcher, where);
    }
}

static void executeOrFail(StoreSession &session, const char *sql, StorePhase phase, SourceLine where) noexcept
{
    if (session.hasFailed) {
        return;
    }
    session.code = VELQ_DSH_Exec(session.connection, sql, nullptr, nullptr, nullptr);
    if (session.code != VELQ_DSH_OK) {
        failSession(session, phase, where);
    }
}

void beginWrite(StoreSession &session, SourceLine where) noexcept
{
    executeOrFail(session, beginImmediate, StorePhase::begin, where);
}

void commitWrite(StoreSession &session, SourceLine where) noexcept
{
    executeOrFail(session, commitTransaction, StorePhase::commit, where);
}

void prepareStatement(StoreSession &session, const char *sql, SourceLine where) noexcept
{
    if (session.hasFailed) {
        return;
    }
    const char *tail = nullptr;
    session.code =
        VELQ_DSH_Prepare(session.connection, sql, static_cast<int>(std::strlen(sql)), &session.statement, &tail);
    if (session.code != VELQ_DSH_OK) {
        failSession(session, StorePhase::prepare, where);
    }
}

void bindInt(StoreSession &session, int index, int value) noexcept
{
    if (!session.hasFailed) {
        VELQ_DSH_mapInt(session.statement, index, value);
    }
}

void bindText(StoreSession &session, int index, const char *text) noexcept
{
    if (!session.hasFailed) {
        VELQ_DSH_mapText(session.statement, index, text, static_cast<int>(std::strlen(text)) + 1, nullptr);
    }
}

void bindBlob(StoreSession &session, int index, const void *bytes, std::size_t count) noexcept
{
    if (!session.hasFailed) {
        VELQ_DSH_mapBlob(session.statement, index, bytes, static_cast<int>(count), nullptr);
    }
}

bool stepToRow(StoreSession &session) noexcept
{
    if (session.hasFailed) {
        return false;
    }
    session.code = VELQ_DSH_doNext(session.statement);
    return session.code == VELQ_DSH_ROW;
}

bool stepToRowOrDone(StoreSession &session, SourceLine where) noexcept
{
    const bool row = stepToRow(session);
    if (!session.hasFailed && !row && session.code != VELQ_DSH_DONE) {
        failSession(session, StorePhase::step, where);
    }
    return row;
}

void stepToDone(StoreSession &session, SourceLine where) noexcept
{
    stepToRow(session);
    if (!session.hasFailed && session.code != VELQ_DSH_DONE) {
        failSession(session, StorePhase::step, where);
    }
}

void failForMemory(StoreSession &session, SourceLine where) noexcept
{
    session.code = VELQ_DSH_NOMEM;
    failSession(session, StorePhase::step, where);
}

void finishStatement(StoreSession &session) noexcept
{
    VELQ_DSH_Fini(session.statement);
    session.statement = nullptr;
}

int closeStore(StoreSession &session, SourceLine where) noexcept
{
    if (session.hasFailed) {
        return VELQ_ERR_FAILED;
    }
    finishStatement(session);
    closeConnection(session);
    logStoreText(session.operation->done, where, session.code, session.path);
    return 0;
}

// ---- Merging an update file into a store

static void closeMerge(MergeSession &merge) noexcept
{
    for (VELQ_DSH_Statement *statement :
         {merge.rows, merge.statements.lookup, merge.statements.insert, merge.statements.update}) {
        VELQ_DSH_Fini(statement);
    }
    VELQ_DSH_Close(merge.target);
    VELQ_DSH_Close(merge.update);
    merge.isOpen = false;
}

// Opens one of the two files and installs the busy handler on it.
static bool openMergeFile(const char *path, VELQ_DSH_Connection *&connection, const StoreFailureTexts &openFailed,
                          const StoreFailureTexts &busyHandlerFailed, SourceLine where) noexcept
{
    const StoreFailureTexts *failure = nullptr;
    int code = openDatabase(path, &connection);
    if (code != VELQ_DSH_OK) {
        failure = &openFailed;
    } else {
        code = VELQ_DSH_busyHandler(connection, sqliteBusyHandler, nullptr);
        failure = code != VELQ_DSH_OK ? &busyHandlerFailed : nullptr;
    }
    if (failure == nullptr) {
        return true;
    }
    logStoreText(failure->cause, where, code, path);
    logStoreText(failure->leave, where, code, path);
    return false;
}

MergeSession openMerge(const MergeOperation &operation, const char *targetPath, const char *updatePath,
                       SourceLine where) noexcept
{
    MergeSession merge{};
    merge.operation = &operation;
    logStoreText(operation.enter, where, 0, targetPath);
    if (!openMergeFile(updatePath, merge.update, operation.openUpdate, operation.busyHandlerOfUpdate, where) ||
        !openMergeFile(targetPath, merge.target, operation.openTarget, operation.busyHandlerOfTarget, where)) {
        merge.isUnreachable = true;
        closeMerge(merge);
        return merge;
    }
    const int code = VELQ_DSH_Exec(merge.target, beginImmediate, nullptr, nullptr, nullptr);
    if (code != VELQ_DSH_OK) {
        logStoreText(operation.beginFailed, where, code, targetPath);
        VELQ_DSH_Exec(merge.target, commitTransaction, nullptr, nullptr, nullptr);
        closeMerge(merge);
        return merge;
    }
    merge.isOpen = true;
    return merge;
}

static bool succeeded(const MergeSession &merge) noexcept
{
    return merge.code == VELQ_DSH_OK || merge.code == VELQ_DSH_DONE;
}

bool nextMergeRow(MergeSession &merge, SourceLine where) noexcept
{
    if (!merge.isOpen || (!succeeded(merge) && merge.code != VELQ_DSH_ROW)) {
        return false;
    }
    if (merge.rows == nullptr) {
        const char *sql = merge.operation->selectRows;
        const char *tail = nullptr;
        merge.code = VELQ_DSH_Prepare(merge.update, sql, static_cast<int>(std::strlen(sql)), &merge.rows, &tail);
        if (merge.code != VELQ_DSH_OK) {
            logStoreText(merge.operation->prepareFailed, where, merge.code, nullptr);
            return false;
        }
    }
    return VELQ_DSH_doNext(merge.rows) == VELQ_DSH_ROW;
}

bool prepareMergeStatement(MergeSession &merge, VELQ_DSH_Statement *&statement, const char *sql,
                           const StoreLogText &failure, SourceLine where) noexcept
{
    if (statement != nullptr) {
        return true;
    }
    const char *tail = nullptr;
    merge.code = VELQ_DSH_Prepare(merge.target, sql, static_cast<int>(std::strlen(sql)), &statement, &tail);
    if (merge.code != VELQ_DSH_OK) {
        logStoreText(failure, where, merge.code, nullptr);
    }
    return merge.code == VELQ_DSH_OK;
}

void rejectMergeRow(MergeSession &merge, const char *format, SourceLine where) noexcept
{
    merge.code = VELQ_ERR_FAILED;
    logStoreText(errorLine(format), where, merge.code, nullptr);
}

int endMerge(MergeSession &merge, SourceLine where) noexcept
{
    if (merge.isUnreachable) {
        return VELQ_ERR_FAILED;
    }
    const bool isGood = succeeded(merge);
    if (merge.isOpen) {
        // The update file is done with before the transaction on the target ends.
        VELQ_DSH_Fini(merge.rows);
        merge.rows = nullptr;
        VELQ_DSH_Exec(merge.target, isGood ? commitTransaction : rollbackTransaction, nullptr, nullptr, nullptr);
        closeMerge(merge);
    }
    logStoreText(isGood ? merge.operation->done : merge.operation->failed, where, merge.code, nullptr);
    return isGood ? 0 : VELQ_ERR_FAILED;
}
