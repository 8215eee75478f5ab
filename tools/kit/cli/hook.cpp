// velq hook: message hosts start it for each incoming message; it rates the message and files it by the verdict.
#include "kit/hooks/hook.h"

#include "kit/cli/commands.h"
#include "kit/hooks/gammu.h"
#include "kit/hooks/smstools.h"

#include <cstdlib>
#include <vector>

namespace velq::kit {

namespace {

struct GammuOptions {
    HookOptions hook;
    std::string inbox;
    std::vector<std::string> names;
};

struct SmstoolsOptions {
    HookOptions hook;
    std::vector<std::string> arguments; // event, file, and what some events add
};

} // namespace

static void runGammu(const GammuOptions &options, Context &context)
{
    HookLog log("gammu", options.hook.log, context.err);
    if (const auto fault = localeFault()) {
        log.warn(*fault);
    }
    runHook(options.hook, log, [&options] {
        return readGammuMessage([](const std::string &name) { return std::getenv(name.c_str()); }, options.inbox,
                                options.names);
    });
}

static void runSmstools(const SmstoolsOptions &options, Context &context)
{
    if (options.arguments.at(0) != "RECEIVED") {
        return;
    }
    if (options.arguments.size() < 2) {
        throw Error(Status::usage, "the event RECEIVED comes without the message file; use the hook as eventhandler");
    }
    HookLog log("smstools", options.hook.log, context.err);
    runHook(options.hook, log, [&options] { return readSmstoolsMessage(options.arguments[1]); });
}

// Returns the options for folders, which need more where the host gives names only.
static std::vector<CLI::Option *> addHookOptions(CLI::App &command, HookOptions &options)
{
    addInstallOption(command, options.install);
    CLI::Option *spam = addFolderOption(command, "--spam-folder", options.spamFolder,
                                        "Move spam to this folder, made where it is missing; without it spam stays");
    CLI::Option *unsure = addFolderOption(command, "--unsure-folder", options.unsureFolder,
                                          "Move messages that are neither to this folder; without it they stay");
    addFileOption(command, "--log", options.log,
                  "Append a line for each message: time, host, rating, sender, files, action; standard error when "
                  "not given");
    addRawFlag(command, options.form);
    return {spam, unsure};
}

static void addGammuHook(CLI::App &parent, Context &context)
{
    auto options = std::make_shared<GammuOptions>();
    CLI::App *command = addCommand(parent, "gammu", "For RunOnReceive of Gammu's SMS daemon");
    const auto folders = addHookOptions(*command, options->hook);
    CLI::Option *inbox = addFolderOption(*command, "--inbox", options->inbox,
                                         "The daemon's inboxpath, for with the files service it gives names only");
    for (CLI::Option *folder : folders) {
        folder->needs(inbox);
    }
    addTextArgument(*command, "NAME", options->names, "What the daemon appends: names of the message's files");
    addExamples(*command, {"velq hook gammu --install /var/lib/velq --inbox /var/spool/gammu/inbox "
                           "--spam-folder /var/spool/gammu/spam --log /var/log/velq.log"});
    command->callback([options, &context] { runGammu(*options, context); });
}

static void addSmstoolsHook(CLI::App &parent, Context &context)
{
    auto options = std::make_shared<SmstoolsOptions>();
    CLI::App *command = addCommand(parent, "smstools", "For the eventhandler of SMS Server Tools 3");
    addHookOptions(*command, options->hook);
    addTextArgument(*command, "EVENT", options->arguments,
                    "What the daemon appends: the event, the message file and what it adds; events other than RECEIVED "
                    "are passed over")
        ->required();
    addExamples(*command, {"velq hook smstools --install /var/lib/velq --spam-folder /var/spool/sms/spam "
                           "--log /var/log/velq.log RECEIVED /var/spool/sms/incoming/GSM1.abcdef"});
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
