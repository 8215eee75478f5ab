// Groups by script, what the later group may take, and what segmentation of a group gives.
#include "kit/learning/groups.h"
#include "learning/invented_messages.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace velq::kit {
namespace {

std::vector<FilteredText> repeated(std::size_t times, bool spam, const std::u16string &text)
{
    return std::vector<FilteredText>(times, {spam, text});
}

std::vector<FilteredText> joined(std::vector<FilteredText> messages, const std::vector<FilteredText> &further)
{
    messages.insert(messages.end(), further.begin(), further.end());
    return messages;
}

std::uint32_t positionOf(const Group &group, std::u16string_view token)
{
    return group.candidates.positions.at(packToken(token));
}

TEST(groups, scripts_are_learned_apart_when_each_has_enough_messages)
{
    const std::vector<FilteredText> messages = filteredCorpus(jointCorpus());
    const auto groups = groupsByScript(messages);
    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(groups[0].size(), 320U);
    EXPECT_EQ(groups[1].size(), 240U);
    for (std::size_t i = 0; i < messages.size(); ++i) {
        EXPECT_EQ(i < 320 ? groups[0][i].text : groups[1][i - 320].text, messages[i].text);
    }
}

TEST(groups, script_of_few_messages_is_learned_along_with_the_other)
{
    const auto hundredOfEach = [](const std::u16string &text) {
        return joined(repeated(100, true, text), repeated(100, false, text));
    };
    std::vector<FilteredText> messages = joined(hundredOfEach(u"see you"), hundredOfEach(u"\u6211\u4EEC"));
    EXPECT_EQ(groupsByScript(messages).size(), 2U);
    messages.pop_back();
    EXPECT_EQ(groupsByScript(messages).size(), 1U);
    EXPECT_EQ(groupsByScript(messages)[0].size(), 399U);
}

TEST(groups, tenth_of_wide_units_makes_a_wide_message)
{
    const auto group = [](const std::u16string &text) {
        const auto filler = joined(joined(repeated(100, true, u"see"), repeated(100, false, u"see")),
                                   joined(repeated(100, true, u"\u6211"), repeated(100, false, u"\u6211")));
        const auto groups = groupsByScript(joined(filler, {{true, text}}));
        return groups.at(1).size() == 201 ? 1 : 0;
    };
    EXPECT_EQ(group(u"abcdefghi\u6211"), 1);
    EXPECT_EQ(group(u"abcdefghij\u6211"), 0);
    EXPECT_EQ(group(u""), 0);
}

TEST(groups, first_group_may_take_every_sequence)
{
    const Group group = makeGroup(repeated(3, true, u"claim 12"), {});
    EXPECT_FALSE(group.candidates.tokens.empty());
    EXPECT_EQ(std::count(group.taken.begin(), group.taken.end(), 1), 0);
    EXPECT_EQ(group.sizes.spam, 3);
    EXPECT_EQ(group.sizes.ham, 0);
}

TEST(groups, sequence_of_two_messages_is_no_candidate)
{
    const Group group = makeGroup(joined(repeated(3, true, u"claim it"), repeated(2, false, u"dinner")), {});
    EXPECT_TRUE(group.candidates.positions.contains(packToken(u"clai")));
    EXPECT_FALSE(group.candidates.positions.contains(packToken(u"dinn")));
}

TEST(groups, later_group_keeps_what_was_learned_and_leaves_ascii_to_the_first)
{
    const std::vector<std::vector<FilteredText>> groups = {
        repeated(5, true, u"claim 4you 77 now"),
        joined(repeated(5, true, u"\u4F18\u60E0claim 99 77 \u4FC3\u9500"), repeated(1, false, u"\u6211"))};
    const Learned before = {{packToken(u"clai"), 2.5, 0.5, 0.1}, {packToken(u"zzzz"), -3, 0.1, 0.5}};
    const OtherGroups others = othersOf(groups, 1, before);
    EXPECT_TRUE(others.elsewhere.table.contains(packToken(u"4you")));
    EXPECT_FALSE(others.elsewhere.table.contains(packToken(u"\u4F18\u60E0")));

    const Group group = makeGroup(groups[1], others);
    EXPECT_EQ(group.fixed[positionOf(group, u"clai")], 1);
    EXPECT_EQ(group.taken[positionOf(group, u"clai")], 1);
    EXPECT_EQ(group.leans[positionOf(group, u"clai")], 2.5);
    EXPECT_EQ(group.fixed[positionOf(group, u"zzzz")], 1) << "it stands in no message of the group";
    EXPECT_EQ(group.leans[positionOf(group, u"zzzz")], -3);
    EXPECT_EQ(group.fixed[positionOf(group, u"laim")], 0);
    EXPECT_EQ(group.taken[positionOf(group, u"laim")], 1) << "letters are the first group's";
    EXPECT_EQ(group.taken[positionOf(group, u" 77 ")], 1) << "a number that the other texts know";
    EXPECT_EQ(group.taken[positionOf(group, u" 99 ")], 0) << "a number that they do not know";
    EXPECT_EQ(group.taken[positionOf(group, u"\u4F18\u60E0")], 0);
}

TEST(groups, unread_messages_are_left_out)
{
    const Group group = makeGroup(joined(repeated(4, true, u"claim it"), repeated(4, false, u"dinner")), {});
    EXPECT_EQ(group.texts.size(), 4U);
    EXPECT_EQ(group.sizes.ham, 0);
}

TEST(groups, collected_tokens_carry_their_leans_and_smoothed_shares)
{
    const std::vector<FilteredText> messages =
        joined(repeated(6, true, u"claim it"), repeated(4, false, u"dinner and claim"));
    Group group = makeGroup(messages, {});
    const std::size_t size = group.candidates.tokens.size();
    std::vector<std::uint8_t> listed(size, 0);
    std::vector<double> leans(size, 0);
    listed[positionOf(group, u"clai")] = listed[positionOf(group, u"dinn")] = listed[positionOf(group, u"inne")] = 1;
    leans[positionOf(group, u"clai")] = 2.2;

    const ClassCounts counts = countSegmented(group, listed);
    EXPECT_EQ(counts.spam[positionOf(group, u"clai")], 6);
    EXPECT_EQ(counts.ham[positionOf(group, u"clai")], 4);
    EXPECT_EQ(counts.ham[positionOf(group, u"dinn")], 4);
    EXPECT_EQ(counts.ham[positionOf(group, u"inne")], 0) << "the token before it takes its text";

    Learned learned = collect(group, listed, leans);
    std::sort(learned.begin(), learned.end(),
              [](const LearnedToken &a, const LearnedToken &b) { return a.lean > b.lean; });
    ASSERT_EQ(learned.size(), 2U);
    EXPECT_EQ(learned[0].token, packToken(u"clai"));
    EXPECT_EQ(learned[0].lean, 2.2);
    EXPECT_DOUBLE_EQ(learned[0].spamShare, 6.2 / 6.4);
    EXPECT_DOUBLE_EQ(learned[0].hamShare, 4.2 / 4.4);
    EXPECT_DOUBLE_EQ(learned[1].spamShare, 0.2 / 6.4);

    group.fixed[positionOf(group, u"clai")] = 1;
    EXPECT_EQ(collect(group, listed, leans).size(), 1U);
}

} // namespace
} // namespace velq::kit
