// The recipe for few messages: which sequences vote, and with what weight.
#include "kit/learning/votes.h"
#include "learning/invented_messages.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace velq::kit {
namespace {

constexpr double strictness = 2.6;

Learned votesOf(const std::vector<FilteredText> &messages)
{
    return learnByVotes(makeGroup(messages, {}), messages, strictness);
}

const LearnedToken *find(const Learned &learned, std::u16string_view token)
{
    const auto found = std::find_if(learned.begin(), learned.end(),
                                    [&](const LearnedToken &one) { return one.token == packToken(token); });
    return found == learned.end() ? nullptr : &*found;
}

TEST(votes, lean_is_cautious_about_the_class_that_a_token_is_not_seen_in)
{
    const ClassSizes sizes{100, 100};
    EXPECT_DOUBLE_EQ(cautiousLean(10, 0, sizes), std::log((10.1 / 100.2) / (0.5 / 101)));
    EXPECT_DOUBLE_EQ(cautiousLean(0, 10, sizes), std::log((1.0 / 102) / (10.1 / 100.2)));
    EXPECT_GT(cautiousLean(10, 0, {100, 1000}), cautiousLean(10, 0, sizes)) << "more ham without it says more";
    EXPECT_LT(std::fabs(cautiousLean(50, 50, sizes)), 0.1);
}

TEST(votes, every_spam_token_has_the_same_weight_and_ham_tokens_theirs_in_range)
{
    const Learned learned = votesOf(filteredCorpus(narrowCorpus(320, 1)));
    std::size_t spam = 0;
    std::size_t ham = 0;
    for (const LearnedToken &token : learned) {
        if (token.lean > 0) {
            EXPECT_EQ(token.lean, 2.13);
            EXPECT_GT(token.spamShare, token.hamShare);
            ++spam;
        } else if (token.lean < 0) {
            EXPECT_LE(token.lean, -leastLean);
            EXPECT_GE(token.lean, -greatestLean);
            EXPECT_LT(token.spamShare, token.hamShare);
            ++ham;
        }
    }
    EXPECT_GT(spam, 10U);
    EXPECT_GT(ham, 10U);
    EXPECT_LE(learned.size() - spam - ham, 50U) << "few tokens fill only";
}

TEST(votes, copies_of_one_message_are_no_broad_evidence)
{
    std::vector<FilteredText> messages = filteredCorpus(narrowCorpus(320, 1));
    const std::vector<FilteredText> copies(30, {true, u"we waxk the dogs"});
    messages.insert(messages.end(), copies.begin(), copies.end());
    EXPECT_EQ(find(votesOf(messages), u"waxk"), nullptr);
    for (std::size_t i = 0; i < copies.size(); ++i) {
        messages[messages.size() - 1 - i].text =
            filterText(spamWords[i % spamWords.size()] + u" waxk " + commonWords[i % commonWords.size()] + u" dogs");
    }
    const Learned learned = votesOf(messages);
    EXPECT_TRUE(std::any_of(learned.begin(), learned.end(), [](const LearnedToken &token) {
        return token.lean > 0 && unpackToken(token.token).find(u"wax") != std::u16string::npos;
    })) << "the same word in many surroundings is";
}

TEST(votes, stricter_votes_are_fewer)
{
    const std::vector<FilteredText> messages = filteredCorpus(narrowCorpus(320, 1));
    const Group group = makeGroup(messages, {});
    const auto spamTokens = [&](double spamStrictness) {
        const Learned learned = learnByVotes(group, messages, spamStrictness);
        return std::count_if(learned.begin(), learned.end(), [](const LearnedToken &token) { return token.lean > 0; });
    };
    EXPECT_GT(spamTokens(2), 0);
    EXPECT_LT(spamTokens(3.9), spamTokens(2));
}

} // namespace
} // namespace velq::kit
