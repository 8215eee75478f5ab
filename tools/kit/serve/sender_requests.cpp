// Blocking and allowing the senders of messages in the journal, and taking that back.
#include "kit/engine/number_list.h"
#include "kit/serve/list_moves.h"
#include "kit/serve/requests.h"

namespace velq::kit {

static Json blockOrAllow(Service &service, JournalEntry entry, const std::string &as)
{
    const ListCalls &calls = as == "blocked" ? blackListCalls : whiteListCalls;
    const ListEntry sender{.number = service.options.country.ofSender(entry.number), .name = {}};
    if (const std::string fault = entryFault(sender); !fault.empty()) {
        throw Problem(ProblemKind::badData, "the sender cannot be put on a list: " + fault);
    }
    const ListChange moved = listsChangedBy(service, entry.number, [&] { addEntry(service.engine, calls, sender); });
    entry.sender = as;
    try {
        entry.senderChanges = withMove(entry.senderChanges, moved);
        journalOf(service).keepDecisions(entry);
    } catch (const Error &) {
        withdrawMove(service, moved); // what the journal does not know could not be taken back
        throw;
    }
    return {{"as", as}, {"message", entry.id}, {"added", moved.added.size()}, {"movedOff", moved.removed.size()}};
}

static Json undoSender(Service &service, JournalEntry entry)
{
    if (entry.sender.empty()) {
        throw Problem(ProblemKind::notFound, "the sender of message " + std::to_string(entry.id) +
                                                 " was neither blocked nor allowed, so there is nothing to take back");
    }
    const std::string as = entry.sender;
    takeBackMove(service, entry.senderChanges, entry.listChanges);
    entry.sender.clear();
    journalOf(service).keepDecisions(entry);
    return {{"takenBack", 1}, {"as", as}, {"message", entry.id}};
}

Outcome senderRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {});
    const nlohmann::json body = jsonObject(request);
    const std::optional<std::int64_t> message = entryMember(body);
    if (!message) {
        throw Problem(ProblemKind::badRequest, "the member message is missing");
    }
    const bool isUndo = undoMember(body);
    const auto as = body.find("as");
    const bool isKnown = as != body.end() && (*as == "blocked" || *as == "allowed");
    if (isUndo ? as != body.end() : !isKnown) {
        throw Problem(ProblemKind::badRequest, "give as, which is blocked or allowed, or undo, which is true");
    }
    const JournalEntry entry = journalEntry(service, *message);
    return {jsonResponse(isUndo ? undoSender(service, entry) : blockOrAllow(service, entry, as->get<std::string>())),
            std::nullopt};
}

} // namespace velq::kit
