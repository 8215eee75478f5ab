// Plans: folds, a split, a test file, or a store at hand.
#include "kit/evaluation/plan.h"

#include "kit/base/status.h"
#include "kit/base/wide_text.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

namespace velq::kit {

namespace {

void readMessages(EvaluationPlan &plan, const std::string &file, const EvaluationRequest &request,
                  std::istream &standardInput)
{
    const auto corpus = static_cast<std::uint32_t>(plan.corpora.size());
    plan.corpora.push_back(file);
    readCorpus(file, request.format, standardInput, [&](LabelledMessage &&message) {
        plan.messages.push_back(
            {message.label == Label::spam, utf16FromUtf8(message.text).value_or(u""), corpus, message.line});
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

void planFolds(EvaluationPlan &plan, const EvaluationRequest &request)
{
    if (request.folds < 2 || request.folds > plan.messages.size()) {
        throw Error(Status::usage, "--folds " + std::to_string(request.folds) +
                                       ": expected at least 2 and at most the " + std::to_string(plan.messages.size()) +
                                       " messages");
    }
    plan.splits = stratifiedFolds(strataOf(plan.messages), request.folds, request.seed);
    plan.method = std::to_string(request.folds) + " stratified folds, seed " + std::to_string(request.seed);
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
    } else {
        planFolds(plan, request);
    }
    if (plan.splits.front().test.empty()) {
        throw Error(Status::badData, "no messages are left to test on; train on fewer than " + std::to_string(given));
    }
    return plan;
}

} // namespace velq::kit
