// The black and the white list: pages, export, import, single entries.
#include "kit/engine/number_file.h"
#include "kit/engine/number_list.h"
#include "kit/reading/number_import.h"
#include "kit/serve/requests.h"

#include <algorithm>
#include <limits>
#include <sstream>

namespace velq::kit {

static constexpr std::int64_t largestUid = std::numeric_limits<std::int32_t>::max();

static const ListCalls &listOf(const HttpRequest &request)
{
    return request.path.ends_with("/white") ? whiteListCalls : blackListCalls;
}

static std::int32_t hiddenFilter(const HttpRequest &request)
{
    const std::string hidden = request.parameter("hidden").value_or("any");
    if (hidden != "any" && hidden != "0" && hidden != "1") {
        throw Problem(ProblemKind::badRequest, "the parameter hidden is none of any, 0, 1");
    }
    return hidden == "any" ? VELQ_HIDDEN_ANY : hidden == "0" ? 0 : 1;
}

// ---- Reading

static Json entryJson(const ListEntry &entry)
{
    return {{"number", entry.number},
            {"name", entry.name},
            {"hidden", entry.hidden},
            {"extendID", entry.extendID},
            {"uid", entry.uid}};
}

static HttpResponse listPage(const HttpRequest &request, const ListCalls &calls, std::vector<ListEntry> entries)
{
    constexpr std::int64_t usual = 100;
    constexpr std::int64_t most = 1000;
    const std::int64_t after = integerParameter(request, "after", 0, largestUid).value_or(-1);
    const auto limit = static_cast<std::size_t>(integerParameter(request, "limit", 1, most).value_or(usual));
    const std::size_t count = entries.size();
    std::ranges::sort(entries, {}, &ListEntry::uid);
    Json page = Json::array();
    Json next = nullptr;
    for (const ListEntry &entry : entries) {
        if (entry.uid <= after) {
            continue;
        }
        if (page.size() == limit) {
            next = page.back()["uid"];
            break;
        }
        page.push_back(entryJson(entry));
    }
    return jsonResponse({{"list", calls.name}, {"count", count}, {"entries", page}, {"next", next}});
}

Outcome readListRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {"after", "limit", "hidden", "format"});
    const ListCalls &calls = listOf(request);
    const std::string format = request.parameter("format").value_or("json");
    if (format != "json" && format != "csv") {
        throw Problem(ProblemKind::badRequest, "the parameter format is neither json nor csv");
    }
    std::vector<ListEntry> entries = readList(service.engine, calls, hiddenFilter(request));
    if (format == "json") {
        return {listPage(request, calls, std::move(entries)), std::nullopt};
    }
    std::ostringstream text;
    writeEntries(text, entries);
    HttpResponse response{200, "text/csv; charset=utf-8", text.str()};
    response.headers.emplace_back("Content-Disposition",
                                  std::string("attachment; filename=\"") + calls.name + "-list.csv\"");
    return {response, std::nullopt};
}

// ---- Adding

static std::int32_t smallInteger(const nlohmann::json &object, const char *name)
{
    const auto member = object.find(name);
    if (member == object.end()) {
        return 0;
    }
    const bool isHuge = member->is_number_unsigned() &&
                        member->get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int32_t>::max()};
    const bool fits = member->is_number_integer() && !isHuge &&
                      member->get<std::int64_t>() >= std::numeric_limits<std::int32_t>::min() &&
                      member->get<std::int64_t>() <= std::numeric_limits<std::int32_t>::max();
    if (!fits) {
        throw Problem(ProblemKind::badRequest, std::string("the member ") + name + " is not a whole number of 32 bits");
    }
    return member->get<std::int32_t>();
}

static std::string textMember(const nlohmann::json &object, const char *name)
{
    const auto member = object.find(name);
    if (member == object.end()) {
        return {};
    }
    if (!member->is_string()) {
        throw Problem(ProblemKind::badRequest, std::string("the member ") + name + " is not text");
    }
    return member->get<std::string>();
}

static HttpResponse addOne(Service &service, const HttpRequest &request)
{
    const nlohmann::json body = jsonObject(request);
    const ListCalls &calls = listOf(request);
    const ListEntry entry{.number = service.options.country.of(textMember(body, "number")),
                          .name = textMember(body, "name"),
                          .hidden = smallInteger(body, "hidden"),
                          .extendID = smallInteger(body, "extendID")};
    if (const std::string fault = entryFault(entry); !fault.empty()) {
        throw Problem(ProblemKind::badData, "the number cannot be added: " + fault);
    }
    const std::int32_t before = countList(service.engine, calls);
    addEntry(service.engine, calls, entry);
    const std::int32_t after = countList(service.engine, calls);
    return jsonResponse({{"added", after - before}, {"count", after}}, after > before ? 201 : 200);
}

static HttpResponse importAll(Service &service, const HttpRequest &request)
{
    NumberFile file;
    try {
        std::istringstream in(request.body);
        file = readNumbers(in, "the body", service.options.country);
    } catch (const Error &error) {
        throw Problem(ProblemKind::badData, error.what());
    }
    if (!file.bad.empty()) {
        const BadRow &first = file.bad.front();
        throw Problem(ProblemKind::badData, "the body:" + std::to_string(first.line) + ": " + first.why);
    }
    std::ostringstream nowhere;
    Progress progress(nowhere, "importing", file.entries.size(), ProgressWhen::never);
    const ListCalls &calls = listOf(request);
    const Imported imported = importNumbers(service.installation, calls, file.entries, progress);
    return jsonResponse(
        {{"rows", file.entries.size()}, {"added", imported.added}, {"count", countList(service.engine, calls)}});
}

Outcome addToListRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {});
    if (contentType(request) == "text/csv") {
        return {importAll(service, request), std::nullopt};
    }
    return {addOne(service, request), std::nullopt};
}

// ---- Removing

Outcome removeFromListRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {"number", "uid", "extendID", "all", "hidden"});
    const ListCalls &calls = listOf(request);
    std::optional<std::string> number = request.parameter("number");
    const auto uid = integerParameter(request, "uid", 0, largestUid);
    const auto extendID = integerParameter(request, "extendID", std::numeric_limits<std::int32_t>::min(), largestUid);
    const bool all = request.parameter("all") == "true";
    if ((number ? 1 : 0) + (uid ? 1 : 0) + (extendID ? 1 : 0) + (all ? 1 : 0) != 1) {
        throw Problem(ProblemKind::badRequest, "give one of number, uid, extendID, all=true");
    }
    const std::string failing = std::string("removing from the ") + calls.name + " list failed";
    const std::int32_t before = countList(service.engine, calls);
    if (number) {
        number = service.options.country.of(*number);
        if (const std::string fault = entryFault({.number = *number, .name = {}}); !fault.empty()) {
            throw Problem(ProblemKind::badRequest, "no entry has such a number: " + fault);
        }
        removeNumber(service.engine, calls, *number);
    } else if (uid) {
        service.engine.check(calls.deleteByUid(static_cast<std::int32_t>(*uid)), failing);
    } else if (extendID) {
        service.engine.check(calls.deleteByExtendID(static_cast<std::int32_t>(*extendID)), failing);
    } else {
        service.engine.check(calls.removeAll(hiddenFilter(request)), failing);
    }
    const std::int32_t after = countList(service.engine, calls);
    return {jsonResponse({{"removed", before - after}, {"count", after}}), std::nullopt};
}

} // namespace velq::kit
