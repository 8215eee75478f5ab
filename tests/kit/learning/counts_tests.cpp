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

double oddsOf(const TokenStats &counts, const StoreTotals &totals)
{
    return counts.spam * (1.0 * totals.hamMessages / totals.spamMessages) / counts.ham;
}

double leanOf(const TokenStats &counts)
{
    return std::log(oddsOf(counts, totalsOf(storeOf({}))));
}

bool isCounted(const TokenStats &counts, const StoreTotals &totals)
{
    return probabilityCounts(tokenProbability(counts, totals));
}

TEST(counts, spam_counts_have_the_tokens_share_of_the_spam_messages)
{
    const Store store = storeOf({{packToken(u"abc"), -2.5, 0.01, 0.2}, {packToken(u"def"), 2.0, 0.01, 0.001}});
    EXPECT_NEAR(store.tokens.at(u"abc").spam, 0.01 * store.spamMessages, 1);
    EXPECT_NEAR(store.tokens.at(u"def").spam, 0.01 * store.spamMessages, 0.0005 * store.spamMessages);
}

TEST(counts, odds_are_at_least_those_asked_for)
{
    for (const double lean : {2.05, 2.13, 3.0, 4.3}) {
        for (const double share : {0.0001, 0.003, 0.2, 0.9}) {
            EXPECT_GE(leanOf(countsOf(lean, share, 0.001)), lean);
            EXPECT_LE(leanOf(countsOf(-lean, share, 0.001)), -lean);
        }
    }
    EXPECT_NEAR(leanOf(countsOf(2.1, 0.2, 0.001)), 2.1, 0.02) << "and hardly more where counts are large";
    EXPECT_NEAR(leanOf(countsOf(-3, 0.2, 0.001)), -3, 0.02);
}

TEST(counts, ham_token_that_leans_little_gives_way_to_three_corrections)
{
    const StoreTotals totals = totalsOf(storeOf({}));
    StoreTotals corrected = totals;
    corrected.spamMessages += 3;
    corrected.hamMessages -= 3;
    const auto countsAfterCorrections = [&](double lean, double spamShare) {
        TokenStats counts = countsOf(lean, spamShare, 0.01);
        EXPECT_TRUE(isCounted(counts, totals)) << lean << ", " << spamShare;
        EXPECT_GE(8.1 * counts.spam, spamShare * totals.spamMessages);
        counts.spam += 3;
        counts.ham -= 3;
        return isCounted(counts, corrected);
    };
    EXPECT_FALSE(countsAfterCorrections(-2.05, 0.0003));
    EXPECT_FALSE(countsAfterCorrections(-2.05, 0.004));
    EXPECT_FALSE(countsAfterCorrections(-2.4, 0.0009));
    EXPECT_TRUE(countsAfterCorrections(-2.4, 0.01)) << "its counts are too large for that";
    EXPECT_TRUE(countsAfterCorrections(-4, 0.0003)) << "one opinion is little against so much evidence";
    EXPECT_TRUE(countsAfterCorrections(-3.4, 0.00008)) << "that would ask for counts which the first training doubles";
}

TEST(counts, spam_token_gives_way_to_three_corrections)
{
    const StoreTotals totals = totalsOf(storeOf({}));
    StoreTotals corrected = totals;
    corrected.spamMessages -= 3;
    corrected.hamMessages += 3;
    for (const double lean : {2.0, 2.05, 2.15}) {
        for (const double spamShare : {0.0003, 0.002, 0.01, 0.05}) {
            TokenStats counts = countsOf(lean, spamShare, 0.001);
            EXPECT_TRUE(isCounted(counts, totals)) << lean << ", " << spamShare;
            EXPECT_GE(8.1 * counts.spam, spamShare * totals.spamMessages) << "for that its counts may be an eighth";
            counts.spam -= 3;
            counts.ham += 3;
            EXPECT_FALSE(isCounted(counts, corrected)) << lean << ", " << spamShare;
        }
    }
    EXPECT_NEAR(countsOf(2.15, 0.2, 0.001).spam, 0.2 * totals.spamMessages, 10) << "more would be asked of this one";
}

TEST(counts, trained_verdicts_and_trusted_senders_leave_a_vote_for_spam_what_it_is)
{
    const StoreTotals totals = totalsOf(storeOf({}));
    const TokenStats counts = countsOf(votedSpamLean, 0.01, 0.001);
    StoreTotals trained = totals;
    trained.spamMessages += 3000;
    EXPECT_TRUE(isCounted(counts, trained)) << "spam in which it does not stand";
    trained = totals;
    trained.hamMessages += 2000;
    EXPECT_LT(tokenProbability(counts, trained), spamCutoff) << "it does not decide alone";
}

TEST(counts, filling_token_stays_neutral_and_known_to_both_classes)
{
    EXPECT_EQ(leanOf(countsOf(0, 0.1, 0.1)), 0);
    EXPECT_NEAR(leanOf(countsOf(0, 0.1, 0.9)), -std::log(3), 0.01);
    EXPECT_NEAR(leanOf(countsOf(0, 0.9, 0.1)), std::log(3), 0.01);
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
