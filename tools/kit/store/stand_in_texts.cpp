// The engine's score once more, over evidence that changes from one try to the next.
#include "kit/store/stand_in_texts.h"

#include "kit/reading/text_filter.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace velq::kit {

namespace {

// Log odds of a spamicity; beyond, no rating changes.
constexpr double lowestScore = -2;
constexpr double highestScore = 3.5;
// What a worse rating costs beside the square of the distance of the scores; ham that is newly blocked costs most.
constexpr double otherRating = 4;
constexpr double newlySpam = 8;

double heldScore(double spamicity)
{
    constexpr double tiny = 1e-9;
    const double held = std::clamp(spamicity, tiny, 1 - tiny);
    return std::clamp(std::log(held / (1 - held)), lowestScore, highestScore);
}

Rating ratingAt(double spamicity, const WantedText &text)
{
    if (spamicity >= spamCutoff) {
        return Rating::spam;
    }
    if (spamicity <= hamCutoff) {
        return Rating::ham;
    }
    return text.digitRun ? Rating::spam : text.brief ? Rating::ham : Rating::unsure;
}

double spamicityOf(const Evidence &sum, double prior)
{
    if (sum.count < 0.5) {
        return prior;
    }
    const auto counted = static_cast<std::size_t>(std::lround(sum.count));
    return (1 + chiSquareTail(counted, sum.ham) - chiSquareTail(counted, sum.spam)) * 0.5;
}

} // namespace

int badness(Rating rating, bool spam)
{
    return rating == Rating::unsure ? 1 : (rating == Rating::spam) == spam ? 0 : 2;
}

Evidence evidenceOf(double probability)
{
    return probabilityCounts(probability) ? Evidence{1, -std::log(1 - probability), -std::log(probability)}
                                          : Evidence{};
}

Evidence evidenceOfLean(double lean)
{
    return evidenceOf(1 / (1 + std::exp(-lean)));
}

WantedText wantedText(const StoreIndex &store, bool spam, std::u16string filtered)
{
    const Reading reading = rateFiltered(store, filtered);
    WantedText text;
    text.spam = spam;
    text.digitRun = hasDigitRun(filtered);
    text.brief = filtered.size() <= longestBrief;
    text.rating = reading.rating;
    text.score = heldScore(reading.score ? reading.score->spamicity : store.prior);
    text.text = std::move(filtered);
    return text;
}

void cutText(Cut &cut, const Vocabulary &vocabulary, std::u16string_view text, PackedToken beside)
{
    cut.tokens.clear();
    cut.places.clear();
    const auto tokenAt = [&](std::size_t at, std::size_t length) {
        if (cut.tokens.size() < mostTokens && (cut.places.empty() || cut.places.back() != at)) {
            cut.places.push_back(at);
        }
        const PackedToken packed = packToken(text.substr(at, length));
        return packed == beside || vocabulary.contains(packed) ? std::optional(packed) : std::nullopt;
    };
    addLongestMatches(cut.tokens, text.size(), tokenAt);
}

Judgement judgeText(const WantedText &text, const std::vector<PackedToken> &tokens, const Vocabulary &vocabulary,
                    PackedToken beside, const Evidence &besideEvidence, double prior)
{
    Evidence sum;
    for (const PackedToken token : tokens) {
        const Evidence &evidence = token == beside ? besideEvidence : vocabulary.find(token)->second;
        sum.count += evidence.count;
        sum.spam += evidence.spam;
        sum.ham += evidence.ham;
    }
    const bool asked = tokens.size() >= fewestTokens;
    const double spamicity = asked ? spamicityOf(sum, prior) : prior;
    const Rating rating = asked ? ratingAt(spamicity, text) : Rating::unsure;
    const double away = heldScore(spamicity) - text.score;
    const double behind = std::max(0.0, text.spam ? -away : away);
    Judgement judgement;
    judgement.worse = badness(rating, text.spam) > badness(text.rating, text.spam);
    judgement.cost = behind * behind;
    if (judgement.worse) {
        judgement.cost += rating == Rating::spam ? newlySpam : otherRating;
    }
    return judgement;
}

} // namespace velq::kit
