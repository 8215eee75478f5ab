// The functions that add the commands to the command line, one for each file of commands. A command's options live in a
// record that its callback shares:
//
//     auto options = std::make_shared<Options>();
//     CLI::App *command = parent.add_subcommand("name", "What it does");
//     addFileArgument(*command, "FILE", options->file, "...")->required();
//     command->callback([options, &context] { run(*options, context); });
//
// Callbacks throw Error; they never exit.
#ifndef VELQ_KIT_CLI_COMMANDS_H
#define VELQ_KIT_CLI_COMMANDS_H

#include "kit/base/status.h"
#include "kit/cli/options.h"

#include <memory>

namespace velq::kit {

void addInitCommand(CLI::App &root, Context &context);
void addRateCommand(CLI::App &root, Context &context);
void addExplainCommand(CLI::App &root, Context &context);
void addMarkCommand(CLI::App &root, Context &context);
void addListCommand(CLI::App &root, Context &context);
void addUpdateCommand(CLI::App &root, Context &context);
void addVersionsCommand(CLI::App &root, Context &context);
void addHookCommand(CLI::App &root, Context &context);
void addServeCommand(CLI::App &root, Context &context);
void addStoreCommands(CLI::App &root, Context &context);
void addWhiteUpdateCommand(CLI::App &root, Context &context);
void addEvaluateCommand(CLI::App &root, Context &context);

// Below update.
void addUpdateInspect(CLI::App &update, Context &context);

// Below store.
void addStoreBuild(CLI::App &store, Context &context);
void addStoreStats(CLI::App &store, Context &context);
void addStoreVerify(CLI::App &store, Context &context);
void addStoreDump(CLI::App &store, Context &context);
void addStoreLoad(CLI::App &store, Context &context);
void addStoreDiff(CLI::App &store, Context &context);
void addStoreStandIns(CLI::App &store, Context &context);

} // namespace velq::kit

#endif
