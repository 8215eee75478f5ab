// Builds or reads the store of each part when its turn has come, so that only one is held.
#include "kit/evaluation/measurement.h"

#include "kit/learning/plain.h"
#include "kit/learning/store_builder.h"
#include "kit/store/store_form.h"

namespace velq::kit {

Store storeOfPart(const EvaluationPlan &plan, const Split &part, const EvaluationRequest &request, std::size_t sample)
{
    if (request.plain) {
        return buildPlainStore([&](const MessageTaker &take) {
            for (const std::size_t index : part.training) {
                take({plan.messages[index].spam, plan.messages[index].text});
            }
        });
    }
    TrainingSet training(request.seed, sample);
    for (const std::size_t index : part.training) {
        training.add(plan.messages[index].spam, plan.messages[index].text);
    }
    return buildStore(training);
}

// On the messages that are tested, of a plan of one part.
static std::vector<CurvePoint> measureCurve(const EvaluationPlan &plan, const StoreContents &store,
                                            const EvaluationRequest &request)
{
    std::vector<const TestMessage *> messages;
    for (const std::size_t index : plan.splits.front().test) {
        messages.push_back(&plan.messages[index]);
    }
    return learningCurve(store, messages, {request.corrections, request.onlyErrors, request.seed});
}

Measured measure(const EvaluationPlan &plan, const EvaluationRequest &request, const MeasureOptions &options,
                 std::istream &standardInput)
{
    Measured measured;
    StoreContents store;
    const auto nextPart = [&](std::size_t part) {
        const Split &split = plan.splits[part];
        store = request.store.empty() ? contentsOf(storeOfPart(plan, split, request))
                                      : readStore(request.store, standardInput);
        if (request.withoutCounts) {
            store = withoutCounts(store);
        }
        measured.tokens.push_back(modelOf(store).tokens.size());
        return EvaluationPart{store, split.test, split.training};
    };
    measured.result = evaluate(plan.messages, plan.splits.size(), nextPart,
                               {plan.corpora.size(), options.mostErrors, options.progress});
    if (!request.corrections.empty()) {
        measured.curve = measureCurve(plan, store, request);
    }
    return measured;
}

} // namespace velq::kit
