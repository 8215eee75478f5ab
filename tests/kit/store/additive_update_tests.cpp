// Updates that only add: what they reach, what they leave, and what the engine's own merge makes of them.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/reading/message_reading.h"
#include "kit/store/additive_update.h"
#include "store_helpers.h"
#include "support/engine_session.h"
#include "velq.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;
using test::Installation;

StoreDifference additions(const std::string &before, const std::string &after)
{
    return additionsBetween(storeOf(before), storeOf(after));
}

std::string mergedText(const std::string &before, const std::string &after)
{
    return textOf(merged(storeOf(before), additions(before, after).rows));
}

double probabilityIn(const Store &store, const std::u16string &token)
{
    return tokenProbability(store.tokens.at(token), totalsOf(store));
}

// Counts of `before` may only grow, without wrapping.
void expectOnlyAdditions(const StoreContents &before, const StoreDifference &difference)
{
    EXPECT_EQ(difference.lowered, 0U);
    EXPECT_EQ(difference.zeroed, 0U);
    const StoreContents after = merged(before, difference.rows);
    for (const StoreRow &row : before.rows) {
        const StoreRow *grown = findRow(after, row.key.bytes);
        ASSERT_NE(grown, nullptr);
        EXPECT_GE(wordsOf(*grown).spam, wordsOf(row).spam);
        EXPECT_GE(wordsOf(*grown).ham, wordsOf(row).ham);
    }
    for (const ProbabilityRow &row : difference.rows) {
        EXPECT_LE(std::uint64_t{row.words.spam} + row.words.ham, largestSum);
    }
}

// Two stores of 8,000 messages of each class whose leans differ in every way.
const char *const leans = "messages\t8000\t8000\nprior\t400000\ntokens\n"
                          "fall\t800\t90\ngone\t700\t80\nhold\t40\t400\nnote\t0\t0\nrise\t10\t100\nside\t500\t10\n"
                          "turn\t900\t20\nzero\t300\t0\n";
const char *const otherLeans = "messages\t8000\t8000\nprior\t400000\ntokens\n"
                               "come\t70\t8\nfall\t80\t9\nhold\t40\t400\nrise\t100\t10\nside\t500\t60\nturn\t2\t90\n"
                               "zero\t0\t40\n";

TEST(additive_update, brings_every_token_to_its_new_probability_and_lowers_nothing)
{
    const StoreContents before = storeOf(leans);
    const StoreDifference difference = additions(leans, otherLeans);
    expectOnlyAdditions(before, difference);
    const Store reached = modelOf(merged(before, difference.rows));
    const Store wanted = modelOf(storeOf(otherLeans));
    for (const char16_t *token : {u"come", u"fall", u"hold", u"rise", u"side", u"turn"}) {
        const double to = probabilityIn(wanted, token);
        const double is = probabilityIn(reached, token);
        EXPECT_NEAR(std::log(is / (1 - is)), std::log(to / (1 - to)), 0.02) << std::string(token, token + 4);
    }
    EXPECT_GT(difference.heavier, 0U);
    EXPECT_FALSE(difference.changesPrior);
}

TEST(additive_update, tokens_that_are_to_go_become_neutral_and_stay_so_in_training)
{
    const StoreDifference difference = additions(leans, otherLeans);
    EXPECT_EQ(difference.neutral, 2U); // gone, and note, which has no counts yet
    Store store = modelOf(merged(storeOf(leans), difference.rows));
    const std::string said = ": the token cannot be removed; it becomes neutral, and texts are still cut at it";
    const std::vector<std::string> named = shown(difference.deviations);
    for (const char16_t *token : {u"gone", u"note"}) {
        const std::string name(token, token + 4);
        EXPECT_NE(std::find(named.begin(), named.end(), name + said), named.end()) << name;
        TokenStats &counts = store.tokens.at(token);
        EXPECT_EQ(counts.spam, counts.ham);
        for (const std::uint32_t each : {std::uint32_t{0}, std::uint32_t{1}}) { // 8,000 spam without it, or all with it
            TokenStats trained = counts;
            trained.spam += 8000 * each;
            StoreTotals totals = totalsOf(store);
            totals.spamMessages += 8000;
            EXPECT_FALSE(probabilityCounts(tokenProbability(trained, totals))) << name << each;
        }
    }
}

TEST(additive_update, merged_by_the_engine_is_what_is_predicted)
{
    const Installation installation;
    replaceStore(installation, storeOf(leans));
    const fs::path update = installation.folder() / "update.db";
    writeProbabilityUpdate(update, additions(leans, otherLeans).rows);
    const test::EngineSession session(installation);
    ASSERT_EQ(session.result(), 0);
    EXPECT_EQ(VELQ_UpdateData(test::widePath(update).c_str(), 7, nullptr, 0), VELQ_SUCCESS);
    EXPECT_EQ(textOf(readStoreContents(installation.dataFile("prob.bin"))), mergedText(leans, otherLeans));
}

TEST(additive_update, that_only_has_to_add_arrives_exactly)
{
    const std::string before = "messages\t10\t20\nprior\t300000\ntokens\nab\t3\t1\ncd\t0\t4\n";
    const std::string after = "messages\t20\t25\nprior\t400000\ntokens\nab\t5\t1\ncd\t0\t6\nef\t1\t0\n";
    EXPECT_EQ(mergedText(before, after), after);
    EXPECT_TRUE(additions(before, after).deviations.empty());
    EXPECT_EQ(additions(before, after).factor, 1U);
}

TEST(additive_update, equal_stores_give_an_empty_update)
{
    EXPECT_TRUE(additions(leans, leans).rows.empty());
    EXPECT_TRUE(additions("tokens\nab\t1\t1\n", "tokens\nab\t1\t1\n").rows.empty());
}

TEST(additive_update, new_store_is_taken_several_times_where_most_counts_have_fallen)
{
    const std::string before = "messages\t16000\t16000\ntokens\nab\t60\t600\ncd\t600\t60\nef\t80\t90\n";
    const std::string after = "messages\t8000\t8000\ntokens\nab\t20\t200\ncd\t200\t20\nef\t30\t30\n";
    const StoreDifference difference = additions(before, after);
    EXPECT_EQ(difference.factor, 3U);
    EXPECT_EQ(difference.heavier, 0U);
    EXPECT_EQ(mergedText(before, after), "messages\t24000\t24000\ntokens\nab\t60\t600\ncd\t600\t60\nef\t90\t90\n");
    EXPECT_TRUE(difference.deviations.empty());
}

TEST(additive_update, prior_is_raised_but_not_lowered)
{
    const std::string messages = "messages\t10\t10\n";
    const std::string tokens = "tokens\nab\t1\t1\n";
    const auto prior = [&](const std::string &before, const std::string &after) {
        return modelOf(merged(storeOf(messages + before + tokens),
                              additions(messages + before + tokens, messages + after + tokens).rows))
            .priorMillionths;
    };
    EXPECT_EQ(prior("prior\t300000\n", "prior\t400000\n"), 400000U);
    EXPECT_EQ(prior("prior\t400000\n", "prior\t300000\n"), 400000U);
    EXPECT_EQ(prior("", "prior\t300000\n"), 300000U);
    EXPECT_EQ(prior("prior\t300000\n", ""), 520000U); // the engine's own
    EXPECT_EQ(prior("prior\t600000\n", ""), 600000U);
    EXPECT_EQ(shown(additions(messages + "prior\t400000\n" + tokens, messages + "prior\t300000\n" + tokens).deviations),
              (std::vector<std::string>{
                  ".ROBX: the prior stays 0.400000 instead of 0.300000: added counts cannot lower it"}));
}

TEST(additive_update, names_what_comes_out_otherwise)
{
    const std::string before = "messages\t100\t100\ntokens\nodd\\u0000\t5\t5\nseven77\t9\t1\nsure\t9\t0\n";
    const std::string after = "messages\t100\t100\ntokens\nseven77\t3\t2\nsure\t1\t0\n";
    EXPECT_EQ(shown(additions(before, after).deviations),
              (std::vector<std::string>{"odd\\u0000: the row cannot be removed; it stays with 5 spam, 5 ham",
                                        "seven77: the counts become 9 spam, 2 ham instead of 3 spam, 2 ham",
                                        "sure: the probability becomes 0.999053 instead of 0.991605"}));
}

TEST(additive_update, counts_beyond_what_the_engine_adds_up_are_left_alone)
{
    const std::string before = "messages\t100\t100\ntokens\nhuge\t4294967290\t5\nlarg\t2147483000\t5\n";
    const std::string after = "messages\t100\t100\ntokens\nab\t1\t1\nhuge\t5\t50\n";
    const StoreDifference difference = additions(before, after);
    expectOnlyAdditions(storeOf(before), difference);
    EXPECT_EQ(wordsOf(*findRow(merged(storeOf(before), difference.rows), bytesOfUnits(u"huge"))).spam, 4294967290U);
}

TEST(additive_update, store_without_messages_of_a_class_is_refused)
{
    for (const char *messages : {"", "messages\t0\t5\n", "messages\t5\t0\n"}) {
        refusalOf([messages] { additions(leans, messages + std::string("tokens\nab\t1\t1\n")); });
    }
}

} // namespace
} // namespace velq::kit
