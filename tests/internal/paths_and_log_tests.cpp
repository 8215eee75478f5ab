// The data file paths, the install check, the diagnostic log and the kept connections, with replaced platform calls
// where a failure or a fixed time is needed.
#include "VELQ_Util.h"
#include "internal/dsh_faults.h"
#include "internal/front_fixture.h"
#include "support/system.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

// Each test starts and ends with the state as at load.
class EngineFront : public ::testing::Test {
  protected:
    EngineFront()
    {
        resetEngineState();
    }
    ~EngineFront() override
    {
        platformCalls = systemPlatformCalls();
        resetEngineState();
    }

    // The lines of a log that has been opened by hand.
    std::vector<std::string> lines() const
    {
        return normalisedLog(installation.logFile("engine.log"));
    }
    void openLog(bool isDebugEnabled = false)
    {
        engineState.isDebugEnabled = isDebugEnabled ? 1 : 0;
        engineState.logFile = std::fopen(installation.logFile("engine.log").string().c_str(), "w+");
        ASSERT_NE(engineState.logFile, nullptr);
    }
    std::string narrowDir() const
    {
        return utf8(installation.programDir());
    }

    Installation installation;
};

using InstallPath = EngineFront;
using FilePaths = EngineFront;
using FileCheck = EngineFront;
using Log = EngineFront;
using KeptConnections = EngineFront;

// ---- Where the engine may be installed

TEST_F(InstallPath, must_end_in_the_install_location)
{
    const struct {
        const char *dir;
        int result;
    } cases[] = {
        {"Quenlibra\\Tarvolent", 0},
        {"\\Quenlibra\\Tarvolent", 0},
        {"/opt/host/Quenlibra\\Tarvolent", 0},
        {"C:\\Programme\\Quenlibra\\Tarvolent", 0},
        {"xQuenlibra\\Tarvolent", 0},
        {"/opt/中文/Quenlibra\\Tarvolent", 0},
        {"", -2},
        {"Tarvolent", -2},
        {"uenlibra\\Tarvolent", -2},
        {"/opt/Quenlibra\\Tarvolent\\", -2},
        {"/opt/Quenlibra\\Tarvolent/", -2},
        {"/opt/Quenlibra\\tarvolent", -2},
        {"/opt/quenlibra\\Tarvolent", -2},
        {"/opt/QUENLIBRA\\TARVOLENT", -2},
        {"/opt/Quenlibra/Tarvolent", -2},
        {"/opt/Quenlibra\\\\Tarvolent", -2},
        {"/opt/Quenlibra\\Tarvolent ", -2},
        {"/opt/Quenlibra\\Tarvolent\\data", -2},
        {"/opt/Quenlibra\\Tarvolents", -2},
    };
    for (const auto &given : cases) {
        EXPECT_EQ(checkInstallPath(wide(given.dir).c_str()), given.result) << given.dir;
    }
    EXPECT_EQ(checkInstallPath(nullptr), VELQ_ERR_FAILED);
}

TEST_F(InstallPath, compares_low_bytes)
{
    WideText dir = wide("/opt/Quenlibra\\Tarvolent");
    dir[5] = static_cast<VELQ_WideChar>(0x4E00 | dir[5]);
    EXPECT_EQ(checkInstallPath(dir.c_str()), 0);
}

TEST_F(InstallPath, is_refused_where_the_longest_file_name_would_not_fit)
{
    const WideText location = wide("Quenlibra\\Tarvolent");
    const auto dirOf = [&location](const std::string &above) { return wide(above) + location; };
    // 238 bytes, the longest log name and the terminator fill the 256 bytes of a path.
    EXPECT_EQ(checkInstallPath(dirOf("/" + std::string(218, 'a')).c_str()), 0);
    EXPECT_EQ(checkInstallPath(dirOf("/" + std::string(219, 'a')).c_str()), VELQ_ERR_FAILED);
    EXPECT_EQ(checkInstallPath(dirOf("/" + std::string(5000, 'a')).c_str()), VELQ_ERR_FAILED);
    std::string threeByteCharacters;
    for (int i = 0; i < 73; ++i) {
        threeByteCharacters += "中";
    }
    EXPECT_EQ(checkInstallPath(dirOf(threeByteCharacters).c_str()), 0) << "219 bytes in 73 units";
    EXPECT_EQ(checkInstallPath(dirOf("/" + threeByteCharacters).c_str()), VELQ_ERR_FAILED);
}

TEST_F(InstallPath, logs_nothing)
{
    openLog(true);
    checkInstallPath(nullptr);
    checkInstallPath(VELQ_TEXT("elsewhere"));
    checkInstallPath(installation.programDir().c_str());
    EXPECT_EQ(lines(), std::vector<std::string>{});
}

// ---- The paths

TEST_F(FilePaths, are_the_directory_and_the_file_names)
{
    const WideText dir = wide("/opt/中/Quenlibra\\Tarvolent");
    const std::string narrow = utf8(dir);
    ASSERT_EQ(initAllFilePaths(dir.c_str()), 0);
    EXPECT_EQ(engineState.programDir, narrow);
    EXPECT_EQ(engineState.programDirLength, narrow.size() + 1);
    EXPECT_EQ(engineState.tokenStorePath, narrow + "\\data\\prob.bin");
    EXPECT_EQ(engineState.blackListPath, narrow + "\\data\\bn.bin");
    EXPECT_EQ(engineState.whiteListPath, narrow + "\\data\\wn.bin");
    EXPECT_EQ(engineState.ruleListPath, narrow + "\\data\\ru.bin");
    EXPECT_EQ(engineState.versionPath, narrow + "\\data\\ver.bin");
    freeAllFilePaths();
    for (const char *path : {engineState.programDir, engineState.tokenStorePath, engineState.blackListPath,
                             engineState.whiteListPath, engineState.ruleListPath, engineState.versionPath}) {
        EXPECT_EQ(path, nullptr);
    }
    freeAllFilePaths(); // once more: nothing is set, nothing happens
}

TEST_F(FilePaths, take_exactly_the_bytes_that_they_need)
{
    static std::vector<std::size_t> sizes;
    sizes.clear();
    platformCalls.allocate = [](std::size_t size) noexcept {
        sizes.push_back(size);
        return systemPlatformCalls().allocate(size);
    };
    ASSERT_EQ(initAllFilePaths(VELQ_TEXT("abc")), 0);
    EXPECT_EQ(sizes, (std::vector<std::size_t>{4, 18, 16, 16, 16, 17}));
}

TEST_F(FilePaths, write_two_debug_lines)
{
    openLog(true);
    ASSERT_EQ(initAllFilePaths(VELQ_TEXT("abc")), 0);
    EXPECT_EQ(lines(), (std::vector<std::string>{"Exe File Path:abc", "OK: initAllFilePaths()"}));
}

TEST_F(FilePaths, without_a_directory_are_refused)
{
    openLog();
    EXPECT_EQ(initAllFilePaths(nullptr), VELQ_ERR_FAILED);
    EXPECT_EQ(engineState.programDirLength, 0u);
    EXPECT_EQ(lines(),
              std::vector<std::string>{"Error: Initialize File Path error, should pass in the Program dir first!"});
}

TEST_F(FilePaths, of_a_directory_that_cannot_be_converted_are_refused)
{
    openLog();
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int) noexcept { return 0; };
    EXPECT_EQ(initAllFilePaths(VELQ_TEXT("abc")), VELQ_ERR_FAILED);
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int) noexcept { return -7; };
    EXPECT_EQ(initAllFilePaths(VELQ_TEXT("abc")), VELQ_ERR_FAILED);
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int size) noexcept {
        return size == 0 ? 4 : 0;
    };
    EXPECT_EQ(initAllFilePaths(VELQ_TEXT("abc")), VELQ_ERR_FAILED);
    EXPECT_EQ(lines(),
              (std::vector<std::string>{"Error: Program File Path len is:0", "Error: Program File Path len is:0",
                                        "Error: Exe File Path init failed!"}));
}

TEST_F(FilePaths, that_run_out_of_memory_keep_what_was_built)
{
    for (int nth = 1; nth <= 6; ++nth) {
        SCOPED_TRACE(nth);
        openLog();
        {
            const AllocationGuard memory(nth);
            EXPECT_EQ(initAllFilePaths(VELQ_TEXT("abc")), VELQ_ERR_FAILED);
            EXPECT_EQ(memory.notReleased(), nth - 1);
            // In the order in which they are built.
            const char *paths[] = {engineState.programDir,    engineState.tokenStorePath, engineState.blackListPath,
                                   engineState.whiteListPath, engineState.ruleListPath,   engineState.versionPath};
            for (int i = 0; i < 6; ++i) {
                EXPECT_EQ(paths[i] != nullptr, i < nth - 1) << i;
            }
            freeAllFilePaths();
            EXPECT_EQ(memory.notReleased(), 0);
        }
        // The directory's own line has no source position.
        EXPECT_EQ(lines(), std::vector<std::string>{nth == 1 ? "Error: Memory Allocation  failed"
                                                             : "VELQ_Util\tError: Memory Allocation  failed"});
        resetEngineState();
    }
}

// ---- The check of the data files

TEST_F(FileCheck, passes_with_all_files_present)
{
    openLog(true);
    EXPECT_EQ(checkDBFiles(installation.programDir().c_str()), 0);
    EXPECT_EQ(lines(), (std::vector<std::string>{"Exe File Path:" + narrowDir(), "OK: checkDBFiles()"}));
}

TEST_F(FileCheck, stops_at_the_first_missing_file)
{
    const char *order[] = {"prob.bin", "wn.bin", "bn.bin", "ru.bin", "ver.bin"};
    for (const char *name : order) {
        std::filesystem::remove(installation.dataFile(name));
    }
    openLog();
    std::vector<std::string> expected;
    for (const char *name : order) {
        EXPECT_EQ(checkDBFiles(installation.programDir().c_str()), VELQ_ERR_FAILED);
        const std::string path = narrowDir() + "\\data\\" + name;
        expected.push_back("VELQ_Util\tfile " + path + " not exist!");
        expected.push_back("VELQ_Util\t" + path + " not existed!!!");
        EXPECT_EQ(lines(), expected);
        Database(installation.dataFile(name), OpenMode::create).exec("CREATE TABLE t(a);");
    }
    EXPECT_EQ(checkDBFiles(installation.programDir().c_str()), 0);
}

TEST_F(FileCheck, refuses_what_it_cannot_convert)
{
    openLog();
    EXPECT_EQ(checkDBFiles(nullptr), VELQ_ERR_FAILED);
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int) noexcept { return 0; };
    EXPECT_EQ(checkDBFiles(VELQ_TEXT("abc")), VELQ_ERR_FAILED);
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int size) noexcept {
        return size == 0 ? 4 : 0;
    };
    EXPECT_EQ(checkDBFiles(VELQ_TEXT("abc")), VELQ_ERR_FAILED);
    EXPECT_EQ(lines(),
              (std::vector<std::string>{"VELQ_Util\tError: Check DB files error, should pass in the Program dir first!",
                                        "VELQ_Util\tError: Program File Path len is:0",
                                        "VELQ_Util\tError: Exe File Path init failed!"}));
}

TEST_F(FileCheck, converts_with_the_oem_page_while_the_data_paths_take_utf8)
{
    static std::vector<CodePage> pages;
    platformCalls.convertText = [](CodePage page, const VELQ_WideChar *text, char *destination, int size) noexcept {
        pages.push_back(page);
        return systemPlatformCalls().convertText(page, text, destination, size);
    };
    const WideText dir = installation.programDir();
    const auto pagesOf = [](const std::function<void()> &call) {
        pages.clear();
        call();
        std::string seen;
        for (const CodePage page : pages) {
            const std::string name = page == CodePage::oem ? "oem " : "utf8 ";
            if (seen.find(name) == std::string::npos) {
                seen += name;
            }
        }
        return seen;
    };
    EXPECT_EQ(pagesOf([&dir] { checkDBFiles(dir.c_str()); }), "oem ");
    EXPECT_EQ(pagesOf([&dir] { initDebugFlag(dir.c_str()); }), "oem ");
    EXPECT_EQ(pagesOf([&dir] { openLogFile(dir.c_str(), "engine.log"); }), "oem ");
    EXPECT_EQ(pagesOf([&dir] { initAllFilePaths(dir.c_str()); }), "utf8 ");
}

TEST_F(FileCheck, existence_is_told_by_the_flag_and_an_error_line)
{
    openLog();
    std::uint8_t exists = 77;
    const std::string present = installation.dataFile("bn.bin").string();
    EXPECT_EQ(fileExists(&exists, present.c_str()), 0);
    EXPECT_EQ(exists, 1);
    exists = 77;
    EXPECT_EQ(fileExists(&exists, "\\no\\such\\file"), 0);
    EXPECT_EQ(exists, 0);
    EXPECT_EQ(lines(), std::vector<std::string>{"VELQ_Util\tfile \\no\\such\\file not exist!"});
}

TEST_F(FileCheck, existence_is_asked_by_opening_for_reading)
{
    static std::string asked;
    platformCalls.opensForReading = [](const char *path) noexcept {
        asked = path;
        return false;
    };
    std::uint8_t exists = 1;
    fileExists(&exists, "a\\b");
    EXPECT_EQ(asked, "a\\b");
    EXPECT_EQ(exists, 0);
}

TEST_F(FileCheck, existence_takes_no_memory)
{
    const AllocationGuard memory(1);
    const std::size_t before = heapBytesInUse();
    std::uint8_t exists = 0;
    fileExists(&exists, installation.dataFile("bn.bin").string().c_str());
    EXPECT_EQ(exists, 1);
    EXPECT_FALSE(memory.failureHappened());
    EXPECT_EQ(heapBytesInUse(), before);
}

TEST_F(FileCheck, existence_of_what_may_not_be_read_or_has_too_long_a_name_is_denied)
{
    std::uint8_t exists = 77;
    fileExists(&exists, std::string(10'000, 'a').c_str());
    EXPECT_EQ(exists, 0);
    std::filesystem::permissions(installation.dataFile("bn.bin"), std::filesystem::perms::none);
    const OrdinaryUser user;
    if (OrdinaryUser::canWrite(installation.dataFile("bn.bin"))) {
        GTEST_SKIP() << "permissions bind nobody here";
    }
    exists = 77;
    fileExists(&exists, installation.dataFile("bn.bin").string().c_str());
    EXPECT_EQ(exists, 0);
}

// ---- The log

TEST_F(Log, error_lines_need_an_open_log_and_debug_lines_the_flag_too)
{
    logError("to nowhere %d\n", 1);
    engineState.isDebugEnabled = 1;
    logDebug("to nowhere %d\n", 2);
    openLog();
    logError("error %d %s\n", 3, "x");
    logDebug("debug %d\n", 4);
    engineState.isDebugEnabled = 1;
    logDebug("debug %d %s\n", 5, "y");
    EXPECT_EQ(lines(), (std::vector<std::string>{"error 3 x", "debug 5 y"})) << "every line is flushed at once";
}

TEST_F(Log, marker_enables_the_trace_whatever_it_holds)
{
    initDebugFlag(installation.programDir().c_str());
    EXPECT_EQ(engineState.isDebugEnabled, 0);
    installation.enableDebug();
    initDebugFlag(installation.programDir().c_str());
    EXPECT_EQ(engineState.isDebugEnabled, 1);
    std::filesystem::remove(installation.programFolder() / "enable-debug");
    initDebugFlag(installation.programDir().c_str());
    EXPECT_EQ(engineState.isDebugEnabled, 0);
}

TEST_F(Log, flag_is_cleared_when_the_directory_cannot_be_converted)
{
    installation.enableDebug();
    engineState.isDebugEnabled = 1;
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int) noexcept { return 0; };
    initDebugFlag(installation.programDir().c_str());
    EXPECT_EQ(engineState.isDebugEnabled, 0);
    engineState.isDebugEnabled = 1;
    platformCalls.convertText = [](CodePage page, const VELQ_WideChar *text, char *destination, int size) noexcept {
        return size == 0 ? systemPlatformCalls().convertText(page, text, destination, size) : 0;
    };
    initDebugFlag(installation.programDir().c_str());
    EXPECT_EQ(engineState.isDebugEnabled, 0);
}

TEST_F(Log, is_not_opened_when_the_directory_cannot_be_converted)
{
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int) noexcept { return 0; };
    openLogFile(installation.programDir().c_str(), "engine.log");
    EXPECT_EQ(engineState.logFile, nullptr);
    EXPECT_FALSE(std::filesystem::exists(installation.logFile("engine.log")));
}

TEST_F(Log, is_created_at_first_and_appended_to_later)
{
    static std::vector<std::string> modes;
    modes.clear();
    platformCalls.opensForReading = [](const char *path) noexcept {
        modes.emplace_back("rb");
        return systemPlatformCalls().opensForReading(path);
    };
    platformCalls.openStream = [](const char *path, const char *mode) noexcept {
        modes.emplace_back(mode);
        return systemPlatformCalls().openStream(path, mode);
    };
    const WideText dir = installation.programDir();
    openLogFile(dir.c_str(), "engine.log");
    logError("first\n");
    closeLogFile();
    openLogFile(dir.c_str(), "engine.log");
    logError("second\n");
    closeLogFile();
    EXPECT_EQ(modes, (std::vector<std::string>{"rb", "w+", "rb", "a+"}));
    EXPECT_EQ(lines(), (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(engineState.logFile, nullptr);
}

// Written by hand, so that nothing of the engine's is part of it.
void writeLog(const std::filesystem::path &file, const std::string &content)
{
    std::ofstream(file, std::ios::binary) << content;
}

TEST_F(Log, of_an_earlier_run_survives_every_failing_allocation)
{
    const struct {
        std::int32_t (*start)(const VELQ_WideChar *);
        std::int32_t (*stop)();
        const char *log;
    } starts[] = {{VELQ_Initialize, VELQ_Finalize, "engine.log"},
                  {VELQ_Norix_Initialize, VELQ_Norix_Finalize, "norix-engine.log"}};
    for (const auto &given : starts) {
        bool failed = true;
        for (int nth = 1; failed; ++nth) {
            SCOPED_TRACE(nth);
            writeLog(installation.logFile(given.log), "an earlier run\n");
            AllocationGuard memory(nth);
            if (given.start(installation.programDir().c_str()) == 0) {
                EXPECT_EQ(given.stop(), 0);
            }
            failed = memory.failureHappened();
            resetEngineState();
            const std::vector<std::string> kept = logLines(installation.logFile(given.log));
            ASSERT_FALSE(kept.empty());
            EXPECT_EQ(kept.front(), "an earlier run");
        }
    }
}

TEST_F(Log, that_is_there_is_appended_to_also_when_its_existence_could_not_be_told)
{
    writeLog(installation.logFile("engine.log"), "an earlier run\n");
    platformCalls.opensForReading = [](const char *) noexcept { return false; };
    openLogFile(installation.programDir().c_str(), "engine.log");
    logError("this run\n");
    closeLogFile();
    EXPECT_EQ(lines(), (std::vector<std::string>{"an earlier run", "this run"}));
}

TEST_F(Log, is_not_inherited_by_other_programs)
{
    std::FILE *ordinary = std::fopen(installation.logFile("ordinary").string().c_str(), "w");
    ASSERT_NE(ordinary, nullptr);
    EXPECT_TRUE(childrenInherit(ordinary)) << "the test sees what is inherited";
    std::fclose(ordinary);
    for (const char *way : {"created", "appended to"}) {
        openLogFile(installation.programDir().c_str(), "engine.log");
        ASSERT_NE(engineState.logFile, nullptr);
        EXPECT_FALSE(childrenInherit(engineState.logFile)) << way;
        closeLogFile();
    }
}

TEST_F(Log, that_cannot_be_opened_stays_closed)
{
    std::filesystem::create_directory(installation.logFile("engine.log"));
    openLogFile(installation.programDir().c_str(), "engine.log");
    EXPECT_EQ(engineState.logFile, nullptr);
    logError("to nowhere\n");
    closeLogFile();
}

TEST_F(Log, earlier_stream_is_replaced_and_not_closed)
{
    openLogFile(installation.programDir().c_str(), "engine.log");
    std::FILE *earlier = engineState.logFile;
    ASSERT_NE(earlier, nullptr);
    openLogFile(installation.programDir().c_str(), "norix-engine.log");
    EXPECT_NE(engineState.logFile, earlier);
    // The existence test of the second log has written to the first.
    EXPECT_EQ(lines(), std::vector<std::string>{"VELQ_Util\tfile " + narrowDir() + "\\norix-engine.log not exist!"});
    EXPECT_EQ(std::fclose(earlier), 0);
}

TEST_F(Log, banners_carry_the_time_without_leading_zeros)
{
    platformCalls.utcTime = [](PlatformTime *time) noexcept {
        *time = {2009, 3, 7, 14, 5, 9};
        return true;
    };
    engineState.isDebugEnabled = 1;
    openLogFile(installation.programDir().c_str(), "engine.log");
    platformCalls.utcTime = [](PlatformTime *time) noexcept {
        *time = {2026, 12, 31, 0, 0, 0};
        return true;
    };
    closeLogFile();
    EXPECT_EQ(logLines(installation.logFile("engine.log")),
              (std::vector<std::string>{"", "", "############ norix Started log on:2009-3-7_14:5:9 ###########", "", "",
                                        "############ norix Ended log on:2026-12-31_0:0:0 ###########"}));
}

TEST_F(Log, banners_have_an_empty_time_when_the_clock_cannot_be_read)
{
    platformCalls.utcTime = [](PlatformTime *) noexcept { return false; };
    engineState.isDebugEnabled = 1;
    openLogFile(installation.programDir().c_str(), "engine.log");
    closeLogFile();
    EXPECT_EQ(logLines(installation.logFile("engine.log")),
              (std::vector<std::string>{"", "", "############ norix Started log on: ###########", "", "",
                                        "############ norix Ended log on: ###########"}));
}

TEST_F(Log, has_no_banners_without_the_trace)
{
    openLogFile(installation.programDir().c_str(), "engine.log");
    closeLogFile();
    EXPECT_EQ(lines(), std::vector<std::string>{});
    EXPECT_TRUE(std::filesystem::exists(installation.logFile("engine.log")));
}

TEST_F(Log, system_clock_is_utc)
{
    PlatformTime time{};
    const std::time_t before = std::time(nullptr);
    ASSERT_TRUE(systemPlatformCalls().utcTime(&time));
    const std::time_t after = std::time(nullptr);
    std::tm parts{};
    parts.tm_year = time.year - 1900;
    parts.tm_mon = time.month - 1;
    parts.tm_mday = time.day;
    parts.tm_hour = time.hour;
    parts.tm_min = time.minute;
    parts.tm_sec = time.second;
    const std::time_t told = utcSeconds(parts);
    EXPECT_GE(told, before);
    EXPECT_LE(told, after);
}

// ---- Kept connections

TEST_F(KeptConnections, are_opened_in_order_and_get_no_busy_rule_yet)
{
    const DshWatch watch;
    ASSERT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), 0);
    EXPECT_EQ(watch.calls(), (std::vector<std::string>{"open prob.bin", "open wn.bin", "open bn.bin"}));
    EXPECT_NE(engineState.tokenStoreConn, nullptr);
    EXPECT_NE(engineState.whiteListConn, nullptr);
    EXPECT_NE(engineState.blackListConn, nullptr);
    EXPECT_EQ(VELQ_Norix_Finalize(), 0);
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engineState.tokenStoreConn, nullptr);
    EXPECT_EQ(engineState.whiteListConn, nullptr);
    EXPECT_EQ(engineState.blackListConn, nullptr);
    EXPECT_EQ(engineState.programDir, nullptr);
}

TEST_F(KeptConnections, failed_open_is_closed_and_cleared_and_earlier_ones_stay)
{
    for (const bool handsOut : {false, true}) {
        for (int nth = 1; nth <= 3; ++nth) {
            SCOPED_TRACE(nth);
            const std::size_t before = normalisedLog(installation.logFile("norix-engine.log")).size();
            const DshWatch watch({.call = DshCall::open, .nth = nth, .isForwarded = handsOut});
            EXPECT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), VELQ_ERR_FAILED);
            EXPECT_EQ(engineState.isInitialised, 0);
            EXPECT_EQ(engineState.tokenStoreConn != nullptr, nth > 1);
            EXPECT_EQ(engineState.whiteListConn != nullptr, nth > 2);
            EXPECT_EQ(engineState.blackListConn, nullptr);
            EXPECT_NE(engineState.tokenStorePath, nullptr) << "this failure keeps the paths";
            std::vector<std::string> written = normalisedLog(installation.logFile("norix-engine.log"));
            written.erase(written.begin(), written.begin() + static_cast<std::ptrdiff_t>(before));
            EXPECT_EQ(written, std::vector<std::string>{"VELQ_Interface\tError:  Can not open db"});
            // A later start closes what is still open and opens all three again.
            std::FILE *earlier = engineState.logFile;
            EXPECT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), 0);
            EXPECT_EQ(VELQ_Norix_Finalize(), 0);
            EXPECT_TRUE(watch.everythingReleased());
            std::fclose(earlier);
            std::filesystem::remove(installation.logFile("norix-engine.log"));
        }
    }
}

TEST_F(KeptConnections, plain_stop_closes_none)
{
    ASSERT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), 0);
    const DshWatch watch;
    EXPECT_EQ(VELQ_Finalize(), 0);
    EXPECT_EQ(watch.calls(), std::vector<std::string>{});
    EXPECT_NE(engineState.tokenStoreConn, nullptr);
    EXPECT_NE(engineState.whiteListConn, nullptr);
    EXPECT_NE(engineState.blackListConn, nullptr);
}

TEST_F(KeptConnections, plain_start_opens_no_database)
{
    const DshWatch watch;
    ASSERT_EQ(VELQ_Initialize(installation.programDir().c_str()), 0);
    EXPECT_EQ(VELQ_Finalize(), 0);
    EXPECT_EQ(watch.calls(), std::vector<std::string>{});
}

// ---- Starts

TEST_F(EngineFront, message_count_key_is_set_by_both_starts)
{
    const WideText dir = installation.programDir();
    for (const auto start : {VELQ_Initialize, VELQ_Norix_Initialize}) {
        engineState.messageCountKey = {};
        ASSERT_EQ(start(dir.c_str()), 0);
        ASSERT_NE(engineState.messageCountKey.text, nullptr);
        EXPECT_EQ(engineState.messageCountKey.length, 8u);
        EXPECT_EQ(WideText(engineState.messageCountKey.text), wide(".MSG_CNT"));
        EXPECT_EQ(VELQ_Norix_Finalize(), 0);
        EXPECT_EQ(engineState.messageCountKey.length, 8u) << "never cleared";
    }
}

// Two sizes for the refusal of long directories, one text each for the marker and the log, and a size and a text each
// for the data paths and the check of the files.
TEST_F(EngineFront, start_converts_the_directory_only_as_often_as_it_must)
{
    static std::vector<std::string> calls;
    platformCalls.convertText = [](CodePage page, const VELQ_WideChar *text, char *destination, int size) noexcept {
        calls.push_back(std::string(page == CodePage::oem ? "oem " : "utf8 ") + (size == 0 ? "size" : "text"));
        return systemPlatformCalls().convertText(page, text, destination, size);
    };
    const WideText dir = installation.programDir();
    const std::vector<std::string> paths = {"utf8 size", "oem size", "oem text", "oem text", "utf8 size", "utf8 text"};
    calls.clear();
    ASSERT_EQ(VELQ_Norix_Initialize(dir.c_str()), 0);
    EXPECT_EQ(calls, paths);
    EXPECT_EQ(VELQ_Norix_Finalize(), 0);
    calls.clear();
    ASSERT_EQ(VELQ_Initialize(dir.c_str()), 0);
    std::vector<std::string> pathsAndCheck = paths;
    pathsAndCheck.insert(pathsAndCheck.end(), {"oem size", "oem text"});
    EXPECT_EQ(calls, pathsAndCheck);
    EXPECT_EQ(VELQ_Finalize(), 0);
}

TEST_F(EngineFront, failed_starts_free_the_paths)
{
    std::filesystem::remove(installation.dataFile("ru.bin"));
    EXPECT_EQ(VELQ_Initialize(installation.programDir().c_str()), VELQ_ERR_FAILED);
    EXPECT_EQ(engineState.programDir, nullptr);
    EXPECT_EQ(engineState.versionPath, nullptr);
    EXPECT_EQ(engineState.isInitialised, 0);
    EXPECT_NE(engineState.logFile, nullptr) << "the log stays open";
}

TEST_F(EngineFront, every_failing_allocation_of_a_start_is_refused)
{
    const struct {
        std::int32_t (*start)(const VELQ_WideChar *);
        std::int32_t (*stop)();
        int allocations; // for the paths and the databases; the marker, the log and the check of the files take none
    } starts[] = {{VELQ_Initialize, VELQ_Finalize, 6}, {VELQ_Norix_Initialize, VELQ_Norix_Finalize, 6 + 3}};
    for (const auto &given : starts) {
        int nth = 1;
        for (bool failed = true; failed; ++nth) {
            SCOPED_TRACE(nth);
            const DshWatch watch;
            AllocationGuard memory(nth);
            const std::int32_t result = given.start(installation.programDir().c_str());
            failed = memory.failureHappened();
            EXPECT_EQ(result, failed ? VELQ_ERR_FAILED : 0);
            if (result == 0) {
                EXPECT_EQ(given.stop(), 0);
            }
            resetEngineState();
            EXPECT_EQ(memory.notReleased(), 0);
            EXPECT_TRUE(watch.everythingReleased());
        }
        EXPECT_EQ(nth - 2, given.allocations);
    }
}

TEST_F(EngineFront, start_that_cannot_build_its_paths_says_so)
{
    // Allocation 1 is the program directory's own.
    for (const bool norix : {false, true}) {
        const std::string log = norix ? "norix-engine.log" : "engine.log";
        {
            const AllocationGuard memory(1);
            EXPECT_EQ((norix ? VELQ_Norix_Initialize : VELQ_Initialize)(installation.programDir().c_str()),
                      VELQ_ERR_FAILED);
            EXPECT_EQ(memory.notReleased(), 0);
        }
        std::vector<std::string> expected = {"Error: Memory Allocation  failed"};
        if (norix) {
            expected.push_back("Error: VELQ_Norix_Initialize()");
        }
        EXPECT_EQ(normalisedLog(installation.logFile(log)), expected);
        resetEngineState();
    }
}

} // namespace
} // namespace velq::test
