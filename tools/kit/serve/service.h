// The service without its connections: the engine on one installation, the journal, and what answers a request.
#ifndef VELQ_KIT_SERVE_SERVICE_H
#define VELQ_KIT_SERVE_SERVICE_H

#include "kit/base/phone_number.h"
#include "kit/base/wide_text.h"
#include "kit/engine/engine.h"
#include "kit/engine/installation.h"
#include "kit/messages/text_form.h"
#include "kit/reading/message_rating.h"
#include "kit/serve/http_message.h"
#include "kit/serve/journal.h"
#include "kit/serve/log_flusher.h"
#include "kit/serve/metrics.h"
#include "kit/serve/pending_verdicts.h"
#include "kit/serve/service_log.h"

#include <functional>
#include <optional>
#include <string>

namespace velq::kit {

struct ServiceOptions {
    std::string install;
    TextForm form = TextForm::prepared;
    NumberForm country; // of numbers that are written without one
    std::optional<JournalOptions> journal;
    bool forwards = false;
    nlohmann::json::json_pointer hookNumber{"/number"}; // where /hook/json finds the sender
    nlohmann::json::json_pointer hookText{"/text"};     // and the text
};

// A message that is to go on to the receiver.
struct ForwardOrder {
    std::string verdict;
    std::string message; // what pending verdicts know it by; empty where there is no verdict
};

// What became of a request: its answer, or a message that goes on and is answered by what the receiver says.
struct Outcome {
    HttpResponse response;
    std::optional<ForwardOrder> forward;
};

// Used by one thread at a time, but for `metrics`, `log` and `pending`.
class Service {
  public:
    // Throws Error where the installation or the journal does not work.
    Service(const ServiceOptions &given, Metrics &counted, ServiceLog &logged);

    const ServiceOptions options;
    const Installation installation;
    const Engine engine;
    Explainer explainer;
    std::optional<MessageJournal> journal;
    std::optional<LogFlusher> flusher; // of the token store and the journal
    Metrics &metrics;
    ServiceLog &log;
    PendingVerdicts pending;
};

// Calls the handler of a request's route. Whatever it throws becomes an answer.
Outcome answerRequest(Service &service, const HttpRequest &request, Outcome (*handler)(Service &, const HttpRequest &));

// The answer to a failure that came as an exception, counted and logged. To be called where one was caught.
HttpResponse failureResponse(Metrics &metrics, ServiceLog &log, const HttpRequest &request);

// ---- Messages

struct ReceivedMessage {
    std::string source; // as in the journal
    std::string number; // UTF-8
    WideText text;
};

// A text from outside as the engine takes it. Throws Problem (badRequest) that names `what` unless it is UTF-8 without
// a zero character.
WideText checkedText(const std::string &text, const std::string &what);

// The number of a sender as the engine takes it. Throws Problem (badRequest).
WideText senderOf(const Service &service, const std::string &number);

struct RatedMessage {
    Rated rated;
    Reason reason;
    std::optional<std::int64_t> entry; // in the journal
};

// Rates a message, counts it, and writes it into the journal if there is one. A journal that does not take it is no
// failure of the rating: it is logged, and there is no entry.
RatedMessage rateMessage(Service &service, const ReceivedMessage &message);

} // namespace velq::kit

#endif
