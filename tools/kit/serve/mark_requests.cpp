// Corrections by users and taking them back.
#include "kit/serve/list_moves.h"
#include "kit/serve/requests.h"
#include "kit/store/marking.h"

namespace velq::kit {

static const char *const journaledCorrection = "the correction in the journal";

// ---- Marking

namespace {

struct MarkOrder {
    Rating verdict = Rating::ham;
    bool undo = false;
    std::optional<std::int64_t> entry; // of the journal
    ReceivedMessage message;           // where there is no entry
};

} // namespace

static Rating verdictOf(const nlohmann::json &body)
{
    const auto as = body.find("as");
    if (as == body.end() || (*as != "ham" && *as != "spam")) {
        throw Problem(ProblemKind::badRequest, "the member as is neither ham nor spam");
    }
    return *as == "ham" ? Rating::ham : Rating::spam;
}

static MarkOrder orderOf(const nlohmann::json &body)
{
    MarkOrder order;
    order.undo = undoMember(body);
    order.entry = entryMember(body);
    if (order.undo && (body.contains("as") || body.contains("body"))) {
        throw Problem(ProblemKind::badRequest, "undo takes neither a verdict nor a text");
    }
    if (order.entry && (body.contains("body") || body.contains("number"))) {
        throw Problem(ProblemKind::badRequest, "give either a message of the journal or a text");
    }
    if (!order.undo) {
        order.verdict = verdictOf(body);
        if (!order.entry) {
            order.message = messageOf(body, "the message");
        }
    }
    return order;
}

// Of a correction that failed half-way: what it changed in the store is taken back.
static void withdraw(Service &service, const Correction &made)
{
    if (made.changes.empty()) {
        return;
    }
    try {
        takeBack(made, service.installation.dataFile("prob.bin"));
    } catch (const Error &error) {
        service.log.line(std::string("a part of a correction that failed stays in the store: ") + error.what());
    }
}

static Correction marked(Service &service, Rating verdict, const WideText &text, const std::string &number)
{
    const WideText sender = senderOf(service, number);
    if (sender.size() > VELQ_MAX_NUMBER_LENGTH) {
        throw Problem(ProblemKind::badRequest,
                      "the number is longer than 29 characters; no list entry has such a number");
    }
    Marking marking(service.engine, service.installation, verdict, sender);
    try {
        marking.mark(inForm(service.options.form, text));
    } catch (const Error &) {
        withdraw(service, marking.correction());
        throw;
    }
    return marking.correction();
}

static Json markText(Service &service, const MarkOrder &order)
{
    const CorrectionRecord record(service.installation);
    record.remove(); // so that what ends half-way leaves no older one to take back
    const Correction correction = marked(service, order.verdict, order.message.text, order.message.number);
    if (const std::string fault = keepCorrection(record, correction); !fault.empty()) {
        service.log.line("a correction cannot be taken back: " + fault);
    }
    return {{"marked", correction.messages}, {"as", correction.verdict}};
}

// A sender that is no number of a list cannot be on one.
static std::string listNumber(const Service &service, const std::string &number)
{
    return senderOf(service, number).size() > VELQ_MAX_NUMBER_LENGTH ? std::string() : number;
}

static Json markEntry(Service &service, const MarkOrder &order)
{
    JournalEntry entry = journalEntry(service, *order.entry);
    const std::string number = listNumber(service, entry.number);
    Correction correction = entry.changes.empty() ? Correction() : correctionOf(entry.changes, journaledCorrection);
    Correction made;
    const ListChange moved = listsChangedBy(service, number, [&] {
        made = marked(service, order.verdict, checkedText(entry.text, "the message"), number);
    });
    correction.add(made);
    entry.correction = correction.verdict;
    entry.changes = correctionText(correction);
    try {
        entry.listChanges = withMove(entry.listChanges, moved);
        journalOf(service).keepDecisions(entry);
    } catch (const Error &) {
        withdraw(service, made); // what the journal does not know could not be taken back
        withdrawMove(service, moved);
        throw;
    }
    return {{"marked", correction.messages}, {"as", correction.verdict}, {"message", entry.id}};
}

// ---- Taking back

static Json undoLast(Service &service)
{
    const CorrectionRecord record(service.installation);
    const std::optional<Correction> correction = record.read();
    if (!correction) {
        throw Problem(ProblemKind::notFound, "there is nothing to take back; mark the message as the other kind");
    }
    takeBackLast(record, *correction, service.installation.dataFile("prob.bin"));
    return {{"takenBack", correction->messages}, {"as", correction->verdict}};
}

static Json undoEntry(Service &service, std::int64_t id)
{
    JournalEntry entry = journalEntry(service, id);
    if (entry.changes.empty()) {
        throw Problem(ProblemKind::notFound, "message " + std::to_string(id) + " has no correction to take back");
    }
    const Correction correction = correctionOf(entry.changes, journaledCorrection);
    MessageJournal &journal = journalOf(service);
    takeBackMove(service, entry.listChanges, entry.senderChanges);
    const JournalEntry corrected = entry;
    entry.correction.clear();
    entry.changes.clear();
    journal.keepDecisions(entry); // before the counts: what ends in between must not be repeated
    try {
        takeBack(correction, service.installation.dataFile("prob.bin"));
    } catch (const Error &) {
        try {
            journal.keepDecisions(corrected);
        } catch (const Error &error) {
            service.log.line(std::string("a correction that is in the store is gone from the journal: ") +
                             error.what());
        }
        throw;
    }
    return {{"takenBack", correction.messages}, {"as", correction.verdict}, {"message", id}};
}

Outcome markRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {});
    const MarkOrder order = orderOf(jsonObject(request));
    Json answer;
    if (order.undo) {
        answer = order.entry ? undoEntry(service, *order.entry) : undoLast(service);
    } else {
        answer = order.entry ? markEntry(service, order) : markText(service, order);
    }
    service.metrics.corrected(order.undo ? "undo" : std::string(ratingName(order.verdict)));
    return {jsonResponse(answer), std::nullopt};
}

} // namespace velq::kit
