// The update driver: path conversion and its failures, the running flag, the order of the steps, version records that
// cannot be written.
#include "VELQ_Update.h"
#include "VELQ_Util.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"
#include "support/wide.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

class UpdateDriver : public testing::TestWithParam<Trace> {
  protected:
    UpdateDriver() : engine(GetParam())
    {
        makeProbabilityUpdate(probFile(), {probabilityRow(wide("ab"), {1, 2, 3})});
        makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a"))});
    }

    std::filesystem::path probFile() const
    {
        return engine.installation.folder() / "prob-update.db";
    }
    std::filesystem::path wnFile() const
    {
        return engine.installation.folder() / "wn-update.db";
    }
    int update(bool prob = true, bool wn = true) const
    {
        const WideText probPath = widePath(probFile());
        const WideText wnPath = widePath(wnFile());
        return doUpdateData(prob ? probPath.c_str() : nullptr, 41, wn ? wnPath.c_str() : nullptr, 42, nullptr);
    }
    void expectNothingMerged() const
    {
        EXPECT_EQ(engine.installation.token(wide("ab")), std::nullopt);
        EXPECT_TRUE(engine.installation.numberRows(NumberList::white).empty());
        EXPECT_EQ(engine.installation.version(0), 1);
        EXPECT_EQ(engine.installation.version(1), 1);
        EXPECT_FALSE(isUpdateRunning());
    }
    ExpectedLine pathLine(const std::filesystem::path &path) const
    {
        return {false, "VELQ_Update\t File Path(utf-8 encoded char) is:" + path.string()};
    }

    RunningEngine engine;
    PlatformGuard guard;
};

INSTANTIATE_TEST_SUITE_P(BothLevels, UpdateDriver, testing::Values(Trace::on, Trace::off),
                         [](const testing::TestParamInfo<Trace> &level) {
                             return level.param == Trace::on ? "with_debug" : "without_debug";
                         });

// Which conversion fails, counted over sizing and converting calls; and the result of the failing call.
int conversionCalls;
int failingConversion;
int failingResult;

int failingConvertText(CodePage page, const VELQ_WideChar *text, char *destination, int size) noexcept
{
    if (++conversionCalls == failingConversion) {
        return failingResult;
    }
    return systemPlatformCalls().convertText(page, text, destination, size);
}

void failConversion(int nth, int result)
{
    conversionCalls = 0;
    failingConversion = nth;
    failingResult = result;
    platformCalls.convertText = failingConvertText;
}

TEST_P(UpdateDriver, path_without_a_size_ends_the_run)
{
    for (const int size : {0, -7}) {
        failConversion(1, size);
        EXPECT_EQ(update(), VELQ_ERR_FAILED);
        EXPECT_EQ(engine.newLines(), (Texts{"VELQ_Update\tError:  File Path len is:" + std::to_string(size)}));
        expectNothingMerged();
        failConversion(3, size); // the second path's
        EXPECT_EQ(update(), VELQ_ERR_FAILED);
        EXPECT_EQ(
            engine.newLines(),
            expectedLog({pathLine(probFile()), {true, "VELQ_Update\tError:  File Path len is:" + std::to_string(size)}},
                        GetParam()));
        expectNothingMerged();
    }
}

TEST_P(UpdateDriver, path_that_cannot_be_converted_ends_the_run)
{
    for (const int result : {0, -7}) {
        failConversion(2, result);
        EXPECT_EQ(update(), VELQ_ERR_FAILED);
        EXPECT_EQ(engine.newLines(), (Texts{"VELQ_Update\tError: Exe File Path init failed!"}));
        expectNothingMerged();
        failConversion(4, result);
        EXPECT_EQ(update(), VELQ_ERR_FAILED);
        EXPECT_EQ(
            engine.newLines(),
            expectedLog({pathLine(probFile()), {true, "VELQ_Update\tError: Exe File Path init failed!"}}, GetParam()));
        expectNothingMerged();
    }
}

TEST_P(UpdateDriver, empty_path_is_a_name_that_cannot_be_opened)
{
    const WideText empty;
    EXPECT_EQ(doUpdateData(nullptr, 41, empty.c_str(), 42, nullptr), VELQ_ERR_FAILED);
    EXPECT_FALSE(isUpdateRunning());
}

TEST_P(UpdateDriver, path_without_memory_ends_the_run)
{
    {
        const AllocationGuard allocations(1);
        EXPECT_EQ(update(), VELQ_ERR_FAILED);
        EXPECT_EQ(allocations.notReleased(), 0);
    }
    EXPECT_EQ(engine.newLines(), (Texts{"VELQ_Update\tError: Memory Allocation  failed"}));
    {
        const AllocationGuard allocations(2);
        EXPECT_EQ(update(), VELQ_ERR_FAILED);
        EXPECT_EQ(allocations.notReleased(), 0);
    }
    EXPECT_EQ(engine.newLines(),
              expectedLog({pathLine(probFile()), {true, "VELQ_Update\tError: Memory Allocation  failed"}}, GetParam()));
    expectNothingMerged();
}

TEST_P(UpdateDriver, any_failed_allocation_leaves_nothing_behind)
{
    const int failures = failEachAllocation(
        [this] {
            engine.installation.open("wn.bin").exec("DELETE FROM whiteList;"); // a known number would end the run early
            const int result = update();
            EXPECT_FALSE(isUpdateRunning());
            return result;
        },
        [](int /*nth*/, int result, const DshWatch & /*watch*/) {
            EXPECT_TRUE(result == 0 || result == VELQ_ERR_FAILED);
        });
    // Two names; two files and a key for the first merge, its version; two files for the second, its version.
    EXPECT_EQ(failures, 9);
}

bool flagDuringRun;

TEST_P(UpdateDriver, flag_is_set_while_it_runs_and_cleared_on_every_path)
{
    EXPECT_FALSE(isUpdateRunning());
    flagDuringRun = false;
    platformCalls.convertText = [](CodePage page, const VELQ_WideChar *text, char *destination, int size) noexcept {
        flagDuringRun = isUpdateRunning();
        return systemPlatformCalls().convertText(page, text, destination, size);
    };
    EXPECT_EQ(update(), 0);
    EXPECT_TRUE(flagDuringRun);
    EXPECT_FALSE(isUpdateRunning());
    platformCalls = systemPlatformCalls();

    flagDuringRun = false;
    platformCalls.databasePath = [](const char *path) noexcept {
        flagDuringRun = isUpdateRunning();
        return systemPlatformCalls().databasePath(path);
    };
    std::filesystem::remove(probFile());
    std::filesystem::remove(wnFile());
    EXPECT_EQ(update(), VELQ_ERR_FAILED);
    EXPECT_TRUE(flagDuringRun);
    EXPECT_FALSE(isUpdateRunning());
}

TEST_P(UpdateDriver, without_pending_names_nothing_is_done)
{
    const DshWatch watch;
    EXPECT_EQ(updateAllData(41, 42), 0);
    EXPECT_EQ(doUpdateData(nullptr, 41, nullptr, 42, nullptr), 0);
    EXPECT_EQ(watch.calls(), Texts{});
    EXPECT_EQ(engine.newLines(), Texts{});
    expectNothingMerged();
}

// No name is ever pending for it, so the fifth argument is not even converted.
TEST_P(UpdateDriver, rule_file_is_never_looked_at)
{
    const WideText path = wide("rules.db.comp");
    failConversion(1, -7);
    EXPECT_EQ(doUpdateData(nullptr, 41, nullptr, 42, path.c_str()), 0);
    EXPECT_EQ(conversionCalls, 0);
    EXPECT_EQ(engine.installation.version(2), 1);
    EXPECT_EQ(engine.newLines(), Texts{});
}

TEST_P(UpdateDriver, names_do_not_outlive_a_run)
{
    EXPECT_EQ(update(true, false), 0);
    EXPECT_EQ(engine.installation.version(1), 1);
    EXPECT_EQ(update(false, true), 0);
    EXPECT_EQ(engine.installation.token(wide("ab")), (TokenCounts{1, 2, 3})); // merged once
    EXPECT_EQ(updateAllData(7, 8), 0);
    EXPECT_EQ(engine.installation.version(0), 41);
    EXPECT_EQ(engine.installation.version(1), 42);
}

TEST_P(UpdateDriver, every_merge_and_every_version_has_connections_of_its_own)
{
    const DshWatch watch;
    EXPECT_EQ(update(), 0);
    Texts opens;
    for (const std::string &call : watch.calls()) {
        if (call.starts_with("open ")) {
            opens.push_back(call.substr(5));
        }
    }
    EXPECT_EQ(opens, (Texts{"prob-update.db", "prob.bin", "ver.bin", "wn-update.db", "wn.bin", "ver.bin"}));
    EXPECT_TRUE(watch.everythingReleased());
}

// ---- Version records that cannot be written: the merged data stay, the old version stays

struct VersionFailure {
    const char *what;
    DshFault fault;
    Lines lines;
    Texts executed;
};

TEST_P(UpdateDriver, failed_version_record_is_told_and_keeps_the_merge)
{
    const std::string updateSql = "UPDATE versionTable SET command=0, version=41 WHERE command=0;";
    std::vector<VersionFailure> failures;
    const auto failing = [&failures](const char *what, const DshFault &fault, const Lines &lines,
                                     const Texts &executed) {
        failures.push_back({what, fault, lines, executed});
    };
    failing("open", {.call = DshCall::open, .nth = 3},
            {{false, "VELQ_Update\tError: VELQ_DSH_Open, " + std::string(engineState.versionPath)}}, {});
    failing("busy handler", {.call = DshCall::busyHandler, .nth = 3},
            {{true, "VELQ_Update\tError: VELQ_DSH_busyHandler"}}, {});
    failing("begin", {.call = DshCall::exec, .nth = 4}, {{false, "VELQ_Update\tError: Sqlite BEGIN TRANSACTION"}},
            {beginText});
    failing("prepare", {.call = DshCall::prepare, .sql = updateSql}, {{true, "VELQ_Update\tError: VELQ_DSH_Prepare"}},
            {beginText});
    failing("step", {.call = DshCall::step, .nth = 5}, // row, lookup, insert or update, end
            {{true, "VELQ_Update\tError: VELQ_DSH_doNext, rc=10"}}, {beginText, rollbackText});
    failing("commit", {.call = DshCall::exec, .nth = 5},
            {{true, "VELQ_Update\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=10"}},
            {beginText, commitText, rollbackText});

    std::uint32_t merges = 0;
    for (const auto &failure : failures) {
        const DshWatch watch(failure.fault);
        EXPECT_EQ(update(true, false), VELQ_ERR_FAILED) << failure.what;
        ++merges;
        EXPECT_TRUE(watch.faultHappened()) << failure.what;
        EXPECT_TRUE(watch.everythingReleased()) << failure.what;
        EXPECT_EQ(engine.installation.token(wide("ab")), (TokenCounts{merges, 2 * merges, 3})) << failure.what;
        EXPECT_EQ(engine.installation.version(0), 1) << failure.what;
        Lines lines = {
            pathLine(probFile()),
            {false, "VELQ_Update\tpdate File Name:" + probFile().string()},
            {false, "VELQ_WL_Store\t**********Enter db_MergeDiff2ProbTable()!********"},
            {false, merges == 1 ? "VELQ_WL_Store\t******** Not Found Record In prob.bin, going to insert... *********"
                                : "VELQ_WL_Store\t******** Found Record In prob.bin, going to update... *********"},
            {false, "VELQ_WL_Store\t**********OK: Leave db_MergeDiff2ProbTable()!********"},
            {false, "VELQ_Update\tOK: db_MergeDiff2ProbTable Success!"},
            {false, "VELQ_Update\t**********Enter db_UpdateVersion!********"}};
        lines.insert(lines.end(), failure.lines.begin(), failure.lines.end());
        lines.push_back({true, "VELQ_Update\tError: db_UpdateVersion  (prob.bin) "});
        EXPECT_EQ(engine.newLines(), expectedLog(lines, GetParam())) << failure.what;
        Texts executed = {"PRAGMA synchronous = FULL;", beginText, commitText};
        executed.insert(executed.end(), failure.executed.begin(), failure.executed.end());
        EXPECT_EQ(watch.executed(), executed) << failure.what;
    }
}

TEST_P(UpdateDriver, white_number_step_names_the_same_file_when_its_version_fails)
{
    const DshWatch watch({.call = DshCall::busyHandler, .nth = 3});
    EXPECT_EQ(update(false, true), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(),
              expectedLog({pathLine(wnFile()),
                           {false, "VELQ_Update\tUpdate File Name:" + wnFile().string()},
                           {false, "VELQ_WN_Store\t**********Enter db_MergeDiff2WnTable()!********"},
                           {false, "VELQ_WN_Store\tNumber got from diff Wn table:"},
                           {false, "0x0031 "},
                           {false, "VELQ_WN_Store\t******** Not Found Record In wn.bin, going to insert... *********"},
                           {false, "VELQ_WN_Store\t**********OK: Leave db_MergeDiff2WnTable()!********"},
                           {false, "VELQ_Update\tOK: db_MergeDiff2WnTable Success!"},
                           {false, "VELQ_Update\t**********Enter db_UpdateVersion!********"},
                           {true, "VELQ_Update\tError: VELQ_DSH_busyHandler"},
                           {true, "VELQ_Update\tError: db_UpdateVersion  (prob.bin) "}},
                          GetParam()));
    EXPECT_EQ(engine.installation.numberRows(NumberList::white).size(), 1U);
    EXPECT_EQ(engine.installation.version(1), 1);
}

// The first step's version fails, the second step succeeds: the run's result is the second's.
TEST_P(UpdateDriver, result_is_that_of_the_last_operation)
{
    {
        const DshWatch watch({.call = DshCall::open, .nth = 3});
        EXPECT_EQ(update(), 0);
    }
    EXPECT_EQ(engine.installation.version(0), 1);
    EXPECT_EQ(engine.installation.version(1), 42);
    const DshWatch watch({.call = DshCall::open, .nth = 4}); // the white-number file
    EXPECT_EQ(update(), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.installation.version(0), 41);
}

// The engine's own guard keeps other exports out while the driver runs.
TEST_P(UpdateDriver, exports_are_refused_during_a_run_but_rating_is_not)
{
    static std::int32_t versionResult;
    static std::int32_t updateResult;
    static std::int32_t nullUpdateResult;
    static std::int32_t ratingResult;
    static std::uint32_t rating;
    static bool isInside;
    versionResult = updateResult = nullUpdateResult = ratingResult = 77;
    rating = 77;
    isInside = false;
    platformCalls.databasePath = [](const char *path) noexcept {
        if (!isInside) {
            isInside = true;
            VersionRecord record{0, 55};
            versionResult = record.version == 55 ? VELQ_GetCurVersion(&record) : 0;
            versionResult = record.version == 55 ? versionResult : 78;
            updateResult = VELQ_UpdateData(VELQ_TEXT("x"), 1, nullptr, 1);
            nullUpdateResult = VELQ_UpdateData(nullptr, 1, nullptr, 1);
            ratingResult = VELQ_CheckSpamMsgSync(&rating, VELQ_TEXT("ok"), VELQ_TEXT("10086"));
        }
        return systemPlatformCalls().databasePath(path);
    };
    EXPECT_EQ(update(true, false), 0);
    EXPECT_EQ(versionResult, VELQ_ERR_BUSY);
    EXPECT_EQ(updateResult, VELQ_ERR_BUSY);
    EXPECT_EQ(nullUpdateResult, VELQ_ERR_FAILED);
    EXPECT_EQ(ratingResult, 0);
    EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_HAM));
    EXPECT_EQ(countLinesWith(engine.newLines(), "VELQ_Interface\t Warning: Updating Thread is busy now...."), 2U);
    EXPECT_EQ(engine.installation.version(0), 41);
}

} // namespace
} // namespace velq::test
