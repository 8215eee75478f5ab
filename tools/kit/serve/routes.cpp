// The table of paths.
#include "kit/serve/routes.h"

#include <algorithm>

namespace velq::kit {

const std::vector<Route> &routes()
{
    constexpr std::size_t none = 0;
    constexpr std::size_t usual = std::size_t{64} << 10;
    constexpr std::size_t file = std::size_t{16} << 20;
    static const std::vector<Route> table = {{"POST", "/v1/rate", rateRequest, usual, true},
                                             {"POST", "/v1/explain", explainRequest, usual, false},
                                             {"POST", "/v1/mark", markRequest, usual, true},
                                             {"POST", "/v1/sender", senderRequest, usual, true},
                                             {"GET", "/v1/journal", journalRequest, none, false},
                                             {"GET", "/v1/journal/{message}", journalMessageRequest, none, false},
                                             {"GET", "/v1/weeks", weeksRequest, none, false},
                                             {"GET", "/v1/lists/black", readListRequest, none, false},
                                             {"POST", "/v1/lists/black", addToListRequest, file, true},
                                             {"DELETE", "/v1/lists/black", removeFromListRequest, none, true},
                                             {"GET", "/v1/lists/white", readListRequest, none, false},
                                             {"POST", "/v1/lists/white", addToListRequest, file, true},
                                             {"DELETE", "/v1/lists/white", removeFromListRequest, none, true},
                                             {"POST", "/v1/updates", updateRequest, file, true},
                                             {"GET", "/v1/versions", versionsRequest, none, false},
                                             {"GET", "/healthz", healthRequest, none, false},
                                             {"GET", metricsPath, nullptr, none, false},
                                             {"GET", descriptionPath, nullptr, none, false},
                                             {"GET", "/", nullptr, none, false},
                                             {"GET", pageFilePath, nullptr, none, false},
                                             {"GET", "/hook/kannel", kannelRequest, none, true},
                                             {"POST", "/hook/json", jsonHookRequest, usual, true}};
    return table;
}

// A name in braces at the end of a route's path stands for anything without a slash.
static bool leadsTo(const Route &route, std::string_view path)
{
    const std::size_t brace = route.path.find('{');
    return brace == std::string_view::npos
               ? path == route.path
               : path.size() > brace && path.substr(0, brace) == route.path.substr(0, brace) &&
                     path.find('/', brace) == std::string_view::npos;
}

static bool fits(const Route &route, const HttpRequest &request)
{
    const bool head = request.method == "HEAD" && route.method == "GET" && !route.writes;
    return leadsTo(route, request.path) && (head || route.method == request.method);
}

const Route &routeOf(const HttpRequest &request)
{
    const auto found = std::ranges::find_if(routes(), [&](const Route &route) { return fits(route, request); });
    if (found != routes().end()) {
        return *found;
    }
    if (allowedMethods(request.path).empty()) {
        throw Problem(ProblemKind::notFound, "there is no such path; " + std::string(descriptionPath) + " has them");
    }
    throw Problem(ProblemKind::methodNotAllowed, "this path takes " + allowedMethods(request.path));
}

std::string allowedMethods(std::string_view path)
{
    std::string methods;
    for (const Route &route : routes()) {
        if (leadsTo(route, path)) {
            methods += methods.empty() ? "" : ", ";
            methods += route.method;
        }
    }
    return methods;
}

std::string_view pathName(std::string_view path)
{
    const auto found = std::ranges::find_if(routes(), [path](const Route &route) { return leadsTo(route, path); });
    return found == routes().end() ? std::string_view("other") : found->path;
}

} // namespace velq::kit
