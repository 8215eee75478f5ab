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

struct Shares {
    double words;
    double syllables;
};

Shares sharesOf(std::u16string_view token, const std::vector<FilteredText> &messages)
{
    GroupRule rule;
    rule.fewestClusters = 1;
    const Group group = makeGroup(messages, rule);
    const auto found = group.candidates.positions.find(packToken(token));
    EXPECT_NE(found, group.candidates.positions.end()) << "no candidate";
    const Crossings crossings = crossingsOf(group, messages);
    return {crossings.words.at(found->second), crossings.syllables.at(found->second)};
}

double shareOf(std::u16string_view token, const std::vector<FilteredText> &messages)
{
    return sharesOf(token, messages).words;
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

TEST(crossings, are_of_syllables_in_sources_of_hardly_any_longer_word)
{
    std::vector<FilteredText> messages =
        withBegins({u"ngan hang truong da khoa the cua ban", u"another bank closed your account"});
    messages[1].source = 1;
    EXPECT_EQ(sharesOf(u"khoa", messages).syllables, 0) << "one syllable";
    EXPECT_EQ(sharesOf(u"gda", messages).syllables, 1);
    EXPECT_EQ(sharesOf(u"gda", messages).words, 0);
    EXPECT_EQ(sharesOf(u"kclo", messages).syllables, 0);
    EXPECT_EQ(sharesOf(u"kclo", messages).words, 1);
    EXPECT_EQ(sharesOf(u"rb", messages).words, 1) << "the other source has none";
    messages[1].source = 0;
    EXPECT_EQ(sharesOf(u"gda", messages).words, 1) << "of both sources' words one in four is longer than a token";
}

TEST(crossings, message_of_unknown_words_is_one)
{
    std::vector<FilteredText> messages = withBegins({u"claim your prize"});
    messages[0].begins.clear();
    EXPECT_EQ(shareOf(u"imyo", messages), 0);
}

} // namespace
} // namespace velq::kit
