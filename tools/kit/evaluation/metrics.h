// Counts of verdicts against labels, and the figures made from them. UNSURE is counted apart and, wherever a figure
// asks only whether a message was called spam, is "not spam".
#ifndef VELQ_KIT_EVALUATION_METRICS_H
#define VELQ_KIT_EVALUATION_METRICS_H

#include "kit/engine/rating.h"

#include <array>
#include <cstdint>
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

// Shares are within [0, 1], mcc within [-1, 1]. A figure whose denominator is zero is 0: nothing was caught, blocked or
// correlated.
struct Metrics {
    double spamCaught = 0; // SC: spam rated spam, of all spam; also the recall
    double hamBlocked = 0; // BH: ham rated spam, of all ham
    double accuracy = 0;   // spam rated spam and ham not rated spam, of all
    double precision = 0;  // spam, of all rated spam
    double recall = 0;     // the same as spamCaught
    double f1 = 0;         // harmonic mean of precision and recall
    double mcc = 0;        // Matthews correlation of the label with "rated spam"
    double unsure = 0;     // rated unsure, of all
    double unsureSpam = 0; // rated unsure, of all spam
    double unsureHam = 0;  // rated unsure, of all ham
};

// The figures in the order in which people are shown them.
struct NamedFigure {
    const char *name;
    double Metrics::*figure;
};

inline constexpr std::array<NamedFigure, 9> shownFigures = {{{"accuracy", &Metrics::accuracy},
                                                             {"SC (recall)", &Metrics::spamCaught},
                                                             {"BH", &Metrics::hamBlocked},
                                                             {"precision", &Metrics::precision},
                                                             {"F1", &Metrics::f1},
                                                             {"MCC", &Metrics::mcc},
                                                             {"unsure", &Metrics::unsure},
                                                             {"unsure, of spam", &Metrics::unsureSpam},
                                                             {"unsure, of ham", &Metrics::unsureHam}}};

Metrics metricsOf(const ConfusionCounts &counts);

// Whether the figure has a denominator: without spam there is no share of spam, whatever number stands for it.
bool isDefined(const ConfusionCounts &counts, double Metrics::*figure);

// The mean of each figure, and how far the figures of single folds lie from it (standard deviation over the given
// folds, not an estimate beyond them). All zero for no folds.
Metrics meanOf(const std::vector<Metrics> &folds);
Metrics deviationOf(const std::vector<Metrics> &folds);

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
// counting half. 0 when a class is empty.
double areaUnder(const std::vector<RocPoint> &curve);

// Messages of each class by score, in equal bins over [0, 1]; 1 falls into the last bin, scores beyond are clamped.
struct Histogram {
    std::vector<std::uint64_t> spam;
    std::vector<std::uint64_t> ham;
};

Histogram histogramOf(const std::vector<ScoredMessage> &messages, std::size_t bins);

} // namespace velq::kit

#endif
