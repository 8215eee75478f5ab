// The guard of every export: before a start, after a stop, and while an update runs.
#include "api/front_helpers.h"
#include "support/system.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace velq::test {
namespace {

// How an export behaves during an update; before a start and after a stop, `stopped` is its result.
struct ExportRule {
    const char *name;
    std::function<std::optional<std::int32_t>()> call; // nothing for exports without a result
    std::optional<std::int32_t> stopped;
    std::optional<std::int32_t> updating;
    bool isRefusedQuietly = false; // the busy line is a debug line
};

// What the calls write to, to see that refused ones write nothing.
struct Outputs {
    std::uint32_t rating = 77;
    std::int32_t count = 77;
    NumberListNode *list = nullptr;
    UIDListNode *uids = nullptr;
    NumberRecord record{nullptr, nullptr};
    VersionRecord version{0, 77};
};

Outputs outputs;

constexpr std::int32_t stoppedCode = VELQ_NOT_INITIALIZED;
constexpr std::int32_t busyCode = VELQ_ERR_BUSY;

template <typename Call>
auto resultless(Call call)
{
    return [call]() -> std::optional<std::int32_t> {
        call();
        return std::nullopt;
    };
}

std::vector<ExportRule> guardedRules()
{
    static WideText number = wide("13812345678");
    static const NumberRecord record{number.data(), nullptr};
    static const NumberListNode node{nullptr, nullptr, number.data(), 0};
    const auto full = [](const char *name, std::function<std::optional<std::int32_t>()> call) {
        return ExportRule{name, std::move(call), stoppedCode, busyCode};
    };
    std::vector<ExportRule> rules = {
        full("VELQ_AddBlackNumberSync", [] { return VELQ_AddBlackNumberSync(&record, 0, 0); }),
        full("VELQ_AddWhiteNumberSync", [] { return VELQ_AddWhiteNumberSync(&record, 0, 0); }),
        full("VELQ_RemoveBlackNumberSync", [] { return VELQ_RemoveBlackNumberSync(&record); }),
        full("VELQ_RemoveWhiteNumberSync", [] { return VELQ_RemoveWhiteNumberSync(&record); }),
        full("VELQ_RemoveAllBlackNumberSync", [] { return VELQ_RemoveAllBlackNumberSync(-1); }),
        full("VELQ_RemoveAllWhiteNumberSync", [] { return VELQ_RemoveAllWhiteNumberSync(-1); }),
        full("VELQ_AddWhiteNumberListSync", [] { return VELQ_AddWhiteNumberListSync(&node, 0); }),
        full("VELQ_GetBlackNumberList", [] { return VELQ_GetBlackNumberList(&outputs.list, -1); }),
        full("VELQ_GetWhiteNumberList", [] { return VELQ_GetWhiteNumberList(&outputs.list, -1); }),
        full("VELQ_GetBlackNumberUIDList", [] { return VELQ_GetBlackNumberUIDList(&outputs.uids, -1); }),
        full("VELQ_GetWhiteNumberUIDList", [] { return VELQ_GetWhiteNumberUIDList(&outputs.uids, -1); }),
        full("VELQ_ReadBlackNumberByUID", [] { return VELQ_ReadBlackNumberByUID(&outputs.record, 1); }),
        full("VELQ_ReadWhiteNumberByUID", [] { return VELQ_ReadWhiteNumberByUID(&outputs.record, 1); }),
        full("VELQ_DeleteBlackNumberByUID", [] { return VELQ_DeleteBlackNumberByUID(1); }),
        full("VELQ_DeleteWhiteNumberByUID", [] { return VELQ_DeleteWhiteNumberByUID(1); }),
        full("VELQ_DeleteBlackNumberByExtendID", [] { return VELQ_DeleteBlackNumberByExtendID(0); }),
        full("VELQ_DeleteWhiteNumberByExtendID", [] { return VELQ_DeleteWhiteNumberByExtendID(0); }),
        full("VELQ_GetTotalCountOfBlackNumber", [] { return VELQ_GetTotalCountOfBlackNumber(&outputs.count); }),
        full("VELQ_GetTotalCountOfWhiteNumber", [] { return VELQ_GetTotalCountOfWhiteNumber(&outputs.count); }),
        full("VELQ_GetCurVersion", [] { return VELQ_GetCurVersion(&outputs.version); }),
        full("VELQ_UpdateData", [] { return VELQ_UpdateData(VELQ_TEXT("no file"), 2, nullptr, 0); }),
        full("VELQ_SetMsgAsHam", [] { return VELQ_SetMsgAsHam(VELQ_TEXT("some words"), number.c_str()); }),
        full("VELQ_SetMsgAsSpam", [] { return VELQ_SetMsgAsSpam(VELQ_TEXT("some words")); }),
    };
    for (ExportRule &rule : rules) {
        rule.isRefusedQuietly = std::string(rule.name) == "VELQ_DeleteBlackNumberByExtendID";
    }
    return rules;
}

std::vector<ExportRule> otherRules()
{
    const auto initOnly = [](const char *name, std::function<std::optional<std::int32_t>()> call) {
        return ExportRule{name, std::move(call), stoppedCode, 0};
    };
    const auto fixed = [](const char *name, std::function<std::optional<std::int32_t>()> call, std::int32_t result) {
        return ExportRule{name, std::move(call), result, result};
    };
    const auto release = [](const char *name, std::function<std::optional<std::int32_t>()> call) {
        return ExportRule{name, std::move(call), std::nullopt, std::nullopt};
    };
    return {
        // An operator's number is rated without touching a store that the update holds.
        initOnly("VELQ_CheckSpamMsgSync",
                 [] { return VELQ_CheckSpamMsgSync(&outputs.rating, VELQ_TEXT("body"), VELQ_TEXT("10086123")); }),
        initOnly("VELQ_GetSpamMsgList", [] { return VELQ_GetSpamMsgList(nullptr); }),
        initOnly("VELQ_ReadSpamMsg", [] { return VELQ_ReadSpamMsg(nullptr); }),
        initOnly("VELQ_DeleteSpamMsg", [] { return VELQ_DeleteSpamMsg(nullptr); }),
        initOnly("VELQ_DeleteAllSpamMsg", [] { return VELQ_DeleteAllSpamMsg(nullptr); }),
        initOnly("VELQ_AddSpamMsg", [] { return VELQ_AddSpamMsg(nullptr, VELQ_TEXT("123"), nullptr); }),
        initOnly("VELQ_GetMsgUIDList", [] { return VELQ_GetMsgUIDList(nullptr); }),
        initOnly("VELQ_GetTotalCountOfMsg", [] { return VELQ_GetTotalCountOfMsg(nullptr); }),
        fixed(
            "VELQ_CheckSpamMsgASync", [] { return VELQ_CheckSpamMsgASync(); }, VELQ_ERR_NOT_SUPPORTED),
        fixed(
            "VELQ_MT_AddWhiteNumber", [] { return VELQ_MT_AddWhiteNumber(nullptr); }, 0),
        fixed(
            "VELQ_MT_DumpBin", [] { return VELQ_MT_DumpBin(nullptr); }, 0),
        fixed(
            "VELQ_MT_End_Training", [] { return VELQ_MT_End_Training(nullptr); }, 0),
        fixed(
            "VELQ_MT_GetCurrentVersion", [] { return VELQ_MT_GetCurrentVersion(nullptr); }, 0),
        fixed(
            "VELQ_MT_RegisterMsg", [] { return VELQ_MT_RegisterMsg(nullptr); }, 0),
        fixed(
            "VELQ_MT_Start_Training", [] { return VELQ_MT_Start_Training(nullptr); }, 0),
        fixed(
            "VELQ_MT_UpdateVersion", [] { return VELQ_MT_UpdateVersion(nullptr); }, 0),
        fixed(
            "VELQ_MT_UpdateWordDict", [] { return VELQ_MT_UpdateWordDict(nullptr); }, 0),
        release("VELQ_FreeBlackNumberList", resultless([] { VELQ_FreeBlackNumberList(nullptr); })),
        release("VELQ_FreeWhiteNumberList", resultless([] { VELQ_FreeWhiteNumberList(nullptr); })),
        release("VELQ_FreeMsgUIDList", resultless([] { VELQ_FreeMsgUIDList(nullptr); })),
        release("VELQ_FreeBlackNumberUIDList", resultless([] { VELQ_FreeBlackNumberUIDList(nullptr); })),
        release("VELQ_FreeWhiteNumberUIDList", resultless([] { VELQ_FreeWhiteNumberUIDList(nullptr); })),
        release("VELQ_FreeWhiteNumber", resultless([] { VELQ_FreeWhiteNumber(nullptr); })),
        release("VELQ_FreeBlackNumber", resultless([] { VELQ_FreeBlackNumber(nullptr); })),
        release("VELQ_FreeSpamMsgList", resultless([] { VELQ_FreeSpamMsgList(nullptr); })),
        release("VELQ_FreeSpamMsgBuf", resultless([] { VELQ_FreeSpamMsgBuf(nullptr); })),
        // A second start, while the engine runs, returns at once; without a directory no first one succeeds.
        {"VELQ_Initialize", [] { return VELQ_Initialize(nullptr); }, VELQ_ERR_FAILED, 0},
        {"VELQ_Norix_Initialize", [] { return VELQ_Norix_Initialize(nullptr); }, VELQ_ERR_FAILED, 0},
    };
}

// The two stops end the session, so they are called apart from the others.
std::vector<ExportRule> stopRules()
{
    return {{"VELQ_Finalize", [] { return VELQ_Finalize(); }, stoppedCode, std::nullopt},
            {"VELQ_Norix_Finalize", [] { return VELQ_Norix_Finalize(); }, stoppedCode, std::nullopt}};
}

std::vector<ExportRule> joined(std::vector<ExportRule> first, const std::vector<ExportRule> &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(guards, table_covers_all_53_exports)
{
    std::set<std::string> names;
    for (const ExportRule &rule : joined(joined(guardedRules(), otherRules()), stopRules())) {
        names.insert(rule.name);
        EXPECT_NE(engineExport(rule.name), nullptr) << rule.name;
    }
    EXPECT_EQ(names.size(), 53u);
}

// The stored table of result codes, which the comments of the public header are held to.
std::map<std::string, std::set<std::int32_t>> listedResultCodes()
{
    std::map<std::string, std::set<std::int32_t>> codes;
    std::ifstream in(VELQ_RESULT_CODES);
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string name;
        if (line.starts_with('#') || !(words >> name)) {
            continue;
        }
        std::set<std::int32_t> &listed = codes[name];
        for (std::int32_t code = 0; words >> code;) {
            listed.insert(code);
        }
    }
    return codes;
}

TEST(guards, every_refusal_stands_in_the_table_of_result_codes)
{
    const std::map<std::string, std::set<std::int32_t>> listed = listedResultCodes();
    EXPECT_EQ(listed.size(), 53u);
    for (const ExportRule &rule : joined(joined(guardedRules(), otherRules()), stopRules())) {
        SCOPED_TRACE(rule.name);
        ASSERT_TRUE(listed.contains(rule.name));
        const std::set<std::int32_t> &codes = listed.at(rule.name);
        EXPECT_EQ(codes.empty(), !rule.stopped.has_value()) << "a function without result";
        EXPECT_EQ(codes.contains(stoppedCode), rule.stopped == stoppedCode);
        EXPECT_EQ(codes.contains(busyCode), rule.updating == busyCode);
        EXPECT_TRUE(!rule.stopped || codes.contains(*rule.stopped));
        EXPECT_TRUE(!rule.updating || codes.contains(*rule.updating));
    }
}

void expectRefusedWithoutStart()
{
    outputs = {};
    for (const ExportRule &rule : joined(joined(guardedRules(), otherRules()), stopRules())) {
        EXPECT_EQ(rule.call(), rule.stopped) << rule.name;
    }
    EXPECT_EQ(VELQ_UpdateData(nullptr, 0, nullptr, 0), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(outputs.rating, 77u);
    EXPECT_EQ(outputs.count, 77);
    EXPECT_EQ(outputs.version.version, 77);
    EXPECT_EQ(outputs.list, nullptr);
    EXPECT_EQ(outputs.uids, nullptr);
}

TEST(guards, every_export_answers_before_a_start)
{
    expectRefusedWithoutStart();
}

TEST(guards, every_export_answers_after_a_stop_and_touches_no_file)
{
    for (const StartVariant variant : {StartVariant::plain, StartVariant::norix}) {
        FrontEngine engine(variant);
        ASSERT_TRUE(engine.isRunning());
        engine.installation.addNumber(NumberList::black, "13812345678");
        engine.installation.addNumber(NumberList::white, "13812345678");
        ASSERT_EQ(engine.session().stop(), 0);
        const Lines before = allStores(engine.installation);
        expectRefusedWithoutStart();
        EXPECT_EQ(allStores(engine.installation), before);
        EXPECT_EQ(engine.newLines(), Lines{}) << "the log is closed";
    }
}

TEST(guards, null_outputs_are_refused)
{
    FrontEngine engine;
    ASSERT_TRUE(engine.isRunning());
    EXPECT_EQ(VELQ_CheckSpamMsgSync(nullptr, VELQ_TEXT("a"), VELQ_TEXT("1")), VELQ_ERR_FAILED);
    for (const ListExports &list : {blackExports, whiteExports}) {
        EXPECT_EQ(list.getList(nullptr, -1), VELQ_ERR_FAILED);
        EXPECT_EQ(list.getUids(nullptr, -1), VELQ_ERR_FAILED);
        EXPECT_EQ(list.read(nullptr, 1), VELQ_ERR_FAILED);
        EXPECT_EQ(list.count(nullptr), VELQ_ERR_FAILED);
    }
    EXPECT_EQ(VELQ_GetCurVersion(nullptr), VELQ_ERR_FAILED);
    EXPECT_EQ(VELQ_UpdateData(nullptr, 1, nullptr, 1), VELQ_ERR_FAILED);
}

TEST(guards, entries_that_do_nothing_return_success_and_change_nothing)
{
    FrontEngine engine;
    ASSERT_TRUE(engine.isRunning());
    const Lines before = allStores(engine.installation);
    int something = 5;
    for (std::int32_t (*stub)(void *) :
         {VELQ_GetSpamMsgList, VELQ_ReadSpamMsg, VELQ_DeleteSpamMsg, VELQ_DeleteAllSpamMsg, VELQ_GetMsgUIDList,
          VELQ_GetTotalCountOfMsg, VELQ_MT_AddWhiteNumber, VELQ_MT_DumpBin, VELQ_MT_End_Training,
          VELQ_MT_GetCurrentVersion, VELQ_MT_RegisterMsg, VELQ_MT_Start_Training, VELQ_MT_UpdateVersion,
          VELQ_MT_UpdateWordDict}) {
        EXPECT_EQ(stub(&something), 0);
    }
    EXPECT_EQ(VELQ_AddSpamMsg(&something, wide(std::string(100, '1')).c_str(), &something), 0);
    EXPECT_EQ(VELQ_AddSpamMsg(nullptr, nullptr, nullptr), 0);
    VELQ_FreeSpamMsgList(&something);
    VELQ_FreeSpamMsgBuf(&something);
    EXPECT_EQ(something, 5);
    EXPECT_EQ(VELQ_CheckSpamMsgASync(), VELQ_ERR_NOT_SUPPORTED);
    EXPECT_EQ(allStores(engine.installation), before);
    EXPECT_EQ(engine.newLines(), Lines{});
}

// ---- During an update

// An update on a thread of its own that waits for locked stores: about a second, in four busy waits.
class SlowUpdate {
  public:
    explicit SlowUpdate(const Installation &installation)
        : probability_(installation.folder() / "prob-update"), whiteNumbers_(installation.folder() / "wn-update"),
          tokenLock_(installation.dataFile("prob.bin")), whiteLock_(installation.dataFile("wn.bin")),
          versionLock_(installation.dataFile("ver.bin"))
    {
        std::filesystem::remove(probability_);
        std::filesystem::remove(whiteNumbers_);
        makeProbabilityUpdate(probability_, {probabilityRow(wide("ab"), {1, 2, 3})});
        makeWhiteNumberUpdate(whiteNumbers_, {whiteNumberRow(wide("123"), wide("n"))});
        thread_ = std::thread([this] {
            result_ = VELQ_UpdateData(widePath(probability_).c_str(), 5, widePath(whiteNumbers_).c_str(), 6);
            hasEnded_ = true;
        });
        while (!isRunning() && !hasEnded_) {
            std::this_thread::yield();
        }
    }
    ~SlowUpdate()
    {
        finish();
    }
    SlowUpdate(const SlowUpdate &) = delete;
    SlowUpdate &operator=(const SlowUpdate &) = delete;

    // Asked through an export that opens nothing and logs nothing when no update runs.
    static bool isRunning()
    {
        return VELQ_GetTotalCountOfBlackNumber(nullptr) == VELQ_ERR_BUSY;
    }
    std::int32_t finish()
    {
        if (thread_.joinable()) {
            thread_.join();
        }
        return result_;
    }

  private:
    std::filesystem::path probability_;
    std::filesystem::path whiteNumbers_;
    HeldLock tokenLock_;
    HeldLock whiteLock_;
    HeldLock versionLock_;
    std::atomic<bool> hasEnded_ = false;
    std::int32_t result_ = 77;
    std::thread thread_;
};

const std::string busyLine = "VELQ_Interface\t Warning: Updating Thread is busy now....";

// The busy lines in a log, as written.
Lines busyLines(const std::filesystem::path &log)
{
    Lines found;
    for (const std::string &line : logLines(log)) {
        if (normalisedLogLine(line) == busyLine) {
            found.push_back(line);
        }
    }
    return found;
}

struct Attempt {
    bool wasWhole = false; // the update ran from before the first call until after the last
    std::vector<std::optional<std::int32_t>> results;
    std::vector<std::size_t> newBusyLines; // for each call
};

Attempt callDuringUpdate(const FrontEngine &engine, const std::vector<ExportRule> &rules, const std::string &log)
{
    Attempt attempt;
    SlowUpdate update(engine.installation);
    outputs = {};
    for (const ExportRule &rule : rules) {
        const std::size_t before = busyLines(engine.installation.logFile(log)).size();
        attempt.results.push_back(rule.call());
        attempt.newBusyLines.push_back(busyLines(engine.installation.logFile(log)).size() - before);
    }
    attempt.wasWhole = SlowUpdate::isRunning();
    EXPECT_EQ(update.finish(), VELQ_ERR_FAILED) << "no version could be recorded";
    return attempt;
}

class GuardsDuringUpdate : public ::testing::TestWithParam<bool> {};

TEST_P(GuardsDuringUpdate, every_export_answers_and_logs_as_its_rule_says)
{
    const bool trace = GetParam();
    const FrontEngine engine(StartVariant::plain, trace);
    ASSERT_TRUE(engine.isRunning());
    const std::vector<ExportRule> rules = joined(guardedRules(), otherRules());
    Attempt attempt;
    for (int i = 0; i < 10 && !attempt.wasWhole; ++i) { // a slow machine may lose the race with the update's end
        attempt = callDuringUpdate(engine, rules, "engine.log");
    }
    ASSERT_TRUE(attempt.wasWhole);
    for (std::size_t i = 0; i < rules.size(); ++i) {
        EXPECT_EQ(attempt.results[i], rules[i].updating) << rules[i].name;
        const bool isBusy = rules[i].updating == busyCode;
        EXPECT_EQ(attempt.newBusyLines[i], isBusy && (trace || !rules[i].isRefusedQuietly) ? 1u : 0u) << rules[i].name;
    }
    EXPECT_EQ(outputs.rating, static_cast<std::uint32_t>(VELQ_RATING_HAM)) << "rating works during an update";
    EXPECT_EQ(outputs.count, 77);
    EXPECT_EQ(outputs.version.command, 0);
    EXPECT_EQ(outputs.version.version, 77);
    EXPECT_EQ(outputs.list, nullptr);
    EXPECT_EQ(outputs.uids, nullptr);
    EXPECT_EQ(VELQ_GetTotalCountOfBlackNumber(&outputs.count), 0) << "open to all again afterwards";
}

TEST_P(GuardsDuringUpdate, update_without_a_path_is_refused_before_the_busy_rule)
{
    const FrontEngine engine(StartVariant::plain, GetParam());
    ASSERT_TRUE(engine.isRunning());
    bool wasWhole = false;
    for (int i = 0; i < 10 && !wasWhole; ++i) {
        SlowUpdate update(engine.installation);
        const std::size_t before = busyLines(engine.installation.logFile("engine.log")).size();
        const std::int32_t result = VELQ_UpdateData(nullptr, 1, nullptr, 1);
        const std::size_t after = busyLines(engine.installation.logFile("engine.log")).size();
        wasWhole = SlowUpdate::isRunning();
        EXPECT_EQ(result, VELQ_ERR_FAILED);
        EXPECT_EQ(after, before);
        update.finish();
    }
    EXPECT_TRUE(wasWhole);
}

INSTANTIATE_TEST_SUITE_P(with_and_without_trace, GuardsDuringUpdate, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool> &given) {
                             return std::string(given.param ? "trace" : "no_trace");
                         });

} // namespace
} // namespace velq::test
