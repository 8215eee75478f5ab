// Plans: folds, each source in turn, a split, a test file, or a store at hand.
#include "kit/evaluation/plan.h"

#include "kit/base/status.h"
#include "kit/messages/near_duplicates.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

namespace velq::kit {

namespace {

void readMessages(EvaluationPlan &plan, const std::string &file, const EvaluationRequest &request,
                  std::istream &standardInput)
{
    const auto corpus = static_cast<std::uint32_t>(plan.corpora.size());
    plan.corpora.push_back(file);
    readCorpus(file, request.format, standardInput, [&](LabelledMessage &&message) {
        std::u16string original = utf16InForm(TextForm::raw, message.text);
        std::u16string text = request.rateRaw ? original : utf16InForm(request.form, original);
        plan.messages.push_back(
            {message.label == Label::spam, std::move(text), corpus, message.line, std::move(original)});
    });
}

std::size_t trainingCountOf(const std::string &split)
{
    constexpr std::string_view prefix = "first:";
    std::size_t count = 0;
    const char *end = split.data() + split.size();
    if (!split.starts_with(prefix) ||
        std::from_chars(split.data() + prefix.size(), end, count) != std::from_chars_result{end, std::errc()} ||
        count == 0) {
        throw Error(Status::usage, "--split " + split +
                                       ": expected first:N with a number of messages, such as "
                                       "first:1000");
    }
    return count;
}

std::vector<std::uint32_t> strataOf(const std::vector<TestMessage> &messages)
{
    std::vector<std::uint32_t> strata;
    strata.reserve(messages.size());
    for (const TestMessage &message : messages) {
        strata.push_back(stratumOf(message));
    }
    return strata;
}

void checkFolds(std::size_t folds, std::size_t most, std::string_view things)
{
    if (folds < 2 || folds > most) {
        throw Error(Status::usage, "--folds " + std::to_string(folds) + ": expected at least 2 and at most the " +
                                       std::to_string(most) + " " + std::string(things));
    }
}

// The cluster of each message; counts them in the plan.
std::vector<std::uint32_t> clustersOf(EvaluationPlan &plan)
{
    std::vector<std::u16string_view> texts;
    texts.reserve(plan.messages.size());
    for (const TestMessage &message : plan.messages) {
        texts.emplace_back(message.text);
    }
    std::vector<std::uint32_t> clusters = clusterNearDuplicates(texts);
    plan.clusters = std::size_t{*std::max_element(clusters.begin(), clusters.end())} + 1;
    return clusters;
}

void planRandomFolds(EvaluationPlan &plan, const EvaluationRequest &request)
{
    checkFolds(request.folds, plan.messages.size(), "messages");
    plan.splits = stratifiedFolds(strataOf(plan.messages), request.folds, request.seed);
    plan.method = std::to_string(request.folds) + " stratified folds, seed " + std::to_string(request.seed);
}

void planFolds(EvaluationPlan &plan, const EvaluationRequest &request)
{
    const std::vector<std::uint32_t> clusters = clustersOf(plan);
    checkFolds(request.folds, plan.clusters, "clusters of near-duplicates");
    plan.splits = groupedFolds(strataOf(plan.messages), clusters, request.folds, request.seed);
    plan.method = std::to_string(request.folds) + " stratified folds that keep near-duplicates together (" +
                  std::to_string(plan.clusters) + " clusters of " + std::to_string(plan.messages.size()) +
                  " messages), seed " + std::to_string(request.seed);
}

// Each file is tested with the store of all others. Near-duplicates of what is tested are not trained on: they would
// have made the file known.
void planSources(EvaluationPlan &plan)
{
    if (plan.corpora.size() < 2) {
        throw Error(Status::usage, "--leave-one-source-out: expected at least two files, each a source");
    }
    const std::vector<std::uint32_t> clusters = clustersOf(plan);
    for (std::uint32_t source = 0; source < plan.corpora.size(); ++source) {
        std::vector<bool> isTested(plan.clusters);
        for (std::size_t i = 0; i < plan.messages.size(); ++i) {
            isTested[clusters[i]] = isTested[clusters[i]] || plan.messages[i].corpus == source;
        }
        Split split;
        for (std::size_t i = 0; i < plan.messages.size(); ++i) {
            if (plan.messages[i].corpus == source) {
                split.test.push_back(i);
            } else if (!isTested[clusters[i]]) {
                split.training.push_back(i);
            }
        }
        if (!split.test.empty()) {
            plan.splits.push_back(std::move(split));
        }
    }
    plan.partsAre = "sources";
    plan.method = "each source tested with a store built from the other " + std::to_string(plan.corpora.size() - 1) +
                  ", near-duplicates of the tested messages left out (" + std::to_string(plan.clusters) +
                  " clusters of " + std::to_string(plan.messages.size()) + " messages)";
}

} // namespace

EvaluationPlan makePlan(const EvaluationRequest &request, std::istream &standardInput)
{
    EvaluationPlan plan;
    for (const std::string &corpus : request.corpora) {
        readMessages(plan, corpus, request, standardInput);
    }
    const std::size_t given = plan.messages.size();
    if (given == 0) {
        throw Error(Status::badData, "no messages to evaluate on in " + plan.corpora.front());
    }
    if (!request.store.empty()) {
        plan.splits = {splitAfter(given, 0)};
        plan.method = "the store " + request.store + (request.withoutCounts ? " without its counts" : "");
    } else if (!request.test.empty()) {
        readMessages(plan, request.test, request, standardInput);
        if (plan.messages.size() == given) {
            throw Error(Status::badData, "no messages to test on in " + request.test);
        }
        plan.splits = {splitAfter(plan.messages.size(), given)};
        plan.method = "trained on " + std::to_string(given) + " messages, tested on " + request.test;
    } else if (!request.split.empty()) {
        const std::size_t training = trainingCountOf(request.split);
        plan.splits = {splitAfter(given, training)};
        plan.method =
            "trained on the first " + std::to_string(std::min(training, given)) + " messages, tested on the rest";
    } else if (request.leaveOneSourceOut) {
        planSources(plan);
    } else if (request.randomFolds) {
        planRandomFolds(plan, request);
    } else {
        planFolds(plan, request);
    }
    plan.written = writtenTexts(request.written, request.seed, static_cast<std::uint32_t>(plan.corpora.size()));
    if (!plan.written.empty()) {
        plan.method += "; trained with " + std::to_string(plan.written.size()) + " written messages besides";
    }
    if (request.rateRaw) {
        plan.method += "; texts rated as they are";
    } else if (request.form == TextForm::raw) {
        plan.method += "; texts as they are";
    }
    if (plan.splits.front().test.empty()) {
        throw Error(Status::badData, "no messages are left to test on; train on fewer than " + std::to_string(given));
    }
    return plan;
}

} // namespace velq::kit
