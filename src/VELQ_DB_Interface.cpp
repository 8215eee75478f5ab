// The number lists over their data files, and the training of one message body. The steps that every operation shares,
// from opening the file to closing it, are VELQ_DB_Operation's; here stand the SQL, the values and the log texts.
#include "VELQ_DB_Interface.h"

#include "VELQ_DB_Operation.h"
#include "VELQ_Number_Match.h"
#include "VELQ_Word_Seg.h"
#include "bfilter/VELQ_BFilter_Interface.h"

#include <cstring>

// ---- The lists and their files

// One SQL text for each list kind; null where the operation does not take the kind.
struct KindStatements {
    const char *white = nullptr;
    const char *black = nullptr;
    const char *rule = nullptr;
};

static const char *statementFor(const KindStatements &statements, std::int32_t kind) noexcept
{
    switch (kind) {
    case NUMBER_LIST_WHITE:
        return statements.white;
    case NUMBER_LIST_BLACK:
        return statements.black;
    case NUMBER_LIST_RULE:
        return statements.rule;
    default:
        return nullptr;
    }
}

static const char *pathFor(std::int32_t kind) noexcept
{
    return kind == NUMBER_LIST_WHITE   ? engineState.whiteListPath
           : kind == NUMBER_LIST_BLACK ? engineState.blackListPath
                                       : engineState.ruleListPath;
}

static bool isUserList(std::int32_t kind) noexcept
{
    return kind == NUMBER_LIST_WHITE || kind == NUMBER_LIST_BLACK;
}

static bool isFlag(std::int32_t hidden) noexcept
{
    return hidden == 0 || hidden == 1;
}

static bool isFilter(std::int32_t hidden) noexcept
{
    return hidden == VELQ_HIDDEN_ANY || isFlag(hidden);
}

// ---- Records of the interface

int convertNumberRecord(NumberEntry *entry, const NumberRecord *record) noexcept
{
    if (record == nullptr || !convertEntry(entry, record->number, record->name)) {
        logError("%s:%d\tError: no number given, or number or name too long\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    return 0;
}

// ---- Lookup

static constexpr StoreOperation searchNumberList({
    .kind = StoreKind::read,
    .like = SqlFunction(db_NumberLike),
    .open = {errorLine("%s:%d\tError:  Can not open db\n"),
             errorLine("%s:%d\t**********Error: db_SearchNumberList()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_SearchNumberList()!********\n")},
    .registerLike = {errorLine("%s:%d\tError: VELQ_DSH_makeUserHand\n"),
                     errorLine("%s:%d\t**********Error:Leave db_SearchNumberList()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                errorLine("%s:%d\t**********Error:Leave db_SearchNumberList()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             errorLine("%s:%d\t**********Error:Leave db_SearchNumberList()!********\n")},
});

namespace {

// A lookup stops at the row at which as many as this did not match. From there on it is cheaper to ask the list's
// index, and where that does not tell, the time it took is little beside the rows'. A standing connection keeps the
// question's statement; any other has to compile it.
constexpr std::uint32_t rowsBeforePause = 1024;
constexpr std::uint32_t rowsBeforePauseKeptOpen = 512;

// The lookup of this thread that runs up to its pause; none while no rows are left to it.
struct PausingLookup {
    const char *key;
    std::uint32_t rowsLeft;
};

thread_local PausingLookup pausingLookup{};

} // namespace

// The rule for one row of a pausing lookup. The row of the pause counts as a match, which ends the step; no result is
// no match.
static void visitRow(VELQ_DSH_Context *context, VELQ_DSH_Value *number) noexcept
{
    const auto *text = reinterpret_cast<const char *>(VELQ_DSH_resultText(number));
    const bool matches = text != nullptr && matchKeys(pausingLookup.key, text) == KeyMatch::equal;
    if (matches || --pausingLookup.rowsLeft == 0) {
        VELQ_DSH_returnInt(context, 1);
    }
}

void db_NumberLike(VELQ_DSH_Context *context, int, VELQ_DSH_Value **values) noexcept
{
    if (pausingLookup.rowsLeft != 0) {
        visitRow(context, values[1]);
        return;
    }
    const auto *first = reinterpret_cast<const char *>(VELQ_DSH_resultText(values[0]));
    const auto *second = reinterpret_cast<const char *>(VELQ_DSH_resultText(values[1]));
    if (first == nullptr || second == nullptr) {
        return;
    }
    const KeyMatch match = matchKeys(first, second);
    if (match != KeyMatch::bothEmpty) { // two empty numbers get no result, which is no match
        VELQ_DSH_returnInt(context, match == KeyMatch::equal ? 1 : 0);
    }
}

// Steps to the first row that matches, or to the pause; true for the pause. The database's result code is `*code`.
static bool stepToPause(const StoreSession &session, const char *number, int *code) noexcept
{
    pausingLookup = {number, session.isKeptOpen ? rowsBeforePauseKeptOpen : rowsBeforePause};
    *code = VELQ_DSH_doNext(session.statement);
    const bool isPause = pausingLookup.rowsLeft == 0;
    pausingLookup = {};
    return isPause;
}

static void prepareLookup(StoreSession &session, const char *sql, const char *number) noexcept
{
    prepareStatement(session, sql);
    bindText(session, 1, number);
}

// Whether the prepared lookup has a row. On a long list the index is asked; where it does not tell, the lookup goes on.
static bool hasRow(StoreSession &session, const char *sql, const char *indexSql, const char *number) noexcept
{
    int code = VELQ_DSH_OK;
    if (!stepToPause(session, number, &code)) {
        return acceptRow(session, code);
    }
    // Reading the other columns of the row of the pause may have failed, which is nothing to a lookup without it.
    const IndexAnswer answer =
        code == VELQ_DSH_ROW ? askNumberIndex(session.connection, indexSql, number) : IndexAnswer::failed;
    switch (answer) {
    case IndexAnswer::listed:
        return true;
    case IndexAnswer::notListed:
        return false;
    case IndexAnswer::unusable:
        break;
    case IndexAnswer::failed:
        finishStatement(session);
        prepareLookup(session, sql, number);
        break;
    }
    return stepToRow(session);
}

int db_SearchNumberList(std::uint8_t *found, const char *number, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {.white = "select * FROM whiteList WHERE number LIKE ?;",
                                                  .black = "select * FROM blackList WHERE number LIKE ?;"};
    // Do not compile where the index is missing or leaves out rows.
    static constexpr KindStatements indexStatements = {
        .white = "SELECT number, CAST('1' AS BLOB) = x'31' FROM whiteList INDEXED BY whiteListNumber"
                 " WHERE number < ? COLLATE BINARY ORDER BY number COLLATE BINARY DESC;",
        .black = "SELECT number, CAST('1' AS BLOB) = x'31' FROM blackList INDEXED BY blackListNumber"
                 " WHERE number < ? COLLATE BINARY ORDER BY number COLLATE BINARY DESC;"};
    if (!isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    VELQ_DSH_Connection *keptOpen = kind == NUMBER_LIST_WHITE ? engineState.whiteListConn : engineState.blackListConn;
    StoreSession session = openStore(searchNumberList, pathFor(kind), keptOpen);
    const char *sql = statementFor(statements, kind);
    prepareLookup(session, sql, number);
    if (!hasFailed(session)) {
        *found = hasRow(session, sql, statementFor(indexStatements, kind), number) ? 1 : 0;
    }
    return endStore(session);
}

int db_SearchBlackNumberList(std::uint8_t *found, const char *number) noexcept
{
    return db_SearchNumberList(found, number, NUMBER_LIST_BLACK);
}

int db_SearchWhiteNumberList(std::uint8_t *found, const char *number) noexcept
{
    return db_SearchNumberList(found, number, NUMBER_LIST_WHITE);
}

// ---- Editing

static constexpr KindStatements insertStatements = {
    .white = "INSERT INTO whiteList(hidden,number,name,extendID) VALUES(?,?,?,?);",
    .black = "INSERT INTO blackList(hidden,number,name,extendID) VALUES(?,?,?,?);",
    .rule = "INSERT INTO ruleList(number) VALUES(?);"};

static constexpr StoreOperation addNumberRecord({
    .kind = StoreKind::write,
    .rollsBack = true,
    .open = {errorLine("%s:%d\tError:  Can not open db\n"),
             errorLine("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n")},
    .begin = {errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
              errorLine("%s:%d\t**********Error: Leave db_AddNumberRecord()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                errorLine("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             errorLine("%s:%d\t**********Error: Leave db_AddNumberRecord()!********\n")},
    .commit = {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n"),
               errorLine("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n")},
});

// Binds the four values of an entry; the number is reversed already.
static void bindEntry(StoreSession &session, std::int32_t hidden, const char *number, const VELQ_WideChar *name,
                      std::int32_t extendID) noexcept
{
    static constexpr VELQ_WideChar noName[1] = {};
    bindInt(session, 1, hidden);
    bindText(session, 2, number);
    bindBlob(session, 3, name != nullptr ? name : noName, (wideLength(name) + 1) * sizeof(VELQ_WideChar));
    bindInt(session, 4, extendID);
}

int db_AddNumberRecord(const VELQ_WideChar *name, char *number, std::int32_t hidden, std::int32_t extendID,
                       std::int32_t kind) noexcept
{
    if (!isFlag(hidden)) {
        return VELQ_ERR_FAILED;
    }
    reverseNumber(number);
    if (kind != NUMBER_LIST_RULE) {
        std::uint8_t found = 0;
        if (db_SearchNumberList(&found, number, kind) != 0) {
            logError("%s:%d\tError:  db_SearchNumberList()\n", VELQ_HERE);
            logError("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n", VELQ_HERE);
            return VELQ_ERR_FAILED;
        }
        if (found != 0) {
            logDebug("%s:%d\tOK:  db_AddNumberRecord(), Number is already in DB, return!\n", VELQ_HERE);
            logDebug("%s:%d\t**********OK: Leave db_AddNumberRecord!********\n", VELQ_HERE);
            return 0;
        }
    }
    StoreSession session = openStore(addNumberRecord, pathFor(kind));
    prepareStatement(session, statementFor(insertStatements, kind));
    if (kind == NUMBER_LIST_RULE) {
        bindText(session, 1, number);
    } else {
        bindEntry(session, hidden, number, name, extendID);
    }
    stepToDone(session);
    return endStore(session);
}

// Runs no rollback: closing the connection abandons the transaction.
static constexpr StoreOperation deleteNumberRecord({
    .kind = StoreKind::write,
    .like = SqlFunction(db_NumberLike),
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open\n"),
             errorLine("%s:%d\t**********Error:Leave db_DeleteNumberRecord()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_DeleteNumberRecord()!********\n")},
    .registerLike = {errorLine("%s:%d\tError: VELQ_DSH_makeUserHand\n")},
    .begin = {errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
              errorLine("%s:%d\t**********Error: Leave db_DeleteNumberRecord()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                errorLine("%s:%d\t**********Error:Leave db_DeleteNumberRecord()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             errorLine("%s:%d\t**********Error: Leave db_DeleteNumberRecord()!********\n")},
    .commit = {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n"),
               errorLine("%s:%d\t**********Error:Leave db_DeleteNumberRecord()!********\n")},
});

// Deletes the rows that match.
static int deleteMatching(char *number, std::int32_t kind, bool *hasMetBound) noexcept
{
    static constexpr KindStatements statements = {.white = "DELETE FROM whiteList WHERE number LIKE ?;",
                                                  .black = "DELETE FROM blackList WHERE number LIKE ?;",
                                                  .rule = "DELETE FROM ruleList WHERE (number=?);"};
    const char *sql = statementFor(statements, kind);
    if (sql == nullptr) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openStore(deleteNumberRecord, pathFor(kind));
    reverseNumber(number);
    prepareStatement(session, sql);
    bindText(session, 1, number);
    stepToDone(session);
    const int result = endStore(session);
    *hasMetBound = session.hasMetBound;
    return result;
}

int db_DeleteNumberRecord(const VELQ_WideChar *, char *number, std::int32_t kind) noexcept
{
    bool hasMetBound = false;
    return deleteMatching(number, kind, &hasMetBound);
}

bool db_TakeNumberOff(char *number, std::int32_t kind) noexcept
{
    bool hasMetBound = false;
    deleteMatching(number, kind, &hasMetBound);
    return !hasMetBound;
}

static constexpr StoreOperation deleteAllNumberRecords({
    .kind = StoreKind::write,
    .rollsBack = true,
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open\n"),
             errorLine("%s:%d\t**********Error:Leave db_DeleteAllNumberRecords()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_DeleteAllNumberRecords()!********\n")},
    .begin = {errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
              errorLine("%s:%d\t**********Error: Leave db_DeleteAllNumberRecords()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                errorLine("%s:%d\t**********Error:Leave db_DeleteAllNumberRecords()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             errorLine("%s:%d\t**********Error: Leave db_DeleteAllNumberRecords()!********\n")},
    .commit = {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n"),
               errorLine("%s:%d\t**********Error:db_DeleteAllNumberRecords()!********\n")},
});

int db_DeleteAllNumberRecords(std::int32_t hidden, std::int32_t kind) noexcept
{
    static constexpr KindStatements allRows = {.white = "DELETE FROM whiteList;", .black = "DELETE FROM blackList;"};
    static constexpr KindStatements rowsOfClass = {.white = "DELETE FROM whiteList where (hidden = ?);",
                                                   .black = "DELETE FROM blackList where (hidden = ?);"};
    if (!isFilter(hidden) || !isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    const bool all = hidden == VELQ_HIDDEN_ANY;
    StoreSession session = openStore(deleteAllNumberRecords, pathFor(kind));
    prepareStatement(session, statementFor(all ? allRows : rowsOfClass, kind));
    if (!all) {
        bindInt(session, 1, hidden);
    }
    stepToDone(session);
    return endStore(session);
}

static constexpr StoreOperation deleteNumberByUID({
    .kind = StoreKind::write,
    .rollsBack = true,
    .enter = debugLine("%s:%d\t**********Enter db_DeleteNumberByUID()!********\n"),
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
             errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByUID()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByUID()!********\n")},
    .begin = {errorLine("%s:%d\tError: Sqlite BEGIN TRANSACTION\n"),
              errorLine("%s:%d\t**********Error: Leave db_DeleteNumberByUID()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare, rc=%d\n", LogValue::zero),
                errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByUID()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             errorLine("%s:%d\t**********Error: Leave db_DeleteNumberByUID()!********\n")},
    .commit = {errorLine("%s:%d\tError: VELQ_DSH_Exec, rc=%d\n"),
               errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByUID()!********\n")},
    .done = debugLine("%s:%d\t**********OK: Leave db_DeleteNumberByUID()!********\n"),
});

static constexpr StoreOperation deleteNumberByExtendID({
    .kind = StoreKind::write,
    .rollsBack = true,
    .enter = debugLine("%s:%d\t**********Enter db_DeleteNumberByExtendID()!********\n"),
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
             errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByExtendID()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByExtendID()!********\n")},
    .begin = {errorLine("%s:%d\tError: Sqlite BEGIN TRANSACTION\n"),
              errorLine("%s:%d\t**********Error: Leave db_DeleteNumberByExtendID()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare, rc=%d\n", LogValue::zero),
                errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByExtendID()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             errorLine("%s:%d\t**********Error: Leave db_DeleteNumberByExtendID()!********\n")},
    .commit = {errorLine("%s:%d\tError: VELQ_DSH_Exec, rc=%d\n"),
               errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByExtendID()!********\n")},
    .done = debugLine("%s:%d\t**********OK: Leave db_DeleteNumberByExtendID()!********\n"),
});

// Deletes the rows in which one integer column has a value.
static int deleteByInteger(const StoreOperation &operation, const KindStatements &statements, std::int32_t value,
                           std::int32_t kind) noexcept
{
    logText(operation.texts.enter);
    if (!isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openStore(operation, pathFor(kind));
    prepareStatement(session, statementFor(statements, kind));
    bindInt(session, 1, value);
    stepToDone(session);
    return endStore(session);
}

int db_DeleteNumberByUID(std::int32_t uid, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {.white = "DELETE FROM whiteList WHERE(uid = ?);",
                                                  .black = "DELETE FROM blackList WHERE(uid = ?);"};
    return deleteByInteger(deleteNumberByUID, statements, uid, kind);
}

int db_DeleteNumberByExtendID(std::int32_t extendID, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {.white = "DELETE FROM whiteList WHERE(extendID = ?);",
                                                  .black = "DELETE FROM blackList WHERE(extendID = ?);"};
    return deleteByInteger(deleteNumberByExtendID, statements, extendID, kind);
}

static constexpr StoreOperation addNumberList({
    .kind = StoreKind::write,
    .rollsBack = true,
    .enter = debugLine("%s:%d\t**********Enter db_AddNumberList()!********\n"),
    .open = {errorLine("%s:%d\tError:  Can not open db\n"),
             errorLine("%s:%d\t**********Error:Leave db_AddNumberList()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_AddNumberList()!********\n")},
    .begin = {errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
              errorLine("%s:%d\t**********Error: Leave db_AddNumberList()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                errorLine("%s:%d\t**********Error:Leave db_AddNumberList()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             errorLine("%s:%d\t**********Error: Leave db_AddNumberList()!********\n")},
    .commit = {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n"),
               errorLine("%s:%d\t**********Error:Leave db_AddNumberList()!********\n")},
    .done = debugLine("%s:%d\t**********OK: Leave db_AddNumberList()!********\n"),
});

static bool areNodesValid(const NumberListNode *list) noexcept
{
    NumberEntry entry;
    for (const NumberListNode *node = list; node != nullptr; node = node->next) {
        if (!convertEntry(&entry, node->number, node->name)) {
            return false;
        }
    }
    return true;
}

static void insertNode(StoreSession &session, const NumberListNode &node, std::int32_t hidden, const char *sql) noexcept
{
    NumberEntry entry;
    convertEntry(&entry, node.number, node.name);
    reverseNumber(entry.number);
    prepareStatement(session, sql);
    bindEntry(session, hidden, entry.number, entry.name, node.extendID);
    stepToDone(session);
    finishStatement(session);
}

int db_AddNumberList(const NumberListNode *list, std::int32_t hidden, std::int32_t kind) noexcept
{
    logText(addNumberList.texts.enter);
    if (!areNodesValid(list)) {
        logError("%s:%d\tError: no number given, or number or name too long\n", VELQ_HERE);
        return batchFailed;
    }
    if (!isFlag(hidden) || list == nullptr) {
        return batchBadArgument;
    }
    if (!isUserList(kind)) {
        return batchFailed;
    }
    StoreSession session = openStore(addNumberList, pathFor(kind));
    for (const NumberListNode *node = list; node != nullptr && !hasFailed(session); node = node->next) {
        insertNode(session, *node, hidden, statementFor(insertStatements, kind));
    }
    if (endStore(session) == 0) {
        return 0;
    }
    const bool hasBegun = session.failed == &StoreTexts::prepare || session.failed == &StoreTexts::step ||
                          session.failed == &StoreTexts::commit;
    const bool isFull = hasBegun && session.code == VELQ_DSH_FULL;
    return isFull ? batchDatabaseFull : batchFailed;
}

// ---- Reading

static constexpr StoreOperation getNumberList({
    .kind = StoreKind::quietRead,
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
             errorLine("%s:%d\t**********Error:Leave db_GetNumberList()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_GetNumberList()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                errorLine("%s:%d\t**********Error:Leave db_GetNumberList()!********\n")},
});

static constexpr StoreOperation getNumberUIDList({
    .kind = StoreKind::quietRead,
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
             errorLine("%s:%d\t**********Error:Leave db_GetNumberUIDList()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_GetNumberUIDList()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                errorLine("%s:%d\t**********Error:Leave db_GetNumberUIDList()!********\n")},
});

// Opens a list for reading its rows, all or those of one `hidden` class.
static StoreSession openList(const StoreOperation &operation, const KindStatements &allRows,
                             const KindStatements &rowsOfClass, std::int32_t hidden, std::int32_t kind) noexcept
{
    const bool all = hidden == VELQ_HIDDEN_ANY;
    StoreSession session = openStore(operation, pathFor(kind));
    prepareStatement(session, statementFor(all ? allRows : rowsOfClass, kind));
    if (!all) {
        bindInt(session, 1, hidden);
    }
    return session;
}

int db_GetNumberList(NumberListNode **head, std::int32_t hidden, std::int32_t kind) noexcept
{
    static constexpr KindStatements allRows = {.white = "select number, name, extendID FROM whiteList;",
                                               .black = "select number, name, extendID FROM blackList;"};
    static constexpr KindStatements rowsOfClass = {
        .white = "select number, name, extendID FROM whiteList where (hidden = ?);",
        .black = "select number, name, extendID FROM blackList where (hidden = ?);"};
    if (!isFilter(hidden) || !isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openList(getNumberList, allRows, rowsOfClass, hidden, kind);
    NumberListNode **end = head;
    while (stepToRow(session)) {
        NumberListNode *node = readNumberNode(session.statement);
        if (node == nullptr) {
            break;
        }
        *end = node;
        end = &node->next;
    }
    if (hasFailed(session)) {
        freeNumberList(*head);
        *head = nullptr;
    } else if (*head == nullptr) {
        logDebug("%s:%d\tNo  number  in DB!\n", VELQ_HERE);
    }
    return endStore(session);
}

int db_GetNumberUIDList(UIDListNode **head, std::int32_t hidden, std::int32_t kind) noexcept
{
    static constexpr KindStatements allRows = {.white = "select uid FROM whiteList;",
                                               .black = "select uid FROM blackList;"};
    static constexpr KindStatements rowsOfClass = {.white = "select uid FROM whiteList where (hidden = ?);",
                                                   .black = "select uid FROM blackList where (hidden = ?);"};
    if (!isFilter(hidden) || !isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openList(getNumberUIDList, allRows, rowsOfClass, hidden, kind);
    UIDListNode **end = head;
    while (stepToRow(session)) {
        auto *node = static_cast<UIDListNode *>(allocateMemory(sizeof(UIDListNode)));
        if (node == nullptr) {
            break;
        }
        node->uid = VELQ_DSH_getInt(session.statement, 0);
        logDebug("%s:%d\tGet one number: id = %d\n", VELQ_HERE, node->uid);
        *end = node;
        end = &node->next;
    }
    if (hasFailed(session)) {
        freeUIDList(*head);
        *head = nullptr;
    } else if (*head == nullptr) {
        logDebug("%s:%d\tNo number  in DB!\n", VELQ_HERE);
    }
    return endStore(session);
}

static constexpr StoreOperation readNumberByUID({
    .kind = StoreKind::read,
    .enter = debugLine("%s:%d\t**********Enter db_ReadNumberByUID()!********\n"),
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
             errorLine("%s:%d\t**********Error:Leave db_ReadNumberByUID()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_ReadNumberByUID()!********\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare, rc=%d\n", LogValue::zero),
                errorLine("%s:%d\t**********Error:Leave db_ReadNumberByUID()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             debugLine("%s:%d\t**********Error:Leave db_ReadNumberByUID()!********\n")},
    .done = debugLine("%s:%d\t**********OK:Leave db_ReadNumberByUID()!********\n"),
});

int db_ReadNumberByUID(NumberRecord *record, std::int32_t uid, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {.white = "select number, name FROM whiteList WHERE(uid = ?);",
                                                  .black = "select number, name FROM blackList WHERE(uid = ?);"};
    logText(readNumberByUID.texts.enter);
    if (!isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openStore(readNumberByUID, pathFor(kind));
    prepareStatement(session, statementFor(statements, kind));
    bindInt(session, 1, uid);
    if (stepToRow(session)) {
        logDebug("%s:%d\t******** Found  number in store *********\n", VELQ_HERE);
        if (!readNumberRecord(record, session.statement)) {
            failForMemory(session);
        }
    } else if (!hasFailed(session)) {
        logDebug("%s:%d\t******** Not Found number in store *********\n", VELQ_HERE);
    }
    return endStore(session);
}

static constexpr StoreOperation getTotalCount({
    .kind = StoreKind::read,
    .enter = debugLine("%s:%d\t**********Enter db_GetTotalCount()!********\n"),
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
             errorLine("%s:%d\t**********Error:Leave db_GetTotalCount()!********\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                    errorLine("%s:%d\t**********Error:Leave db_GetTotalCount()!********\n")},
    .prepare = {debugLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                errorLine("%s:%d\t**********Error:Leave db_GetTotalCount()!********\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
             errorLine("%s:%d\t**********Error:Leave db_GetTotalCount()!********\n")},
    .done = debugLine("%s:%d\t**********OK: Leave db_GetTotalCount()!********\n"),
});

int db_GetTotalCount(std::int32_t *count, std::int32_t kind) noexcept
{
    static constexpr KindStatements lists = {.white = "SELECT COUNT(uid) FROM whiteList;",
                                             .black = "SELECT COUNT(uid) FROM blackList;"};
    logText(getTotalCount.texts.enter);
    const bool messages = kind == countOfMessages;
    if (!messages && !isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    // This release has no file for messages, so opening it fails.
    StoreSession session = openStore(getTotalCount, messages ? nullptr : pathFor(kind));
    prepareStatement(session, messages ? "SELECT COUNT(msgID) FROM spams;" : statementFor(lists, kind));
    if (stepToRow(session)) {
        logDebug("%s:%d\t******** OK: SELECT COUNT *********\n", VELQ_HERE);
        *count = VELQ_DSH_getInt(session.statement, 0);
        logDebug("%s:%d\t******** count=%d *********\n", VELQ_HERE, *count);
    } else if (!hasFailed(session)) {
        logDebug("%s:%d\t******** Not Found : SELECT COUNT *********\n", VELQ_HERE);
        *count = 0;
    }
    return endStore(session);
}

// ---- Training

int registerMsg(std::uint32_t operation, const VELQ_WideChar *body) noexcept
{
    VELQ_WideChar *filtered = filterMessageBody(body);
    const int result = filtered != nullptr ? wordSeg(filtered) : VELQ_ERR_FAILED;
    if (result != 0) {
        logError("%s:%d\tError: Word Segmentation Error!\n", VELQ_HERE);
        logError("%s:%d\t**********Error:Leave registerMsg()!********\n", VELQ_HERE);
    } else {
        bfilter_register(operation, 1); // a failure has left its own log lines and does not change the result
    }
    freeMemory(filtered);
    return result;
}
