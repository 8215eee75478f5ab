// What is found wrong with token stores, and their figures.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/store/store_check.h"
#include "store_helpers.h"
#include "support/database.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;

TEST(store_check, good_store_has_no_problem)
{
    const test::TemporaryFolder folder;
    writeStoreContents(folder.path() / "prob.bin", contentsOf(smallModel()));
    EXPECT_TRUE(verifyStoreFile(folder.path() / "prob.bin").empty());
}

TEST(store_check, lists_every_problem)
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
    std::vector<std::string> problems = shown(verifyContents(contents));
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

TEST(store_check, missing_message_counts_are_a_problem_and_a_missing_prior_is_none)
{
    const std::vector<std::string> problems = shown(verifyContents({}));
    EXPECT_EQ(problems,
              std::vector<std::string>{".MSG_CNT: the message counts are missing: no token has a probability"});
}

TEST(store_check, damage_of_the_file_is_found)
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

TEST(store_check, keys_that_may_repeat_are_a_problem)
{
    const test::TemporaryFolder folder;
    const fs::path file = folder.path() / "prob.bin";
    test::Database database(file, test::OpenMode::create);
    database.exec("CREATE TABLE velqTable(key BLOB, value BLOB); INSERT INTO velqTable VALUES(x'61006200', "
                  "x'010000000100000000000000'), (x'61006200', x'010000000100000000000000'), "
                  "(x'2E004D00530047005F0043004E005400', x'010000000100000000000000');");
    EXPECT_EQ(shown(verifyStoreFile(file)),
              (std::vector<std::string>{": the keys of velqTable are not unique: training would add rows",
                                        ": a key occurs twice: only one of its rows is found"}));
}

TEST(store_check, statistics_count_tokens_by_length_and_side)
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

TEST(store_check, repeated_key_is_named_where_one_row_would_be_lost)
{
    const StoredValue value = StoredValue::ofBlob(valueOf({1, 1, 0}));
    StoreContents contents{
        {{StoredValue::ofBlob(bytesOfUnits(u"ab")), value}, {StoredValue::ofBlob(bytesOfUnits(u"cd")), value}}};
    EXPECT_NO_THROW(checkKeysAreUnique(contents, "x.bin"));
    contents.rows.push_back(contents.rows.back());
    EXPECT_EQ(refusalOf([&contents] { checkKeysAreUnique(contents, "x.bin"); }),
              "x.bin: the key cd occurs twice, and one of its rows would be lost; build the store anew");
}

} // namespace
} // namespace velq::kit
