// The recipe for many messages on an invented corpus.
#include "kit/learning/weights.h"
#include "learning/invented_messages.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace velq::kit {
namespace {

TEST(weights, tokens_lean_to_the_class_that_they_stand_in)
{
    const Learned learned = learnByWeights(makeGroup(filteredCorpus(narrowCorpus(320, 1)), {}), 1);
    std::size_t counted = 0;
    for (const LearnedToken &token : learned) {
        if (token.lean != 0) {
            ++counted;
            EXPECT_GE(std::fabs(token.lean), leastLean);
            EXPECT_LE(std::fabs(token.lean), greatestLean);
        }
        const double ratio = token.spamShare / token.hamShare;
        EXPECT_FALSE(token.lean > 0 && ratio < 0.5) << token.token;
        EXPECT_FALSE(token.lean < 0 && ratio > 2) << token.token;
    }
    EXPECT_GT(counted, 20U);
}

TEST(weights, what_other_groups_learned_is_not_given_again)
{
    const std::vector<FilteredText> messages = filteredCorpus(wideCorpus(240, 2));
    const Learned free = learnByWeights(makeGroup(messages, {}), 1);
    ASSERT_FALSE(free.empty());
    const Learned before = {{free.front().token, 4, 0.5, 0.1}};
    for (const LearnedToken &token : learnByWeights(makeGroup(messages, {before, {}}), 1)) {
        EXPECT_NE(token.token, before.front().token);
    }
}

} // namespace
} // namespace velq::kit
