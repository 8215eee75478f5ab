// Connections: many, most of them idle, in one thread. Requests come out of it whole, and answers go in from any
// thread. What is said on a connection, libmicrohttpd reads and writes.
#ifndef VELQ_KIT_SERVE_HTTP_SERVER_H
#define VELQ_KIT_SERVE_HTTP_SERVER_H

#include "kit/serve/access.h"
#include "kit/serve/http_message.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace velq::kit {

struct ServerOptions {
    ListenAddress address;
    std::size_t connections = 1024;        // beyond, the one that has been idle for longest goes
    std::chrono::milliseconds idle{60000}; // from an answer, or the start, to the end of the next request's head
    std::chrono::milliseconds read{10000}; // from there to the end of its body
};

struct ServerHandlers {
    // A request without its body. An answer ends it here; otherwise `bodyLimit` is set, and it goes on.
    std::function<std::optional<HttpResponse>(const HttpRequest &, const Credentials &, std::size_t &bodyLimit)> head;
    // A whole request, to be answered once.
    std::function<void(std::uint64_t id, HttpRequest &&)> take;
    // A body that was too large.
    std::function<HttpResponse(const HttpRequest &)> tooLarge;
};

struct ServerState;

class HttpServer {
  public:
    // Listens. Throws Error (cannotCreate) where the address is taken or not this machine's.
    HttpServer(const ServerOptions &options, ServerHandlers handlers);
    // All requests that were taken have been answered by then.
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    // Where it listens.
    const ListenAddress &address() const;

    // From any thread. An answer that need not go out at once goes with others, which takes less of both sides: when
    // there are eight of them, with the first that must go, and after a millisecond or two in any case.
    void answer(std::uint64_t id, HttpResponse &&response, bool atOnce = true);

    // Waits for what happens on connections, an answer or `otherDescriptor`, at most for a while; does what there is
    // to do. Whether there is something to read from the other descriptor.
    bool turn(int otherDescriptor);

    // Takes no more connections, and closes those that are idle.
    void stop();

    std::size_t connections() const;
    // Requests that are being read or are not answered yet.
    std::size_t running() const;

  private:
    std::unique_ptr<ServerState> state_;
};

} // namespace velq::kit

#endif
