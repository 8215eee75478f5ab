// libmicrohttpd without threads of its own: this one waits, and limits how long others may take.
#include "kit/serve/http_server_state.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace velq::kit {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t connectionMemory = std::size_t{32} << 10; // a request's head has to fit
constexpr unsigned spareConnections = 64;                       // while those that go are going
constexpr std::chrono::milliseconds betweenLooks{250};          // at who is late
constexpr std::size_t together = 8;                             // go out, of the answers that could wait

} // namespace

// ---- Listening ----------------------------------------------------------------------------------------------------

[[noreturn]] static void cannotListen(const ListenAddress &address)
{
    throw Error(Status::cannotCreate, "cannot listen on " + address.text() + ": " + std::strerror(errno) +
                                          "; choose another address or port");
}

void ServerState::listen()
{
    sockaddr_storage storage{};
    socklen_t size = sizeof(sockaddr_in);
    auto &four = reinterpret_cast<sockaddr_in &>(storage);
    auto &six = reinterpret_cast<sockaddr_in6 &>(storage);
    if (inet_pton(AF_INET, options.address.host.c_str(), &four.sin_addr) == 1) {
        four.sin_family = AF_INET;
        four.sin_port = htons(options.address.port);
    } else {
        size = sizeof(sockaddr_in6);
        inet_pton(AF_INET6, options.address.host.c_str(), &six.sin6_addr);
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(options.address.port);
    }
    constexpr int backlog = 1024;
    const int on = 1;
    listening = ::socket(storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (listening < 0 || ::setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        ::bind(listening, reinterpret_cast<sockaddr *>(&storage), size) != 0 || ::listen(listening, backlog) != 0 ||
        ::getsockname(listening, reinterpret_cast<sockaddr *>(&storage), &size) != 0) {
        cannotListen(options.address);
    }
    address = options.address;
    address.port = ntohs(storage.ss_family == AF_INET ? four.sin_port : six.sin6_port);
}

HttpServer::HttpServer(const ServerOptions &options, ServerHandlers handlers) : state_(std::make_unique<ServerState>())
{
    ServerState &state = *state_;
    state.options = options;
    state.handlers = std::move(handlers);
    state.listen();
    state.wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(options.idle).count();
    state.daemon = MHD_start_daemon(
        MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, requestRead, &state, MHD_OPTION_LISTEN_SOCKET,
        state.listening, MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(options.connections) + spareConnections,
        MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>(seconds), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        connectionMemory, MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_URI_LOG_CALLBACK, lineRead, &state,
        MHD_OPTION_NOTIFY_COMPLETED, requestCompleted, &state, MHD_OPTION_NOTIFY_CONNECTION, connectionChanged, &state,
        MHD_OPTION_END);
    const MHD_DaemonInfo *info =
        state.daemon != nullptr ? MHD_get_daemon_info(state.daemon, MHD_DAEMON_INFO_EPOLL_FD) : nullptr;
    if (info == nullptr || state.wake < 0) {
        throw Error(Status::internal, "the HTTP library does not start");
    }
    state.pollable = info->epoll_fd;
}

// ---- Answers ------------------------------------------------------------------------------------------------------

void HttpServer::answer(std::uint64_t id, HttpResponse &&response, bool atOnce)
{
    {
        const std::scoped_lock lock(state_->mutex);
        state_->answers.push_back({id, std::move(response)});
        if (state_->isWoken || (!atOnce && state_->answers.size() < together)) {
            return;
        }
        state_->isWoken = true;
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written =
        ::write(state_->wake, &one, sizeof one); // full only when it is readable anyway
}

void ServerState::resumeAnswered()
{
    std::deque<Answer> taken;
    {
        const std::scoped_lock lock(mutex);
        taken.swap(answers);
        isWoken = false;
    }
    for (Answer &answer : taken) {
        const auto found = waiting.find(answer.id);
        if (found != waiting.end()) {
            Exchange &exchange = *found->second;
            waiting.erase(found);
            exchange.response = std::move(answer.response);
            exchange.stage = Stage::answered;
            MHD_resume_connection(exchange.connection);
        }
    }
}

// ---- Limits -------------------------------------------------------------------------------------------------------

// The library sees the end of the connection and closes it.
static void close(Connection &connection)
{
    connection.closing = true;
    ::shutdown(connection.socket, SHUT_RDWR);
}

static bool isIdle(const Connection &connection)
{
    return !connection.exchange && !connection.closing;
}

// Those that wait for a request go before those whose request is being read; those that wait for an answer stay.
static bool mayGo(const Connection &connection)
{
    return !connection.closing && (!connection.exchange || connection.exchange->stage <= Stage::body);
}

void ServerState::makeRoom()
{
    const auto open = static_cast<std::size_t>(
        std::ranges::count_if(connections, [](const auto &entry) { return !entry.second->closing; }));
    if (open <= options.connections) {
        return;
    }
    Connection *longest = nullptr;
    for (const auto &[handle, connection] : connections) {
        if (!mayGo(*connection)) {
            continue;
        }
        if (longest == nullptr ||
            std::pair(!isIdle(*connection), connection->since) < std::pair(!isIdle(*longest), longest->since)) {
            longest = connection.get();
        }
    }
    if (longest != nullptr) {
        close(*longest);
    }
}

// The other side has ended and everything that it sent has been read.
static bool hasEnded(const Connection &connection)
{
    char next = 0;
    const ssize_t size = ::recv(connection.socket, &next, sizeof next, MSG_PEEK | MSG_DONTWAIT);
    return size == 0 || (size < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
}

// The library does not see the end of a connection that came together with its last bytes, and would keep it until it
// has been idle for long. What it has already read, it has had time to look at.
void ServerState::closeLate()
{
    constexpr std::chrono::seconds read{1};
    const Clock::time_point now = Clock::now();
    if (now - lookedForLate < betweenLooks) {
        return;
    }
    lookedForLate = now;
    for (const auto &[handle, connection] : connections) {
        const bool reading = connection->exchange && connection->exchange->stage == Stage::body;
        const Clock::duration age = now - connection->since;
        if (mayGo(*connection) &&
            (age > (reading ? options.read : options.idle) || (age > read && hasEnded(*connection)))) {
            close(*connection);
        }
    }
}

void HttpServer::stop()
{
    state_->stopping = true;
    MHD_quiesce_daemon(state_->daemon);
    ::close(state_->listening);
    state_->listening = -1;
    for (const auto &[handle, connection] : state_->connections) {
        if (isIdle(*connection) || connection->exchange->stage == Stage::head) {
            close(*connection);
        }
    }
}

// ---- The turn -----------------------------------------------------------------------------------------------------

bool HttpServer::turn(int otherDescriptor)
{
    // Answers that need not go out at once are looked for while there are requests to be answered.
    constexpr unsigned long long untilAnswers = 1;
    constexpr auto untilLook = static_cast<unsigned long long>(betweenLooks.count());
    const unsigned long long longestWait = state_->waiting.empty() ? untilLook : untilAnswers;
    MHD_UNSIGNED_LONG_LONG wait = longestWait;
    if (MHD_get_timeout(state_->daemon, &wait) != MHD_YES || wait > longestWait) {
        wait = longestWait;
    }
    std::array<pollfd, 3> descriptors = {
        {{state_->pollable, POLLIN, 0}, {state_->wake, POLLIN, 0}, {otherDescriptor, POLLIN, 0}}};
    const bool isReady = ::poll(descriptors.data(), descriptors.size(), static_cast<int>(wait)) > 0;
    if (isReady && descriptors[1].revents != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t read = ::read(state_->wake, &count, sizeof count);
    }
    state_->resumeAnswered();
    MHD_run(state_->daemon);
    state_->closeLate();
    return isReady && descriptors[2].revents != 0;
}

HttpServer::~HttpServer()
{
    ServerState &state = *state_;
    if (state.daemon != nullptr) {
        // The library does not end while requests wait.
        for (const auto &[id, exchange] : std::map(state.waiting)) {
            answer(id, {503, {}, {}});
        }
        state.resumeAnswered();
        MHD_run(state.daemon);
        MHD_stop_daemon(state.daemon); // closes the socket that it listens on unless it was stopped before
        state.listening = -1;
    }
    for (const int descriptor : {state.listening, state.wake}) {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
}

const ListenAddress &HttpServer::address() const
{
    return state_->address;
}

std::size_t HttpServer::connections() const
{
    return state_->connectionCount;
}

std::size_t HttpServer::running() const
{
    return static_cast<std::size_t>(std::ranges::count_if(
        state_->connections, [](const auto &entry) { return entry.second->exchange != nullptr; }));
}

} // namespace velq::kit
