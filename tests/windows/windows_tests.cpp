// The engine on Windows: wide units, code pages, and program directories by what the OEM code page makes of their
// names.
#include "VELQ_Util.h"
#include "internal/front_fixture.h"
#include "support/system.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace velq::test {
namespace {

static_assert(std::is_same_v<VELQ_WideChar, wchar_t> && sizeof(wchar_t) == 2);

std::string converted(CodePage page, const WideText &text)
{
    const PlatformCalls calls = systemPlatformCalls();
    const int size = calls.convertText(page, text.c_str(), nullptr, 0);
    if (size < 1) {
        return "refused";
    }
    std::string out(static_cast<std::size_t>(size), 'x');
    EXPECT_EQ(calls.convertText(page, text.c_str(), out.data(), size), size);
    EXPECT_EQ(out.back(), '\0');
    out.pop_back();
    return out;
}

TEST(code_pages, utf8_keeps_every_character_and_replaces_lone_surrogates)
{
    EXPECT_EQ(hex(converted(CodePage::utf8, wide("caf\xC3\xA9 \xE2\x82\xAC \xE4\xBD\xA0 \xF0\x9F\x98\x80"))),
              "636166c3a920e282ac20e4bda020f09f9880");
    const WideText lone = {L'a', static_cast<wchar_t>(0xD83D), L'b'};
    EXPECT_EQ(hex(converted(CodePage::utf8, lone)), "61efbfbd62");
}

TEST(code_pages, oem_page_replaces_what_it_lacks)
{
    if (GetOEMCP() != 437) {
        GTEST_SKIP() << "the OEM page here is " << GetOEMCP();
    }
    EXPECT_EQ(hex(converted(CodePage::oem, wide("caf\xC3\xA9 \xE2\x82\xAC \xE4\xBD\xA0"))), "63616682203f203f");
}

TEST(code_pages, conversion_into_too_little_room_is_refused)
{
    char room[3];
    EXPECT_EQ(systemPlatformCalls().convertText(CodePage::utf8, L"abc", room, sizeof room), 0);
    EXPECT_EQ(systemPlatformCalls().convertText(CodePage::utf8, L"ab", room, sizeof room), 3);
}

// ---- Program directories

class ProgramDirectory : public ::testing::Test {
  protected:
    ~ProgramDirectory() override
    {
        resetEngineState();
    }
    // By the operator rule, after a look into the black list.
    static bool rates()
    {
        std::uint32_t rating = 77;
        return VELQ_CheckSpamMsgSync(&rating, L"some words of some length", L"10086") == 0 && rating == VELQ_RATING_HAM;
    }
};

TEST_F(ProgramDirectory, is_taken_with_a_drive_and_backslashes)
{
    const Installation installation;
    const WideText dir = installation.programDir();
    ASSERT_EQ(dir.at(1), L':');
    ASSERT_EQ(dir.find(L'/'), WideText::npos);
    ASSERT_EQ(VELQ_Initialize(dir.c_str()), 0);
    EXPECT_TRUE(rates());
    EXPECT_EQ(VELQ_Finalize(), 0);
    EXPECT_TRUE(std::filesystem::exists(installation.logFile("engine.log")));
}

TEST_F(ProgramDirectory, may_be_relative_to_the_current_folder)
{
    const Installation installation;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(installation.folder());
    EXPECT_EQ(VELQ_Norix_Initialize(L"Quenlibra\\Tarvolent"), 0);
    EXPECT_TRUE(rates());
    EXPECT_EQ(VELQ_Norix_Finalize(), 0);
    std::filesystem::current_path(before);
    EXPECT_TRUE(std::filesystem::exists(installation.logFile("norix-engine.log")));
}

TEST_F(ProgramDirectory, named_in_the_oem_page_starts_both_ways)
{
    ASSERT_TRUE(oemPageHas(wide("caf\xC3\xA9")));
    const Installation installation("caf\xC3\xA9");
    installation.enableDebug();
    ASSERT_EQ(VELQ_Initialize(installation.programDir().c_str()), 0);
    EXPECT_EQ(engineState.isDebugEnabled, 1);
    EXPECT_TRUE(rates());
    EXPECT_EQ(VELQ_Finalize(), 0);
    EXPECT_FALSE(logLines(installation.logFile("engine.log")).empty());
    ASSERT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), 0);
    EXPECT_TRUE(rates());
    EXPECT_EQ(VELQ_Norix_Finalize(), 0);
    EXPECT_FALSE(logLines(installation.logFile("norix-engine.log")).empty());
}

// The log, the marker and the check of the files go by the OEM page, the databases by UTF-8.
TEST_F(ProgramDirectory, outside_the_oem_page_fails_the_check_of_the_files)
{
    ASSERT_FALSE(oemPageHas(wide("\xE4\xBD\xA0")));
    const Installation installation("\xE4\xBD\xA0");
    installation.enableDebug();
    EXPECT_EQ(VELQ_Initialize(installation.programDir().c_str()), VELQ_ERR_FAILED);
    EXPECT_EQ(engineState.isInitialised, 0);
    EXPECT_EQ(engineState.isDebugEnabled, 0) << "the marker is not found";
    EXPECT_EQ(engineState.logFile, nullptr);
    EXPECT_EQ(engineState.programDir, nullptr) << "the paths are freed";
    EXPECT_FALSE(std::filesystem::exists(installation.logFile("engine.log")));
}

TEST_F(ProgramDirectory, outside_the_oem_page_works_without_a_log_where_no_check_is_made)
{
    const Installation installation("\xE4\xBD\xA0");
    installation.enableDebug();
    ASSERT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), 0);
    EXPECT_EQ(engineState.isDebugEnabled, 0);
    EXPECT_EQ(engineState.logFile, nullptr);
    EXPECT_TRUE(rates());
    std::int32_t count = -1;
    WideText number = L"13800000000";
    const NumberRecord record{number.data(), nullptr};
    EXPECT_EQ(VELQ_AddBlackNumberSync(&record, 0, 1), 0);
    EXPECT_EQ(VELQ_GetTotalCountOfBlackNumber(&count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(VELQ_Norix_Finalize(), 0);
    EXPECT_FALSE(std::filesystem::exists(installation.logFile("norix-engine.log")));
}

// A file that is open cannot be removed.
TEST_F(ProgramDirectory, norix_start_keeps_its_files_open_and_plain_start_none)
{
    const Installation installation;
    const auto isKept = [&installation](const char *name) {
        std::error_code error;
        const std::filesystem::path file = installation.dataFile(name);
        const std::filesystem::path aside = file.parent_path() / "aside";
        std::filesystem::copy_file(file, aside);
        const bool isRemoved = std::filesystem::remove(file, error);
        if (isRemoved) {
            std::filesystem::copy_file(aside, file);
        }
        std::filesystem::remove(aside);
        return !isRemoved;
    };
    ASSERT_EQ(VELQ_Initialize(installation.programDir().c_str()), 0);
    for (const char *name : {"prob.bin", "wn.bin", "bn.bin", "ru.bin", "ver.bin"}) {
        EXPECT_FALSE(isKept(name)) << name;
    }
    EXPECT_EQ(VELQ_Finalize(), 0);
    ASSERT_EQ(VELQ_Norix_Initialize(installation.programDir().c_str()), 0);
    for (const char *name : {"prob.bin", "wn.bin", "bn.bin"}) {
        EXPECT_TRUE(isKept(name)) << name;
    }
    for (const char *name : {"ru.bin", "ver.bin"}) {
        EXPECT_FALSE(isKept(name)) << name;
    }
    EXPECT_EQ(VELQ_Norix_Finalize(), 0);
    EXPECT_FALSE(isKept("prob.bin"));
}

} // namespace
} // namespace velq::test
