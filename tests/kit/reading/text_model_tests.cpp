// Messages read by stores in memory: segmentation, rating and training, on invented stores.
#include "kit/reading/text_model.h"

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
        const Reading reading = rateText(store, item.body);
        const std::string shown(item.body.begin(), item.body.end());
        EXPECT_EQ(ratingName(reading.rating), ratingName(item.rating)) << shown;
        EXPECT_EQ(reading.tokens.size(), item.tokens) << shown;
    }
}

TEST(text_model, message_without_evidence_gets_the_prior)
{
    Store store = storeWith({{u"the", {5, 5}}, {u"and", {5, 5}}, {u"for", {5, 5}}});
    const std::u16string body = u"the xxxxxxx and yyyyyyy for";
    EXPECT_DOUBLE_EQ(rateText(store, body).score->spamicity, 0.4);
    EXPECT_EQ(rateText(store, body).rating, Rating::ham);
    store.priorMillionths = 0;
    EXPECT_DOUBLE_EQ(rateText(store, body).score->spamicity, 0.52);
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
