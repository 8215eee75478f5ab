// Chooses tokens and what they carry, by one of two recipes that are tried against each other inside the training
// messages, and writes them down as counts.
//
// Messages are learned in groups by script, one group after the other, so that languages with a script of their own do
// not change each other's verdicts.
#include "kit/learning/store_builder.h"

#include "kit/learning/candidates.h"
#include "kit/learning/weights.h"
#include "kit/messages/sampling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <tuple>
#include <utility>

namespace velq::kit {

namespace {

constexpr std::uint32_t builtPrior = 400000; // below the ham cut-off: a message without evidence is ham

// What a recipe gives: a token, the log odds it should have (0: it only fills), and the shares of the messages of each
// class of its group that segmentation finds it in, which are never quite 0.
struct LearnedToken {
    PackedToken token = 0;
    double lean = 0;
    double spamShare = 0;
    double hamShare = 0;
};

using Learned = std::vector<LearnedToken>;

struct ClassSizes {
    double spam = 0;
    double ham = 0;
};

template <typename Text>
ClassSizes classSizes(const std::vector<Text> &texts)
{
    ClassSizes sizes;
    for (const Text &text : texts) {
        ++(text.spam ? sizes.spam : sizes.ham);
    }
    return sizes;
}

// ---- A group of messages being learned ----------------------------------------------------------------------------

struct Group {
    Candidates candidates;
    std::vector<IndexedText> texts;
    ClassSizes sizes;
    std::vector<std::uint8_t> fixed; // tokens of groups learned before: they stay as they are
    std::vector<std::uint8_t> taken; // candidates that may not become tokens of this group
    std::vector<double> leans;       // of the fixed tokens
};

bool isAscii(PackedToken token)
{
    const std::u16string units = unpackToken(token);
    return std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x80; });
}

bool hasDigit(PackedToken token)
{
    const std::u16string units = unpackToken(token);
    return std::any_of(units.begin(), units.end(), isDigitUnit);
}

constexpr std::uint32_t fewestMessages = 3;

// What a group has to mind about the others.
struct Context {
    Learned before;             // what the groups learned earlier gave
    CandidateCounter elsewhere; // the sequences in the messages of all other groups
};

// ASCII sequences stand in the texts of any script: names and addresses, which are the first group's alone, and
// numbers, of which a later group takes those that the other texts hardly know.
bool mayTake(PackedToken token, const Context &context)
{
    if (context.before.empty() || !isAscii(token)) {
        return true;
    }
    const auto found = context.elsewhere.table.find(token);
    const bool known =
        found != context.elsewhere.table.end() && found->second.spam + found->second.ham >= fewestMessages;
    return hasDigit(token) && !known;
}

Group makeGroup(const std::vector<FilteredText> &messages, const Context &context)
{
    CandidateCounter counter;
    for (const FilteredText &message : messages) {
        countCandidates(counter, message);
    }
    Group group;
    group.candidates = takeCandidates(counter, fewestMessages);
    for (const LearnedToken &learned : context.before) {
        const auto position = static_cast<std::uint32_t>(group.candidates.tokens.size());
        if (group.candidates.positions.emplace(learned.token, position).second) {
            group.candidates.tokens.push_back(learned.token);
            group.candidates.counts.push_back({});
        }
    }
    const std::size_t size = group.candidates.tokens.size();
    group.fixed.assign(size, 0);
    group.taken.assign(size, 0);
    group.leans.assign(size, 0);
    for (std::size_t i = 0; i < size; ++i) {
        group.taken[i] = mayTake(group.candidates.tokens[i], context) ? 0 : 1;
    }
    for (const LearnedToken &learned : context.before) {
        const std::uint32_t position = group.candidates.positions.at(learned.token);
        group.fixed[position] = group.taken[position] = 1;
        group.leans[position] = learned.lean;
    }
    for (const FilteredText &message : messages) {
        if (message.text.size() > longestUnread) {
            group.texts.push_back(indexText(group.candidates, message));
        }
    }
    group.sizes = classSizes(group.texts);
    return group;
}

struct ClassCounts {
    std::vector<double> spam;
    std::vector<double> ham;
};

ClassCounts countSegmented(const Group &group, const std::vector<std::uint8_t> &listed)
{
    const std::size_t size = group.candidates.tokens.size();
    ClassCounts counts{std::vector<double>(size, 0), std::vector<double>(size, 0)};
    std::vector<std::uint32_t> tokens;
    for (const IndexedText &text : group.texts) {
        segmentIndexed(text, listed, tokens);
        for (const std::uint32_t token : tokens) {
            ++(text.spam ? counts.spam : counts.ham)[token];
        }
    }
    return counts;
}

Learned collect(const Group &group, const std::vector<std::uint8_t> &listed, const std::vector<double> &leans)
{
    constexpr double unseen = 0.2; // messages added to what was seen and to what was not
    const auto share = [](double count, double all) { return (count + unseen) / (all + 2 * unseen); };
    const ClassCounts counts = countSegmented(group, listed);
    Learned learned;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        if (listed[i] != 0 && group.fixed[i] == 0 && counts.spam[i] + counts.ham[i] > 0) {
            learned.push_back({group.candidates.tokens[i], leans[i], share(counts.spam[i], group.sizes.spam),
                               share(counts.ham[i], group.sizes.ham)});
        }
    }
    return learned;
}

// ---- Votes --------------------------------------------------------------------------------------------------------
//
// Every sequence with a clear lean becomes a token with hardly more than the smallest weight that counts, so that a
// verdict takes the agreement of several. Each is judged by its own frequencies alone, which leaves nothing to be
// fitted to chance: the recipe for few messages.

constexpr double hamStrictness = 2.5;
constexpr double hamSlope = 0.3;
// Of every spam token: a probability of 0.894. One token alone is short of the spam cut-off, two reach it, and the
// weight outlasts a good deal of other traffic, which adds to the spam message count but not to this token's.
constexpr double spamVote = 2.13;
constexpr double fewestSpamPlaces = 6; // different surroundings
constexpr double fewestHamPlaces = 5;
constexpr double fewestSegmented = 2;
constexpr double neutralLean = 0.5;
constexpr std::size_t mostFillers = 50;
constexpr int voteRounds = 4;

// The log odds of the shares, cautious about the class that the token leans away from: an absence says little when few
// messages of that class are known.
double cautiousLean(double spam, double ham, const ClassSizes &sizes)
{
    constexpr double seen = 0.1;
    constexpr double unseenHam = 0.5;
    constexpr double unseenSpam = 1;
    const auto share = [](double count, double all, double extra) { return (count + extra) / (all + 2 * extra); };
    if (share(spam, sizes.spam, seen) > share(ham, sizes.ham, seen)) {
        return std::log(share(spam, sizes.spam, seen) / share(ham, sizes.ham, unseenHam));
    }
    return std::log(share(spam, sizes.spam, unseenSpam) / share(ham, sizes.ham, seen));
}

// In how many different surroundings, up to three units on either side, each candidate stands in each class. Copies of
// one message count once that way, which the number of messages would take for broad evidence.
ClassCounts countPlaces(const Group &group, const std::vector<FilteredText> &messages)
{
    using Place = std::tuple<std::uint32_t, bool, std::uint64_t>;
    constexpr std::size_t reach = 3;
    constexpr std::size_t unitsPerPart = 3;
    std::vector<Place> places;
    for (const FilteredText &message : messages) {
        const std::u16string_view text = message.text;
        for (std::size_t at = 0; at < text.size() && text.size() > longestUnread; ++at) {
            for (std::size_t length = shortestToken; length <= longestToken && at + length <= text.size(); ++length) {
                const auto found = group.candidates.positions.find(packToken(text.substr(at, length)));
                if (found == group.candidates.positions.end()) {
                    continue;
                }
                const std::size_t begin = at < reach ? 0 : at - reach;
                const PackedToken left = packToken(text.substr(begin, at - begin));
                const PackedToken right = packToken(text.substr(at + length, unitsPerPart));
                // Mixed, not joined: 96 bits of surroundings do not fit. A collision costs one count.
                places.emplace_back(found->second, message.spam, SeededSequence(left * 31 + right).next() ^ left);
            }
        }
    }
    std::sort(places.begin(), places.end());
    places.erase(std::unique(places.begin(), places.end()), places.end());
    const std::size_t size = group.candidates.tokens.size();
    ClassCounts counts{std::vector<double>(size, 0), std::vector<double>(size, 0)};
    for (const auto &[candidate, spam, surroundings] : places) {
        ++(spam ? counts.spam : counts.ham)[candidate];
    }
    for (std::size_t i = 0; i < size; ++i) {
        counts.spam[i] = std::min(counts.spam[i], static_cast<double>(group.candidates.counts[i].spam));
        counts.ham[i] = std::min(counts.ham[i], static_cast<double>(group.candidates.counts[i].ham));
    }
    return counts;
}

// The most frequent pairs without a lean: with them few ham messages stay below the three tokens that the classifier
// asks for. Few of them, since each takes up text that a voting token might begin in.
void addFillers(const Group &group, const std::vector<double> &leans, std::vector<std::uint8_t> &listed)
{
    std::vector<std::pair<std::uint32_t, std::size_t>> pairs;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        const bool isPair = group.candidates.tokens[i] >> 32 == 0;
        if (isPair && listed[i] == 0 && group.taken[i] == 0 && std::fabs(leans[i]) < neutralLean) {
            pairs.emplace_back(group.candidates.counts[i].spam + group.candidates.counts[i].ham, i);
        }
    }
    std::sort(pairs.begin(), pairs.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    pairs.resize(std::min(pairs.size(), mostFillers));
    for (const auto &[messages, candidate] : pairs) {
        listed[candidate] = 1;
    }
}

Learned learnByVotes(const Group &group, const std::vector<FilteredText> &messages, double spamStrictness)
{
    const auto votes = [&](double lean, double count, double fewestSpam, double fewestHam) {
        return (lean >= spamStrictness && count >= fewestSpam) || (lean <= -hamStrictness && count >= fewestHam);
    };
    const std::size_t size = group.candidates.tokens.size();
    const ClassCounts places = countPlaces(group, messages);
    std::vector<double> placeLeans(size);
    std::vector<std::uint8_t> listed = group.fixed;
    for (std::size_t i = 0; i < size; ++i) {
        placeLeans[i] = cautiousLean(places.spam[i], places.ham[i], group.sizes);
        if (group.taken[i] == 0 &&
            votes(placeLeans[i], places.spam[i] + places.ham[i], fewestSpamPlaces, fewestHamPlaces)) {
            listed[i] = 1;
        }
    }
    std::vector<double> leans(size, 0);
    for (int round = 0; round < voteRounds; ++round) {
        const ClassCounts counts = countSegmented(group, listed);
        for (std::size_t i = 0; i < size; ++i) {
            leans[i] = cautiousLean(counts.spam[i], counts.ham[i], group.sizes);
            if (group.fixed[i] == 0 &&
                !votes(leans[i], counts.spam[i] + counts.ham[i], fewestSegmented, fewestSegmented)) {
                listed[i] = 0;
            }
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        const double hamLean = leastLean + hamSlope * (-leans[i] - hamStrictness);
        leans[i] = listed[i] == 0 ? 0 : leans[i] > 0 ? spamVote : -std::min(greatestLean, hamLean);
    }
    addFillers(group, placeLeans, listed);
    return collect(group, listed, leans);
}

// ---- Weights ------------------------------------------------------------------------------------------------------
//
// Tokens are eliminated by their weight in a linear separation, segmenting anew each time, and the log odds of those
// left are fitted to the engine's score: the recipe for many messages.

constexpr std::size_t firstTokens = 10000;
constexpr std::size_t lastTokens = 6000;

std::vector<WeighedText> weighed(const Group &group, const std::vector<std::uint8_t> &listed)
{
    std::vector<WeighedText> texts;
    for (const IndexedText &text : group.texts) {
        WeighedText &added = texts.emplace_back(WeighedText{text.spam, text.digitRun, text.brief, {}});
        segmentIndexed(text, listed, added.tokens);
    }
    return texts;
}

std::vector<WeighedText> overlapping(const Group &group)
{
    std::vector<WeighedText> texts;
    for (const IndexedText &text : group.texts) {
        texts.push_back({text.spam, text.digitRun, text.brief, candidatesIn(text)});
    }
    return texts;
}

// Lists the `most` candidates of those listed with the greatest weight in all.
void keepHeaviest(const Group &group, const std::vector<WeighedText> &texts, const std::vector<double> &weights,
                  std::size_t most, std::vector<std::uint8_t> &listed)
{
    std::vector<double> messages(listed.size(), 0);
    for (const WeighedText &text : texts) {
        for (const std::uint32_t token : text.tokens) {
            ++messages[token];
        }
    }
    std::vector<std::pair<double, std::size_t>> ranked;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        if (listed[i] != 0 && group.taken[i] == 0) {
            ranked.emplace_back(std::fabs(weights[i]) * std::sqrt(messages[i]), i);
        }
    }
    std::sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    ranked.resize(std::min(ranked.size(), most));
    listed = group.fixed;
    for (const auto &[weight, candidate] : ranked) {
        listed[candidate] = 1;
    }
}

Learned learnByWeights(const Group &group, std::uint64_t seed)
{
    const std::size_t size = group.candidates.tokens.size();
    std::vector<std::uint8_t> listed(size, 1);
    std::vector<WeighedText> texts = overlapping(group);
    std::vector<double> weights = separatingWeights(texts, size, seed);
    std::size_t left = firstTokens;
    keepHeaviest(group, texts, weights, left, listed);
    for (;;) {
        texts = weighed(group, listed);
        weights = separatingWeights(texts, size, seed);
        if (left <= lastTokens) {
            break;
        }
        left = std::max(lastTokens, left / 5 * 4);
        keepHeaviest(group, texts, weights, left, listed);
    }
    std::vector<double> leans(size);
    for (std::size_t i = 0; i < size; ++i) {
        leans[i] = group.fixed[i] != 0 ? group.leans[i] : leanOfWeight(weights[i]);
    }
    fitLeans(texts, group.fixed, seed, leans);
    return collect(group, listed, leans);
}

// ---- Counts -------------------------------------------------------------------------------------------------------
//
// The engine trains each message that it calls spam, and hardly ever a ham message. So every token's spam count heads
// for its true share of the spam message count, whatever it starts from, while ham counts stay. Counts that start at
// that share keep their odds however much is trained that way.

// Both classes' message counts. More make corrections weaker, fewer let one language's traffic wear off what is known
// of another.
constexpr std::uint32_t messageScale = 8000;
constexpr double mostNeutralOdds = 3;

std::uint32_t rounded(double value, double least, double most)
{
    return static_cast<std::uint32_t>(std::clamp(std::round(value), least, std::max(least, most)));
}

TokenStats countsOf(const LearnedToken &learned)
{
    const std::uint32_t spam = rounded(learned.spamShare * messageScale, 1, messageScale);
    if (learned.lean == 0) {
        return {spam, rounded(learned.hamShare * messageScale, std::ceil(spam / mostNeutralOdds),
                              std::floor(spam * mostNeutralOdds))};
    }
    const double odds = std::exp(std::fabs(learned.lean));
    if (learned.lean < 0) {
        return {spam, static_cast<std::uint32_t>(std::ceil(spam * odds))};
    }
    const std::uint32_t ham = rounded(spam / odds, 1, messageScale);
    return {static_cast<std::uint32_t>(std::ceil(ham * odds)), ham};
}

Store storeOf(const Learned &learned)
{
    Store store;
    store.spamMessages = messageScale;
    store.hamMessages = messageScale;
    store.priorMillionths = builtPrior;
    for (const LearnedToken &token : learned) {
        store.tokens.emplace(unpackToken(token.token), countsOf(token));
    }
    return store;
}

// ---- The choice of the recipe ---------------------------------------------------------------------------------------

struct Recipe {
    bool byWeights;
    double spamStrictness; // of votes
};

constexpr std::array<Recipe, 3> recipes{{{false, 3.4}, {false, 2.6}, {true, 0}}};
constexpr std::size_t innerFolds = 3;
constexpr std::size_t fewestOfClass = 30; // below, the usual recipe for few messages is taken untried

Learned learn(const std::vector<FilteredText> &messages, const Context &context, const Recipe &recipe,
              std::uint64_t seed)
{
    const Group group = makeGroup(messages, context);
    Learned learned =
        recipe.byWeights ? learnByWeights(group, seed) : learnByVotes(group, messages, recipe.spamStrictness);
    learned.insert(learned.begin(), context.before.begin(), context.before.end());
    return learned;
}

// What the verdicts cost: blocked ham counts twice, an undecided message a little.
double costOf(const Store &store, const std::vector<FilteredText> &messages)
{
    const StoreIndex index = indexStore(store);
    double cost = 0;
    for (const FilteredText &message : messages) {
        const Rating rating = rateFiltered(index, message.text).rating;
        if ((rating == Rating::spam) != message.spam) {
            cost += message.spam ? 1 : 2;
        }
        cost += rating == Rating::unsure ? 0.1 : 0;
    }
    return cost;
}

struct Steps {
    const BuildOptions &options;
    std::uint64_t done = 0;
    std::uint64_t total = 0;
};

void oneStep(Steps &steps)
{
    ++steps.done;
    if (steps.options.progress) {
        steps.options.progress(steps.done, steps.total);
    }
}

// Spam and ham are drawn apart.
template <typename Message>
std::vector<std::uint32_t> strataOf(const std::vector<Message> &messages)
{
    std::vector<std::uint32_t> strata;
    strata.reserve(messages.size());
    for (const Message &message : messages) {
        strata.push_back(message.spam ? 1 : 0);
    }
    return strata;
}

std::vector<FilteredText> pick(const std::vector<FilteredText> &messages, const std::vector<std::size_t> &indices)
{
    std::vector<FilteredText> picked;
    picked.reserve(indices.size());
    for (const std::size_t i : indices) {
        picked.push_back(messages[i]);
    }
    return picked;
}

Recipe chooseRecipe(const std::vector<FilteredText> &messages, const Context &context, Steps &steps)
{
    const ClassSizes sizes = classSizes(messages);
    if (std::min(sizes.spam, sizes.ham) < fewestOfClass) {
        steps.done += innerFolds * recipes.size();
        return recipes.front();
    }
    std::array<double, recipes.size()> costs{};
    for (const Split &split : stratifiedFolds(strataOf(messages), innerFolds, steps.options.seed)) {
        const std::vector<FilteredText> training = pick(messages, split.training);
        const std::vector<FilteredText> test = pick(messages, split.test);
        for (std::size_t i = 0; i < recipes.size(); ++i) {
            costs[i] += costOf(storeOf(learn(training, context, recipes[i], steps.options.seed)), test);
            oneStep(steps);
        }
    }
    const auto best = std::min_element(costs.begin(), costs.end());
    return recipes[static_cast<std::size_t>(best - costs.begin())];
}

// ---- Groups by script ---------------------------------------------------------------------------------------------

constexpr std::size_t fewestOfGroup = 100; // of each class; a smaller group is learned along with the other

// Ideographs, kana and Hangul make up a tenth of the text: names and addresses in Latin letters are common there.
bool isWide(const std::u16string &text)
{
    constexpr char16_t firstWide = 0x2E80;
    const auto wide = std::count_if(text.begin(), text.end(), [](char16_t unit) { return unit >= firstWide; });
    return static_cast<std::size_t>(wide) * 10 >= text.size() && !text.empty();
}

std::vector<std::vector<FilteredText>> groupsByScript(std::vector<FilteredText> messages)
{
    std::vector<FilteredText> narrow;
    std::vector<FilteredText> wide;
    for (const FilteredText &message : messages) {
        (isWide(message.text) ? wide : narrow).push_back(message);
    }
    const ClassSizes narrowSizes = classSizes(narrow);
    const ClassSizes wideSizes = classSizes(wide);
    if (std::min({narrowSizes.spam, narrowSizes.ham, wideSizes.spam, wideSizes.ham}) < fewestOfGroup) {
        return {std::move(messages)};
    }
    return {std::move(narrow), std::move(wide)};
}

std::vector<FilteredText> sample(const std::vector<LabelledText> &messages, const BuildOptions &options)
{
    std::vector<std::size_t> order(messages.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (messages.size() > options.tuningSample) {
        order = stratifiedOrder(strataOf(messages), options.seed);
        order.resize(options.tuningSample);
        std::sort(order.begin(), order.end());
    }
    std::vector<FilteredText> sampled;
    sampled.reserve(order.size());
    for (const std::size_t i : order) {
        sampled.push_back({messages[i].spam, filterText(messages[i].text)});
    }
    return sampled;
}

Context contextOf(const std::vector<std::vector<FilteredText>> &groups, std::size_t own, const Learned &before)
{
    Context context{before, {}};
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (i == own) {
            continue;
        }
        for (const FilteredText &message : groups[i]) {
            countCandidates(context.elsewhere, message);
        }
    }
    return context;
}

Store buildTuned(const std::vector<LabelledText> &messages, const BuildOptions &options)
{
    const std::vector<std::vector<FilteredText>> groups = groupsByScript(sample(messages, options));
    Steps steps{options};
    steps.total = groups.size() * (innerFolds * recipes.size() + 1);
    Learned learned;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const Context context = contextOf(groups, i, learned);
        const Recipe recipe = chooseRecipe(groups[i], context, steps);
        learned = learn(groups[i], context, recipe, options.seed);
        oneStep(steps);
    }
    return storeOf(learned);
}

// ---- Plain --------------------------------------------------------------------------------------------------------

constexpr std::uint32_t plainFewestMessages = 12;
constexpr double plainLean = 2;
constexpr double plainNeutralLean = 0.5;
constexpr double plainFrequent = 0.02; // share of the messages, for sequences without a lean
constexpr int plainRounds = 2;

void countTokens(const MessageSource &messages, StoreIndex &index)
{
    for (auto &[token, counts] : index.tokens) {
        counts = {};
    }
    index.spamMessages = index.hamMessages = 0;
    messages([&](const LabelledText &message) { trainFiltered(index, filterText(message.text), message.spam); });
}

// The sequences that are worth a token, by their counts in all messages.
StoreIndex choosePlain(const CandidateCounter &counter, const ClassSizes &sizes)
{
    const Candidates candidates = takeCandidates(counter, plainFewestMessages);
    StoreIndex index;
    for (std::size_t i = 0; i < candidates.tokens.size(); ++i) {
        const CandidateCounts &counts = candidates.counts[i];
        const double lean = std::fabs(cautiousLean(counts.spam, counts.ham, sizes));
        const bool frequent = counts.spam + counts.ham >= plainFrequent * (sizes.spam + sizes.ham);
        if (lean >= plainLean || (lean < plainNeutralLean && frequent)) {
            index.tokens.emplace(candidates.tokens[i], TokenStats{});
        }
    }
    return index;
}

Store emptyStore(const ClassSizes &sizes)
{
    Store store;
    store.spamMessages = static_cast<std::uint32_t>(sizes.spam);
    store.hamMessages = static_cast<std::uint32_t>(sizes.ham);
    store.priorMillionths = builtPrior;
    return store;
}

} // namespace

// Every message is read, one at a time, once to count and once a round to segment.
Store buildPlainStore(const MessageSource &messages, const BuildOptions &options)
{
    Steps steps{options};
    steps.total = plainRounds + 1;
    ClassSizes sizes;
    CandidateCounter counter;
    messages([&](const LabelledText &message) {
        ++(message.spam ? sizes.spam : sizes.ham);
        countCandidates(counter, {message.spam, filterText(message.text)});
    });
    oneStep(steps);
    Store store = emptyStore(sizes);
    if (sizes.spam == 0 || sizes.ham == 0) {
        return store;
    }
    StoreIndex index = choosePlain(counter, sizes);
    counter = {};
    for (int round = 0; round < plainRounds; ++round) {
        countTokens(messages, index);
        oneStep(steps);
        if (round + 1 < plainRounds) {
            std::erase_if(index.tokens, [](const auto &entry) {
                return entry.second.spam + entry.second.ham < plainFewestMessages / 2;
            });
        }
    }
    for (const auto &[token, counts] : index.tokens) {
        store.tokens.emplace(unpackToken(token), counts);
    }
    return store;
}

Store buildStore(const std::vector<LabelledText> &messages, const BuildOptions &options)
{
    if (options.plain) {
        return buildPlainStore(
            [&messages](const MessageTaker &take) { std::for_each(messages.begin(), messages.end(), take); }, options);
    }
    const ClassSizes sizes = classSizes(messages);
    return sizes.spam == 0 || sizes.ham == 0 ? emptyStore(sizes) : buildTuned(messages, options);
}

} // namespace velq::kit
