// Which sequences reach from one word into the next.
#include "kit/learning/crossings.h"
#include "learning/invented_messages.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

std::vector<FilteredText> withBegins(const std::vector<std::u16string> &texts)
{
    std::vector<FilteredText> messages;
    for (const std::u16string &text : texts) {
        const auto cluster = static_cast<std::uint32_t>(messages.size());
        messages.push_back({false, filterText(text), 1, 0, cluster, wordBegins(text)});
    }
    return messages;
}

double shareOf(std::u16string_view token, const std::vector<FilteredText> &messages)
{
    GroupRule rule;
    rule.fewestClusters = 1;
    const Group group = makeGroup(messages, rule);
    const auto found = group.candidates.positions.find(packToken(token));
    EXPECT_NE(found, group.candidates.positions.end()) << "no candidate";
    return crossingShares(group, messages).at(found->second);
}

TEST(crossings, are_what_a_word_begins_in)
{
    const std::vector<FilteredText> messages = withBegins({u"claim your prize"});
    EXPECT_EQ(shareOf(u"laim", messages), 0) << "up to the end of its word";
    EXPECT_EQ(shareOf(u"your", messages), 0) << "from the beginning on";
    EXPECT_EQ(shareOf(u"imyo", messages), 1);
    EXPECT_EQ(shareOf(u"my", messages), 1);
    EXPECT_EQ(shareOf(u"rpri", messages), 1);
}

TEST(crossings, are_a_share_of_the_places_by_weight)
{
    std::vector<FilteredText> messages = withBegins({u"the best in town", u"the thebes of egypt"});
    EXPECT_EQ(shareOf(u"hebe", messages), 0.5);
    messages[0].weight = 3;
    EXPECT_EQ(shareOf(u"hebe", messages), 0.75);
}

TEST(crossings, message_of_unknown_words_is_one)
{
    std::vector<FilteredText> messages = withBegins({u"claim your prize"});
    messages[0].begins.clear();
    EXPECT_EQ(shareOf(u"imyo", messages), 0);
}

} // namespace
} // namespace velq::kit
