// What commands share: the context that they run in, and the options and texts that several of them have. Values are
// checked by the way in which their option was added, so that equal options refuse equal values.
#ifndef VELQ_KIT_CLI_OPTIONS_H
#define VELQ_KIT_CLI_OPTIONS_H

#include "kit/base/phone_number.h"
#include "kit/base/plural.h"
#include "kit/base/progress.h"
#include "kit/messages/corpus.h"
#include "kit/messages/text_form.h"

#include <CLI/App.hpp>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

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

// The words that call a command, such as "velq list black add".
std::string fullName(const CLI::App &command);

// A command below `parent`, which owns it. Made in one place, for a file that makes one compiles much of the parser.
CLI::App *addCommand(CLI::App &parent, const std::string &name, const std::string &help);

// ---- Values of a kind. Each function returns the option, for what is particular to it.

// Refuses the empty text, which would read as a value that was not given.
CLI::Option *refuseEmpty(CLI::Option *option);

// An option for the name of a file or of a folder.
CLI::Option *addFileOption(CLI::App &command, const std::string &names, std::string &file, const std::string &help);
CLI::Option *addFolderOption(CLI::App &command, const std::string &names, std::string &folder, const std::string &help);

// An argument that names a file or a folder, or several.
CLI::Option *addFileArgument(CLI::App &command, const std::string &name, std::string &file, const std::string &help);
CLI::Option *addFileArgument(CLI::App &command, const std::string &name, std::vector<std::string> &files,
                             const std::string &help);

// An option of any text, with the name of its value in help texts.
CLI::Option *addTextOption(CLI::App &command, const std::string &names, const std::string &type, std::string &text,
                           const std::string &help);

// An argument of any text, or several.
CLI::Option *addTextArgument(CLI::App &command, const std::string &name, std::string &text, const std::string &help);
CLI::Option *addTextArgument(CLI::App &command, const std::string &name, std::vector<std::string> &texts,
                             const std::string &help);

// Refuses all but whole numbers from 0 on: the parser would take a sign or too many digits for another number.
CLI::Option *refuseAllButCounts(CLI::Option *option);

// An option for a count, and one for several with commas between them.
template <std::unsigned_integral Count>
CLI::Option *addCountOption(CLI::App &command, const std::string &names, Count &count, const std::string &help)
{
    return refuseAllButCounts(command.add_option(names, count, help)->type_name("N"));
}
CLI::Option *addCountsOption(CLI::App &command, const std::string &names, std::vector<std::uint64_t> &counts,
                             const std::string &help);

// ---- Options that several commands have

CLI::Option *addInstallOption(CLI::App &command, std::string &folder); // --install DIR, required
CLI::Option *addJsonFlag(CLI::App &command, Context &context);         // --json
void addQuietFlag(CLI::App &command, Context &context);                // --quiet
void addFormatOption(CLI::App &command, CorpusFormat &format);         // --format tsv|csv|jsonl
void addRawFlag(CLI::App &command, TextForm &form);                    // --raw
CLI::Option *addCountryOption(CLI::App &command, NumberForm &form);    // --country GB

// What commands take that read messages: where, from whom, the messages, and how their texts are read.
struct MessageOptions {
    std::string install;
    std::string number;
    NumberForm country;
    std::vector<std::string> texts;
    TextForm form = TextForm::prepared;
};

// --number and --country.
CLI::Option *addSenderOptions(CLI::App &command, MessageOptions &options, const std::string &help);

// TEXT and --raw; `more` goes on with the help text of the former.
CLI::Option *addTextsArgument(CLI::App &command, MessageOptions &options, const std::string &more = {});

// Closes the help text: at most eight examples of one line each, without the prompt.
void addExamples(CLI::App &command, std::initializer_list<std::string> examples);

} // namespace velq::kit

#endif
