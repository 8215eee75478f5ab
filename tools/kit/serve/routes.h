// The paths of the service: what is done at each, how large a body may be, whether it changes anything.
#ifndef VELQ_KIT_SERVE_ROUTES_H
#define VELQ_KIT_SERVE_ROUTES_H

#include "kit/serve/requests.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

struct Route {
    std::string_view method;
    std::string_view path;  // "/v1/journal/{message}": anything at the end
    RequestHandler handler; // null: answered without the engine
    std::size_t bodyLimit;
    bool writes;
};

inline constexpr std::string_view metricsPath = "/metrics";
inline constexpr std::string_view descriptionPath = "/openapi.json";
inline constexpr std::string_view pageFilePath = "/page/{file}";

const std::vector<Route> &routes();

// Throws Problem (notFound, methodNotAllowed). HEAD is what a GET is that only reads.
const Route &routeOf(const HttpRequest &request);

// "GET, POST"; empty where there is no such path.
std::string allowedMethods(std::string_view path);

// The path as the table has it, "other" where it does not: a word of this program's own whatever was asked for.
std::string_view pathName(std::string_view path);

// The OpenAPI description of all of them.
std::string_view description();

} // namespace velq::kit

#endif
