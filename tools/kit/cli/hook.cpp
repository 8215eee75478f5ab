// velq hook: message hosts start it for each incoming message; it rates the message and files it by the verdict.
#include "kit/hooks/hook.h"

#include "kit/cli/commands.h"
#include "kit/hooks/gammu.h"
#include "kit/hooks/retry.h"
#include "kit/hooks/smstools.h"

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace velq::kit {

namespace fs = std::filesystem;

namespace {

struct GammuOptions {
    HookOptions hook;
    std::string retry;
    std::string inbox;
    std::vector<std::string> names;
};

struct SmstoolsOptions {
    HookOptions hook;
    std::string retry;
    std::vector<std::string> arguments; // event, file, and what some events add
};

} // namespace

// Rates the messages one by one, whatever becomes of each, and fails with the first one's status.
static void retryAll(const HookOptions &options, HookLog &log, const std::vector<std::vector<fs::path>> &messages,
                     const std::function<HookMessage(const std::vector<fs::path> &)> &read, Context &context)
{
    std::optional<Error> first;
    std::size_t failed = 0;
    for (const std::vector<fs::path> &files : messages) {
        try {
            runHook(options, log, files, [&] { return read(files); });
        } catch (const Error &error) {
            ++failed;
            first = first ? first : error;
        }
    }
    if (first) {
        throw Error(first->status(), plural(failed, "message") + " of " + std::to_string(messages.size()) +
                                         " could not be rated; the first: " + first->what());
    }
    context.message(plural(messages.size(), "message") + " rated again");
}

static void runGammu(const GammuOptions &options, Context &context)
{
    HookLog log("gammu", options.hook.log, context.err);
    if (!options.retry.empty()) {
        retryAll(options.hook, log, gammuMessages(unratedFiles(options.retry, options.hook.log, "gammu")),
                 readGammuFiles, context);
        return;
    }
    if (const auto fault = localeFault()) {
        log.warn(*fault);
    }
    const std::vector<fs::path> given(options.names.begin(), options.names.end());
    runHook(options.hook, log, given, [&options] {
        return readGammuMessage([](const std::string &name) { return std::getenv(name.c_str()); }, options.inbox,
                                options.names);
    });
}

static void retrySmstools(const SmstoolsOptions &options, Context &context)
{
    HookLog log("smstools", options.hook.log, context.err);
    std::vector<std::vector<fs::path>> messages;
    for (const fs::path &file : unratedFiles(options.retry, options.hook.log, "smstools")) {
        messages.push_back({file});
    }
    retryAll(
        options.hook, log, messages, [](const auto &files) { return readSmstoolsMessage(files.front()); }, context);
}

static void runSmstools(const SmstoolsOptions &options, Context &context)
{
    if (!options.retry.empty()) {
        retrySmstools(options, context);
        return;
    }
    if (options.arguments.empty()) {
        throw Error(Status::usage, "EVENT is required: the daemon appends it; see velq hook smstools --help");
    }
    if (options.arguments[0] != "RECEIVED") {
        return;
    }
    if (options.arguments.size() < 2) {
        throw Error(Status::usage, "the event RECEIVED comes without the message file; use the hook as eventhandler");
    }
    HookLog log("smstools", options.hook.log, context.err);
    runHook(options.hook, log, {options.arguments[1]},
            [&options] { return readSmstoolsMessage(options.arguments[1]); });
}

// Returns the options for folders, which need more where the host gives names only.
static std::vector<CLI::Option *> addHookOptions(CLI::App &command, HookOptions &options, std::string &retry)
{
    addInstallOption(command, options.install);
    CLI::Option *spam = addFolderOption(command, "--spam-folder", options.spamFolder,
                                        "Move spam to this folder, made where it is missing; without it spam stays");
    CLI::Option *unsure = addFolderOption(command, "--unsure-folder", options.unsureFolder,
                                          "Move messages that are neither to this folder; without it they stay");
    CLI::Option *log =
        addFileOption(command, "--log", options.log,
                      "Append a line for each message: time, host, rating, sender, files, action; standard error when "
                      "not given");
    addFolderOption(
        command, "--retry", retry,
        "Rate the messages in this folder, where the host puts them, that could not be rated when they came: "
        "those without a rating in the log")
        ->needs(log);
    addCountryOption(command, options.country);
    addRawFlag(command, options.form);
    return {spam, unsure};
}

static void addGammuHook(CLI::App &parent, Context &context)
{
    auto options = std::make_shared<GammuOptions>();
    CLI::App *command = addCommand(parent, "gammu", "For RunOnReceive of Gammu's SMS daemon");
    const auto folders = addHookOptions(*command, options->hook, options->retry);
    CLI::Option *inbox =
        addFolderOption(*command, "--inbox", options->inbox,
                        "The daemon's inboxpath; with the files service it names files without their folder");
    for (CLI::Option *folder : folders) {
        folder->needs(inbox);
    }
    addTextArgument(*command, "NAME", options->names, "What the daemon appends: names of the message's files");
    addExamples(*command, {"velq hook gammu --install /var/lib/velq --inbox /var/spool/gammu/inbox "
                           "--spam-folder /var/spool/gammu/spam --log /var/log/velq.log",
                           "velq hook gammu --install /var/lib/velq --inbox /var/spool/gammu/inbox "
                           "--spam-folder /var/spool/gammu/spam --log /var/log/velq.log "
                           "--retry /var/spool/gammu/inbox"});
    command->callback([options, &context] { runGammu(*options, context); });
}

static void addSmstoolsHook(CLI::App &parent, Context &context)
{
    auto options = std::make_shared<SmstoolsOptions>();
    CLI::App *command = addCommand(parent, "smstools", "For the eventhandler of SMS Server Tools 3");
    addHookOptions(*command, options->hook, options->retry);
    addTextArgument(*command, "EVENT", options->arguments,
                    "What the daemon appends: the event, the message file and what it adds; events other than RECEIVED "
                    "are passed over");
    addExamples(*command, {"velq hook smstools --install /var/lib/velq --spam-folder /var/spool/sms/spam "
                           "--log /var/log/velq.log RECEIVED /var/spool/sms/incoming/GSM1.abcdef",
                           "velq hook smstools --install /var/lib/velq --spam-folder /var/spool/sms/spam "
                           "--log /var/log/velq.log --retry /var/spool/sms/incoming"});
    command->callback([options, &context] { runSmstools(*options, context); });
}

void addHookCommand(CLI::App &root, Context &context)
{
    CLI::App *hook = addCommand(root, "hook", "For message hosts: rate an incoming message and file it by the verdict");
    hook->require_subcommand(1);
    addExamples(
        *hook, {"velq hook gammu --install /var/lib/velq", "velq hook smstools --install /var/lib/velq RECEIVED FILE"});
    addGammuHook(*hook, context);
    addSmstoolsHook(*hook, context);
}

} // namespace velq::kit
