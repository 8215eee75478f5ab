// Requests as libmicrohttpd hands them over piece by piece, and answers as it takes them.
#include "kit/base/letter_case.h"
#include "kit/serve/http_server_state.h"

#include <charconv>

namespace velq::kit {

namespace {

using Clock = std::chrono::steady_clock;

// Bodies that are too large or refused are read and dropped up to this, so that the client gets to the answer.
constexpr std::size_t mostDropped = std::size_t{64} << 20;

} // namespace

static Connection *connectionOf(MHD_Connection *connection)
{
    const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info == nullptr ? nullptr : static_cast<Connection *>(info->socket_context);
}

static void addConnection(ServerState &server, MHD_Connection *connection, void **context)
{
    auto made = std::make_unique<Connection>();
    made->socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    made->since = Clock::now();
    *context = (server.connections[connection] = std::move(made)).get();
    server.makeRoom();
}

// A connection that there is no memory for has no context, and its requests are not taken.
void connectionChanged(void *state, MHD_Connection *connection, void **context, MHD_ConnectionNotificationCode what)
{
    auto &server = *static_cast<ServerState *>(state);
    *context = nullptr;
    if (what == MHD_CONNECTION_NOTIFY_CLOSED) {
        server.connections.erase(connection);
    } else {
        try {
            addConnection(server, connection, context);
        } catch (const std::exception &) {
            server.connections.erase(connection);
        }
    }
    server.connectionCount = server.connections.size();
}

void *lineRead(void * /*state*/, const char *target, MHD_Connection *connection)
{
    Connection *of = connectionOf(connection);
    if (of == nullptr) {
        return nullptr;
    }
    try {
        auto made = std::make_unique<Exchange>();
        made->request.target = target;
        made->request.path = made->request.target.substr(0, std::string_view(target).find('?'));
        made->connection = connection;
        of->exchange = std::move(made);
    } catch (const std::exception &) {
        of->exchange.reset(); // the request is not taken
    }
    return nullptr;
}

void requestCompleted(void * /*state*/, MHD_Connection *connection, void ** /*context*/,
                      MHD_RequestTerminationCode /*why*/)
{
    if (Connection *of = connectionOf(connection)) {
        of->exchange.reset();
        of->since = Clock::now();
    }
}

// ---- Answers ------------------------------------------------------------------------------------------------------

static MHD_Result send(const ServerState &server, Exchange &exchange, MHD_Connection *connection,
                       const HttpResponse &response)
{
    MHD_Response *made = MHD_create_response_from_buffer(response.body.size(), const_cast<char *>(response.body.data()),
                                                         MHD_RESPMEM_MUST_COPY);
    if (made == nullptr) {
        return MHD_NO;
    }
    if (!response.type.empty()) {
        MHD_add_response_header(made, MHD_HTTP_HEADER_CONTENT_TYPE, response.type.c_str());
    }
    MHD_add_response_header(made, "X-Content-Type-Options", "nosniff");
    MHD_add_response_header(made, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    for (const auto &[name, value] : response.headers) {
        MHD_add_response_header(made, name.c_str(), value.c_str());
    }
    if (server.stopping) {
        MHD_add_response_header(made, MHD_HTTP_HEADER_CONNECTION, "close");
    }
    exchange.stage = Stage::sent;
    const MHD_Result queued = MHD_queue_response(connection, response.status, made);
    MHD_destroy_response(made);
    return queued;
}

// ---- Reading a request --------------------------------------------------------------------------------------------

static MHD_Result addHeader(void *request, MHD_ValueKind /*kind*/, const char *key, std::size_t keySize,
                            const char *value, std::size_t valueSize)
{
    static_cast<HttpRequest *>(request)->headers[inSmallLetters({key, keySize})] =
        value == nullptr ? std::string() : std::string(value, valueSize);
    return MHD_YES;
}

static MHD_Result addParameter(void *context, MHD_ValueKind /*kind*/, const char *key, std::size_t keySize,
                               const char *value, std::size_t valueSize)
{
    auto &request = *static_cast<HttpRequest *>(context);
    const std::string name(key, keySize);
    if (!request.query.emplace(name, value == nullptr ? std::string() : std::string(value, valueSize)).second) {
        request.repeated = name;
    }
    return MHD_YES;
}

static Credentials credentialsOf(MHD_Connection *connection, const HttpRequest &request)
{
    constexpr std::string_view bearer = "Bearer ";
    Credentials credentials;
    const std::string &header = request.header("authorization");
    if (header.starts_with(bearer)) {
        credentials.bearer = header.substr(bearer.size());
    } else if (!header.empty()) {
        char *password = nullptr;
        char *user = MHD_basic_auth_get_username_password(connection, &password);
        credentials.password = password != nullptr ? password : "";
        MHD_free(user);
        MHD_free(password);
    }
    return credentials;
}

// Of a body that comes in one piece; none without such a header.
static std::size_t announcedLength(const HttpRequest &request)
{
    const std::string &header = request.header("content-length");
    std::size_t length = 0;
    std::from_chars(header.data(), header.data() + header.size(), length);
    return length;
}

static MHD_Result takeHead(ServerState &server, Exchange &exchange, MHD_Connection *connection, const char *method)
{
    HttpRequest &request = exchange.request;
    request.method = method;
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, addHeader, &request);
    MHD_get_connection_values_n(connection, MHD_GET_ARGUMENT_KIND, addParameter, &request);
    exchange.response = server.handlers.head(request, credentialsOf(connection, request), exchange.bodyLimit);
    const std::size_t length = announcedLength(request);
    if (!exchange.response && length > exchange.bodyLimit) {
        exchange.response = server.handlers.tooLarge(request);
    }
    // Whoever asks before sending a body, or has very much to send, gets the answer at once.
    if (exchange.response && (!request.header("expect").empty() || length > mostDropped)) {
        return send(server, exchange, connection, *exchange.response);
    }
    exchange.stage = Stage::body;
    return MHD_YES;
}

static MHD_Result takeBody(const ServerState &server, Exchange &exchange, const char *bytes, std::size_t size)
{
    if (exchange.stage != Stage::body) {
        return MHD_NO;
    }
    HttpRequest &request = exchange.request;
    if (!exchange.response && request.body.size() + size > exchange.bodyLimit) {
        exchange.response = server.handlers.tooLarge(request);
        request.body = {};
        exchange.bodyLimit = 0;
    }
    if (exchange.response) {
        exchange.bodyLimit += size; // what was dropped
        return exchange.bodyLimit > mostDropped ? MHD_NO : MHD_YES;
    }
    request.body.append(bytes, size);
    return MHD_YES;
}

static MHD_Result takeEnd(ServerState &server, Exchange &exchange, MHD_Connection *connection)
{
    if (exchange.response) {
        return send(server, exchange, connection, *exchange.response);
    }
    if (exchange.stage != Stage::body) {
        return MHD_NO;
    }
    exchange.stage = Stage::waiting;
    exchange.id = server.nextId++;
    server.waiting[exchange.id] = &exchange;
    try {
        server.handlers.take(exchange.id, std::move(exchange.request));
    } catch (...) {
        server.waiting.erase(exchange.id);
        throw;
    }
    MHD_suspend_connection(connection); // an answer is looked at by this thread, so not before now
    return MHD_YES;
}

MHD_Result requestRead(void *state, MHD_Connection *connection, const char * /*path*/, const char *method,
                       const char * /*version*/, const char *bytes, std::size_t *size, void ** /*context*/)
{
    auto &server = *static_cast<ServerState *>(state);
    Connection *of = connectionOf(connection);
    if (of == nullptr || !of->exchange) {
        return MHD_NO;
    }
    try {
        Exchange &exchange = *of->exchange;
        if (exchange.stage == Stage::head) {
            of->since = Clock::now();
            return takeHead(server, exchange, connection, method);
        }
        if (*size > 0) {
            const MHD_Result result = takeBody(server, exchange, bytes, *size);
            *size = 0;
            return result;
        }
        of->since = exchange.stage == Stage::body ? Clock::now() : of->since;
        return takeEnd(server, exchange, connection);
    } catch (const std::exception &) {
        return MHD_NO;
    }
}

} // namespace velq::kit
