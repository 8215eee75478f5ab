// The ways to split messages and to draw from them.
#include "kit/messages/sampling.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <iterator>
#include <numeric>
#include <set>
#include <vector>

namespace velq::kit {
namespace {

std::vector<std::uint32_t> someStrata(std::size_t messages)
{
    std::vector<std::uint32_t> strata;
    for (std::size_t i = 0; i < messages; ++i) {
        strata.push_back(i % 7 == 0 ? 1 : i % 5 == 0 ? 2 : 0);
    }
    return strata;
}

TEST(folds, each_message_is_tested_once_and_never_trained_on_in_the_same_fold)
{
    const std::vector<Split> splits = stratifiedFolds(someStrata(103), 5, 1);
    ASSERT_EQ(splits.size(), 5U);
    std::set<std::size_t> tested;
    for (const Split &split : splits) {
        EXPECT_EQ(split.training.size() + split.test.size(), 103U);
        std::vector<std::size_t> both;
        std::set_intersection(split.training.begin(), split.training.end(), split.test.begin(), split.test.end(),
                              std::back_inserter(both));
        EXPECT_TRUE(both.empty());
        for (const std::size_t index : split.test) {
            EXPECT_TRUE(tested.insert(index).second) << index;
        }
    }
    EXPECT_EQ(tested.size(), 103U);
}

TEST(folds, strata_and_sizes_differ_by_at_most_one)
{
    const std::vector<std::uint32_t> strata = someStrata(101);
    std::vector<std::vector<std::size_t>> tested(3);
    std::vector<std::size_t> sizes;
    for (const Split &split : stratifiedFolds(strata, 4, 3)) {
        sizes.push_back(split.test.size());
        for (std::uint32_t stratum = 0; stratum < 3; ++stratum) {
            tested[stratum].push_back(static_cast<std::size_t>(std::count_if(
                split.test.begin(), split.test.end(), [&](std::size_t index) { return strata[index] == stratum; })));
        }
    }
    tested.push_back(sizes);
    for (const std::vector<std::size_t> &perFold : tested) {
        const auto [least, most] = std::minmax_element(perFold.begin(), perFold.end());
        EXPECT_LE(*most - *least, 1U);
    }
}

TEST(folds, seed_alone_decides_the_split)
{
    const auto testOf = [](std::uint64_t seed) { return stratifiedFolds(someStrata(60), 3, seed)[0].test; };
    EXPECT_EQ(testOf(1), testOf(1));
    EXPECT_NE(testOf(1), testOf(2));
    // The numbers themselves are part of the contract: results are compared across machines.
    SeededSequence sequence(0);
    EXPECT_EQ(sequence.next(), 0xE220A8397B1DCDAFU);
    EXPECT_EQ(sequence.next(), 0x6E789E6AA1B965F4U);
}

TEST(folds, groups_are_never_torn_apart_and_strata_stay_even)
{
    const std::vector<std::uint32_t> strata = someStrata(300);
    std::vector<std::uint32_t> groups;
    for (std::uint32_t i = 0; i < 300; ++i) {
        groups.push_back(i < 40 ? i % 2 : i / 3); // two large ones, some of three, and numbers that nobody has
    }
    const std::vector<Split> splits = groupedFolds(strata, groups, 5, 1);
    ASSERT_EQ(splits.size(), 5U);
    std::vector<std::size_t> foldOf(101, 5);
    std::size_t tested = 0;
    for (std::size_t fold = 0; fold < 5; ++fold) {
        tested += splits[fold].test.size();
        EXPECT_EQ(splits[fold].test.size() + splits[fold].training.size(), 300U);
        std::vector<std::size_t> ofStratum(3);
        for (const std::size_t index : splits[fold].test) {
            ++ofStratum[strata[index]];
            std::size_t &known = foldOf[groups[index]];
            EXPECT_TRUE(known == 5 || known == fold) << index;
            known = fold;
        }
        for (std::uint32_t stratum = 0; stratum < 3; ++stratum) {
            const auto total = static_cast<double>(std::count(strata.begin(), strata.end(), stratum));
            EXPECT_NEAR(static_cast<double>(ofStratum[stratum]), total / 5, 4) << fold << ' ' << stratum;
        }
    }
    EXPECT_EQ(tested, 300U);
    EXPECT_EQ(groupedFolds(strata, groups, 5, 1)[0].test, splits[0].test);
    EXPECT_NE(groupedFolds(strata, groups, 5, 2)[0].test, splits[0].test);
}

TEST(folds, as_many_groups_as_folds_leave_no_fold_empty)
{
    for (const Split &split : groupedFolds({0, 0, 0, 0, 1}, {0, 0, 1, 1, 2}, 3, 1)) {
        EXPECT_FALSE(split.test.empty());
    }
}

TEST(folds, split_keeps_the_order_of_the_file)
{
    const Split split = splitAfter(5, 3);
    EXPECT_EQ(split.training, (std::vector<std::size_t>{0, 1, 2}));
    EXPECT_EQ(split.test, (std::vector<std::size_t>{3, 4}));
}

TEST(folds, each_beginning_of_the_stratified_order_holds_the_shares_of_the_whole)
{
    std::vector<std::uint32_t> strata(90, 0);
    std::fill(strata.begin(), strata.begin() + 30, 1);
    const std::vector<std::size_t> order = stratifiedOrder(strata, 5);
    std::vector<std::size_t> sorted = order;
    std::sort(sorted.begin(), sorted.end());
    std::vector<std::size_t> all(90);
    std::iota(all.begin(), all.end(), std::size_t{0});
    EXPECT_EQ(sorted, all);
    std::size_t ones = 0;
    for (std::size_t i = 0; i < order.size(); ++i) {
        ones += strata[order[i]];
        EXPECT_NEAR(static_cast<double>(ones), static_cast<double>(i + 1) / 3, 1.0) << i;
    }
}

TEST(reservoir, keeps_everything_while_there_is_room)
{
    Reservoir reservoir(3, 1);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(reservoir.place(0), i);
        EXPECT_EQ(reservoir.place(1), i);
    }
    EXPECT_EQ(reservoir.seen(0), 3U);
    EXPECT_EQ(reservoir.seen(7), 0U);
}

TEST(reservoir, each_member_is_equally_likely_to_be_kept)
{
    constexpr std::size_t members = 20;
    constexpr std::size_t room = 5;
    constexpr int rounds = 8000;
    std::array<int, members> kept{};
    for (int round = 0; round < rounds; ++round) {
        Reservoir reservoir(room, static_cast<std::uint64_t>(round));
        std::array<std::size_t, room> places{};
        for (std::size_t member = 0; member < members; ++member) {
            const std::size_t place = reservoir.place(4);
            if (place != Reservoir::notKept) {
                ASSERT_LT(place, room);
                places[place] = member;
            }
        }
        for (const std::size_t member : places) {
            ++kept[member];
        }
    }
    // 2000 expected for each; the standard deviation is 39.
    for (const int count : kept) {
        EXPECT_NEAR(count, 2000, 200);
    }
}

} // namespace
} // namespace velq::kit
