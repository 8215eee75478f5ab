// The source position at the beginning of a log line: it is the place of the line's own text, so that no two failing
// steps of an operation share one. And the records that the texts stand in: without the text of a step they do not
// compile.
#include "VELQ_DB_Interface.h"
#include "VELQ_DB_Merge.h"
#include "VELQ_DB_Operation.h"
#include "VELQ_Update.h"
#include "VELQ_WL_Store.h"
#include "VELQ_WN_Store.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace velq::test {
namespace {

// ---- Positions in the log

struct PositionedLine {
    std::string position; // "folder/Module.cpp:123"
    std::string text;
};

std::vector<PositionedLine> positionedLines(const std::vector<std::string> &lines)
{
    std::vector<PositionedLine> found;
    for (const std::string &line : lines) {
        if (line.find("VELQ_") < line.find('\t') && line.find('\t') != std::string::npos) {
            found.push_back({line.substr(0, line.find('\t')), line.substr(line.find('\t') + 1)});
        }
    }
    return found;
}

std::string sourceLineAt(const std::string &position)
{
    const std::size_t colon = position.rfind(':');
    const std::string file = position.substr(0, colon);
    std::ifstream in(VELQ_ENGINE_SOURCES "/" + file.substr(file.find_last_of("/\\") + 1));
    std::string line;
    for (int number = std::stoi(position.substr(colon + 1)); number > 0; --number) {
        std::getline(in, line);
    }
    return line;
}

struct Operation {
    const char *name;
    std::function<int(const RunningEngine &)> run;
    std::vector<DshFault> faults; // one for each step that can fail and has a text
};

std::ostream &operator<<(std::ostream &out, const Operation &operation)
{
    return out << operation.name;
}

std::vector<DshFault> faultsOfQuietRead()
{
    return {{.call = DshCall::open}, {.call = DshCall::busyHandler}, {.call = DshCall::prepare}};
}

std::vector<DshFault> faultsOfRead()
{
    std::vector<DshFault> faults = faultsOfQuietRead();
    faults.push_back({.call = DshCall::step});
    return faults;
}

std::vector<DshFault> faultsOfWrite()
{
    std::vector<DshFault> faults = faultsOfRead();
    faults.push_back({.call = DshCall::exec, .sql = beginText});
    faults.push_back({.call = DshCall::exec, .sql = commitText});
    return faults;
}

std::vector<DshFault> withMatcher(std::vector<DshFault> faults)
{
    faults.push_back({.call = DshCall::makeUserHand});
    return faults;
}

// Statements and steps in the order of the two updates below.
std::vector<DshFault> faultsOfMerge(std::vector<int> prepares, std::vector<int> steps)
{
    std::vector<DshFault> faults = {{.call = DshCall::open},
                                    {.call = DshCall::open, .nth = 2},
                                    {.call = DshCall::busyHandler},
                                    {.call = DshCall::busyHandler, .nth = 2},
                                    {.call = DshCall::exec, .sql = beginText}};
    for (const int nth : prepares) {
        faults.push_back({.call = DshCall::prepare, .nth = nth});
    }
    for (const int nth : steps) {
        faults.push_back({.call = DshCall::step, .nth = nth});
    }
    return faults;
}

int addRule(const RunningEngine &)
{
    char number[numberKeyCapacity] = "1";
    return db_AddNumberRecord(nullptr, number, 0, 0, NUMBER_LIST_RULE);
}

int removeFromWhiteList(const RunningEngine &)
{
    char number[numberKeyCapacity] = "1";
    return db_DeleteNumberRecord(nullptr, number, NUMBER_LIST_WHITE);
}

int addOneToWhiteList(const RunningEngine &)
{
    VELQ_WideChar number[] = VELQ_TEXT("1");
    const NumberListNode node{nullptr, nullptr, number, 0};
    return db_AddNumberList(&node, 0, NUMBER_LIST_WHITE);
}

int readFirstOfWhiteList(const RunningEngine &)
{
    NumberRecord record{};
    const int result = db_ReadNumberByUID(&record, 1, NUMBER_LIST_WHITE);
    freeNumberRecord(&record);
    return result;
}

int readWhiteList(const RunningEngine &)
{
    NumberListNode *head = nullptr;
    const int result = db_GetNumberList(&head, VELQ_HIDDEN_ANY, NUMBER_LIST_WHITE);
    freeNumberList(head);
    return result;
}

int readWhiteListUids(const RunningEngine &)
{
    UIDListNode *head = nullptr;
    const int result = db_GetNumberUIDList(&head, VELQ_HIDDEN_ANY, NUMBER_LIST_WHITE);
    freeUIDList(head);
    return result;
}

// A known token and a new one.
int mergeProbabilities(const RunningEngine &engine)
{
    const std::filesystem::path update = engine.installation.folder() / "probabilities";
    if (!std::filesystem::exists(update)) {
        makeProbabilityUpdate(update, {probabilityRow(wide("ab"), {1, 1, 1}), probabilityRow(wide("new"), {1, 1, 1})});
    }
    return db_MergeDiff2ProbTable(engineState.tokenStorePath, update.string().c_str());
}

int mergeNumbers(const RunningEngine &engine)
{
    const std::filesystem::path update = engine.installation.folder() / "numbers";
    if (!std::filesystem::exists(update)) {
        makeWhiteNumberUpdate(update, {whiteNumberRow(wide("1"), wide("a"))});
    }
    return db_MergeDiff2WnTable(engineState.whiteListPath, update.string().c_str());
}

std::vector<Operation> allOperations()
{
    static std::uint8_t found = 0;
    static std::int32_t count = 0;
    static VersionRecord version{VELQ_DATA_PROBABILITY, 1};
    using Engine = const RunningEngine &;
    return {
        {"search", [](Engine) { return db_SearchNumberList(&found, "1", NUMBER_LIST_WHITE); },
         withMatcher(faultsOfRead())},
        {"add", addRule, faultsOfWrite()},
        {"remove_by_number", removeFromWhiteList, withMatcher(faultsOfWrite())},
        {"remove_all", [](Engine) { return db_DeleteAllNumberRecords(0, NUMBER_LIST_WHITE); }, faultsOfWrite()},
        {"remove_by_uid", [](Engine) { return db_DeleteNumberByUID(1, NUMBER_LIST_WHITE); }, faultsOfWrite()},
        {"remove_by_extend_id", [](Engine) { return db_DeleteNumberByExtendID(1, NUMBER_LIST_WHITE); },
         faultsOfWrite()},
        {"batch", addOneToWhiteList, faultsOfWrite()},
        {"list", readWhiteList, faultsOfQuietRead()},
        {"uid_list", readWhiteListUids, faultsOfQuietRead()},
        {"read", readFirstOfWhiteList, faultsOfRead()},
        {"count", [](Engine) { return db_GetTotalCount(&count, NUMBER_LIST_WHITE); }, faultsOfRead()},
        {"read_version", [](Engine) { return db_GetCurrentVersion(&version); }, faultsOfQuietRead()},
        {"write_version", [](Engine) { return db_UpdateVersion(&version); }, faultsOfWrite()},
        // The failing update of a known token is told by the leave line alone.
        {"merge_probabilities", mergeProbabilities, faultsOfMerge({1, 2, 3, 4}, {2, 6})},
        {"merge_numbers", mergeNumbers, faultsOfMerge({1, 2, 3}, {2, 3})},
    };
}

class LogPosition : public ::testing::TestWithParam<Operation> {
  protected:
    LogPosition() : engine(Trace::on)
    {
        engine.installation.addToken(wide("ab"), 1, 2, 3);
    }

    // The lines that one failing step leaves, with their positions.
    std::vector<PositionedLine> linesOfFailure(const DshFault &fault)
    {
        const std::filesystem::path log = engine.installation.logFile("engine.log");
        const std::size_t before = logLines(log).size();
        const DshWatch watch(fault);
        GetParam().run(engine);
        EXPECT_TRUE(watch.faultHappened());
        std::vector<std::string> lines = logLines(log);
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
        return positionedLines(lines);
    }

    RunningEngine engine;
};

TEST_P(LogPosition, two_failing_steps_of_one_operation_have_different_lines)
{
    std::map<std::string, int> stepsAt; // positions of the causes
    for (const DshFault &fault : GetParam().faults) {
        std::set<std::string> causes;
        for (const PositionedLine &line : linesOfFailure(fault)) {
            if (line.text.starts_with("Error:")) {
                causes.insert(line.position);
            }
        }
        ASSERT_EQ(causes.size(), 1u);
        ++stepsAt[*causes.begin()];
    }
    EXPECT_EQ(stepsAt.size(), GetParam().faults.size());
}

TEST_P(LogPosition, cause_and_leave_line_of_one_failure_have_different_lines)
{
    for (const DshFault &fault : GetParam().faults) {
        std::set<std::string> positions;
        const std::vector<PositionedLine> lines = linesOfFailure(fault);
        for (const PositionedLine &line : lines) {
            positions.insert(line.position);
        }
        EXPECT_EQ(positions.size(), lines.size());
    }
}

TEST_P(LogPosition, names_the_source_line_on_which_the_text_stands)
{
    constexpr std::size_t comparedLength = 12; // short of the first value in any of the texts
    for (const DshFault &fault : GetParam().faults) {
        for (const PositionedLine &line : linesOfFailure(fault)) {
            EXPECT_NE(sourceLineAt(line.position).find("\\t" + line.text.substr(0, comparedLength)), std::string::npos)
                << line.position << ' ' << line.text;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(every_operation, LogPosition, ::testing::ValuesIn(allOperations()),
                         [](const ::testing::TestParamInfo<Operation> &given) { return given.param.name; });

// ---- Records

constexpr FailureTexts someTexts{errorLine("%s:%d\tError: some step\n"), {}};

// Whether the record is complete, and no longer so when a step loses its text or a step that is not run gets one.
consteval bool isHeldToItsSteps(const StoreTexts &texts)
{
    for (const StoreStep step : {&StoreTexts::open, &StoreTexts::busyHandler, &StoreTexts::registerLike,
                                 &StoreTexts::begin, &StoreTexts::prepare, &StoreTexts::step, &StoreTexts::commit}) {
        StoreTexts changed = texts;
        changed.*step = (texts.*step).cause.format == nullptr ? someTexts : FailureTexts{};
        if (hasTextsOfItsSteps(changed)) {
            return false;
        }
    }
    return hasTextsOfItsSteps(texts);
}

constexpr StoreTexts quietReadTexts{
    .kind = StoreKind::quietRead, .open = someTexts, .busyHandler = someTexts, .prepare = someTexts};
constexpr StoreTexts readTexts{
    .kind = StoreKind::read, .open = someTexts, .busyHandler = someTexts, .prepare = someTexts, .step = someTexts};
constexpr StoreTexts writeTexts{.kind = StoreKind::write,
                                .rollsBack = true,
                                .open = someTexts,
                                .busyHandler = someTexts,
                                .begin = someTexts,
                                .prepare = someTexts,
                                .step = someTexts,
                                .commit = someTexts};

consteval StoreTexts withLike(StoreTexts texts)
{
    texts.like = SqlFunction(db_NumberLike);
    texts.registerLike = someTexts;
    return texts;
}

consteval StoreTexts rollingBack(StoreTexts texts)
{
    texts.rollsBack = true;
    return texts;
}

TEST(store_operation_records, compile_with_exactly_the_texts_of_their_steps)
{
    static_assert(isHeldToItsSteps(quietReadTexts));
    static_assert(isHeldToItsSteps(readTexts) && isHeldToItsSteps(withLike(readTexts)));
    static_assert(isHeldToItsSteps(writeTexts) && isHeldToItsSteps(withLike(writeTexts)));
    static_assert(!hasTextsOfItsSteps(rollingBack(readTexts)), "a read has nothing to roll back");
}

constexpr LogText someText = errorLine("%s:%d\tError: some step\n");
constexpr MergeTexts mergeTexts{.openSource = {someText, {}},
                                .busyHandlerOfSource = {someText, {}},
                                .openTarget = {someText, {}},
                                .busyHandlerOfTarget = {someText, {}},
                                .begin = someText,
                                .rows = {.sql = "", .prepare = someText},
                                .lookup = {.sql = "", .prepare = someText, .step = someText},
                                .insert = {.sql = "", .prepare = someText, .step = someText},
                                .update = {.sql = "", .prepare = someText},
                                .failed = someText};

// Whether the record is incomplete without one of its texts.
consteval bool needs(LogText &(*textOf)(MergeTexts &texts))
{
    MergeTexts changed = mergeTexts;
    textOf(changed) = {};
    return !hasTextsOfItsSteps(changed);
}

TEST(store_operation_records, of_merges_compile_with_the_texts_of_their_steps)
{
    static_assert(hasTextsOfItsSteps(mergeTexts));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.openSource.cause; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.busyHandlerOfSource.cause; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.openTarget.cause; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.busyHandlerOfTarget.cause; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.begin; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.rows.prepare; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.lookup.prepare; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.lookup.step; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.insert.prepare; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.insert.step; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.update.prepare; }));
    static_assert(needs([](MergeTexts &texts) -> LogText & { return texts.failed; }));
}

TEST(log_texts, compile_with_a_format_of_their_value_only)
{
    static_assert(takesValue("%s:%d\tplain\n", LogValue::code));
    static_assert(takesValue("%s:%d\tcode %d\n", LogValue::code) && takesValue("%s:%d\tcode %d\n", LogValue::zero));
    static_assert(takesValue("%s:%d\tpath %s\n", LogValue::path));
    static_assert(!takesValue("no position\n", LogValue::code));
    static_assert(!takesValue("%s:%d\tpath %s\n", LogValue::code) && !takesValue("%s:%d\tcode %d\n", LogValue::path));
    static_assert(!takesValue("%s:%d\tplain\n", LogValue::path));
    static_assert(!takesValue("%s:%d\ttwo %d %d\n", LogValue::code));
}

} // namespace
} // namespace velq::test
