// velq update: merges update files into an installation, once it has looked at what they would do.
#include "kit/cli/commands.h"
#include "kit/cli/versions.h"
#include "kit/engine/engine.h"
#include "kit/store/update_merge.h"

#include <charconv>
#include <cstdint>
#include <vector>

namespace velq::kit {

namespace {

struct UpdateOptions {
    std::string install;
    std::string prob;
    std::string white;
    std::int32_t probVersion = 0;
    std::int32_t whiteVersion = 0;
    bool force = false;
};

} // namespace

// Versions count from 1: a lower one would make every later update look old or unset.
static std::string versionFault(const std::string &value)
{
    std::int32_t version = 0;
    const char *end = value.data() + value.size();
    const bool whole = std::from_chars(value.data(), end, version) == std::from_chars_result{end, std::errc()};
    return whole && version > 0 ? "" : value + " is not a version; versions are whole numbers from 1 to 2147483647";
}

// File and version are given both or neither.
static void addVersionOption(CLI::App &command, const std::string &name, std::int32_t &version, CLI::Option &file)
{
    CLI::Option *option = command.add_option(name, version, "The version to record for it")->type_name("N");
    option->check(CLI::Validator(versionFault, ""));
    option->needs(&file);
    file.needs(option);
}

static void runUpdate(const UpdateOptions &options, Context &context)
{
    if (options.install.empty()) {
        throw Error(Status::usage, "--install is required; see velq update --help");
    }
    if (options.prob.empty() && options.white.empty()) {
        throw Error(Status::usage, "nothing to merge; give --prob FILE or --white FILE");
    }
    const Installation installation(options.install);
    std::vector<UpdateDelivery> deliveries;
    if (!options.prob.empty()) {
        deliveries.push_back(deliveryOf(UpdateKind::probability, options.prob, options.probVersion));
    }
    if (!options.white.empty()) {
        deliveries.push_back(deliveryOf(UpdateKind::whiteNumbers, options.white, options.whiteVersion));
    }
    const Engine engine(installation);
    mergeUpdates(engine, installation, deliveries, options.force ? WhenRefused::force : WhenRefused::fail,
                 [&context](const std::string &objections) { context.message("forced: " + objections); });
    printVersions(engine, context);
}

void addUpdateCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<UpdateOptions>();
    CLI::App *command = addCommand(root, "update", "Merge update files into an installation");
    command->require_subcommand(0, 1);
    addUpdateInspect(*command, context);
    addInstallOption(*command, options->install)->required(false);
    CLI::Option *prob = addFileOption(*command, "--prob", options->prob, "Probability update file: token statistics");
    addVersionOption(*command, "--prob-version", options->probVersion, *prob);
    CLI::Option *white =
        addFileOption(*command, "--white", options->white, "White-number update file: delivered numbers");
    addVersionOption(*command, "--white-version", options->whiteVersion, *white);
    command->add_flag(
        "--force", options->force,
        "Merge also what is refused otherwise: a version that is not above the installed one, a file that "
        "was merged already, one that would wrap a count");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq update --install ~/filter --prob words.upd --prob-version 7",
                           "velq update --install ~/filter --white numbers.upd --white-version 3"});
    command->callback([options, command, &context] {
        if (command->get_subcommands().empty()) {
            runUpdate(*options, context);
        }
    });
}

} // namespace velq::kit
