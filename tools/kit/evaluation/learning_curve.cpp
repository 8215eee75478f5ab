// Corrects one installation further and further, and rates the same messages each time.
#include "kit/evaluation/learning_curve.h"

#include "kit/base/status.h"
#include "kit/evaluation/engine_runs.h"
#include "kit/messages/sampling.h"

#include <cstddef>
#include <string>

namespace velq::kit {

static std::vector<const TestMessage *> inStratifiedOrder(const std::vector<const TestMessage *> &messages,
                                                          std::uint64_t seed)
{
    std::vector<std::uint32_t> strata;
    strata.reserve(messages.size());
    for (const TestMessage *message : messages) {
        strata.push_back(stratumOf(*message));
    }
    std::vector<const TestMessage *> ordered;
    for (const std::size_t index : stratifiedOrder(strata, seed)) {
        ordered.push_back(messages[index]);
    }
    return ordered;
}

std::vector<CurvePoint> learningCurve(const StoreContents &store, const std::vector<const TestMessage *> &messages,
                                      const CurveOptions &options)
{
    const std::uint64_t largest = options.corrections.empty() ? 0 : options.corrections.back();
    const std::uint64_t teaching = options.onlyErrors ? messages.size() - messages.size() / 3 : largest;
    if (teaching >= messages.size()) {
        throw Error(Status::usage, std::to_string(largest) + " corrections leave none of the " +
                                       std::to_string(messages.size()) + " messages to measure on; ask for fewer");
    }
    const std::vector<const TestMessage *> ordered = inStratifiedOrder(messages, options.seed);
    const auto firstTest = ordered.begin() + static_cast<std::ptrdiff_t>(teaching);
    const std::vector<const TestMessage *> test(firstTest, ordered.end());

    EvaluationInstallation installation(store);
    std::vector<CurvePoint> curve;
    CurvePoint point;
    for (const std::uint64_t corrections : options.corrections) {
        const std::vector<const TestMessage *> rest(ordered.begin() + static_cast<std::ptrdiff_t>(point.read),
                                                    firstTest);
        const auto taught = installation.teach(rest, corrections - point.made, options.onlyErrors);
        point.asked = corrections;
        point.made += taught.told;
        point.read += taught.read;
        installation.setTraining(false);
        const EngineRun run = installation.rate(test);
        installation.setTraining(true);
        point.counts = {};
        for (std::size_t i = 0; i < test.size(); ++i) {
            count(point.counts, test[i]->spam, run.ratings[i]);
        }
        curve.push_back(point);
    }
    return curve;
}

StoreContents withoutCounts(const StoreContents &store)
{
    StoreContents emptied = store;
    for (StoreRow &row : emptied.rows) {
        if (row.key != StoredValue::ofBlob(priorKey()) && row.key != StoredValue::ofBlob(messageCountKey())) {
            row.value = StoredValue::ofBlob(valueOf({}));
        }
    }
    return emptied;
}

} // namespace velq::kit
