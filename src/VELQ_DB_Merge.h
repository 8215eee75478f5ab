// Merging an update file into a store, written once for both kinds of update: two connections, one transaction on the
// target, the update's rows one by one. What differs (SQL and log texts) is a constant record; what a row means stays
// with the merge:
//
//     openMerge, nextMergeRow for each row, endMerge
//
// The target's last result code decides how a merge ends. A bound of the access layer, on either file, fails the merge;
// else nothing that happens to the transaction itself does.
#ifndef VELQ_DB_MERGE_H
#define VELQ_DB_MERGE_H

#include "VELQ_DB_Connection.h"
#include "VELQ_Log_Text.h"

#include <cstdint>

// One statement of a merge and what is logged when it fails.
struct MergeStatementTexts {
    const char *sql = nullptr; // null: the merge does without
    LogText prepare{};
    LogText step{};
};

struct MergeTexts {
    LogText enter{};
    FailureTexts openSource{};
    FailureTexts busyHandlerOfSource{};
    FailureTexts openTarget{};
    FailureTexts busyHandlerOfTarget{};
    const char *beforeBegin = nullptr; // SQL run on the target when it is open; null for none
    LogText begin{};
    MergeStatementTexts rows{};   // of the update; a failed step is taken for their end, but for a bound
    MergeStatementTexts lookup{}; // these three run on the target
    MergeStatementTexts insert{};
    MergeStatementTexts update{}; // of a row that the target knows; a failed step is told by the leave line alone
    LogText done{};
    LogText failed{};
};

// Whether every step that the merge runs has the text of its failure, but for the two that have none.
consteval bool hasTextsOfItsSteps(const MergeTexts &texts)
{
    const auto isLogged = [](const LogText &text) { return text.format != nullptr; };
    return isLogged(texts.openSource.cause) && isLogged(texts.busyHandlerOfSource.cause) &&
           isLogged(texts.openTarget.cause) && isLogged(texts.busyHandlerOfTarget.cause) && isLogged(texts.begin) &&
           texts.rows.sql != nullptr && isLogged(texts.rows.prepare) && !isLogged(texts.rows.step) &&
           texts.lookup.sql != nullptr && isLogged(texts.lookup.prepare) && isLogged(texts.lookup.step) &&
           texts.insert.sql != nullptr && isLogged(texts.insert.prepare) && isLogged(texts.insert.step) &&
           isLogged(texts.update.prepare) == (texts.update.sql != nullptr) && !isLogged(texts.update.step) &&
           isLogged(texts.failed);
}

void mergeOperationLacksTexts(); // nowhere defined: an incomplete record does not compile

struct MergeOperation {
    consteval explicit MergeOperation(const MergeTexts &given) : texts(given)
    {
        if (!hasTextsOfItsSteps(given)) {
            mergeOperationLacksTexts();
        }
    }

    MergeTexts texts;
};

// A statement with its texts; prepared when first needed and kept for all rows.
struct MergeStatement {
    const MergeStatementTexts *texts;
    VELQ_DSH_Statement *prepared;
    int bound; // the result of binding its values: the first failure's code, or 0
};

struct MergeSession {
    const MergeTexts *texts;
    VELQ_DSH_Connection *source; // the update file
    VELQ_DSH_Connection *target;
    MergeStatement rows;
    MergeStatement lookup;
    MergeStatement insert;
    MergeStatement update;
    bool isOpen;        // both files are open and the target's transaction has begun
    bool isUnreachable; // a file could not be opened: the merge has failed
    int code;           // the last result code on the target, or a bound's; it decides how the merge ends
};

// Opens both files and begins the transaction on the target. A target that cannot begin gives a merge without rows that
// succeeds; one that begins, but refused what is to be run before, fails the merge.
MergeSession openMerge(const MergeOperation &operation, const char *targetPath, const char *updatePath) noexcept;
// Moves to the next row of the update. False at its end (an error while reading counts as the end, a bound fails the
// merge) and once the merge has failed. A last result code of row is no failure: the target knew the row before.
bool nextMergeRow(MergeSession &merge) noexcept;
// Makes a statement of the target ready for binding; false when it cannot be prepared, which fails the merge.
bool prepareMergeStatement(MergeSession &merge, MergeStatement &statement) noexcept;
// Binds one value. A statement with a value that could not be bound fails in its place when it is stepped. Bound memory
// outlives the step.
void bindMergeBlob(MergeStatement &statement, int index, const void *bytes, int count) noexcept;
void bindMergeInt(MergeStatement &statement, int index, int value) noexcept;
// Steps the lookup. True with the merge's code at row or done, false when it has failed. On a row, the caller reads the
// columns and resets the statement.
bool stepMergeLookup(MergeSession &merge) noexcept;
// Steps and resets a statement that returns no row.
void runMergeStatement(MergeSession &merge, MergeStatement &statement) noexcept;
// Fails the merge because of the update's content.
void rejectMergeRow(MergeSession &merge, const LogText &cause) noexcept;
// Commits when the last result code is 0 or done, else rolls back; closes both files. 0 or -2.
int endMerge(MergeSession &merge) noexcept;

#endif
