// velq rate: ratings of messages that are given as arguments or as lines; on a pipe of JSON lines see rate_pipe.h.
#include "kit/base/status.h"
#include "kit/cli/commands.h"
#include "kit/cli/rate_pipe.h"
#include "kit/messages/input_messages.h"
#include "kit/reading/message_rating.h"

#include <algorithm>
#include <functional>
#include <optional>

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

struct RateOptions : MessageOptions {
    bool jsonLines = false;
    bool exitCode = false;
    bool dryRun = false;
};

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
    const WideText number = wideArgument(options.country.ofSender(options.number), "the number");
    const RatedInstallation place(options.install, options.dryRun);
    const Installation &installation = place.installation();
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
        const WideText body = inForm(options.form, wideArgument(message.text, "the message"));
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
        context.verdict = std::ranges::find(verdictStatuses, ratingName(rated.rating), &VerdictStatus::rating)->number;
    }
}

// "0 ham, 1 spam, 2 unsure".
static std::string verdictList()
{
    std::string list;
    for (const auto &[number, rating, meaning] : verdictStatuses) {
        list += (list.empty() ? "" : ", ") + std::to_string(number) + " " + std::string(rating);
    }
    return list;
}

void addRateCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<RateOptions>();
    CLI::App *command = addCommand(root, "rate", "Rate messages: prints rating and text; learns as the engine does");
    addInstallOption(*command, options->install);
    CLI::Option *number = addSenderOptions(*command, *options, "The sender of the messages");
    CLI::Option *texts = addTextsArgument(*command, *options, ", where a line may begin with ham or spam and a tab");
    CLI::Option *json = addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    CLI::Option *pipe =
        command->add_flag("--json-lines", options->jsonLines,
                          "Filter: reads a line {\"id\",\"number\",\"body\"} and answers at once with a line "
                          "{\"id\",\"rating\",\"reason\",\"spamicity\",\"microseconds\"}");
    CLI::Option *exitCode =
        command->add_flag("--exit-code", options->exitCode, "Of a single message: exit with " + verdictList());
    command->add_flag("--dry-run", options->dryRun,
                      "Learn nothing: rate on a copy of the installation, which stays as it is byte for byte");
    pipe->excludes(texts)->excludes(number)->excludes(exitCode)->excludes(json);
    addExamples(*command, {"velq rate --install ~/filter 'Claim your free prize now' 'see you at seven'",
                           "velq rate --install ~/filter --number 13912345678 'call me back'",
                           "velq rate --install ~/filter --dry-run < messages.txt",
                           "velq rate --install ~/filter --json-lines < requests.jsonl > answers.jsonl",
                           "velq rate --install ~/filter --exit-code 'Claim your free prize now' || echo not wanted"});
    command->callback([options, &context] {
        if (options->jsonLines) {
            runRatePipe(options->install, {options->form, options->dryRun, options->country}, context);
        } else {
            runRate(*options, context);
        }
    });
}

} // namespace velq::kit
