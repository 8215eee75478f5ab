// Token probabilities are computed in double, as they select the tokens that count; everything after that selection in
// long double, so that the model's own rounding stays far below what the engine's could be.
#include "classifier.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace velq::reference {

const std::string messageCountKeyBytes = test::utf16Bytes(VELQ_TEXT(".MSG_CNT"));
const std::string priorKeyBytes = test::bytes({0x2E, 0x52, 0x4F, 0x42, 0x58, 0x00});

namespace {

constexpr std::size_t shortestToken = 2;
constexpr std::size_t longestToken = 4;

constexpr double priorWeight = 0.0178;
constexpr double defaultPrior = 0.52;
constexpr double minimumDeviation = 0.375;
constexpr double spamCutoff = 0.9;
constexpr double hamCutoff = 0.45;
constexpr double epsilon = std::numeric_limits<double>::epsilon();

// Results closer than this to a limit are left to the engine.
constexpr long double spamicityMargin = 1e-9L;
constexpr double deviationMargin = 1e-12;

bool isListed(const Segmentation &found, const WideText &token)
{
    for (const TokenSlot &slot : found.slots) {
        if (slot.wholeText() == token) {
            return true;
        }
    }
    return false;
}

void list(Segmentation &found, const WideText &token, const TokenCounts &counts, const TokenCounts &messages)
{
    TokenSlot &slot = found.slots.at(found.count);
    token.copy(slot.text.data(), token.size());
    slot.length = token.size();
    slot.counts = counts;
    slot.messages = messages;
    if (found.count < countedTokens) {
        ++found.count;
    }
}

// The length of the longest stored sequence at the start of `rest`, 0 for none.
std::size_t longestStored(const WideText &rest, const Tokens &tokens)
{
    for (std::size_t length = std::min(rest.size(), longestToken); length >= shortestToken; --length) {
        if (tokens.count(test::utf16Bytes(rest.substr(0, length))) != 0) {
            return length;
        }
    }
    return 0;
}

bool isNearCutoff(long double spamicity)
{
    return std::fabs(spamicity - static_cast<long double>(spamCutoff)) < spamicityMargin ||
           std::fabs(spamicity - static_cast<long double>(hamCutoff)) < spamicityMargin;
}

double priorOf(const Tokens &tokens)
{
    const std::uint32_t millionths = readCounts(tokens, priorKeyBytes).spam;
    return millionths == 0 ? defaultPrior : millionths * 0.000001;
}

// The natural logarithm of a product; NaN for a negative one, as huge counts can make it.
long double logarithmOfProduct(const std::vector<double> &factors)
{
    long double sum = 0;
    bool negative = false;
    for (const double factor : factors) {
        sum += std::log(std::fabs(static_cast<long double>(factor)));
        negative ^= factor < 0;
    }
    return negative ? std::numeric_limits<long double>::quiet_NaN() : sum;
}

Score scoreOf(const std::vector<double> &probabilities, bool uncertain, double prior)
{
    Score score;
    score.used = static_cast<unsigned>(probabilities.size());
    score.uncertain = uncertain;
    if (probabilities.empty()) {
        score.spamicity = prior;
        score.verdict = classify(score.spamicity);
        return score;
    }
    std::vector<double> opposites;
    for (const double p : probabilities) {
        opposites.push_back(1 - p);
    }
    const long double hamLogarithm = logarithmOfProduct(opposites);
    const long double spamLogarithm = logarithmOfProduct(probabilities);
    const long double hamTail = chiSquareUpperTail(score.used, -hamLogarithm);
    const long double spamTail = chiSquareUpperTail(score.used, -spamLogarithm);
    score.spamicity = (1 + spamTail - hamTail) / 2;
    score.verdict = classify(score.spamicity);
    score.uncertain |= isNearCutoff(score.spamicity);
    score.uncertain |= std::isinf(hamLogarithm) || std::isinf(spamLogarithm);
    return score;
}

void change(Training operation, std::uint32_t &spam, std::uint32_t &ham)
{
    // A count from 2^31 up is taken for a negative number when something is removed from it.
    const auto removed = [](std::uint32_t count) { return count == 0 || count >= 0x80000000u ? 0 : count - 1; };
    switch (operation) {
    case Training::addSpam:
        ++spam;
        break;
    case Training::addHam:
        ++ham;
        break;
    case Training::removeSpam:
        spam = removed(spam);
        break;
    case Training::removeHam:
        ham = removed(ham);
        break;
    }
}

void changeMessages(Training operation, TokenCounts &messages)
{
    const auto removed = [](std::uint32_t count) { return count == 0 ? 0 : count - 1; };
    switch (operation) {
    case Training::addSpam:
        ++messages.spam;
        break;
    case Training::addHam:
        ++messages.ham;
        break;
    case Training::removeSpam:
        messages.spam = removed(messages.spam);
        break;
    case Training::removeHam:
        messages.ham = removed(messages.ham);
        break;
    }
}

} // namespace

TokenCounts readCounts(const Tokens &tokens, const std::string &keyBytes)
{
    const auto found = tokens.find(keyBytes);
    return found == tokens.end() ? TokenCounts{} : test::tokenCountsOf(found->second.bytes);
}

WideText TokenSlot::wholeText() const
{
    const WideText all(text.begin(), text.end());
    return all.substr(0, all.find(VELQ_WideChar{}));
}

WideText TokenSlot::token() const
{
    return WideText(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
}

Segmentation segment(const WideText &text, const Tokens &tokens)
{
    Segmentation found;
    const TokenCounts messages = readCounts(tokens, messageCountKeyBytes);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = longestStored(text.substr(at), tokens);
        if (length == 0) {
            ++at;
            continue;
        }
        const WideText token = text.substr(at, length);
        if (!isListed(found, token)) {
            list(found, token, readCounts(tokens, test::utf16Bytes(token)), messages);
        }
        at += length;
    }
    return found;
}

Verdict classify(long double spamicity)
{
    if (spamicity >= static_cast<long double>(spamCutoff)) {
        return Verdict::spam;
    }
    return spamicity <= static_cast<long double>(hamCutoff) ? Verdict::ham : Verdict::unsure;
}

double tokenProbability(std::uint32_t ham, std::uint32_t spam, std::uint32_t hamMessages, std::uint32_t spamMessages,
                        double prior)
{
    const std::uint32_t sum = ham + spam;
    if (sum == 0) {
        return prior;
    }
    const double n = static_cast<std::int32_t>(sum);
    const double spamSide = static_cast<double>(spam) * static_cast<double>(hamMessages);
    const double hamSide = static_cast<double>(ham) * static_cast<double>(spamMessages);
    const double p = spamSide / (hamSide + spamSide);
    return (n * p + priorWeight * prior) / (n + priorWeight);
}

long double chiSquareUpperTail(unsigned halfDegrees, long double halfStatistic)
{
    if (halfStatistic <= 0) {
        return 1;
    }
    long double term = 1;
    long double sum = 1;
    for (unsigned k = 1; k < halfDegrees; ++k) {
        term *= halfStatistic / k;
        sum += term;
    }
    return std::exp(-halfStatistic) * sum;
}

Score check(const Segmentation &segmentation, const Tokens &tokens, LoadedState &loaded)
{
    if (loaded.prior == 0) {
        loaded.prior = priorOf(tokens);
    }
    std::vector<double> used;
    bool uncertain = false;
    for (unsigned i = 0; i < segmentation.count; ++i) {
        const TokenSlot &slot = segmentation.slots.at(i);
        const double p =
            tokenProbability(slot.counts.ham, slot.counts.spam, slot.messages.ham, slot.messages.spam, loaded.prior);
        const double deviation = std::fabs(0.5 - p) - minimumDeviation;
        uncertain |= std::fabs(deviation) < deviationMargin;
        if (deviation >= epsilon) {
            used.push_back(p);
        }
    }
    return scoreOf(used, uncertain, loaded.prior);
}

void train(Training operation, const Segmentation &segmentation, Tokens &tokens)
{
    for (unsigned i = 0; i < segmentation.count; ++i) {
        const TokenSlot &slot = segmentation.slots.at(i);
        TokenCounts counts = slot.counts;
        change(operation, counts.spam, counts.ham);
        const auto stored = tokens.find(test::utf16Bytes(slot.token()));
        if (stored != tokens.end()) {
            stored->second = Value::ofBlob(test::tokenValueBytes(counts));
        }
    }
    TokenCounts messages = readCounts(tokens, messageCountKeyBytes);
    changeMessages(operation, messages);
    tokens[messageCountKeyBytes] = Value::ofBlob(test::tokenValueBytes(messages));
}

} // namespace velq::reference
