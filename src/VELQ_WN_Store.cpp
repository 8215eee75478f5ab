// Adds delivered trusted numbers to the white list as hidden entries, leaving known ones alone.
//
// Delivered numbers are stored as UTF-16 blobs, numbers that the user adds as text. The two never compare equal, so
// only numbers of earlier deliveries count as known here.
#include "VELQ_WN_Store.h"

#include "VELQ_DB_Merge.h"
#include "VELQ_Util.h"

#include <cstring>

static constexpr MergeOperation whiteNumberMerge({
    .enter = debugLine("%s:%d\t**********Enter db_MergeDiff2WnTable()!********\n"),
    .openSource = {errorLine("%s:%d\tError:  Can not open db\n")},
    .busyHandlerOfSource = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                            debugLine("%s:%d\t**********Error:Leave db_MergeDiff2WnTable()!********\n")},
    .openTarget = {errorLine("%s:%d\tError:  Can not open db\n")},
    .busyHandlerOfTarget = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                            errorLine("%s:%d\t**********Error:Leave db_MergeDiff2WnTable()!********\n")},
    .begin = errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
    .rows = {.sql = "select number, name FROM diffWnTable;", .prepare = errorLine("%s:%d\tError: VELQ_DSH_Prepare\n")},
    .lookup = {.sql = "select uid FROM whiteList WHERE (number=?);",
               .prepare = errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
               .step = errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n")},
    .insert = {.sql = "INSERT INTO whiteList(hidden,number,name) VALUES(?,?,?);",
               .prepare = debugLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
               .step = errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n")},
    .done = debugLine("%s:%d\t**********OK: Leave db_MergeDiff2WnTable()!********\n"),
    .failed = errorLine("%s:%d\t**********Error: Leave db_MergeDiff2WnTable()!********\n"),
});

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
    VELQ_DSH_Statement *row = merge.rows.prepared;
    const auto *bytes = static_cast<const unsigned char *>(VELQ_DSH_getBlob(row, column));
    const int length = unitsBeforeZero(bytes, VELQ_DSH_getBytes(row, column));
    if (length < 0 || static_cast<std::size_t>(length) > mostUnits) {
        rejectMergeRow(merge, errorLine("%s:%d\tError: number or name too long or without terminator in update\n"));
        return false;
    }
    text->length = static_cast<std::size_t>(length);
    std::memcpy(text->units, bytes, text->length * sizeof(VELQ_WideChar));
    return true;
}

static void bindStored(MergeStatement &statement, int index, const DeliveredText &text) noexcept
{
    bindMergeBlob(statement, index, text.units, storedBytes(text));
}

// Whether the list has the number is told by the merge's result code: row or done. False when the merge has failed.
static bool lookUpNumber(MergeSession &merge, const DeliveredText &number) noexcept
{
    if (!prepareMergeStatement(merge, merge.lookup)) {
        return false;
    }
    bindStored(merge.lookup, 1, number);
    if (!stepMergeLookup(merge)) {
        return false;
    }
    if (merge.code == VELQ_DSH_ROW) {
        VELQ_DSH_Reset(merge.lookup.prepared);
    }
    return true;
}

static void insertNumber(MergeSession &merge, const DeliveredText &number, const DeliveredText &name) noexcept
{
    constexpr int hidden = 1;
    logDebug("%s:%d\t******** Not Found Record In wn.bin, going to insert... *********\n", VELQ_HERE);
    if (!prepareMergeStatement(merge, merge.insert)) {
        return;
    }
    bindMergeInt(merge.insert, 1, hidden);
    bindStored(merge.insert, 2, number);
    bindStored(merge.insert, 3, name);
    runMergeStatement(merge, merge.insert);
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
    MergeSession merge = openMerge(whiteNumberMerge, listPath, updatePath);
    while (nextMergeRow(merge)) {
        mergeNumber(merge);
    }
    return endMerge(merge);
}
