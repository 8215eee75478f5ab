// Adds delivered token counts to the token store: new tokens are inserted, known ones get the counts added to their
// own.
#include "VELQ_WL_Store.h"

#include "VELQ_DB_Operation.h"
#include "VELQ_Util.h"
#include "bfilter/VELQ_BFilter_DataStore.h"

#include <cstring>

static constexpr MergeOperation probabilityMerge = {
    .enter = debugLine("%s:%d\t**********Enter db_MergeDiff2ProbTable()!********\n"),
    .openUpdate = {debugLine("%s:%d\tError:  Can not open db\n"), {}},
    .busyHandlerOfUpdate = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                            errorLine("%s:%d\t**********Error:Leave db_MergeDiff2ProbTable()!********\n")},
    .openTarget = {errorLine("%s:%d\tError:  Can not open db\n"), {}},
    .busyHandlerOfTarget = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                            errorLine("%s:%d\t**********Error:Leave db_MergeDiff2ProbTable()!********\n")},
    .beginFailed = debugLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
    .prepareFailed = errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
    .prepareInsertFailed = debugLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
    .stepFailed = errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
    .done = debugLine("%s:%d\t**********OK: Leave db_MergeDiff2ProbTable()!********\n"),
    .failed = errorLine("%s:%d\t**********Error: Leave db_MergeDiff2ProbTable()!********\n"),
    .selectRows = "select key, value FROM diffProbTable;"};

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
    const auto *key = static_cast<const unsigned char *>(VELQ_DSH_getBlob(merge.rows, 0));
    const int length = unitsBeforeZero(key, VELQ_DSH_getBytes(merge.rows, 0));
    if (length < 0) {
        rejectMergeRow(merge, "%s:%d\tError: key without terminator in update\n", {VELQ_HERE});
        return false;
    }
    token->length = static_cast<std::uint32_t>(length);
    token->key = static_cast<VELQ_WideChar *>(allocateMemory(keyBytes(*token) + sizeof(VELQ_WideChar)));
    if (token->key == nullptr) {
        rejectMergeRow(merge, "%s:%d\tError: Memory Allocate Failed\n", {VELQ_HERE});
        return false;
    }
    std::memcpy(token->key, key, keyBytes(*token));
    const void *value = VELQ_DSH_getBlob(merge.rows, 1);
    const auto valueBytes = static_cast<std::size_t>(VELQ_DSH_getBytes(merge.rows, 1));
    if (valueBytes < tokenValueBytes) {
        rejectMergeRow(merge, "%s:%d\tError: value too short in update\n", {VELQ_HERE});
        return false;
    }
    token->value = decodeTokenValue(value, valueBytes);
    return true;
}

// Whether the store has the token is told by the merge's result code: row or done. False when the merge has failed.
static bool lookUpToken(MergeSession &merge, const DeliveredToken &token, token_value *stored) noexcept
{
    VELQ_DSH_Statement *&lookup = merge.statements.lookup;
    if (!prepareMergeStatement(merge, lookup, "select value FROM velqTable WHERE (key=?);",
                               probabilityMerge.prepareFailed, {VELQ_HERE})) {
        return false;
    }
    VELQ_DSH_mapBlob(lookup, 1, token.key, static_cast<int>(keyBytes(token)), nullptr);
    merge.code = VELQ_DSH_doNext(lookup);
    if (merge.code == VELQ_DSH_ROW) {
        const void *value = VELQ_DSH_getBlob(lookup, 0);
        *stored = decodeTokenValue(value, static_cast<std::size_t>(VELQ_DSH_getBytes(lookup, 0)));
    }
    VELQ_DSH_Reset(lookup);
    if (merge.code != VELQ_DSH_ROW && merge.code != VELQ_DSH_DONE) {
        logStoreText(probabilityMerge.stepFailed, {VELQ_HERE}, merge.code, nullptr);
        return false;
    }
    return true;
}

static void insertToken(MergeSession &merge, const DeliveredToken &token) noexcept
{
    VELQ_DSH_Statement *&insert = merge.statements.insert;
    logDebug("%s:%d\t******** Not Found Record In prob.bin, going to insert... *********\n", VELQ_HERE);
    if (!prepareMergeStatement(merge, insert, "INSERT INTO velqTable(key, value) VALUES(?,?);",
                               probabilityMerge.prepareInsertFailed, {VELQ_HERE})) {
        return;
    }
    unsigned char bytes[tokenValueBytes];
    encodeTokenValue(bytes, token.value);
    VELQ_DSH_mapBlob(insert, 1, token.key, static_cast<int>(keyBytes(token)), nullptr);
    VELQ_DSH_mapBlob(insert, 2, bytes, tokenValueBytes, nullptr);
    merge.code = VELQ_DSH_doNext(insert);
    VELQ_DSH_Reset(insert);
    if (merge.code != VELQ_DSH_DONE) {
        logStoreText(probabilityMerge.stepFailed, {VELQ_HERE}, merge.code, nullptr);
    }
}

// Sums wrap; the stored reserved word is kept. A failed step is told by the leave line alone.
static void addToStored(MergeSession &merge, const DeliveredToken &token, token_value stored) noexcept
{
    VELQ_DSH_Statement *&update = merge.statements.update;
    logDebug("%s:%d\t******** Found Record In prob.bin, going to update... *********\n", VELQ_HERE);
    if (!prepareMergeStatement(merge, update, "UPDATE velqTable SET value=? WHERE (key=?);",
                               probabilityMerge.prepareFailed, {VELQ_HERE})) {
        return;
    }
    stored.spam += token.value.spam;
    stored.ham += token.value.ham;
    unsigned char bytes[tokenValueBytes];
    encodeTokenValue(bytes, stored);
    VELQ_DSH_mapBlob(update, 1, bytes, tokenValueBytes, nullptr);
    VELQ_DSH_mapBlob(update, 2, token.key, static_cast<int>(keyBytes(token)), nullptr);
    merge.code = VELQ_DSH_doNext(update);
    VELQ_DSH_Reset(update);
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
    MergeSession merge = openMerge(probabilityMerge, storePath, updatePath, {VELQ_HERE});
    while (nextMergeRow(merge, {VELQ_HERE})) {
        mergeToken(merge);
    }
    return endMerge(merge, {VELQ_HERE});
}
