// Which texts count as the same campaign.
#include "kit/messages/near_duplicates.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

using Clusters = std::vector<std::uint32_t>;

TEST(near_duplicates, differ_in_numbers_case_and_punctuation)
{
    EXPECT_EQ(clusterNearDuplicates({u"Your code is 482913. Do not share it.", u"See you at the station tonight",
                                     u"YOUR CODE IS 110022 - do not share it!",
                                     u"Your code is \uFF11\uFF12\uFF13\uFF14"
                                     u"\uFF15\uFF16; do not share it"}),
              (Clusters{0, 1, 0, 0}));
    EXPECT_EQ(clusterNearDuplicates(
                  {u"您的快递已到，请凭码12345取件", u"您的快递已到！请凭码98765取件。", u"晚上一起吃饭吗老地方见"}),
              (Clusters{0, 0, 1}));
}

TEST(near_duplicates, share_half_of_the_runs_of_the_shorter_text)
{
    const std::u16string first = u"abcdefghijklmnopqrst";                                 // 13 runs
    EXPECT_EQ(clusterNearDuplicates({first, u"abcdefghijklmnuvwxyz"}), (Clusters{0, 0})); // 7 shared of 13
    EXPECT_EQ(clusterNearDuplicates({first, u"abcdefghijklmtuvwxyz"}), (Clusters{0, 1})); // 6 shared
    EXPECT_EQ(clusterNearDuplicates({first + u"0123456789 and very much more text", u"abcdefghij"}), (Clusters{0, 0}));
}

TEST(near_duplicates, chains_make_one_cluster)
{
    EXPECT_EQ(clusterNearDuplicates(
                  {u"abcdefghijklmnopqrst", u"0123", u"opqrstuvwxyzabcdefgh", u"abcdefghijklmnopqrstuvwxyzabcdefgh"}),
              (Clusters{0, 1, 0, 0}));
}

TEST(near_duplicates, short_and_empty_texts_are_alike_only_when_equal)
{
    EXPECT_EQ(clusterNearDuplicates({u"ok", u"Ok!", u"okay", u"", u"...", u"\U0001F600"}),
              (Clusters{0, 0, 1, 2, 2, 2}));
    EXPECT_TRUE(clusterNearDuplicates({}).empty());
}

TEST(near_duplicates, many_equal_texts_are_one_cluster)
{
    const std::vector<std::u16string_view> texts(500, u"the same text again and again");
    EXPECT_EQ(clusterNearDuplicates(texts), Clusters(500, 0));
}

} // namespace
} // namespace velq::kit
