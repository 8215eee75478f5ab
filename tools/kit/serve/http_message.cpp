// Answers that several parts of the service give.
#include "kit/serve/http_message.h"

#include "kit/base/database.h"
#include "kit/base/wide_text.h"

namespace velq::kit {

const std::string &HttpRequest::header(const std::string &name) const
{
    static const std::string none;
    const auto found = headers.find(name);
    return found == headers.end() ? none : found->second;
}

std::optional<std::string> HttpRequest::parameter(const std::string &name) const
{
    const auto found = query.find(name);
    return found == query.end() ? std::nullopt : std::optional(found->second);
}

// Text from outside may hold what is not UTF-8; an answer never does.
static std::string dumped(const Json &value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

HttpResponse jsonResponse(const Json &value, unsigned status)
{
    return {status, "application/json", dumped(value)};
}

const std::vector<ProblemMeaning> &problemMeanings()
{
    static const std::vector<ProblemMeaning> meanings = {
        {ProblemKind::badRequest, 400, "bad-request", "The request is not as it should be"},
        {ProblemKind::unauthorized, 401, "unauthorized", "The token is missing or wrong"},
        {ProblemKind::foreignOrigin, 403, "foreign-origin", "The request comes from another site's page"},
        {ProblemKind::notFound, 404, "not-found", "There is nothing of this name"},
        {ProblemKind::methodNotAllowed, 405, "method-not-allowed", "This is not done with what is there"},
        {ProblemKind::updateRefused, 409, "update-refused", "The update was refused"},
        {ProblemKind::tooLarge, 413, "too-large", "The body is too large"},
        {ProblemKind::unsupportedType, 415, "unsupported-type", "The body is of a type that is not read here"},
        {ProblemKind::wrongHost, 421, "wrong-host", "The request was meant for another host"},
        {ProblemKind::badData, 422, "bad-data", "The content of the body is wrong"},
        {ProblemKind::failed, 500, "failed", "The service failed"},
        {ProblemKind::receiverFailed, 502, "receiver-failed", "The receiver did not take the message"},
        {ProblemKind::inUse, 503, "in-use", "A file is in use by another program"},
        {ProblemKind::queueFull, 503, "queue-full", "Too many requests are waiting"},
        {ProblemKind::stopping, 503, "stopping", "The service is being stopped"},
        {ProblemKind::notWorking, 503, "not-working", "The installation does not work"}};
    return meanings;
}

const ProblemMeaning &meaningOf(ProblemKind kind)
{
    return problemMeanings().at(static_cast<std::size_t>(kind));
}

HttpResponse problemResponse(ProblemKind kind, const std::string &detail, const Json &more)
{
    const ProblemMeaning &meaning = meaningOf(kind);
    Json problem{{"type", "urn:velq:" + std::string(meaning.name)},
                 {"title", meaning.title},
                 {"status", meaning.status},
                 {"detail", oneLine(detail)}};
    if (more.is_object()) {
        problem.update(more);
    }
    HttpResponse response{meaning.status, "application/problem+json", dumped(problem)};
    if (kind == ProblemKind::inUse || kind == ProblemKind::queueFull || kind == ProblemKind::stopping) {
        response.headers.emplace_back("Retry-After", "1");
    }
    if (kind == ProblemKind::unauthorized) {
        response.headers.emplace_back("WWW-Authenticate", "Bearer");
        response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"velq\"");
    }
    return response;
}

ProblemKind problemOf(const Error &error)
{
    if (dynamic_cast<const InUse *>(&error) != nullptr) {
        return ProblemKind::inUse;
    }
    return error.status() == Status::usage ? ProblemKind::badRequest : ProblemKind::failed;
}

} // namespace velq::kit
