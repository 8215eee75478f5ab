// Requests in, answers out, one line each.
#include "kit/cli/rate_pipe.h"

#include "kit/base/database.h"
#include "kit/base/input.h"
#include "kit/cli/rate_request.h"
#include "kit/messages/input_messages.h"
#include "kit/reading/message_rating.h"

#include <chrono>
#include <optional>

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

} // namespace

// One line: the id, then the members of `object`.
static void answer(Context &context, const RateRequest &request, const Json &object)
{
    context.out << "{\"id\":" << request.id << ',' << object.dump().substr(1) << '\n' << std::flush;
    if (!context.out) {
        throw Error(Status::inputOutput, "writing to standard output failed; check the device or the pipe");
    }
}

static Json rateRequest(const Engine &engine, Explainer &explainer, const RateRequest &request)
{
    Reason reason;
    const Rated rated = rateWithReason(engine, explainer, request.body, request.number, reason);
    return {{"rating", ratingName(rated.rating)},
            {"reason", reason.name},
            {"spamicity", reason.spamicity},
            {"microseconds", rated.microseconds}};
}

static Json answerTo(const Engine &engine, Explainer &explainer, const RateRequest &request, std::uint64_t line)
{
    if (!request.fault.empty()) {
        return {{"error", request.fault}, {"line", line}};
    }
    try {
        return rateRequest(engine, explainer, request);
    } catch (const InUse &error) {
        return {{"error", oneLine(error.file().string()) + " is in use by another program; send the line again"},
                {"line", line}};
    } catch (const Error &error) {
        return {{"error", oneLine(error.what())}, {"line", line}};
    }
}

static RateRequest requestOf(const std::string &line, LineResult result)
{
    RateRequest request;
    if (result == LineResult::line && line.empty()) {
        request.fault = "the line is empty";
        return request;
    }
    return parseRateRequest(line, result);
}

// A pipe is started along with other programs, one of which may be busy with the files for a while.
static void openInstallation(std::optional<RatedInstallation> &installation, std::optional<Explainer> &explainer,
                             const std::string &install, bool dryRun)
{
    constexpr std::chrono::seconds longest{5};
    try {
        waitWhileInUse(longest, [&] {
            installation.emplace(install, dryRun);
            explainer.emplace(installation->installation());
        });
    } catch (const InUse &error) {
        throw Error(Status::inputOutput, error.file().string() +
                                             " was in use by another program for 5 seconds; end that program, or start "
                                             "the pipe again when it is done");
    }
}

void runRatePipe(const std::string &install, const PipeOptions &options, Context &context)
{
    std::optional<RatedInstallation> installation;
    std::optional<Explainer> explainer;
    openInstallation(installation, explainer, install, options.dryRun);
    const Engine engine(installation->installation(), Engine::Connections::kept);
    InputFile input("-", context.in);
    LineReader lines(input.stream(), longestMessageLine);
    std::string line;
    Progress progress(context.err, "rating", 0, context.progressBesideOutput());
    for (LineResult result = lines.next(line); result != LineResult::end; result = lines.next(line)) {
        progress.reached(lines.number());
        RateRequest request = requestOf(line, result);
        request.body = inForm(options.form, request.body);
        if (options.country.isGiven()) {
            request.number = wideArgument(options.country.of(utf8FromWide(request.number)), "the number");
        }
        answer(context, request, answerTo(engine, *explainer, request, lines.number()));
    }
    checkReadToEnd(input.stream(), input.name());
}

} // namespace velq::kit
