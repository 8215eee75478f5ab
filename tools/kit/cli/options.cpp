// Options and texts that commands share.
#include "kit/cli/options.h"

#include "kit/base/wide_text.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <map>

namespace velq::kit {

void Context::message(const std::string &text) const
{
    if (!quiet) {
        err << "velq: " << oneLine(text) << std::endl;
    }
}

std::string fullName(const CLI::App &command)
{
    return command.get_parent() == nullptr ? command.get_name()
                                           : fullName(*command.get_parent()) + " " + command.get_name();
}

CLI::App *addCommand(CLI::App &parent, const std::string &name, const std::string &help)
{
    return parent.add_subcommand(name, help);
}

// ---- Values of a kind. The checks have no name that help texts would show.

static std::string emptyFault(const std::string &value)
{
    return value.empty() ? "the value is empty; give a name or leave the option out" : "";
}

CLI::Option *refuseEmpty(CLI::Option *option)
{
    return option->check(CLI::Validator(emptyFault, ""));
}

CLI::Option *addTextOption(CLI::App &command, const std::string &names, const std::string &type, std::string &text,
                           const std::string &help)
{
    return command.add_option(names, text, help)->type_name(type);
}

// The type is a blank: an argument's own name says enough.
CLI::Option *addTextArgument(CLI::App &command, const std::string &name, std::string &text, const std::string &help)
{
    return addTextOption(command, name, " ", text, help);
}

CLI::Option *addTextArgument(CLI::App &command, const std::string &name, std::vector<std::string> &texts,
                             const std::string &help)
{
    return command.add_option(name, texts, help)->type_name(" ");
}

CLI::Option *addFileOption(CLI::App &command, const std::string &names, std::string &file, const std::string &help)
{
    return refuseEmpty(addTextOption(command, names, "FILE", file, help));
}

CLI::Option *addFolderOption(CLI::App &command, const std::string &names, std::string &folder, const std::string &help)
{
    return refuseEmpty(addTextOption(command, names, "DIR", folder, help));
}

CLI::Option *addFileArgument(CLI::App &command, const std::string &name, std::string &file, const std::string &help)
{
    return refuseEmpty(addTextArgument(command, name, file, help));
}

CLI::Option *addFileArgument(CLI::App &command, const std::string &name, std::vector<std::string> &files,
                             const std::string &help)
{
    return refuseEmpty(addTextArgument(command, name, files, help));
}

static std::string countFault(const std::string &value)
{
    std::uint64_t number = 0;
    const char *end = value.data() + value.size();
    return std::from_chars(value.data(), end, number) == std::from_chars_result{end, std::errc()}
               ? ""
               : value + " is not a whole number between 0 and 18446744073709551615";
}

CLI::Option *refuseAllButCounts(CLI::Option *option)
{
    return option->check(CLI::Validator(countFault, ""));
}

CLI::Option *addCountsOption(CLI::App &command, const std::string &names, std::vector<std::uint64_t> &counts,
                             const std::string &help)
{
    return refuseAllButCounts(command.add_option(names, counts, help)->delimiter(',')->type_name("N,N,..."));
}

// ---- Options that several commands have

CLI::Option *addInstallOption(CLI::App &command, std::string &folder)
{
    return addFolderOption(command, "--install", folder,
                           "The folder that holds the installation, as given to velq init")
        ->required();
}

CLI::Option *addJsonFlag(CLI::App &command, Context &context)
{
    return command.add_flag("--json", context.json, "Print JSON");
}

void addQuietFlag(CLI::App &command, Context &context)
{
    command.add_flag("--quiet", context.quiet, "No progress and no messages but errors");
}

void addFormatOption(CLI::App &command, CorpusFormat &format)
{
    static const std::map<std::string, CorpusFormat> formats = {
        {"tsv", CorpusFormat::labelTabText}, {"csv", CorpusFormat::csv}, {"jsonl", CorpusFormat::jsonLines}};
    command
        .add_option_function<std::string>(
            "--format", [&format](const std::string &name) { format = formats.at(name); },
            "Format of the messages: tsv (label, tab, text), csv (header with label and text), jsonl; by the file's "
            "ending when not given")
        ->check(CLI::IsMember({"tsv", "csv", "jsonl"}))
        ->type_name("FORMAT");
}

void addRawFlag(CLI::App &command, TextForm &form)
{
    command.add_flag_callback(
        "--raw", [&form] { form = TextForm::raw; },
        "Take texts as they are, as an application does that does not prepare them");
}

CLI::Option *addCountryOption(CLI::App &command, NumberForm &form)
{
    return command
        .add_option_function<std::string>(
            "--country", [&form](const std::string &country) { form = NumberForm(country); },
            "The country of numbers that are written without one, such as GB: they are brought to the form "
            "+447700900123; short codes and text senders stay as they are")
        ->check(CLI::Validator(NumberForm::fault, ""))
        ->type_name("COUNTRY");
}

CLI::Option *addSenderOptions(CLI::App &command, MessageOptions &options, const std::string &help)
{
    CLI::Option *number = addTextOption(command, "--number", "NUMBER", options.number, help);
    addCountryOption(command, options.country);
    return number;
}

CLI::Option *addTextsArgument(CLI::App &command, MessageOptions &options, const std::string &more)
{
    CLI::Option *texts = addTextArgument(command, "TEXT", options.texts,
                                         "The messages; without any, one a line on standard input" + more);
    addRawFlag(command, options.form);
    return texts;
}

void addExamples(CLI::App &command, std::initializer_list<std::string> examples)
{
    std::string text = examples.size() == 1 ? "Example:" : "Examples:";
    for (const std::string &example : examples) {
        text += "\n  ";
        text += example;
    }
    command.footer(text);
}

} // namespace velq::kit
