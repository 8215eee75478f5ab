// Token stores as files, and as the models that the engine sees in them.
#include "kit/base/output.h"
#include "kit/base/status.h"
#include "kit/store/store_file.h"
#include "store_helpers.h"
#include "support/database.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;

Status statusOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const Error &error) {
        return error.status();
    }
    return Status::done;
}

TEST(store_file, model_survives_the_way_through_a_file)
{
    const test::TemporaryFolder folder;
    const fs::path file = folder.path() / "prob.bin";
    writeStoreContents(file, contentsOf(smallModel()));
    EXPECT_EQ(modelOf(readStoreContents(file)), smallModel());
}

TEST(store_file, keys_and_values_have_the_engines_form)
{
    const test::TemporaryFolder folder;
    const fs::path file = folder.path() / "prob.bin";
    writeStoreContents(file, contentsOf(smallModel()));
    const test::Rows rows = test::Database(file).query("SELECT hex(key), hex(value) FROM velqTable ORDER BY key;");
    std::vector<std::string> shown;
    for (const test::Row &row : rows) {
        shown.push_back(row[0].bytes + " " + row[1].bytes);
    }
    EXPECT_EQ(shown, (std::vector<std::string>{
                         "2E004D00530047005F0043004E005400 280000003C00000000000000",
                         "2E524F425800 801A06000000000000000000",
                         "4D51398D 050000000500000000000000",
                         "6600720065006500 0C0000000100000000000000",
                         "68006F006D006500 000000000900000000000000",
                     }));
}

TEST(store_file, model_without_prior_has_no_record_of_it)
{
    Store model = smallModel();
    model.priorMillionths = 0;
    EXPECT_EQ(findRow(contentsOf(model), priorKey()), nullptr);
    EXPECT_EQ(modelOf(contentsOf(model)), model);
}

TEST(store_file, every_kind_of_row_survives)
{
    const test::TemporaryFolder folder;
    StoreContents contents;
    contents.rows = {{StoredValue::ofInteger(7), StoredValue{}},
                     {{StoredValue::Kind::real, 0, 2.5, {}}, {StoredValue::Kind::real, 0, -0.1, {}}},
                     {{StoredValue::Kind::text, 0, 0, std::string("a\0b", 3)}, {StoredValue::Kind::text, 0, 0, ""}},
                     {StoredValue::ofBlob(""), StoredValue::ofBlob("")},
                     {StoredValue::ofBlob("a"), StoredValue::ofInteger(-1)}};
    ASSERT_TRUE(sortRows(contents));
    writeStoreContents(folder.path() / "x", contents);
    EXPECT_EQ(readStoreContents(folder.path() / "x").rows, contents.rows);
}

TEST(store_file, same_contents_give_the_same_bytes)
{
    const test::TemporaryFolder folder;
    StoreContents contents = contentsOf(smallModel());
    writeStoreContents(folder.path() / "a", contents);
    std::reverse(contents.rows.begin(), contents.rows.end());
    writeStoreContents(folder.path() / "b", contents);
    EXPECT_EQ(test::readFile(folder.path() / "a"), test::readFile(folder.path() / "b"));
    EXPECT_GT(fs::file_size(folder.path() / "a"), 0U);
}

TEST(store_file, folder_that_is_not_there_cannot_take_a_file)
{
    const test::TemporaryFolder folder;
    EXPECT_EQ(statusOf([&] { writeStoreContents(folder.path() / "no" / "x", {}); }), Status::cannotCreate);
    EXPECT_EQ(statusOf([&] { writeTextFile(folder.path() / "no" / "x", "text"); }), Status::cannotCreate);
    fs::create_directory(folder.path() / "taken");
    EXPECT_EQ(statusOf([&] { writeTextFile(folder.path() / "taken", "text"); }), Status::cannotCreate);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
}

TEST(store_file, files_that_are_no_stores_are_told_apart)
{
    const test::TemporaryFolder folder;
    const fs::path file = folder.path() / "x";
    EXPECT_EQ(statusOf([&] { readStoreContents(file); }), Status::noInput);
    std::ofstream(file) << "plain text, long enough to be looked at as a database header .................";
    EXPECT_EQ(statusOf([&] { readStoreContents(file); }), Status::badData);
    fs::remove(file);
    test::Database(file, test::OpenMode::create).exec("CREATE TABLE other(key, value);");
    EXPECT_EQ(statusOf([&] { readStoreContents(file); }), Status::badData);
}

} // namespace
} // namespace velq::kit
