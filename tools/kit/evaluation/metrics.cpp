// The arithmetic of the figures. Knows nothing of the engine, of corpora or of how figures are shown.
#include "kit/evaluation/metrics.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velq::kit {

namespace {

std::optional<double> share(std::uint64_t part, std::uint64_t whole)
{
    if (whole == 0) {
        return std::nullopt;
    }
    return static_cast<double>(part) / static_cast<double>(whole);
}

// Each factor is rooted by itself: the product of the four sums can exceed what a double counts exactly.
std::optional<double> matthews(double truePositive, double falsePositive, double falseNegative, double trueNegative)
{
    const double scale = std::sqrt(truePositive + falsePositive) * std::sqrt(truePositive + falseNegative) *
                         std::sqrt(trueNegative + falsePositive) * std::sqrt(trueNegative + falseNegative);
    if (scale == 0) {
        return std::nullopt;
    }
    return std::clamp((truePositive * trueNegative - falsePositive * falseNegative) / scale, -1.0, 1.0);
}

} // namespace

void count(ConfusionCounts &counts, bool isSpam, Rating rating)
{
    ClassCounts &row = isSpam ? counts.spam : counts.ham;
    switch (rating) {
    case Rating::spam:
        ++row.ratedSpam;
        break;
    case Rating::ham:
        ++row.ratedHam;
        break;
    case Rating::unsure:
        ++row.ratedUnsure;
        break;
    }
}

ConfusionCounts &operator+=(ConfusionCounts &sum, const ConfusionCounts &other)
{
    sum.spam.ratedSpam += other.spam.ratedSpam;
    sum.spam.ratedHam += other.spam.ratedHam;
    sum.spam.ratedUnsure += other.spam.ratedUnsure;
    sum.ham.ratedSpam += other.ham.ratedSpam;
    sum.ham.ratedHam += other.ham.ratedHam;
    sum.ham.ratedUnsure += other.ham.ratedUnsure;
    return sum;
}

std::optional<Interval> confidenceInterval(std::uint64_t hits, std::uint64_t all)
{
    if (all == 0) {
        return std::nullopt;
    }
    constexpr double z = 1.959963984540054; // 97.5 % of the normal distribution lie below
    const auto n = static_cast<double>(all);
    const double found = static_cast<double>(hits) / n;
    const double scale = 1 + z * z / n;
    const double middle = (found + z * z / (2 * n)) / scale;
    const double reach = z / scale * std::sqrt(found * (1 - found) / n + z * z / (4 * n * n));
    return Interval{hits == 0 ? 0 : middle - reach, hits == all ? 1 : middle + reach};
}

Metrics metricsOf(const ConfusionCounts &counts)
{
    const std::uint64_t caught = counts.spam.ratedSpam;
    const std::uint64_t blocked = counts.ham.ratedSpam;
    const std::uint64_t missed = counts.spam.total() - caught;
    const std::uint64_t passed = counts.ham.total() - blocked;

    Metrics metrics;
    metrics.spamCaught = share(caught, counts.spam.total());
    metrics.hamBlocked = share(blocked, counts.ham.total());
    metrics.accuracy = share(caught + passed, counts.total());
    if (metrics.accuracy) {
        metrics.error = 1 - *metrics.accuracy;
    }
    metrics.precision = share(caught, caught + blocked);
    metrics.recall = metrics.spamCaught;
    metrics.f1 = share(2 * caught, 2 * caught + blocked + missed);
    metrics.mcc = matthews(static_cast<double>(caught), static_cast<double>(blocked), static_cast<double>(missed),
                           static_cast<double>(passed));
    metrics.unsure = share(counts.spam.ratedUnsure + counts.ham.ratedUnsure, counts.total());
    metrics.unsureSpam = share(counts.spam.ratedUnsure, counts.spam.total());
    metrics.unsureHam = share(counts.ham.ratedUnsure, counts.ham.total());
    return metrics;
}

std::vector<RocPoint> rocCurve(std::vector<ScoredMessage> messages)
{
    std::sort(messages.begin(), messages.end(),
              [](const ScoredMessage &a, const ScoredMessage &b) { return a.score > b.score; });
    const auto spamTotal = static_cast<std::uint64_t>(
        std::count_if(messages.begin(), messages.end(), [](const ScoredMessage &message) { return message.isSpam; }));
    const std::uint64_t hamTotal = messages.size() - spamTotal;

    std::vector<RocPoint> curve{{0, 0, std::numeric_limits<double>::infinity()}};
    std::uint64_t spam = 0;
    std::uint64_t ham = 0;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        ++(messages[i].isSpam ? spam : ham);
        if (i + 1 == messages.size() || messages[i + 1].score != messages[i].score) {
            curve.push_back({share(ham, hamTotal).value_or(0), share(spam, spamTotal).value_or(0), messages[i].score});
        }
    }
    return curve;
}

std::optional<double> areaUnder(const std::vector<RocPoint> &curve)
{
    if (curve.empty() || curve.back().hamShare == 0 || curve.back().spamShare == 0) {
        return std::nullopt;
    }
    double area = 0;
    for (std::size_t i = 1; i < curve.size(); ++i) {
        area += (curve[i].hamShare - curve[i - 1].hamShare) * (curve[i].spamShare + curve[i - 1].spamShare) / 2;
    }
    return std::clamp(area, 0.0, 1.0);
}

Histogram histogramOf(const std::vector<ScoredMessage> &messages, std::size_t bins)
{
    Histogram histogram{std::vector<std::uint64_t>(bins), std::vector<std::uint64_t>(bins)};
    if (bins == 0) {
        return histogram;
    }
    for (const ScoredMessage &message : messages) {
        const double position = std::clamp(message.score, 0.0, 1.0) * static_cast<double>(bins);
        const std::size_t bin = std::min(static_cast<std::size_t>(position), bins - 1);
        ++(message.isSpam ? histogram.spam : histogram.ham)[bin];
    }
    return histogram;
}

} // namespace velq::kit
