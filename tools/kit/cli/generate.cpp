// Walks the command table once for the manual page and once for the completion.
#include "kit/cli/generate.h"

#include "kit/base/status.h"
#include "kit/cli/options.h"
#include "kit/evaluation/legend.h"

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <vector>

namespace velq::kit {

using Commands = std::vector<const CLI::App *>;

static Commands subcommandsOf(const CLI::App &command)
{
    return command.get_subcommands([](const CLI::App *sub) { return !sub->get_group().empty(); });
}

static std::vector<const CLI::Option *> optionsOf(const CLI::App &command, bool positional)
{
    return command.get_options([positional](const CLI::Option *option) {
        return option->get_positional() == positional && !option->get_group().empty();
    });
}

static void visit(const CLI::App &command, const std::function<void(const CLI::App &)> &take)
{
    take(command);
    for (const CLI::App *sub : subcommandsOf(command)) {
        visit(*sub, take);
    }
}

// ---- Manual page

static std::string roff(const std::string &text)
{
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool lineStart = i == 0 || text[i - 1] == '\n';
        if (lineStart && (text[i] == '.' || text[i] == '\'')) {
            escaped += "\\&";
        }
        switch (text[i]) {
        case '\\':
            escaped += "\\e";
            break;
        case '-':
            escaped += "\\-";
            break;
        case '\'':
            escaped += "\\(aq";
            break;
        case '~':
            escaped += "\\(ti";
            break;
        case '^':
            escaped += "\\(ha";
            break;
        case '`':
            escaped += "\\(ga";
            break;
        default:
            escaped += text[i];
        }
    }
    return escaped;
}

// "-h", "--help" as "-h, --help".
static std::string optionNames(const CLI::Option &option)
{
    std::string names;
    for (const std::string &name : option.get_snames()) {
        names += (names.empty() ? "-" : ", -") + name;
    }
    for (const std::string &name : option.get_lnames()) {
        names += (names.empty() ? "--" : ", --") + name;
    }
    return names;
}

static std::string valueName(const CLI::Option &option)
{
    const std::string type = option.get_type_name();
    return option.get_items_expected_max() == 0 || type == " " ? std::string() : type;
}

static std::string synopsis(const CLI::App &command)
{
    std::string line = "\\fB" + roff(fullName(command)) + "\\fR";
    for (const CLI::Option *option : optionsOf(command, false)) {
        if (option->get_required()) {
            line += " \\fB" + roff(optionNames(*option)) + "\\fR \\fI" + roff(valueName(*option)) + "\\fR";
        }
    }
    line += " [\\fIoptions\\fR]";
    for (const CLI::Option *option : optionsOf(command, true)) {
        const std::string name =
            "\\fI" + roff(option->get_name(true)) + "\\fR" + (option->get_expected_max() > 1 ? " ..." : "");
        line += option->get_required() ? " " + name : " [" + name + "]";
    }
    return line;
}

// The help flag, which every command has, stands with the first only.
static void writeOptions(std::ostream &out, const CLI::App &command)
{
    for (const CLI::Option *option : optionsOf(command, true)) {
        out << ".TP\n\\fI" << roff(option->get_name(true)) << "\\fR\n" << roff(option->get_description()) << '\n';
    }
    for (const CLI::Option *option : optionsOf(command, false)) {
        if (command.get_parent() != nullptr && option == command.get_help_ptr()) {
            continue;
        }
        const std::string value = valueName(*option);
        out << ".TP\n\\fB" << roff(optionNames(*option)) << "\\fR";
        if (!value.empty()) {
            out << " \\fI" << roff(value) << "\\fR";
        }
        out << '\n' << roff(option->get_description()) << '\n';
    }
}

// The footer is a title line and one example a line.
static void writeExamples(std::ostream &out, const CLI::App &command)
{
    std::istringstream footer(command.get_footer());
    std::string line;
    if (!std::getline(footer, line) || line.empty()) {
        return;
    }
    out << ".PP\n" << roff(line) << "\n.PP\n.nf\n";
    while (std::getline(footer, line)) {
        out << ".RS\n" << roff(line.substr(std::min(line.find_first_not_of(' '), line.size()))) << "\n.RE\n";
    }
    out << ".fi\n";
}

static void writeLegend(std::ostream &out)
{
    out << ".PP\nThe figures of the report:\n";
    for (const auto &[name, meaning] : legend) {
        out << ".TP\n" << roff(name) << '\n' << roff(meaning) << ".\n";
    }
}

static std::string rateWithExitCode()
{
    return roff("rate --exit-code");
}

// The verdicts but that of status 0, all numbers before all meanings.
static void writeVerdictStatuses(std::ostream &out)
{
    std::string numbers;
    std::string meanings;
    for (const auto &[number, rating, meaning] : verdictStatuses) {
        if (number != 0) {
            numbers += (numbers.empty() ? "" : ", ") + std::to_string(number);
            meanings += (meanings.empty() ? "" : "; ") + std::string(meaning);
        }
    }
    out << ".TP\n" << numbers << "\nOnly with\n.BR \"" << rateWithExitCode() << "\" :\n" << meanings << ".\n";
}

static void writeStatuses(std::ostream &out)
{
    out << ".SH EXIT STATUS\n";
    for (const auto &[status, meaning] : statusMeanings) {
        out << ".TP\n" << static_cast<int>(status) << '\n' << meaning << ".";
        if (status == Status::done) {
            out << " With\n.B " << rateWithExitCode() << "\nalso: " << verdictStatuses.front().meaning << ".\n";
            writeVerdictStatuses(out);
        } else {
            out << '\n';
        }
    }
}

static constexpr const char *files = R"(.SH FILES
.TP
.I DIR/Quenlibra/Tarvolent/data
The data files of an installation.
.TP
.I DIR/Quenlibra/Tarvolent/engine.log\fR, \fPnorix\-engine.log
What failed in the engine, and with a file
.I enable\-debug
beside them a trace of every step, which holds messages and numbers.
)";

void writeManualPage(std::ostream &out, const CLI::App &root, const std::string &version)
{
    out << R"(.TH VELQ 1 "" ")" << roff(version) << "\" \"User Commands\"\n"
        << ".SH NAME\nvelq \\- spam filter for short messages\n"
        << ".SH SYNOPSIS\n\\fBvelq\\fR \\fIcommand\\fR [\\fIoptions\\fR] [\\fIarguments\\fR]\n"
        << ".SH DESCRIPTION\nData goes to standard output, messages and progress to standard error. A single dash as "
           "a\n"
        << "file name stands for standard input wherever text is read. A prob.bin or wn.bin is always a file. Outputs "
           "that\n"
        << "are devices or pipes are written through; a file is replaced when all of it is there. Arguments that begin "
           "with a dash come after two dashes.\n"
        << ".SH OPTIONS\n";
    writeOptions(out, root);
    out << ".SH COMMANDS\n";
    visit(root, [&](const CLI::App &command) {
        if (command.get_parent() == nullptr) {
            return;
        }
        out << ".SS " << roff(fullName(command)) << '\n' << roff(command.get_description()) << ".\n";
        if (command.get_require_subcommand_min() == 0) {
            out << ".PP\n" << synopsis(command) << '\n';
            writeOptions(out, command);
        }
        if (fullName(command) == "velq evaluate") {
            writeLegend(out);
        }
        writeExamples(out, command);
    });
    writeStatuses(out);
    out << files;
}

// ---- Bash completion

// What may follow a command: its subcommands and its options.
static std::string completionsOf(const CLI::App &command)
{
    std::string words;
    const auto add = [&words](const std::string &word) { words += (words.empty() ? "" : " ") + word; };
    for (const CLI::App *sub : subcommandsOf(command)) {
        add(sub->get_name());
    }
    for (const CLI::Option *option : optionsOf(command, false)) {
        for (const std::string &name : option->get_lnames()) {
            add("--" + name);
        }
    }
    return words;
}

// Every option that takes a value, as a pattern of case.
static std::string valueOptions(const CLI::App &root)
{
    std::set<std::string> names;
    visit(root, [&names](const CLI::App &command) {
        for (const CLI::Option *option : optionsOf(command, false)) {
            for (const std::string &name : option->get_lnames()) {
                if (option->get_items_expected_max() > 0) {
                    names.insert("--" + name);
                }
            }
        }
    });
    std::string pattern;
    for (const std::string &name : names) {
        pattern += (pattern.empty() ? "" : " | ") + name;
    }
    return pattern;
}

// For each option whose values are a closed set, the case that offers them. The parser shows such a set as {a,b} behind
// the name of the value.
static void writeClosedSets(std::ostream &out, const CLI::App &root)
{
    visit(root, [&out](const CLI::App &command) {
        for (const CLI::Option *option : optionsOf(command, false)) {
            const std::string type = option->get_type_name();
            const std::size_t start = type.find(":{");
            const std::size_t end = type.find('}', std::min(start, type.size()));
            if (end == std::string::npos) {
                continue;
            }
            std::string values = type.substr(start + 2, end - start - 2);
            std::ranges::replace(values, ',', ' ');
            for (const std::string &name : option->get_lnames()) {
                out << "    '" << fullName(command) << " --" << name << "') mapfile -t COMPREPLY < <(compgen -W '"
                    << values << "' -- \"$current\"); return ;;\n";
            }
        }
    });
}

void writeBashCompletion(std::ostream &out, const CLI::App &root)
{
    out << "# bash completion for velq\n"
           "_velq()\n{\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} path=velq word next words i\n"
           "    COMPREPLY=()\n"
           "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "        word=${COMP_WORDS[i]}\n"
           "        next=\"$path $word\"\n"
           "        case $next in\n";
    visit(root, [&](const CLI::App &command) {
        if (command.get_parent() != nullptr) {
            out << "        '" << fullName(command) << "') path=$next ;;\n";
        }
    });
    out << "        esac\n"
           "    done\n"
           "    case \"$path ${COMP_WORDS[COMP_CWORD - 1]}\" in\n";
    writeClosedSets(out, root);
    out << "    esac\n"
           "    case ${COMP_WORDS[COMP_CWORD - 1]} in\n"
           "    "
        << valueOptions(root)
        << ") return ;;\n"
           "    esac\n"
           "    case $path in\n";
    visit(root, [&](const CLI::App &command) {
        out << "    '" << fullName(command) << "') words='" << completionsOf(command) << "' ;;\n";
    });
    out << "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "}\n"
           "complete -o bashdefault -o default -F _velq velq\n";
}

} // namespace velq::kit
