// Counts of verdicts against labels, and the figures made from them. UNSURE is counted apart and, wherever a figure
// asks only whether a message was called spam, is "not spam".
#ifndef VELQ_KIT_EVALUATION_METRICS_H
#define VELQ_KIT_EVALUATION_METRICS_H

#include "kit/engine/rating.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace velq::kit {

// The messages of one class by their rating.
struct ClassCounts {
    std::uint64_t ratedSpam = 0;
    std::uint64_t ratedHam = 0;
    std::uint64_t ratedUnsure = 0;

    std::uint64_t total() const
    {
        return ratedSpam + ratedHam + ratedUnsure;
    }
    friend bool operator==(const ClassCounts &, const ClassCounts &) = default;
};

struct ConfusionCounts {
    ClassCounts spam;
    ClassCounts ham;

    std::uint64_t total() const
    {
        return spam.total() + ham.total();
    }
    friend bool operator==(const ConfusionCounts &, const ConfusionCounts &) = default;
};

void count(ConfusionCounts &counts, bool isSpam, Rating rating);
ConfusionCounts &operator+=(ConfusionCounts &sum, const ConfusionCounts &other);

// Shares are within [0, 1], mcc within [-1, 1]. A figure without a denominator has no value: without spam there is no
// share of spam.
struct Metrics {
    std::optional<double> spamCaught; // SC: spam rated spam, of all spam; also the recall
    std::optional<double> hamBlocked; // BH: ham rated spam, of all ham
    std::optional<double> accuracy;   // spam rated spam and ham not rated spam, of all
    std::optional<double> error;      // the rest of all
    std::optional<double> precision;  // spam, of all rated spam
    std::optional<double> recall;     // the same as spamCaught
    std::optional<double> f1;         // harmonic mean of precision and recall
    std::optional<double> mcc;        // Matthews correlation of the label with "rated spam"
    std::optional<double> unsure;     // rated unsure, of all
    std::optional<double> unsureSpam; // rated unsure, of all spam
    std::optional<double> unsureHam;  // rated unsure, of all ham
};

Metrics metricsOf(const ConfusionCounts &counts);

// The range in which a share lies with 95 % confidence, when `hits` of `all` were found: Wilson's score interval. None
// of nothing.
struct Interval {
    double low = 0;
    double high = 1;
};
std::optional<Interval> confidenceInterval(std::uint64_t hits, std::uint64_t all);

struct ScoredMessage {
    bool isSpam = false;
    double score = 0; // higher is more like spam
};

struct RocPoint {
    double hamShare = 0;  // ham scored at or above the threshold, of all ham
    double spamShare = 0; // spam scored at or above the threshold, of all spam
    double threshold = 0; // infinity at the origin
};

// From (0, 0) to (1, 1), one point for each different score; ties form one step. Both axes stay 0 for an empty class.
std::vector<RocPoint> rocCurve(std::vector<ScoredMessage> messages);

// The area under the curve by the trapezoid rule: the chance that a spam message scores above a ham message, ties
// counting half. None when a class is empty.
std::optional<double> areaUnder(const std::vector<RocPoint> &curve);

// Messages of each class by score, in equal bins over [0, 1]; 1 falls into the last bin, scores beyond are clamped.
struct Histogram {
    std::vector<std::uint64_t> spam;
    std::vector<std::uint64_t> ham;
};

Histogram histogramOf(const std::vector<ScoredMessage> &messages, std::size_t bins);

} // namespace velq::kit

#endif
