// Sources told apart by language.
#include "kit/learning/languages.h"
#include "learning/invented_messages.h"

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

const Words northern = {u"varmest", u"skjorter", u"bilder", u"hoyest", u"fjellet", u"sommer", u"brodet", u"kvelden"};
const Words southern = {u"quando", u"allora", u"vediamo", u"stasera", u"prezzo", u"subito", u"grazie", u"offerta"};

void add(std::vector<FilteredText> &messages, const Words &words, std::uint32_t source, bool spam, std::size_t times)
{
    SeededSequence sequence(source + 1);
    for (std::size_t i = 0; i < times; ++i) {
        std::u16string text;
        for (int word = 0; word < 6; ++word) {
            text += words[sequence.below(words.size())];
        }
        messages.push_back({spam, text, 1, source, static_cast<std::uint32_t>(messages.size())});
    }
}

using Languages = std::map<std::uint32_t, std::uint32_t>;

TEST(languages, sources_of_like_texts_are_of_one_language)
{
    std::vector<FilteredText> messages;
    add(messages, northern, 0, false, 100);
    add(messages, southern, 1, false, 100);
    add(messages, southern, 1, true, 100);
    add(messages, northern, 2, true, 100);
    EXPECT_EQ(languagesOf(messages), (Languages{{0, 0}, {1, 1}, {2, 0}}));
}

TEST(languages, source_of_one_class_joins_what_it_resembles_most)
{
    std::vector<FilteredText> messages;
    add(messages, northern, 0, false, 100);
    add(messages, northern, 0, true, 100);
    add(messages, {u"fjellet", u"xxqqzz", u"yykkww", u"ooppaa"}, 4, true, 100);
    add(messages, southern, 7, false, 100);
    add(messages, southern, 7, true, 100);
    EXPECT_EQ(languagesOf(messages), (Languages{{0, 0}, {4, 0}, {7, 7}}));
}

TEST(languages, one_class_in_all_and_no_messages_are_borne)
{
    std::vector<FilteredText> messages;
    EXPECT_TRUE(languagesOf(messages).empty());
    add(messages, northern, 3, true, 10);
    EXPECT_EQ(languagesOf(messages), (Languages{{3, 3}}));
}

} // namespace
} // namespace velq::kit
