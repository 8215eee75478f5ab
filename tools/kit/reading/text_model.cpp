// The engine's reading of a message on plain records. Kept apart from the engine's sources on purpose: the engine reads
// one message at a time from a database, whereas building a store takes millions of readings.
#include "kit/reading/text_model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace velq::kit {

namespace {

constexpr double priorWeight = 0.0178;
constexpr double defaultPrior = 0.52;
constexpr double minimumDeviation = 0.375;
constexpr std::size_t digitRunLength = 7;
constexpr std::size_t fewTokens = 2;

constexpr std::u16string_view punctuation = u"#'+/;?[_{$(<@\\|!%)-=]}\"*:> ^~`.\r\n"
                                            u"\uFF03\u25CE\uFFE5\uFF05\u203B\uFF0B\uFF0D\uFF5E\u300A\u300B\uFF1F"
                                            u"\uFF0C\u3002\u3010\u3011\uFF09\uFF08\u3001\uFF1A\uFF01\uFF1B\u2605\u2192";

constexpr char16_t firstLatinOne = 0x81;
constexpr char16_t lastLatinOne = 0xFD;

std::array<bool, 0x10000> punctuationTable()
{
    std::array<bool, 0x10000> table{};
    for (const char16_t unit : punctuation) {
        table[unit] = true;
    }
    for (std::size_t unit = firstLatinOne; unit <= lastLatinOne; ++unit) {
        table[unit] = true;
    }
    return table;
}

bool isPunctuation(char16_t unit)
{
    static const std::array<bool, 0x10000> table = punctuationTable();
    return table[unit];
}

bool isSmallLetter(char16_t unit)
{
    return unit >= u'a' && unit <= u'z';
}

// Only small letters of the body as it came make company: in "Ab" the b stands alone, the A does not.
bool hasLetterNeighbour(std::u16string_view body, std::size_t at)
{
    const std::size_t last = body.size() - 1;
    if (at == 0) {
        return isSmallLetter(body[std::min<std::size_t>(1, last)]);
    }
    return isSmallLetter(body[at - 1]) || (at < last && isSmallLetter(body[at + 1]));
}

} // namespace

bool isDigitUnit(char16_t unit)
{
    return (unit >= u'0' && unit <= u'9') || (unit >= u'\uFF10' && unit <= u'\uFF19');
}

std::u16string filterText(std::u16string_view body)
{
    body = body.substr(0, body.find(u'\0'));
    std::u16string filtered;
    filtered.reserve(body.size());
    for (std::size_t at = 0; at < body.size(); ++at) {
        char16_t unit = body[at];
        if (isPunctuation(unit)) {
            continue;
        }
        if (unit >= u'A' && unit <= u'Z') {
            unit = static_cast<char16_t>(unit + (u'a' - u'A'));
        }
        if (!isSmallLetter(unit) || hasLetterNeighbour(body, at)) {
            filtered.push_back(unit);
        }
    }
    return filtered;
}

bool hasDigitRun(std::u16string_view filtered)
{
    std::size_t run = 0;
    for (const char16_t unit : filtered) {
        run = unit >= u'0' && unit <= u'9' ? run + 1 : 0;
        if (run == digitRunLength) {
            return true;
        }
    }
    return false;
}

PackedToken packToken(std::u16string_view token)
{
    PackedToken packed = 0;
    for (std::size_t i = 0; i < token.size(); ++i) {
        packed |= static_cast<PackedToken>(token[i]) << (16 * i);
    }
    return packed;
}

std::u16string unpackToken(PackedToken token)
{
    std::u16string units;
    for (; token != 0; token >>= 16) {
        units.push_back(static_cast<char16_t>(token & 0xFFFF));
    }
    return units;
}

StoreIndex indexStore(const Store &store)
{
    StoreIndex index;
    index.tokens.reserve(store.tokens.size());
    for (const auto &[text, counts] : store.tokens) {
        index.tokens.emplace(packToken(text), counts);
    }
    index.spamMessages = store.spamMessages;
    index.hamMessages = store.hamMessages;
    index.prior = store.priorMillionths == 0 ? defaultPrior : store.priorMillionths * 0.000001;
    return index;
}

std::vector<PackedToken> segmentText(const StoreIndex &index, std::u16string_view filtered)
{
    std::vector<PackedToken> tokens;
    std::size_t at = 0;
    while (at < filtered.size()) {
        std::size_t length = std::min(longestToken, filtered.size() - at);
        PackedToken candidate = packToken(filtered.substr(at, length));
        while (length >= shortestToken && !index.tokens.contains(candidate)) {
            --length;
            candidate &= ~(PackedToken{0xFFFF} << (16 * length));
        }
        if (length < shortestToken) {
            ++at;
            continue;
        }
        if (tokens.size() < mostTokens && std::find(tokens.begin(), tokens.end(), candidate) == tokens.end()) {
            tokens.push_back(candidate);
        }
        at += length;
    }
    return tokens;
}

double tokenProbability(const TokenStats &counts, std::uint32_t spamMessages, std::uint32_t hamMessages, double prior)
{
    const std::uint32_t sum = counts.spam + counts.ham;
    if (sum == 0) {
        return prior;
    }
    const double n = static_cast<std::int32_t>(sum);
    const double spamSide = static_cast<double>(counts.spam) * hamMessages;
    const double hamSide = static_cast<double>(counts.ham) * spamMessages;
    const double p = spamSide / (hamSide + spamSide);
    return (n * p + priorWeight * prior) / (n + priorWeight);
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

double combineTails(std::size_t counted, double spamEvidence, double hamEvidence, double prior)
{
    if (counted == 0) {
        return prior;
    }
    return (1 + chiSquareTail(counted, hamEvidence) - chiSquareTail(counted, spamEvidence)) * 0.5;
}

static double spamicityOf(const StoreIndex &index, const std::vector<PackedToken> &tokens)
{
    std::size_t counted = 0;
    double spamEvidence = 0;
    double hamEvidence = 0;
    for (const PackedToken token : tokens) {
        const TokenStats &counts = index.tokens.find(token)->second;
        const double p = tokenProbability(counts, index.spamMessages, index.hamMessages, index.prior);
        if (probabilityCounts(p)) {
            spamEvidence -= std::log(1 - p);
            hamEvidence -= std::log(p);
            ++counted;
        }
    }
    return combineTails(counted, spamEvidence, hamEvidence, index.prior);
}

TextVerdict rateFiltered(const StoreIndex &index, std::u16string_view filtered)
{
    TextVerdict verdict;
    if (filtered.size() <= longestUnread) {
        verdict.rating = Rating::ham;
        return verdict;
    }
    const std::vector<PackedToken> tokens = segmentText(index, filtered);
    verdict.tokens = tokens.size();
    if (tokens.size() <= fewTokens) {
        return verdict;
    }
    verdict.spamicity = spamicityOf(index, tokens);
    const bool isSpam = verdict.spamicity >= spamCutoff;
    const bool isHam = verdict.spamicity <= hamCutoff;
    if (isSpam || (!isHam && hasDigitRun(filtered))) {
        verdict.rating = Rating::spam;
    } else if (isHam || filtered.size() <= longestBrief) {
        verdict.rating = Rating::ham;
    }
    return verdict;
}

TextVerdict rateText(const Store &store, std::u16string_view body)
{
    return rateFiltered(indexStore(store), filterText(body));
}

void trainFiltered(StoreIndex &index, std::u16string_view filtered, bool spam)
{
    for (const PackedToken token : segmentText(index, filtered)) {
        TokenStats &counts = index.tokens.find(token)->second;
        ++(spam ? counts.spam : counts.ham);
    }
    ++(spam ? index.spamMessages : index.hamMessages);
}

} // namespace velq::kit
