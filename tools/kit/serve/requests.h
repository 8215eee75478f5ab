// What the service does for each request. All of them throw Problem or Error where they fail.
#ifndef VELQ_KIT_SERVE_REQUESTS_H
#define VELQ_KIT_SERVE_REQUESTS_H

#include "kit/serve/service.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace velq::kit {

using RequestHandler = Outcome (*)(Service &, const HttpRequest &);

Outcome rateRequest(Service &service, const HttpRequest &request);
Outcome explainRequest(Service &service, const HttpRequest &request);
Outcome markRequest(Service &service, const HttpRequest &request);
Outcome readListRequest(Service &service, const HttpRequest &request);
Outcome addToListRequest(Service &service, const HttpRequest &request);
Outcome removeFromListRequest(Service &service, const HttpRequest &request);
Outcome updateRequest(Service &service, const HttpRequest &request);
Outcome versionsRequest(Service &service, const HttpRequest &request);
Outcome healthRequest(Service &service, const HttpRequest &request);
Outcome journalRequest(Service &service, const HttpRequest &request);
Outcome journalMessageRequest(Service &service, const HttpRequest &request);
Outcome weeksRequest(Service &service, const HttpRequest &request);
Outcome senderRequest(Service &service, const HttpRequest &request);
Outcome kannelRequest(Service &service, const HttpRequest &request);
Outcome jsonHookRequest(Service &service, const HttpRequest &request);

// ---- What they share in reading a request

// Throws Problem (badRequest) for a parameter that is not `known`, or that came twice.
void checkParameters(const HttpRequest &request, std::initializer_list<std::string_view> known);

// A whole number between the two bounds. Throws Problem (badRequest).
std::optional<std::int64_t> integerParameter(const HttpRequest &request, const std::string &name, std::int64_t least,
                                             std::int64_t most);

// Of the header Content-Type, in small letters and without what follows a semicolon.
std::string contentType(const HttpRequest &request);

// The body as JSON. Throws Problem: unsupportedType, badRequest.
nlohmann::json jsonBody(const HttpRequest &request);

// The same, which is an object. Throws Problem (badRequest).
nlohmann::json jsonObject(const HttpRequest &request);

// A message of a request: an object with the members body and, if it has one, number. `where` names it in problems.
ReceivedMessage messageOf(const nlohmann::json &object, const std::string &where);

// ---- What they share of the journal

// Throws Problem (notFound) where none is kept.
MessageJournal &journalOf(Service &service);
// Throws Problem (notFound).
JournalEntry journalEntry(Service &service, std::int64_t id);

// What an order has in the member message, the number of a message in the journal. Throws Problem (badRequest).
std::optional<std::int64_t> entryMember(const nlohmann::json &order);
// Whether an order is to take something back. Throws Problem (badRequest).
bool undoMember(const nlohmann::json &order);

// The explanation of a message as it stands now.
Json explanationOf(Service &service, const ReceivedMessage &message);

} // namespace velq::kit

#endif
