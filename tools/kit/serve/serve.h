// The service: everything put together, from its start to the signal that ends it.
#ifndef VELQ_KIT_SERVE_SERVE_H
#define VELQ_KIT_SERVE_SERVE_H

#include "kit/serve/http_server.h"
#include "kit/serve/service.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace velq::kit {

struct ServeOptions {
    ServiceOptions service;
    ServerOptions server;
    std::vector<std::string> hosts; // further names that requests may be sent to
    std::filesystem::path tokenFile;
    std::filesystem::path log;
    std::string forward; // empty: messages end here
    std::chrono::milliseconds forwardTime{20000};
    std::size_t queue = 256;
};

// Serves until SIGTERM or SIGINT; SIGHUP opens the log anew. `listening` gets the address once requests are taken.
// Throws Error where it cannot start.
void serve(const ServeOptions &options, const std::function<void(const std::string &)> &listening, std::ostream &err);

} // namespace velq::kit

#endif
