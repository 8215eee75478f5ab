// The weights of tokens that stand in messages of one class or of both.
#include "kit/learning/separation.h"
#include "learning/invented_messages.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace velq::kit {
namespace {

TEST(separation, weighs_tokens_by_their_class)
{
    const std::vector<double> weights = separatingWeights(segmentedTexts(), 5, 1);
    EXPECT_GT(weights[0], 0.2);
    EXPECT_GT(weights[1], 0.2);
    EXPECT_LT(weights[2], -0.2);
    EXPECT_LT(weights[3], -0.2);
    EXPECT_LT(std::fabs(weights[4]), std::fabs(weights[0]));
}

TEST(separation, token_that_stands_nowhere_weighs_nothing)
{
    const std::vector<double> weights = separatingWeights(segmentedTexts(), 7, 1);
    ASSERT_EQ(weights.size(), 7U);
    EXPECT_EQ(weights[5], 0);
    EXPECT_EQ(weights[6], 0);
}

TEST(separation, seed_decides_the_weights)
{
    EXPECT_EQ(separatingWeights(segmentedTexts(), 5, 3), separatingWeights(segmentedTexts(), 5, 3));
    EXPECT_NE(separatingWeights(segmentedTexts(), 5, 3), separatingWeights(segmentedTexts(), 5, 4));
}

// Token 5 stands in one message alone, of ham that otherwise looks like spam.
TEST(separation, one_odd_message_is_not_learned_by_heart)
{
    std::vector<SegmentedText> texts = segmentedTexts();
    texts.push_back({false, false, false, {0, 1, 5}});
    const std::vector<double> weights = separatingWeights(texts, 6, 1);
    EXPECT_LT(weights[5], 0);
    EXPECT_LT(std::fabs(weights[5]), weights[0] / 4);
}

// An undecided message with a run of digits is spam for the engine: its ham needs stronger tokens.
TEST(separation, ham_with_a_run_of_digits_asks_for_more)
{
    std::vector<SegmentedText> texts = segmentedTexts();
    const double plain = separatingWeights(texts, 5, 1)[2];
    for (SegmentedText &text : texts) {
        text.digitRun = !text.spam;
    }
    EXPECT_LT(separatingWeights(texts, 5, 1)[2], plain);
}

} // namespace
} // namespace velq::kit
