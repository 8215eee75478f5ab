// The records of installed data versions: read by the host, written by updates.
#include "api/front_helpers.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace velq::test {
namespace {

VersionRecord read(std::int32_t command, std::int32_t expected = 0)
{
    VersionRecord record{command, 77};
    EXPECT_EQ(VELQ_GetCurVersion(&record), expected);
    return record;
}

// A white-number update without rows: it merges nothing and records a version.
std::int32_t updateWhiteNumbers(const Installation &installation, std::int32_t version)
{
    const std::filesystem::path path = installation.folder() / "empty-update";
    if (!std::filesystem::exists(path)) {
        makeWhiteNumberUpdate(path, {});
    }
    return VELQ_UpdateData(nullptr, 0, widePath(path).c_str(), version);
}

TEST(versions, shipped_versions_are_read_by_command)
{
    FrontEngine engine;
    engine.installation.setVersion(0, 10);
    engine.installation.setVersion(1, -20);
    engine.installation.setVersion(2, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(read(0).version, 10);
    EXPECT_EQ(read(1).version, -20);
    EXPECT_EQ(read(2).version, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(read(2).command, 2);
    EXPECT_EQ(engine.newLines(), Lines{});
}

TEST(versions, missing_row_reads_as_version_zero)
{
    FrontEngine engine(StartVariant::plain, true);
    engine.installation.removeVersion(2);
    for (const std::int32_t command : {2, 3, -1, std::numeric_limits<std::int32_t>::min()}) {
        const VersionRecord record = read(command);
        EXPECT_EQ(record.command, command);
        EXPECT_EQ(record.version, 0);
        EXPECT_EQ(engine.newLines(),
                  (Lines{"VELQ_Update\t**********Enter db_GetCurrentVersion!********",
                         "VELQ_Update\tThere's no version record about this command(" + std::to_string(command) + ")",
                         "VELQ_Update\t**********OK: Leave db_GetCurrentVersion!********"}));
    }
}

TEST(versions, reading_is_traced)
{
    FrontEngine engine(StartVariant::norix, true);
    engine.installation.setVersion(1, 12);
    read(1);
    EXPECT_EQ(engine.newLines(),
              (Lines{"VELQ_Update\t**********Enter db_GetCurrentVersion!********", "VELQ_Update\t command = 1",
                     "VELQ_Update\t version = 12", "VELQ_Update\t**********OK: Leave db_GetCurrentVersion!********"}));
}

TEST(versions, missing_store_fails_and_leaves_the_record)
{
    FrontEngine engine;
    std::filesystem::remove(engine.installation.dataFile("ver.bin"));
    EXPECT_EQ(read(1, VELQ_ERR_FAILED).version, 77);
    EXPECT_EQ(engine.newLines(), Lines{"VELQ_Update\tError: VELQ_DSH_Open, rc=14"});
    EXPECT_FALSE(std::filesystem::exists(engine.installation.dataFile("ver.bin")));
}

TEST(versions, locked_store_fails_after_five_retries)
{
    FrontEngine engine;
    {
        const HeldLock lock(engine.installation.dataFile("ver.bin"));
        EXPECT_EQ(read(1, VELQ_ERR_FAILED).version, 77);
    }
    const Lines lines = engine.newLines();
    EXPECT_EQ(lines.size(), 5u);
    EXPECT_EQ(countLinesWith(lines, "There's still retry chance"), 5u);
    EXPECT_EQ(read(1).version, 1);
}

TEST(versions, update_changes_the_row_of_its_command_only)
{
    FrontEngine engine;
    for (const std::int32_t version :
         {7, 0, -3, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_EQ(updateWhiteNumbers(engine.installation, version), 0);
        EXPECT_EQ(read(1).version, version);
        EXPECT_EQ(engine.installation.open("ver.bin").query("SELECT command, version FROM versionTable ORDER BY 1;"),
                  (Rows{{Value::ofInteger(0), Value::ofInteger(1)},
                        {Value::ofInteger(1), Value::ofInteger(version)},
                        {Value::ofInteger(2), Value::ofInteger(1)}}));
    }
}

TEST(versions, update_of_a_command_without_a_row_succeeds_and_adds_none)
{
    FrontEngine engine;
    engine.installation.removeVersion(1);
    const Lines before = engine.installation.open("ver.bin").dump();
    EXPECT_EQ(updateWhiteNumbers(engine.installation, 9), 0);
    EXPECT_EQ(engine.installation.open("ver.bin").dump(), before);
    EXPECT_EQ(read(1).version, 0);
}

TEST(versions, refused_version_write_keeps_the_old_one)
{
    FrontEngine engine;
    engine.installation.open("ver.bin").exec("CREATE TRIGGER refuse BEFORE UPDATE ON versionTable"
                                             " BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(updateWhiteNumbers(engine.installation, 9), VELQ_ERR_FAILED);
    EXPECT_EQ(read(1).version, 1);
    EXPECT_EQ(engine.newLines(), (Lines{"VELQ_Update\tError: VELQ_DSH_doNext, rc=19",
                                        "VELQ_Update\tError: db_UpdateVersion  (prob.bin) "}));
}

} // namespace
} // namespace velq::test
