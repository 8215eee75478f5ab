// Reading the journal: pages of it, one message with its explanation, and what the last weeks brought.
#include "kit/base/utc_time.h"
#include "kit/serve/requests.h"

#include <charconv>
#include <limits>

namespace velq::kit {

static constexpr std::int64_t second = 1000;

MessageJournal &journalOf(Service &service)
{
    if (!service.journal) {
        throw Problem(ProblemKind::notFound, "the service keeps no journal; start it with --journal FILE");
    }
    return *service.journal;
}

JournalEntry journalEntry(Service &service, std::int64_t id)
{
    const std::optional<JournalEntry> entry = journalOf(service).find(id);
    if (!entry) {
        throw Problem(ProblemKind::notFound, "the journal has no message " + std::to_string(id));
    }
    return *entry;
}

std::optional<std::int64_t> entryMember(const nlohmann::json &order)
{
    const auto message = order.find("message");
    if (message == order.end()) {
        return std::nullopt;
    }
    if (!message->is_number_integer()) {
        throw Problem(ProblemKind::badRequest, "the member message is no number of a message in the journal");
    }
    return message->get<std::int64_t>();
}

bool undoMember(const nlohmann::json &order)
{
    const auto undo = order.find("undo");
    if (undo != order.end() && !undo->is_boolean()) {
        throw Problem(ProblemKind::badRequest, "the member undo is neither true nor false");
    }
    return undo != order.end() && undo->get<bool>();
}

static Json orNull(const std::string &text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

static Json messageJson(const JournalEntry &entry)
{
    return {{"message", entry.id},
            {"time", utcTime(entry.time / second)},
            {"source", entry.source},
            {"number", entry.number},
            {"body", entry.text},
            {"rating", entry.verdict},
            {"reason", entry.reason},
            {"spamicity", entry.spamicity ? Json(*entry.spamicity) : Json(nullptr)},
            {"correction", orNull(entry.correction)},
            {"sender", orNull(entry.sender)}};
}

// ---- Pages

namespace {

// Finds a text as it was typed, and in the form in which letters in disguise are read as what they look like.
struct Wanted {
    std::string typed;
    WideText prepared;

    bool isIn(const JournalEntry &entry) const
    {
        if (entry.text.find(typed) != std::string::npos || entry.number.find(typed) != std::string::npos) {
            return true;
        }
        const auto text = wideFromUtf8(entry.text);
        return !prepared.empty() && text && inForm(TextForm::prepared, *text).find(prepared) != WideText::npos;
    }
};

struct FoundPage {
    Json messages = Json::array();
    std::optional<std::int64_t> last; // the oldest that was looked at, where there may be more
};

} // namespace

static FoundPage page(MessageJournal &journal, const JournalFilter &filter)
{
    FoundPage found;
    const std::vector<JournalEntry> entries = journal.list(filter);
    for (const JournalEntry &entry : entries) {
        found.messages.push_back(messageJson(entry));
    }
    if (entries.size() == filter.limit) {
        found.last = entries.back().id;
    }
    return found;
}

// Ratings wait meanwhile, so a search looks at some messages only, and says where to go on.
static FoundPage searched(MessageJournal &journal, JournalFilter filter, const std::string &text)
{
    constexpr std::uint64_t most = 5000;
    constexpr std::uint64_t atOnce = 500;
    const Wanted wanted{text, inForm(TextForm::prepared, checkedText(text, "the parameter search"))};
    const std::uint64_t limit = filter.limit;
    filter.limit = atOnce;
    FoundPage found;
    for (std::uint64_t lookedAt = 0; lookedAt < most; lookedAt += atOnce) {
        const std::vector<JournalEntry> entries = journal.list(filter);
        for (const JournalEntry &entry : entries) {
            filter.before = entry.id;
            if (wanted.isIn(entry)) {
                found.messages.push_back(messageJson(entry));
                if (found.messages.size() == limit) {
                    found.last = entry.id;
                    return found;
                }
            }
        }
        if (entries.size() < atOnce) {
            return found;
        }
    }
    found.last = filter.before;
    return found;
}

static std::optional<bool> truthParameter(const HttpRequest &request, const std::string &name)
{
    const std::optional<std::string> text = request.parameter(name);
    if (text && *text != "true" && *text != "false") {
        throw Problem(ProblemKind::badRequest, "the parameter " + name + " is neither true nor false");
    }
    return text ? std::optional(*text == "true") : std::nullopt;
}

Outcome journalRequest(Service &service, const HttpRequest &request)
{
    constexpr std::int64_t mostEntries = 500;
    constexpr std::int64_t usual = 50;
    checkParameters(request, {"rating", "corrected", "search", "before", "limit"});
    JournalFilter filter;
    filter.verdict = request.parameter("rating").value_or("");
    if (!filter.verdict.empty() && filter.verdict != "ham" && filter.verdict != "spam" && filter.verdict != "unsure") {
        throw Problem(ProblemKind::badRequest, "the parameter rating is none of ham, spam, unsure");
    }
    filter.corrected = truthParameter(request, "corrected");
    filter.before = integerParameter(request, "before", 1, std::numeric_limits<std::int64_t>::max());
    filter.limit = static_cast<std::uint64_t>(integerParameter(request, "limit", 1, mostEntries).value_or(usual));
    const std::string search = request.parameter("search").value_or("");
    MessageJournal &journal = journalOf(service);
    const FoundPage found = search.empty() ? page(journal, filter) : searched(journal, filter, search);
    return {jsonResponse({{"messages", found.messages}, {"next", found.last ? Json(*found.last) : Json(nullptr)}}),
            std::nullopt};
}

// ---- One message

static std::int64_t idOf(const HttpRequest &request)
{
    const std::string text = request.path.substr(request.path.rfind('/') + 1);
    std::int64_t id = 0;
    const char *end = text.data() + text.size();
    if (std::from_chars(text.data(), end, id) != std::from_chars_result{end, std::errc()}) {
        throw Problem(ProblemKind::notFound, "the journal knows its messages by whole numbers");
    }
    return id;
}

Outcome journalMessageRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {});
    const JournalEntry entry = journalEntry(service, idOf(request));
    Json answer = messageJson(entry);
    const ReceivedMessage message{entry.source, entry.number, checkedText(entry.text, "the message")};
    answer["explanation"] = explanationOf(service, message);
    return {jsonResponse(answer), std::nullopt};
}

// ---- Weeks

Outcome weeksRequest(Service &service, const HttpRequest &request)
{
    constexpr std::int64_t usual = 8;
    constexpr std::int64_t most = 53;
    constexpr std::int64_t secondsOfDay = 86400;
    constexpr std::int64_t daysOfWeek = 7;
    constexpr std::int64_t firstMonday = 4; // 1970-01-05
    checkParameters(request, {"weeks"});
    const std::int64_t count = integerParameter(request, "weeks", 1, most).value_or(usual);
    MessageJournal &journal = journalOf(service);
    const std::int64_t now =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    const std::int64_t today = now / secondsOfDay;
    const std::int64_t thisMonday = today - (today - firstMonday) % daysOfWeek;
    const std::int64_t first = thisMonday - (count - 1) * daysOfWeek;
    Json weeks = Json::array();
    for (std::int64_t monday = first; monday <= thisMonday; monday += daysOfWeek) {
        constexpr std::size_t dateLength = 10;
        weeks.push_back({{"monday", utcTime(monday * secondsOfDay).substr(0, dateLength)},
                         {"ham", 0},
                         {"spam", 0},
                         {"unsure", 0},
                         {"correctedToHam", 0},
                         {"correctedToSpam", 0}});
    }
    for (const WeekCount &counted : journal.weeks(first * secondsOfDay * second)) {
        if (counted.monday > thisMonday) {
            continue; // the clock was set back
        }
        Json &week = weeks.at(static_cast<std::size_t>((counted.monday - first) / daysOfWeek));
        const auto add = [&week, &counted](const char *name) {
            week[name] = week[name].get<std::int64_t>() + counted.messages;
        };
        add(counted.verdict == "ham" ? "ham" : counted.verdict == "spam" ? "spam" : "unsure");
        if (!counted.correction.empty()) {
            add(counted.correction == "ham" ? "correctedToHam" : "correctedToSpam");
        }
    }
    const std::optional<std::int64_t> oldest = journal.oldest();
    return {jsonResponse({{"weeks", weeks}, {"oldest", oldest ? Json(utcTime(*oldest / second)) : Json(nullptr)}}),
            std::nullopt};
}

} // namespace velq::kit
