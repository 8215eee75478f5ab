// Hands messages on to the receiver behind the service, many at a time.
#ifndef VELQ_KIT_SERVE_FORWARDER_H
#define VELQ_KIT_SERVE_FORWARDER_H

#include "kit/serve/http_message.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace velq::kit {

// What the receiver answered; none where it could not be reached, with the reason.
struct ForwardResult {
    std::optional<HttpResponse> answer;
    std::string fault;
};

// The address of a request that goes on: the receiver's, with the query that came.
std::string forwardUrl(const std::string &receiver, const std::string &target);

// Whether a header of a request goes on: not those of the connection, nor what is said to the service alone.
bool goesOn(const std::string &header);

class Forwarder {
  public:
    // Throws Error: usage for what is no address of HTTP, noInput where the library for it is missing.
    Forwarder(std::string url, std::chrono::milliseconds longest);
    // Those that are not answered yet are given up, as if the receiver could not be reached.
    ~Forwarder();
    Forwarder(const Forwarder &) = delete;
    Forwarder &operator=(const Forwarder &) = delete;

    // Sends the request as it came, with the header X-Velq-Verdict. `done` is called by a thread of its own.
    void send(const HttpRequest &request, const std::string &verdict, std::function<void(ForwardResult &&)> done);
    // Those that are not answered yet.
    std::size_t running() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace velq::kit

#endif
