// The sequence of a merge, with the log texts of the merge that runs it.
#include "VELQ_DB_Merge.h"

static void closeMerge(MergeSession &merge) noexcept
{
    for (MergeStatement *statement : {&merge.rows, &merge.lookup, &merge.insert, &merge.update}) {
        VELQ_DSH_Fini(statement->prepared);
        statement->prepared = nullptr;
    }
    VELQ_DSH_Close(merge.target);
    VELQ_DSH_Close(merge.source);
    merge.isOpen = false;
}

// Connects to one of the two files.
static bool openMergeFile(const char *path, VELQ_DSH_Connection **connection, OpenCall call, const FailureTexts &open,
                          const FailureTexts &busyHandler) noexcept
{
    const ConnectResult result = connectDatabase(path, nullptr, connection, call);
    if (result.reached != ConnectStep::connected) {
        logFailure(result.reached == ConnectStep::open ? open : busyHandler, result.code, path);
        return false;
    }
    return true;
}

MergeSession openMerge(const MergeOperation &operation, const char *targetPath, const char *updatePath) noexcept
{
    const MergeTexts &texts = operation.texts;
    MergeSession merge{};
    merge.texts = &texts;
    merge.rows.texts = &texts.rows;
    merge.lookup.texts = &texts.lookup;
    merge.insert.texts = &texts.insert;
    merge.update.texts = &texts.update;
    logText(texts.enter);
    if (!openMergeFile(updatePath, &merge.source, VELQ_DSH_OpenForeign, texts.openSource, texts.busyHandlerOfSource) ||
        !openMergeFile(targetPath, &merge.target, VELQ_DSH_Open, texts.openTarget, texts.busyHandlerOfTarget)) {
        merge.isUnreachable = true;
        closeMerge(merge);
        return merge;
    }
    const int prepared = texts.beforeBegin != nullptr ? executeSql(merge.target, texts.beforeBegin) : VELQ_DSH_OK;
    // A lock that stayed for the whole wait is not waited for once more.
    const int code = prepared == VELQ_DSH_BUSY ? prepared : executeSql(merge.target, beginImmediate);
    if (code != VELQ_DSH_OK) {
        logText(texts.begin, code);
        executeSql(merge.target, commitTransaction);
        closeMerge(merge);
        return merge;
    }
    merge.isOpen = true;
    merge.code = prepared;
    return merge;
}

static bool isGood(const MergeSession &merge) noexcept
{
    return merge.code == VELQ_DSH_OK || merge.code == VELQ_DSH_DONE;
}

// True when the statement is prepared, now or before.
static bool prepareOn(VELQ_DSH_Connection *connection, MergeSession &merge, MergeStatement &statement) noexcept
{
    if (statement.prepared == nullptr) {
        merge.code = prepareSql(connection, statement.texts->sql, &statement.prepared);
        if (merge.code != VELQ_DSH_OK) {
            logBound(connection, merge.code);
            logText(statement.texts->prepare, merge.code);
        }
    }
    return statement.prepared != nullptr;
}

bool nextMergeRow(MergeSession &merge) noexcept
{
    if (!merge.isOpen || (!isGood(merge) && merge.code != VELQ_DSH_ROW)) {
        return false;
    }
    if (!prepareOn(merge.source, merge, merge.rows)) {
        return false;
    }
    const int code = VELQ_DSH_doNext(merge.rows.prepared);
    if (code != VELQ_DSH_ROW && code != VELQ_DSH_DONE && logBound(merge.source, code)) {
        merge.code = code;
    }
    return code == VELQ_DSH_ROW;
}

bool prepareMergeStatement(MergeSession &merge, MergeStatement &statement) noexcept
{
    statement.bound = VELQ_DSH_OK;
    return prepareOn(merge.target, merge, statement);
}

static void noteBinding(MergeStatement &statement, int code) noexcept
{
    if (statement.bound == VELQ_DSH_OK) {
        statement.bound = code;
    }
}

void bindMergeBlob(MergeStatement &statement, int index, const void *bytes, int count) noexcept
{
    noteBinding(statement, VELQ_DSH_mapBlob(statement.prepared, index, bytes, count, nullptr));
}

void bindMergeInt(MergeStatement &statement, int index, int value) noexcept
{
    noteBinding(statement, VELQ_DSH_mapInt(statement.prepared, index, value));
}

// Steps a statement that has all its values.
static int stepBound(const MergeStatement &statement) noexcept
{
    return statement.bound == VELQ_DSH_OK ? VELQ_DSH_doNext(statement.prepared) : statement.bound;
}

bool stepMergeLookup(MergeSession &merge) noexcept
{
    merge.code = stepBound(merge.lookup);
    if (merge.code == VELQ_DSH_ROW) {
        return true;
    }
    VELQ_DSH_Reset(merge.lookup.prepared);
    if (merge.code == VELQ_DSH_DONE) {
        return true;
    }
    logBound(merge.target, merge.code);
    logText(merge.lookup.texts->step, merge.code);
    return false;
}

void runMergeStatement(MergeSession &merge, MergeStatement &statement) noexcept
{
    merge.code = stepBound(statement);
    VELQ_DSH_Reset(statement.prepared);
    if (merge.code != VELQ_DSH_DONE) {
        logBound(merge.target, merge.code);
        logText(statement.texts->step, merge.code);
    }
}

void rejectMergeRow(MergeSession &merge, const LogText &cause) noexcept
{
    merge.code = VELQ_ERR_FAILED;
    logText(cause);
}

// The result of a commit is not examined, but for a bound: then everything is taken back.
static void commitMerge(MergeSession &merge) noexcept
{
    const int code = executeSql(merge.target, commitTransaction);
    if (code != VELQ_DSH_OK && logBound(merge.target, code)) {
        merge.code = code;
        executeSql(merge.target, rollbackTransaction);
    }
}

int endMerge(MergeSession &merge) noexcept
{
    if (merge.isUnreachable) {
        return VELQ_ERR_FAILED;
    }
    if (merge.isOpen) {
        // The update file is done with before the transaction on the target ends.
        VELQ_DSH_Fini(merge.rows.prepared);
        merge.rows.prepared = nullptr;
        if (isGood(merge)) {
            commitMerge(merge);
        } else {
            executeSql(merge.target, rollbackTransaction);
        }
        closeMerge(merge);
    }
    const bool succeeds = isGood(merge);
    logText(succeeds ? merge.texts->done : merge.texts->failed, merge.code);
    return succeeds ? 0 : VELQ_ERR_FAILED;
}
