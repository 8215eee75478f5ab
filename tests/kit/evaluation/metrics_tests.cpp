// The figures against counts worked out by hand, and their limits.
#include "kit/evaluation/metrics.h"
#include "kit/messages/sampling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
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

} // namespace
} // namespace velq::kit
