// Which pairs fill.
#include "kit/learning/fillers.h"
#include "learning/invented_messages.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string_view>
#include <vector>

namespace velq::kit {
namespace {

// "xy" stands in all, "ham" words and "spam" words in one class.
std::vector<FilteredText> messages()
{
    std::vector<FilteredText> all = repeated(8, true, u"claim claimxy");
    const std::vector<FilteredText> ham = repeated(8, false, u"dinne dinnexy", 100);
    all.insert(all.end(), ham.begin(), ham.end());
    const std::vector<FilteredText> rare = repeated(2, false, u"uvuvuvuvuvuvuv", 200);
    all.insert(all.end(), rare.begin(), rare.end());
    return all;
}

bool marks(const Group &group, const std::vector<std::uint8_t> &fillers, std::u16string_view token)
{
    return fillers[group.candidates.positions.at(packToken(token))] != 0;
}

std::ptrdiff_t numberOf(const std::vector<std::uint8_t> &fillers)
{
    return std::count(fillers.begin(), fillers.end(), 1);
}

TEST(fillers, neutral_pairs_are_the_most_frequent_without_a_lean_that_are_not_listed)
{
    Group group = makeGroup(messages(), {{}, true, 1});
    const std::size_t size = group.candidates.tokens.size();
    std::vector<std::uint8_t> listed(size, 0);
    std::vector<double> leans(size, 3);
    const auto at = [&group](std::u16string_view token) { return group.candidates.positions.at(packToken(token)); };
    leans[at(u"xy")] = 0.2;
    leans[at(u"uv")] = -0.2;
    leans[at(u"exy")] = 0;
    const std::vector<std::uint8_t> one = neutralPairs(group, listed, leans, 1);
    EXPECT_TRUE(marks(group, one, u"xy"));
    EXPECT_EQ(numberOf(one), 1);
    EXPECT_EQ(numberOf(neutralPairs(group, listed, leans, 100)), 2) << "three units are no pair";
    listed[at(u"xy")] = 1;
    EXPECT_FALSE(marks(group, neutralPairs(group, listed, leans, 100), u"xy"));
    group.taken[at(u"uv")] = 1;
    EXPECT_EQ(numberOf(neutralPairs(group, listed, leans, 100)), 0);
}

TEST(fillers, ham_pairs_stand_in_several_clusters_of_ham)
{
    const Group group = makeGroup(messages(), {{}, true, 1});
    const std::vector<std::uint8_t> fillers = hamPairs(group, 100);
    EXPECT_TRUE(marks(group, fillers, u"xy"));
    EXPECT_TRUE(marks(group, fillers, u"in"));
    EXPECT_FALSE(marks(group, fillers, u"cl")) << "in spam alone";
    EXPECT_FALSE(marks(group, fillers, u"uv")) << "in two clusters";
    EXPECT_FALSE(marks(group, fillers, u"inn")) << "no pair";
    EXPECT_EQ(numberOf(hamPairs(group, 2)), 2);
}

} // namespace
} // namespace velq::kit
