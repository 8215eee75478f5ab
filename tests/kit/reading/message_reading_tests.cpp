// The one reading of a message: its tokens, scores, and steps with their limits, by a store that is only a table.
#include "bfilter/VELQ_Gamma.h"
#include "kit/reading/message_reading.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

struct Table {
    StoreTotals given{100, 100, 0.4};
    std::map<std::u16string, TokenStats> tokens;
    int asked = 0;

    StoreTotals totals()
    {
        ++asked;
        return given;
    }
    const TokenStats *find(PackedToken token)
    {
        ++asked;
        const auto found = tokens.find(unpackToken(token));
        return found == tokens.end() ? nullptr : &found->second;
    }
};

// Tokens without evidence: the score is the prior.
Table neutralTable(double prior)
{
    return {{100, 100, prior}, {{u"aa", {5, 5}}, {u"bb", {5, 5}}, {u"cc", {5, 5}}}};
}

std::u16string padded(std::u16string_view text, std::size_t units)
{
    return std::u16string(text) + std::u16string(units - text.size(), u'\u4E00');
}

struct Verdict {
    Rating rating;
    DecidingStep step;

    friend bool operator==(const Verdict &, const Verdict &) = default;
};

ReadToken weighed(double probability, bool counted)
{
    ReadToken token;
    token.probability = probability;
    token.counted = counted;
    return token;
}

Verdict verdictOf(Table table, std::u16string_view filtered)
{
    const Reading reading = readMessage(filtered, table);
    return {reading.rating, reading.step};
}

TEST(message_reading, tokens_that_begin_alike_have_other_hashes_in_32_bits)
{
    std::set<std::uint32_t> hashes;
    std::size_t tokens = 0;
    for (const std::u16string_view begin : {u"ab", u"\u4E2D\u6587"}) {
        for (char16_t third = u'a'; third <= u'z'; ++third) {
            for (char16_t fourth = u'a'; fourth <= u'z'; ++fourth) {
                hashes.insert(
                    static_cast<std::uint32_t>(PackedTokenHash()(packToken(std::u16string(begin) + third + fourth))));
                ++tokens;
            }
        }
    }
    EXPECT_EQ(hashes.size(), tokens);
}

TEST(message_reading, packing_keeps_every_unit)
{
    for (const std::u16string token : {u"ab", u"\u4E2D\u6587", u"a\uFFFF1z", u"xyz"}) {
        EXPECT_EQ(unpackToken(packToken(token)), token);
    }
}

TEST(message_reading, gives_each_different_token_where_it_stands_first)
{
    Table table;
    table.tokens = {{u"ab", {1, 2}}, {u"abcd", {3, 4}}, {u"bc", {5, 6}}};
    const std::u16string text = u"xabcdbcyabcdab";
    const Reading reading = readMessage(text, table);
    ASSERT_EQ(reading.tokens.size(), 3U);
    EXPECT_EQ(reading.tokens[0].text(), u"abcd");
    EXPECT_EQ(reading.tokens[0].position, 1U);
    EXPECT_EQ(reading.tokens[0].counts, (TokenStats{3, 4}));
    EXPECT_EQ(reading.tokens[1].text(), u"bc");
    EXPECT_EQ(reading.tokens[1].position, 5U);
    EXPECT_EQ(reading.tokens[2].text(), u"ab");
    EXPECT_EQ(reading.tokens[2].position, 12U);
    for (const ReadToken &token : reading.tokens) {
        EXPECT_EQ(token.probability, tokenProbability(token.counts, table.given));
    }
}

TEST(message_reading, tokens_have_two_to_four_units)
{
    Table table;
    table.tokens = {{u"a", {1, 1}}, {u"bc", {1, 1}}, {u"defg", {1, 1}}, {u"hijkl", {1, 1}}};
    const Reading reading = readMessage(u"abcdefghijkl", table);
    ASSERT_EQ(reading.tokens.size(), 2U);
    EXPECT_EQ(reading.tokens[0].text(), u"bc");
    EXPECT_EQ(reading.tokens[1].text(), u"defg");
}

TEST(message_reading, takes_twenty_nine_tokens)
{
    for (const std::size_t known : {28U, 29U, 30U}) {
        Table table;
        std::u16string text;
        for (std::size_t i = 0; i < known; ++i) {
            const std::u16string token = {static_cast<char16_t>(u'\u4E00' + i), u'\u5000'};
            table.tokens[token] = {40, 1};
            text += token;
        }
        const Reading reading = readMessage(text, table);
        EXPECT_EQ(reading.tokens.size(), std::min<std::size_t>(known, 29));
        EXPECT_EQ(reading.score->counted, std::min<std::size_t>(known, 29));
        EXPECT_EQ(reading.tokens.back().position, 2 * std::min<std::size_t>(known, 29) - 2);
    }
}

// ---- Scores ----

TEST(message_reading, probability_is_smoothed_towards_the_prior)
{
    const StoreTotals even{100, 100, 0.4};
    EXPECT_DOUBLE_EQ(tokenProbability({0, 0}, even), 0.4);
    EXPECT_DOUBLE_EQ(tokenProbability({8, 1}, even), (9 * (8.0 / 9) + 0.0178 * 0.4) / 9.0178);
    EXPECT_DOUBLE_EQ(tokenProbability({4, 4}, {400, 100, 0.4}), (8 * 0.2 + 0.0178 * 0.4) / 8.0178);
    EXPECT_TRUE(std::isnan(tokenProbability({0, 3}, {0, 100, 0.4})));
}

TEST(message_reading, only_probabilities_far_from_one_half_count)
{
    EXPECT_TRUE(probabilityCounts(0.88));
    EXPECT_TRUE(probabilityCounts(0.12));
    EXPECT_FALSE(probabilityCounts(0.87));
    EXPECT_FALSE(probabilityCounts(0.13));
    EXPECT_FALSE(probabilityCounts(0.5));
    EXPECT_FALSE(probabilityCounts(std::nan("")));
}

TEST(message_reading, chi_square_tail_equals_the_incomplete_gamma_function)
{
    for (const std::size_t halfDegrees : {1U, 2U, 7U, 29U}) {
        for (const double halfStatistic : {0.001, 0.5, 2.0, 9.0, 30.0, 80.0, 300.0}) {
            const double expected = upper_gamma(static_cast<double>(halfDegrees), halfStatistic);
            EXPECT_NEAR(chiSquareTail(halfDegrees, halfStatistic), expected, 1e-12 + expected * 1e-10)
                << halfDegrees << " " << halfStatistic;
        }
    }
    EXPECT_EQ(chiSquareTail(3, 0), 1);
    EXPECT_EQ(chiSquareTail(3, 5000), 0);
}

TEST(message_reading, one_counted_token_gives_its_own_probability)
{
    const ReadToken counted = weighed(0.95, true);
    const ReadToken idle = weighed(0.6, false);
    const ClassifierScore score = scoreOf({idle, counted, idle}, 0.4);
    EXPECT_EQ(score.counted, 1U);
    EXPECT_NEAR(score.spamTail, 0.05, 1e-12); // of two degrees of freedom: exp(-x)
    EXPECT_NEAR(score.hamTail, 0.95, 1e-12);
    EXPECT_NEAR(score.spamicity, 0.95, 1e-12);
}

TEST(message_reading, evidence_of_several_tokens_adds_up)
{
    const ClassifierScore score = scoreOf({weighed(0.9, true), weighed(0.2, true)}, 0.4);
    EXPECT_EQ(score.counted, 2U);
    const double spamTail = upper_gamma(2, -std::log(0.1) - std::log(0.8));
    const double hamTail = upper_gamma(2, -std::log(0.9) - std::log(0.2));
    EXPECT_NEAR(score.spamTail, spamTail, 1e-12);
    EXPECT_NEAR(score.hamTail, hamTail, 1e-12);
    EXPECT_NEAR(score.spamicity, (1 + hamTail - spamTail) / 2, 1e-12);
}

TEST(message_reading, without_counted_tokens_the_score_is_the_prior)
{
    const ClassifierScore score = scoreOf({weighed(0.6, false)}, 0.4);
    EXPECT_EQ(score.counted, 0U);
    EXPECT_EQ(score.spamicity, 0.4);
    EXPECT_EQ(score.spamTail, 1);
    EXPECT_EQ(score.hamTail, 1);
}

// ---- Steps ----

TEST(message_reading, six_units_are_ham_unread_and_seven_are_read)
{
    Table table = neutralTable(0.95);
    const Reading unread = readMessage(u"aabbcc", table);
    EXPECT_EQ(unread.rating, Rating::ham);
    EXPECT_EQ(unread.step, DecidingStep::length);
    EXPECT_TRUE(unread.tokens.empty());
    EXPECT_FALSE(unread.score);
    EXPECT_EQ(table.asked, 0);
    EXPECT_EQ(verdictOf(table, u"aabbccd"), (Verdict{Rating::spam, DecidingStep::classifier}));
}

TEST(message_reading, two_tokens_are_too_few_whatever_else_the_text_has)
{
    const Table table = neutralTable(0.95);
    const Verdict few{Rating::unsure, DecidingStep::fewTokens};
    EXPECT_EQ(verdictOf(table, u"xxxxxxxx"), few);
    EXPECT_EQ(verdictOf(table, u"aabb1234567"), few);
    EXPECT_EQ(verdictOf(table, u"aabbaabb"), few) << "different tokens";
    EXPECT_EQ(verdictOf(table, u"aabbccaabb"), (Verdict{Rating::spam, DecidingStep::classifier}));
    Table copy = table;
    EXPECT_FALSE(readMessage(u"aabbxxxxxx", copy).score);
}

TEST(message_reading, classifier_calls_spam_from_the_upper_cutoff_and_ham_up_to_the_lower)
{
    const std::u16string text = padded(u"aabbcc", 21);
    const Verdict unsure{Rating::unsure, DecidingStep::classifier};
    EXPECT_EQ(verdictOf(neutralTable(0.9), text), (Verdict{Rating::spam, DecidingStep::classifier}));
    EXPECT_EQ(verdictOf(neutralTable(std::nextafter(0.9, 0)), text), unsure);
    EXPECT_EQ(verdictOf(neutralTable(std::nextafter(0.45, 1)), text), unsure);
    EXPECT_EQ(verdictOf(neutralTable(0.45), text), (Verdict{Rating::ham, DecidingStep::classifier}));
}

TEST(message_reading, seven_digits_on_end_decide_where_the_classifier_is_unsure)
{
    const std::u16string six = padded(u"aabbcc123456x7", 30);
    const std::u16string seven = padded(u"aabbcc1234567", 30);
    EXPECT_EQ(verdictOf(neutralTable(0.6), six), (Verdict{Rating::unsure, DecidingStep::classifier}));
    EXPECT_EQ(verdictOf(neutralTable(0.6), seven), (Verdict{Rating::spam, DecidingStep::digitRun}));
    EXPECT_EQ(verdictOf(neutralTable(0.4), seven), (Verdict{Rating::ham, DecidingStep::classifier}));
    EXPECT_EQ(verdictOf(neutralTable(0.6), u"aabbcc1234567"), (Verdict{Rating::spam, DecidingStep::digitRun}))
        << "before the short text";
}

TEST(message_reading, twenty_units_are_short_where_the_classifier_is_unsure)
{
    EXPECT_EQ(verdictOf(neutralTable(0.6), padded(u"aabbcc", 20)), (Verdict{Rating::ham, DecidingStep::shortText}));
    EXPECT_EQ(verdictOf(neutralTable(0.6), padded(u"aabbcc", 21)), (Verdict{Rating::unsure, DecidingStep::classifier}));
    EXPECT_EQ(verdictOf(neutralTable(0.95), padded(u"aabbcc", 20)), (Verdict{Rating::spam, DecidingStep::classifier}));
}

TEST(message_reading, score_that_is_no_number_leaves_the_text_to_the_later_steps)
{
    const double nan = std::nan("");
    EXPECT_EQ(verdictOf(neutralTable(nan), padded(u"aabbcc", 21)), (Verdict{Rating::unsure, DecidingStep::classifier}));
    EXPECT_EQ(verdictOf(neutralTable(nan), padded(u"aabbcc", 20)), (Verdict{Rating::ham, DecidingStep::shortText}));
}

} // namespace
} // namespace velq::kit
