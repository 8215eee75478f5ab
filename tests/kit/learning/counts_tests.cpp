// The counts that stand for log odds.
#include "kit/learning/counts.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string_view>

namespace velq::kit {
namespace {

TokenStats countsOf(double lean, double spamShare, double hamShare)
{
    return storeOf({{packToken(u"abc"), lean, spamShare, hamShare}}).tokens.at(u"abc");
}

double leanOf(const TokenStats &counts)
{
    return std::log(static_cast<double>(counts.spam) / counts.ham);
}

TEST(counts, spam_counts_have_the_tokens_share_of_the_spam_messages)
{
    const Store store = storeOf({{packToken(u"abc"), -2.5, 0.01, 0.2}});
    EXPECT_EQ(store.spamMessages, store.hamMessages);
    EXPECT_EQ(store.tokens.at(u"abc").spam, std::round(0.01 * store.spamMessages));
}

TEST(counts, odds_are_at_least_those_asked_for)
{
    for (const double lean : {2.05, 2.13, 3.0, 4.3}) {
        for (const double share : {0.0001, 0.003, 0.2, 0.9}) {
            EXPECT_GE(leanOf(countsOf(lean, share, 0.001)), lean);
            EXPECT_LE(leanOf(countsOf(-lean, share, 0.001)), -lean);
        }
    }
    EXPECT_NEAR(leanOf(countsOf(3, 0.2, 0.001)), 3, 0.02) << "and hardly more where counts are large";
    EXPECT_NEAR(leanOf(countsOf(-3, 0.2, 0.001)), -3, 0.02);
}

TEST(counts, spam_token_that_is_not_too_frequent_gives_way_to_three_corrections)
{
    const StoreTotals totals = totalsOf(storeOf({}));
    const auto countsAfterCorrections = [&](double spamShare) {
        TokenStats counts = countsOf(2.13, spamShare, 0.001);
        EXPECT_TRUE(probabilityCounts(tokenProbability(counts, totals)));
        counts.ham += 3;
        return probabilityCounts(tokenProbability(counts, totals));
    };
    EXPECT_FALSE(countsAfterCorrections(0.002));
    EXPECT_FALSE(countsAfterCorrections(0.025)) << "its counts are as low as that asks for";
    EXPECT_TRUE(countsAfterCorrections(0.03)) << "which may halve them at most";
    EXPECT_EQ(countsOf(2.13, 0.1, 0.001).spam, 800U);
}

TEST(counts, filling_token_stays_neutral_and_known_to_both_classes)
{
    const TokenStats even = countsOf(0, 0.1, 0.1);
    EXPECT_EQ(even.spam, even.ham);
    const TokenStats uneven = countsOf(0, 0.1, 0.9);
    EXPECT_EQ(uneven.ham, 3 * uneven.spam);
    const TokenStats rare = countsOf(0, 0.000001, 0.000001);
    EXPECT_EQ(rare, (TokenStats{1, 1}));
}

TEST(counts, empty_store_records_its_messages_and_rates_unknown_text_as_ham)
{
    const Store store = emptyStore({3, 5});
    EXPECT_TRUE(store.tokens.empty());
    EXPECT_EQ(store.spamMessages, 3U);
    EXPECT_EQ(store.hamMessages, 5U);
    EXPECT_LT(store.priorMillionths, hamCutoff * 1000000);
}

TEST(counts, added_tokens_have_their_log_odds_among_the_stores_own_message_counts)
{
    Store store = emptyStore({1000, 4000});
    store.tokens[u"old"] = {7, 9};
    addTokens(
        store,
        {{packToken(u"spam"), 2.5, 0.1, 0.01}, {packToken(u"ham"), -2.5, 0.01, 0.1}, {packToken(u"any"), 0, 0.1, 0.1}});
    EXPECT_EQ(store.tokens.at(u"old"), (TokenStats{7, 9}));
    const StoreTotals totals = totalsOf(store);
    const auto lean = [&](std::u16string_view token) {
        const double probability = tokenProbability(store.tokens.find(token)->second, totals);
        return std::log(probability / (1 - probability));
    };
    EXPECT_NEAR(lean(u"spam"), 2.5, 0.1);
    EXPECT_NEAR(lean(u"ham"), -2.5, 0.1);
    EXPECT_NEAR(lean(u"any"), 0, 0.1);
}

TEST(counts, tokens_of_a_store_are_learned_from_it_as_the_engine_takes_them)
{
    Store store = emptyStore({100, 100});
    store.tokens[u"spam"] = {50, 2};
    store.tokens[u"weak"] = {50, 20};
    const Learned learned = learnedFrom(store);
    ASSERT_EQ(learned.size(), 2U);
    EXPECT_EQ(learned[0].token, packToken(u"spam"));
    EXPECT_NEAR(learned[0].lean, std::log(25), 0.1);
    EXPECT_EQ(learned[0].spamShare, 0.5);
    EXPECT_EQ(learned[1].lean, 0) << "it does not count";
}

} // namespace
} // namespace velq::kit
