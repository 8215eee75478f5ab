// The recipe for scripts without blanks on an invented corpus.
#include "kit/learning/elimination.h"
#include "kit/learning/learned_token.h"
#include "learning/invented_messages.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace velq::kit {
namespace {

constexpr EliminationRule eliminationRule = {2000, 200, 100};

TEST(elimination, tokens_lean_to_the_class_that_they_stand_in)
{
    const Group group = makeGroup(filteredCorpus(wideCorpus(240, 1)), {});
    std::size_t counted = 0;
    for (const LearnedToken &token : collect(group, chooseByElimination(group, eliminationRule, 1))) {
        if (std::fabs(token.lean) >= leastLean) {
            ++counted;
            EXPECT_LE(std::fabs(token.lean), greatestHamLean);
            const double ratio = token.spamShare / token.hamShare;
            EXPECT_FALSE(token.lean > 0 && ratio < 0.5) << token.token;
            EXPECT_FALSE(token.lean < 0 && ratio > 2) << token.token;
        }
    }
    EXPECT_GT(counted, 10U);
}

TEST(elimination, leaves_as_many_tokens_as_asked_for_and_fillers_beside_them)
{
    const Group group = makeGroup(filteredCorpus(wideCorpus(240, 1)), {});
    for (const std::size_t most : {60U, 20U}) {
        const Choice choice = chooseByElimination(group, {2000, most, 10}, 1);
        const auto listed = std::count(choice.listed.begin(), choice.listed.end(), 1);
        const auto fillers = std::count(choice.fillers.begin(), choice.fillers.end(), 1);
        EXPECT_EQ(listed - fillers, static_cast<std::ptrdiff_t>(most));
        EXPECT_GT(fillers, 0);
        EXPECT_LE(fillers, 10);
        for (std::size_t i = 0; i < choice.listed.size(); ++i) {
            EXPECT_TRUE(choice.fillers[i] == 0 || (choice.listed[i] == 1 && choice.leans[i] == 0));
        }
    }
}

TEST(elimination, what_stands_already_is_not_given_again)
{
    const std::vector<FilteredText> messages = filteredCorpus(wideCorpus(240, 2));
    const auto learnedBeside = [&messages](const Learned &before) {
        const Group group = makeGroup(messages, {before, false, 5});
        return collect(group, chooseByElimination(group, eliminationRule, 1));
    };
    const Learned free = learnedBeside({});
    ASSERT_FALSE(free.empty());
    const Learned before = {{free.front().token, 4, 0.5, 0.1}};
    for (const LearnedToken &token : learnedBeside(before)) {
        EXPECT_NE(token.token, before.front().token);
    }
}

} // namespace
} // namespace velq::kit
