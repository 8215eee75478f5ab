// The figures against counts worked out by hand, their limits, and the ways to split messages.
#include "kit/evaluation/metrics.h"
#include "kit/messages/sampling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <set>
#include <vector>

namespace velq::kit {
namespace {

ConfusionCounts counts(const std::array<std::uint64_t, 3> &spam, const std::array<std::uint64_t, 3> &ham)
{
    return {{spam[0], spam[1], spam[2]}, {ham[0], ham[1], ham[2]}};
}

TEST(metrics, figures_agree_with_hand_counts)
{
    // 100 spam: 90 caught, 4 ham, 6 unsure; 300 ham: 3 blocked, 267 ham, 30 unsure.
    const Metrics metrics = metricsOf(counts({90, 4, 6}, {3, 267, 30}));
    EXPECT_DOUBLE_EQ(metrics.spamCaught, 0.9);
    EXPECT_DOUBLE_EQ(metrics.hamBlocked, 0.01);
    EXPECT_DOUBLE_EQ(metrics.accuracy, 387.0 / 400.0); // 90 and 297
    EXPECT_DOUBLE_EQ(metrics.precision, 90.0 / 93.0);
    EXPECT_DOUBLE_EQ(metrics.recall, 0.9);
    EXPECT_DOUBLE_EQ(metrics.f1, 180.0 / 193.0);
    // (90 * 297 - 3 * 10) / sqrt(93 * 100 * 300 * 307) = 26700 / 29266.7
    EXPECT_NEAR(metrics.mcc, 26700.0 / std::sqrt(856530000.0), 1e-12);
    EXPECT_DOUBLE_EQ(metrics.unsure, 36.0 / 400.0);
    EXPECT_DOUBLE_EQ(metrics.unsureSpam, 0.06);
    EXPECT_DOUBLE_EQ(metrics.unsureHam, 0.1);
}

TEST(metrics, counting_keeps_classes_and_ratings_apart)
{
    ConfusionCounts sum;
    count(sum, true, Rating::spam);
    count(sum, true, Rating::ham);
    count(sum, true, Rating::ham);
    count(sum, true, Rating::unsure);
    count(sum, false, Rating::spam);
    count(sum, false, Rating::ham);
    count(sum, false, Rating::unsure);
    count(sum, false, Rating::unsure);
    EXPECT_EQ(sum, counts({1, 2, 1}, {1, 1, 2}));
    sum += counts({1, 0, 0}, {0, 10, 0});
    EXPECT_EQ(sum, counts({2, 2, 1}, {1, 11, 2}));
    EXPECT_EQ(sum.total(), 19U);
}

TEST(metrics, perfect_and_reversed_ratings_reach_the_ends_of_the_correlation)
{
    EXPECT_DOUBLE_EQ(metricsOf(counts({7, 0, 0}, {0, 5, 0})).mcc, 1.0);
    EXPECT_DOUBLE_EQ(metricsOf(counts({0, 7, 0}, {5, 0, 0})).mcc, -1.0);
}

TEST(metrics, empty_classes_give_zero)
{
    const Metrics nothing = metricsOf({});
    EXPECT_EQ(nothing.accuracy, 0);
    EXPECT_EQ(nothing.spamCaught, 0);
    EXPECT_EQ(nothing.mcc, 0);

    const Metrics onlyHam = metricsOf(counts({0, 0, 0}, {0, 4, 0}));
    EXPECT_EQ(onlyHam.accuracy, 1);
    EXPECT_EQ(onlyHam.spamCaught, 0);
    EXPECT_EQ(onlyHam.precision, 0);
    EXPECT_EQ(onlyHam.f1, 0);
    EXPECT_EQ(onlyHam.mcc, 0);

    const Metrics onlySpam = metricsOf(counts({3, 1, 0}, {0, 0, 0}));
    EXPECT_DOUBLE_EQ(onlySpam.accuracy, 0.75);
    EXPECT_EQ(onlySpam.hamBlocked, 0);
    EXPECT_DOUBLE_EQ(onlySpam.precision, 1);
}

std::vector<double> sharesOf(const Metrics &metrics)
{
    return {metrics.spamCaught, metrics.hamBlocked, metrics.accuracy,   metrics.precision, metrics.recall,
            metrics.f1,         metrics.unsure,     metrics.unsureSpam, metrics.unsureHam};
}

TEST(metrics, figures_without_a_denominator_are_not_defined)
{
    const ConfusionCounts onlyHam = counts({0, 0, 0}, {0, 5, 1});
    EXPECT_TRUE(isDefined(onlyHam, &Metrics::accuracy));
    EXPECT_TRUE(isDefined(onlyHam, &Metrics::hamBlocked));
    for (const auto figure : {&Metrics::spamCaught, &Metrics::precision, &Metrics::f1, &Metrics::mcc}) {
        EXPECT_FALSE(isDefined(onlyHam, figure));
    }
    EXPECT_TRUE(isDefined(counts({0, 0, 0}, {1, 4, 0}), &Metrics::f1));
    EXPECT_FALSE(isDefined(counts({3, 0, 0}, {0, 0, 0}), &Metrics::hamBlocked));
    EXPECT_FALSE(isDefined(counts({0, 0, 0}, {0, 0, 0}), &Metrics::unsure));
    for (const auto &[name, figure] : shownFigures) {
        EXPECT_TRUE(isDefined(counts({1, 0, 0}, {0, 1, 0}), figure)) << name;
    }
}

TEST(metrics, every_figure_stays_within_its_limits)
{
    SeededSequence sequence(4);
    constexpr std::uint64_t sizes[] = {1, 2, 5, 1000, 4000000000U};
    for (int round = 0; round < 5000; ++round) {
        std::array<std::uint64_t, 6> cells{};
        for (std::uint64_t &cell : cells) {
            cell = sequence.below(sizes[sequence.below(std::size(sizes))]);
        }
        const Metrics metrics = metricsOf(counts({cells[0], cells[1], cells[2]}, {cells[3], cells[4], cells[5]}));
        for (const double share : sharesOf(metrics)) {
            ASSERT_GE(share, 0);
            ASSERT_LE(share, 1);
        }
        ASSERT_GE(metrics.mcc, -1);
        ASSERT_LE(metrics.mcc, 1);
    }
}

TEST(metrics, mean_and_deviation_are_taken_over_the_folds)
{
    Metrics first;
    first.accuracy = 0.9;
    first.mcc = 0.5;
    Metrics second;
    second.accuracy = 1.0;
    second.mcc = 0.7;
    EXPECT_DOUBLE_EQ(meanOf({first, second}).accuracy, 0.95);
    EXPECT_DOUBLE_EQ(meanOf({first, second}).mcc, 0.6);
    EXPECT_NEAR(deviationOf({first, second}).accuracy, 0.05, 1e-12);
    EXPECT_EQ(meanOf({}).accuracy, 0);
    EXPECT_EQ(deviationOf({}).accuracy, 0);
}

TEST(roc_curve, steps_once_for_each_score)
{
    const std::vector<RocPoint> curve =
        rocCurve({{true, 0.9}, {false, 0.9}, {true, 0.8}, {false, 0.2}, {true, 0.1}, {false, 0.1}});
    ASSERT_EQ(curve.size(), 5U);
    EXPECT_EQ(curve[0].hamShare, 0);
    EXPECT_EQ(curve[0].spamShare, 0);
    EXPECT_NEAR(curve[1].hamShare, 1.0 / 3, 1e-12); // the two at 0.9 together
    EXPECT_NEAR(curve[1].spamShare, 1.0 / 3, 1e-12);
    EXPECT_NEAR(curve[2].spamShare, 2.0 / 3, 1e-12);
    EXPECT_EQ(curve[4].hamShare, 1);
    EXPECT_EQ(curve[4].spamShare, 1);
}

TEST(roc_curve, area_is_the_share_of_pairs_in_the_right_order)
{
    SeededSequence sequence(9);
    for (int round = 0; round < 50; ++round) {
        std::vector<ScoredMessage> messages;
        for (int i = 0; i < 40; ++i) {
            messages.push_back({sequence.below(3) == 0, static_cast<double>(sequence.below(8)) / 7});
        }
        double right = 0;
        double pairs = 0;
        for (const ScoredMessage &spam : messages) {
            for (const ScoredMessage &ham : messages) {
                if (spam.isSpam && !ham.isSpam) {
                    pairs += 1;
                    right += spam.score > ham.score ? 1 : spam.score == ham.score ? 0.5 : 0;
                }
            }
        }
        if (pairs > 0) {
            ASSERT_NEAR(areaUnder(rocCurve(messages)), right / pairs, 1e-9);
        }
    }
}

TEST(roc_curve, empty_class_has_no_area)
{
    EXPECT_EQ(areaUnder(rocCurve({{true, 0.5}, {true, 0.6}})), 0);
    EXPECT_EQ(areaUnder(rocCurve({})), 0);
}

TEST(score_histogram, ends_of_the_scale_fall_into_the_outer_bins)
{
    const Histogram histogram =
        histogramOf({{true, 1.0}, {true, 0.95}, {false, 0.0}, {false, 0.0999}, {false, 0.1}, {true, 1.5}}, 10);
    EXPECT_EQ(histogram.spam, (std::vector<std::uint64_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 3}));
    EXPECT_EQ(histogram.ham, (std::vector<std::uint64_t>{2, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
}

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
