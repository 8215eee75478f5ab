// The two merges with every database call failing once: result, log, what stays, and that everything is closed.
#include "VELQ_Util.h"
#include "VELQ_WL_Store.h"
#include "VELQ_WN_Store.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"
#include "support/wide.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

constexpr char fullSyncSql[] = "PRAGMA synchronous = FULL;";

struct MergeFailure {
    const char *what;
    DshFault fault;
    int result;
    Lines lines;
};

// ---- Probability data: one known token, then one new one

const ExpectedLine probEnter = debug("VELQ_WL_Store\t**********Enter db_MergeDiff2ProbTable()!********");
const ExpectedLine probDone = debug("VELQ_WL_Store\t**********OK: Leave db_MergeDiff2ProbTable()!********");
const ExpectedLine probFailed = error("VELQ_WL_Store\t**********Error: Leave db_MergeDiff2ProbTable()!********");
const ExpectedLine probHandlerFailed = error("VELQ_WL_Store\t**********Error:Leave db_MergeDiff2ProbTable()!********");
const ExpectedLine probFound = debug("VELQ_WL_Store\t******** Found Record In prob.bin, going to update... *********");
const ExpectedLine probNotFound =
    debug("VELQ_WL_Store\t******** Not Found Record In prob.bin, going to insert... *********");

// Merges again and again, one value after the other not being bound; each such merge fails and changes nothing. Returns
// their number; the merge behind the last succeeds.
int failEachBinding(const std::function<int()> &merge, const std::function<Texts()> &contents)
{
    const Texts before = contents();
    for (int failures = 0;; ++failures) {
        const DshWatch watch({.call = DshCall::bind, .code = VELQ_DSH_NOMEM, .nth = failures + 1});
        const int result = merge();
        EXPECT_TRUE(watch.everythingReleased()) << failures;
        if (!watch.faultHappened()) {
            EXPECT_EQ(result, 0);
            return failures;
        }
        EXPECT_EQ(result, VELQ_ERR_FAILED) << failures;
        EXPECT_EQ(contents(), before) << failures;
    }
}

class ProbabilityMerge : public testing::TestWithParam<Trace> {
  protected:
    ProbabilityMerge() : engine(GetParam(), StartVariant::norix)
    {
        engine.installation.addToken(wide("ab"), 1, 2, 3);
        makeProbabilityUpdate(update(),
                              {probabilityRow(wide("ab"), {10, 20, 30}), probabilityRow(wide("cd"), {4, 5, 6})});
    }

    std::filesystem::path update() const
    {
        return engine.installation.folder() / "update.db";
    }
    int merge() const
    {
        return db_MergeDiff2ProbTable(engineState.tokenStorePath, update().string().c_str());
    }
    Texts contents() const
    {
        return engine.installation.open("prob.bin").dump();
    }

    RunningEngine engine;
};

std::string levelName(const testing::TestParamInfo<Trace> &level)
{
    return level.param == Trace::on ? "with_debug" : "without_debug";
}

INSTANTIATE_TEST_SUITE_P(BothLevels, ProbabilityMerge, testing::Values(Trace::on, Trace::off), levelName);

TEST_P(ProbabilityMerge, adds_and_inserts_in_one_transaction_on_connections_of_its_own)
{
    const DshWatch watch;
    EXPECT_EQ(merge(), 0);
    EXPECT_EQ(engine.newLines(), expectedLog({probEnter, probFound, probNotFound, probDone}, GetParam()));
    EXPECT_EQ(engine.installation.token(wide("ab")), (TokenCounts{11, 22, 3}));
    EXPECT_EQ(engine.installation.token(wide("cd")), (TokenCounts{4, 5, 6}));
    EXPECT_EQ(watch.executed(), (Texts{fullSyncSql, beginText, commitText}));
    EXPECT_EQ(watch.connectionsOpened(), 2);
    EXPECT_TRUE(watch.everythingReleased());
    const Texts prepared = watch.prepared();
    EXPECT_EQ(prepared.at(0), "select key, value FROM diffProbTable;");
    EXPECT_EQ(std::vector<std::string>(prepared.begin() + 1, prepared.begin() + 3),
              (Texts{"select value FROM velqTable WHERE (key=?);", "UPDATE velqTable SET value=? WHERE (key=?);"}));
    EXPECT_EQ(prepared.back(), "INSERT INTO velqTable(key, value) VALUES(?,?);");
}

// Steps in their order: first row, lookup, update, second row, lookup, insert, end.
TEST_P(ProbabilityMerge, failing_calls_are_told_and_roll_back)
{
    const ExpectedLine stepFailed = error("VELQ_WL_Store\tError: VELQ_DSH_doNext, rc=10");
    const ExpectedLine prepareError = error("VELQ_WL_Store\tError: VELQ_DSH_Prepare");
    std::vector<MergeFailure> failures;
    const auto failing = [&failures](const char *what, const DshFault &fault, int result, const Lines &lines) {
        failures.push_back({what, fault, result, lines});
    };

    failing("opening the update", {.call = DshCall::open}, -2,
            {probEnter, debug("VELQ_WL_Store\tError:  Can not open db")});
    failing("opening the update, with a handle", {.call = DshCall::open, .isForwarded = true}, -2,
            {probEnter, debug("VELQ_WL_Store\tError:  Can not open db")});
    failing("busy handler of the update", {.call = DshCall::busyHandler}, -2,
            {probEnter, error("VELQ_WL_Store\tError: VELQ_DSH_busyHandler"), probHandlerFailed});
    failing("opening the store", {.call = DshCall::open, .nth = 2}, -2,
            {probEnter, error("VELQ_WL_Store\tError:  Can not open db")});
    failing("opening the store, with a handle", {.call = DshCall::open, .nth = 2, .isForwarded = true}, -2,
            {probEnter, error("VELQ_WL_Store\tError:  Can not open db")});
    failing("busy handler of the store", {.call = DshCall::busyHandler, .nth = 2}, -2,
            {probEnter, error("VELQ_WL_Store\tError: VELQ_DSH_busyHandler"), probHandlerFailed});
    failing("setting the sync", {.call = DshCall::exec, .sql = fullSyncSql}, -2, {probEnter, probFailed});
    failing("begin", {.call = DshCall::exec, .sql = beginText}, 0,
            {probEnter, debug("VELQ_WL_Store\tError: VELQ_DSH_Exec, BEGIN TRANSACTION"), probDone});
    failing("preparing the rows", {.call = DshCall::prepare, .sql = "select key, value FROM diffProbTable;"}, -2,
            {probEnter, prepareError, probFailed});
    failing("preparing the lookup", {.call = DshCall::prepare, .sql = "select value FROM velqTable WHERE (key=?);"}, -2,
            {probEnter, prepareError, probFailed});
    failing("preparing the update", {.call = DshCall::prepare, .sql = "UPDATE velqTable SET value=? WHERE (key=?);"},
            -2, {probEnter, probFound, prepareError, probFailed});
    failing("preparing the insert", {.call = DshCall::prepare, .sql = "INSERT INTO velqTable(key, value) VALUES(?,?);"},
            -2, {probEnter, probFound, probNotFound, debug("VELQ_WL_Store\tError: VELQ_DSH_Prepare"), probFailed});
    failing("first lookup", {.call = DshCall::step, .nth = 2}, -2, {probEnter, stepFailed, probFailed});
    failing("update", {.call = DshCall::step, .nth = 3}, -2, {probEnter, probFound, probFailed});
    failing("second lookup", {.call = DshCall::step, .nth = 5}, -2, {probEnter, probFound, stepFailed, probFailed});
    failing("insert", {.call = DshCall::step, .nth = 6}, -2,
            {probEnter, probFound, probNotFound, stepFailed, probFailed});

    const Texts before = contents();
    for (const MergeFailure &failure : failures) {
        const DshWatch watch(failure.fault);
        EXPECT_EQ(merge(), failure.result) << failure.what;
        EXPECT_TRUE(watch.faultHappened()) << failure.what;
        EXPECT_TRUE(watch.everythingReleased()) << failure.what;
        EXPECT_EQ(engine.newLines(), expectedLog(failure.lines, GetParam())) << failure.what;
        EXPECT_EQ(contents(), before) << failure.what;
        const bool began = failure.lines.size() > 1 && failure.fault.call != DshCall::open &&
                           failure.fault.call != DshCall::busyHandler;
        const bool beginFailed = failure.fault.sql == beginText;
        EXPECT_EQ(watch.executed(),
                  began ? (Texts{fullSyncSql, beginText, beginFailed ? commitText : rollbackText}) : Texts{})
            << failure.what;
    }
    EXPECT_EQ(merge(), 0);
}

TEST_P(ProbabilityMerge, store_that_is_locked_when_the_sync_is_set_is_passed_over_without_another_wait)
{
    const Texts before = contents();
    const DshWatch watch({.call = DshCall::exec, .code = VELQ_DSH_BUSY, .sql = fullSyncSql});
    EXPECT_EQ(merge(), 0);
    EXPECT_EQ(watch.executed(), (Texts{fullSyncSql, commitText}));
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines(),
              expectedLog({probEnter, debug("VELQ_WL_Store\tError: VELQ_DSH_Exec, BEGIN TRANSACTION"), probDone},
                          GetParam()));
    EXPECT_EQ(contents(), before);
}

TEST_P(ProbabilityMerge, error_while_reading_the_update_counts_as_its_end)
{
    const Texts before = contents();
    {
        const DshWatch watch({.call = DshCall::step, .code = 11});
        EXPECT_EQ(merge(), 0);
        EXPECT_EQ(watch.executed(), (Texts{fullSyncSql, beginText, commitText}));
        EXPECT_TRUE(watch.everythingReleased());
    }
    EXPECT_EQ(engine.newLines(), expectedLog({probEnter, probDone}, GetParam()));
    EXPECT_EQ(contents(), before);
    {
        const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY, .nth = 4});
        EXPECT_EQ(merge(), 0);
        EXPECT_EQ(watch.executed(), (Texts{fullSyncSql, beginText, commitText}));
    }
    EXPECT_EQ(engine.newLines(), expectedLog({probEnter, probFound, probDone}, GetParam()));
    EXPECT_EQ(engine.installation.token(wide("ab")), (TokenCounts{11, 22, 3}));
    EXPECT_EQ(engine.installation.token(wide("cd")), std::nullopt);
}

TEST_P(ProbabilityMerge, result_of_the_commit_is_not_looked_at)
{
    const DshWatch watch({.call = DshCall::exec, .code = 13, .sql = commitText});
    EXPECT_EQ(merge(), 0);
    EXPECT_TRUE(watch.faultHappened());
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines(), expectedLog({probEnter, probFound, probNotFound, probDone}, GetParam()));
}

TEST_P(ProbabilityMerge, value_that_can_not_be_bound_rolls_back)
{
    EXPECT_GE(failEachBinding([this] { return merge(); }, [this] { return contents(); }), 6);
}

TEST_P(ProbabilityMerge, bound_on_either_file_is_told_and_rolls_back)
{
    const ExpectedLine bound = error("VELQ_DB_Connection\tError: file beyond a bound: some bound");
    const ExpectedLine stepFailed = error("VELQ_WL_Store\tError: VELQ_DSH_doNext, rc=9");
    const auto step = [](int nth) { return DshFault{.call = DshCall::step, .code = 9, .nth = nth, .isBound = true}; };
    const Texts before = contents();
    for (const MergeFailure &failure : std::vector<MergeFailure>{
             {"first row", step(1), -2, {probEnter, bound, probFailed}},
             {"second row", step(4), -2, {probEnter, probFound, bound, probFailed}},
             {"end", step(7), -2, {probEnter, probFound, probNotFound, bound, probFailed}},
             {"lookup", step(2), -2, {probEnter, bound, stepFailed, probFailed}},
             {"update", step(3), -2, {probEnter, probFound, bound, probFailed}},
             {"preparing the rows",
              {.call = DshCall::prepare, .code = 9, .sql = "select key, value FROM diffProbTable;", .isBound = true},
              -2,
              {probEnter, bound, error("VELQ_WL_Store\tError: VELQ_DSH_Prepare"), probFailed}}}) {
        const DshWatch watch(failure.fault);
        EXPECT_EQ(merge(), failure.result) << failure.what;
        EXPECT_TRUE(watch.everythingReleased()) << failure.what;
        EXPECT_EQ(engine.newLines(), expectedLog(failure.lines, GetParam())) << failure.what;
        EXPECT_EQ(contents(), before) << failure.what;
        EXPECT_EQ(watch.executed(), (Texts{fullSyncSql, beginText, rollbackText})) << failure.what;
    }
}

TEST_P(ProbabilityMerge, bound_at_the_commit_rolls_back)
{
    const Texts before = contents();
    const DshWatch watch({.call = DshCall::exec, .code = VELQ_DSH_FULL, .sql = commitText, .isBound = true});
    EXPECT_EQ(merge(), -2);
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(watch.executed(), (Texts{fullSyncSql, beginText, commitText, rollbackText}));
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(engine.newLines(),
              expectedLog({probEnter, probFound, probNotFound,
                           error("VELQ_DB_Connection\tError: file beyond a bound: some bound"), probFailed},
                          GetParam()));
}

TEST_P(ProbabilityMerge, key_without_memory_rolls_back)
{
    const Texts before = contents();
    const int failures =
        failEachAllocation([this] { return merge(); },
                           [&](int nth, int result, const DshWatch &watch) {
                               EXPECT_EQ(result, VELQ_ERR_FAILED);
                               EXPECT_EQ(contents(), before);
                               const Texts lines = engine.newLines();
                               if (nth > 2) { // the first two are the paths of the two files
                                   EXPECT_EQ(lines[lines.size() - 2], "VELQ_WL_Store\tError: Memory Allocate Failed");
                                   EXPECT_EQ(lines.back(), probFailed.text);
                                   EXPECT_EQ(watch.executed(), (Texts{fullSyncSql, beginText, rollbackText}));
                               }
                           });
    EXPECT_EQ(failures, 4);
}

TEST_P(ProbabilityMerge, shorter_stored_values_read_as_zero_behind_their_end)
{
    engine.installation.addTokenRow(Value::ofBlob(utf16Bytes(wide("ab"))), Value::ofBlob(bytes({1, 0, 0, 0, 2})));
    EXPECT_EQ(merge(), 0);
    EXPECT_EQ(engine.installation.tokenValue(utf16Bytes(wide("ab"))),
              Value::ofBlob(bytes({11, 0, 0, 0, 22, 0, 0, 0, 0, 0, 0, 0})));
}

// ---- White numbers: a new one, the same again, and another new one

const ExpectedLine wnEnter = debug("VELQ_WN_Store\t**********Enter db_MergeDiff2WnTable()!********");
const ExpectedLine wnDone = debug("VELQ_WN_Store\t**********OK: Leave db_MergeDiff2WnTable()!********");
const ExpectedLine wnFailed = error("VELQ_WN_Store\t**********Error: Leave db_MergeDiff2WnTable()!********");
const ExpectedLine wnGot = debug("VELQ_WN_Store\tNumber got from diff Wn table:");
const ExpectedLine wnFound = debug("VELQ_WN_Store\t******** Found Record In wn.bin, ignore and continue... *********");
const ExpectedLine wnNotFound =
    debug("VELQ_WN_Store\t******** Not Found Record In wn.bin, going to insert... *********");

class WhiteNumberMerge : public testing::TestWithParam<Trace> {
  protected:
    WhiteNumberMerge() : engine(GetParam(), StartVariant::norix)
    {
        makeWhiteNumberUpdate(update(), {whiteNumberRow(wide("1"), wide("a")), whiteNumberRow(wide("1"), wide("b")),
                                         whiteNumberRow(wide("2"), wide("c"))});
    }

    std::filesystem::path update() const
    {
        return engine.installation.folder() / "update.db";
    }
    int merge() const
    {
        return db_MergeDiff2WnTable(engineState.whiteListPath, update().string().c_str());
    }
    Texts contents() const
    {
        return engine.installation.open("wn.bin").dump();
    }

    RunningEngine engine;
};

INSTANTIATE_TEST_SUITE_P(BothLevels, WhiteNumberMerge, testing::Values(Trace::on, Trace::off), levelName);

const Lines wnFirst = {wnEnter, wnGot, debug("0x0031 ")};
const Lines wnSecond = {wnGot, debug("0x0031 ")};
const Lines wnThird = {wnGot, debug("0x0032 ")};

TEST_P(WhiteNumberMerge, inserts_new_numbers_in_one_transaction_on_connections_of_its_own)
{
    const DshWatch watch;
    EXPECT_EQ(merge(), 0);
    EXPECT_EQ(engine.newLines(),
              expectedLog(wnFirst + Lines{wnNotFound} + wnSecond + Lines{wnFound} + wnThird + Lines{wnNotFound, wnDone},
                          GetParam()));
    EXPECT_EQ(engine.installation.numberRows(NumberList::white).size(), 2U);
    EXPECT_EQ(watch.executed(), (Texts{beginText, commitText}));
    EXPECT_EQ(watch.connectionsOpened(), 2);
    EXPECT_TRUE(watch.everythingReleased());
    const Texts prepared = watch.prepared();
    EXPECT_EQ(Texts(prepared.begin(), prepared.begin() + 3),
              (Texts{"select number, name FROM diffWnTable;", "select uid FROM whiteList WHERE (number=?);",
                     "INSERT INTO whiteList(hidden,number,name) VALUES(?,?,?);"}));
    const Texts calls = watch.calls();
    EXPECT_NE(std::find(calls.begin(), calls.end(), "mapInt 1 1"), calls.end());
    EXPECT_NE(std::find(calls.begin(), calls.end(), "mapBlob 2 4 bytes"), calls.end());
    EXPECT_NE(std::find(calls.begin(), calls.end(), "mapBlob 3 4 bytes"), calls.end());
}

// Steps in their order: first row, lookup, insert, second row, lookup, third row, lookup, insert, end.
TEST_P(WhiteNumberMerge, failing_calls_are_told_and_roll_back)
{
    const ExpectedLine stepFailed = error("VELQ_WN_Store\tError: VELQ_DSH_doNext, rc=10");
    const ExpectedLine prepareError = error("VELQ_WN_Store\tError: VELQ_DSH_Prepare");
    const ExpectedLine noOpen = error("VELQ_WN_Store\tError:  Can not open db");
    const ExpectedLine noHandler = error("VELQ_WN_Store\tError: VELQ_DSH_busyHandler");
    const std::string handlerLeave = "VELQ_WN_Store\t**********Error:Leave db_MergeDiff2WnTable()!********";
    const Lines upToThird = wnFirst + Lines{wnNotFound} + wnSecond + Lines{wnFound} + wnThird;
    std::vector<MergeFailure> failures;
    const auto failing = [&failures](const char *what, const DshFault &fault, int result, const Lines &lines) {
        failures.push_back({what, fault, result, lines});
    };

    failing("opening the update", {.call = DshCall::open}, -2, {wnEnter, noOpen});
    failing("opening the update, with a handle", {.call = DshCall::open, .isForwarded = true}, -2, {wnEnter, noOpen});
    failing("busy handler of the update", {.call = DshCall::busyHandler}, -2,
            {wnEnter, noHandler, debug(handlerLeave)});
    failing("opening the list", {.call = DshCall::open, .nth = 2}, -2, {wnEnter, noOpen});
    failing("opening the list, with a handle", {.call = DshCall::open, .nth = 2, .isForwarded = true}, -2,
            {wnEnter, noOpen});
    failing("busy handler of the list", {.call = DshCall::busyHandler, .nth = 2}, -2,
            {wnEnter, noHandler, error(handlerLeave)});
    failing("begin", {.call = DshCall::exec, .sql = beginText}, 0,
            {wnEnter, error("VELQ_WN_Store\tError: VELQ_DSH_Exec, BEGIN TRANSACTION"), wnDone});
    failing("preparing the rows", {.call = DshCall::prepare, .sql = "select number, name FROM diffWnTable;"}, -2,
            {wnEnter, prepareError, wnFailed});
    failing("preparing the lookup", {.call = DshCall::prepare, .sql = "select uid FROM whiteList WHERE (number=?);"},
            -2, wnFirst + Lines{prepareError, wnFailed});
    failing("preparing the insert",
            {.call = DshCall::prepare, .sql = "INSERT INTO whiteList(hidden,number,name) VALUES(?,?,?);"}, -2,
            wnFirst + Lines{wnNotFound, debug("VELQ_WN_Store\tError: VELQ_DSH_Prepare"), wnFailed});
    failing("first lookup", {.call = DshCall::step, .nth = 2}, -2, wnFirst + Lines{stepFailed, wnFailed});
    failing("first insert", {.call = DshCall::step, .nth = 3}, -2, wnFirst + Lines{wnNotFound, stepFailed, wnFailed});
    failing("second lookup", {.call = DshCall::step, .nth = 5}, -2,
            wnFirst + Lines{wnNotFound} + wnSecond + Lines{stepFailed, wnFailed});
    failing("third lookup", {.call = DshCall::step, .nth = 7}, -2, upToThird + Lines{stepFailed, wnFailed});
    failing("second insert", {.call = DshCall::step, .nth = 8}, -2,
            upToThird + Lines{wnNotFound, stepFailed, wnFailed});
    // A known number was the last to be read: the run ends like one whose last row is known.
    failing("reading behind a known number", {.call = DshCall::step, .nth = 6}, -2,
            wnFirst + Lines{wnNotFound} + wnSecond + Lines{wnFound, wnFailed});

    const Texts before = contents();
    for (const MergeFailure &failure : failures) {
        const DshWatch watch(failure.fault);
        EXPECT_EQ(merge(), failure.result) << failure.what;
        EXPECT_TRUE(watch.faultHappened()) << failure.what;
        EXPECT_TRUE(watch.everythingReleased()) << failure.what;
        EXPECT_EQ(engine.newLines(), expectedLog(failure.lines, GetParam())) << failure.what;
        EXPECT_EQ(contents(), before) << failure.what;
        const bool began = failure.fault.call != DshCall::open && failure.fault.call != DshCall::busyHandler;
        const bool beginFailed = failure.fault.call == DshCall::exec;
        EXPECT_EQ(watch.executed(), began ? (Texts{beginText, beginFailed ? commitText : rollbackText}) : Texts{})
            << failure.what;
    }
    EXPECT_EQ(merge(), 0);
}

TEST_P(WhiteNumberMerge, error_while_reading_behind_a_new_number_counts_as_the_end)
{
    const DshWatch watch({.call = DshCall::step, .code = 11, .nth = 4});
    EXPECT_EQ(merge(), 0);
    EXPECT_EQ(engine.newLines(), expectedLog(wnFirst + Lines{wnNotFound, wnDone}, GetParam()));
    EXPECT_EQ(watch.executed(), (Texts{beginText, commitText}));
    EXPECT_EQ(engine.installation.numberRows(NumberList::white).size(), 1U);
    EXPECT_TRUE(watch.everythingReleased());
}

TEST_P(WhiteNumberMerge, error_while_reading_the_first_row_is_an_empty_update)
{
    const DshWatch watch({.call = DshCall::step, .code = 11});
    EXPECT_EQ(merge(), 0);
    EXPECT_EQ(engine.newLines(), expectedLog({wnEnter, wnDone}, GetParam()));
    EXPECT_EQ(watch.executed(), (Texts{beginText, commitText}));
    EXPECT_TRUE(engine.installation.numberRows(NumberList::white).empty());
}

TEST_P(WhiteNumberMerge, result_of_the_commit_is_not_looked_at)
{
    const DshWatch watch({.call = DshCall::exec, .code = 13, .sql = commitText});
    EXPECT_EQ(merge(), 0);
    EXPECT_TRUE(watch.faultHappened());
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines().size(), GetParam() == Trace::on ? 11U : 0U);
}

TEST_P(WhiteNumberMerge, value_that_can_not_be_bound_rolls_back)
{
    EXPECT_GE(failEachBinding([this] { return merge(); }, [this] { return contents(); }), 6);
}

TEST_P(WhiteNumberMerge, opens_nothing_without_memory)
{
    const Texts before = contents();
    const int failures = failEachAllocation([this] { return merge(); },
                                            [&](int /*nth*/, int result, const DshWatch & /*watch*/) {
                                                EXPECT_EQ(result, VELQ_ERR_FAILED);
                                                EXPECT_EQ(contents(), before);
                                            });
    EXPECT_EQ(failures, 2); // the paths of the two files
}

} // namespace
} // namespace velq::test
