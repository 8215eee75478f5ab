// Updates of the data, their versions, and whether the installation works.
#include "kit/base/output.h"
#include "kit/base/temporary_folder.h"
#include "kit/engine/data_versions.h"
#include "kit/serve/requests.h"
#include "kit/store/update_merge.h"

#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace velq::kit {

static Json versionsJson(const Engine &engine)
{
    const auto [probability, whiteNumbers, rules] = installedVersions(engine);
    return {{"probability", probability}, {"whiteNumbers", whiteNumbers}, {"rules", rules}};
}

Outcome versionsRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {});
    return {jsonResponse(versionsJson(service.engine)), std::nullopt};
}

// What is said of a file that only the service knows the name of.
static std::string withoutPath(std::string text, const std::string &path)
{
    for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path, at)) {
        text.replace(at, path.size(), "the update");
    }
    return text;
}

static UpdateKind kindOf(const HttpRequest &request)
{
    const std::string kind = request.parameter("kind").value_or("");
    if (kind != "probability" && kind != "white-numbers") {
        throw Problem(ProblemKind::badRequest, "the parameter kind is neither probability nor white-numbers");
    }
    return kind == "probability" ? UpdateKind::probability : UpdateKind::whiteNumbers;
}

Outcome updateRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {"kind", "version", "force"});
    const UpdateKind kind = kindOf(request);
    const auto version = integerParameter(request, "version", 1, std::numeric_limits<std::int32_t>::max());
    const std::string force = request.parameter("force").value_or("false");
    if (!version || (force != "true" && force != "false")) {
        throw Problem(ProblemKind::badRequest,
                      version ? "the parameter force is neither true nor false" : "the parameter version is missing");
    }
    if (contentType(request) != "application/octet-stream" && contentType(request) != "application/vnd.sqlite3") {
        throw Problem(ProblemKind::unsupportedType,
                      "send the update file itself, with the header Content-Type: application/octet-stream");
    }
    const TemporaryFolder folder;
    const std::string file = (folder.path() / "update").string();
    writeTextFile(file, request.body);
    std::string forced;
    try {
        mergeUpdates(service.engine, service.installation,
                     {deliveryOf(kind, file, static_cast<std::int32_t>(*version))},
                     force == "true" ? WhenRefused::force : WhenRefused::fail,
                     [&forced](const std::string &objections) { forced = objections; });
    } catch (const UpdateRefused &refused) {
        throw Problem(ProblemKind::updateRefused, withoutPath(refused.objections(), file) +
                                                      "; nothing was changed; force=true merges it all the same");
    } catch (const InUse &) {
        throw;
    } catch (const Error &error) {
        throw Problem(error.status() == Status::badData ? ProblemKind::badData : problemOf(error),
                      withoutPath(error.what(), file));
    }
    Json answer{{"versions", versionsJson(service.engine)}};
    answer["forced"] = forced.empty() ? Json(nullptr) : Json(withoutPath(forced, file));
    return {jsonResponse(answer), std::nullopt};
}

// Whether what a transaction writes has room beside a file. A store with a write-ahead log says so only when it
// commits.
static void checkRoom(const std::filesystem::path &file)
{
    constexpr std::size_t size = std::size_t{64} << 10;
    const std::string bytes(size, '\0');
    std::string name = file.string() + ".XXXXXX";
    const int made = ::mkostemp(name.data(), O_CLOEXEC);
    bool written = false;
    if (made >= 0) {
        ::unlink(name.c_str());
        written = ::write(made, bytes.data(), size) == static_cast<ssize_t>(size);
        ::close(made);
    }
    if (!written) {
        throw Error(Status::inputOutput, "nothing can be written beside " + file.string() +
                                             ", so nothing is learned; check the space left and the permissions");
    }
}

// The process answers, so what is left to look at are the files: whether they can be read, and the store written.
Outcome healthRequest(Service &service, const HttpRequest &request)
{
    checkParameters(request, {});
    try {
        checkDataFiles(service.installation);
        Database store(service.installation.dataFile("prob.bin"), DatabaseMode::write);
        store.exec("BEGIN IMMEDIATE;");
        store.exec("ROLLBACK;");
        checkRoom(service.installation.dataFile("prob.bin"));
        const auto versions = installedVersions(service.engine);
        service.explainer.explain({}, {}, Depth::allTokens);
        if (service.journal) {
            service.journal->find(0);
        }
        return {jsonResponse({{"status", "ok"}, {"probability", versions.probability}}), std::nullopt};
    } catch (const InUse &) {
        throw;
    } catch (const Error &error) {
        throw Problem(ProblemKind::notWorking, error.what());
    }
}

} // namespace velq::kit
