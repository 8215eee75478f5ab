// Requests in, answers out, one line each.
#include "kit/cli/rate_pipe.h"

#include "kit/base/input.h"
#include "kit/cli/message_rating.h"
#include "kit/cli/rate_request.h"
#include "kit/messages/input_messages.h"

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
    } catch (const Error &error) {
        return {{"error", oneLine(error.what())}, {"line", line}};
    }
}

void runRatePipe(const std::string &install, TextForm form, Context &context)
{
    const Installation installation(install);
    checkDataFiles(installation);
    const Engine engine(installation, Engine::Connections::kept);
    Explainer explainer(installation);
    InputFile input("-", context.in);
    LineReader lines(input.stream(), longestMessageLine);
    std::string line;
    Progress progress(context.err, "rating", 0, context.progressBesideOutput());
    for (LineResult result = lines.next(line); result != LineResult::end; result = lines.next(line)) {
        progress.reached(lines.number());
        if (result == LineResult::line && line.empty()) {
            continue;
        }
        RateRequest request = parseRateRequest(line, result);
        request.body = inForm(form, request.body);
        answer(context, request, answerTo(engine, explainer, request, lines.number()));
    }
    checkReadToEnd(input.stream(), input.name());
}

} // namespace velq::kit
