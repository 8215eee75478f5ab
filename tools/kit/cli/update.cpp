// velq update: merges update files into an installation.
#include "kit/base/database.h"
#include "kit/cli/commands.h"
#include "kit/cli/versions.h"
#include "kit/engine/engine.h"
#include "kit/store/update_inspection.h"
#include "velq.h"

#include <charconv>
#include <cstdint>

namespace velq::kit {

namespace {

struct UpdateOptions {
    std::string install;
    std::string prob;
    std::string white;
    std::int32_t probVersion = 0;
    std::int32_t whiteVersion = 0;
};

} // namespace

// The engine takes 255 bytes. It would turn a backslash into the separator.
static WideText updatePath(const std::string &file)
{
    constexpr std::size_t longest = 255;
    if (file.size() > longest) {
        throw Error(Status::usage, "the path " + file + " is longer than 255 bytes; copy the file to a shorter one");
    }
    if (file.find('\\') != std::string::npos) {
        throw Error(Status::usage, "the path " + file + " holds a backslash; rename the file");
    }
    return wideArgument(file, "the path of the update file");
}

// The engine reports a file of another kind and a locked target as it reports success or any failure; these are told
// apart here first.
static void checkMerge(const std::string &file, const char *table, const std::filesystem::path &target)
{
    if (Database update(file, DatabaseMode::read); !update.hasTable(table)) {
        throw Error(Status::badData,
                    file + " holds no " + table + ", so it is not an update of this kind; give another file");
    }
    Database store(target, DatabaseMode::write);
    store.exec("BEGIN IMMEDIATE;");
    store.exec("ROLLBACK;");
}

// The merge takes all rows or none and says nothing of the reason; what is known to make it fail is found here before
// anything is merged.
static void checkRows(const std::string &file, const Installation &installation)
{
    const UpdateReport report = inspectUpdate(file, {}, installation.dataFile("wn.bin"));
    const bool one = report.hasTokens != report.hasNumbers; // of two tables, only one is merged
    if (one && !report.problems.empty()) {
        throw Error(Status::badData, file + " cannot be merged, nothing was changed: " + report.problems.front().where +
                                         ": " + report.problems.front().what + "; velq update inspect " + file +
                                         " lists what is wrong");
    }
}

static std::string mergeFailure(const UpdateOptions &options, const std::string &file)
{
    const std::string before =
        file == options.white && !options.prob.empty() ? " (" + options.prob + " was merged before it)" : "";
    return "merging " + file + " failed and changed nothing" + before;
}

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
    const WideText prob = updatePath(options.prob);
    const WideText white = updatePath(options.white);
    const Installation installation(options.install);
    const Engine engine(installation);
    if (!options.prob.empty()) {
        checkMerge(options.prob, "diffProbTable", installation.dataFile("prob.bin"));
        checkRows(options.prob, installation);
    }
    if (!options.white.empty()) {
        checkMerge(options.white, "diffWnTable", installation.dataFile("wn.bin"));
        checkRows(options.white, installation);
    }
    // One call for each file: a call for both returns the second result only.
    if (!options.prob.empty()) {
        engine.check(VELQ_UpdateData(prob.c_str(), options.probVersion, nullptr, 0),
                     mergeFailure(options, options.prob));
    }
    if (!options.white.empty()) {
        engine.check(VELQ_UpdateData(nullptr, 0, white.c_str(), options.whiteVersion),
                     mergeFailure(options, options.white));
    }
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
