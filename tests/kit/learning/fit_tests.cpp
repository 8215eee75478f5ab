// The fitted log odds: where they start, which stay, and what they come out as.
#include "kit/learning/fit.h"
#include "kit/learning/learned_token.h"
#include "learning/invented_messages.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace velq::kit {
namespace {

constexpr FitCosts usualCosts = {4, 2};

TEST(fit, keeps_fixed_tokens_and_comes_out_in_range)
{
    std::vector<double> leans = {2.1, 0.5, -2.1, -0.5, 3.0};
    fitLeans(segmentedTexts(), {0, 0, 0, 0, 1}, usualCosts, 1, leans);
    EXPECT_EQ(leans[4], 3.0);
    EXPECT_GE(leans[0], leastLean);
    EXPECT_LE(leans[2], -leastLean);
    for (const double lean : leans) {
        EXPECT_TRUE(lean == 0 || (std::fabs(lean) >= leastLean && std::fabs(lean) <= greatestHamLean)) << lean;
    }
}

TEST(fit, starts_light_weights_as_neutral_and_heavy_ones_as_counting)
{
    EXPECT_EQ(leanOfWeight(0), 0);
    EXPECT_LT(leanOfWeight(0.06), 0.4);
    EXPECT_GE(leanOfWeight(0.07), leastLean);
    EXPECT_LT(leanOfWeight(0.07), leanOfWeight(0.2));
    EXPECT_LE(leanOfWeight(100), greatestHamLean);
    EXPECT_EQ(leanOfWeight(-0.2), -leanOfWeight(0.2));
}

TEST(fit, token_of_the_wrong_side_is_drawn_towards_its_class)
{
    std::vector<double> leans = {2.5, -2.2, -2.5, -2.5, 0};
    fitLeans(segmentedTexts(), {0, 0, 0, 0, 0}, usualCosts, 1, leans);
    EXPECT_GE(leans[1], 0) << "it stands in spam alone";
    EXPECT_LE(leans[2], -leastLean);
}

TEST(fit, messages_of_too_few_tokens_change_nothing)
{
    std::vector<double> leans = {2.1, -2.5};
    fitLeans({{true, false, false, {0, 1}}, {false, false, false, {0, 1}}}, {0, 0}, usualCosts, 1, leans);
    EXPECT_EQ(leans, (std::vector<double>{2.1, -2.5}));
}

// Tokens 0 and 1 stand in as much spam as ham.
std::vector<double> leansOfDoubtfulTokens(const FitCosts &costs, double spamWeight)
{
    std::vector<SegmentedText> texts;
    for (int i = 0; i < 40; ++i) {
        texts.push_back({true, false, false, {0, 1, 2}, spamWeight});
        texts.push_back({false, false, false, {0, 1, 2}});
    }
    std::vector<double> leans = {2.1, 2.1, 2.1};
    fitLeans(texts, {0, 0, 0}, costs, 1, leans);
    return leans;
}

TEST(fit, dear_blocked_ham_and_light_spam_keep_tokens_from_speaking_for_spam)
{
    EXPECT_GT(leansOfDoubtfulTokens({0.01, 0}, 1)[0], 0);
    EXPECT_LE(leansOfDoubtfulTokens({20, 0}, 1)[0], 0);
    EXPECT_LE(leansOfDoubtfulTokens({1, 0}, 0.02)[0], 0);
}

TEST(fit, no_spam_token_decides_alone)
{
    std::vector<double> leans = {2.1, 2.1, -2.1, -2.1, 0};
    fitLeans(segmentedTexts(), {0, 0, 0, 0, 0}, usualCosts, 1, leans);
    EXPECT_LE(leans[0], greatestSpamLean);
    EXPECT_LE(leans[1], greatestSpamLean);
}

} // namespace
} // namespace velq::kit
