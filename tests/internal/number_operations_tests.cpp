// Every phase of every number operation and version operation, made to fail: result, log lines with their levels and
// order, what is run against the database afterwards, and that everything is released and nothing is changed.
#include "VELQ_DB_Interface.h"
#include "VELQ_Update.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

ExpectedLine listError(const std::string &text)
{
    return {true, "VELQ_DB_Interface\t" + text};
}

ExpectedLine listDebug(const std::string &text)
{
    return {false, "VELQ_DB_Interface\t" + text};
}

ExpectedLine versionError(const std::string &text)
{
    return {true, "VELQ_Update\t" + text};
}

ExpectedLine versionDebug(const std::string &text)
{
    return {false, "VELQ_Update\t" + text};
}

// ---- What every test's lists hold before the operation

void fillLists(Installation &installation)
{
    for (const NumberList list : {NumberList::white, NumberList::black}) {
        installation.addNumber(list, "13800000001", 0, wide("first"), 11);
        installation.addNumber(list, "13800000002", 1, wide("second"), 12);
    }
    installation.open("ru.bin").query("INSERT INTO ruleList(number) VALUES(?);",
                                      {Value::ofText(storedNumber("10000"))});
}

std::vector<std::string> allStores(const Installation &installation)
{
    std::vector<std::string> lines;
    for (const char *name : {"bn.bin", "wn.bin", "ru.bin", "ver.bin", "prob.bin"}) {
        for (const std::string &line : installation.open(name).dump()) {
            lines.push_back(line);
        }
    }
    return lines;
}

// ---- The operations, each in one call that would change or read something

std::uint8_t lastFound = 0;
std::int32_t lastCount = 0;
VersionRecord lastVersion{};

int search(std::int32_t kind)
{
    lastFound = 77;
    return db_SearchNumberList(&lastFound, "10000000831", kind);
}

int add(std::int32_t kind)
{
    char number[numberKeyCapacity] = "13899999999";
    return db_AddNumberRecord(wide("new").c_str(), number, 0, 5, kind);
}

int removeByNumber(std::int32_t kind)
{
    char number[numberKeyCapacity] = "13800000001";
    if (kind == NUMBER_LIST_RULE) {
        std::strcpy(number, "10000");
    }
    return db_DeleteNumberRecord(nullptr, number, kind);
}

int removeAll(std::int32_t kind)
{
    return db_DeleteAllNumberRecords(VELQ_HIDDEN_ANY, kind);
}

int removeHidden(std::int32_t kind)
{
    return db_DeleteAllNumberRecords(1, kind);
}

int removeByUid(std::int32_t kind)
{
    return db_DeleteNumberByUID(1, kind);
}

int removeByExtendId(std::int32_t kind)
{
    return db_DeleteNumberByExtendID(12, kind);
}

int addBatch(std::int32_t kind)
{
    WideText numbers[] = {wide("13877777771"), wide("13877777772"), wide("13877777773")};
    NumberListNode third{nullptr, nullptr, numbers[2].data(), 3};
    NumberListNode second{&third, nullptr, numbers[1].data(), 2};
    const NumberListNode first{&second, nullptr, numbers[0].data(), 1};
    return db_AddNumberList(&first, 1, kind);
}

int countNumbers(std::int32_t kind)
{
    lastCount = 77;
    return db_GetTotalCount(&lastCount, kind);
}

int readList(std::int32_t kind)
{
    NumberListNode *head = nullptr;
    const int result = db_GetNumberList(&head, VELQ_HIDDEN_ANY, kind);
    lastCount = 0;
    for (const NumberListNode *node = head; node != nullptr; node = node->next) {
        ++lastCount;
    }
    freeNumberList(head);
    return result;
}

int readUids(std::int32_t kind)
{
    UIDListNode *head = nullptr;
    const int result = db_GetNumberUIDList(&head, VELQ_HIDDEN_ANY, kind);
    lastCount = 0;
    for (const UIDListNode *node = head; node != nullptr; node = node->next) {
        ++lastCount;
    }
    freeUIDList(head);
    return result;
}

int readOne(std::int32_t kind)
{
    NumberRecord record{nullptr, nullptr};
    const int result = db_ReadNumberByUID(&record, 1, kind);
    lastCount = record.number != nullptr || record.name != nullptr ? 1 : 0;
    freeNumberRecord(&record);
    return result;
}

int readVersion(std::int32_t)
{
    lastVersion = {1, 77};
    return db_GetCurrentVersion(&lastVersion);
}

int writeVersion(std::int32_t)
{
    const VersionRecord record{1, 9};
    return db_UpdateVersion(&record);
}

// ---- The table

struct FaultCase {
    std::string name; // a test name
    std::function<int(std::int32_t)> operation;
    std::int32_t kind;
    DshFault fault;
    int result;
    std::vector<ExpectedLine> lines;
    std::vector<std::string> executed; // the transaction statements that are run, the failing one included
};

std::ostream &operator<<(std::ostream &out, const FaultCase &fault)
{
    return out << fault.name;
}

std::string kindName(std::int32_t kind)
{
    return kind == NUMBER_LIST_WHITE ? "white" : kind == NUMBER_LIST_BLACK ? "black" : "rule";
}

// Collects the cases of one operation and one kind.
class CaseList {
  public:
    CaseList(std::vector<FaultCase> &cases, std::string operationName, std::function<int(std::int32_t)> operation,
             std::int32_t kind, int failure = VELQ_ERR_FAILED)
        : cases_(cases), name_(std::move(operationName)), operation_(std::move(operation)), kind_(kind),
          failure_(failure)
    {
    }

    void add(const std::string &phase, const DshFault &fault, std::vector<ExpectedLine> lines,
             std::vector<std::string> executed = {})
    {
        addWithResult(phase, failure_, fault, std::move(lines), std::move(executed));
    }

    void addWithResult(const std::string &phase, int result, const DshFault &fault, std::vector<ExpectedLine> lines,
                       std::vector<std::string> executed = {})
    {
        cases_.push_back({name_ + "_" + kindName(kind_) + "_" + phase, operation_, kind_, fault, result,
                          std::move(lines), std::move(executed)});
    }

    // A failing prepare, once with nothing handed out and once with a statement that must be finalised.
    void addPrepare(int nth, const std::vector<ExpectedLine> &lines, const std::vector<std::string> &executed = {})
    {
        add("prepare", {.call = DshCall::prepare, .nth = nth}, lines, executed);
        add("prepare_that_hands_out_a_statement", {.call = DshCall::prepare, .nth = nth, .isForwarded = true}, lines,
            executed);
    }

    // A failing open, once without and once with a connection that must be closed.
    void addOpen(int nth, const std::vector<ExpectedLine> &lines)
    {
        add("open", {.call = DshCall::open, .nth = nth}, lines);
        add("open_that_hands_out_a_connection", {.call = DshCall::open, .nth = nth, .isForwarded = true}, lines);
    }

  private:
    std::vector<FaultCase> &cases_;
    std::string name_;
    std::function<int(std::int32_t)> operation_;
    std::int32_t kind_;
    int failure_;
};

// The lines of a failed lookup.
const ExpectedLine searchLeave = listError("**********Error:Leave db_SearchNumberList()!********");
const std::vector<ExpectedLine> searchOpen = {listError("Error:  Can not open db"),
                                              listError("**********Error: db_SearchNumberList()!********")};
const std::vector<ExpectedLine> searchBusy = {listError("Error: VELQ_DSH_busyHandler"), searchLeave};
const std::vector<ExpectedLine> searchMatcher = {listError("Error: VELQ_DSH_makeUserHand"), searchLeave};
const std::vector<ExpectedLine> searchPrepare = {listError("Error: VELQ_DSH_Prepare"), searchLeave};
const std::vector<ExpectedLine> searchStep = {listError("Error: VELQ_DSH_doNext, rc=10"), searchLeave};

void addSearchCases(std::vector<FaultCase> &cases, std::int32_t kind)
{
    CaseList list(cases, "search", search, kind);
    list.addOpen(1, searchOpen);
    list.add("busy_handler", {.call = DshCall::busyHandler}, searchBusy);
    list.add("matcher", {.call = DshCall::makeUserHand}, searchMatcher);
    list.addPrepare(1, searchPrepare);
    list.add("step", {.call = DshCall::step}, searchStep);
}

void addAddCases(std::vector<FaultCase> &cases, std::int32_t kind)
{
    const ExpectedLine leave = listError("**********Error:Leave db_AddNumberRecord()!********");
    const ExpectedLine leaveWithBlank = listError("**********Error: Leave db_AddNumberRecord()!********");
    const bool searches = kind != NUMBER_LIST_RULE;
    const int own = searches ? 2 : 1; // the lookup's call comes first
    CaseList list(cases, "add", add, kind);
    if (searches) {
        const std::vector<ExpectedLine> after = {listError("Error:  db_SearchNumberList()"), leave};
        list.add("lookup_open", {.call = DshCall::open}, searchOpen + after);
        list.add("lookup_busy_handler", {.call = DshCall::busyHandler}, searchBusy + after);
        list.add("lookup_matcher", {.call = DshCall::makeUserHand}, searchMatcher + after);
        list.add("lookup_prepare", {.call = DshCall::prepare}, searchPrepare + after);
        list.add("lookup_step", {.call = DshCall::step}, searchStep + after);
    }
    list.addOpen(own, {listError("Error:  Can not open db"), leave});
    list.add("busy_handler", {.call = DshCall::busyHandler, .nth = own},
             {listError("Error: VELQ_DSH_busyHandler"), leave});
    list.add("begin", {.call = DshCall::exec, .sql = beginText},
             {listError("Error: VELQ_DSH_Exec, BEGIN TRANSACTION"), leaveWithBlank}, {beginText});
    list.addPrepare(own, {listError("Error: VELQ_DSH_Prepare"), leave}, {beginText});
    list.add("step", {.call = DshCall::step, .nth = own}, {listError("Error: VELQ_DSH_doNext, rc=10"), leaveWithBlank},
             {beginText, rollbackText});
    list.add("commit", {.call = DshCall::exec, .sql = commitText},
             {listError("Error: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=10"), leave},
             {beginText, commitText, rollbackText});
}

void addRemoveByNumberCases(std::vector<FaultCase> &cases, std::int32_t kind)
{
    const ExpectedLine leave = listError("**********Error:Leave db_DeleteNumberRecord()!********");
    const ExpectedLine leaveWithBlank = listError("**********Error: Leave db_DeleteNumberRecord()!********");
    CaseList list(cases, "remove_by_number", removeByNumber, kind);
    list.addOpen(1, {listError("Error: VELQ_DSH_Open"), leave});
    list.add("busy_handler", {.call = DshCall::busyHandler}, {listError("Error: VELQ_DSH_busyHandler"), leave});
    list.add("matcher", {.call = DshCall::makeUserHand}, {listError("Error: VELQ_DSH_makeUserHand")});
    list.add("begin", {.call = DshCall::exec, .sql = beginText},
             {listError("Error: VELQ_DSH_Exec, BEGIN TRANSACTION"), leaveWithBlank}, {beginText});
    list.addPrepare(1, {listError("Error: VELQ_DSH_Prepare"), leave}, {beginText});
    // No rollback on this operation's failures: closing abandons the transaction.
    list.add("step", {.call = DshCall::step}, {listError("Error: VELQ_DSH_doNext, rc=10"), leaveWithBlank},
             {beginText});
    list.add("commit", {.call = DshCall::exec, .sql = commitText},
             {listError("Error: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=10"), leave}, {beginText, commitText});
}

void addRemoveAllCases(std::vector<FaultCase> &cases, const std::string &name,
                       const std::function<int(std::int32_t)> &operation, std::int32_t kind)
{
    const ExpectedLine leave = listError("**********Error:Leave db_DeleteAllNumberRecords()!********");
    const ExpectedLine leaveWithBlank = listError("**********Error: Leave db_DeleteAllNumberRecords()!********");
    CaseList list(cases, name, operation, kind);
    list.addOpen(1, {listError("Error: VELQ_DSH_Open"), leave});
    list.add("busy_handler", {.call = DshCall::busyHandler}, {listError("Error: VELQ_DSH_busyHandler"), leave});
    list.add("begin", {.call = DshCall::exec, .sql = beginText},
             {listError("Error: VELQ_DSH_Exec, BEGIN TRANSACTION"), leaveWithBlank}, {beginText});
    list.addPrepare(1, {listError("Error: VELQ_DSH_Prepare"), leave}, {beginText});
    list.add("step", {.call = DshCall::step}, {listError("Error: VELQ_DSH_doNext, rc=10"), leaveWithBlank},
             {beginText, rollbackText});
    list.add("commit", {.call = DshCall::exec, .sql = commitText},
             {listError("Error: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=10"),
              listError("**********Error:db_DeleteAllNumberRecords()!********")},
             {beginText, commitText, rollbackText});
}

void addRemoveByIntegerCases(std::vector<FaultCase> &cases, const std::string &name, const std::string &function,
                             const std::function<int(std::int32_t)> &operation, std::int32_t kind)
{
    const ExpectedLine enter = listDebug("**********Enter " + function + "()!********");
    const ExpectedLine leave = listError("**********Error:Leave " + function + "()!********");
    const ExpectedLine leaveWithBlank = listError("**********Error: Leave " + function + "()!********");
    CaseList list(cases, name, operation, kind);
    list.addOpen(1, {enter, listError("Error: VELQ_DSH_Open, rc=10"), leave});
    list.add("busy_handler", {.call = DshCall::busyHandler}, {enter, listError("Error: VELQ_DSH_busyHandler"), leave});
    list.add("begin", {.call = DshCall::exec, .sql = beginText},
             {enter, listError("Error: Sqlite BEGIN TRANSACTION"), leaveWithBlank}, {beginText});
    // The prepare line shows 0 whatever the code was.
    list.addPrepare(1, {enter, listError("Error: VELQ_DSH_Prepare, rc=0"), leave}, {beginText});
    list.add("step", {.call = DshCall::step}, {enter, listError("Error: VELQ_DSH_doNext, rc=10"), leaveWithBlank},
             {beginText, rollbackText});
    list.add("commit", {.call = DshCall::exec, .sql = commitText},
             {enter, listError("Error: VELQ_DSH_Exec, rc=10"), leave}, {beginText, commitText, rollbackText});
}

void addBatchCases(std::vector<FaultCase> &cases, std::int32_t kind)
{
    const ExpectedLine enter = listDebug("**********Enter db_AddNumberList()!********");
    const ExpectedLine leave = listError("**********Error:Leave db_AddNumberList()!********");
    const ExpectedLine leaveWithBlank = listError("**********Error: Leave db_AddNumberList()!********");
    const int full = VELQ_DSH_FULL;
    CaseList list(cases, "batch", addBatch, kind, VELQ_ERR_BATCH_FAILED);
    list.addOpen(1, {enter, listError("Error:  Can not open db"), leave});
    list.add("open_full", {.call = DshCall::open, .code = full}, {enter, listError("Error:  Can not open db"), leave});
    list.add("busy_handler", {.call = DshCall::busyHandler}, {enter, listError("Error: VELQ_DSH_busyHandler"), leave});
    list.add("begin", {.call = DshCall::exec, .sql = beginText},
             {enter, listError("Error: VELQ_DSH_Exec, BEGIN TRANSACTION"), leaveWithBlank}, {beginText});
    list.add("begin_full", {.call = DshCall::exec, .code = full, .sql = beginText},
             {enter, listError("Error: VELQ_DSH_Exec, BEGIN TRANSACTION"), leaveWithBlank}, {beginText});
    list.addPrepare(1, {enter, listError("Error: VELQ_DSH_Prepare"), leave}, {beginText});
    list.add("prepare_of_third_node", {.call = DshCall::prepare, .nth = 3},
             {enter, listError("Error: VELQ_DSH_Prepare"), leave}, {beginText});
    list.addWithResult("prepare_full", VELQ_ERR_DATABASE_FULL, {.call = DshCall::prepare, .code = full},
                       {enter, listError("Error: VELQ_DSH_Prepare"), leave}, {beginText});
    list.add("step", {.call = DshCall::step}, {enter, listError("Error: VELQ_DSH_doNext, rc=10"), leaveWithBlank},
             {beginText, rollbackText});
    list.add("step_of_third_node", {.call = DshCall::step, .nth = 3},
             {enter, listError("Error: VELQ_DSH_doNext, rc=10"), leaveWithBlank}, {beginText, rollbackText});
    list.addWithResult("step_full", VELQ_ERR_DATABASE_FULL, {.call = DshCall::step, .code = full, .nth = 2},
                       {enter, listError("Error: VELQ_DSH_doNext, rc=13"), leaveWithBlank}, {beginText, rollbackText});
    list.add("commit", {.call = DshCall::exec, .sql = commitText},
             {enter, listError("Error: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=10"), leave},
             {beginText, commitText, rollbackText});
    list.addWithResult("commit_full", VELQ_ERR_DATABASE_FULL, {.call = DshCall::exec, .code = full, .sql = commitText},
                       {enter, listError("Error: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=13"), leave},
                       {beginText, commitText, rollbackText});
}

void addReadCases(std::vector<FaultCase> &cases, std::int32_t kind)
{
    const ExpectedLine listLeave = listError("**********Error:Leave db_GetNumberList()!********");
    CaseList list(cases, "list", readList, kind);
    list.addOpen(1, {listError("Error: VELQ_DSH_Open, rc=10"), listLeave});
    list.add("busy_handler", {.call = DshCall::busyHandler}, {listError("Error: VELQ_DSH_busyHandler"), listLeave});
    list.addPrepare(1, {listError("Error: VELQ_DSH_Prepare"), listLeave});
    list.addWithResult("step", 0, {.call = DshCall::step}, {listDebug("No  number  in DB!")});
    list.addWithResult("later_step", 0, {.call = DshCall::step, .nth = 2}, {});

    const ExpectedLine uidLeave = listError("**********Error:Leave db_GetNumberUIDList()!********");
    CaseList uids(cases, "uid_list", readUids, kind);
    uids.addOpen(1, {listError("Error: VELQ_DSH_Open, rc=10"), uidLeave});
    uids.add("busy_handler", {.call = DshCall::busyHandler}, {listError("Error: VELQ_DSH_busyHandler"), uidLeave});
    uids.addPrepare(1, {listError("Error: VELQ_DSH_Prepare"), uidLeave});
    uids.addWithResult("step", 0, {.call = DshCall::step}, {listDebug("No number  in DB!")});
    uids.addWithResult("later_step", 0, {.call = DshCall::step, .nth = 2}, {listDebug("Get one number: id = 1")});

    const ExpectedLine readEnter = listDebug("**********Enter db_ReadNumberByUID()!********");
    const std::string readLeave = "**********Error:Leave db_ReadNumberByUID()!********";
    CaseList one(cases, "read", readOne, kind);
    one.addOpen(1, {readEnter, listError("Error: VELQ_DSH_Open, rc=10"), listError(readLeave)});
    one.add("busy_handler", {.call = DshCall::busyHandler},
            {readEnter, listError("Error: VELQ_DSH_busyHandler"), listError(readLeave)});
    one.addPrepare(1, {readEnter, listError("Error: VELQ_DSH_Prepare, rc=0"), listError(readLeave)});
    one.add("step", {.call = DshCall::step},
            {readEnter, listError("Error: VELQ_DSH_doNext, rc=10"),
             listDebug(readLeave)}); // a debug line on this path only

    const ExpectedLine countEnter = listDebug("**********Enter db_GetTotalCount()!********");
    const ExpectedLine countLeave = listError("**********Error:Leave db_GetTotalCount()!********");
    CaseList count(cases, "count", countNumbers, kind);
    count.addOpen(1, {countEnter, listError("Error: VELQ_DSH_Open, rc=10"), countLeave});
    count.add("busy_handler", {.call = DshCall::busyHandler},
              {countEnter, listError("Error: VELQ_DSH_busyHandler"), countLeave});
    count.addPrepare(1, {countEnter, listDebug("Error: VELQ_DSH_Prepare"), countLeave});
    count.add("step", {.call = DshCall::step}, {countEnter, listError("Error: VELQ_DSH_doNext, rc=10"), countLeave});
    count.addWithResult("step_without_row", 0, {.call = DshCall::step, .code = VELQ_DSH_DONE},
                        {countEnter, listDebug("******** Not Found : SELECT COUNT *********"),
                         listDebug("**********OK: Leave db_GetTotalCount()!********")});
}

// The rule kind stands for "none" here: versions have one store.
void addVersionCases(std::vector<FaultCase> &cases)
{
    const ExpectedLine readEnter = versionDebug("**********Enter db_GetCurrentVersion!********");
    CaseList read(cases, "read_version", readVersion, NUMBER_LIST_RULE);
    read.addOpen(1, {readEnter, versionError("Error: VELQ_DSH_Open, rc=10")});
    read.add("busy_handler", {.call = DshCall::busyHandler}, {readEnter, versionError("Error: VELQ_DSH_busyHandler")});
    read.addPrepare(1, {readEnter, versionDebug("Error: VELQ_DSH_Prepare")});
    read.addWithResult("step", 0, {.call = DshCall::step},
                       {readEnter, versionDebug("There's no version record about this command(1)"),
                        versionDebug("**********OK: Leave db_GetCurrentVersion!********")});

    const ExpectedLine writeEnter = versionDebug("**********Enter db_UpdateVersion!********");
    CaseList write(cases, "write_version", writeVersion, NUMBER_LIST_RULE);
    write.addOpen(1, {writeEnter, versionDebug("Error: VELQ_DSH_Open, <ver.bin>")});
    write.add("busy_handler", {.call = DshCall::busyHandler},
              {writeEnter, versionError("Error: VELQ_DSH_busyHandler")});
    write.add("begin", {.call = DshCall::exec, .sql = beginText},
              {writeEnter, versionDebug("Error: Sqlite BEGIN TRANSACTION")}, {beginText});
    write.addPrepare(1, {writeEnter, versionError("Error: VELQ_DSH_Prepare")}, {beginText});
    write.add("step", {.call = DshCall::step}, {writeEnter, versionError("Error: VELQ_DSH_doNext, rc=10")},
              {beginText, rollbackText});
    write.add("commit", {.call = DshCall::exec, .sql = commitText},
              {writeEnter, versionError("Error: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=10")},
              {beginText, commitText, rollbackText});
}

std::vector<FaultCase> allCases()
{
    std::vector<FaultCase> cases;
    for (const std::int32_t kind : {NUMBER_LIST_WHITE, NUMBER_LIST_BLACK}) {
        addSearchCases(cases, kind);
        addRemoveAllCases(cases, "remove_all", removeAll, kind);
        addRemoveAllCases(cases, "remove_hidden", removeHidden, kind);
        addRemoveByIntegerCases(cases, "remove_by_uid", "db_DeleteNumberByUID", removeByUid, kind);
        addRemoveByIntegerCases(cases, "remove_by_extend_id", "db_DeleteNumberByExtendID", removeByExtendId, kind);
        addBatchCases(cases, kind);
        addReadCases(cases, kind);
    }
    for (const std::int32_t kind : {NUMBER_LIST_WHITE, NUMBER_LIST_BLACK, NUMBER_LIST_RULE}) {
        addAddCases(cases, kind);
        addRemoveByNumberCases(cases, kind);
    }
    addVersionCases(cases);
    return cases;
}

template <typename Case>
std::string nameOf(const ::testing::TestParamInfo<Case> &given)
{
    return given.param.name;
}

class OperationFault : public ::testing::TestWithParam<FaultCase> {};

void checkFault(const FaultCase &given, Trace trace)
{
    RunningEngine engine(trace);
    ASSERT_TRUE(engine.isRunning());
    fillLists(engine.installation);
    const std::vector<std::string> before = allStores(engine.installation);
    std::vector<ExpectedLine> lines = given.lines;
    for (ExpectedLine &line : lines) {
        if (const std::size_t at = line.text.find("<ver.bin>"); at != std::string::npos) {
            line.text.replace(at, std::string::npos, engineState.versionPath);
        }
    }
    {
        const DshWatch watch(given.fault);
        EXPECT_EQ(given.operation(given.kind), given.result);
        EXPECT_TRUE(watch.faultHappened());
        EXPECT_TRUE(watch.everythingReleased());
        EXPECT_EQ(watch.executed(), given.executed);
    }
    EXPECT_EQ(engine.newLines(), expectedLog(lines, trace));
    EXPECT_EQ(allStores(engine.installation), before) << "a failed operation changes nothing";
    EXPECT_EQ(given.operation(given.kind), 0) << "and the next call works";
}

TEST_P(OperationFault, gives_its_result_and_error_lines_and_releases_everything)
{
    checkFault(GetParam(), Trace::off);
}

TEST_P(OperationFault, adds_its_debug_lines_to_the_trace)
{
    checkFault(GetParam(), Trace::on);
}

INSTANTIATE_TEST_SUITE_P(every_phase, OperationFault, ::testing::ValuesIn(allCases()), nameOf<FaultCase>);

// ---- What is left in the out arguments after a failure

TEST(number_operations, lookup_clears_the_flag_only_when_the_step_is_reached)
{
    RunningEngine engine(Trace::off);
    for (const DshCall phase : {DshCall::open, DshCall::busyHandler, DshCall::makeUserHand, DshCall::prepare}) {
        const DshWatch watch({.call = phase});
        EXPECT_EQ(search(NUMBER_LIST_BLACK), VELQ_ERR_FAILED);
        EXPECT_EQ(lastFound, 77) << static_cast<int>(phase);
    }
    const DshWatch watch({.call = DshCall::step});
    EXPECT_EQ(search(NUMBER_LIST_BLACK), VELQ_ERR_FAILED);
    EXPECT_EQ(lastFound, 0);
}

TEST(number_operations, failed_read_leaves_the_record_and_the_count_untouched)
{
    RunningEngine engine(Trace::off);
    fillLists(engine.installation);
    for (const DshCall phase : {DshCall::open, DshCall::busyHandler, DshCall::prepare, DshCall::step}) {
        VELQ_WideChar marker = 0;
        NumberRecord record{&marker, &marker};
        {
            const DshWatch watch({.call = phase});
            EXPECT_EQ(db_ReadNumberByUID(&record, 1, NUMBER_LIST_WHITE), VELQ_ERR_FAILED);
        }
        EXPECT_EQ(record.number, &marker);
        EXPECT_EQ(record.name, &marker);
        const DshWatch watch({.call = phase});
        EXPECT_EQ(countNumbers(NUMBER_LIST_WHITE), VELQ_ERR_FAILED);
        EXPECT_EQ(lastCount, 77);
    }
}

TEST(number_operations, count_without_a_row_is_zero)
{
    RunningEngine engine(Trace::off);
    fillLists(engine.installation);
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_DONE});
    EXPECT_EQ(countNumbers(NUMBER_LIST_WHITE), 0);
    EXPECT_EQ(lastCount, 0);
}

TEST(number_operations, list_keeps_what_was_read_before_a_step_failed)
{
    RunningEngine engine(Trace::off);
    fillLists(engine.installation);
    {
        const DshWatch watch({.call = DshCall::step, .nth = 2});
        EXPECT_EQ(readList(NUMBER_LIST_BLACK), 0);
        EXPECT_EQ(lastCount, 1);
    }
    const DshWatch watch({.call = DshCall::step, .nth = 2});
    EXPECT_EQ(readUids(NUMBER_LIST_BLACK), 0);
    EXPECT_EQ(lastCount, 1);
}

TEST(number_operations, bound_in_the_middle_of_a_list_fails_the_read_and_returns_nothing)
{
    RunningEngine engine(Trace::off);
    fillLists(engine.installation);
    const std::vector<std::string> boundLine = {"VELQ_DB_Connection\tError: file beyond a bound: some bound"};
    const AllocationGuard allocations(0);
    for (const auto &read : {readList, readUids}) {
        const DshWatch watch({.call = DshCall::step, .code = 9, .nth = 2, .isBound = true});
        EXPECT_EQ(read(NUMBER_LIST_BLACK), VELQ_ERR_FAILED);
        EXPECT_EQ(lastCount, 0);
        EXPECT_TRUE(watch.everythingReleased());
        EXPECT_EQ(engine.newLines(), boundLine);
    }
    EXPECT_EQ(allocations.notReleased(), 0);
}

TEST(number_operations, bound_fails_the_reading_of_a_version)
{
    RunningEngine engine(Trace::off);
    const DshWatch watch({.call = DshCall::step, .code = 9, .isBound = true});
    EXPECT_EQ(readVersion(0), VELQ_ERR_FAILED);
}

TEST(number_operations, number_is_added_beside_a_removal_that_failed_unless_for_a_bound)
{
    for (const bool isBound : {false, true}) {
        RunningEngine engine(Trace::off);
        fillLists(engine.installation);
        const std::size_t before = engine.installation.numberRows(NumberList::black).size();
        VELQ_WideChar number[] = VELQ_TEXT("5550123");
        const NumberRecord record{number, nullptr};
        const DshWatch watch({.call = DshCall::step, .code = 9, .isBound = isBound});
        EXPECT_EQ(VELQ_AddBlackNumberSync(&record, 0, 1), isBound ? VELQ_ERR_FAILED : 0);
        EXPECT_EQ(engine.installation.numberRows(NumberList::black).size(), before + (isBound ? 0 : 1));
    }
}

TEST(number_operations, failed_version_step_reads_as_version_zero)
{
    RunningEngine engine(Trace::off);
    const DshWatch watch({.call = DshCall::step});
    EXPECT_EQ(readVersion(0), 0);
    EXPECT_EQ(lastVersion.command, 1);
    EXPECT_EQ(lastVersion.version, 0);
}

// ---- Whole sequences of calls, when nothing fails

struct SequenceCase {
    std::string name;
    std::function<int(std::int32_t)> operation;
    std::int32_t kind;
    std::vector<std::string> calls;
    std::vector<ExpectedLine> lines;
};

std::ostream &operator<<(std::ostream &out, const SequenceCase &sequence)
{
    return out << sequence.name;
}

const std::string likeCall = "makeUserHand like 2 5 for the connection";

std::vector<std::string> searchCalls(const std::string &table, const std::string &file)
{
    return {"open " + file,       "busyHandler", likeCall, "prepare select * FROM " + table + " WHERE number LIKE ?;",
            "mapText 1 12 bytes", "step",        "fini",   "close"};
}

std::vector<std::string> joined(std::vector<std::string> first, const std::vector<std::string> &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// A write in one transaction: the bindings differ.
std::vector<std::string> writeCalls(const std::string &file, const std::string &sql,
                                    const std::vector<std::string> &bindings, bool matches = false)
{
    std::vector<std::string> calls = {"open " + file, "busyHandler"};
    if (matches) {
        calls.push_back(likeCall);
    }
    calls = joined(calls, {"exec " + beginText, "prepare " + sql});
    calls = joined(calls, bindings);
    return joined(calls, {"step", "exec " + commitText, "fini", "close"});
}

std::vector<std::string> batchCalls(const std::string &table, const std::string &file)
{
    std::vector<std::string> calls = {"open " + file, "busyHandler", "exec " + beginText};
    for (const char *extendID : {"1", "2", "3"}) {
        calls = joined(calls, {"prepare INSERT INTO " + table + "(hidden,number,name,extendID) VALUES(?,?,?,?);",
                               "mapInt 1 1", "mapText 2 12 bytes", "mapBlob 3 2 bytes",
                               std::string("mapInt 4 ") + extendID, "step", "fini"});
    }
    return joined(calls, {"exec " + commitText, "close"});
}

std::vector<std::string> readCalls(const std::string &file, const std::string &sql,
                                   const std::vector<std::string> &bindings, int steps)
{
    std::vector<std::string> calls = joined({"open " + file, "busyHandler", "prepare " + sql}, bindings);
    calls.insert(calls.end(), static_cast<std::size_t>(steps), "step");
    return joined(calls, {"fini", "close"});
}

void addSequencesOf(std::vector<SequenceCase> &cases, std::int32_t kind)
{
    const std::string table = kind == NUMBER_LIST_WHITE ? "whiteList" : "blackList";
    const std::string file = kind == NUMBER_LIST_WHITE ? "wn.bin" : "bn.bin";
    const auto named = [kind](const char *name) { return std::string(name) + "_" + kindName(kind); };
    cases.push_back({named("search"), search, kind, searchCalls(table, file), {}});
    cases.push_back({named("add"),
                     add,
                     kind,
                     joined(searchCalls(table, file),
                            writeCalls(file, "INSERT INTO " + table + "(hidden,number,name,extendID) VALUES(?,?,?,?);",
                                       {"mapInt 1 0", "mapText 2 12 bytes", "mapBlob 3 8 bytes", "mapInt 4 5"})),
                     {}});
    cases.push_back({named("remove_by_number"),
                     removeByNumber,
                     kind,
                     writeCalls(file, "DELETE FROM " + table + " WHERE number LIKE ?;", {"mapText 1 12 bytes"}, true),
                     {}});
    cases.push_back({named("remove_all"), removeAll, kind, writeCalls(file, "DELETE FROM " + table + ";", {}), {}});
    cases.push_back({named("remove_hidden"),
                     removeHidden,
                     kind,
                     writeCalls(file, "DELETE FROM " + table + " where (hidden = ?);", {"mapInt 1 1"}),
                     {}});
    cases.push_back({named("remove_by_uid"),
                     removeByUid,
                     kind,
                     writeCalls(file, "DELETE FROM " + table + " WHERE(uid = ?);", {"mapInt 1 1"}),
                     {listDebug("**********Enter db_DeleteNumberByUID()!********"),
                      listDebug("**********OK: Leave db_DeleteNumberByUID()!********")}});
    cases.push_back({named("remove_by_extend_id"),
                     removeByExtendId,
                     kind,
                     writeCalls(file, "DELETE FROM " + table + " WHERE(extendID = ?);", {"mapInt 1 12"}),
                     {listDebug("**********Enter db_DeleteNumberByExtendID()!********"),
                      listDebug("**********OK: Leave db_DeleteNumberByExtendID()!********")}});
    cases.push_back({named("batch"),
                     addBatch,
                     kind,
                     batchCalls(table, file),
                     {listDebug("**********Enter db_AddNumberList()!********"),
                      listDebug("**********OK: Leave db_AddNumberList()!********")}});
    cases.push_back({named("list"),
                     readList,
                     kind,
                     readCalls(file, "select number, name, extendID FROM " + table + ";", {}, 3),
                     {}});
    cases.push_back({named("uid_list"),
                     readUids,
                     kind,
                     readCalls(file, "select uid FROM " + table + ";", {}, 3),
                     {listDebug("Get one number: id = 1"), listDebug("Get one number: id = 2")}});
    cases.push_back({named("read"),
                     readOne,
                     kind,
                     readCalls(file, "select number, name FROM " + table + " WHERE(uid = ?);", {"mapInt 1 1"}, 1),
                     {listDebug("**********Enter db_ReadNumberByUID()!********"),
                      listDebug("******** Found  number in store *********"),
                      listDebug("**********OK:Leave db_ReadNumberByUID()!********")}});
    cases.push_back(
        {named("count"),
         countNumbers,
         kind,
         readCalls(file, "SELECT COUNT(uid) FROM " + table + ";", {}, 1),
         {listDebug("**********Enter db_GetTotalCount()!********"), listDebug("******** OK: SELECT COUNT *********"),
          listDebug("******** count=2 *********"), listDebug("**********OK: Leave db_GetTotalCount()!********")}});
}

std::vector<SequenceCase> allSequences()
{
    std::vector<SequenceCase> cases;
    addSequencesOf(cases, NUMBER_LIST_WHITE);
    addSequencesOf(cases, NUMBER_LIST_BLACK);
    cases.push_back({"add_rule",
                     add,
                     NUMBER_LIST_RULE,
                     writeCalls("ru.bin", "INSERT INTO ruleList(number) VALUES(?);", {"mapText 1 12 bytes"}),
                     {}});
    cases.push_back({"remove_by_number_rule",
                     removeByNumber,
                     NUMBER_LIST_RULE,
                     writeCalls("ru.bin", "DELETE FROM ruleList WHERE (number=?);", {"mapText 1 6 bytes"}, true),
                     {}});
    cases.push_back(
        {"read_version",
         readVersion,
         NUMBER_LIST_RULE,
         readCalls("ver.bin", "select command, version FROM versionTable where command=1;", {}, 1),
         {versionDebug("**********Enter db_GetCurrentVersion!********"), versionDebug(" command = 1"),
          versionDebug(" version = 1"), versionDebug("**********OK: Leave db_GetCurrentVersion!********")}});
    cases.push_back({"write_version",
                     writeVersion,
                     NUMBER_LIST_RULE,
                     writeCalls("ver.bin", "UPDATE versionTable SET command=1, version=9 WHERE command=1;", {}),
                     {versionDebug("**********Enter db_UpdateVersion!********"),
                      versionDebug("**********OK: Leave db_UpdateVersion!********")}});
    return cases;
}

class OperationSequence : public ::testing::TestWithParam<SequenceCase> {};

TEST_P(OperationSequence, makes_its_database_calls_in_order_and_writes_its_trace)
{
    const SequenceCase &given = GetParam();
    RunningEngine engine(Trace::on);
    ASSERT_TRUE(engine.isRunning());
    fillLists(engine.installation);
    const DshWatch watch;
    EXPECT_EQ(given.operation(given.kind), 0);
    EXPECT_EQ(watch.calls(), given.calls);
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines(), expectedLog(given.lines, Trace::on));
}

INSTANTIATE_TEST_SUITE_P(every_operation, OperationSequence, ::testing::ValuesIn(allSequences()), nameOf<SequenceCase>);

TEST(number_operations, add_of_a_present_number_traces_and_writes_nothing)
{
    RunningEngine engine(Trace::on);
    fillLists(engine.installation);
    const std::vector<std::string> before = allStores(engine.installation);
    char number[numberKeyCapacity] = "+8613800000001";
    const DshWatch watch;
    EXPECT_EQ(db_AddNumberRecord(wide("other").c_str(), number, 1, 99, NUMBER_LIST_BLACK), 0);
    EXPECT_TRUE(watch.executed().empty());
    EXPECT_EQ(engine.newLines(), (std::vector<std::string>{
                                     "VELQ_DB_Interface\tOK:  db_AddNumberRecord(), Number is already in DB, return!",
                                     "VELQ_DB_Interface\t**********OK: Leave db_AddNumberRecord!********"}));
    EXPECT_EQ(allStores(engine.installation), before);
}

TEST(number_operations, empty_lists_trace_their_two_different_texts)
{
    RunningEngine engine(Trace::on);
    EXPECT_EQ(readList(NUMBER_LIST_BLACK), 0);
    EXPECT_EQ(readUids(NUMBER_LIST_BLACK), 0);
    EXPECT_EQ(engine.newLines(), (std::vector<std::string>{"VELQ_DB_Interface\tNo  number  in DB!",
                                                           "VELQ_DB_Interface\tNo number  in DB!"}));
}

TEST(number_operations, unknown_uid_is_traced_as_not_found)
{
    RunningEngine engine(Trace::on);
    EXPECT_EQ(readOne(NUMBER_LIST_WHITE), 0);
    EXPECT_EQ(engine.newLines(),
              (std::vector<std::string>{"VELQ_DB_Interface\t**********Enter db_ReadNumberByUID()!********",
                                        "VELQ_DB_Interface\t******** Not Found number in store *********",
                                        "VELQ_DB_Interface\t**********OK:Leave db_ReadNumberByUID()!********"}));
}

// ---- Arguments that are refused before anything is opened

struct RefusedCase {
    const char *what;
    std::function<int()> call;
    int result;
    std::vector<std::string> trace;
};

std::vector<RefusedCase> refusedCalls()
{
    static std::uint8_t found = 0;
    static NumberListNode *nodes = nullptr;
    static UIDListNode *uids = nullptr;
    static NumberRecord record{};
    static std::int32_t count = 0;
    static char number[numberKeyCapacity] = "123";
    static VELQ_WideChar wideNumber[] = VELQ_TEXT("123");
    static const NumberListNode one{nullptr, nullptr, wideNumber, 0};
    const std::string module = "VELQ_DB_Interface\t";
    const std::string enterBatch = module + "**********Enter db_AddNumberList()!********";
    return {
        {"search of the rule list", [] { return db_SearchNumberList(&found, "1", NUMBER_LIST_RULE); }, -2, {}},
        {"search of kind 0", [] { return db_SearchNumberList(&found, "1", 0); }, -2, {}},
        {"add with hidden 2", [] { return db_AddNumberRecord(nullptr, number, 2, 0, NUMBER_LIST_WHITE); }, -2, {}},
        {"add with hidden -1", [] { return db_AddNumberRecord(nullptr, number, -1, 0, NUMBER_LIST_WHITE); }, -2, {}},
        {"remove of kind 0", [] { return db_DeleteNumberRecord(nullptr, number, 0); }, -2, {}},
        {"remove of kind 4", [] { return db_DeleteNumberRecord(nullptr, number, 4); }, -2, {}},
        {"remove all with hidden 2", [] { return db_DeleteAllNumberRecords(2, NUMBER_LIST_WHITE); }, -2, {}},
        {"remove all with hidden -2", [] { return db_DeleteAllNumberRecords(-2, NUMBER_LIST_BLACK); }, -2, {}},
        {"remove all of the rule list", [] { return db_DeleteAllNumberRecords(-1, NUMBER_LIST_RULE); }, -2, {}},
        {"remove by uid of the rule list",
         [] { return db_DeleteNumberByUID(1, NUMBER_LIST_RULE); },
         -2,
         {module + "**********Enter db_DeleteNumberByUID()!********"}},
        {"remove by extend id of the rule list",
         [] { return db_DeleteNumberByExtendID(1, NUMBER_LIST_RULE); },
         -2,
         {module + "**********Enter db_DeleteNumberByExtendID()!********"}},
        {"batch with hidden 5", [] { return db_AddNumberList(&one, 5, NUMBER_LIST_WHITE); }, -9, {enterBatch}},
        {"batch with hidden -1", [] { return db_AddNumberList(&one, -1, NUMBER_LIST_WHITE); }, -9, {enterBatch}},
        {"empty batch", [] { return db_AddNumberList(nullptr, 0, NUMBER_LIST_WHITE); }, -9, {enterBatch}},
        {"empty batch for the rule list",
         [] { return db_AddNumberList(nullptr, 0, NUMBER_LIST_RULE); },
         -9,
         {enterBatch}},
        {"batch for the rule list", [] { return db_AddNumberList(&one, 0, NUMBER_LIST_RULE); }, -8, {enterBatch}},
        {"list with hidden 2", [] { return db_GetNumberList(&nodes, 2, NUMBER_LIST_WHITE); }, -2, {}},
        {"list of the rule list", [] { return db_GetNumberList(&nodes, -1, NUMBER_LIST_RULE); }, -2, {}},
        {"uid list with hidden 2", [] { return db_GetNumberUIDList(&uids, 2, NUMBER_LIST_WHITE); }, -2, {}},
        {"uid list of the rule list", [] { return db_GetNumberUIDList(&uids, -1, NUMBER_LIST_RULE); }, -2, {}},
        {"read of the rule list",
         [] { return db_ReadNumberByUID(&record, 1, NUMBER_LIST_RULE); },
         -2,
         {module + "**********Enter db_ReadNumberByUID()!********"}},
        {"count of kind 0",
         [] { return db_GetTotalCount(&count, 0); },
         -2,
         {module + "**********Enter db_GetTotalCount()!********"}},
        {"count of kind 4",
         [] { return db_GetTotalCount(&count, 4); },
         -2,
         {module + "**********Enter db_GetTotalCount()!********"}},
        // The message store has no file, so that opening it fails.
        {"count of messages",
         [] { return db_GetTotalCount(&count, countOfMessages); },
         -2,
         {module + "**********Enter db_GetTotalCount()!********", module + "Error: VELQ_DSH_Open, rc=14",
          module + "**********Error:Leave db_GetTotalCount()!********"}},
    };
}

TEST(number_operations, bad_arguments_are_refused_before_any_file_is_opened)
{
    RunningEngine engine(Trace::on);
    fillLists(engine.installation);
    const std::vector<std::string> before = allStores(engine.installation);
    for (const RefusedCase &refused : refusedCalls()) {
        SCOPED_TRACE(refused.what);
        const DshWatch watch;
        EXPECT_EQ(refused.call(), refused.result);
        EXPECT_EQ(watch.calls(), std::vector<std::string>{});
        EXPECT_EQ(engine.newLines(), refused.trace);
    }
    EXPECT_EQ(allStores(engine.installation), before);
}

TEST(number_operations, add_of_an_unknown_kind_fails_in_its_lookup)
{
    RunningEngine engine(Trace::off);
    char number[numberKeyCapacity] = "123";
    const DshWatch watch;
    EXPECT_EQ(db_AddNumberRecord(nullptr, number, 0, 0, 4), VELQ_ERR_FAILED);
    EXPECT_EQ(watch.calls(), std::vector<std::string>{});
    EXPECT_EQ(engine.newLines(),
              (std::vector<std::string>{"VELQ_DB_Interface\tError:  db_SearchNumberList()",
                                        "VELQ_DB_Interface\t**********Error:Leave db_AddNumberRecord()!********"}));
}

// ---- The rule list, which no export reaches

TEST(number_operations, rule_list_takes_duplicates_and_touches_no_other_list)
{
    RunningEngine engine(Trace::off);
    engine.installation.addNumber(NumberList::white, "13812345678");
    engine.installation.addNumber(NumberList::black, "13812345678");
    for (int i = 0; i < 2; ++i) {
        char number[numberKeyCapacity] = "13812345678";
        EXPECT_EQ(db_AddNumberRecord(wide("ignored").c_str(), number, 1, 7, NUMBER_LIST_RULE), 0);
        EXPECT_STREQ(number, "87654321831") << "reversed in place";
    }
    const Value stored = Value::ofText(storedNumber("13812345678"));
    EXPECT_EQ(engine.installation.open("ru.bin").query("SELECT * FROM ruleList;"), (Rows{{stored}, {stored}}));
    EXPECT_EQ(engine.installation.numberRows(NumberList::white).size(), 1u);
    EXPECT_EQ(engine.installation.numberRows(NumberList::black).size(), 1u);
}

TEST(number_operations, rule_list_removal_knows_no_suffix_rule)
{
    RunningEngine engine(Trace::off);
    for (const char *displayed : {"13812345678", "+8613812345678", "138"}) {
        char number[numberKeyCapacity]{};
        std::strcpy(number, displayed);
        ASSERT_EQ(db_AddNumberRecord(nullptr, number, 0, 0, NUMBER_LIST_RULE), 0);
    }
    char number[numberKeyCapacity] = "13812345678";
    EXPECT_EQ(db_DeleteNumberRecord(nullptr, number, NUMBER_LIST_RULE), 0);
    EXPECT_EQ(engine.installation.open("ru.bin").query("SELECT * FROM ruleList;"),
              (Rows{{Value::ofText(storedNumber("+8613812345678"))}, {Value::ofText(storedNumber("138"))}}));
}

// ---- Failures after the work was done

TEST(number_operations, batch_on_a_full_database_reports_it_and_stores_nothing)
{
    RunningEngine engine(Trace::off);
    // How large a file may grow belongs to a connection, so the code is put in place of the third step's own result,
    // after the row has been inserted: the rollback has three rows to undo.
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_FULL, .nth = 3, .isForwarded = true});
    EXPECT_EQ(addBatch(NUMBER_LIST_WHITE), VELQ_ERR_DATABASE_FULL);
    EXPECT_TRUE(engine.installation.numberRows(NumberList::white).empty());
}

TEST(number_operations, failed_removal_is_abandoned_with_its_connection)
{
    RunningEngine engine(Trace::off);
    fillLists(engine.installation);
    {
        // The row is deleted already when the step reports a failure, and no rollback follows.
        const DshWatch watch({.call = DshCall::step, .isForwarded = true});
        EXPECT_EQ(removeByNumber(NUMBER_LIST_BLACK), VELQ_ERR_FAILED);
        EXPECT_EQ(watch.executed(), std::vector<std::string>{beginText});
    }
    EXPECT_EQ(engine.installation.numberRows(NumberList::black).size(), 2u);
}

// ---- Memory running out

struct MemoryCase {
    const char *name;
    std::function<int(std::int32_t)> operation;
    int result; // for every allocation that can fail
};

TEST(number_operations, every_failing_allocation_of_a_write_fails_it_cleanly)
{
    for (const MemoryCase &given :
         {MemoryCase{"search", search, -2}, MemoryCase{"add", add, -2}, MemoryCase{"remove", removeByNumber, -2},
          MemoryCase{"remove all", removeAll, -2}, MemoryCase{"remove by uid", removeByUid, -2},
          MemoryCase{"remove by extend id", removeByExtendId, -2}, MemoryCase{"batch", addBatch, -8},
          MemoryCase{"count", countNumbers, -2}, MemoryCase{"read one", readOne, -2},
          MemoryCase{"read version", readVersion, -2}, MemoryCase{"write version", writeVersion, -2}}) {
        SCOPED_TRACE(given.name);
        RunningEngine engine(Trace::off);
        fillLists(engine.installation);
        const std::vector<std::string> before = allStores(engine.installation);
        int failures = 0;
        for (int nth = 1;; ++nth) {
            const DshWatch watch;
            const AllocationGuard memory(nth);
            const int result = given.operation(NUMBER_LIST_WHITE);
            EXPECT_EQ(memory.notReleased(), 0) << nth;
            EXPECT_TRUE(watch.everythingReleased()) << nth;
            if (!memory.failureHappened()) {
                EXPECT_EQ(result, 0);
                break;
            }
            ++failures;
            EXPECT_EQ(result, given.result) << nth;
            EXPECT_EQ(allStores(engine.installation), before) << nth;
        }
        EXPECT_GE(failures, 1);
    }
}

TEST(number_operations, every_value_that_can_not_be_bound_fails_the_operation_cleanly)
{
    for (const MemoryCase &given :
         {MemoryCase{"search", search, -2}, MemoryCase{"add", add, -2}, MemoryCase{"remove", removeByNumber, -2},
          MemoryCase{"remove by uid", removeByUid, -2}, MemoryCase{"remove by extend id", removeByExtendId, -2},
          MemoryCase{"batch", addBatch, -8}, MemoryCase{"read one", readOne, -2}}) {
        SCOPED_TRACE(given.name);
        RunningEngine engine(Trace::off);
        fillLists(engine.installation);
        const std::vector<std::string> before = allStores(engine.installation);
        int failures = 0;
        for (bool happened = true; happened;) {
            const DshWatch watch({.call = DshCall::bind, .code = VELQ_DSH_NOMEM, .nth = failures + 1});
            const int result = given.operation(NUMBER_LIST_WHITE);
            happened = watch.faultHappened();
            EXPECT_EQ(result, happened ? given.result : 0) << failures;
            EXPECT_TRUE(watch.everythingReleased()) << failures;
            if (happened) {
                ++failures;
                EXPECT_EQ(allStores(engine.installation), before) << failures;
            }
        }
        EXPECT_GE(failures, 1);
    }
}

TEST(number_operations, memory_running_out_shortens_a_list)
{
    RunningEngine engine(Trace::off);
    fillLists(engine.installation);
    // Allocation 1 is the path; each node of the number list then takes four, each of the uid list one.
    const auto check = [](const std::function<int(std::int32_t)> &read, int perNode) {
        for (int nth = 1;; ++nth) {
            const AllocationGuard memory(nth);
            const int result = read(NUMBER_LIST_WHITE);
            EXPECT_EQ(memory.notReleased(), 0) << nth;
            if (!memory.failureHappened()) {
                EXPECT_EQ(lastCount, 2);
                EXPECT_EQ(nth, 2 + 2 * perNode);
                break;
            }
            EXPECT_EQ(result, nth == 1 ? VELQ_ERR_FAILED : 0) << nth;
            EXPECT_EQ(lastCount, nth == 1 ? 0 : (nth - 2) / perNode) << nth;
        }
    };
    check(readList, 4);
    check(readUids, 1);
}

TEST(number_operations, read_that_runs_out_of_memory_leaves_the_record_untouched)
{
    RunningEngine engine(Trace::off);
    fillLists(engine.installation);
    VELQ_WideChar marker = 0;
    int nth = 1;
    for (;; ++nth) {
        NumberRecord record{&marker, &marker};
        const AllocationGuard memory(nth);
        const int result = db_ReadNumberByUID(&record, 1, NUMBER_LIST_WHITE);
        if (!memory.failureHappened()) {
            EXPECT_EQ(result, 0);
            freeNumberRecord(&record);
            break;
        }
        EXPECT_EQ(result, VELQ_ERR_FAILED) << nth;
        EXPECT_EQ(record.number, &marker) << nth;
        EXPECT_EQ(record.name, &marker) << nth;
    }
    EXPECT_EQ(nth, 5) << "path, narrow number, wide number, name";
}

} // namespace
} // namespace velq::test
