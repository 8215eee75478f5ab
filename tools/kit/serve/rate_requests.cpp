// Messages to rate and to explain, and what all requests share in reading.
#include "kit/base/letter_case.h"
#include "kit/messages/explanation_json.h"
#include "kit/serve/requests.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace velq::kit {

// ---- Reading requests

void checkParameters(const HttpRequest &request, std::initializer_list<std::string_view> known)
{
    if (!request.repeated.empty()) {
        throw Problem(ProblemKind::badRequest, "the parameter " + request.repeated + " is given twice");
    }
    for (const auto &[name, value] : request.query) {
        if (std::ranges::find(known, name) == known.end()) {
            throw Problem(ProblemKind::badRequest, "there is no parameter " + name);
        }
    }
}

std::optional<std::int64_t> integerParameter(const HttpRequest &request, const std::string &name, std::int64_t least,
                                             std::int64_t most)
{
    const std::optional<std::string> text = request.parameter(name);
    if (!text) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    const char *end = text->data() + text->size();
    if (std::from_chars(text->data(), end, value) != std::from_chars_result{end, std::errc()} || value < least ||
        value > most) {
        throw Problem(ProblemKind::badRequest, "the parameter " + name + " is not a whole number between " +
                                                   std::to_string(least) + " and " + std::to_string(most));
    }
    return value;
}

std::string contentType(const HttpRequest &request)
{
    std::string type = request.header("content-type");
    type.erase(std::min(type.find(';'), type.size()));
    while (!type.empty() && type.back() == ' ') {
        type.pop_back();
    }
    return inSmallLetters(type);
}

nlohmann::json jsonBody(const HttpRequest &request)
{
    if (contentType(request) != "application/json") {
        throw Problem(ProblemKind::unsupportedType, "send JSON, with the header Content-Type: application/json");
    }
    // The parser takes a zero for the end of its input.
    nlohmann::json value = nlohmann::json::parse(request.body, nullptr, false);
    if (value.is_discarded() || request.body.find('\0') != std::string::npos) {
        throw Problem(ProblemKind::badRequest, "the body is not JSON in UTF-8");
    }
    return value;
}

nlohmann::json jsonObject(const HttpRequest &request)
{
    nlohmann::json value = jsonBody(request);
    if (!value.is_object()) {
        throw Problem(ProblemKind::badRequest, "the body is not an object");
    }
    return value;
}

ReceivedMessage messageOf(const nlohmann::json &object, const std::string &where)
{
    if (!object.is_object()) {
        throw Problem(ProblemKind::badRequest, where + " is not an object");
    }
    ReceivedMessage message;
    message.source = "rate";
    const auto number = object.find("number");
    if (number != object.end() && !number->is_null()) {
        if (!number->is_string()) {
            throw Problem(ProblemKind::badRequest, "the member number of " + where + " is not text");
        }
        message.number = number->get<std::string>();
        checkedText(message.number, "the member number of " + where);
    }
    const auto body = object.find("body");
    if (body == object.end() || !body->is_string()) {
        throw Problem(ProblemKind::badRequest,
                      "the member body of " + where + (body == object.end() ? " is missing" : " is not text"));
    }
    message.text = checkedText(body->get_ref<const std::string &>(), "the member body of " + where);
    return message;
}

// ---- Rating

namespace {

struct MessageToRate {
    ReceivedMessage message;
    nlohmann::json id; // discarded where there is none
};

} // namespace

static MessageToRate toRate(const nlohmann::json &object, const std::string &where)
{
    MessageToRate result{messageOf(object, where), nlohmann::json(nlohmann::json::value_t::discarded)};
    if (const auto id = object.find("id"); id != object.end()) {
        if (id->is_structured()) {
            throw Problem(ProblemKind::badRequest, "the member id of " + where + " is neither text nor number");
        }
        result.id = *id;
    }
    return result;
}

static Json verdictOf(const RatedMessage &rated)
{
    Json verdict{{"rating", ratingName(rated.rated.rating)},
                 {"reason", rated.reason.name},
                 {"spamicity", rated.reason.spamicity},
                 {"microseconds", rated.rated.microseconds}};
    if (rated.entry) {
        verdict["message"] = *rated.entry;
    }
    return verdict;
}

static Json rateOne(Service &service, const MessageToRate &message)
{
    Json answer = Json::object();
    if (!message.id.is_discarded()) {
        answer["id"] = message.id;
    }
    answer.update(verdictOf(rateMessage(service, message.message)));
    return answer;
}

// All are looked at before the first is rated. Where one cannot be rated, the whole request has failed, and the answer
// says which have been.
static HttpResponse rateAll(Service &service, const nlohmann::json &objects)
{
    std::vector<MessageToRate> messages;
    for (const nlohmann::json &object : objects) {
        messages.push_back(toRate(object, "message " + std::to_string(messages.size())));
    }
    Json answers = Json::array();
    try {
        for (const MessageToRate &message : messages) {
            answers.push_back(rateOne(service, message));
        }
    } catch (const Error &error) {
        const ProblemKind kind = problemOf(error);
        service.metrics.failed(std::string(meaningOf(kind).name));
        service.log.line(std::string("POST /v1/rate: ") + error.what());
        return problemResponse(kind,
                               "message " + std::to_string(answers.size()) + " could not be rated: " + error.what(),
                               {{"answers", answers}});
    }
    return jsonResponse(answers);
}

Outcome rateRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {});
    const nlohmann::json body = jsonBody(request);
    return {body.is_array() ? rateAll(service, body) : jsonResponse(rateOne(service, toRate(body, "the message"))),
            std::nullopt};
}

Json explanationOf(Service &service, const ReceivedMessage &message)
{
    const TextForm form = service.options.form;
    const ExplainedMessage explained{utf8FromWide(message.text), inForm(form, message.text), form};
    const Explanation explanation =
        service.explainer.explain(explained.body, senderOf(service, message.number), Depth::allTokens);
    return explanationJson(explained, message.number, explanation);
}

Outcome explainRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {});
    return {jsonResponse(explanationOf(service, messageOf(jsonBody(request), "the message"))), std::nullopt};
}

} // namespace velq::kit
