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

std::vector<FilteredText> joined(std::vector<FilteredText> messages, const std::vector<FilteredText> &further)
{
    messages.insert(messages.end(), further.begin(), further.end());
    return messages;
}

std::uint32_t positionOf(const Group &group, std::u16string_view token)
{
    return group.candidates.positions.at(packToken(token));
}

std::vector<LabelledText> labelled(std::size_t times, bool spam, const std::u16string &text)
{
    return std::vector<LabelledText>(times, {spam, text});
}

void append(std::vector<LabelledText> &messages, const std::vector<LabelledText> &further)
{
    messages.insert(messages.end(), further.begin(), further.end());
}

// A hundred of each class of each text.
std::vector<LabelledText> hundredsOf(const std::vector<std::u16string> &texts)
{
    std::vector<LabelledText> messages;
    for (const std::u16string &text : texts) {
        append(messages, labelled(100, true, text));
        append(messages, labelled(100, false, text));
    }
    return messages;
}

TEST(groups, scripts_are_learned_apart_when_each_has_enough_messages)
{
    const std::vector<LabelledText> messages = jointCorpus();
    const std::vector<ScriptGroup> groups = groupsByScript(messages);
    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(groups[0].script, Script::narrow);
    EXPECT_EQ(groups[1].script, Script::wide);
    ASSERT_EQ(groups[0].messages.size(), 320U);
    ASSERT_EQ(groups[1].messages.size(), 240U);
    for (std::size_t i = 0; i < messages.size(); ++i) {
        EXPECT_EQ(i < 320 ? groups[0].messages[i].text : groups[1].messages[i - 320].text, messages[i].text);
    }
}

TEST(groups, script_of_few_messages_is_learned_along_with_the_first_in_its_order)
{
    std::vector<LabelledText> messages = hundredsOf({u"see you", u"\u6211\u4EEC"});
    EXPECT_EQ(groupsByScript(messages).size(), 2U);
    messages.pop_back();
    const std::vector<ScriptGroup> groups = groupsByScript(messages);
    ASSERT_EQ(groups.size(), 1U);
    ASSERT_EQ(groups[0].messages.size(), 399U);
    EXPECT_EQ(groups[0].messages[398].text, u"\u6211\u4EEC");
}

TEST(groups, tenth_of_the_units_decides_the_script)
{
    const auto scriptOf = [](const std::u16string &text) {
        std::vector<LabelledText> messages = hundredsOf({u"see", u"\u6211", u"\u0E01\u0E32", u"\u043F\u0440"});
        messages.push_back({true, text});
        for (const ScriptGroup &group : groupsByScript(messages)) {
            if (group.messages.size() == 201) {
                return group.script;
            }
        }
        return Script::narrow;
    };
    EXPECT_EQ(scriptOf(u"abcdefghi\u6211"), Script::wide);
    EXPECT_EQ(scriptOf(u"abcdefghij\u6211"), Script::narrow);
    EXPECT_EQ(scriptOf(u"abcdefghi\u0E01"), Script::thai);
    EXPECT_EQ(scriptOf(u"abcdefghi\u043F"), Script::cyrillic);
    EXPECT_EQ(scriptOf(u"abcdefghij\u043F"), Script::narrow);
    EXPECT_EQ(scriptOf(u"\u043F\u6211"), Script::wide);
    EXPECT_EQ(scriptOf(u""), Script::narrow);
}

TEST(groups, group_of_an_alphabet_may_take_every_sequence)
{
    const Group group = makeGroup(repeated(5, true, u"claim 12"), {});
    EXPECT_FALSE(group.candidates.tokens.empty());
    EXPECT_EQ(std::count(group.taken.begin(), group.taken.end(), 1), 0);
    EXPECT_EQ(group.sizes.spam, 5);
    EXPECT_EQ(group.sizes.ham, 0);
}

TEST(groups, sequence_of_too_few_clusters_is_no_candidate)
{
    const std::vector<FilteredText> messages =
        joined(repeated(5, true, u"claim it"), repeated(4, false, u"dinner at eight", 10));
    const Group group = makeGroup(messages, {});
    EXPECT_TRUE(group.candidates.positions.contains(packToken(u"clai")));
    EXPECT_FALSE(group.candidates.positions.contains(packToken(u"dinn")));
    EXPECT_TRUE(makeGroup(messages, {{}, true, 4}).candidates.positions.contains(packToken(u"dinn")));
}

TEST(groups, later_group_keeps_what_was_learned_and_leaves_ascii_alone)
{
    const std::vector<FilteredText> messages = repeated(5, true, u"\u4F18\u60E0claim 77 \u4FC3\u9500");
    const Learned before = {{packToken(u"clai"), 2.5, 0.5, 0.1}, {packToken(u"zzzz"), -3, 0.1, 0.5}};
    const Group group = makeGroup(messages, {before, false, 5});
    EXPECT_EQ(group.fixed[positionOf(group, u"clai")], 1);
    EXPECT_EQ(group.taken[positionOf(group, u"clai")], 1);
    EXPECT_EQ(group.leans[positionOf(group, u"clai")], 2.5);
    EXPECT_EQ(group.fixed[positionOf(group, u"zzzz")], 1) << "it stands in no message of the group";
    EXPECT_EQ(group.leans[positionOf(group, u"zzzz")], -3);
    EXPECT_EQ(group.fixed[positionOf(group, u"laim")], 0);
    EXPECT_EQ(group.taken[positionOf(group, u"laim")], 1) << "letters are of another script";
    EXPECT_EQ(group.taken[positionOf(group, u" 77 ")], 1) << "numbers stand in texts of every script";
    EXPECT_EQ(group.taken[positionOf(group, u"\u4F18\u60E0")], 0);
}

TEST(groups, unread_messages_are_left_out)
{
    const Group group = makeGroup(joined(repeated(5, true, u"claim it"), repeated(5, false, u"dinner", 10)), {});
    EXPECT_EQ(group.texts.size(), 5U);
    EXPECT_EQ(group.sizes.ham, 0);
}

TEST(groups, collected_tokens_carry_their_leans_and_smoothed_shares)
{
    const std::vector<FilteredText> messages =
        joined(repeated(6, true, u"claim it"), repeated(5, false, u"dinner and claim", 10));
    Group group = makeGroup(messages, {});
    const std::size_t size = group.candidates.tokens.size();
    Choice choice{std::vector<std::uint8_t>(size, 0), std::vector<std::uint8_t>(size, 0), std::vector<double>(size, 0)};
    std::vector<std::uint8_t> &listed = choice.listed;
    std::vector<double> &leans = choice.leans;
    listed[positionOf(group, u"clai")] = listed[positionOf(group, u"dinn")] = listed[positionOf(group, u"inne")] = 1;
    leans[positionOf(group, u"clai")] = 2.2;

    const ClassCounts counts = countSegmented(group, listed);
    EXPECT_EQ(counts.spam[positionOf(group, u"clai")], 6);
    EXPECT_EQ(counts.ham[positionOf(group, u"clai")], 5);
    EXPECT_EQ(counts.ham[positionOf(group, u"dinn")], 5);
    EXPECT_EQ(counts.ham[positionOf(group, u"inne")], 0) << "the token before it takes its text";

    Learned learned = collect(group, choice);
    std::sort(learned.begin(), learned.end(),
              [](const LearnedToken &a, const LearnedToken &b) { return a.lean > b.lean; });
    ASSERT_EQ(learned.size(), 2U);
    EXPECT_EQ(learned[0].token, packToken(u"clai"));
    EXPECT_EQ(learned[0].lean, 2.2);
    EXPECT_DOUBLE_EQ(learned[0].spamShare, 6.2 / 6.4);
    EXPECT_DOUBLE_EQ(learned[0].hamShare, 5.2 / 5.4);
    EXPECT_DOUBLE_EQ(learned[1].spamShare, 0.2 / 6.4);

    group.fixed[positionOf(group, u"clai")] = 1;
    EXPECT_EQ(collect(group, choice).size(), 1U);
}

} // namespace
} // namespace velq::kit
