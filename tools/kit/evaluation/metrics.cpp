// The arithmetic of the figures. Knows nothing of the engine, of corpora or of how figures are shown.
#include "kit/evaluation/metrics.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velq::kit {

namespace {

double share(std::uint64_t part, std::uint64_t whole)
{
    return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

// Each factor is rooted by itself: the product of the four sums can exceed what a double counts exactly.
double matthews(double truePositive, double falsePositive, double falseNegative, double trueNegative)
{
    const double scale = std::sqrt(truePositive + falsePositive) * std::sqrt(truePositive + falseNegative) *
                         std::sqrt(trueNegative + falsePositive) * std::sqrt(trueNegative + falseNegative);
    if (scale == 0) {
        return 0;
    }
    return std::clamp((truePositive * trueNegative - falsePositive * falseNegative) / scale, -1.0, 1.0);
}

constexpr double Metrics::*fields[] = {
    &Metrics::spamCaught, &Metrics::hamBlocked, &Metrics::accuracy, &Metrics::precision,  &Metrics::recall,
    &Metrics::f1,         &Metrics::mcc,        &Metrics::unsure,   &Metrics::unsureSpam, &Metrics::unsureHam};
static_assert(sizeof(Metrics) == std::size(fields) * sizeof(double), "every figure is averaged");

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

bool isDefined(const ConfusionCounts &counts, double Metrics::*figure)
{
    const bool spam = counts.spam.total() > 0;
    const bool ham = counts.ham.total() > 0;
    const std::uint64_t ratedSpam = counts.spam.ratedSpam + counts.ham.ratedSpam;
    if (figure == &Metrics::spamCaught || figure == &Metrics::recall || figure == &Metrics::unsureSpam) {
        return spam;
    }
    if (figure == &Metrics::hamBlocked || figure == &Metrics::unsureHam) {
        return ham;
    }
    if (figure == &Metrics::precision) {
        return ratedSpam > 0;
    }
    if (figure == &Metrics::f1) {
        return spam || ratedSpam > 0;
    }
    if (figure == &Metrics::mcc) {
        return spam && ham && ratedSpam > 0 && ratedSpam < counts.total();
    }
    return spam || ham;
}

Metrics meanOf(const std::vector<Metrics> &folds)
{
    Metrics mean;
    if (folds.empty()) {
        return mean;
    }
    for (const auto field : fields) {
        double sum = 0;
        for (const Metrics &fold : folds) {
            sum += fold.*field;
        }
        mean.*field = sum / static_cast<double>(folds.size());
    }
    return mean;
}

Metrics deviationOf(const std::vector<Metrics> &folds)
{
    Metrics deviation;
    if (folds.empty()) {
        return deviation;
    }
    const Metrics mean = meanOf(folds);
    for (const auto field : fields) {
        double squares = 0;
        for (const Metrics &fold : folds) {
            squares += (fold.*field - mean.*field) * (fold.*field - mean.*field);
        }
        deviation.*field = std::sqrt(squares / static_cast<double>(folds.size()));
    }
    return deviation;
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
            curve.push_back({share(ham, hamTotal), share(spam, spamTotal), messages[i].score});
        }
    }
    return curve;
}

double areaUnder(const std::vector<RocPoint> &curve)
{
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
