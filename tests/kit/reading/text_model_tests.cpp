// The in-memory reading of messages: filtering, segmentation, scoring and rating, on invented stores.
#include "kit/reading/text_model.h"

#include <cmath>
#include <gsl/gsl_sf_gamma.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

Store storeWith(std::initializer_list<std::pair<const std::u16string, TokenStats>> tokens)
{
    Store store;
    for (const auto &token : tokens) {
        store.tokens.insert(token);
    }
    store.spamMessages = 100;
    store.hamMessages = 100;
    store.priorMillionths = 400000;
    return store;
}

std::vector<std::u16string> segmented(const Store &store, std::u16string_view text)
{
    std::vector<std::u16string> tokens;
    for (const PackedToken token : segmentText(indexStore(store), text)) {
        tokens.push_back(unpackToken(token));
    }
    return tokens;
}

// Tokens aa, ab, ac, ...: distinct pairs that cannot overlap one another when written one after the other.
std::u16string numberedPair(std::size_t number)
{
    return {static_cast<char16_t>(u'\u4E00' + number), u'\u5000'};
}

TEST(text_model, filter_drops_punctuation_and_isolated_letters)
{
    const std::vector<std::pair<std::u16string, std::u16string>> cases = {
        {u"", u""},
        {u"hi!!! ok", u"hiok"},
        {u"Hi!!! ok", u"hok"},
        {u"Ab", u"a"},
        {u"AB", u""},
        {u"a!b", u""},
        {u"a", u"a"},
        {u"A", u""},
        {u"138-1234-5678", u"13812345678"},
        {u"a,b & 5", u",&5"},
        {u"caf\u00E9s", u"caf"},
        {u"\u4E2D\uFF0C\u6587\u3002\u2605", u"\u4E2D\u6587"},
        {u"line\r\nnext", u"linenext"},
    };
    for (const auto &[body, filtered] : cases) {
        EXPECT_EQ(filterText(body), filtered) << std::string(body.begin(), body.end());
    }
}

TEST(text_model, filter_stops_at_a_zero_unit)
{
    EXPECT_EQ(filterText(std::u16string_view(u"left\0right", 10)), u"left");
}

TEST(text_model, digit_run_takes_seven_ascii_digits)
{
    EXPECT_FALSE(hasDigitRun(u"123456"));
    EXPECT_TRUE(hasDigitRun(u"1234567"));
    EXPECT_FALSE(hasDigitRun(u"123a4567"));
    EXPECT_FALSE(hasDigitRun(u"\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17"));
}

TEST(text_model, packing_keeps_every_unit)
{
    for (const std::u16string token : {u"ab", u"\u4E2D\u6587", u"a\uFFFF1z", u"xyz"}) {
        EXPECT_EQ(unpackToken(packToken(token)), token);
    }
}

TEST(text_model, segmentation_takes_the_longest_match_from_the_left)
{
    const Store store = storeWith({{u"ab", {1, 1}}, {u"abcd", {1, 1}}, {u"bc", {1, 1}}, {u"cde", {1, 1}}});
    EXPECT_EQ(segmented(store, u"abcdx"), (std::vector<std::u16string>{u"abcd"}));
    EXPECT_EQ(segmented(store, u"abcex"), (std::vector<std::u16string>{u"ab"}));
    EXPECT_EQ(segmented(store, u"xbcabcde"), (std::vector<std::u16string>{u"bc", u"abcd"}));
    EXPECT_EQ(segmented(store, u"ababab"), (std::vector<std::u16string>{u"ab"}));
    EXPECT_TRUE(segmented(store, u"a").empty());
    EXPECT_TRUE(segmented(store, u"").empty());
}

TEST(text_model, segmentation_counts_twenty_nine_tokens)
{
    Store store = storeWith({});
    std::u16string text;
    for (std::size_t i = 0; i < 40; ++i) {
        store.tokens[numberedPair(i)] = {1, 1};
        text += numberedPair(i);
    }
    const std::vector<std::u16string> tokens = segmented(store, text);
    ASSERT_EQ(tokens.size(), mostTokens);
    EXPECT_EQ(tokens.front(), numberedPair(0));
    EXPECT_EQ(tokens.back(), numberedPair(28));
}

TEST(text_model, probability_is_smoothed_towards_the_prior)
{
    EXPECT_DOUBLE_EQ(tokenProbability({0, 0}, 100, 100, 0.4), 0.4);
    EXPECT_DOUBLE_EQ(tokenProbability({8, 1}, 100, 100, 0.4), (9 * (8.0 / 9) + 0.0178 * 0.4) / 9.0178);
    EXPECT_DOUBLE_EQ(tokenProbability({4, 4}, 400, 100, 0.4), (8 * 0.2 + 0.0178 * 0.4) / 8.0178);
    EXPECT_TRUE(std::isnan(tokenProbability({0, 3}, 0, 100, 0.4)));
}

TEST(text_model, only_probabilities_far_from_one_half_count)
{
    EXPECT_TRUE(probabilityCounts(0.88));
    EXPECT_TRUE(probabilityCounts(0.12));
    EXPECT_FALSE(probabilityCounts(0.87));
    EXPECT_FALSE(probabilityCounts(0.13));
    EXPECT_FALSE(probabilityCounts(0.5));
    EXPECT_FALSE(probabilityCounts(std::nan("")));
}

TEST(text_model, chi_square_tail_equals_the_incomplete_gamma_function)
{
    for (const std::size_t halfDegrees : {1U, 2U, 7U, 29U}) {
        for (const double halfStatistic : {0.001, 0.5, 2.0, 9.0, 30.0, 80.0, 300.0}) {
            const double expected = gsl_sf_gamma_inc_Q(static_cast<double>(halfDegrees), halfStatistic);
            EXPECT_NEAR(chiSquareTail(halfDegrees, halfStatistic), expected, 1e-12 + expected * 1e-10)
                << halfDegrees << " " << halfStatistic;
        }
    }
    EXPECT_EQ(chiSquareTail(3, 0), 1);
    EXPECT_EQ(chiSquareTail(3, 5000), 0);
}

TEST(text_model, one_counted_token_gives_its_own_probability)
{
    EXPECT_NEAR(combineTails(1, -std::log(1 - 0.95), -std::log(0.95), 0.4), 0.95, 1e-12);
    EXPECT_EQ(combineTails(0, 0, 0, 0.4), 0.4);
}

TEST(text_model, rating_follows_the_rules_around_the_classifier)
{
    const Store store = storeWith({{u"win", {40, 1}},
                                   {u"cash", {40, 1}},
                                   {u"free", {40, 1}},
                                   {u"home", {1, 40}},
                                   {u"soon", {1, 40}},
                                   {u"love", {1, 40}},
                                   {u"the", {5, 5}}});
    struct Case {
        std::u16string body;
        Rating rating;
        std::size_t tokens;
    };
    const std::vector<Case> cases = {
        {u"winfre", Rating::ham, 0},                                    // unread
        {u"wincash", Rating::unsure, 2},                                // too few tokens, however short
        {u"wincash 1234567", Rating::unsure, 2},                        // too few tokens, whatever the digits
        {u"win free cash", Rating::spam, 3},                            //
        {u"home soon love", Rating::ham, 3},                            //
        {u"win free home soon qqqqqqqqqq", Rating::unsure, 4},          // evidence on both sides
        {u"win free home soon 123-45-67 qqq", Rating::spam, 4},         // the same with a run of digits
        {u"win free home soon", Rating::ham, 4},                        // the same in a short text
        {u"win win the home zz the qqqqqqqqqqqqqqq", Rating::unsure, 3} // distinct tokens
    };
    for (const Case &item : cases) {
        const TextVerdict verdict = rateText(store, item.body);
        const std::string shown(item.body.begin(), item.body.end());
        EXPECT_EQ(static_cast<int>(verdict.rating), static_cast<int>(item.rating)) << shown << verdict.spamicity;
        EXPECT_EQ(verdict.tokens, item.tokens) << shown;
    }
}

TEST(text_model, message_without_evidence_gets_the_prior)
{
    Store store = storeWith({{u"the", {5, 5}}, {u"and", {5, 5}}, {u"for", {5, 5}}});
    const std::u16string body = u"the xxxxxxx and yyyyyyy for";
    EXPECT_DOUBLE_EQ(rateText(store, body).spamicity, 0.4);
    EXPECT_EQ(rateText(store, body).rating, Rating::ham);
    store.priorMillionths = 0;
    EXPECT_DOUBLE_EQ(rateText(store, body).spamicity, 0.52);
    EXPECT_EQ(rateText(store, body).rating, Rating::unsure);
}

TEST(text_model, training_adds_each_token_and_the_message_once)
{
    StoreIndex index = indexStore(storeWith({{u"win", {40, 1}}, {u"the", {5, 5}}}));
    trainFiltered(index, u"winthewin", true);
    EXPECT_EQ(index.tokens.at(packToken(u"win")), (TokenStats{41, 1}));
    EXPECT_EQ(index.tokens.at(packToken(u"the")), (TokenStats{6, 5}));
    trainFiltered(index, u"the", false);
    EXPECT_EQ(index.tokens.at(packToken(u"the")), (TokenStats{6, 6}));
    EXPECT_EQ(index.spamMessages, 101U);
    EXPECT_EQ(index.hamMessages, 101U);
}

} // namespace
} // namespace velq::kit
