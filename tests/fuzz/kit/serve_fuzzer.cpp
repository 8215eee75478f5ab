// The service's requests, from any bytes: paths, parameters, headers and bodies, one request after the other. Each is
// answered with what it asks for or with a problem that is the client's; a refused request changes no data file, and
// the service works on. The installation is the same for every input.
//
// An input holds requests, each "METHOD /path", then lines "?name=value" (a percent sign and two digits are a byte) and
// "header: value", an empty line, and the body up to a line "===" or the end. A first line "forward" makes it a service
// with a receiver behind it.
#include "kit/serve/access.h"
#include "kit/serve/page.h"
#include "kit/serve/routes.h"
#include "kit/serve/service.h"
#include "kit_target.h"
#include "support/installation.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

using namespace velq::fuzz;
using namespace velq::kit;

namespace {

namespace fs = std::filesystem;

// ---- Reading the input

// Takes what stands before `end` off the text, and `end` itself.
std::string_view takeUntil(std::string_view &text, std::string_view end)
{
    const std::size_t at = text.find(end);
    const std::string_view taken = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + end.size());
    return taken;
}

std::string unescaped(std::string_view text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned value = 0;
        const char *digits = text.data() + i + 1;
        if (text[i] == '%' && i + 2 < text.size() && std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2) {
            bytes += static_cast<char>(value);
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

HttpRequest requestFrom(std::string_view text)
{
    HttpRequest request;
    std::string_view first = takeUntil(text, "\n");
    request.method = takeUntil(first, " ");
    request.path = first;
    request.target = request.path;
    while (!text.empty()) {
        std::string_view line = takeUntil(text, "\n");
        if (line.empty()) {
            break;
        }
        if (line.starts_with('?')) {
            line.remove_prefix(1);
            const std::string name = unescaped(takeUntil(line, "="));
            if (!request.query.emplace(name, unescaped(line)).second) {
                request.repeated = name;
            }
        } else {
            const std::string name(takeUntil(line, ": "));
            request.headers[name] = line;
        }
    }
    request.body = text;
    return request;
}

// ---- The service

constexpr std::array<const char *, 3> contents = {"prob.bin", "bn.bin", "wn.bin"};

std::string bytesOf(const fs::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Requests change an installation, so that each input gets it anew.
const velq::test::Installation &freshInstallation()
{
    static const velq::test::Installation installation;
    static const fs::path first = installation.folder() / "first";
    const fs::path data = installation.dataFile("prob.bin").parent_path();
    if (!fs::exists(first)) {
        velq::test::Installation filled;
        filled.addTokens({{VELQ_TEXT("free"), {90, 2, 0}}, {VELQ_TEXT("lunc"), {1, 80, 0}}});
        filled.setMessageCounts(100, 100);
        filled.setPrior(600000);
        filled.addNumber(velq::test::NumberList::black, "13812345678");
        fs::copy(filled.dataFile("prob.bin").parent_path(), first);
    }
    fs::remove_all(data);
    fs::copy(first, data);
    for (const char *log : {"engine.log", "norix-engine.log"}) {
        fs::remove(installation.logFile(log));
    }
    for (const fs::directory_entry &entry : fs::directory_iterator(installation.folder())) {
        if (entry.path().filename().string().starts_with("journal.db")) {
            fs::remove(entry.path());
        }
    }
    for (const char *record : {"last-mark.json", "updates.tsv"}) {
        fs::remove(installation.programFolder() / record);
    }
    return installation;
}

std::string dataOf(const velq::test::Installation &installation)
{
    std::string all;
    for (const char *name : contents) {
        all += bytesOf(installation.dataFile(name));
    }
    return all;
}

// ---- Answers

bool isVerdict(const Json &answer)
{
    const auto rating = answer.find("rating");
    return rating != answer.end() && (*rating == "ham" || *rating == "spam" || *rating == "unsure");
}

void checkProblem(const HttpResponse &response)
{
    require(response.type == "application/problem+json", "a refusal that is no problem");
    const Json problem = Json::parse(response.body); // what it throws is a finding
    require(problem["status"] == response.status && problem["detail"].is_string() &&
                problem["type"].get<std::string>().starts_with("urn:velq:"),
            "a problem without its members");
    require(!problem.contains("rating"), "a refusal with a verdict");
}

void checkVerdicts(const HttpRequest &request, const HttpResponse &response)
{
    const Json answer = Json::parse(response.body);
    const Json asked = Json::parse(request.body);
    if (!asked.is_array()) {
        require(isVerdict(answer), "a message without a verdict");
        return;
    }
    require(answer.size() == asked.size() && std::ranges::all_of(answer, isVerdict), "not a verdict for each message");
}

void checkAnswer(const HttpRequest &request, const HttpResponse &response)
{
    require(response.status < 500, "the service failed");
    for (const auto &[name, value] : response.headers) {
        require(value.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos, "a header of several lines");
    }
    if (response.status >= 400) {
        checkProblem(response);
    } else if (request.path == "/v1/rate") {
        checkVerdicts(request, response);
    } else if (response.type == "application/json") {
        require(!Json::parse(response.body).is_discarded(), "an answer that is no JSON");
    }
}

void checkForward(const ForwardOrder &order)
{
    require(order.verdict == "ham" || order.verdict == "spam" || order.verdict == "unsure" || order.verdict == "failed",
            "a message goes on with a verdict that is none");
    require((order.verdict == "failed") == order.message.empty(), "a verdict without its message");
}

// Who may ask: whatever is sent is let through or refused as a problem of the client.
void checkAccess(const HttpRequest &request)
{
    const AccessRules rules{{"127.0.0.1", 8125}, {"filter.example"}, "0123456789abcdef"};
    const auto refusal = [](auto &&check) {
        try {
            check();
        } catch (const Problem &problem) {
            require(meaningOf(problem.kind()).status < 500, "a refusal that is no client's problem");
        }
    };
    refusal([&] { checkHost(rules, request); });
    refusal([&] { checkOrigin(request); });
    refusal([&] { checkToken(rules, {request.header("authorization"), {}}); });
}

void checkPageFile(const PageFile &file)
{
    const HttpResponse response = pageResponse(file);
    const auto policy = std::ranges::find(response.headers, std::string("Content-Security-Policy"),
                                          &std::pair<std::string, std::string>::first);
    require(response.status == 200 && response.body == file.text && !response.type.empty(),
            "a file of the page that is another");
    require(policy != response.headers.end() && policy->second.starts_with("default-src 'none'"),
            "a file of the page without its rules");
}

void checkRequest(Service &service, const velq::test::Installation &installation, const HttpRequest &request)
{
    checkAccess(request);
    const Route *route = nullptr;
    try {
        route = &routeOf(request);
    } catch (const Problem &) {
        return;
    }
    if (const PageFile *file = findPageFile(request.path)) {
        checkPageFile(*file);
    }
    if (route->handler == nullptr || request.body.size() > route->bodyLimit) {
        return;
    }
    const std::string before = dataOf(installation);
    const Outcome outcome = answerRequest(service, request, route->handler);
    if (outcome.forward) {
        require(service.options.forwards, "a message goes on without a receiver");
        checkForward(*outcome.forward);
        return;
    }
    checkAnswer(request, outcome.response);
    if (outcome.response.status >= 400 || !route->writes) {
        require(dataOf(installation) == before, "a refused request, or one that reads, changed the data");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const velq::test::Installation &installation = freshInstallation();
    std::string_view text = textOf(data, size);
    ServiceOptions options;
    options.install = installation.folder().string();
    options.journal.emplace();
    options.journal->file = installation.folder() / "journal.db";
    options.forwards = text.starts_with("forward\n");
    if (options.forwards) {
        takeUntil(text, "\n");
    }
    Metrics metrics;
    std::ostringstream lines;
    ServiceLog log({}, lines);
    Service service(options, metrics, log);
    constexpr int mostRequests = 8;
    for (int i = 0; i < mostRequests && !text.empty(); ++i) {
        checkRequest(service, installation, requestFrom(takeUntil(text, "\n===\n")));
    }
    HttpRequest good;
    good.method = "POST";
    good.path = "/v1/rate";
    good.headers["content-type"] = "application/json";
    good.body = R"({"body":"free lunch"})";
    const Outcome last = answerRequest(service, good, rateRequest);
    require(last.response.status == 200, "the service does not rate any more");
    return 0;
}
