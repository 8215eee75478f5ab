// The threads and how they meet: this one has the connections, one calls the engine, one hands messages on, one flushes
// logs.
#include "kit/serve/serve.h"

#include "kit/base/interruption.h"
#include "kit/serve/access.h"
#include "kit/serve/forwarder.h"
#include "kit/serve/page.h"
#include "kit/serve/routes.h"
#include "kit/serve/work_queue.h"

#include <csignal>
#include <optional>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace velq::kit {

namespace {

using Clock = std::chrono::steady_clock;

// The signals that end the service or open its log anew, as a descriptor.
class Signals {
  public:
    Signals()
    {
        sigset_t awaited{};
        sigemptyset(&awaited);
        for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
            sigaddset(&awaited, signal);
        }
        descriptor_ = ::signalfd(-1, &awaited, SFD_CLOEXEC | SFD_NONBLOCK);
        if (descriptor_ < 0) {
            throw Error(Status::internal, "the system gives no descriptor for signals; the service could not be ended");
        }
    }
    ~Signals()
    {
        ::close(descriptor_);
    }
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

    int descriptor() const
    {
        return descriptor_;
    }
    // 0 when there is none.
    int next() const
    {
        signalfd_siginfo signal{};
        return ::read(descriptor_, &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal)
                   ? static_cast<int>(signal.ssi_signo)
                   : 0;
    }

  private:
    EndingSignalsHeld held_; // in all threads, which are started later
    int descriptor_ = -1;
};

class Application {
  public:
    Application(const ServeOptions &options, std::ostream &err);

    void run(const Signals &signals, const std::function<void(const std::string &)> &listening);

  private:
    std::optional<HttpResponse> head(const HttpRequest &request, const Credentials &credentials,
                                     std::size_t &bodyLimit);
    HttpResponse refused(const HttpRequest &request, const Problem &problem);
    void take(std::uint64_t id, const std::shared_ptr<const HttpRequest> &request);
    void work(std::uint64_t id, const std::shared_ptr<const HttpRequest> &request, const Route &route,
              Clock::time_point start, std::size_t waiting);
    void forward(std::uint64_t id, const std::shared_ptr<const HttpRequest> &request, const ForwardOrder &order,
                 Clock::time_point start);
    HttpResponse forwardAnswer(const ForwardOrder &order, ForwardResult &&result);
    void finish(std::uint64_t id, const HttpRequest &request, HttpResponse &&response, Clock::time_point start,
                bool atOnce = true);
    Gauges gauges() const;
    void drain(const Signals &signals);

    const ServeOptions &options_;
    ServiceLog log_;
    Metrics metrics_;
    AccessRules rules_;
    Service service_;
    // Each answers through those above it, so they end from the last to the first.
    std::optional<HttpServer> server_;
    std::optional<Forwarder> forwarder_;
    std::optional<WorkQueue> queue_;
};

} // namespace

// ---- Start --------------------------------------------------------------------------------------------------------

// What a connection takes of the system are descriptors; programs start with few.
static void allowManyFiles(std::size_t connections)
{
    constexpr std::size_t others = 128; // data files, the listening socket, those of connections that are going
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < connections + others) {
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2 * connections + others);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        if (limit.rlim_cur < connections + others) {
            throw Error(Status::inputOutput, "the system lets this program open " + std::to_string(limit.rlim_cur) +
                                                 " files, too few for " + std::to_string(connections) +
                                                 " connections; see ulimit -n, or give --connections");
        }
    }
}

static AccessRules rulesOf(const ServeOptions &options)
{
    AccessRules rules{options.server.address, options.hosts, {}};
    if (!options.tokenFile.empty()) {
        rules.token = readToken(options.tokenFile);
    } else if (!rules.address.isLoopback()) {
        throw Error(Status::usage, rules.address.text() +
                                       " can be reached from other machines; give --token-file FILE as well, or listen "
                                       "on 127.0.0.1");
    }
    return rules;
}

Application::Application(const ServeOptions &options, std::ostream &err)
    : options_(options), log_(options.log, err), rules_(rulesOf(options)), service_(options.service, metrics_, log_)
{
    allowManyFiles(options.server.connections);
    server_.emplace(options.server,
                    ServerHandlers{.head = [this](const HttpRequest &request, const Credentials &credentials,
                                                  std::size_t &limit) { return head(request, credentials, limit); },
                                   .take =
                                       [this](std::uint64_t id, HttpRequest &&request) {
                                           take(id, std::make_shared<const HttpRequest>(std::move(request)));
                                       },
                                   .tooLarge =
                                       [this](const HttpRequest &request) {
                                           return refused(request, Problem(ProblemKind::tooLarge,
                                                                           "the body is larger than what is taken "
                                                                           "here"));
                                       }});
    rules_.address = server_->address();
    if (!options.forward.empty()) {
        forwarder_.emplace(options.forward, options.forwardTime);
    }
    queue_.emplace(options.queue);
}

// ---- A request's way ----------------------------------------------------------------------------------------------

// Label values are words of this program's own.
static std::string pathLabel(const HttpRequest &request)
{
    return std::string(pathName(request.path));
}

HttpResponse Application::refused(const HttpRequest &request, const Problem &problem)
{
    HttpResponse response = problemResponse(problem.kind(), problem.what());
    if (problem.kind() == ProblemKind::methodNotAllowed) {
        response.headers.emplace_back("Allow", allowedMethods(request.path));
    }
    metrics_.failed(std::string(meaningOf(problem.kind()).name));
    metrics_.answered(pathLabel(request), response.status, 0);
    return response;
}

std::optional<HttpResponse> Application::head(const HttpRequest &request, const Credentials &credentials,
                                              std::size_t &bodyLimit)
{
    try {
        checkHost(rules_, request);
        const bool isPage = findPageFile(request.path) != nullptr;
        if (!isPage) { // which has no data, and for which a browser sends no token
            checkToken(rules_, credentials);
        }
        const Route &route = routeOf(request);
        if (route.path == pageFilePath && !isPage) {
            throw Problem(ProblemKind::notFound, "the page has no such file");
        }
        if (route.writes) {
            checkOrigin(request);
        }
        bodyLimit = route.bodyLimit;
        return std::nullopt;
    } catch (const Problem &problem) {
        return refused(request, problem);
    }
}

void Application::finish(std::uint64_t id, const HttpRequest &request, HttpResponse &&response, Clock::time_point start,
                         bool atOnce)
{
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    metrics_.answered(pathLabel(request), response.status, time.count());
    server_->answer(id, std::move(response), atOnce);
}

void Application::take(std::uint64_t id, const std::shared_ptr<const HttpRequest> &request)
{
    const Clock::time_point start = Clock::now();
    if (request->path == metricsPath) {
        finish(id, *request, {200, "text/plain; version=0.0.4; charset=utf-8", metrics_.text(gauges())}, start);
    } else if (request->path == descriptionPath) {
        finish(id, *request, {200, "application/json", std::string(description())}, start);
    } else if (const PageFile *file = findPageFile(request->path); file != nullptr) {
        finish(id, *request, pageResponse(*file), start);
    } else if (const Route &route = routeOf(*request);
               !queue_->add([this, id, request, &route, start](std::size_t waiting) {
                   work(id, request, route, start, waiting);
               })) {
        metrics_.failed(std::string(meaningOf(ProblemKind::queueFull).name));
        finish(id, *request, problemResponse(ProblemKind::queueFull, "send the request again in a second"), start);
    }
}

void Application::work(std::uint64_t id, const std::shared_ptr<const HttpRequest> &request, const Route &route,
                       Clock::time_point start, std::size_t waiting)
{
    constexpr std::size_t enough = 8; // for the engine to have something to do until the next answers have gone out
    Outcome outcome = answerRequest(service_, *request, route.handler);
    if (outcome.forward) {
        forward(id, request, *outcome.forward, start);
    } else {
        finish(id, *request, std::move(outcome.response), start, waiting < enough);
    }
}

void Application::forward(std::uint64_t id, const std::shared_ptr<const HttpRequest> &request,
                          const ForwardOrder &order, Clock::time_point start)
{
    forwarder_->send(*request, order.verdict, [this, id, request, order, start](ForwardResult &&result) {
        finish(id, *request, forwardAnswer(order, std::move(result)), start);
    });
}

HttpResponse Application::forwardAnswer(const ForwardOrder &order, ForwardResult &&result)
{
    constexpr unsigned firstSuccess = 200;
    constexpr unsigned lastSuccess = 299;
    if (!result.answer) {
        metrics_.forwarded(order.verdict, "unreachable");
        metrics_.failed(std::string(meaningOf(ProblemKind::receiverFailed).name));
        log_.line("the receiver did not answer: " + result.fault);
        return problemResponse(ProblemKind::receiverFailed, "the receiver did not answer: " + result.fault);
    }
    HttpResponse response = *std::move(result.answer);
    const bool taken = response.status >= firstSuccess && response.status <= lastSuccess;
    metrics_.forwarded(order.verdict, taken ? "taken" : "refused");
    if (taken) {
        service_.pending.forget(order.message);
    }
    response.headers.emplace_back("X-Velq-Verdict", order.verdict);
    return response;
}

Gauges Application::gauges() const
{
    return {.queueLength = queue_->length(),
            .queueLimit = queue_->limit(),
            .connections = server_->connections(),
            .connectionLimit = options_.server.connections,
            .forwarding = forwarder_ ? forwarder_->running() : 0};
}

// ---- Run and end --------------------------------------------------------------------------------------------------

void Application::run(const Signals &signals, const std::function<void(const std::string &)> &listening)
{
    const std::string address = server_->address().text();
    log_.line("listening on " + address);
    listening(address);
    while (true) {
        const int signal = server_->turn(signals.descriptor()) ? signals.next() : 0;
        if (signal == SIGHUP) {
            log_.reopen();
            log_.line("log opened anew");
        } else if (signal != 0) {
            break;
        }
    }
    drain(signals);
}

// Nobody new comes in; who is in is answered, unless it takes too long.
void Application::drain(const Signals &signals)
{
    constexpr std::chrono::seconds longest{30};
    log_.line("stopping");
    server_->stop();
    const Clock::time_point end = Clock::now() + longest;
    while (server_->running() > 0 && Clock::now() < end) {
        server_->turn(signals.descriptor());
        signals.next();
    }
    queue_.reset();
    forwarder_.reset();
    server_.reset();
    log_.line("stopped");
}

void serve(const ServeOptions &options, const std::function<void(const std::string &)> &listening, std::ostream &err)
{
    // Each connection to a file is used by one thread at a time. Where SQLite has been started before, it keeps its own
    // locks around each call, which only takes longer.
    sqlite3_config(SQLITE_CONFIG_MULTITHREAD);
    const Signals signals;
    Application application(options, err);
    application.run(signals, listening);
}

} // namespace velq::kit
