// Rates each part with training off and on, and counts.
#include "kit/evaluation/evaluation.h"

#include "kit/evaluation/engine_runs.h"
#include "kit/reading/text_model.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>

namespace velq::kit {

namespace {

// One part's messages and what is known about them.
struct PartTest {
    std::vector<const TestMessage *> messages;
    std::vector<bool> seen;
};

PartTest testOf(const std::vector<TestMessage> &messages, const EvaluationPart &part)
{
    std::unordered_set<std::u16string_view> known;
    for (const std::size_t index : part.training) {
        known.insert(messages[index].text);
    }
    PartTest test;
    for (const std::size_t index : part.test) {
        test.messages.push_back(&messages[index]);
        test.seen.push_back(known.contains(messages[index].text));
    }
    return test;
}

void add(RunResult &result, const PartTest &test, const EngineRun &run)
{
    ConfusionCounts &part = result.parts.emplace_back();
    for (std::size_t i = 0; i < test.messages.size(); ++i) {
        const TestMessage &message = *test.messages[i];
        count(part, message.spam, run.ratings[i]);
        count(result.corpora[message.corpus], message.spam, run.ratings[i]);
        if (!test.seen[i]) {
            count(result.unseen, message.spam, run.ratings[i]);
        }
    }
    result.all += part;
    result.seconds += run.seconds;
}

// Without a classifier's score: 0 for a text too short to be read, the prior for too few tokens, as for a text without
// evidence.
double scoreOf(const StoreIndex &index, const Reading &reading)
{
    if (reading.score && reading.score->spamicity >= 0) {
        return reading.score->spamicity;
    }
    return reading.rating == Rating::ham ? 0 : std::min(index.prior, 1.0);
}

void addScores(EvaluationResult &result, const StoreContents &store, const PartTest &test, const EngineRun &run)
{
    const StoreIndex index = indexStore(modelOf(store));
    for (std::size_t i = 0; i < test.messages.size(); ++i) {
        const Reading reading = rateFiltered(index, filterText(test.messages[i]->text));
        result.scores.push_back({test.messages[i]->spam, scoreOf(index, reading)});
        result.disagreements += reading.rating != run.ratings[i] ? 1 : 0;
    }
}

void addErrors(EvaluationResult &result, const EvaluationInstallation &installation, const EvaluationPart &part,
               std::size_t number, const PartTest &test, const EngineRun &run, std::size_t most)
{
    std::size_t room[2] = {most, most}; // by label
    for (const EvaluationError &error : result.errors) {
        --room[error.spam ? 1 : 0];
    }
    for (std::size_t i = 0; i < test.messages.size(); ++i) {
        const bool spam = test.messages[i]->spam;
        if (isError(spam, run.ratings[i]) && room[spam ? 1 : 0] > 0) {
            --room[spam ? 1 : 0];
            result.errors.push_back(
                {part.test[i], number, spam, run.ratings[i], installation.explain(*test.messages[i])});
        }
    }
}

} // namespace

EvaluationResult evaluate(const std::vector<TestMessage> &messages, std::size_t parts,
                          const std::function<EvaluationPart(std::size_t)> &nextPart, const EvaluationOptions &options)
{
    EvaluationResult result;
    result.trainingOff.corpora.resize(options.corpora);
    result.trainingOn.corpora.resize(options.corpora);
    std::uint64_t done = 0;
    const auto step = [&] {
        if (options.progress) {
            options.progress(++done, 3 * parts);
        }
    };
    for (std::size_t number = 0; number < parts; ++number) {
        const EvaluationPart part = nextPart(number);
        const PartTest test = testOf(messages, part);
        result.trainingKnown = result.trainingKnown || !part.training.empty();
        result.seenTexts += static_cast<std::uint64_t>(std::count(test.seen.begin(), test.seen.end(), true));
        step();

        EvaluationInstallation installation(part.store);
        installation.setTraining(false);
        const EngineRun off = installation.rate(test.messages);
        add(result.trainingOff, test, off);
        addScores(result, part.store, test, off);
        addErrors(result, installation, part, number, test, off, options.mostErrors);
        step();
        if (options.trainingOffOnly) {
            continue;
        }

        installation.setTraining(true);
        add(result.trainingOn, test, installation.rate(test.messages));
        step();
    }
    return result;
}

} // namespace velq::kit
