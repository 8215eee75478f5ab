// The figures against counts worked out by hand, and their limits.
#include "kit/evaluation/metrics.h"
#include "kit/messages/sampling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <optional>
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
    EXPECT_DOUBLE_EQ(metrics.spamCaught.value(), 0.9);
    EXPECT_DOUBLE_EQ(metrics.hamBlocked.value(), 0.01);
    EXPECT_DOUBLE_EQ(metrics.accuracy.value(), 387.0 / 400.0); // 90 and 297
    EXPECT_DOUBLE_EQ(metrics.error.value(), 13.0 / 400.0);
    EXPECT_DOUBLE_EQ(metrics.precision.value(), 90.0 / 93.0);
    EXPECT_DOUBLE_EQ(metrics.recall.value(), 0.9);
    EXPECT_DOUBLE_EQ(metrics.f1.value(), 180.0 / 193.0);
    // (90 * 297 - 3 * 10) / sqrt(93 * 100 * 300 * 307) = 26700 / 29266.7
    EXPECT_NEAR(metrics.mcc.value(), 26700.0 / std::sqrt(856530000.0), 1e-12);
    EXPECT_DOUBLE_EQ(metrics.unsure.value(), 36.0 / 400.0);
    EXPECT_DOUBLE_EQ(metrics.unsureSpam.value(), 0.06);
    EXPECT_DOUBLE_EQ(metrics.unsureHam.value(), 0.1);
}

TEST(metrics, confidence_interval_is_wilsons)
{
    EXPECT_FALSE(confidenceInterval(0, 0));
    // 10 of 100: (0.1 + 0.019207) / 1.038415 +- 1.96 / 1.038415 * sqrt(0.0009 + 0.00009604)
    EXPECT_NEAR(confidenceInterval(10, 100)->low, 0.05523, 5e-5);
    EXPECT_NEAR(confidenceInterval(10, 100)->high, 0.17437, 5e-5);
    EXPECT_EQ(confidenceInterval(0, 20)->low, 0);
    EXPECT_NEAR(confidenceInterval(0, 20)->high, 0.16113, 5e-5);
    EXPECT_NEAR(confidenceInterval(20, 20)->low, 1 - 0.16113, 5e-5);
    EXPECT_EQ(confidenceInterval(20, 20)->high, 1);
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
    EXPECT_DOUBLE_EQ(metricsOf(counts({7, 0, 0}, {0, 5, 0})).mcc.value(), 1.0);
    EXPECT_DOUBLE_EQ(metricsOf(counts({0, 7, 0}, {5, 0, 0})).mcc.value(), -1.0);
}

using Values = std::vector<std::optional<double> Metrics::*>;

void expectWithout(const Metrics &metrics, const Values &values)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_FALSE((metrics.*values[i]).has_value()) << i;
    }
}

TEST(metrics, figures_without_a_denominator_have_no_value)
{
    const Metrics nothing = metricsOf({});
    expectWithout(nothing, {&Metrics::spamCaught, &Metrics::hamBlocked, &Metrics::accuracy, &Metrics::error,
                            &Metrics::precision, &Metrics::recall, &Metrics::f1, &Metrics::mcc, &Metrics::unsure,
                            &Metrics::unsureSpam, &Metrics::unsureHam});

    const Metrics onlyHam = metricsOf(counts({0, 0, 0}, {0, 5, 1}));
    expectWithout(onlyHam, {&Metrics::spamCaught, &Metrics::recall, &Metrics::precision, &Metrics::f1, &Metrics::mcc,
                            &Metrics::unsureSpam});
    EXPECT_EQ(onlyHam.accuracy, 1.0);
    EXPECT_EQ(onlyHam.error, 0.0);
    EXPECT_EQ(onlyHam.hamBlocked, 0.0);
    EXPECT_DOUBLE_EQ(onlyHam.unsureHam.value(), 1.0 / 6);

    const Metrics onlySpam = metricsOf(counts({3, 1, 0}, {0, 0, 0}));
    expectWithout(onlySpam, {&Metrics::hamBlocked, &Metrics::mcc, &Metrics::unsureHam});
    EXPECT_DOUBLE_EQ(onlySpam.accuracy.value(), 0.75);
    EXPECT_DOUBLE_EQ(onlySpam.precision.value(), 1);

    EXPECT_EQ(metricsOf(counts({0, 0, 0}, {1, 4, 0})).f1, 0.0) << "something was rated spam";
    EXPECT_EQ(metricsOf(counts({0, 2, 0}, {0, 4, 0})).f1, 0.0) << "there is spam";
    expectWithout(metricsOf(counts({0, 2, 0}, {0, 4, 0})), {&Metrics::precision, &Metrics::mcc});
    expectWithout(metricsOf(counts({2, 0, 0}, {4, 0, 0})), {&Metrics::mcc});
}

TEST(metrics, every_figure_stays_within_its_limits)
{
    const Values shares = {&Metrics::spamCaught, &Metrics::hamBlocked, &Metrics::accuracy, &Metrics::error,
                           &Metrics::precision,  &Metrics::recall,     &Metrics::f1,       &Metrics::unsure,
                           &Metrics::unsureSpam, &Metrics::unsureHam};
    SeededSequence sequence(4);
    constexpr std::uint64_t sizes[] = {1, 2, 5, 1000, 4000000000U};
    for (int round = 0; round < 5000; ++round) {
        std::array<std::uint64_t, 6> cells{};
        for (std::uint64_t &cell : cells) {
            cell = sequence.below(sizes[sequence.below(std::size(sizes))]);
        }
        const Metrics metrics = metricsOf(counts({cells[0], cells[1], cells[2]}, {cells[3], cells[4], cells[5]}));
        for (const auto share : shares) {
            ASSERT_GE((metrics.*share).value_or(0), 0);
            ASSERT_LE((metrics.*share).value_or(0), 1);
        }
        ASSERT_GE(metrics.mcc.value_or(0), -1);
        ASSERT_LE(metrics.mcc.value_or(0), 1);
    }
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
            messages.push_back({sequence.below(3U) == 0, static_cast<double>(sequence.below(8U)) / 7});
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
            ASSERT_NEAR(areaUnder(rocCurve(messages)).value(), right / pairs, 1e-9);
        }
    }
}

TEST(roc_curve, empty_class_has_no_area)
{
    EXPECT_FALSE(areaUnder(rocCurve({{true, 0.5}, {true, 0.6}})).has_value());
    EXPECT_FALSE(areaUnder(rocCurve({{false, 0.5}})).has_value());
    EXPECT_FALSE(areaUnder(rocCurve({})).has_value());
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
