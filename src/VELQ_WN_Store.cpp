// Adds delivered trusted numbers to the white list as hidden entries, leaving known ones alone.
//
// Delivered numbers are stored as UTF-16 blobs, numbers that the user adds as text. The two never compare equal, so
// only numbers of earlier deliveries count as known here.
#include "VELQ_WN_Store.h"

#include "VELQ_DB_Operation.h"
#include "VELQ_Util.h"

#include <cstring>

static constexpr MergeOperation whiteNumberMerge = {
    .enter = debugLine("%s:%d\t**********Enter db_MergeDiff2WnTable()!********\n"),
    .openUpdate = {errorLine("%s:%d\tError:  Can not open db\n"), {}},
    .busyHandlerOfUpdate = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                            debugLine("%s:%d\t**********Error:Leave db_MergeDiff2WnTable()!********\n")},
    .openTarget = {errorLine("%s:%d\tError:  Can not open db\n"), {}},
    .busyHandlerOfTarget = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                            errorLine("%s:%d\t**********Error:Leave db_MergeDiff2WnTable()!********\n")},
    .beginFailed = errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
    .prepareFailed = errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
    .prepareInsertFailed = debugLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
    .stepFailed = errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
    .done = debugLine("%s:%d\t**********OK: Leave db_MergeDiff2WnTable()!********\n"),
    .failed = errorLine("%s:%d\t**********Error: Leave db_MergeDiff2WnTable()!********\n"),
    .selectRows = "select number, name FROM diffWnTable;"};

static constexpr std::size_t mostUnits = 29;

// A number or name of the update, zero-filled behind its end.
struct DeliveredText {
    VELQ_WideChar units[mostUnits + 1];
    std::size_t length;
};

// The units and their zero unit.
static int storedBytes(const DeliveredText &text) noexcept
{
    return static_cast<int>((text.length + 1) * sizeof(VELQ_WideChar));
}

// False, with the merge failed, for a text without end or beyond the limit.
static bool readText(MergeSession &merge, int column, DeliveredText *text) noexcept
{
    const auto *bytes = static_cast<const unsigned char *>(VELQ_DSH_getBlob(merge.rows, column));
    const int length = unitsBeforeZero(bytes, VELQ_DSH_getBytes(merge.rows, column));
    if (length < 0 || static_cast<std::size_t>(length) > mostUnits) {
        rejectMergeRow(merge, "%s:%d\tError: number or name too long or without terminator in update\n", {VELQ_HERE});
        return false;
    }
    text->length = static_cast<std::size_t>(length);
    std::memcpy(text->units, bytes, text->length * sizeof(VELQ_WideChar));
    return true;
}

// Whether the list has the number is told by the merge's result code: row or done. False when the merge has failed.
static bool lookUpNumber(MergeSession &merge, const DeliveredText &number) noexcept
{
    VELQ_DSH_Statement *&lookup = merge.statements.lookup;
    if (!prepareMergeStatement(merge, lookup, "select uid FROM whiteList WHERE (number=?);",
                               whiteNumberMerge.prepareFailed, {VELQ_HERE})) {
        return false;
    }
    VELQ_DSH_mapBlob(lookup, 1, number.units, storedBytes(number), nullptr);
    merge.code = VELQ_DSH_doNext(lookup);
    VELQ_DSH_Reset(lookup);
    if (merge.code != VELQ_DSH_ROW && merge.code != VELQ_DSH_DONE) {
        logStoreText(whiteNumberMerge.stepFailed, {VELQ_HERE}, merge.code, nullptr);
        return false;
    }
    return true;
}

static void insertNumber(MergeSession &merge, const DeliveredText &number, const DeliveredText &name) noexcept
{
    VELQ_DSH_Statement *&insert = merge.statements.insert;
    logDebug("%s:%d\t******** Not Found Record In wn.bin, going to insert... *********\n", VELQ_HERE);
    if (!prepareMergeStatement(merge, insert, "INSERT INTO whiteList(hidden,number,name) VALUES(?,?,?);",
                               whiteNumberMerge.prepareInsertFailed, {VELQ_HERE})) {
        return;
    }
    VELQ_DSH_mapInt(insert, 1, 1); // hidden
    VELQ_DSH_mapBlob(insert, 2, number.units, storedBytes(number), nullptr);
    VELQ_DSH_mapBlob(insert, 3, name.units, storedBytes(name), nullptr);
    merge.code = VELQ_DSH_doNext(insert);
    VELQ_DSH_Reset(insert);
    if (merge.code != VELQ_DSH_DONE) {
        logStoreText(whiteNumberMerge.stepFailed, {VELQ_HERE}, merge.code, nullptr);
    }
}

// A known number leaves the result code at row. When it is the last of the update, the merge therefore ends with a
// rollback: update files are built so that their last number is new.
static void mergeNumber(MergeSession &merge) noexcept
{
    DeliveredText number{};
    DeliveredText name{};
    if (!readText(merge, 0, &number) || !readText(merge, 1, &name)) {
        return;
    }
    logDebug("%s:%d\tNumber got from diff Wn table:\n", VELQ_HERE);
    dumpHex(number.units, number.length);
    if (!lookUpNumber(merge, number)) {
        return;
    }
    if (merge.code == VELQ_DSH_ROW) {
        logDebug("%s:%d\t******** Found Record In wn.bin, ignore and continue... *********\n", VELQ_HERE);
    } else {
        insertNumber(merge, number, name);
    }
}

int db_MergeDiff2WnTable(const char *listPath, const char *updatePath) noexcept
{
    MergeSession merge = openMerge(whiteNumberMerge, listPath, updatePath, {VELQ_HERE});
    while (nextMergeRow(merge, {VELQ_HERE})) {
        mergeNumber(merge);
    }
    return endMerge(merge, {VELQ_HERE});
}
