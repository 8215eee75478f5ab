// Differences of stores, and what the engine's own merge makes of them.
#include "kit/store/probability_update.h"
#include "store_helpers.h"
#include "support/engine_session.h"
#include "velq.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;
using test::Installation;

// The old store after the engine merged the difference to the new one.
std::string engineMerge(const StoreContents &before, const StoreContents &after)
{
    const Installation installation;
    replaceStore(installation, before);
    const fs::path update = installation.folder() / "update.db";
    writeProbabilityUpdate(update, differenceOf(before, after).rows);
    const test::EngineSession session(installation);
    EXPECT_EQ(session.result(), 0);
    EXPECT_EQ(VELQ_UpdateData(test::widePath(update).c_str(), 7, nullptr, 0), VELQ_SUCCESS);
    EXPECT_EQ(installation.version(VELQ_DATA_PROBABILITY), 7);
    return textOf(readStoreContents(installation.dataFile("prob.bin")));
}

TEST(probability_update, merged_by_the_engine_gives_the_new_stores_counts)
{
    EXPECT_EQ(engineMerge(storeOf(oldStore), storeOf(newStore)),
              "messages\t15\t18\nprior\t300000\ntokens\n"
              "down\t2\t9\nfree\t6\t1\ngone\t0\t0\nkept\t2\t2\nnew1\t4\t0\nnew2\t0\t4\t5\nres1\t2\t1\t7\n"
              "res2\t2\t1\t7\n\u514D\u8D39\t7\t7\n");
}

TEST(probability_update, says_where_the_merge_cannot_reach_the_new_store)
{
    const StoreDifference difference = differenceOf(storeOf(oldStore), storeOf(newStore));
    EXPECT_EQ(shown(difference.deviations),
              (std::vector<std::string>{
                  "res2: the reserved word stays 7 instead of 8",
                  "gone: the token cannot be removed; its counts become 0, and texts are still cut at it"}));
    EXPECT_EQ(difference.added, 3U);
    EXPECT_EQ(difference.changed, 6U); // message counts, prior, down, free, res1, res2
    EXPECT_EQ(difference.zeroed, 1U);
    EXPECT_EQ(difference.lowered, 4U); // message counts, prior, down, gone
    EXPECT_TRUE(difference.changesPrior);
}

TEST(probability_update, predicted_merge_is_the_engines)
{
    const StoreContents before = storeOf(oldStore);
    const StoreContents after = storeOf(newStore);
    EXPECT_EQ(textOf(merged(before, differenceOf(before, after).rows)), engineMerge(before, after));
}

TEST(probability_update, special_records_are_delivered_to_a_store_without_them)
{
    const std::string after = "messages\t3\t4\nprior\t250000\ntokens\nab\t1\t2\n";
    EXPECT_EQ(engineMerge(storeOf("tokens\n"), storeOf(after)), after);
    EXPECT_TRUE(differenceOf(storeOf("tokens\n"), storeOf(after)).deviations.empty());
}

TEST(probability_update, removed_prior_becomes_a_record_of_zero)
{
    const StoreContents before = storeOf("prior\t250000\ntokens\n");
    EXPECT_EQ(engineMerge(before, storeOf("tokens\n")), "prior\t0\ntokens\n");
    EXPECT_EQ(shown(differenceOf(before, storeOf("tokens\n")).deviations),
              (std::vector<std::string>{
                  ".ROBX: the record cannot be removed; it is set to 0, which the engine reads as its default"}));
}

TEST(probability_update, equal_stores_give_an_empty_update_that_merges)
{
    const StoreContents store = storeOf(oldStore);
    EXPECT_TRUE(differenceOf(store, store).rows.empty());
    EXPECT_EQ(engineMerge(store, store), oldStore);
}

TEST(probability_update, rows_that_an_update_cannot_hold_are_named)
{
    const StoreDifference difference =
        differenceOf(storeOf("tokens\nshrt\tblob:01000000\na\\u0000\t1\t1\ntext\ttext:00\n"),
                     storeOf("tokens\nshrt\t1\t0\na\\u0000\t2\t1\n!text:6162\t1\t1\n!blob:616263\t1\t1\n"
                             "long\tblob:01000000020000000300000004\ntext\t1\t1\n"));
    EXPECT_EQ(shown(difference.deviations),
              (std::vector<std::string>{"!text:6162: an update cannot hold this row: it stays missing",
                                        "a\\u0000: an update cannot hold this key: the counts stay 1 spam, 1 ham",
                                        "!blob:616263: an update cannot hold this row: it stays missing",
                                        "long: the value's form stays another: 12 bytes instead of 13",
                                        "shrt: the value's form stays another: 4 bytes instead of 12",
                                        "text: a value that is not a blob cannot be delivered"}));
    ASSERT_EQ(difference.rows.size(), 1U);
    EXPECT_EQ(difference.rows[0], (ProbabilityRow{bytesOfUnits(u"long"), {1, 2, 3}}));
}

TEST(probability_update, same_stores_give_the_same_bytes)
{
    const test::TemporaryFolder folder;
    const auto bytes = [&](const char *name) {
        writeProbabilityUpdate(folder.path() / name, differenceOf(storeOf(oldStore), storeOf(newStore)).rows);
        std::ifstream in(folder.path() / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    EXPECT_EQ(bytes("a"), bytes("b"));
}

} // namespace
} // namespace velq::kit
