// Learns the groups of messages one after the other, each by the recipe of its script, and writes down what they give
// as counts.
#include "kit/learning/store_builder.h"

#include "kit/learning/balance.h"
#include "kit/learning/counts.h"
#include "kit/learning/crops.h"
#include "kit/learning/elimination.h"
#include "kit/learning/fit.h"
#include "kit/learning/groups.h"
#include "kit/learning/languages.h"
#include "kit/learning/readings.h"
#include "kit/learning/votes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

// A new token stands in one of so many messages of the languages that a store knows at most.
constexpr std::size_t knownPerToken = 2000;

// What the recipes go by in the messages of one script.
struct Recipe {
    BalanceRule balance;
    bool votes; // else elimination
    bool crops;
    VoteRule voteRule;
    EliminationRule eliminationRule;
    FitCosts ofCosts; // what part of the maker's costs counts
};

constexpr VoteRule cyrillicVotes = {.spamStrictness = 1.6, .hamStrictness = 1.2, .fillers = 100};
constexpr VoteRule narrowVotes = {.spamStrictness = 1.88,
                                  .hamStrictness = 1.3,
                                  .fillers = 100,
                                  .spamCrossing = 2.4,
                                  .hamCrossing = 1.1,
                                  .spamSyllables = 1.2,
                                  .hamSyllables = -0.6,
                                  .scarce = 0.6};

Recipe recipeOf(Script script)
{
    constexpr double hamShare = 0.62;
    switch (script) {
    case Script::wide:
        return {{0.7, hamShare}, false, false, {}, {40000, 8000, 14000}, {0.9, 1}};
    case Script::thai: // the same costs would block far less and let more through than elsewhere
        return {{0.7, hamShare}, false, false, {}, {40000, 4000, 14000}, {0.3, 0.95}};
    case Script::cyrillic: // of few messages
        return {{0.85, hamShare}, true, true, cyrillicVotes, {}, {1, 1}};
    case Script::narrow:
        break;
    }
    return {{0.85, hamShare}, true, true, narrowVotes, {}, {1, 1}};
}

// What the groups of a build have in common.
struct Surroundings {
    Learned before; // tokens that stand
    bool takesAscii = true;
    const CandidateCounter *others = nullptr;
    std::uint32_t mostOfOthers = 0;
};

Learned learn(ScriptGroup &&scriptGroup, const Surroundings &around, const BuildRules &rules, std::uint64_t seed)
{
    Recipe recipe = recipeOf(scriptGroup.script);
    recipe.balance.firstLight = rules.firstWritten;
    recipe.balance.lightHamWeight = rules.writtenHamWeight;
    recipe.balance.lightSpamWeight = rules.writtenSpamWeight;
    const bool narrow = scriptGroup.script == Script::narrow;
    std::vector<FilteredText> messages = readingsOf(scriptGroup.messages, rules.readings);
    scriptGroup.messages.clear();
    balance(messages, recipe.balance, narrow ? languagesOf(messages) : std::map<std::uint32_t, std::uint32_t>());
    const Group group = makeGroup(messages, {around.before, narrow && around.takesAscii, rules.fewestClusters,
                                             around.others, around.mostOfOthers});
    Choice choice = recipe.votes ? chooseByVotes(group, messages, recipe.voteRule)
                                 : chooseByElimination(group, recipe.eliminationRule, seed);
    std::vector<SegmentedText> texts = segmentAll(group.texts, choice.listed);
    if (recipe.crops) {
        forEachCrop(messages, seed, [&](const FilteredText &crop) {
            texts.push_back(segmentOne(indexText(group.candidates, crop), choice.listed));
        });
    }
    std::vector<std::uint8_t> held = group.fixed;
    for (std::size_t i = 0; i < held.size(); ++i) {
        held[i] |= choice.fillers[i];
    }
    const FitCosts costs = {rules.blockedCost * recipe.ofCosts.blocked, rules.unsureCost * recipe.ofCosts.unsure};
    fitLeans(texts, held, costs, seed, choice.leans);
    if (recipe.votes) {
        levelVotes(held, choice.leans);
    }
    return collect(group, choice);
}

// What all groups give beside the tokens that stand.
Learned learnAll(const TrainingSet &training, Surroundings around, const BuildRules &rules,
                 const BuildProgress &progress)
{
    std::vector<ScriptGroup> groups = groupsByScript(training.messages());
    BuildSteps steps{progress, groups.size()};
    Learned learned;
    for (ScriptGroup &group : groups) {
        const Learned further = learn(std::move(group), around, rules, training.seed());
        learned.insert(learned.end(), further.begin(), further.end());
        around.before.insert(around.before.end(), further.begin(), further.end());
        oneStep(steps);
    }
    return learned;
}

bool hasBothClasses(const TrainingSet &training)
{
    return training.added(true) > 0 && training.added(false) > 0;
}

bool isAsciiToken(std::u16string_view token)
{
    return std::all_of(token.begin(), token.end(), [](char16_t unit) { return unit < 0x80; });
}

} // namespace

Store buildStore(const TrainingSet &training, const BuildRules &rules, const BuildProgress &progress)
{
    if (!hasBothClasses(training)) {
        return emptyStore({static_cast<double>(training.added(true)), static_cast<double>(training.added(false))});
    }
    return storeOf(learnAll(training, {}, rules, progress));
}

Store buildOnto(const StoreInUse &inUse, const TrainingSet &training, const BuildRules &rules,
                const BuildProgress &progress)
{
    Store store = inUse.store;
    if (!hasBothClasses(training) || store.spamMessages == 0 || store.hamMessages == 0) {
        return store;
    }
    const std::vector<FilteredText> known = readingsOf(inUse.known, rules.readings);
    CandidateCounter others;
    countCandidates(others, known);
    Surroundings around;
    around.before = learnedFrom(store);
    around.takesAscii = !known.empty() || std::none_of(store.tokens.begin(), store.tokens.end(),
                                                       [](const auto &entry) { return isAsciiToken(entry.first); });
    around.others = &others;
    around.mostOfOthers = static_cast<std::uint32_t>(inUse.known.size() / knownPerToken);
    addTokens(store, learnAll(training, std::move(around), rules, progress));
    return store;
}

} // namespace velq::kit
