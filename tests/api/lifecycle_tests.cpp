// Starting and stopping the engine: what is refused, what a start leaves open, and the log of every way.
#include "api/front_helpers.h"
#include "support/system.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
// A failed start leaves its log open, and a later start opens another without closing the first: that stream is lost.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:openLogFile\n";
}
#endif

namespace velq::test {
namespace {

std::int32_t start(const WideText &dir, StartVariant variant)
{
    return variant == StartVariant::norix ? VELQ_Norix_Initialize(dir.c_str()) : VELQ_Initialize(dir.c_str());
}

std::int32_t stop(StartVariant variant)
{
    return variant == StartVariant::norix ? VELQ_Norix_Finalize() : VELQ_Finalize();
}

// The names in the program folder and in its data folder.
Lines filesOf(const Installation &installation)
{
    Lines names;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(installation.programFolder())) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string variantName(const ::testing::TestParamInfo<StartVariant> &given)
{
    return given.param == StartVariant::norix ? "norix" : "plain";
}

class Lifecycle : public ::testing::TestWithParam<StartVariant> {
  protected:
    const StartVariant variant_ = GetParam();
    const std::string logName_ = logFileNameOf(GetParam());
};

INSTANTIATE_TEST_SUITE_P(both, Lifecycle, ::testing::Values(StartVariant::plain, StartVariant::norix), variantName);

TEST_P(Lifecycle, engine_starts_and_stops_again_and_again)
{
    const Installation installation;
    std::size_t before = 0;
    for (int round = 0; round < 21; ++round) {
        if (round == 1) { // the system's own functions may have opened something for good in the first round
            before = openDescriptors();
        }
        ASSERT_EQ(start(installation.programDir(), variant_), 0);
        std::int32_t count = -1;
        EXPECT_EQ(VELQ_GetTotalCountOfBlackNumber(&count), 0);
        EXPECT_EQ(stop(variant_), 0);
        EXPECT_EQ(stop(variant_), VELQ_NOT_INITIALIZED);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_P(Lifecycle, stopping_without_a_start_is_refused)
{
    EXPECT_EQ(VELQ_Finalize(), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(VELQ_Norix_Finalize(), VELQ_NOT_INITIALIZED);
}

TEST_P(Lifecycle, either_stop_ends_either_start)
{
    const Installation installation;
    for (const StartVariant other : {StartVariant::plain, StartVariant::norix}) {
        ASSERT_EQ(start(installation.programDir(), variant_), 0);
        EXPECT_EQ(stop(other), 0);
        EXPECT_EQ(VELQ_Finalize(), VELQ_NOT_INITIALIZED);
        EXPECT_EQ(VELQ_Norix_Finalize(), VELQ_NOT_INITIALIZED);
    }
    const FailedStartCleanup closesKeptConnections;
}

TEST_P(Lifecycle, wrong_directory_is_refused_and_nothing_is_created)
{
    const Installation installation;
    const Lines before = filesOf(installation);
    const std::string dir = utf8(installation.programDir());
    Lines wrong = {dir + "\\", dir + "/", dir + " ", "", "Tarvolent", dir + "\\data"};
    std::string lower = dir;
    lower.replace(lower.find("Quenlibra"), 9, "quenlibra");
    wrong.push_back(lower);
    std::string slash = dir;
    slash[slash.rfind('\\')] = '/';
    wrong.push_back(slash);
    for (const std::string &given : wrong) {
        EXPECT_EQ(start(wide(given), variant_), VELQ_ERR_FAILED) << given;
    }
    EXPECT_EQ(variant_ == StartVariant::norix ? VELQ_Norix_Initialize(nullptr) : VELQ_Initialize(nullptr),
              VELQ_ERR_FAILED);
    EXPECT_EQ(filesOf(installation), before);
    EXPECT_EQ(stop(variant_), VELQ_NOT_INITIALIZED);
}

TEST_P(Lifecycle, directory_of_238_bytes_works_and_one_of_239_is_refused)
{
    const std::size_t around = utf8(Installation("x").programDir()).size() - 1;
    ASSERT_LT(around, 200u);
    {
        const Installation longest(std::string(238 - around, 'p'));
        ASSERT_EQ(utf8(longest.programDir()).size(), 238u);
        ASSERT_EQ(start(longest.programDir(), variant_), 0);
        EXPECT_EQ(VELQ_AddBlackNumberSync(OwnedRecord("123").get(), 0, 0), 0);
        VersionRecord record{0, 0};
        EXPECT_EQ(VELQ_GetCurVersion(&record), 0);
        EXPECT_EQ(record.version, 1);
        EXPECT_EQ(stop(variant_), 0);
        EXPECT_TRUE(std::filesystem::exists(longest.logFile(logName_)));
    }
    const Installation tooLong(std::string(239 - around, 'p'));
    ASSERT_EQ(utf8(tooLong.programDir()).size(), 239u);
    const Lines before = filesOf(tooLong);
    EXPECT_EQ(start(tooLong.programDir(), variant_), VELQ_ERR_FAILED);
    EXPECT_EQ(filesOf(tooLong), before);
}

TEST_P(Lifecycle, limit_counts_bytes_and_not_units)
{
    // The plain start finds its files only where the OEM page has the letter.
    const std::string letter = oemPageHas(wide("中")) ? "中" : "é";
    const std::size_t around = utf8(Installation("x").programDir()).size() - 1;
    std::string name;
    while (around + name.size() + letter.size() <= 238) {
        name += letter;
    }
    const Installation fits(name);
    ASSERT_EQ(start(fits.programDir(), variant_), 0);
    EXPECT_EQ(stop(variant_), 0);
    const Installation tooLong(name + letter);
    EXPECT_EQ(start(tooLong.programDir(), variant_), VELQ_ERR_FAILED);
    EXPECT_FALSE(std::filesystem::exists(tooLong.logFile(logName_)));
}

TEST_P(Lifecycle, directory_with_letters_of_all_kinds_works)
{
    for (const char *name : {"with blank", "é", "中文目录", "😀"}) {
        const Installation installation(name);
        if (!oemPageHas(installation.programDir())) {
            continue; // no log there, and no start that checks the files
        }
        installation.enableDebug();
        ASSERT_EQ(start(installation.programDir(), variant_), 0) << name;
        EXPECT_EQ(VELQ_AddWhiteNumberSync(OwnedRecord("123").get(), 0, 0), 0);
        EXPECT_EQ(stop(variant_), 0);
        EXPECT_EQ(storedNumbers(installation, NumberList::white), Lines{"123"});
        EXPECT_GE(countLinesWith(normalisedLog(installation.logFile(logName_)),
                                 "Exe File Path:" + utf8(installation.programDir())),
                  1u);
    }
}

TEST_P(Lifecycle, lone_surrogate_in_the_directory_stands_for_the_replacement_character)
{
    const Installation installation("\xEF\xBF\xBD");
    WideText dir = installation.programDir();
    // An OEM page without that character hides the log, and the files that the plain start looks for.
    const bool isInOemPage = oemPageHas(dir);
    dir[dir.find(VELQ_WideChar{0xFFFD})] = 0xD800;
    if (variant_ == StartVariant::plain && !isInOemPage) {
        EXPECT_EQ(start(dir, variant_), VELQ_ERR_FAILED);
        return;
    }
    ASSERT_EQ(start(dir, variant_), 0);
    EXPECT_EQ(stop(variant_), 0);
    EXPECT_EQ(std::filesystem::exists(installation.logFile(logName_)), isInOemPage);
}

TEST_P(Lifecycle, start_works_without_a_log)
{
    const Installation installation;
    installation.enableDebug();
    std::filesystem::create_directory(installation.logFile(logName_));
    ASSERT_EQ(start(installation.programDir(), variant_), 0);
    EXPECT_EQ(VELQ_AddWhiteNumberSync(OwnedRecord("123").get(), 2, 0), VELQ_ERR_FAILED);
    EXPECT_EQ(stop(variant_), 0);
}

TEST_P(Lifecycle, second_start_changes_nothing)
{
    const Installation first;
    const Installation second;
    first.enableDebug();
    ASSERT_EQ(start(first.programDir(), variant_), 0);
    const std::size_t lines = normalisedLog(first.logFile(logName_)).size();
    EXPECT_EQ(VELQ_Initialize(second.programDir().c_str()), 0);
    EXPECT_EQ(VELQ_Initialize(nullptr), 0);
    EXPECT_EQ(normalisedLog(first.logFile(logName_)).size(), lines) << "silently";
    EXPECT_EQ(VELQ_Norix_Initialize(second.programDir().c_str()), 0);
    EXPECT_EQ(VELQ_Norix_Initialize(nullptr), 0);
    const std::string warning =
        "====== Warning: Already called VELQ_Norix_Initialize(), Why norix is calling me again?  ===";
    const Lines all = normalisedLog(first.logFile(logName_));
    EXPECT_EQ(Lines(all.begin() + static_cast<std::ptrdiff_t>(lines), all.end()), (Lines{warning, warning}));
    EXPECT_EQ(VELQ_AddBlackNumberSync(OwnedRecord("1").get(), 0, 0), 0);
    EXPECT_EQ(stop(variant_), 0);
    EXPECT_EQ(storedNumbers(first, NumberList::black), Lines{"1"});
    EXPECT_EQ(filesOf(second), filesOf(Installation()));
}

TEST_P(Lifecycle, warning_of_a_second_start_is_a_debug_line)
{
    FrontEngine engine(variant_);
    EXPECT_EQ(VELQ_Norix_Initialize(engine.installation.programDir().c_str()), 0);
    EXPECT_EQ(engine.newLines(), Lines{});
}

TEST_P(Lifecycle, other_variant_can_follow)
{
    const Installation installation;
    for (const StartVariant variant : {variant_, StartVariant::plain, StartVariant::norix, variant_}) {
        ASSERT_EQ(start(installation.programDir(), variant), 0);
        EXPECT_EQ(stop(variant), 0);
    }
    EXPECT_TRUE(std::filesystem::exists(installation.logFile("engine.log")));
    EXPECT_TRUE(std::filesystem::exists(installation.logFile("norix-engine.log")));
}

// ---- The whole log of a start and a stop

TEST(lifecycle, plain_start_and_stop_are_traced_line_by_line)
{
    const Installation installation;
    installation.enableDebug();
    const std::string dir = utf8(installation.programDir());
    ASSERT_EQ(VELQ_Initialize(installation.programDir().c_str()), 0);
    ASSERT_EQ(VELQ_Finalize(), 0);
    EXPECT_EQ(
        normalisedLog(installation.logFile("engine.log")),
        (Lines{"", "", "############ norix Started log on:<time> ###########", "VELQ_Interface\tLog file opened...",
               "Exe File Path:" + dir, "OK: initAllFilePaths()", "Exe File Path:" + dir, "OK: checkDBFiles()",
               "OK: VELQ_Initialize()", "VELQ_Interface\tGoing to Close Log file....", "", "",
               "############ norix Ended log on:<time> ###########"}));
}

TEST(lifecycle, norix_start_and_stop_are_traced_line_by_line)
{
    const Installation installation;
    installation.enableDebug();
    ASSERT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), 0);
    ASSERT_EQ(VELQ_Norix_Finalize(), 0);
    EXPECT_EQ(
        normalisedLog(installation.logFile("norix-engine.log")),
        (Lines{"", "", "############ norix Started log on:<time> ###########",
               "************ Log file opened *************", "Exe File Path:" + utf8(installation.programDir()),
               "OK: initAllFilePaths()", "OK: VELQ_Norix_Initialize()", "************ Log file closed *************",
               "", "", "############ norix Ended log on:<time> ###########"}));
}

TEST_P(Lifecycle, start_and_stop_write_nothing_without_the_trace)
{
    const Installation installation;
    ASSERT_EQ(start(installation.programDir(), variant_), 0);
    EXPECT_EQ(stop(variant_), 0);
    EXPECT_EQ(logLines(installation.logFile(logName_)), Lines{});
    EXPECT_TRUE(std::filesystem::exists(installation.logFile(logName_)));
}

// ---- Missing data files

TEST(lifecycle, plain_start_needs_all_five_files)
{
    for (const std::string name : {"prob.bin", "wn.bin", "bn.bin", "ru.bin", "ver.bin"}) {
        const FailedStartCleanup cleanup;
        const Installation installation;
        std::filesystem::remove(installation.dataFile(name));
        EXPECT_EQ(VELQ_Initialize(installation.programDir().c_str()), VELQ_ERR_FAILED) << name;
        const std::string path = utf8(installation.programDir()) + "\\data\\" + name;
        EXPECT_EQ(normalisedLog(installation.logFile("engine.log")),
                  (Lines{"VELQ_Util\tfile " + path + " not exist!", "VELQ_Util\t" + path + " not existed!!!"}));
        EXPECT_FALSE(std::filesystem::exists(installation.dataFile(name)));
        EXPECT_EQ(VELQ_Finalize(), VELQ_NOT_INITIALIZED);
    }
}

TEST(lifecycle, norix_start_needs_the_three_files_that_it_opens)
{
    for (const std::string name : {"prob.bin", "wn.bin", "bn.bin"}) {
        const FailedStartCleanup cleanup;
        const Installation installation;
        std::filesystem::remove(installation.dataFile(name));
        EXPECT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), VELQ_ERR_FAILED) << name;
        EXPECT_EQ(normalisedLog(installation.logFile("norix-engine.log")),
                  Lines{"VELQ_Interface\tError:  Can not open db"});
        EXPECT_FALSE(std::filesystem::exists(installation.dataFile(name))) << "never created";
        EXPECT_EQ(VELQ_Norix_Finalize(), VELQ_NOT_INITIALIZED);
    }
    for (const std::string name : {"ru.bin", "ver.bin"}) {
        const Installation installation;
        std::filesystem::remove(installation.dataFile(name));
        EXPECT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), 0) << name;
        EXPECT_EQ(VELQ_Norix_Finalize(), 0);
        EXPECT_EQ(logLines(installation.logFile("norix-engine.log")), Lines{});
    }
}

TEST(lifecycle, failed_start_can_be_repeated_once_the_file_is_there)
{
    for (const StartVariant variant : {StartVariant::plain, StartVariant::norix}) {
        const Installation installation;
        const std::filesystem::path file = installation.dataFile("bn.bin");
        const std::filesystem::path aside = installation.folder() / "aside";
        std::filesystem::rename(file, aside);
        EXPECT_EQ(start(installation.programDir(), variant), VELQ_ERR_FAILED);
        std::filesystem::rename(aside, file);
        ASSERT_EQ(start(installation.programDir(), variant), 0);
        std::uint32_t rating = 77;
        EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, VELQ_TEXT(""), VELQ_TEXT("123")), 0);
        EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_HAM));
        EXPECT_EQ(stop(variant), 0);
    }
}

// ---- The log after a failed start stays open

TEST(lifecycle, refused_message_list_shows_in_the_log_of_a_failed_start)
{
    const FailedStartCleanup cleanup;
    const Installation installation;
    std::filesystem::remove(installation.dataFile("ru.bin"));
    EXPECT_EQ(VELQ_Initialize(installation.programDir().c_str()), VELQ_ERR_FAILED);
    const std::size_t before = normalisedLog(installation.logFile("engine.log")).size();
    EXPECT_EQ(VELQ_GetSpamMsgList(nullptr), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(VELQ_ReadSpamMsg(nullptr), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(VELQ_RemoveBlackNumberSync(nullptr), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(VELQ_Norix_Finalize(), VELQ_NOT_INITIALIZED); // its warning is a debug line
    const Lines all = normalisedLog(installation.logFile("engine.log"));
    EXPECT_EQ(Lines(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()),
              Lines{"VELQ_Interface\t Error: VELQ_GetSpamMsgList,  VELQ_NOT_INITIALIZED"});
}

TEST(lifecycle, norix_stop_after_a_failed_start_warns_in_the_trace)
{
    const FailedStartCleanup cleanup;
    const Installation installation;
    installation.enableDebug();
    std::filesystem::remove(installation.dataFile("bn.bin"));
    EXPECT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), VELQ_ERR_FAILED);
    EXPECT_EQ(VELQ_Finalize(), VELQ_NOT_INITIALIZED); // silent
    EXPECT_EQ(VELQ_Norix_Finalize(), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(normalisedLog(installation.logFile("norix-engine.log")),
              (Lines{"", "", "############ norix Started log on:<time> ###########",
                     "************ Log file opened *************", "Exe File Path:" + utf8(installation.programDir()),
                     "OK: initAllFilePaths()", "VELQ_Interface\tError:  Can not open db",
                     "====== Warning: Not Norix_Initialized, Why norix is calling me-VELQ_Norix_Finalize()?  ==="}));
}

TEST(lifecycle, next_start_tests_for_its_files_into_the_log_left_open)
{
    const FailedStartCleanup cleanup;
    const Installation failing;
    std::filesystem::remove(failing.dataFile("ru.bin"));
    EXPECT_EQ(VELQ_Initialize(failing.programDir().c_str()), VELQ_ERR_FAILED);
    const std::size_t before = normalisedLog(failing.logFile("engine.log")).size();
    const Installation sound;
    const std::string dir = utf8(sound.programDir());
    ASSERT_EQ(VELQ_Initialize(sound.programDir().c_str()), 0);
    EXPECT_EQ(VELQ_Finalize(), 0);
    const Lines all = normalisedLog(failing.logFile("engine.log"));
    EXPECT_EQ(Lines(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()),
              (Lines{"VELQ_Util\tfile " + dir + "\\enable-debug not exist!",
                     "VELQ_Util\tfile " + dir + "\\engine.log not exist!"}));
    EXPECT_EQ(logLines(sound.logFile("engine.log")), Lines{});
}

// ---- Kept connections

TEST(lifecycle, norix_start_keeps_its_files_open_and_plain_start_none)
{
    const Installation installation;
    const auto openFiles = [&installation] { return openFilesBelow(installation.programFolder()); };
    if (!openFiles()) {
        GTEST_SKIP() << "the system does not tell which files are open";
    }
    {
        const EngineSession session(installation, StartVariant::plain);
        EXPECT_EQ(openFiles(), Lines{"engine.log"});
    }
    EXPECT_EQ(openFiles(), Lines{});
    {
        const EngineSession session(installation, StartVariant::norix);
        EXPECT_EQ(openFiles(), (Lines{"bn.bin", "norix-engine.log", "prob.bin", "wn.bin"}));
    }
    EXPECT_EQ(openFiles(), Lines{});
}

} // namespace
} // namespace velq::test
