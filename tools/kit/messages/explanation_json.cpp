// Explanations as one JSON object.
#include "kit/messages/explanation_json.h"

#include "kit/reading/text_filter.h"

#include <cmath>

namespace velq::kit {

using Json = nlohmann::ordered_json;

// JSON has no NaN.
static Json finite(double value)
{
    return std::isfinite(value) ? Json(value) : Json(nullptr);
}

Json explanationJson(const ExplainedMessage &message, const std::string &number, const Explanation &explanation)
{
    Json entry;
    if (explanation.entry) {
        entry = {
            {"number", explanation.entry->number}, {"name", explanation.entry->name}, {"uid", explanation.entry->uid}};
    }
    Json tokens = Json::array();
    for (const ReadToken &token : explanation.tokens) {
        tokens.push_back({{"token", utf8FromUtf16(token.text())},
                          {"position", token.position + 1},
                          {"spam", token.counts.spam},
                          {"ham", token.counts.ham},
                          {"probability", finite(token.probability)},
                          {"counted", token.counted}});
    }
    Json report{{"rating", ratingName(explanation.rating)},
                {"reason", stepName(explanation.step)},
                {"entry", entry},
                {"number", number},
                {"message", message.text},
                {"prepared", message.form == TextForm::prepared ? Json(utf8FromWide(message.body)) : Json(nullptr)},
                {"dropped", utf8FromUtf16(markDropped(utf16FromWide(message.body)))},
                {"filtered", utf8FromUtf16(explanation.filtered)},
                {"tokens", tokens},
                {"spamMessages", explanation.totals.spamMessages},
                {"hamMessages", explanation.totals.hamMessages},
                {"prior", explanation.totals.prior},
                {"counted", nullptr},
                {"spamTail", nullptr},
                {"hamTail", nullptr},
                {"spamicity", nullptr}};
    if (explanation.score) {
        report["counted"] = explanation.score->counted;
        report["spamTail"] = finite(explanation.score->spamTail);
        report["hamTail"] = finite(explanation.score->hamTail);
        report["spamicity"] = finite(explanation.score->spamicity);
    }
    return report;
}

} // namespace velq::kit
