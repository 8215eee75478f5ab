// Rating for the service, and failures as answers.
#include "kit/serve/service.h"

#include "kit/base/input.h"

#include <new>
#include <vector>

namespace velq::kit {

static constexpr std::size_t mostPending = 4096;

// The files are checked before the engine starts: it would rate on without them.
static const Installation &checked(const Installation &installation)
{
    checkDataFiles(installation);
    return installation;
}

Service::Service(const ServiceOptions &given, Metrics &counted, ServiceLog &logged)
    : options(given), installation(given.install), engine(checked(installation), Engine::Connections::kept),
      explainer(installation), metrics(counted), log(logged), pending(mostPending)
{
    std::vector written{installation.dataFile("prob.bin")};
    if (options.journal) {
        journal.emplace(*options.journal);
        written.push_back(options.journal->file);
    }
    flusher.emplace(written);
}

// ---- Failures

static HttpResponse failure(Metrics &metrics, ServiceLog &log, const HttpRequest &request, ProblemKind kind,
                            const std::string &detail)
{
    HttpResponse response = problemResponse(kind, detail);
    metrics.failed(std::string(meaningOf(kind).name));
    if (response.status >= 500) {
        log.line(request.method + " " + request.path + ": " + detail);
    }
    return response;
}

HttpResponse failureResponse(Metrics &metrics, ServiceLog &log, const HttpRequest &request)
{
    try {
        throw;
    } catch (const Problem &problem) {
        return failure(metrics, log, request, problem.kind(), problem.what());
    } catch (const InUse &error) {
        return failure(metrics, log, request, ProblemKind::inUse,
                       error.file().string() + " is in use by another program; send the request again");
    } catch (const Error &error) {
        return failure(metrics, log, request, problemOf(error), error.what());
    } catch (const std::bad_alloc &) {
        return failure(metrics, log, request, ProblemKind::failed, "out of memory");
    } catch (const std::exception &error) {
        return failure(metrics, log, request, ProblemKind::failed, std::string("internal error: ") + error.what());
    }
}

Outcome answerRequest(Service &service, const HttpRequest &request, Outcome (*handler)(Service &, const HttpRequest &))
{
    try {
        return handler(service, request);
    } catch (const std::exception &) {
        return {failureResponse(service.metrics, service.log, request), std::nullopt};
    }
}

// ---- Messages

WideText checkedText(const std::string &text, const std::string &what)
{
    const auto wide = wideFromUtf8(text);
    if (!wide || text.find('\0') != std::string::npos) {
        throw Problem(ProblemKind::badRequest, what + " holds a zero character or is not UTF-8");
    }
    return *wide;
}

WideText senderOf(const Service &service, const std::string &number)
{
    return checkedText(service.options.country.ofSender(number), "the number");
}

static std::optional<std::int64_t> note(Service &service, const JournalEntry &entry)
{
    if (!service.journal) {
        return std::nullopt;
    }
    try {
        return service.journal->add(entry);
    } catch (const Error &error) {
        service.metrics.journalFailed();
        service.log.line(std::string("a message is not in the journal: ") + error.what());
        return std::nullopt;
    }
}

RatedMessage rateMessage(Service &service, const ReceivedMessage &message)
{
    const WideText body = inForm(service.options.form, message.text);
    const WideText number = senderOf(service, message.number);
    RatedMessage result;
    result.rated = rateWithReason(service.engine, service.explainer, body, number, result.reason);
    const std::string verdict(ratingName(result.rated.rating));
    const std::string reason = result.reason.name.get<std::string>();
    service.metrics.rated(verdict, reason, result.rated.microseconds);
    JournalEntry entry;
    entry.source = message.source;
    entry.number = message.number;
    entry.text = utf8FromWide(message.text);
    entry.verdict = verdict;
    entry.reason = reason;
    if (result.reason.spamicity.is_number()) {
        entry.spamicity = result.reason.spamicity.get<double>();
    }
    result.entry = note(service, entry);
    service.flusher->messageRated();
    return result;
}

} // namespace velq::kit
