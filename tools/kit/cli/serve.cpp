// velq serve: the filter as a service over HTTP.
#include "kit/serve/serve.h"

#include "kit/cli/commands.h"

#include <utility>

namespace velq::kit {

namespace {

struct ServiceCommand {
    ServeOptions serve;
    std::string listen = "127.0.0.1:8125";
    std::string token;
    std::string log;
    std::string journal;
    JournalOptions journalOptions;
    std::string hookNumber = "/number";
    std::string hookText = "/text";
    std::uint64_t connections = 1024;
    std::uint64_t queue = 256;
    std::uint64_t idleSeconds = 60;
    std::uint64_t readSeconds = 10;
    std::uint64_t forwardSeconds = 20;
};

} // namespace

static nlohmann::json::json_pointer pointerOf(const std::string &text, const std::string &option)
{
    try {
        return nlohmann::json::json_pointer(text);
    } catch (const nlohmann::json::exception &) {
        throw Error(Status::usage, option + " is no JSON pointer: " + text + "; give one such as /payload/message");
    }
}

static std::uint64_t between(std::uint64_t value, std::uint64_t least, std::uint64_t most, const std::string &option)
{
    if (value < least || value > most) {
        throw Error(Status::usage, option + " takes a number from " + std::to_string(least) + " to " +
                                       std::to_string(most) + ", not " + std::to_string(value));
    }
    return value;
}

static ServeOptions serveOptions(const ServiceCommand &command)
{
    constexpr std::uint64_t day = 86400;
    ServeOptions options = command.serve;
    const auto seconds = [](std::uint64_t count, const std::string &option) {
        return std::chrono::seconds(between(count, 1, day, option));
    };
    options.server.address = parseListenAddress(command.listen);
    options.server.connections = static_cast<std::size_t>(between(command.connections, 1, 100000, "--connections"));
    options.server.idle = seconds(command.idleSeconds, "--idle-seconds");
    options.server.read = seconds(command.readSeconds, "--read-seconds");
    options.forwardTime = seconds(command.forwardSeconds, "--forward-seconds");
    options.queue = static_cast<std::size_t>(between(command.queue, 1, 100000, "--queue"));
    options.tokenFile = command.token;
    options.log = command.log;
    options.service.hookNumber = pointerOf(command.hookNumber, "--hook-number");
    options.service.hookText = pointerOf(command.hookText, "--hook-text");
    options.service.forwards = !options.forward.empty();
    if (!command.journal.empty()) {
        options.service.journal = command.journalOptions;
        options.service.journal->file = command.journal;
        options.service.journal->untilOnDisk = options.service.forwards;
    } else if (options.service.forwards) {
        throw Error(Status::usage,
                    "--forward holds spam back, so somebody has to keep it; give --journal FILE as well");
    }
    return options;
}

static void runServe(const ServiceCommand &command, Context &context)
{
    serve(
        serveOptions(command),
        [&context](const std::string &address) { context.out << "listening on http://" << address << std::endl; },
        context.err);
}

static void addJournalOptions(CLI::App &app, ServiceCommand &command)
{
    CLI::Option *journal = addFileOption(app, "--journal", command.journal,
                                         "Keep what was rated in this file, made where it is missing: time, number, "
                                         "text, verdict, correction; without it no message is kept");
    addCountOption(app, "--keep-days", command.journalOptions.keepDays, "Days after which a message goes (30)")
        ->needs(journal);
    addCountOption(app, "--keep-messages", command.journalOptions.keepRows,
                   "Messages beyond which the oldest go (100000)")
        ->needs(journal);
}

static void addForwardOptions(CLI::App &app, ServiceCommand &command)
{
    CLI::Option *forward = addTextOption(app, "--forward", "URL", command.serve.forward,
                                         "Hand what comes to /hook on to this address unless it is spam, which the "
                                         "journal keeps; the verdict is in the header X-Velq-Verdict");
    refuseEmpty(forward);
    addCountOption(app, "--forward-seconds", command.forwardSeconds, "Seconds that the receiver may take (20)")
        ->needs(forward);
    addTextOption(app, "--hook-number", "POINTER", command.hookNumber,
                  "Where /hook/json finds the sender, a JSON pointer (/number)");
    addTextOption(app, "--hook-text", "POINTER", command.hookText, "Where it finds the text (/text)");
}

static void addLimits(CLI::App &app, ServiceCommand &command)
{
    addCountOption(app, "--connections", command.connections,
                   "Connections at a time (1024); beyond, the one that was idle for longest is closed");
    addCountOption(app, "--queue", command.queue,
                   "Requests that may wait for the engine (256); further ones are asked to come again in a second");
    addCountOption(app, "--idle-seconds", command.idleSeconds,
                   "Seconds until a connection without a request is closed (60)");
    addCountOption(app, "--read-seconds", command.readSeconds, "Seconds that the body of a request may take (10)");
}

void addServeCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<ServiceCommand>();
    CLI::App *command =
        addCommand(root, "serve", "Answer over HTTP until SIGTERM: rate, explain, correct, edit the lists");
    addInstallOption(*command, options->serve.service.install);
    refuseEmpty(addTextOption(*command, "--listen", "ADDRESS", options->listen,
                              "Address and port (127.0.0.1:8125); with port 0 the system chooses, and the line that is "
                              "printed says which"));
    addFileOption(*command, "--token-file", options->token,
                  "Serve only those who send the token in the first line of this file; needed where other machines "
                  "can connect");
    command->add_option("--host", options->serve.hosts, "A further name that requests may be sent to, without a port")
        ->type_name("NAME");
    addFileOption(*command, "--log", options->log,
                  "Append to this file, opened anew at SIGHUP; standard error when not given");
    addJournalOptions(*command, *options);
    addForwardOptions(*command, *options);
    addLimits(*command, *options);
    addCountryOption(*command, options->serve.service.country);
    addRawFlag(*command, options->serve.service.form);
    addExamples(*command, {"velq serve --install ~/filter",
                           "velq serve --install ~/filter --listen 0.0.0.0:8125 --token-file ~/velq.token",
                           "velq serve --install /var/lib/velq --journal /var/lib/velq/journal.db --forward "
                           "http://127.0.0.1:9000/sms"});
    command->callback([options, &context] { runServe(*options, context); });
}

} // namespace velq::kit
