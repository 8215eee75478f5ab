// Requests and answers as the service sees them, whatever carried them.
#ifndef VELQ_KIT_SERVE_HTTP_MESSAGE_H
#define VELQ_KIT_SERVE_HTTP_MESSAGE_H

#include "kit/base/status.h"

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velq::kit {

struct HttpRequest {
    std::string method;
    std::string target;                         // path and query as they came
    std::string path;                           // of the target, as it came
    std::map<std::string, std::string> query;   // decoded; a name that comes twice is in `repeated`
    std::map<std::string, std::string> headers; // by names in small letters
    std::string repeated;
    std::string body;

    // Empty where there is none.
    const std::string &header(const std::string &name) const;
    // None where it was not given.
    std::optional<std::string> parameter(const std::string &name) const;
};

struct HttpResponse {
    unsigned status = 200;
    std::string type; // of the body; empty for none
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers = {};
};

using Json = nlohmann::ordered_json;

HttpResponse jsonResponse(const Json &value, unsigned status = 200);

// What keeps a request from being done, as clients tell it apart.
enum class ProblemKind : std::uint8_t {
    badRequest,
    unauthorized,
    foreignOrigin,
    notFound,
    methodNotAllowed,
    updateRefused,
    tooLarge,
    unsupportedType,
    wrongHost,
    badData,
    failed,
    receiverFailed,
    inUse,
    queueFull,
    stopping,
    notWorking
};

struct ProblemMeaning {
    ProblemKind kind;
    unsigned status;
    std::string_view name; // the end of its type, "urn:velq:..."
    std::string_view title;
};

// All of them, in the order of the enumeration.
const std::vector<ProblemMeaning> &problemMeanings();
const ProblemMeaning &meaningOf(ProblemKind kind);

// Why a request is not done. Thrown by what answers requests; becomes an application/problem+json.
class Problem : public std::runtime_error {
  public:
    Problem(ProblemKind kind, const std::string &detail) : std::runtime_error(detail), kind_(kind) {}

    ProblemKind kind() const
    {
        return kind_;
    }

  private:
    ProblemKind kind_;
};

// `more` holds further members.
HttpResponse problemResponse(ProblemKind kind, const std::string &detail, const Json &more = nullptr);

// What a failure of the kit is to a client.
ProblemKind problemOf(const Error &error);

} // namespace velq::kit

#endif
