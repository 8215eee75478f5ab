// The number lists over their data files, and the training of one message body. The steps that every operation shares,
// from opening the file to closing it, are VELQ_DB_Operation's; here stand the SQL, the values and the log texts.
#include "VELQ_DB_Interface.h"

#include "VELQ_DB_Operation.h"
#include "VELQ_Word_Seg.h"
#include "bfilter/VELQ_BFilter_Interface.h"

#include <cstring>

// ---- The lists and their files

// One SQL text for each list kind; null where the operation does not take the kind.
struct KindStatements {
    const char *white;
    const char *black;
    const char *rule;
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

// An absent name is the terminator alone.
static bool convertEntry(NumberEntry *entry, const VELQ_WideChar *number, const VELQ_WideChar *name) noexcept
{
    if (number == nullptr || wideLength(number) > VELQ_MAX_NUMBER_LENGTH || wideLength(name) > VELQ_MAX_NAME_LENGTH) {
        return false;
    }
    *entry = {};
    narrowNumber(entry->number, number);
    if (name != nullptr) {
        std::memcpy(entry->name, name, wideLength(name) * sizeof(VELQ_WideChar));
    }
    return true;
}

int convertNumberRecord(NumberEntry *entry, const NumberRecord *record) noexcept
{
    if (record == nullptr || !convertEntry(entry, record->number, record->name)) {
        logError("%s:%d\tError: no number given, or number or name too long\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    return 0;
}

// ---- Lookup

static constexpr StoreOperation searchNumberList = {
    .enter = {},
    .failures = {{{errorLine("%s:%d\tError:  Can not open db\n"),
                   errorLine("%s:%d\t**********Error: db_SearchNumberList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_SearchNumberList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_makeUserHand\n"),
                   errorLine("%s:%d\t**********Error:Leave db_SearchNumberList()!********\n")},
                  {},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                   errorLine("%s:%d\t**********Error:Leave db_SearchNumberList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_SearchNumberList()!********\n")},
                  {}}},
    .done = {},
    .rollsBack = false};
static_assert(hasTextsForExactly(searchNumberList, {StorePhase::open, StorePhase::busyHandler, StorePhase::matcher,
                                                    StorePhase::prepare, StorePhase::step}));

void db_NumberLike(VELQ_DSH_Context *context, int, VELQ_DSH_Value **values) noexcept
{
    // Long numbers match by their last 11 characters, whatever the international prefix: 13812345678 as +8613812345678.
    constexpr std::size_t matchedLength = 11;
    const auto *first = reinterpret_cast<const char *>(VELQ_DSH_resultText(values[0]));
    const auto *second = reinterpret_cast<const char *>(VELQ_DSH_resultText(values[1]));
    if (first == nullptr || second == nullptr) {
        return;
    }
    const std::size_t firstLength = std::strlen(first);
    const std::size_t secondLength = std::strlen(second);
    if (firstLength >= matchedLength) {
        const bool matches = secondLength >= matchedLength && std::memcmp(first, second, matchedLength) == 0;
        VELQ_DSH_returnInt(context, matches ? 1 : 0);
    } else if (firstLength != secondLength) {
        VELQ_DSH_returnInt(context, 0);
    } else if (firstLength > 0) { // two empty numbers get no result, which is no match
        VELQ_DSH_returnInt(context, std::memcmp(first, second, firstLength) == 0 ? 1 : 0);
    }
}

int db_SearchNumberList(std::uint8_t *found, const char *number, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {"select * FROM whiteList WHERE number LIKE ?;",
                                                  "select * FROM blackList WHERE number LIKE ?;", nullptr};
    if (!isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    VELQ_DSH_Connection *keptOpen = kind == NUMBER_LIST_WHITE ? engineState.whiteListConn : engineState.blackListConn;
    StoreSession session = openStore(searchNumberList, pathFor(kind), keptOpen, {VELQ_HERE});
    registerLike(session, db_NumberLike, {VELQ_HERE});
    prepareStatement(session, statementFor(statements, kind), {VELQ_HERE});
    bindText(session, 1, number);
    if (!session.hasFailed) {
        *found = stepToRowOrDone(session, {VELQ_HERE}) ? 1 : 0;
    }
    return closeStore(session, {VELQ_HERE});
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
    "INSERT INTO whiteList(hidden,number,name,extendID) VALUES(?,?,?,?);",
    "INSERT INTO blackList(hidden,number,name,extendID) VALUES(?,?,?,?);", "INSERT INTO ruleList(number) VALUES(?);"};

static constexpr StoreOperation addNumberRecord = {
    .enter = {},
    .failures = {{{errorLine("%s:%d\tError:  Can not open db\n"),
                   errorLine("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n")},
                  {},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
                   errorLine("%s:%d\t**********Error: Leave db_AddNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                   errorLine("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   errorLine("%s:%d\t**********Error: Leave db_AddNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_AddNumberRecord()!********\n")}}},
    .done = {},
    .rollsBack = true};
static_assert(hasTextsForExactly(addNumberRecord, {StorePhase::open, StorePhase::busyHandler, StorePhase::begin,
                                                   StorePhase::prepare, StorePhase::step, StorePhase::commit}));

static std::size_t nameBytes(const VELQ_WideChar *name) noexcept
{
    return (wideLength(name) + 1) * sizeof(VELQ_WideChar);
}

// Binds the four values of an entry; the number is reversed already.
static void bindEntry(StoreSession &session, std::int32_t hidden, const char *number, const VELQ_WideChar *name,
                      std::int32_t extendID) noexcept
{
    static constexpr VELQ_WideChar noName[1] = {};
    bindInt(session, 1, hidden);
    bindText(session, 2, number);
    bindBlob(session, 3, name != nullptr ? name : noName, nameBytes(name));
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
    StoreSession session = openStore(addNumberRecord, pathFor(kind), nullptr, {VELQ_HERE});
    beginWrite(session, {VELQ_HERE});
    prepareStatement(session, statementFor(insertStatements, kind), {VELQ_HERE});
    if (kind == NUMBER_LIST_RULE) {
        bindText(session, 1, number);
    } else {
        bindEntry(session, hidden, number, name, extendID);
    }
    stepToDone(session, {VELQ_HERE});
    commitWrite(session, {VELQ_HERE});
    return closeStore(session, {VELQ_HERE});
}

// Runs no rollback: closing the connection abandons the transaction.
static constexpr StoreOperation deleteNumberRecord = {
    .enter = {},
    .failures = {{{errorLine("%s:%d\tError: VELQ_DSH_Open\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_makeUserHand\n"), {}},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
                   errorLine("%s:%d\t**********Error: Leave db_DeleteNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   errorLine("%s:%d\t**********Error: Leave db_DeleteNumberRecord()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberRecord()!********\n")}}},
    .done = {},
    .rollsBack = false};
static_assert(hasTextsForExactly(deleteNumberRecord,
                                 {StorePhase::open, StorePhase::busyHandler, StorePhase::matcher, StorePhase::begin,
                                  StorePhase::prepare, StorePhase::step, StorePhase::commit}));

int db_DeleteNumberRecord(const VELQ_WideChar *, char *number, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {"DELETE FROM whiteList WHERE number LIKE ?;",
                                                  "DELETE FROM blackList WHERE number LIKE ?;",
                                                  "DELETE FROM ruleList WHERE (number=?);"};
    const char *sql = statementFor(statements, kind);
    if (sql == nullptr) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openStore(deleteNumberRecord, pathFor(kind), nullptr, {VELQ_HERE});
    reverseNumber(number);
    registerLike(session, db_NumberLike, {VELQ_HERE});
    beginWrite(session, {VELQ_HERE});
    prepareStatement(session, sql, {VELQ_HERE});
    bindText(session, 1, number);
    stepToDone(session, {VELQ_HERE});
    commitWrite(session, {VELQ_HERE});
    return closeStore(session, {VELQ_HERE});
}

static constexpr StoreOperation deleteAllNumberRecords = {
    .enter = {},
    .failures = {{{errorLine("%s:%d\tError: VELQ_DSH_Open\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteAllNumberRecords()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteAllNumberRecords()!********\n")},
                  {},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
                   errorLine("%s:%d\t**********Error: Leave db_DeleteAllNumberRecords()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteAllNumberRecords()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   errorLine("%s:%d\t**********Error: Leave db_DeleteAllNumberRecords()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:db_DeleteAllNumberRecords()!********\n")}}},
    .done = {},
    .rollsBack = true};
static_assert(hasTextsForExactly(deleteAllNumberRecords, {StorePhase::open, StorePhase::busyHandler, StorePhase::begin,
                                                          StorePhase::prepare, StorePhase::step, StorePhase::commit}));

int db_DeleteAllNumberRecords(std::int32_t hidden, std::int32_t kind) noexcept
{
    static constexpr KindStatements allRows = {"DELETE FROM whiteList;", "DELETE FROM blackList;", nullptr};
    static constexpr KindStatements rowsOfClass = {"DELETE FROM whiteList where (hidden = ?);",
                                                   "DELETE FROM blackList where (hidden = ?);", nullptr};
    if (!isFilter(hidden) || !isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    const bool all = hidden == VELQ_HIDDEN_ANY;
    StoreSession session = openStore(deleteAllNumberRecords, pathFor(kind), nullptr, {VELQ_HERE});
    beginWrite(session, {VELQ_HERE});
    prepareStatement(session, statementFor(all ? allRows : rowsOfClass, kind), {VELQ_HERE});
    if (!all) {
        bindInt(session, 1, hidden);
    }
    stepToDone(session, {VELQ_HERE});
    commitWrite(session, {VELQ_HERE});
    return closeStore(session, {VELQ_HERE});
}

static constexpr StoreOperation deleteNumberByUID = {
    .enter = debugLine("%s:%d\t**********Enter db_DeleteNumberByUID()!********\n"),
    .failures = {{{errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByUID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByUID()!********\n")},
                  {},
                  {errorLine("%s:%d\tError: Sqlite BEGIN TRANSACTION\n"),
                   errorLine("%s:%d\t**********Error: Leave db_DeleteNumberByUID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare, rc=%d\n", LogValue::zero),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByUID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   errorLine("%s:%d\t**********Error: Leave db_DeleteNumberByUID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByUID()!********\n")}}},
    .done = debugLine("%s:%d\t**********OK: Leave db_DeleteNumberByUID()!********\n"),
    .rollsBack = true};
static_assert(hasTextsForExactly(deleteNumberByUID, {StorePhase::open, StorePhase::busyHandler, StorePhase::begin,
                                                     StorePhase::prepare, StorePhase::step, StorePhase::commit}));

static constexpr StoreOperation deleteNumberByExtendID = {
    .enter = debugLine("%s:%d\t**********Enter db_DeleteNumberByExtendID()!********\n"),
    .failures = {{{errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByExtendID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByExtendID()!********\n")},
                  {},
                  {errorLine("%s:%d\tError: Sqlite BEGIN TRANSACTION\n"),
                   errorLine("%s:%d\t**********Error: Leave db_DeleteNumberByExtendID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare, rc=%d\n", LogValue::zero),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByExtendID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   errorLine("%s:%d\t**********Error: Leave db_DeleteNumberByExtendID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_DeleteNumberByExtendID()!********\n")}}},
    .done = debugLine("%s:%d\t**********OK: Leave db_DeleteNumberByExtendID()!********\n"),
    .rollsBack = true};
static_assert(hasTextsForExactly(deleteNumberByExtendID, {StorePhase::open, StorePhase::busyHandler, StorePhase::begin,
                                                          StorePhase::prepare, StorePhase::step, StorePhase::commit}));

// Deletes the rows in which one integer column has a value.
static int deleteByInteger(const StoreOperation &operation, const KindStatements &statements, std::int32_t value,
                           std::int32_t kind, SourceLine where) noexcept
{
    logStoreText(operation.enter, where, 0, nullptr);
    if (!isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openStore(operation, pathFor(kind), nullptr, where);
    beginWrite(session, where);
    prepareStatement(session, statementFor(statements, kind), where);
    bindInt(session, 1, value);
    stepToDone(session, where);
    commitWrite(session, where);
    return closeStore(session, where);
}

int db_DeleteNumberByUID(std::int32_t uid, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {"DELETE FROM whiteList WHERE(uid = ?);",
                                                  "DELETE FROM blackList WHERE(uid = ?);", nullptr};
    return deleteByInteger(deleteNumberByUID, statements, uid, kind, {VELQ_HERE});
}

int db_DeleteNumberByExtendID(std::int32_t extendID, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {"DELETE FROM whiteList WHERE(extendID = ?);",
                                                  "DELETE FROM blackList WHERE(extendID = ?);", nullptr};
    return deleteByInteger(deleteNumberByExtendID, statements, extendID, kind, {VELQ_HERE});
}

static constexpr StoreOperation addNumberList = {
    .enter = debugLine("%s:%d\t**********Enter db_AddNumberList()!********\n"),
    .failures = {{{errorLine("%s:%d\tError:  Can not open db\n"),
                   errorLine("%s:%d\t**********Error:Leave db_AddNumberList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_AddNumberList()!********\n")},
                  {},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, BEGIN TRANSACTION\n"),
                   errorLine("%s:%d\t**********Error: Leave db_AddNumberList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                   errorLine("%s:%d\t**********Error:Leave db_AddNumberList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   errorLine("%s:%d\t**********Error: Leave db_AddNumberList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_AddNumberList()!********\n")}}},
    .done = debugLine("%s:%d\t**********OK: Leave db_AddNumberList()!********\n"),
    .rollsBack = true};
static_assert(hasTextsForExactly(addNumberList, {StorePhase::open, StorePhase::busyHandler, StorePhase::begin,
                                                 StorePhase::prepare, StorePhase::step, StorePhase::commit}));

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
    prepareStatement(session, sql, {VELQ_HERE});
    bindEntry(session, hidden, entry.number, entry.name, node.extendID);
    stepToDone(session, {VELQ_HERE});
    finishStatement(session);
}

int db_AddNumberList(const NumberListNode *list, std::int32_t hidden, std::int32_t kind) noexcept
{
    logStoreText(addNumberList.enter, {VELQ_HERE}, 0, nullptr);
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
    StoreSession session = openStore(addNumberList, pathFor(kind), nullptr, {VELQ_HERE});
    beginWrite(session, {VELQ_HERE});
    for (const NumberListNode *node = list; node != nullptr && !session.hasFailed; node = node->next) {
        insertNode(session, *node, hidden, statementFor(insertStatements, kind));
    }
    commitWrite(session, {VELQ_HERE});
    if (closeStore(session, {VELQ_HERE}) == 0) {
        return 0;
    }
    const bool isFull = session.failedPhase >= StorePhase::prepare && session.code == VELQ_DSH_FULL;
    return isFull ? batchDatabaseFull : batchFailed;
}

// ---- Reading

// The stored key in display order as wide text; null when memory is out. No text reads as empty.
static VELQ_WideChar *copyNumberColumn(VELQ_DSH_Statement *statement, int column) noexcept
{
    const auto *stored = reinterpret_cast<const char *>(VELQ_DSH_getText(statement, column));
    char *number = duplicateText(stored != nullptr ? stored : "");
    if (number == nullptr) {
        return nullptr;
    }
    reverseNumber(number);
    auto *wide = static_cast<VELQ_WideChar *>(allocateMemory((std::strlen(number) + 1) * sizeof(VELQ_WideChar)));
    if (wide != nullptr) {
        widenNumber(wide, number);
    }
    freeMemory(number);
    return wide;
}

// The stored name up to its first zero unit, or up to the blob's end; null when memory is out.
static VELQ_WideChar *copyNameColumn(VELQ_DSH_Statement *statement, int column) noexcept
{
    const auto *bytes = static_cast<const unsigned char *>(VELQ_DSH_getBlob(statement, column));
    const auto units = static_cast<std::size_t>(VELQ_DSH_getBytes(statement, column)) / sizeof(VELQ_WideChar);
    auto *name = static_cast<VELQ_WideChar *>(allocateMemory((units + 1) * sizeof(VELQ_WideChar)));
    if (name == nullptr || bytes == nullptr) {
        return name;
    }
    for (std::size_t i = 0; i < units; ++i) {
        std::memcpy(&name[i], bytes + i * sizeof(VELQ_WideChar), sizeof(VELQ_WideChar));
        if (name[i] == 0) {
            break;
        }
    }
    return name;
}

static constexpr StoreOperation getNumberList = {
    .enter = {},
    .failures = {{{errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetNumberList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetNumberList()!********\n")},
                  {},
                  {},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetNumberList()!********\n")},
                  {},
                  {}}},
    .done = {},
    .rollsBack = false};
static_assert(hasTextsForExactly(getNumberList, {StorePhase::open, StorePhase::busyHandler, StorePhase::prepare}));

static constexpr StoreOperation getNumberUIDList = {
    .enter = {},
    .failures = {{{errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetNumberUIDList()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetNumberUIDList()!********\n")},
                  {},
                  {},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetNumberUIDList()!********\n")},
                  {},
                  {}}},
    .done = {},
    .rollsBack = false};
static_assert(hasTextsForExactly(getNumberUIDList, {StorePhase::open, StorePhase::busyHandler, StorePhase::prepare}));

// Opens a list for reading its rows, all or those of one `hidden` class.
static StoreSession openList(const StoreOperation &operation, const KindStatements &allRows,
                             const KindStatements &rowsOfClass, std::int32_t hidden, std::int32_t kind,
                             SourceLine where) noexcept
{
    const bool all = hidden == VELQ_HIDDEN_ANY;
    StoreSession session = openStore(operation, pathFor(kind), nullptr, where);
    prepareStatement(session, statementFor(all ? allRows : rowsOfClass, kind), where);
    if (!all) {
        bindInt(session, 1, hidden);
    }
    return session;
}

static NumberListNode *readNumberNode(VELQ_DSH_Statement *statement) noexcept
{
    auto *node = static_cast<NumberListNode *>(allocateMemory(sizeof(NumberListNode)));
    if (node == nullptr) {
        return nullptr;
    }
    node->number = copyNumberColumn(statement, 0);
    node->name = copyNameColumn(statement, 1);
    node->extendID = VELQ_DSH_getInt(statement, 2);
    if (node->number == nullptr || node->name == nullptr) {
        freeNumberList(node);
        return nullptr;
    }
    return node;
}

int db_GetNumberList(NumberListNode **head, std::int32_t hidden, std::int32_t kind) noexcept
{
    static constexpr KindStatements allRows = {"select number, name, extendID FROM whiteList;",
                                               "select number, name, extendID FROM blackList;", nullptr};
    static constexpr KindStatements rowsOfClass = {"select number, name, extendID FROM whiteList where (hidden = ?);",
                                                   "select number, name, extendID FROM blackList where (hidden = ?);",
                                                   nullptr};
    if (!isFilter(hidden) || !isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openList(getNumberList, allRows, rowsOfClass, hidden, kind, {VELQ_HERE});
    NumberListNode **end = head;
    while (stepToRow(session)) {
        NumberListNode *node = readNumberNode(session.statement);
        if (node == nullptr) {
            break;
        }
        *end = node;
        end = &node->next;
    }
    if (!session.hasFailed && *head == nullptr) {
        logDebug("%s:%d\tNo  number  in DB!\n", VELQ_HERE);
    }
    return closeStore(session, {VELQ_HERE});
}

int db_GetNumberUIDList(UIDListNode **head, std::int32_t hidden, std::int32_t kind) noexcept
{
    static constexpr KindStatements allRows = {"select uid FROM whiteList;", "select uid FROM blackList;", nullptr};
    static constexpr KindStatements rowsOfClass = {"select uid FROM whiteList where (hidden = ?);",
                                                   "select uid FROM blackList where (hidden = ?);", nullptr};
    if (!isFilter(hidden) || !isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openList(getNumberUIDList, allRows, rowsOfClass, hidden, kind, {VELQ_HERE});
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
    if (!session.hasFailed && *head == nullptr) {
        logDebug("%s:%d\tNo number  in DB!\n", VELQ_HERE);
    }
    return closeStore(session, {VELQ_HERE});
}

static constexpr StoreOperation readNumberByUID = {
    .enter = debugLine("%s:%d\t**********Enter db_ReadNumberByUID()!********\n"),
    .failures = {{{errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_ReadNumberByUID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_ReadNumberByUID()!********\n")},
                  {},
                  {},
                  {errorLine("%s:%d\tError: VELQ_DSH_Prepare, rc=%d\n", LogValue::zero),
                   errorLine("%s:%d\t**********Error:Leave db_ReadNumberByUID()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   debugLine("%s:%d\t**********Error:Leave db_ReadNumberByUID()!********\n")},
                  {}}},
    .done = debugLine("%s:%d\t**********OK:Leave db_ReadNumberByUID()!********\n"),
    .rollsBack = false};
static_assert(hasTextsForExactly(readNumberByUID,
                                 {StorePhase::open, StorePhase::busyHandler, StorePhase::prepare, StorePhase::step}));

// Sets both texts of the record or, when memory is out, none.
static bool readNumberRecord(NumberRecord *record, VELQ_DSH_Statement *statement) noexcept
{
    NumberRecord read{copyNumberColumn(statement, 0), copyNameColumn(statement, 1)};
    if (read.number == nullptr || read.name == nullptr) {
        freeNumberRecord(&read);
        return false;
    }
    *record = read;
    return true;
}

int db_ReadNumberByUID(NumberRecord *record, std::int32_t uid, std::int32_t kind) noexcept
{
    static constexpr KindStatements statements = {"select number, name FROM whiteList WHERE(uid = ?);",
                                                  "select number, name FROM blackList WHERE(uid = ?);", nullptr};
    logStoreText(readNumberByUID.enter, {VELQ_HERE}, 0, nullptr);
    if (!isUserList(kind)) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session = openStore(readNumberByUID, pathFor(kind), nullptr, {VELQ_HERE});
    prepareStatement(session, statementFor(statements, kind), {VELQ_HERE});
    bindInt(session, 1, uid);
    if (stepToRowOrDone(session, {VELQ_HERE})) {
        logDebug("%s:%d\t******** Found  number in store *********\n", VELQ_HERE);
        if (!readNumberRecord(record, session.statement)) {
            failForMemory(session, {VELQ_HERE});
        }
    } else if (!session.hasFailed) {
        logDebug("%s:%d\t******** Not Found number in store *********\n", VELQ_HERE);
    }
    return closeStore(session, {VELQ_HERE});
}

static constexpr StoreOperation getTotalCount = {
    .enter = debugLine("%s:%d\t**********Enter db_GetTotalCount()!********\n"),
    .failures = {{{errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetTotalCount()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetTotalCount()!********\n")},
                  {},
                  {},
                  {debugLine("%s:%d\tError: VELQ_DSH_Prepare\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetTotalCount()!********\n")},
                  {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n"),
                   errorLine("%s:%d\t**********Error:Leave db_GetTotalCount()!********\n")},
                  {}}},
    .done = debugLine("%s:%d\t**********OK: Leave db_GetTotalCount()!********\n"),
    .rollsBack = false};
static_assert(hasTextsForExactly(getTotalCount,
                                 {StorePhase::open, StorePhase::busyHandler, StorePhase::prepare, StorePhase::step}));

int db_GetTotalCount(std::int32_t *count, std::int32_t kind) noexcept
{
    // Kind 3 counts a message store that this release has no file for, so opening it fails.
    constexpr std::int32_t messageStore = 3;
    static constexpr KindStatements statements = {
        "SELECT COUNT(uid) FROM whiteList;", "SELECT COUNT(uid) FROM blackList;", "SELECT COUNT(msgID) FROM spams;"};
    logStoreText(getTotalCount.enter, {VELQ_HERE}, 0, nullptr);
    const char *sql = statementFor(statements, kind);
    if (sql == nullptr) {
        return VELQ_ERR_FAILED;
    }
    StoreSession session =
        openStore(getTotalCount, kind == messageStore ? nullptr : pathFor(kind), nullptr, {VELQ_HERE});
    prepareStatement(session, sql, {VELQ_HERE});
    if (stepToRowOrDone(session, {VELQ_HERE})) {
        logDebug("%s:%d\t******** OK: SELECT COUNT *********\n", VELQ_HERE);
        *count = VELQ_DSH_getInt(session.statement, 0);
        logDebug("%s:%d\t******** count=%d *********\n", VELQ_HERE, *count);
    } else if (!session.hasFailed) {
        logDebug("%s:%d\t******** Not Found : SELECT COUNT *********\n", VELQ_HERE);
        *count = 0;
    }
    return closeStore(session, {VELQ_HERE});
}

void freeNumberList(NumberListNode *list) noexcept
{
    while (list != nullptr) {
        NumberListNode *next = list->next;
        freeMemory(list->name);
        freeMemory(list->number);
        freeMemory(list);
        list = next;
    }
}

void freeUIDList(UIDListNode *list) noexcept
{
    while (list != nullptr) {
        UIDListNode *next = list->next;
        freeMemory(list);
        list = next;
    }
}

void freeNumberRecord(NumberRecord *record) noexcept
{
    if (record == nullptr) {
        return;
    }
    freeMemory(record->name);
    record->name = nullptr;
    freeMemory(record->number);
    record->number = nullptr;
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
