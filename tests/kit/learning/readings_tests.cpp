// Messages read prepared and raw, and pieces of them.
#include "kit/learning/crops.h"
#include "kit/learning/readings.h"
#include "learning/invented_messages.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

TEST(readings, message_that_reads_otherwise_when_prepared_stands_twice_and_counts_once)
{
    const std::vector<FilteredText> texts =
        readingsOf({{true, u"CLAIM your prize", 3}, {false, u"see you", 1}}, Readings::preparedAndRaw);
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[0].text, filterText(u"CLAIM your prize"));
    EXPECT_EQ(texts[1].text, filterText(u"claim your prize"));
    EXPECT_EQ(texts[0].weight + texts[1].weight, 1);
    EXPECT_GT(texts[0].weight, 0);
    EXPECT_EQ(texts[0].cluster, texts[1].cluster);
    EXPECT_TRUE(texts[0].spam && texts[1].spam);
    EXPECT_EQ(texts[0].source, 3U);
    EXPECT_EQ(texts[2].weight, 1);
    EXPECT_EQ(texts[2].source, 1U);
    EXPECT_NE(texts[2].cluster, texts[0].cluster);
}

TEST(readings, raw_messages_stand_once_as_they_are)
{
    const std::vector<FilteredText> texts = readingsOf({{true, u"CLAIM your prize"}}, Readings::raw);
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0].text, filterText(u"CLAIM your prize"));
    EXPECT_EQ(texts[0].weight, 1);
}

TEST(readings, know_where_their_words_begin)
{
    for (const FilteredText &text : readingsOf({{true, u"CLAIM your prize, now"}}, Readings::preparedAndRaw)) {
        const std::vector<bool> all = {1, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0};
        EXPECT_EQ(text.begins, std::vector<bool>(all.end() - static_cast<std::ptrdiff_t>(text.text.size()), all.end()));
    }
}

TEST(readings, disguised_copy_joins_the_cluster_of_its_original)
{
    const std::vector<FilteredText> texts =
        readingsOf({{true, u"claim your great prize here today"},
                    {true, u"Cl\u00E0im y\u00F2ur gre\u00E0t priz\u00E8 here today"}},
                   Readings::preparedAndRaw);
    for (const FilteredText &text : texts) {
        EXPECT_EQ(text.cluster, 0U);
    }
}

TEST(crops, are_pieces_of_their_message_and_lighter)
{
    const std::vector<FilteredText> messages = {{true, u"abcdefghijklmnopqrstuvwxyz", 3, 4, 5}, {false, u"hardly any"}};
    std::vector<std::u16string> pieces;
    forEachCrop(messages, 1, [&](const FilteredText &crop) {
        EXPECT_NE(messages[0].text.find(crop.text), std::u16string::npos);
        EXPECT_GE(crop.text.size(), 12U);
        EXPECT_EQ(crop.weight, 1.5);
        EXPECT_TRUE(crop.spam);
        pieces.push_back(crop.text);
    });
    EXPECT_EQ(pieces.size(), 2U);
    std::vector<std::u16string> again;
    forEachCrop(messages, 1, [&](const FilteredText &crop) { again.push_back(crop.text); });
    EXPECT_EQ(pieces, again);
}

} // namespace
} // namespace velq::kit
