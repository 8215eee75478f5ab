// velq rate: ratings of messages that are given as arguments, as lines, or as JSON lines on a pipe.
#include "kit/base/input.h"
#include "kit/cli/commands.h"
#include "kit/engine/installation.h"
#include "kit/engine/rating.h"
#include "kit/messages/input_messages.h"
#include "kit/reading/explanation.h"
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
    Rating rating = Rating::unsure;
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
    std::uint32_t answer = VELQ_RATING_UNSURE;
    const Clock::time_point start = Clock::now();
    const std::int32_t code = VELQ_CheckSpamMsgSync(&answer, body.c_str(), number.c_str());
    rated.microseconds = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
    engine.check(code, "rating failed");
    rated.rating = ratingOf(answer);
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

// The explanation comes first, because rating trains, and ends with an Error where the files cannot be read: the engine
// would call the message unsure. Where the two do not agree, another program has changed the data between them: the
// rating stands, without a reason.
static Rated rateWithReason(const Engine &engine, Explainer &explainer, const WideText &body, const WideText &number,
                            Reason &reason)
{
    const Explanation explanation = explainer.explain(body, number, Depth::decision);
    const Rated rated = rate(engine, body, number);
    if (explanation.rating == rated.rating) {
        reason = reasonOf(explanation);
    }
    return rated;
}

// ---- The pipe

namespace {

// One line's request; a fault leaves what is wrong with it.
struct Request {
    std::string id = "null"; // as JSON, in the digits that came in
    WideText body;
    WideText number;
    std::string fault;
};

// The value of one member: a text, or anything else as JSON.
struct Member {
    enum class Kind { missing, null, text, scalar, structured };

    Kind kind = Kind::missing;
    std::string content;
};

// Takes the members id, number and body out of a request while it is parsed. What was read before a fault stays: an
// answer can carry the id of a line that is broken further on. A number keeps its digits, however many. The names of
// the functions are the parser's.
class RequestReader {
  public:
    Member id;
    Member number;
    Member body;
    bool isObject = false;

    bool null()
    {
        return take(Member::Kind::null, "null");
    }
    bool boolean(bool value)
    {
        return take(Member::Kind::scalar, value ? "true" : "false");
    }
    bool number_integer(std::int64_t value)
    {
        return take(Member::Kind::scalar, std::to_string(value));
    }
    bool number_unsigned(std::uint64_t value)
    {
        return take(Member::Kind::scalar, std::to_string(value));
    }
    bool number_float(double /*value*/, const std::string &digits)
    {
        return take(Member::Kind::scalar, digits);
    }
    bool string(const std::string &text)
    {
        return take(Member::Kind::text, text);
    }
    static bool binary(const nlohmann::json::binary_t & /*bytes*/)
    {
        return false; // never in text
    }
    bool start_object(std::size_t /*elements*/)
    {
        isObject = isObject || depth_ == 0;
        return enter();
    }
    bool start_array(std::size_t /*elements*/)
    {
        return enter();
    }
    bool key(const std::string &name)
    {
        if (depth_ == 1) {
            current_ = name == "id" ? &id : name == "number" ? &number : name == "body" ? &body : nullptr;
        }
        return true;
    }
    bool end_object()
    {
        return leave();
    }
    bool end_array()
    {
        return leave();
    }
    static bool parse_error(std::size_t /*position*/, const std::string & /*token*/,
                            const nlohmann::json::exception & /*why*/)
    {
        return false;
    }

  private:
    bool take(Member::Kind kind, const std::string &content)
    {
        if (depth_ == 1 && current_ != nullptr) {
            *current_ = {kind, content};
        }
        return true;
    }
    bool enter()
    {
        take(Member::Kind::structured, {});
        ++depth_;
        return true;
    }
    bool leave()
    {
        --depth_;
        return true;
    }

    Member *current_ = nullptr;
    std::size_t depth_ = 0;
};

} // namespace

static std::string takeText(const Member &member, const char *name, bool required, WideText &text)
{
    const bool absent = member.kind == Member::Kind::missing;
    if (absent || (!required && member.kind == Member::Kind::null)) {
        return required ? std::string("the member ") + name + " is missing" : std::string();
    }
    if (member.kind != Member::Kind::text) {
        return std::string("the member ") + name + " is no text";
    }
    const auto converted = wideFromUtf8(member.content);
    if (!converted || member.content.find('\0') != std::string::npos) {
        return std::string("the member ") + name + " holds a zero character or is not UTF-8";
    }
    text = *converted;
    return {};
}

static Request parseRequest(const std::string &line, LineResult result)
{
    Request request;
    RequestReader reader;
    // The parser takes a zero for the end of its input.
    const bool whole = nlohmann::json::sax_parse(line, &reader) && line.find('\0') == std::string::npos;
    if (reader.id.kind == Member::Kind::text) {
        request.id = Json(reader.id.content).dump();
    } else if (reader.id.kind == Member::Kind::scalar) {
        request.id = reader.id.content;
    }
    if (result == LineResult::tooLong) {
        request.fault = "the line is longer than 1 MiB";
    } else if (!whole || !reader.isObject) {
        request.fault = "the line is no JSON object in UTF-8";
    } else if (reader.id.kind == Member::Kind::structured) {
        request.fault = "the member id is neither text nor number";
    } else {
        request.fault = takeText(reader.body, "body", true, request.body);
    }
    if (request.fault.empty()) {
        request.fault = takeText(reader.number, "number", false, request.number);
    }
    return request;
}

// One line: the id, then the members of `object`.
static void answer(Context &context, const Request &request, const Json &object)
{
    context.out << "{\"id\":" << request.id << ',' << object.dump().substr(1) << '\n' << std::flush;
    if (!context.out) {
        throw Error(Status::inputOutput, "writing to standard output failed; check the device or the pipe");
    }
}

static Json rateRequest(const Engine &engine, Explainer &explainer, const Request &request)
{
    Reason reason;
    const Rated rated = rateWithReason(engine, explainer, request.body, request.number, reason);
    return {{"rating", ratingName(rated.rating)},
            {"reason", reason.name},
            {"spamicity", reason.spamicity},
            {"microseconds", rated.microseconds}};
}

static Json answerTo(const Engine &engine, Explainer &explainer, const Request &request, std::uint64_t line)
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

static void runPipe(const RateOptions &options, Context &context)
{
    const Installation installation(options.install);
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
        const Request request = parseRequest(line, result);
        answer(context, request, answerTo(engine, explainer, request, lines.number()));
    }
    checkReadToEnd(input.stream(), input.name());
}

// ---- Arguments and lines

namespace {

// The objects of one array as they come. Closed whatever happens in between: standard output stays one document.
class PrintedArray {
  public:
    explicit PrintedArray(std::ostream &out) : out_(out) {}
    ~PrintedArray()
    {
        out_ << (empty_ ? "[]\n" : "\n]\n");
    }
    PrintedArray(const PrintedArray &) = delete;
    PrintedArray &operator=(const PrintedArray &) = delete;

    void add(const Json &object)
    {
        out_ << (empty_ ? "[\n  " : ",\n  ") << object.dump();
        empty_ = false;
    }

  private:
    std::ostream &out_;
    bool empty_ = true;
};

} // namespace

// Calls `take` for each message. With --exit-code they are counted before any is rated, for rating trains.
static void forEachToRate(const RateOptions &options, Context &context,
                          const std::function<void(const InputMessage &)> &take)
{
    if (!options.exitCode) {
        forEachMessage(options.texts, context.in, take);
        return;
    }
    std::vector<InputMessage> messages;
    forEachMessage(options.texts, context.in, [&messages](const InputMessage &message) {
        messages.push_back(message);
        if (messages.size() > 1) {
            throw Error(Status::usage, "--exit-code takes a single message; give one message or leave it out");
        }
    });
    if (messages.empty()) {
        throw Error(Status::usage, "--exit-code found no message; give one");
    }
    take(messages.front());
}

static void runRate(const RateOptions &options, Context &context)
{
    const WideText number = wideArgument(options.number, "the number");
    const Installation installation(options.install);
    checkDataFiles(installation);
    const Engine engine(installation, Engine::Connections::kept);
    std::optional<Explainer> explainer;
    std::optional<PrintedArray> printed;
    if (context.json) {
        explainer.emplace(installation);
        printed.emplace(context.out);
    }
    std::uint64_t count = 0;
    Rated rated;
    Progress progress(context.err, "rating", options.texts.size(), context.progressBesideOutput());
    forEachToRate(options, context, [&](const InputMessage &message) {
        progress.reached(++count);
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
        printed->add(object);
    });
    if (options.exitCode) {
        // The shell's order: 0 is good news.
        context.verdict = rated.rating == Rating::ham ? 0 : rated.rating == Rating::spam ? 1 : 2;
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
    CLI::Option *json = addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    CLI::Option *pipe =
        command->add_flag("--json-lines", options->jsonLines,
                          "Filter: reads a line {\"id\",\"number\",\"body\"} and answers at once with a line "
                          "{\"id\",\"rating\",\"reason\",\"spamicity\",\"microseconds\"}");
    CLI::Option *exitCode =
        command->add_flag("--exit-code", options->exitCode, "Of a single message: exit with 0 ham, 1 spam, 2 unsure");
    pipe->excludes(texts)->excludes(number)->excludes(exitCode)->excludes(json);
    addExamples(*command, {"velq rate --install ~/filter 'Claim your free prize now' 'see you at seven'",
                           "velq rate --install ~/filter --number 13912345678 'call me back'",
                           "velq rate --install ~/filter < messages.txt",
                           "velq rate --install ~/filter --json-lines < requests.jsonl > answers.jsonl",
                           "velq rate --install ~/filter --exit-code 'Claim your free prize now' || echo not wanted"});
    command->callback([options, &context] {
        if (options->jsonLines) {
            runPipe(*options, context);
        } else {
            runRate(*options, context);
        }
    });
}

} // namespace velq::kit
