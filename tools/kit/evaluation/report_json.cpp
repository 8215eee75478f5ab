// The objects of the report, from the inside out.
#include "kit/evaluation/report_json.h"

#include "kit/evaluation/figures.h"
#include "kit/evaluation/report_trade_off.h"

#include <optional>
#include <utility>

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

Json valueJson(std::optional<double> value)
{
    return value ? Json(*value) : Json(nullptr);
}

Json classJson(const ClassCounts &counts)
{
    return {{"ratedSpam", counts.ratedSpam},
            {"ratedHam", counts.ratedHam},
            {"ratedUnsure", counts.ratedUnsure},
            {"all", counts.total()}};
}

Json metricsJson(const Metrics &metrics)
{
    Json json;
    for (const Figure &figure : figuresShown(&Shown::inJson)) {
        json[figure.name] = valueJson(metrics.*figure.value);
    }
    return json;
}

Json countsJson(const ConfusionCounts &counts)
{
    return {
        {"spam", classJson(counts.spam)}, {"ham", classJson(counts.ham)}, {"metrics", metricsJson(metricsOf(counts))}};
}

Json runJson(const EvaluationPlan &plan, const EvaluationResult &result, const RunResult &run)
{
    Json json = countsJson(run.all);
    json["newTexts"] = result.trainingKnown ? countsJson(run.unseen) : Json(nullptr);
    json["messagesPerSecond"] = run.messagesPerSecond();
    json["mean"] = metricsJson(meanOf(run.parts));
    json["deviation"] = metricsJson(deviationOf(run.parts));
    json["parts"] = Json::array();
    for (const ConfusionCounts &counts : run.parts) {
        json["parts"].push_back(countsJson(counts));
    }
    json["meanOverCorpora"] = metricsJson(meanOf(run.corpora));
    json["corpora"] = Json::array();
    for (std::size_t i = 0; i < run.corpora.size(); ++i) {
        Json corpus = countsJson(run.corpora[i]);
        corpus["file"] = plan.corpora[i];
        json["corpora"].push_back(std::move(corpus));
    }
    return json;
}

Json pointJson(const CurvePoint &point)
{
    Json json = countsJson(point.counts);
    json["asked"] = point.asked;
    json["made"] = point.made;
    json["messagesRead"] = point.read;
    json["error"] = valueJson(metricsOf(point.counts).error);
    return json;
}

Json tradeOffJson(const TradeOffPoint &point)
{
    const Metrics metrics = metricsOf(point);
    return {{"costBlocked", point.blockedCost},
            {"BH", valueJson(metrics.hamBlocked)},
            {"unsureHam", valueJson(metrics.unsureHam)},
            {"SC", valueJson(metrics.spamCaught)}};
}

} // namespace

nlohmann::ordered_json reportJson(const EvaluationPlan &plan, const Measured &measured)
{
    const EvaluationResult &result = measured.result;
    Json json;
    json["method"] = plan.method;
    json["clusters"] = plan.clusters > 0 ? Json(plan.clusters) : Json(nullptr);
    json["messages"] = {{"spam", result.trainingOff.all.spam.total()}, {"ham", result.trainingOff.all.ham.total()}};
    json["tokens"] = measured.tokens;
    json["textsSeenInTraining"] = result.trainingKnown ? Json(result.seenTexts) : Json(nullptr);
    json["trainingOff"] = runJson(plan, result, result.trainingOff);
    json["trainingOn"] = runJson(plan, result, result.trainingOn);
    json["areaUnderRoc"] = valueJson(areaUnder(rocCurve(result.scores)));
    json["scoreDisagreements"] = result.disagreements;
    json["corrections"] = Json::array();
    for (const CurvePoint &point : measured.curve) {
        json["corrections"].push_back(pointJson(point));
    }
    json["tradeOff"] = Json::array();
    for (const TradeOffPoint &point : measured.tradeOff) {
        json["tradeOff"].push_back(tradeOffJson(point));
    }
    return json;
}

} // namespace velq::kit
