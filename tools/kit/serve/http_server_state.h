// What the two halves of the HTTP server share: the connections with their requests.
#ifndef VELQ_KIT_SERVE_HTTP_SERVER_STATE_H
#define VELQ_KIT_SERVE_HTTP_SERVER_STATE_H

#include "kit/serve/http_server.h"

#include <atomic>
#include <deque>
#include <map>
#include <microhttpd.h>
#include <mutex>

namespace velq::kit {

// Where a request is.
enum class Stage : std::uint8_t { head, body, waiting, answered, sent };

// A request from its first line to the end of its answer.
struct Exchange {
    HttpRequest request;
    Stage stage = Stage::head;
    std::size_t bodyLimit = 0;
    std::optional<HttpResponse> response;
    std::uint64_t id = 0;
    MHD_Connection *connection = nullptr;
};

struct Connection {
    int socket = -1;
    std::chrono::steady_clock::time_point since; // the stage that it is in
    std::unique_ptr<Exchange> exchange;
    bool closing = false;
};

struct Answer {
    std::uint64_t id;
    HttpResponse response;
};

struct ServerState {
    ServerOptions options;
    ServerHandlers handlers;
    ListenAddress address;
    MHD_Daemon *daemon = nullptr;
    int listening = -1;
    int pollable = -1;
    int wake = -1;
    bool stopping = false;
    std::uint64_t nextId = 1;
    std::chrono::steady_clock::time_point lookedForLate;
    std::map<MHD_Connection *, std::unique_ptr<Connection>> connections;
    std::map<std::uint64_t, Exchange *> waiting;
    std::atomic<std::size_t> connectionCount{0};
    std::mutex mutex;
    std::deque<Answer> answers;
    bool isWoken = false; // for the answers, which are taken all at once

    void listen();
    void makeRoom();
    void closeLate();
    void resumeAnswered();
};

// What the library is given to call. It is C: nothing is thrown through it.
void connectionChanged(void *state, MHD_Connection *connection, void **context, MHD_ConnectionNotificationCode what);
void *lineRead(void *state, const char *target, MHD_Connection *connection);
MHD_Result requestRead(void *state, MHD_Connection *connection, const char *path, const char *method,
                       const char *version, const char *bytes, std::size_t *size, void **context);
void requestCompleted(void *state, MHD_Connection *connection, void **context, MHD_RequestTerminationCode why);

} // namespace velq::kit

#endif
