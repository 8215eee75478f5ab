// Builds or reads the store of each part when its turn has come, so that only one is held.
#include "kit/evaluation/measurement.h"

#include "kit/learning/plain.h"
#include "kit/learning/store_builder.h"
#include "kit/store/store_form.h"

#include <functional>
#include <iterator>

namespace velq::kit {

Store storeOfPart(const EvaluationPlan &plan, const Split &part, const EvaluationRequest &request, std::size_t sample)
{
    if (request.plain) {
        return buildPlainStore([&](const MessageTaker &take) {
            for (const std::size_t index : part.training) {
                take({plan.messages[index].spam, plan.messages[index].text, plan.messages[index].corpus});
            }
            for (const LabelledText &message : plan.written) {
                take({message.spam, utf16InForm(request.form, message.text), message.source});
            }
        });
    }
    TrainingSet training(request.seed, sample);
    for (const std::size_t index : part.training) {
        const TestMessage &message = plan.messages[index];
        training.add(message.spam, message.original, message.corpus);
    }
    for (const LabelledText &message : plan.written) {
        training.add(message.spam, message.text, message.source);
    }
    BuildRules rules = request.rules;
    rules.firstWritten = static_cast<std::uint32_t>(plan.corpora.size());
    rules.readings = request.form == TextForm::raw ? Readings::raw : Readings::preparedAndRaw;
    return buildStore(training, rules);
}

static CurveOptions curveOptionsOf(const EvaluationRequest &request)
{
    return {request.corrections, request.onlyErrors, request.seed};
}

// On the messages that a part tests.
static std::vector<CurvePoint> curveOfPart(const EvaluationPlan &plan, const Split &part, const StoreContents &store,
                                           const EvaluationRequest &request)
{
    std::vector<const TestMessage *> messages;
    for (const std::size_t index : part.test) {
        messages.push_back(&plan.messages[index]);
    }
    return learningCurve(store, messages, curveOptionsOf(request));
}

static std::vector<TradeOffPoint> measureTradeOff(const EvaluationPlan &plan, const EvaluationRequest &request,
                                                  const std::function<void()> &step)
{
    std::vector<TradeOffPoint> points;
    for (const double cost : tradeOffCosts) {
        EvaluationRequest other = request;
        other.rules.blockedCost = cost;
        const auto nextPart = [&](std::size_t part) {
            step();
            const Split &split = plan.splits[part];
            return EvaluationPart{contentsOf(storeOfPart(plan, split, other)), split.test, split.training};
        };
        EvaluationOptions options;
        options.corpora = plan.corpora.size();
        options.trainingOffOnly = true;
        points.push_back({cost, evaluate(plan.messages, plan.splits.size(), nextPart, options).trainingOff.corpora});
    }
    return points;
}

std::uint64_t measuringSteps(const EvaluationPlan &plan, const EvaluationRequest &request)
{
    const std::uint64_t parts = plan.splits.size();
    return 3 * parts + (request.tradeOff ? parts * std::size(tradeOffCosts) : 0);
}

Measured measure(const EvaluationPlan &plan, const EvaluationRequest &request, const MeasureOptions &options,
                 std::istream &standardInput)
{
    for (const Split &part : plan.splits) {
        if (!request.corrections.empty()) {
            checkCurve(part.test.size(), curveOptionsOf(request));
        }
    }
    Measured measured;
    StoreContents store;
    std::uint64_t done = 0;
    const auto progress = [&](std::uint64_t, std::uint64_t) {
        if (options.progress) {
            options.progress(++done, measuringSteps(plan, request));
        }
    };
    const auto nextPart = [&](std::size_t part) {
        const Split &split = plan.splits[part];
        store = request.store.empty() ? contentsOf(storeOfPart(plan, split, request))
                                      : readStore(request.store, standardInput);
        if (request.withoutCounts) {
            store = withoutCounts(store);
        }
        measured.tokens.push_back(modelOf(store).tokens.size());
        if (!request.corrections.empty()) {
            addCurve(measured.curve, curveOfPart(plan, split, store, request));
        }
        return EvaluationPart{store, split.test, split.training};
    };
    measured.result =
        evaluate(plan.messages, plan.splits.size(), nextPart, {plan.corpora.size(), options.mostErrors, progress});
    if (request.tradeOff) {
        measured.tradeOff = measureTradeOff(plan, request, [&] { progress(0, 0); });
    }
    return measured;
}

} // namespace velq::kit
