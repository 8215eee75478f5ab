// Finds the store that additions shall reach, row by row, and takes the difference to it.
#include "kit/store/additive_update.h"

#include "kit/base/status.h"
#include "kit/reading/message_reading.h"
#include "kit/store/row_text.h"
#include "kit/store/stand_ins.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

// ---- What is held to ----------------------------------------------------------------------------------------------

// Distances of probabilities are measured in log odds. Counts that come so near are taken ...
constexpr double nearEnough = 0.02;
// ... and from here on a token that counts is named.
constexpr double worthNaming = 0.1;
// A lean to which a token can only be brought by the weight of the other side ends here, so that corrections can still
// move it.
constexpr double mostOdds = 1000;
// The share of both message counts that a neutral token gets. No training takes a token from a half beyond odds of two
// on the side that grows; what takes it down is only that a message count becomes seven times what it was.
constexpr double neutralShare = 0.5;
// All counts of the new store may be multiplied, so that tokens that have fallen keep their shares. That makes every
// correction weaker: each time more must pay for itself in so many of the tokens.
constexpr std::uint32_t mostFactor = 4;
constexpr double worthATime = 0.1;
// Steps in which counts are tried for one token: enough for a rounding error below `nearEnough`.
constexpr int mostTries = 64;

struct Frame {
    StoreTotals wanted;  // of the new store
    StoreTotals reached; // of the merged one
    double spamScale = 1;
    double hamScale = 1;
};

using RowPair = std::pair<const StoreRow *, const StoreRow *>; // old and new; null where there is none

double logOdds(double probability)
{
    constexpr double least = 1e-12;
    const double held = std::clamp(probability, least, 1 - least);
    return std::log(held / (1 - held));
}

// How far two probabilities are apart; not at all when neither counts.
double distance(double a, double b)
{
    return probabilityCounts(a) || probabilityCounts(b) ? std::fabs(logOdds(a) - logOdds(b)) : 0;
}

bool isNear(double a, double b)
{
    return probabilityCounts(a) == probabilityCounts(b) && std::fabs(logOdds(a) - logOdds(b)) <= nearEnough;
}

bool fits(double spam, double ham)
{
    return spam + ham <= static_cast<double>(largestSum);
}

TokenStats statsOf(const StoreRow *row)
{
    const TokenWords words = row == nullptr ? TokenWords{} : wordsOf(*row);
    return {words.spam, words.ham};
}

// ---- Tokens -------------------------------------------------------------------------------------------------------

TokenStats neutralCounts(const TokenStats &old, const Frame &frame)
{
    const double spamMessages = frame.reached.spamMessages;
    const double hamMessages = frame.reached.hamMessages;
    const double share = std::max({neutralShare, old.spam / spamMessages, old.ham / hamMessages});
    const double spam = std::max<double>(old.spam, std::round(share * spamMessages));
    const double ham = std::max<double>(old.ham, std::round(share * hamMessages));
    return fits(spam, ham) ? TokenStats{static_cast<std::uint32_t>(spam), static_cast<std::uint32_t>(ham)} : old;
}

// Counts of at least `old` whose shares are in the ratio of the wanted probability. The smaller side is counted up from
// the wanted share, or from where the old counts allow it, until rounding does no harm.
TokenStats countsInRatio(const TokenStats &old, const TokenStats &wanted, double probability, const Frame &frame)
{
    const double held = std::clamp(probability, 1 / (1 + mostOdds), mostOdds / (1 + mostOdds));
    const double spamForHam = held / (1 - held) * frame.reached.spamMessages / frame.reached.hamMessages;
    const bool spamIsLess = spamForHam < 1;
    const double ratio = spamIsLess ? 1 / spamForHam : spamForHam;
    const double oldLess = spamIsLess ? old.spam : old.ham;
    const double oldMore = spamIsLess ? old.ham : old.spam;
    const double share = std::round(spamIsLess ? wanted.spam * frame.spamScale : wanted.ham * frame.hamScale);
    const double first = std::max({1.0, oldLess, share, std::ceil((oldMore - 0.5) / ratio)});
    TokenStats best = old;
    double bestDistance = std::numeric_limits<double>::infinity();
    for (int i = 0; i < mostTries; ++i) {
        const double less = first + i;
        const double more = std::max(oldMore, std::round(less * ratio));
        if (!fits(less, more)) {
            break;
        }
        const TokenStats counts{static_cast<std::uint32_t>(spamIsLess ? less : more),
                                static_cast<std::uint32_t>(spamIsLess ? more : less)};
        const double reached = tokenProbability(counts, frame.reached);
        if (isNear(reached, held)) {
            return counts;
        }
        const bool sameUse = probabilityCounts(reached) == probabilityCounts(held);
        const double away = std::fabs(logOdds(reached) - logOdds(held)) + (sameUse ? 0 : 1);
        if (away < bestDistance) {
            bestDistance = away;
            best = counts;
        }
    }
    return best;
}

TokenStats scaled(const TokenStats &counts, const Frame &frame)
{
    const double spam = std::round(counts.spam * frame.spamScale);
    const double ham = std::round(counts.ham * frame.hamScale);
    return fits(spam, ham) ? TokenStats{static_cast<std::uint32_t>(spam), static_cast<std::uint32_t>(ham)} : counts;
}

bool isReached(const TokenStats &counts, const TokenStats &least)
{
    return counts.spam >= least.spam && counts.ham >= least.ham;
}

TokenStats countsFor(const TokenStats &old, const TokenStats &wanted, const Frame &frame)
{
    const bool empty = wanted.spam == 0 && wanted.ham == 0;
    if (empty) {
        return old == wanted ? wanted : neutralCounts(old, frame);
    }
    // Of a token of one class only its own count tells how sure it is; the message counts say nothing.
    if ((wanted.ham == 0 && old.ham == 0) || (wanted.spam == 0 && old.spam == 0)) {
        return {std::max(old.spam, wanted.spam), std::max(old.ham, wanted.ham)};
    }
    const double probability = tokenProbability(wanted, frame.wanted);
    const TokenStats sameShares = scaled(wanted, frame);
    if (isReached(sameShares, old) && isNear(tokenProbability(sameShares, frame.reached), probability)) {
        return sameShares;
    }
    return countsInRatio(old, wanted, probability, frame);
}

// ---- Message counts -----------------------------------------------------------------------------------------------

TokenStats messagesOf(const StoreContents &contents)
{
    return statsOf(findRow(contents, messageCountKey()));
}

Frame frameWith(std::uint32_t factor, const TokenStats &old, const TokenStats &wanted)
{
    const auto times = [factor](std::uint32_t count) {
        return static_cast<std::uint32_t>(std::min(std::uint64_t{count} * factor, largestSum / 2));
    };
    Frame frame;
    frame.wanted.spamMessages = wanted.spam;
    frame.wanted.hamMessages = wanted.ham;
    frame.reached.spamMessages = std::max(old.spam, times(wanted.spam));
    frame.reached.hamMessages = std::max(old.ham, times(wanted.ham));
    frame.spamScale = static_cast<double>(frame.reached.spamMessages) / wanted.spam;
    frame.hamScale = static_cast<double>(frame.reached.hamMessages) / wanted.ham;
    return frame;
}

// Of the tokens of both classes that both stores have, the share that need not carry more than their part.
double sharesKeptWith(const Frame &frame, const std::vector<std::pair<TokenStats, TokenStats>> &known)
{
    const auto kept = std::count_if(known.begin(), known.end(), [&frame](const auto &token) {
        return isReached(scaled(token.second, frame), token.first);
    });
    return known.empty() ? 1 : static_cast<double>(kept) / static_cast<double>(known.size());
}

} // namespace

// ---- The store to reach -------------------------------------------------------------------------------------------

namespace {

std::string shown(double probability)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.6f", probability);
    return text;
}

class Target {
  public:
    Target(const std::vector<RowPair> &rows, const TokenStats &oldMessages, const TokenStats &newMessages)
    {
        std::vector<std::pair<TokenStats, TokenStats>> known;
        for (const auto &[before, after] : rows) {
            if (before != nullptr && after != nullptr && isTokenKey(after->key)) {
                if (const TokenStats counts = statsOf(after); counts.spam > 0 && counts.ham > 0) {
                    known.emplace_back(statsOf(before), counts);
                }
            }
        }
        double best = -1;
        for (std::uint32_t factor = 1; factor <= mostFactor; ++factor) {
            const Frame frame = frameWith(factor, oldMessages, newMessages);
            const double worth = sharesKeptWith(frame, known) - worthATime * (factor - 1);
            if (worth > best) {
                best = worth;
                frame_ = frame;
                factor_ = factor;
            }
        }
    }

    // The prior first: it is part of every probability.
    void setPriors(const RowPair &prior)
    {
        const std::uint32_t old = statsOf(prior.first).spam;
        const std::uint32_t wanted = statsOf(prior.second).spam;
        frame_.wanted.prior = priorOf(wanted);
        const double held = std::max(old == 0 ? 0 : priorOf(old), frame_.wanted.prior);
        frame_.reached.prior = held;
        const auto millionths = static_cast<std::uint32_t>(std::lround(held * millionthsOfOne));
        if (prior.first == nullptr && prior.second == nullptr) {
            return;
        }
        const StoreRow &row = prior.second != nullptr ? *prior.second : *prior.first;
        const bool unset = wanted == 0 && old == 0;
        target_.rows.push_back({row.key, withCounts(row.value, unset ? 0 : millionths, statsOf(&row).ham)});
        if (held > frame_.wanted.prior) {
            name(row.key, "the prior stays " + shown(held) + " instead of " + shown(frame_.wanted.prior) +
                              ": added counts cannot lower it");
        }
    }

    void add(const StoreRow *before, const StoreRow &after)
    {
        if (after.value.kind != StoredValue::Kind::blob) {
            target_.rows.push_back(after);
            return;
        }
        const TokenStats old = statsOf(before);
        const TokenStats wanted = statsOf(&after);
        TokenStats counts;
        if (isKey(after.key, messageCountKey())) {
            counts = {frame_.reached.spamMessages, frame_.reached.hamMessages};
        } else if (isTokenKey(after.key)) {
            counts = countsFor(old, wanted, frame_);
            judge(after.key, counts, wanted);
        } else {
            counts = {std::max(old.spam, wanted.spam), std::max(old.ham, wanted.ham)};
            if (counts != wanted) {
                name(after.key, "the counts become " + countsText({counts.spam, counts.ham, 0}) + " instead of " +
                                    countsText(wordsOf(after)));
            }
        }
        target_.rows.push_back({after.key, withCounts(after.value, counts.spam, counts.ham)});
    }

    void keep(const StoreRow &before)
    {
        const TokenStats old = statsOf(&before);
        const bool blob = before.value.kind == StoredValue::Kind::blob;
        const bool token = isTokenKey(before.key) && blob && canBeDelivered(before.key);
        const TokenStats counts = token ? neutralCounts(old, frame_) : old;
        target_.rows.push_back(
            {before.key, counts == old ? before.value : withCounts(before.value, counts.spam, counts.ham)});
        if (token && !probabilityCounts(tokenProbability(counts, frame_.reached))) {
            ++neutral_;
            name(before.key, "the token cannot be removed; it becomes neutral, and texts are still cut at it");
        } else {
            name(before.key, "the row cannot be removed; it stays with " + countsText(wordsOf(before)));
        }
    }

    StoreDifference differenceFrom(const StoreContents &before)
    {
        sortRows(target_);
        StoreDifference difference = differenceOf(before, target_);
        difference.factor = factor_;
        difference.neutral = neutral_;
        difference.heavier = heavier_;
        difference.deviations.insert(difference.deviations.end(), deviations_.begin(), deviations_.end());
        return difference;
    }

  private:
    void name(const StoredValue &key, const std::string &what)
    {
        deviations_.push_back({keyText(key), what});
    }

    void judge(const StoredValue &key, const TokenStats &counts, const TokenStats &wanted)
    {
        const TokenStats share = scaled(wanted, frame_);
        heavier_ += counts.spam > share.spam + 1 && counts.ham > share.ham + 1 ? 1 : 0;
        const double reached = tokenProbability(counts, frame_.reached);
        const double probability = tokenProbability(wanted, frame_.wanted);
        if (probabilityCounts(reached) != probabilityCounts(probability) ||
            distance(reached, probability) > worthNaming) {
            name(key, "the probability becomes " + shown(reached) + " instead of " + shown(probability));
        }
    }

    Frame frame_;
    std::uint32_t factor_ = 1;
    std::uint64_t neutral_ = 0;
    std::uint64_t heavier_ = 0;
    StoreContents target_;
    std::vector<StoreProblem> deviations_;
};

// The rows of both stores by their keys; keys of a text and of a blob are different ones.
std::vector<RowPair> pairedRows(const StoreContents &before, const StoreContents &after)
{
    std::map<std::pair<int, std::string>, RowPair> pairs;
    const auto placeOf = [&pairs](const StoreRow &row) -> RowPair & {
        const bool bytes = row.key.kind == StoredValue::Kind::blob || row.key.kind == StoredValue::Kind::text;
        return pairs[{static_cast<int>(row.key.kind), bytes ? row.key.bytes : keyText(row.key)}];
    };
    for (const StoreRow &row : before.rows) {
        placeOf(row).first = &row;
    }
    for (const StoreRow &row : after.rows) {
        placeOf(row).second = &row;
    }
    std::vector<RowPair> rows;
    rows.reserve(pairs.size());
    for (const auto &[key, pair] : pairs) {
        rows.push_back(pair);
    }
    return rows;
}

} // namespace

StoreDifference additionsBetween(const StoreContents &before, const StoreContents &after, const Store &standIns)
{
    if (before.rows == after.rows) {
        return {};
    }
    const TokenStats messages = messagesOf(after);
    if (messages.spam == 0 || messages.ham == 0) {
        throw Error(Status::badData, "the new store has no messages of one of the classes, so additions have nothing "
                                     "to weigh its counts against; build it from messages of both, or give --exact");
    }
    const StoreContents wantedContents = withStandIns(before, after, standIns);
    const std::vector<RowPair> rows = pairedRows(before, wantedContents);
    Target target(rows, messagesOf(before), messages);
    target.setPriors({findRow(before, priorKey()), findRow(after, priorKey())});
    for (const auto &[old, wanted] : rows) {
        if (isKey((wanted != nullptr ? wanted : old)->key, priorKey())) {
            continue;
        }
        if (wanted != nullptr) {
            target.add(old, *wanted);
        } else {
            target.keep(*old);
        }
    }
    StoreDifference difference = target.differenceFrom(before);
    difference.standIns = wantedContents.rows.size() - after.rows.size();
    return difference;
}

} // namespace velq::kit
