// velq init: lays out an installation.
#include "kit/commands.h"
#include "kit/installation.h"

namespace velq::kit {

namespace {

struct InitOptions {
    std::string folder;
    std::string store;
};

} // namespace

static void runInit(const InitOptions &options, Context &context)
{
    const std::filesystem::path store = options.store.empty() ? starterStore() : std::filesystem::path(options.store);
    if (store.empty()) {
        throw Error(Status::noInput,
                    "no starter token store is installed beside this program; give one with --store FILE");
    }
    const Installation installation(options.folder);
    layOut(installation, store);
    context.message("installation laid out in " + installation.programFolder().string());
}

void addInitCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<InitOptions>();
    CLI::App *command = root.add_subcommand("init", "Lay out an installation: program directory and data files");
    command->add_option("DIR", options->folder, "The folder to hold the installation")->required()->type_name(" ");
    command->add_option("--store", options->store, "Token store to install instead of the delivered one")
        ->type_name("FILE");
    addQuietFlag(*command, context);
    addExamples(*command, {"velq init ~/filter", "velq init ~/filter --store prob.bin"});
    command->callback([options, &context] { runInit(*options, context); });
}

} // namespace velq::kit
