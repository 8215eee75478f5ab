// Corrects one installation further and further, and rates the same messages each time.
#include "kit/evaluation/learning_curve.h"

#include "kit/base/status.h"
#include "kit/evaluation/engine_runs.h"
#include "kit/messages/sampling.h"

#include <algorithm>
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

static std::uint64_t largestOf(const CurveOptions &options)
{
    return options.corrections.empty() ? 0 : options.corrections.back();
}

// How many of the messages are there to correct, of which the rest is measured on.
static std::uint64_t teachingOf(std::size_t messages, const CurveOptions &options)
{
    return options.onlyErrors ? messages - messages / 3 : largestOf(options);
}

void checkCurve(std::size_t messages, const CurveOptions &options)
{
    if (teachingOf(messages, options) >= messages) {
        throw Error(Status::usage, std::to_string(largestOf(options)) + " corrections leave none of the " +
                                       std::to_string(messages) + " messages to measure on; ask for fewer");
    }
}

void addCurve(std::vector<CurvePoint> &curve, const std::vector<CurvePoint> &other)
{
    if (curve.empty()) {
        curve = other;
        return;
    }
    for (std::size_t i = 0; i < curve.size() && i < other.size(); ++i) {
        curve[i].made = std::min(curve[i].made, other[i].made);
        curve[i].read = std::max(curve[i].read, other[i].read);
        curve[i].counts += other[i].counts;
    }
}

std::vector<CurvePoint> learningCurve(const StoreContents &store, const std::vector<const TestMessage *> &messages,
                                      const CurveOptions &options)
{
    checkCurve(messages.size(), options);
    const std::uint64_t teaching = teachingOf(messages.size(), options);
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
