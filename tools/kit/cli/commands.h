// How commands join the command line: each file of commands adds its own to the parser and runs them on the context.
#ifndef VELQ_KIT_CLI_COMMANDS_H
#define VELQ_KIT_CLI_COMMANDS_H

#include "kit/base/progress.h"
#include "kit/base/status.h"
#include "kit/messages/corpus.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <initializer_list>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

namespace velq::kit {

// What every command gets. Standard output takes data, standard error messages and progress.
struct Context {
    std::istream &in;
    std::ostream &out;
    std::ostream &err;
    bool json = false;  // --json: output as JSON
    bool quiet = false; // --quiet: no progress and no messages short of errors
    int verdict = 0;    // what the program exits with when all went well: 0, or a verdict that was asked for

    ProgressWhen progress() const
    {
        return quiet ? ProgressWhen::never : ProgressWhen::onTerminal;
    }
    // The same for commands that print as they go: two on one terminal would get into each other's lines.
    ProgressWhen progressBesideOutput() const
    {
        return standardOutputIsTerminal() ? ProgressWhen::never : progress();
    }
    // One line for the user, "velq: ..." on standard error; nothing with --quiet.
    void message(const std::string &text) const;
};

// "1 message", "2 messages".
std::string plural(std::uint64_t count, const std::string &thing);

// Options and texts that commands share.
CLI::Option *addInstallOption(CLI::App &command, std::string &folder); // --install DIR, required
CLI::Option *addJsonFlag(CLI::App &command, Context &context);         // --json
void addQuietFlag(CLI::App &command, Context &context);                // --quiet
void addFormatOption(CLI::App &command, CorpusFormat &format);         // --format tsv|csv|jsonl
// Closes the help text: at most eight examples of one line each, without the prompt.
void addExamples(CLI::App &command, std::initializer_list<std::string> examples);

// One function for each file of commands. The command's options live in a record that its callback shares:
//
//     auto options = std::make_shared<Options>();
//     CLI::App *command = parent.add_subcommand("name", "What it does");
//     command->add_option("FILE", options->file, "...")->required()->type_name(" "); // a blank: the name says enough
//     command->callback([options, &context] { run(*options, context); });
//
// Callbacks throw Error; they never exit.
void addInitCommand(CLI::App &root, Context &context);
void addRateCommand(CLI::App &root, Context &context);
void addMarkCommand(CLI::App &root, Context &context);
void addListCommand(CLI::App &root, Context &context);
void addUpdateCommand(CLI::App &root, Context &context); // returns its command through root.get_subcommand("update")
void addVersionsCommand(CLI::App &root, Context &context);
void addExplainCommand(CLI::App &root, Context &context);

void addStoreCommands(CLI::App &root, Context &context);      // store build, stats, verify, dump, load, diff
void addWhiteUpdateCommand(CLI::App &root, Context &context); // white-update build
void addUpdateInspect(CLI::App &update, Context &context);    // update inspect; `update` is the update command
void addEvaluateCommand(CLI::App &root, Context &context);    // evaluate
void addHookCommand(CLI::App &root, Context &context);        // hook gammu, smstools

} // namespace velq::kit

#endif
