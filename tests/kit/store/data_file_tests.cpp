// Rows with their storage classes, and files that appear whole or not at all.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/store/data_file.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;

void writeNumbers(const fs::path &file, const std::vector<StoredRow> &rows)
{
    writeDataFile(file, "wn-update", [&rows](Database &database) {
        writeRows(database, "INSERT INTO diffWnTable(number, name) VALUES(?, ?);", rows);
    });
}

TEST(data_file, rows_keep_their_storage_classes_and_bytes)
{
    const test::TemporaryFolder folder;
    const std::vector<StoredRow> rows = {
        {StoredValue{}, StoredValue::ofInteger(INT64_MIN)},
        {{StoredValue::Kind::real, 0, -0.1, {}}, {StoredValue::Kind::text, 0, 0, std::string("a\0b", 3)}},
        {StoredValue::ofBlob(std::string("\0\xFF", 2)), {StoredValue::Kind::text, 0, 0, ""}},
        {StoredValue::ofBlob(""), StoredValue::ofInteger(1)}};
    writeNumbers(folder.path() / "x", rows);
    Database file(folder.path() / "x", DatabaseMode::read);
    EXPECT_EQ(readRows(file, "SELECT number, name FROM diffWnTable;"), rows);
}

TEST(data_file, failed_write_leaves_the_old_file_and_no_draft)
{
    const test::TemporaryFolder folder;
    const fs::path file = folder.path() / "x";
    writeNumbers(file, {{StoredValue::ofInteger(1), StoredValue{}}});
    const std::string before = test::readFile(file);
    const auto refuse = [](Database &) { throw Error(Status::badData, "no"); };
    EXPECT_EQ(refusalOf([&] { writeDataFile(file, "prob.bin", refuse); }), "no");
    EXPECT_EQ(test::readFile(file), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
}

TEST(data_file, row_that_the_table_refuses_fails_the_write)
{
    const test::TemporaryFolder folder;
    const StoredRow row = {StoredValue::ofBlob("same"), StoredValue{}};
    const auto twice = [&row](Database &file) {
        writeRows(file, "INSERT INTO velqTable(key, value) VALUES(?, ?);", {row, row});
    };
    EXPECT_THROW(writeDataFile(folder.path() / "x", "prob.bin", twice), Error);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(data_file, statement_that_fits_no_table_is_bad_data)
{
    const test::TemporaryFolder folder;
    writeNumbers(folder.path() / "x", {});
    Database file(folder.path() / "x", DatabaseMode::read);
    refusalOf([&file] { readRows(file, "SELECT other FROM diffWnTable;"); });
}

} // namespace
} // namespace velq::kit
