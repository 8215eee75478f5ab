// A search by single steps: a token is given another lean, brought along or left out, and the step is kept when the
// texts it touches come nearer to what the new store makes of them. Each round looks where ratings are worse.
#include "kit/store/stand_ins.h"

#include "kit/base/status.h"
#include "kit/reading/text_filter.h"
#include "kit/store/stand_in_texts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <tuple>
#include <utility>

namespace velq::kit {

namespace {

// Log odds that are tried. The first of either side are a little beyond where a token begins to count, so that some
// training leaves them there.
constexpr std::array<double, 7> leans{0, -2.15, -2.7, -3.5, 2.15, 2.7, 3.5};
constexpr std::uint32_t fewestTexts = 5; // that speak for a step
// What a step has to gain, in units of the texts' cost: more than one text alone could bring by chance.
constexpr double leastGain = 20;
// Beyond so many texts for each one that is rated worse, a step is not worth trying.
constexpr std::uint32_t mostTextsForOne = 50;
constexpr int rounds = 6;

struct Step {
    PackedToken token = 0;
    std::uint32_t wrong = 0;          // texts rated worse that are cut where it begins
    std::vector<std::uint32_t> texts; // all that are cut there
};

class Search {
  public:
    Search(const Store &before, const Store &after) : wanted_(indexStore(after))
    {
        for (const auto &[token, counts] : after.tokens) {
            vocabulary_.emplace(packToken(token), evidenceOf(tokenProbability(counts, wanted_)));
        }
        for (const auto &[token, counts] : before.tokens) {
            if (!after.tokens.contains(token)) {
                old_.insert(packToken(token));
                leans_.emplace(packToken(token), 0.0);
                vocabulary_.emplace(packToken(token), Evidence{});
            }
        }
    }

    void add(JudgedText &&text)
    {
        if (text.text.size() > longestUnread) {
            texts_.push_back(wantedText(wanted_, text.spam, std::move(text.text)));
        }
    }

    void goOver()
    {
        for (const Step &step : steps()) {
            take(step);
        }
    }

    const std::map<PackedToken, double> &leanOfTokens() const
    {
        return leans_;
    }

  private:
    // The new store's own tokens stay as they are.
    bool mayStep(PackedToken token) const
    {
        return leans_.contains(token) || !vocabulary_.contains(token);
    }

    template <typename Each>
    void forEachStart(const WantedText &text, const Cut &cut, Each each) const
    {
        for (const std::size_t at : cut.places) {
            for (std::size_t length = shortestToken; length <= longestToken && at + length <= text.text.size();
                 ++length) {
                const std::u16string_view units = std::u16string_view(text.text).substr(at, length);
                const PackedToken token = packToken(units);
                const bool known = leans_.contains(token);
                // A new pair would cut nearly every text anew; a piece of a number tells of a person.
                if (known || (length > shortestToken && mayStep(token) &&
                              !std::all_of(units.begin(), units.end(), isDigitUnit))) {
                    each(token);
                }
            }
        }
    }

    // The steps that may gain: tokens that are there anyway first, then those of most texts rated worse.
    std::vector<Step> steps() const
    {
        TokenTable<Step> found;
        Cut cut;
        for (const auto &text : texts_) {
            cutText(cut, vocabulary_, text.text, 0);
            if (judgeText(text, cut.tokens, vocabulary_, 0, {}, wanted_.prior).worse) {
                forEachStart(text, cut, [&found](PackedToken token) { ++found[token].wrong; });
            }
        }
        std::erase_if(found,
                      [this](const auto &entry) { return entry.second.wrong < 2 && !leans_.contains(entry.first); });
        for (std::uint32_t i = 0; i < texts_.size(); ++i) {
            cutText(cut, vocabulary_, texts_[i].text, 0);
            forEachStart(texts_[i], cut, [&found, i](PackedToken token) {
                if (const auto at = found.find(token);
                    at != found.end() && (at->second.texts.empty() || at->second.texts.back() != i)) {
                    at->second.texts.push_back(i);
                }
            });
        }
        std::vector<Step> steps;
        for (auto &[token, step] : found) {
            if (step.texts.size() >= fewestTexts && step.texts.size() <= std::size_t{step.wrong} * mostTextsForOne) {
                step.token = token;
                steps.push_back(std::move(step));
            }
        }
        std::sort(steps.begin(), steps.end(), [this](const Step &a, const Step &b) {
            return std::tuple(!old_.contains(a.token), b.wrong, a.token) <
                   std::tuple(!old_.contains(b.token), a.wrong, b.token);
        });
        return steps;
    }

    double costNow(const Step &step) const
    {
        Cut cut;
        double cost = 0;
        for (const std::uint32_t i : step.texts) {
            cutText(cut, vocabulary_, texts_[i].text, 0);
            cost += judgeText(texts_[i], cut.tokens, vocabulary_, 0, {}, wanted_.prior).cost;
        }
        return cost;
    }

    void take(const Step &step)
    {
        const auto known = leans_.find(step.token);
        const bool extra = known != leans_.end() && !old_.contains(step.token);
        std::array<double, leans.size()> costs{};
        Cut cut;
        for (const std::uint32_t i : step.texts) {
            cutText(cut, vocabulary_, texts_[i].text, step.token);
            for (std::size_t at = 0; at < leans.size(); ++at) {
                costs[at] +=
                    judgeText(texts_[i], cut.tokens, vocabulary_, step.token, evidenceOfLean_[at], wanted_.prior).cost;
            }
        }
        const double now = costNow(step);
        const auto best = static_cast<std::size_t>(std::min_element(costs.begin(), costs.end()) - costs.begin());
        if (extra) {
            const Evidence held = vocabulary_.at(step.token);
            vocabulary_.erase(step.token);
            const double without = costNow(step);
            vocabulary_.emplace(step.token, held);
            if (without - std::min(now, costs[best]) < leastGain) {
                vocabulary_.erase(step.token);
                leans_.erase(step.token);
                return;
            }
        }
        if (now - costs[best] >= leastGain) {
            leans_[step.token] = leans.at(best);
            vocabulary_[step.token] = evidenceOfLean_.at(best);
        }
    }

    StoreIndex wanted_;
    std::array<Evidence, leans.size()> evidenceOfLean_ = [] {
        std::array<Evidence, leans.size()> all;
        std::transform(leans.begin(), leans.end(), all.begin(), evidenceOfLean);
        return all;
    }();
    Vocabulary vocabulary_;
    TokenSet old_;
    std::map<PackedToken, double> leans_; // of the stand-ins so far
    std::vector<WantedText> texts_;
};

// Few messages carry a lean, so that corrections can still move it; enough for its rounding.
TokenStats countsOfLean(double lean, const Store &store)
{
    constexpr double fewest = 4;
    constexpr double neutralShare = 0.5; // training takes it nowhere
    const double spamMessages = store.spamMessages;
    const double hamMessages = store.hamMessages;
    const double share = lean == 0 ? neutralShare : fewest / (lean > 0 ? hamMessages : spamMessages);
    const double odds = std::exp(std::fabs(lean));
    const double spam = std::round(share * spamMessages * (lean > 0 ? odds : 1));
    const double ham = std::round(share * hamMessages * (lean < 0 ? odds : 1));
    return {static_cast<std::uint32_t>(std::max(1.0, spam)), static_cast<std::uint32_t>(std::max(1.0, ham))};
}

} // namespace

Store standInsFor(const Store &before, const Store &after, std::vector<JudgedText> texts,
                  const std::function<void(std::uint64_t done, std::uint64_t total)> &reached)
{
    if (after.spamMessages == 0 || after.hamMessages == 0) {
        throw Error(Status::badData, "the new store has no messages of one of the classes, so there is nothing to "
                                     "weigh counts against; build it from messages of both");
    }
    std::sort(texts.begin(), texts.end());
    texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
    Search search(before, after);
    for (JudgedText &text : texts) {
        search.add(std::move(text));
    }
    for (int round = 0; round < rounds; ++round) {
        search.goOver();
        if (reached) {
            reached(static_cast<std::uint64_t>(round) + 1, rounds);
        }
    }
    Store standIns = after;
    standIns.tokens.clear();
    for (const auto &[token, lean] : search.leanOfTokens()) {
        standIns.tokens[unpackToken(token)] = countsOfLean(lean, after);
    }
    return standIns;
}

Store united(const Store &store, const Store &standIns)
{
    Store both = store;
    both.tokens.insert(standIns.tokens.begin(), standIns.tokens.end());
    return both;
}

// Whether a stand-in counts.
static bool isStandIn(const StoreRow &row, const Store &standIns)
{
    const auto found = standIns.tokens.find(unitsOfBytes(row.key.bytes));
    return found != standIns.tokens.end() && row.value.kind == StoredValue::Kind::blob &&
           probabilityCounts(tokenProbability(found->second, totalsOf(standIns)));
}

StoreContents withStandIns(const StoreContents &before, const StoreContents &after, const Store &standIns)
{
    if (standIns.tokens.empty()) {
        return after;
    }
    const Store wanted = modelOf(after);
    if (standIns.spamMessages != wanted.spamMessages || standIns.hamMessages != wanted.hamMessages) {
        throw Error(Status::badData, "the stand-ins were made for another new store: their message counts are others; "
                                     "make them again");
    }
    StoreContents result = after;
    for (const StoreRow &row : contentsOf(standIns).rows) {
        const StoreRow *old = findRow(before, row.key.bytes);
        if (isTokenKey(row.key) && findRow(after, row.key.bytes) == nullptr &&
            (old == nullptr || isStandIn(*old, standIns))) {
            result.rows.push_back(row);
        }
    }
    sortRows(result);
    return result;
}

RatingChanges ratingChanges(const Store &first, const Store &second, const std::vector<JudgedText> &texts)
{
    const StoreIndex firstIndex = indexStore(first);
    const StoreIndex secondIndex = indexStore(second);
    RatingChanges changes;
    for (const JudgedText &text : texts) {
        const Rating rating = rateFiltered(secondIndex, text.text).rating;
        const int before = badness(rateFiltered(firstIndex, text.text).rating, text.spam);
        const int after = badness(rating, text.spam);
        changes.better += after < before ? 1 : 0;
        changes.worse += after > before ? 1 : 0;
        changes.blocked += after > before && rating == Rating::spam ? 1 : 0;
    }
    return changes;
}

} // namespace velq::kit
