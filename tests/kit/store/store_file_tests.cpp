// Token stores as files: reading and writing every kind of row, whole files or none, and the checks of a store.
#include "kit/base/output.h"
#include "kit/base/status.h"
#include "kit/store/store_file.h"
#include "kit/store/store_text.h"
#include "support/database.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;

std::string bytesOf(const fs::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Store smallModel()
{
    Store model;
    model.tokens[u"free"] = {12, 1};
    model.tokens[u"home"] = {0, 9};
    model.tokens[u"\u514D\u8D39"] = {5, 5};
    model.spamMessages = 40;
    model.hamMessages = 60;
    model.priorMillionths = 400000;
    return model;
}

std::vector<std::string> shownProblems(const std::vector<StoreProblem> &problems)
{
    std::vector<std::string> shown;
    for (const StoreProblem &problem : problems) {
        shown.push_back(problem.where + ": " + problem.what);
    }
    return shown;
}

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
    EXPECT_TRUE(verifyStoreFile(file).empty());
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

TEST(store_file, same_contents_give_the_same_bytes)
{
    const test::TemporaryFolder folder;
    StoreContents contents = contentsOf(smallModel());
    writeStoreContents(folder.path() / "a", contents);
    std::reverse(contents.rows.begin(), contents.rows.end());
    writeStoreContents(folder.path() / "b", contents);
    EXPECT_EQ(bytesOf(folder.path() / "a"), bytesOf(folder.path() / "b"));
    EXPECT_GT(fs::file_size(folder.path() / "a"), 0U);
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

TEST(store_file, failed_write_leaves_the_old_file_and_no_draft)
{
    const test::TemporaryFolder folder;
    const fs::path file = folder.path() / "prob.bin";
    writeStoreContents(file, contentsOf(smallModel()));
    const std::string before = bytesOf(file);
    const auto failing = [&] {
        writeDataFile(file, "prob.bin", [](Database &) { throw Error(Status::badData, "no"); });
    };
    EXPECT_EQ(statusOf(failing), Status::badData);
    EXPECT_EQ(bytesOf(file), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
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

TEST(store_verify, lists_every_problem)
{
    StoreContents contents;
    const StoredValue good = StoredValue::ofBlob(valueOf({1, 1, 0}));
    const auto key = [](std::u16string_view units) { return StoredValue::ofBlob(bytesOfUnits(units)); };
    contents.rows = {{key(u"ab"), good},
                     {key(u"a"), good},
                     {key(u"abcde"), good},
                     {key(u".ROBX"), good},
                     {key(u"aB"), good},
                     {key(u"a!"), good},
                     {key(std::u16string_view(u"a\0", 2)), good},
                     {StoredValue::ofBlob("abc"), good},
                     {{StoredValue::Kind::text, 0, 0, "abcd"}, good},
                     {key(u"cd"), StoredValue::ofBlob("12345678")},
                     {key(u"ef"), {StoredValue::Kind::text, 0, 0, "123456789012"}},
                     {key(u"gh"), StoredValue::ofBlob(valueOf({0xFFFFFFFF, 1, 0}))},
                     {StoredValue::ofBlob(messageCountKey()), StoredValue::ofBlob(valueOf({0, 5, 0}))},
                     {StoredValue::ofBlob(priorKey()), StoredValue::ofBlob(valueOf({1000001, 0, 0}))}};
    ASSERT_TRUE(sortRows(contents));
    std::vector<std::string> problems = shownProblems(verifyContents(contents));
    std::sort(problems.begin(), problems.end());
    std::vector<std::string> expected = {
        ".MSG_CNT: no spam messages are counted: tokens of the other side have no probability",
        ".ROBX: the prior is above 1",
        ".ROBX: the prior is read only under the six bytes 2e524f425800, not under this key",
        "!blob:616263: the key has an odd number of bytes: it is never found",
        "!text:61626364: the key is text, not a blob: it is never found",
        "a: the key has 1 units; only 2 to 4 are looked up",
        "a!: the key holds a character that messages lose before they are looked up",
        "a\\u0000: the key holds a zero unit: no message does",
        "aB: the key holds a character that messages lose before they are looked up",
        "abcde: the key has 5 units; only 2 to 4 are looked up",
        "cd: the value has 8 bytes instead of 12",
        "ef: the value is text, not a blob",
        "gh: the counts add up to more than 2147483647: the probability comes out wrong",
    };
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(problems, expected);
}

TEST(store_verify, missing_message_counts_are_a_problem_and_a_missing_prior_is_none)
{
    const std::vector<std::string> problems = shownProblems(verifyContents({}));
    EXPECT_EQ(problems,
              std::vector<std::string>{".MSG_CNT: the message counts are missing: no token has a probability"});
}

TEST(store_verify, damage_of_the_file_is_found)
{
    const test::TemporaryFolder folder;
    const fs::path file = folder.path() / "prob.bin";
    Store model = smallModel();
    for (char16_t first = u'a'; first <= u'z'; ++first) {
        for (char16_t second = u'a'; second <= u'z'; ++second) {
            model.tokens[{first, second}] = {1, 2};
        }
    }
    writeStoreContents(file, contentsOf(model));
    ASSERT_TRUE(verifyStoreFile(file).empty());
    {
        std::fstream damage(file, std::ios::binary | std::ios::in | std::ios::out);
        damage.seekp(2 * 4096); // the first of the pages that hold rows
        damage << std::string(2000, '\x55');
    }
    EXPECT_FALSE(verifyStoreFile(file).empty());
}

TEST(store_verify, keys_that_may_repeat_are_a_problem)
{
    const test::TemporaryFolder folder;
    const fs::path file = folder.path() / "prob.bin";
    test::Database database(file, test::OpenMode::create);
    database.exec("CREATE TABLE velqTable(key BLOB, value BLOB); INSERT INTO velqTable VALUES(x'61006200', "
                  "x'010000000100000000000000'), (x'61006200', x'010000000100000000000000'), "
                  "(x'2E004D00530047005F0043004E005400', x'010000000100000000000000');");
    EXPECT_EQ(shownProblems(verifyStoreFile(file)),
              (std::vector<std::string>{": the keys of velqTable are not unique: training would add rows",
                                        ": a key occurs twice: only one of its rows is found"}));
}

TEST(store_statistics, counts_tokens_by_length_and_side)
{
    Store model = smallModel();
    model.tokens[u"123"] = {0, 0};
    StoreContents contents = contentsOf(model);
    contents.rows.push_back({StoredValue::ofBlob("odd"), StoredValue::ofBlob(valueOf({1, 1, 1}))});
    contents.rows.push_back({StoredValue::ofBlob(bytesOfUnits(u"xy")), StoredValue::ofBlob(valueOf({0, 700, 4}))});
    ASSERT_TRUE(sortRows(contents));
    const StoreStatistics statistics = statisticsOf(contents);
    EXPECT_EQ(statistics.tokens, 5U);
    EXPECT_EQ(statistics.tokensOfLength[0], 2U);
    EXPECT_EQ(statistics.tokensOfLength[1], 1U);
    EXPECT_EQ(statistics.tokensOfLength[2], 2U);
    EXPECT_EQ(statistics.otherRows, 1U);
    EXPECT_EQ(statistics.spamMessages, 40U);
    EXPECT_EQ(statistics.hamMessages, 60U);
    EXPECT_EQ(statistics.priorMillionths, 400000U);
    EXPECT_EQ(statistics.spamSide, 1U);      // free: 12/40 against 1/60
    EXPECT_EQ(statistics.hamSide, 2U);       // home, xy
    EXPECT_EQ(statistics.neutral, 1U);       // 5/40 against 5/60
    EXPECT_EQ(statistics.withoutCounts, 1U); // 123
    EXPECT_EQ(statistics.digitsOnly, 1U);
    EXPECT_EQ(statistics.asciiOnly, 4U);
    EXPECT_EQ(statistics.largestCount, 700U);
    EXPECT_EQ(statistics.withReserved, 1U);
}

} // namespace
} // namespace velq::kit
