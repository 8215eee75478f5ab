// velq init: lays out an installation.
#include "kit/base/input.h"
#include "kit/base/temporary_folder.h"
#include "kit/cli/commands.h"
#include "kit/engine/installation.h"
#include "kit/store/store_file.h"
#include "kit/store/store_form.h"
#include "kit/store/store_text.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <optional>

namespace velq::kit {

namespace {

struct InitOptions {
    std::string folder;
    std::string store;
    std::string journal = "delete";
};

} // namespace

static void runInit(const InitOptions &options, Context &context)
{
    std::filesystem::path store = options.store.empty() ? starterStore() : std::filesystem::path(options.store);
    if (store.empty()) {
        throw Error(Status::noInput,
                    "no starter token store is installed beside this program; give one with --store FILE");
    }
    std::optional<TemporaryFolder> folder;
    if (InputFile input(store.string(), context.in); !isDatabase(input)) {
        folder.emplace();
        store = folder->path() / "prob.bin";
        writeStoreContents(store, readStoreText(input.stream(), input.name()));
    }
    const Installation installation(options.folder);
    layOut(installation, store,
           options.journal == journalName(Journal::writeAhead) ? Journal::writeAhead : Journal::rollback);
    context.message("installation laid out in " + installation.programFolder().string());
}

void addInitCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<InitOptions>();
    CLI::App *command = addCommand(root, "init", "Lay out an installation: program directory and data files");
    addFileArgument(*command, "DIR", options->folder, "The folder to hold the installation")->required();
    addFileOption(*command, "--store", options->store,
                  "Token store to install instead of the delivered one: a prob.bin or its text form");
    command
        ->add_option("--journal", options->journal,
                     "How the token store keeps what is being written: delete, a journal that each commit waits for; "
                     "wal, a log ahead of the file, for a host that trains all the time and keeps the store open")
        ->check(CLI::IsMember({"delete", "wal"}))
        ->type_name("MODE")
        ->capture_default_str();
    addQuietFlag(*command, context);
    addExamples(*command, {"velq init ~/filter", "velq init ~/filter --store prob.bin",
                           "velq init ~/filter --store store.txt", "velq init ~/filter --journal wal"});
    command->callback([options, &context] { runInit(*options, context); });
}

} // namespace velq::kit
