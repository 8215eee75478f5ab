// velq init: lays out an installation.
#include "kit/commands.h"
#include "kit/input.h"
#include "kit/installation.h"
#include "kit/store_file.h"
#include "kit/store_text.h"
#include "kit/temporary_folder.h"

#include <filesystem>
#include <fstream>
#include <optional>

namespace velq::kit {

namespace {

struct InitOptions {
    std::string folder;
    std::string store;
};

} // namespace

// Whether a store is in its text form, which begins with its name; the other form is a database file.
static bool isStoreText(const std::filesystem::path &file)
{
    constexpr std::string_view firstWord = "velq-store";
    std::ifstream in(file, std::ios::binary);
    std::string start(firstWord.size(), '\0');
    in.read(start.data(), static_cast<std::streamsize>(start.size()));
    return start == firstWord;
}

static void runInit(const InitOptions &options, Context &context)
{
    std::filesystem::path store = options.store.empty() ? starterStore() : std::filesystem::path(options.store);
    if (store.empty()) {
        throw Error(Status::noInput,
                    "no starter token store is installed beside this program; give one with --store FILE");
    }
    std::optional<TemporaryFolder> folder;
    if (isStoreText(store)) {
        folder.emplace();
        InputFile text(store.string(), context.in);
        store = folder->path() / "prob.bin";
        writeStoreContents(store, readStoreText(text.stream(), text.name()));
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
    command
        ->add_option("--store", options->store,
                     "Token store to install instead of the delivered one: a prob.bin or its text form")
        ->type_name("FILE");
    addQuietFlag(*command, context);
    addExamples(*command,
                {"velq init ~/filter", "velq init ~/filter --store prob.bin", "velq init ~/filter --store store.txt"});
    command->callback([options, &context] { runInit(*options, context); });
}

} // namespace velq::kit
