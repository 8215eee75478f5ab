// The engine's arithmetic and its order of steps. Kept apart from the engine's sources on purpose: the engine reads one
// message at a time from a database, whereas building a store takes millions of readings.
#include "kit/reading/message_reading.h"

#include "kit/reading/text_filter.h"

#include <cmath>
#include <limits>

namespace velq::kit {

static constexpr double priorWeight = 0.0178;
static constexpr double minimumDeviation = 0.375;

std::u16string unpackToken(PackedToken token)
{
    std::u16string units;
    for (; token != 0; token >>= 16) {
        units.push_back(static_cast<char16_t>(token & 0xFFFF));
    }
    return units;
}

// ---- Scores -------------------------------------------------------------------------------------------------------

double tokenProbability(const TokenStats &counts, const StoreTotals &totals)
{
    const std::uint32_t sum = counts.spam + counts.ham;
    if (sum == 0) {
        return totals.prior;
    }
    const double n = static_cast<std::int32_t>(sum);
    const double spamSide = static_cast<double>(counts.spam) * totals.hamMessages;
    const double hamSide = static_cast<double>(counts.ham) * totals.spamMessages;
    const double p = spamSide / (hamSide + spamSide);
    return (n * p + priorWeight * totals.prior) / (n + priorWeight);
}

bool probabilityCounts(double probability)
{
    return std::fabs(0.5 - probability) - minimumDeviation >= std::numeric_limits<double>::epsilon();
}

// With an even number of degrees of freedom the tail is a Poisson distribution's sum: Q(n, x) = e^-x sum x^k / k!.
double chiSquareTail(std::size_t halfDegrees, double halfStatistic)
{
    if (halfStatistic <= 0) {
        return 1;
    }
    double term = std::exp(-halfStatistic);
    double sum = term;
    for (std::size_t k = 1; k < halfDegrees; ++k) {
        term *= halfStatistic / static_cast<double>(k);
        sum += term;
    }
    return std::min(sum, 1.0);
}

ClassifierScore scoreOf(const std::vector<ReadToken> &tokens, double prior)
{
    ClassifierScore score;
    double spamEvidence = 0;
    double hamEvidence = 0;
    for (const ReadToken &token : tokens) {
        if (token.counted) {
            spamEvidence -= std::log(1 - token.probability);
            hamEvidence -= std::log(token.probability);
            ++score.counted;
        }
    }
    if (score.counted == 0) {
        score.spamicity = prior;
        return score;
    }
    score.spamTail = chiSquareTail(score.counted, spamEvidence);
    score.hamTail = chiSquareTail(score.counted, hamEvidence);
    score.spamicity = (1 + score.hamTail - score.spamTail) * 0.5;
    return score;
}

// ---- Readings -----------------------------------------------------------------------------------------------------

void decide(Reading &reading, DecidingStep step, Rating rating)
{
    reading.step = step;
    reading.rating = rating;
}

void decideByTokens(Reading &reading, std::u16string_view filtered)
{
    if (reading.tokens.size() < fewestTokens) {
        decide(reading, DecidingStep::fewTokens, Rating::unsure);
        return;
    }
    reading.score = scoreOf(reading.tokens, reading.totals.prior);
    const double spamicity = reading.score->spamicity;
    if (spamicity >= spamCutoff) {
        decide(reading, DecidingStep::classifier, Rating::spam);
    } else if (spamicity <= hamCutoff) {
        decide(reading, DecidingStep::classifier, Rating::ham);
    } else if (hasDigitRun(filtered)) {
        decide(reading, DecidingStep::digitRun, Rating::spam);
    } else if (filtered.size() <= longestBrief) {
        decide(reading, DecidingStep::shortText, Rating::ham);
    } else {
        decide(reading, DecidingStep::classifier, Rating::unsure);
    }
}

} // namespace velq::kit
