// Adds delivered token counts to the token store: new tokens are inserted, known ones get the counts added to their
// own.
#include "VELQ_WL_Store.h"

#include "VELQ_DB_Merge.h"
#include "VELQ_Util.h"
#include "bfilter/VELQ_BFilter_DataStore.h"

#include <cstring>

static constexpr MergeOperation probabilityMerge({
    .enter = debugLine("%s:%d\t**********Enter db_MergeDiff2ProbTable()!********\n"),
    .openSource = {debugLine("%s:%d\tError:  Can not open db\n")},
    .busyHandlerOfSource = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                            errorLine("%s:%d\t**********Error:Leave db_MergeDiff2ProbTable()!********\n")},
    .openTarget = {errorLine("%s:%d\tError:  Can not open db\n")},
    .busyHandlerOfTarget = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                            errorLine("%s:%d\t**********Error:Leave db_MergeDiff2ProbTable()!********\n")},
    // A store in write-ahead mode lets commits run ahead of the disk, but the version record that follows must not tell
    // of an update that a loss of power takes back.
    .beforeBegin = "PRAGMA synchronous = FULL;",
    .begin = debugLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
    .rows = {.sql = "select key, value FROM diffProbTable;", .prepare = errorLine("%s:%d\tError: VELQ_DSH_Prepare\n")},
    .lookup = {.sql = "select value FROM velqTable WHERE (key=?);",
               .prepare = errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
               .step = errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n")},
    .insert = {.sql = "INSERT INTO velqTable(key, value) VALUES(?,?);",
               .prepare = debugLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
               .step = errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n")},
    .update = {.sql = "UPDATE velqTable SET value=? WHERE (key=?);",
               .prepare = errorLine("%s:%d\tError: VELQ_DSH_Prepare\n")},
    .done = debugLine("%s:%d\t**********OK: Leave db_MergeDiff2ProbTable()!********\n"),
    .failed = errorLine("%s:%d\t**********Error: Leave db_MergeDiff2ProbTable()!********\n"),
});

// One row of the update; the key's text is allocated.
struct DeliveredToken {
    VELQ_WideChar *key;
    std::uint32_t length;
    token_value value;
};

static std::size_t keyBytes(const DeliveredToken &token) noexcept
{
    return token.length * sizeof(VELQ_WideChar);
}

// False, with the merge failed, for a row that is not as it should be.
static bool readToken(MergeSession &merge, DeliveredToken *token) noexcept
{
    VELQ_DSH_Statement *row = merge.rows.prepared;
    const auto *key = static_cast<const unsigned char *>(VELQ_DSH_getBlob(row, 0));
    const int length = unitsBeforeZero(key, VELQ_DSH_getBytes(row, 0));
    if (length < 0) {
        rejectMergeRow(merge, errorLine("%s:%d\tError: key without terminator in update\n"));
        return false;
    }
    token->length = static_cast<std::uint32_t>(length);
    token->key = static_cast<VELQ_WideChar *>(allocateMemory(keyBytes(*token) + sizeof(VELQ_WideChar)));
    if (token->key == nullptr) {
        rejectMergeRow(merge, errorLine("%s:%d\tError: Memory Allocate Failed\n"));
        return false;
    }
    std::memcpy(token->key, key, keyBytes(*token));
    const void *value = VELQ_DSH_getBlob(row, 1);
    const auto valueBytes = static_cast<std::size_t>(VELQ_DSH_getBytes(row, 1));
    if (valueBytes < tokenValueBytes) {
        rejectMergeRow(merge, errorLine("%s:%d\tError: value too short in update\n"));
        return false;
    }
    token->value = decodeTokenValue(value, valueBytes);
    return true;
}

static void bindKey(MergeStatement &statement, int index, const DeliveredToken &token) noexcept
{
    bindMergeBlob(statement, index, token.key, static_cast<int>(keyBytes(token)));
}

// Whether the store has the token is told by the merge's result code: row or done. False when the merge has failed.
static bool lookUpToken(MergeSession &merge, const DeliveredToken &token, token_value *stored) noexcept
{
    MergeStatement &lookup = merge.lookup;
    if (!prepareMergeStatement(merge, lookup)) {
        return false;
    }
    bindKey(lookup, 1, token);
    if (!stepMergeLookup(merge)) {
        return false;
    }
    if (merge.code == VELQ_DSH_ROW) {
        const void *value = VELQ_DSH_getBlob(lookup.prepared, 0);
        *stored = decodeTokenValue(value, static_cast<std::size_t>(VELQ_DSH_getBytes(lookup.prepared, 0)));
        VELQ_DSH_Reset(lookup.prepared);
    }
    return true;
}

static void insertToken(MergeSession &merge, const DeliveredToken &token) noexcept
{
    logDebug("%s:%d\t******** Not Found Record In prob.bin, going to insert... *********\n", VELQ_HERE);
    if (!prepareMergeStatement(merge, merge.insert)) {
        return;
    }
    unsigned char bytes[tokenValueBytes];
    encodeTokenValue(bytes, token.value);
    bindKey(merge.insert, 1, token);
    bindMergeBlob(merge.insert, 2, bytes, tokenValueBytes);
    runMergeStatement(merge, merge.insert);
}

// Sums wrap; the stored reserved word is kept.
static void addToStored(MergeSession &merge, const DeliveredToken &token, token_value stored) noexcept
{
    logDebug("%s:%d\t******** Found Record In prob.bin, going to update... *********\n", VELQ_HERE);
    if (!prepareMergeStatement(merge, merge.update)) {
        return;
    }
    stored.spam += token.value.spam;
    stored.ham += token.value.ham;
    unsigned char bytes[tokenValueBytes];
    encodeTokenValue(bytes, stored);
    bindMergeBlob(merge.update, 1, bytes, tokenValueBytes);
    bindKey(merge.update, 2, token);
    runMergeStatement(merge, merge.update);
}

static void mergeToken(MergeSession &merge) noexcept
{
    DeliveredToken token{};
    token_value stored{};
    if (readToken(merge, &token) && lookUpToken(merge, token, &stored)) {
        if (merge.code == VELQ_DSH_ROW) {
            addToStored(merge, token, stored);
        } else {
            insertToken(merge, token);
        }
    }
    freeMemory(token.key);
}

int db_MergeDiff2ProbTable(const char *storePath, const char *updatePath) noexcept
{
    MergeSession merge = openMerge(probabilityMerge, storePath, updatePath);
    while (nextMergeRow(merge)) {
        mergeToken(merge);
    }
    return endMerge(merge);
}
