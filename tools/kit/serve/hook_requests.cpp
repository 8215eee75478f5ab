// Messages from gateways, each in the form that its gateway sends them in. With a receiver behind the service they go
// on: ham and unsure as they came, spam not, and what cannot be rated all the same.
#include "kit/hooks/hook.h"
#include "kit/serve/requests.h"

#include <functional>

namespace velq::kit {

// ---- Kannel

static std::string requiredParameter(const HttpRequest &request, const std::string &name)
{
    if (request.repeated == name) {
        throw Problem(ProblemKind::badRequest, "the parameter " + name + " is given twice");
    }
    const std::optional<std::string> value = request.parameter(name);
    if (!value) {
        throw Problem(ProblemKind::badRequest, "the parameter " + name + " is missing");
    }
    return *value;
}

static WideText kannelText(const HttpRequest &request)
{
    const std::string bytes = requiredParameter(request, "text");
    const std::string charset = request.parameter("charset").value_or("UTF-8");
    if (request.parameter("coding") == "1") {
        return {}; // bytes, no text
    }
    std::optional<WideText> text;
    if (charset == "UTF-8" || charset == "US-ASCII") {
        text = wideFromUtf8(bytes);
    } else if (charset == "UTF-16BE" || charset == "UTF-16" || charset == "UCS-2") {
        text = wideFromUtf16HighByteFirst(bytes);
    } else {
        throw Problem(ProblemKind::badRequest, "the charset " + charset + " is neither UTF-8 nor UTF-16BE");
    }
    if (!text) {
        throw Problem(ProblemKind::badRequest, "the parameter text is not " + charset);
    }
    return withoutZeros(*text);
}

static ReceivedMessage kannelMessage(const Service & /*service*/, const HttpRequest &request)
{
    const std::string number = requiredParameter(request, "from");
    checkedText(number, "the parameter from");
    return {"kannel", number, kannelText(request)};
}

// ---- JSON

static std::string textAt(const nlohmann::json &body, const nlohmann::json::json_pointer &where)
{
    try {
        const nlohmann::json &value = body.at(where);
        if (value.is_number_integer()) {
            return value.dump();
        }
        if (value.is_string()) {
            return value.get<std::string>();
        }
    } catch (const nlohmann::json::exception &) {
        throw Problem(ProblemKind::badRequest, "the body has nothing at " + where.to_string());
    }
    throw Problem(ProblemKind::badRequest, "what the body has at " + where.to_string() + " is not text");
}

static ReceivedMessage jsonMessage(const Service &service, const HttpRequest &request)
{
    const nlohmann::json body = jsonBody(request);
    const std::string number = textAt(body, service.options.hookNumber);
    checkedText(number, "the number");
    const auto text = wideFromUtf8(textAt(body, service.options.hookText));
    return {"json", number, withoutZeros(text.value_or(WideText()))};
}

// ---- What becomes of them

namespace {

struct HookVerdict { // NOLINT(bugprone-exception-escape): moving JSON throws nothing
    std::string name;
    std::string message; // as pending verdicts know it
    bool held = false;   // whether the journal has it
    Json details;        // of a rating that was made
};

} // namespace

// Only that a message is equal counts, and no verdict is to be had by a text that ends in another one's number.
static std::string messageKey(const ReceivedMessage &message)
{
    return std::to_string(message.number.size()) + ":" + message.number + utf8FromWide(message.text);
}

static HookVerdict verdictOn(Service &service, const ReceivedMessage &message)
{
    HookVerdict verdict;
    verdict.message = messageKey(message);
    if (service.options.forwards) {
        if (const auto known = service.pending.find(verdict.message)) {
            verdict.name = *known;
            return verdict;
        }
    }
    const RatedMessage rated = rateMessage(service, message);
    verdict.name = ratingName(rated.rated.rating);
    verdict.held = rated.entry.has_value();
    verdict.details = {{"rating", verdict.name}, {"reason", rated.reason.name}, {"spamicity", rated.reason.spamicity}};
    if (rated.entry) {
        verdict.details["message"] = *rated.entry;
    }
    return verdict;
}

static HttpResponse withVerdict(HttpResponse response, const std::string &verdict)
{
    response.headers.emplace_back("X-Velq-Verdict", verdict);
    return response;
}

// What a gateway takes as an answer to the sender has to be empty.
static HttpResponse taken(const HookVerdict &verdict, bool json)
{
    return withVerdict(json ? jsonResponse(verdict.details) : HttpResponse{200, "text/plain; charset=utf-8", ""},
                       verdict.name);
}

static Outcome forwarded(Service &service, const ReceivedMessage &message, bool json)
{
    const HookVerdict verdict = verdictOn(service, message);
    if (verdict.name == "spam" && verdict.held) {
        service.metrics.forwarded(verdict.name, "held");
        return {taken(verdict, json), std::nullopt};
    }
    // Spam that the journal did not take goes on too: somebody has to have it.
    service.pending.keep(verdict.message, verdict.name);
    return {{}, ForwardOrder{verdict.name, verdict.message}};
}

static Outcome hookRequest(Service &service, const HttpRequest &request, bool json,
                           const std::function<ReceivedMessage(const Service &, const HttpRequest &)> &read)
{
    if (!service.options.forwards) {
        return {taken(verdictOn(service, read(service, request)), json), std::nullopt};
    }
    try {
        return forwarded(service, read(service, request), json);
    } catch (const std::exception &) {
        failureResponse(service.metrics, service.log, request); // counted and logged; the message goes on
        return {{}, ForwardOrder{"failed", {}}};
    }
}

Outcome kannelRequest(Service &service, const HttpRequest &request)
{
    return hookRequest(service, request, false, kannelMessage);
}

Outcome jsonHookRequest(Service &service, const HttpRequest &request)
{
    return hookRequest(service, request, true, jsonMessage);
}

} // namespace velq::kit
