// velq rate: ratings of messages that are given as arguments, as lines, or as JSON lines on a pipe.
#include "kit/commands.h"
#include "kit/explanation.h"
#include "kit/input.h"
#include "kit/installation.h"
#include "kit/messages.h"
#include "velq.h"

#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

struct RateOptions {
    std::string install;
    std::string number;
    std::vector<std::string> texts;
    bool jsonLines = false;
    bool exitCode = false;
};

struct Rated {
    std::uint32_t rating = VELQ_RATING_UNSURE;
    std::int64_t microseconds = 0;
};

struct Reason {
    Json name = "unexplained";
    Json spamicity = nullptr;
};

} // namespace

static Rated rate(const Engine &engine, const WideText &body, const WideText &number)
{
    using Clock = std::chrono::steady_clock;
    Rated rated;
    const Clock::time_point start = Clock::now();
    const std::int32_t code = VELQ_CheckSpamMsgSync(&rated.rating, body.c_str(), number.c_str());
    rated.microseconds = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
    engine.check(code, "rating failed");
    return rated;
}

static Reason reasonOf(const Explanation &explanation)
{
    Reason reason;
    reason.name = stepName(explanation.step);
    if (explanation.score && std::isfinite(explanation.score->spamicity)) {
        reason.spamicity = explanation.score->spamicity;
    }
    return reason;
}

// The explanation comes first, because rating trains. Where the two do not agree, or the files could not be read,
// another program has changed the data between them: the rating stands, without a reason.
static Rated rateWithReason(const Engine &engine, Explainer &explainer, const WideText &body, const WideText &number,
                            Reason &reason)
{
    std::optional<Explanation> explanation;
    try {
        explanation = explainer.explain(body, number, Depth::decision);
    } catch (const Error &) {
        explanation.reset();
    }
    const Rated rated = rate(engine, body, number);
    if (explanation && explanation->rating == rated.rating) {
        reason = reasonOf(*explanation);
    }
    return rated;
}

// ---- The pipe

// One line's request; a fault leaves what is wrong with it.
struct Request { // NOLINT(bugprone-exception-escape): only in reports of the library's own faults
    Json id;
    WideText body;
    WideText number;
    std::string fault;
};

static std::string takeText(const nlohmann::json &object, const char *member, bool required, WideText &text)
{
    const auto found = object.find(member);
    if (found == object.end() || (!required && found->is_null())) {
        return required ? std::string("the member ") + member + " is missing" : std::string();
    }
    if (!found->is_string()) {
        return std::string("the member ") + member + " is no text";
    }
    const auto &value = found->get_ref<const std::string &>();
    const auto converted = wideFromUtf8(value);
    if (!converted || value.find('\0') != std::string::npos) {
        return std::string("the member ") + member + " holds a zero character or is not UTF-8";
    }
    text = *converted;
    return {};
}

static Request parseRequest(const std::string &line, LineResult result)
{
    Request request;
    if (result == LineResult::tooLong) {
        request.fault = "the line is longer than 1 MiB";
        return request;
    }
    const nlohmann::json object = nlohmann::json::parse(line, nullptr, false);
    if (!object.is_object()) {
        request.fault = "the line is no JSON object in UTF-8";
        return request;
    }
    if (const auto id = object.find("id"); id != object.end()) {
        // Containers might be nested too deep to be written back.
        if (id->is_structured()) {
            request.fault = "the member id is neither text nor number";
            return request;
        }
        request.id = *id;
    }
    request.fault = takeText(object, "body", true, request.body);
    if (request.fault.empty()) {
        request.fault = takeText(object, "number", false, request.number);
    }
    return request;
}

static void answer(Context &context, const Json &object)
{
    context.out << object.dump() << '\n' << std::flush;
    if (!context.out) {
        throw Error(Status::inputOutput, "writing to standard output failed; check the device or the pipe");
    }
}

static void runPipe(const RateOptions &options, Context &context)
{
    const Installation installation(options.install);
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
        const Request request = parseRequest(line, result);
        if (!request.fault.empty()) {
            answer(context, {{"id", request.id}, {"error", request.fault}, {"line", lines.number()}});
            continue;
        }
        Reason reason;
        const Rated rated = rateWithReason(engine, explainer, request.body, request.number, reason);
        answer(context, {{"id", request.id},
                         {"rating", ratingName(rated.rating)},
                         {"reason", reason.name},
                         {"spamicity", reason.spamicity},
                         {"microseconds", rated.microseconds}});
    }
    checkReadToEnd(input.stream(), input.name());
}

// ---- Arguments and lines

static void runRate(const RateOptions &options, Context &context)
{
    const WideText number = wideArgument(options.number, "the number");
    const Installation installation(options.install);
    const Engine engine(installation, Engine::Connections::kept);
    std::optional<Explainer> explainer;
    if (context.json) {
        explainer.emplace(installation);
    }
    std::uint64_t count = 0;
    Rated rated;
    Progress progress(context.err, "rating", options.texts.size(), context.progressBesideOutput());
    forEachMessage(options.texts, context.in, [&](const InputMessage &message) {
        if (++count > 1 && options.exitCode) {
            throw Error(Status::usage, "--exit-code takes a single message; give one message or leave it out");
        }
        progress.reached(count);
        const WideText body = wideArgument(message.text, "the message");
        if (!explainer) {
            rated = rate(engine, body, number);
            context.out << ratingName(rated.rating) << '\t' << oneLine(message.text) << std::endl;
            return;
        }
        Reason reason;
        rated = rateWithReason(engine, *explainer, body, number, reason);
        Json object{{"rating", ratingName(rated.rating)},
                    {"reason", reason.name},
                    {"spamicity", reason.spamicity},
                    {"number", options.number},
                    {"text", message.text}};
        if (!message.label.empty()) {
            object["label"] = message.label;
        }
        context.out << (count == 1 ? "[\n  " : ",\n  ") << object.dump();
    });
    if (context.json) {
        context.out << (count == 0 ? "[]\n" : "\n]\n");
    }
    if (options.exitCode && count == 0) {
        throw Error(Status::usage, "--exit-code found no message; give one");
    }
    if (options.exitCode) {
        // The shell's order: 0 is good news.
        context.verdict = rated.rating == VELQ_RATING_HAM ? 0 : rated.rating == VELQ_RATING_SPAM ? 1 : 2;
    }
}

void addRateCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<RateOptions>();
    CLI::App *command = root.add_subcommand("rate", "Rate messages: prints rating and text; learns as the engine does");
    addInstallOption(*command, options->install);
    CLI::Option *number =
        command->add_option("--number", options->number, "The sender of the messages")->type_name("NUMBER");
    CLI::Option *texts =
        command
            ->add_option(
                "TEXT", options->texts,
                "The messages; without any, one a line on standard input, where a line may begin with ham or spam "
                "and a tab")
            ->type_name(" ");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    CLI::Option *pipe =
        command->add_flag("--json-lines", options->jsonLines,
                          "Filter: reads a line {\"id\",\"number\",\"body\"} and answers at once with a line "
                          "{\"id\",\"rating\",\"reason\",\"spamicity\",\"microseconds\"}");
    CLI::Option *exitCode =
        command->add_flag("--exit-code", options->exitCode, "Of a single message: exit with 0 ham, 1 spam, 2 unsure");
    pipe->excludes(texts)->excludes(number)->excludes(exitCode);
    addExamples(*command, {"velq rate --install ~/filter 'WIN a prize now' 'see you at seven'",
                           "velq rate --install ~/filter --number 13912345678 'call me back'",
                           "velq rate --install ~/filter < messages.txt",
                           "velq rate --install ~/filter --json-lines < requests.jsonl > answers.jsonl",
                           "velq rate --install ~/filter --exit-code 'WIN a prize now' || echo not wanted"});
    command->callback([options, &context] {
        if (options->jsonLines) {
            runPipe(*options, context);
        } else {
            runRate(*options, context);
        }
    });
}

} // namespace velq::kit
