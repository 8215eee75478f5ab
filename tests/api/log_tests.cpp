// The diagnostic log as a host finds it on disk.
#include "api/front_helpers.h"
#include "support/system.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

// One call that writes an error line and one that writes debug lines only.
void writeSomeLines()
{
    std::int32_t count = 0;
    EXPECT_EQ(VELQ_GetTotalCountOfBlackNumber(&count), 0);
    EXPECT_EQ(VELQ_RemoveBlackNumberSync(nullptr), VELQ_ERR_FAILED);
}

// "src/VELQ_Module.cpp:123", a tab, and a text.
bool hasSourcePosition(const std::string &line)
{
    const std::size_t extension = line.find(".cpp:");
    const std::size_t tab = line.find('\t');
    if (!line.starts_with("src/VELQ_") || extension == std::string::npos || tab == std::string::npos) {
        return false;
    }
    const std::string number = line.substr(extension + 5, tab - extension - 5);
    return !number.empty() && number.find_first_not_of("0123456789") == std::string::npos && tab + 1 < line.size();
}

// A zero that begins one of a time's numbers and has digits after it.
bool hasLeadingZero(const std::string &line)
{
    for (std::size_t i = 1; i + 1 < line.size(); ++i) {
        const bool begins = line[i - 1] == '-' || line[i - 1] == '_' || line[i - 1] == ':';
        if (begins && line[i] == '0' && line[i + 1] >= '0' && line[i + 1] <= '9') {
            return true;
        }
    }
    return false;
}

class LogOfVariant : public ::testing::TestWithParam<StartVariant> {
  protected:
    std::filesystem::path log() const
    {
        return installation_.logFile(logFileNameOf(GetParam()));
    }
    void runOnce() const
    {
        EngineSession session(installation_, GetParam());
        ASSERT_EQ(session.result(), 0);
        writeSomeLines();
    }

    Installation installation_;
};

INSTANTIATE_TEST_SUITE_P(both, LogOfVariant, ::testing::Values(StartVariant::plain, StartVariant::norix),
                         [](const ::testing::TestParamInfo<StartVariant> &given) {
                             return std::string(given.param == StartVariant::norix ? "norix" : "plain");
                         });

TEST_P(LogOfVariant, holds_only_error_lines_without_the_marker)
{
    runOnce();
    const Lines lines = normalisedLog(log());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].starts_with("VELQ_DB_Interface\tError: ")) << lines[0];
}

TEST_P(LogOfVariant, holds_banners_and_debug_lines_with_the_marker)
{
    installation_.enableDebug();
    runOnce();
    const Lines lines = normalisedLog(log());
    EXPECT_EQ(countLinesWith(lines, "############ norix Started log on:<time> ###########"), 1u);
    EXPECT_EQ(countLinesWith(lines, "############ norix Ended log on:<time> ###########"), 1u);
    EXPECT_EQ(countLinesWith(lines, "******** count=0 *********"), 1u);
    EXPECT_EQ(countLinesWith(lines, "VELQ_DB_Interface\tError: "), 1u);
}

TEST_P(LogOfVariant, is_named_after_the_variant_and_stands_alone)
{
    runOnce();
    EXPECT_TRUE(std::filesystem::exists(log()));
    const char *other = GetParam() == StartVariant::norix ? "engine.log" : "norix-engine.log";
    EXPECT_FALSE(std::filesystem::exists(installation_.logFile(other)));
}

TEST_P(LogOfVariant, is_appended_to_by_a_second_start)
{
    std::ofstream(log()) << "an older line\n";
    runOnce();
    runOnce();
    const Lines lines = normalisedLog(log());
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "an older line");
    EXPECT_EQ(lines[1], lines[2]);
}

TEST_P(LogOfVariant, marker_is_read_at_each_start_and_its_content_never)
{
    const std::filesystem::path marker = installation_.programFolder() / "enable-debug";
    std::ofstream(marker) << "0\nfalse\n";
    runOnce();
    const std::size_t traced = countLinesWith(normalisedLog(log()), "count=0");
    std::filesystem::remove(marker);
    runOnce();
    EXPECT_EQ(traced, 1u);
    EXPECT_EQ(countLinesWith(normalisedLog(log()), "count=0"), 1u) << "the second run adds none";
    EXPECT_EQ(countLinesWith(normalisedLog(log()), "norix Started log"), 1u);
}

TEST_P(LogOfVariant, marker_laid_down_while_running_waits_for_the_next_start)
{
    EngineSession session(installation_, GetParam());
    installation_.enableDebug();
    writeSomeLines();
    EXPECT_EQ(countLinesWith(normalisedLog(log()), "count=0"), 0u);
}

TEST_P(LogOfVariant, every_line_is_on_disk_when_its_call_returns)
{
    installation_.enableDebug();
    EngineSession session(installation_, GetParam());
    std::int32_t count = 0;
    EXPECT_EQ(VELQ_GetTotalCountOfBlackNumber(&count), 0);
    const Lines lines = normalisedLog(log());
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "VELQ_DB_Interface\t**********OK: Leave db_GetTotalCount()!********");
}

TEST_P(LogOfVariant, source_positions_are_path_colon_line_and_a_tab)
{
    installation_.enableDebug();
    runOnce();
    std::size_t count = 0;
    for (const std::string &line : logLines(log())) {
        if (line.find('\t') != std::string::npos) {
            EXPECT_TRUE(hasSourcePosition(line)) << line;
            ++count;
        }
    }
    EXPECT_GE(count, 5u);
}

TEST_P(LogOfVariant, banner_shows_the_current_utc_time_without_leading_zeros)
{
    installation_.enableDebug();
    const std::time_t before = std::time(nullptr);
    runOnce();
    const std::time_t after = std::time(nullptr);
    int banners = 0;
    for (const std::string &line : logLines(log())) {
        std::tm parts{};
        if (std::sscanf(line.c_str(), "############ norix %*s log on:%d-%d-%d_%d:%d:%d ", &parts.tm_year, &parts.tm_mon,
                        &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec) != 6) {
            continue;
        }
        ++banners;
        EXPECT_FALSE(hasLeadingZero(line)) << line;
        parts.tm_year -= 1900;
        parts.tm_mon -= 1;
        const std::time_t told = utcSeconds(parts);
        EXPECT_GE(told, before);
        EXPECT_LE(told, after);
    }
    EXPECT_EQ(banners, 2);
}

TEST(log, nothing_is_written_after_a_stop)
{
    const Installation installation;
    installation.enableDebug();
    EngineSession session(installation);
    EXPECT_EQ(session.stop(), 0);
    const Lines before = logLines(installation.logFile("engine.log"));
    EXPECT_EQ(before.back().substr(0, 30), "############ norix Ended log o") << "the stop's own last line is dropped";
    EXPECT_EQ(VELQ_GetSpamMsgList(nullptr), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(VELQ_Norix_Finalize(), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(logLines(installation.logFile("engine.log")), before);
}

} // namespace
} // namespace velq::test
