// Learns the groups of messages one after the other. The recipes are tried against each other inside each group's
// messages, and what the best one gives is written down as counts.
#include "kit/learning/store_builder.h"

#include "kit/learning/counts.h"
#include "kit/learning/groups.h"
#include "kit/learning/votes.h"
#include "kit/learning/weights.h"
#include "kit/messages/sampling.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

struct Recipe {
    bool byWeights;
    double spamStrictness; // of votes
};

constexpr std::array<Recipe, 3> recipes{{{false, 3.4}, {false, 2.6}, {true, 0}}};
constexpr std::size_t innerFolds = 3;
constexpr std::size_t fewestOfClass = 30; // below, the usual recipe for few messages is taken untried

Learned learn(const std::vector<FilteredText> &messages, const OtherGroups &others, const Recipe &recipe,
              std::uint64_t seed)
{
    const Group group = makeGroup(messages, others);
    Learned learned =
        recipe.byWeights ? learnByWeights(group, seed) : learnByVotes(group, messages, recipe.spamStrictness);
    learned.insert(learned.begin(), others.before.begin(), others.before.end());
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

// Spam and ham are drawn apart.
std::vector<std::uint32_t> strataOf(const std::vector<FilteredText> &messages)
{
    std::vector<std::uint32_t> strata;
    strata.reserve(messages.size());
    for (const FilteredText &message : messages) {
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

Recipe chooseRecipe(const std::vector<FilteredText> &messages, const OtherGroups &others, std::uint64_t seed,
                    BuildSteps &steps)
{
    const ClassSizes sizes = classSizes(messages);
    if (std::min(sizes.spam, sizes.ham) < fewestOfClass) {
        steps.done += innerFolds * recipes.size();
        return recipes.front();
    }
    std::array<double, recipes.size()> costs{};
    for (const Split &split : stratifiedFolds(strataOf(messages), innerFolds, seed)) {
        const std::vector<FilteredText> training = pick(messages, split.training);
        const std::vector<FilteredText> test = pick(messages, split.test);
        for (std::size_t i = 0; i < recipes.size(); ++i) {
            costs[i] += costOf(storeOf(learn(training, others, recipes[i], seed)), test);
            oneStep(steps);
        }
    }
    const auto best = std::min_element(costs.begin(), costs.end());
    return recipes[static_cast<std::size_t>(best - costs.begin())];
}

std::vector<FilteredText> filtered(const TrainingSet &training)
{
    std::vector<FilteredText> messages;
    for (const LabelledText &message : training.messages()) {
        messages.push_back({message.spam, filterText(message.text)});
    }
    return messages;
}

} // namespace

Store buildStore(const TrainingSet &training, const BuildProgress &progress)
{
    if (training.added(true) == 0 || training.added(false) == 0) {
        return emptyStore({static_cast<double>(training.added(true)), static_cast<double>(training.added(false))});
    }
    const std::vector<std::vector<FilteredText>> groups = groupsByScript(filtered(training));
    BuildSteps steps{progress, groups.size() * (innerFolds * recipes.size() + 1)};
    Learned learned;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const OtherGroups others = othersOf(groups, i, learned);
        const Recipe recipe = chooseRecipe(groups[i], others, training.seed(), steps);
        learned = learn(groups[i], others, recipe, training.seed());
        oneStep(steps);
    }
    return storeOf(learned);
}

} // namespace velq::kit
