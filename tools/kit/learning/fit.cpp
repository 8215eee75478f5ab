// The engine counts a token only when its probability is far from one half, which no gradient can pass. The fitting
// therefore counts each token by a share, a sigmoid of its distance from that limit that grows steeper as the fitting
// goes on, and takes the chi-square tails in the Wilson-Hilferty form, which is smooth in the number of tokens too.
#include "kit/learning/fit.h"

#include "kit/learning/learned_token.h"
#include "kit/messages/sampling.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace velq::kit {

double leanOfWeight(double weight)
{
    constexpr double scale = 6;
    constexpr double neutralBelow = 0.4;
    constexpr double slope = 0.8;
    constexpr double most = 4;
    double size = std::fabs(weight) * scale;
    if (size > neutralBelow) {
        size = std::min(most, leastLean + (size - neutralBelow) * slope);
    }
    return std::copysign(size, weight);
}

namespace {

constexpr int fits = 3; // with tokens left out by other chances; their mean is taken
constexpr int fitRounds = 200;
constexpr double stepSize = 0.05;
constexpr double lateStepSize = 0.015;
constexpr int lateRound = 140;
constexpr double pull = 0.05;        // towards the start, for each token
constexpr double dropShare = 0.6;    // tokens of a message left out, by chance, in each round
constexpr double firstSteepness = 2; // of the counted share
constexpr double lastSteepness = 8;
constexpr double countedFrom = 2; // log odds
constexpr double unsureSteepness = 3;
constexpr double unsureFrom = -0.6;     // on the log odds of the spamicity, short of the ham cut-off
constexpr double plainCutoff = 2.2;     // log odds of the spam cut-off
constexpr double digitRunCutoff = -0.2; // log odds of the ham cut-off
constexpr double emptyScore = -0.405;   // log odds of a score without evidence: the prior of built stores
constexpr double fewTokens = 3;         // below, the classifier is not asked

double sigmoid(double x)
{
    return 1 / (1 + std::exp(-x));
}

double normalBelow(double x)
{
    return 0.5 * std::erfc(-x * 0.70710678118654752);
}

double normalDensity(double x)
{
    return 0.39894228040143268 * std::exp(-0.5 * x * x);
}

// The normal score of a chi-square tail with 2n degrees of freedom at 2x, and its slopes. Its normal integral is the
// tail. Far out the score is held: there is nothing to be gained any more.
struct TailScore {
    double score;
    double byEvidence;
    double byCount;
};

TailScore tailScore(double evidence, double count)
{
    constexpr double lowest = -7;
    const double x = std::max(evidence, 1e-3);
    const double n = std::max(count, 0.5);
    const double root = std::sqrt(n);
    const double ratio = std::cbrt(x / n);
    TailScore tail{3 * root - 1 / (3 * root) - 3 * root * ratio, -1 / (root * ratio * ratio),
                   1.5 / root + 1 / (6 * n * root) - 0.5 * ratio / root};
    if (tail.score < lowest) {
        return {lowest, 0, 0};
    }
    if (count < n) {
        tail.byCount = 0;
    }
    return tail;
}

// What each token brings into a message's sums at its present log odds, and how that changes with them.
struct TokenTerms {
    double share, shareSlope;
    double spamEvidence, spamSlope;
    double hamEvidence, hamSlope;
};

TokenTerms termsOf(double lean, double steepness)
{
    const double share = sigmoid(steepness * (std::fabs(lean) - countedFrom));
    const double shareSlope = std::copysign(steepness * share * (1 - share), lean);
    const double p = sigmoid(lean);
    const double spamEvidence = std::log1p(std::exp(lean)); // -ln(1 - p)
    const double hamEvidence = std::log1p(std::exp(-lean)); // -ln(p)
    return {share,
            shareSlope,
            share * spamEvidence,
            share * p + shareSlope * spamEvidence,
            share * hamEvidence,
            -share * (1 - p) + shareSlope * hamEvidence};
}

struct Slopes {
    double count = 0;
    double spamEvidence = 0;
    double hamEvidence = 0;
};

// The slope of a message's loss over the log odds of its spamicity.
double lossSlope(const SegmentedText &text, const FitCosts &costs, double score)
{
    const double cutoff = text.digitRun ? digitRunCutoff : plainCutoff;
    if (text.spam) {
        return -sigmoid(cutoff - score);
    }
    double slope = costs.blocked * sigmoid(score - cutoff);
    if (!text.digitRun && !text.brief) {
        const double unsure = sigmoid(unsureSteepness * (score - unsureFrom));
        slope += costs.unsure * unsureSteepness * unsure * (1 - unsure);
    }
    return slope;
}

Slopes slopesOf(const SegmentedText &text, const FitCosts &costs, double count, double spamEvidence, double hamEvidence)
{
    constexpr double tiny = 1e-9;
    constexpr double fadeIn = 3; // how fast evidence takes over from the prior as tokens count
    const TailScore spamTail = tailScore(spamEvidence, count);
    const TailScore hamTail = tailScore(hamEvidence, count);
    const double towardsSpam = normalBelow(hamTail.score) + normalBelow(-spamTail.score) + tiny;
    const double towardsHam = normalBelow(-hamTail.score) + normalBelow(spamTail.score) + tiny;
    const double evidenceScore = std::log(towardsSpam / towardsHam);
    const double sensitivity = 1 / towardsSpam + 1 / towardsHam;
    const double byHamTail = normalDensity(hamTail.score) * sensitivity;
    const double bySpamTail = -normalDensity(spamTail.score) * sensitivity;
    const double shown = 1 - std::exp(-fadeIn * count);
    const double slope = text.weight * lossSlope(text, costs, shown * evidenceScore + (1 - shown) * emptyScore);
    return {slope * (shown * (bySpamTail * spamTail.byCount + byHamTail * hamTail.byCount) +
                     fadeIn * (1 - shown) * (evidenceScore - emptyScore)),
            slope * shown * bySpamTail * spamTail.byEvidence, slope * shown * byHamTail * hamTail.byEvidence};
}

// Adds one message's part to the gradient, with a share of its tokens left out so that no message leans on few tokens.
void addGradient(const SegmentedText &text, const FitCosts &costs, const std::vector<TokenTerms> &terms,
                 SeededSequence &sequence, std::vector<std::uint32_t> &kept, std::vector<double> &gradient)
{
    constexpr double unit = 1.0 / 16777216;
    double count = 0;
    double spamEvidence = 0;
    double hamEvidence = 0;
    kept.clear();
    for (const std::uint32_t token : text.tokens) {
        if (static_cast<double>(sequence.next() >> 40) * unit < dropShare) {
            continue;
        }
        kept.push_back(token);
        count += terms[token].share;
        spamEvidence += terms[token].spamEvidence;
        hamEvidence += terms[token].hamEvidence;
    }
    const Slopes slopes = slopesOf(text, costs, count, spamEvidence, hamEvidence);
    for (const std::uint32_t token : kept) {
        gradient[token] += slopes.count * terms[token].shareSlope + slopes.spamEvidence * terms[token].spamSlope +
                           slopes.hamEvidence * terms[token].hamSlope;
    }
}

// Adam: steps by the running mean of the gradient over the root of its running square.
struct Stepper {
    std::vector<double> mean;
    std::vector<double> square;
    double meanFade = 1;
    double squareFade = 1;
};

void step(Stepper &stepper, double size, const std::vector<double> &gradient, const std::vector<std::uint8_t> &fixed,
          std::vector<double> &leans)
{
    constexpr double meanKept = 0.9;
    constexpr double squareKept = 0.99;
    stepper.meanFade *= meanKept;
    stepper.squareFade *= squareKept;
    for (std::size_t i = 0; i < leans.size(); ++i) {
        stepper.mean[i] = meanKept * stepper.mean[i] + (1 - meanKept) * gradient[i];
        stepper.square[i] = squareKept * stepper.square[i] + (1 - squareKept) * gradient[i] * gradient[i];
        if (fixed[i] == 0) {
            const double mean = stepper.mean[i] / (1 - stepper.meanFade);
            const double root = std::sqrt(stepper.square[i] / (1 - stepper.squareFade)) + 1e-8;
            leans[i] = std::clamp(leans[i] - size * mean / root, -greatestHamLean, greatestSpamLean);
        }
    }
}

void fitOnce(const std::vector<SegmentedText> &texts, const std::vector<std::uint8_t> &fixed, const FitCosts &costs,
             std::uint64_t seed, std::vector<double> &leans)
{
    const std::vector<double> start = leans;
    std::vector<TokenTerms> terms(leans.size());
    std::vector<double> gradient(leans.size());
    std::vector<std::uint32_t> kept;
    Stepper stepper{std::vector<double>(leans.size(), 0), std::vector<double>(leans.size(), 0)};
    SeededSequence sequence(seed);
    for (int round = 0; round < fitRounds; ++round) {
        const double steepness = firstSteepness + (lastSteepness - firstSteepness) * round / (fitRounds - 1);
        for (std::size_t i = 0; i < leans.size(); ++i) {
            terms[i] = termsOf(leans[i], steepness);
            gradient[i] = 2 * pull * (leans[i] - start[i]);
        }
        for (const SegmentedText &text : texts) {
            if (static_cast<double>(text.tokens.size()) >= fewTokens) {
                addGradient(text, costs, terms, sequence, kept, gradient);
            }
        }
        step(stepper, round < lateRound ? stepSize : lateStepSize, gradient, fixed, leans);
    }
}

} // namespace

void fitLeans(const std::vector<SegmentedText> &texts, const std::vector<std::uint8_t> &fixed, const FitCosts &costs,
              std::uint64_t seed, std::vector<double> &leans)
{
    std::vector<double> sums(leans.size(), 0);
    SeededSequence seeds(seed);
    for (int fit = 0; fit < fits; ++fit) {
        std::vector<double> fitted = leans;
        fitOnce(texts, fixed, costs, seeds.next(), fitted);
        for (std::size_t i = 0; i < leans.size(); ++i) {
            sums[i] += fitted[i];
        }
    }
    for (std::size_t i = 0; i < leans.size(); ++i) {
        if (fixed[i] == 0) {
            const double lean = sums[i] / fits;
            const double size = std::fabs(lean);
            leans[i] = size < countedFrom ? 0 : std::copysign(std::max(size, leastLean), lean);
        }
    }
}

} // namespace velq::kit
