// Puts the command table together, runs a command and turns what it throws into one line and an exit status.
#include "kit/cli/command_line.h"

#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/cli/generate.h"
#include "velq.h"

#include <CLI/CLI.hpp>
#include <new>

namespace velq::kit {

static std::string programVersion()
{
    return "velq " + std::to_string(VELQ_VERSION_MAJOR) + "." + std::to_string(VELQ_VERSION_MINOR) + "." +
           std::to_string(VELQ_VERSION_PATCH);
}

// For the build, which installs what it prints; it stands in no help text.
static void addGenerateOption(CLI::App &root, std::string &wanted)
{
    root.add_option("--generate", wanted, "Print the manual page or the bash completion")
        ->check(CLI::IsMember({"man", "bash-completion"}))
        ->group("");
}

static void generate(const std::string &wanted, const CLI::App &root, std::ostream &out)
{
    if (wanted == "man") {
        writeManualPage(out, root, programVersion());
    } else {
        writeBashCompletion(out, root);
    }
}

static void buildTable(CLI::App &root, Context &context)
{
    root.require_subcommand(0, 1);
    root.set_version_flag("--version", programVersion());
    addInitCommand(root, context);
    addRateCommand(root, context);
    addExplainCommand(root, context);
    addMarkCommand(root, context);
    addListCommand(root, context);
    addUpdateCommand(root, context);
    addVersionsCommand(root, context);
    addHookCommand(root, context);
    addServeCommand(root, context);
    addStoreCommands(root, context);
    addWhiteUpdateCommand(root, context);
    addEvaluateCommand(root, context);
    addExamples(root, {"velq init ~/filter", "velq rate --install ~/filter 'Claim your free prize now'",
                       "velq explain --install ~/filter 'Claim your free prize now'",
                       "velq mark ham --install ~/filter --number 13912345678 'see you at seven'",
                       "velq list black add --install ~/filter 13912345678", "velq evaluate messages.tsv",
                       "velq store build messages.tsv -o prob.bin", "velq init ~/other --store prob.bin"});
}

static int failed(std::ostream &err, Status status, const std::string &message)
{
    err << "velq: " << oneLine(message) << std::endl;
    return static_cast<int>(status);
}

// The command whose help the user would want: the innermost one that was named.
static const CLI::App &innermost(const CLI::App &app)
{
    const auto named = app.get_subcommands();
    return named.empty() ? app : innermost(*named.front());
}

// What the parser found wrong; of a word that is no command or no option, which one.
static std::string parseFault(const CLI::App &command, const CLI::ParseError &error)
{
    const bool hasCommands = !command.get_subcommands([](const CLI::App *) { return true; }).empty();
    const std::vector<std::string> words = command.remaining();
    if (hasCommands && !words.empty() && !words.front().starts_with('-')) {
        return words.front() + " is not a command of " + fullName(command);
    }
    if (!words.empty() && words.front().size() > 1 && words.front().starts_with('-')) {
        return words.front() + " is not an option of " + fullName(command) + " (words with a dash come after --)";
    }
    return error.what();
}

static int parseAndRun(CLI::App &root, Context &context, int argc, const char *const *argv)
{
    std::string wanted;
    addGenerateOption(root, wanted);
    try {
        root.parse(argc, argv);
        if (!wanted.empty()) {
            generate(wanted, root, context.out);
        } else if (root.get_subcommands().empty()) {
            throw CLI::RequiredError("A command");
        }
    } catch (const CLI::CallForHelp &) {
        context.out << root.help();
    } catch (const CLI::CallForVersion &version) {
        context.out << version.what() << '\n';
    } catch (const CLI::ParseError &error) {
        const CLI::App &command = innermost(root);
        return failed(context.err, Status::usage,
                      parseFault(command, error) + "; see " + fullName(command) + " --help");
    }
    context.out.flush();
    if (!context.out) {
        return failed(context.err, Status::inputOutput,
                      "writing to standard output failed; check the device or the pipe");
    }
    return context.verdict;
}

int runCommandLine(int argc, const char *const *argv, std::istream &in, std::ostream &out, std::ostream &err)
{
    Context context{in, out, err};
    CLI::App root("Spam filter for short messages", "velq");
    try {
        buildTable(root, context);
        return parseAndRun(root, context, argc, argv);
    } catch (const Error &error) {
        out.flush();
        return failed(err, error.status(), error.what());
    } catch (const std::bad_alloc &) {
        return failed(err, Status::internal, "out of memory; give the command less to do at once");
    } catch (const std::exception &error) {
        return failed(err, Status::internal, std::string("internal error: ") + error.what() + "; please report this");
    }
}

} // namespace velq::kit
