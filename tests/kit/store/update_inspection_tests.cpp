// What is said of update files beforehand, against what the engine's own merge makes of them.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/store/probability_update.h"
#include "kit/store/update_inspection.h"
#include "store_helpers.h"
#include "support/engine_session.h"
#include "velq.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;
using test::Installation;

TEST(update_inspection, tells_new_tokens_from_known_ones)
{
    const Installation installation;
    replaceStore(installation, storeOf(oldStore));
    const fs::path update = installation.folder() / "update.db";
    writeProbabilityUpdate(update, differenceOf(storeOf(oldStore), storeOf(newStore)).rows);
    const UpdateReport report = inspectUpdate(update, installation.dataFile("prob.bin"), {});
    EXPECT_TRUE(report.hasTokens);
    EXPECT_FALSE(report.hasNumbers);
    EXPECT_EQ(report.tokenRows, 10U);
    EXPECT_EQ(report.newTokens, 3U);
    EXPECT_EQ(report.knownTokens, 7U);
    EXPECT_TRUE(report.problems.empty());
    EXPECT_TRUE(report.remarks.empty());
}

TEST(update_inspection, finds_counts_that_would_wrap)
{
    const Installation installation;
    replaceStore(installation, storeOf("tokens\ndown\t2\t9\nhigh\t2000000000\t1\n"));
    const fs::path update = installation.folder() / "update.db";
    const auto wraps = [&](const ProbabilityRow &row) {
        writeProbabilityUpdate(update, {row});
        return shown(inspectUpdate(update, installation.dataFile("prob.bin"), {}).wraps);
    };
    EXPECT_EQ(wraps({bytesOfUnits(u"down"), {static_cast<std::uint32_t>(-7), 1, 0}}),
              (std::vector<std::string>{"row 1 (down): the counts become 4294967291 spam, 10 ham: the store has less "
                                        "than the update takes away"}));
    EXPECT_EQ(wraps({bytesOfUnits(u"high"), {200000000, 0, 0}}),
              (std::vector<std::string>{
                  "row 1 (high): the counts become 2200000000 spam, 1 ham: more than the engine can add up"}));
    EXPECT_EQ(wraps({bytesOfUnits(u"new1"), {static_cast<std::uint32_t>(-7), 0, 0}}),
              (std::vector<std::string>{
                  "row 1 (new1): the counts become 4294967289 spam, 0 ham: more than the engine can add up"}));
    EXPECT_TRUE(
        wraps({bytesOfUnits(u"down"), {static_cast<std::uint32_t>(-2), static_cast<std::uint32_t>(-9), 0}}).empty());
    EXPECT_TRUE(wraps({bytesOfUnits(u"high"), {100000000, 5, 0}}).empty());
}

TEST(update_inspection, tells_whether_a_merge_changes_the_store)
{
    const Installation installation;
    replaceStore(installation, storeOf("tokens\ndown\t2\t9\n"));
    const fs::path update = installation.folder() / "update.db";
    const auto changes = [&](const std::vector<ProbabilityRow> &rows) {
        writeProbabilityUpdate(update, rows);
        return inspectUpdate(update, installation.dataFile("prob.bin"), {}).changesCounts;
    };
    EXPECT_FALSE(changes({}));
    EXPECT_FALSE(changes({{bytesOfUnits(u"down"), {0, 0, 5}}}));
    EXPECT_TRUE(changes({{bytesOfUnits(u"down"), {0, 1, 0}}}));
    EXPECT_TRUE(changes({{bytesOfUnits(u"new1"), {0, 0, 0}}}));
}

TEST(update_inspection, finds_values_that_are_longer_than_the_merge_reads)
{
    const Installation installation;
    const fs::path update = installation.folder() / "update.db";
    const auto read = [&](std::size_t bytes) {
        fs::remove(update);
        test::makeProbabilityUpdate(update, {{test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("ab"))),
                                              test::Value::ofBlob(std::string(bytes, '\1'))}});
        return shown(inspectUpdate(update, {}, {}).problems);
    };
    EXPECT_EQ(read(1'048'576), std::vector<std::string>{});
    EXPECT_EQ(read(1'048'577),
              std::vector<std::string>{"row 1: the value has 1048577 bytes; at most 1048576 are read"});
    const test::EngineSession session(installation);
    const test::WideText path = test::widePath(update);
    EXPECT_EQ(VELQ_UpdateData(path.c_str(), 5, nullptr, 0), VELQ_ERR_FAILED);
}

TEST(update_inspection, finds_token_rows_on_which_the_merge_fails)
{
    const Installation installation;
    const fs::path update = installation.folder() / "update.db";
    const std::string good = test::tokenValueBytes({1, 2, 0});
    test::makeProbabilityUpdate(
        update, {{test::Value::ofBlob(test::utf16Bytes(VELQ_TEXT("ab"))), test::Value::ofBlob(good)},
                 {test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("cd"))), test::Value::ofBlob("short")},
                 {test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("x"))), test::Value::ofBlob(good)}});
    const UpdateReport report = inspectUpdate(update, {}, {});
    EXPECT_EQ(shown(report.problems), (std::vector<std::string>{"row 1: the key is not ended by a zero unit",
                                                                "row 2 (cd): the value has 5 bytes; 12 are needed"}));
    EXPECT_EQ(shown(report.remarks),
              (std::vector<std::string>{"row 3 (x): tokens have 2 to 4 units; this one is never looked up"}));
    const test::EngineSession session(installation);
    EXPECT_EQ(VELQ_UpdateData(test::widePath(update).c_str(), 1, nullptr, 0), VELQ_ERR_FAILED);
}

TEST(update_inspection, agrees_with_the_merge_about_white_numbers)
{
    const std::string thirty(30, '5');
    const auto row = [](const std::string &number) {
        return test::WhiteNumberRow{test::Value::ofBlob(test::utf16BytesWithTerminator(test::wide(number))),
                                    test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("n")))};
    };
    const std::pair<std::vector<test::WhiteNumberRow>, std::vector<std::string>> cases[] = {
        {{}, {}},
        {{row("1"), row("2")}, {}},
        {{row("1"), row("1"), row("2")}, {}},
        {{row("1"), row("2"), row("1")}, {"row 3: the last number is known already: the merge takes back all rows"}},
        {{row(thirty), row("2")}, {"row 1: the number has 30 units; at most 29 can be merged"}},
        {{row("9")}, {"row 1: the last number is known already: the merge takes back all rows"}},
    };
    for (const auto &[rows, problems] : cases) {
        const Installation installation;
        {
            test::Database list = installation.open("wn.bin");
            list.query("INSERT INTO whiteList(hidden, number, name) VALUES(1, ?, ?);",
                       {row("9").number, row("9").name});
        }
        const fs::path update = installation.folder() / "update.db";
        test::makeWhiteNumberUpdate(update, rows);
        EXPECT_EQ(shown(inspectUpdate(update, {}, installation.dataFile("wn.bin")).problems), problems);
        const test::EngineSession session(installation);
        EXPECT_EQ(VELQ_UpdateData(nullptr, 0, test::widePath(update).c_str(), 1),
                  problems.empty() ? VELQ_SUCCESS : VELQ_ERR_FAILED);
    }
}

TEST(update_inspection, other_databases_are_no_updates)
{
    const Installation installation;
    refusalOf([&installation] { inspectUpdate(installation.dataFile("prob.bin"), {}, {}); });
}

} // namespace
} // namespace velq::kit
