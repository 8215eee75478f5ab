// Help texts, manual page and bash completion against the command table as the help texts show it.
#include "support/run_command.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace velq::test {

namespace {

using Words = std::vector<std::string>;

std::vector<std::string> linesOf(const std::string &text)
{
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string helpOf(Words command)
{
    command.emplace_back("--help");
    const CommandResult result = velq(command);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result.out;
}

// The first words of the lines below a heading of a help text.
Words sectionOf(const std::string &help, const std::string &heading)
{
    Words words;
    bool inside = false;
    for (const std::string &line : linesOf(help)) {
        if (line == heading) {
            inside = true;
        } else if (line.empty()) {
            inside = false;
        } else if (inside && line.starts_with("  ") && line[2] != ' ') {
            words.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    return words;
}

// Every command as its words, without the program's name.
std::vector<Words> allCommands()
{
    std::vector<Words> commands;
    std::vector<Words> open = {{}};
    while (!open.empty()) {
        const Words command = open.back();
        open.pop_back();
        for (const std::string &name : sectionOf(helpOf(command), "Subcommands:")) {
            Words sub = command;
            sub.push_back(name);
            commands.push_back(sub);
            open.push_back(sub);
        }
    }
    return commands;
}

std::string joined(const Words &words)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

Words longOptions(const std::string &help)
{
    Words options;
    for (std::string word : sectionOf(help, "Options:")) {
        word = word.substr(word.find("--"));
        options.push_back(word.substr(0, word.find(',')));
    }
    return options;
}

std::string plainManual()
{
    const TemporaryFolder folder;
    writeFile(folder.path() / "velq.1", velq({"--generate", "man"}).out);
    const CommandResult result =
        runProgram("groff", {"-man", "-ww", "-Tutf8", "-P-c", "-P-b", "-P-u", (folder.path() / "velq.1").string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "") << "groff warns of the manual page";
    return result.out;
}

// What bash offers for a command line whose last word is being typed.
std::set<std::string> completions(const Words &line)
{
    const TemporaryFolder folder;
    writeFile(folder.path() / "velq.bash", velq({"--generate", "bash-completion"}).out);
    std::string script = "source '" + (folder.path() / "velq.bash").string() + "'; COMP_WORDS=(velq";
    for (const std::string &word : line) {
        script += " '" + word + "'";
    }
    script += "); COMP_CWORD=" + std::to_string(line.size()) + "; _velq; printf '%s\\n' \"${COMPREPLY[@]}\"";
    const CommandResult result = runProgram("bash", {"--norc", "-c", script});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const std::vector<std::string> lines = linesOf(result.out);
    std::set<std::string> offered(lines.begin(), lines.end());
    offered.erase("");
    return offered;
}

} // namespace

TEST(cli_help, every_command_is_described_and_ends_with_at_most_eight_examples)
{
    const std::vector<Words> commands = allCommands();
    EXPECT_GE(commands.size(), 24U);
    for (const Words &command : commands) {
        const std::vector<std::string> lines = linesOf(helpOf(command));
        ASSERT_FALSE(lines.empty()) << joined(command);
        EXPECT_GT(lines[0].size(), 10U) << joined(command);
        EXPECT_TRUE(lines[1].starts_with("Usage: velq " + joined(command) + " ")) << lines[1];
        const auto heading =
            std::ranges::find_if(lines, [](const std::string &line) { return line.starts_with("Example"); });
        ASSERT_NE(heading, lines.end()) << joined(command);
        int examples = 0;
        for (auto line = heading + 1; line != lines.end() && !line->empty(); ++line) {
            EXPECT_TRUE(line->starts_with("  velq ") || line->find("| velq ") != std::string::npos) << *line;
            ++examples;
        }
        EXPECT_GE(examples, 1) << joined(command);
        EXPECT_LE(examples, 8) << joined(command);
    }
}

TEST(cli_manual, page_has_every_command_and_option_and_no_warnings)
{
    const std::string manual = plainManual();
    for (const Words &command : allCommands()) {
        EXPECT_NE(manual.find("velq " + joined(command)), std::string::npos) << joined(command);
        for (const std::string &option : longOptions(helpOf(command))) {
            EXPECT_NE(manual.find(option), std::string::npos) << option;
        }
    }
    for (const char *heading : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "COMMANDS", "EXIT STATUS", "FILES"}) {
        EXPECT_NE(manual.find("\n" + std::string(heading) + "\n"), std::string::npos) << heading;
    }
    EXPECT_EQ(manual.find("--generate"), std::string::npos);
}

TEST(cli_completion, offers_commands_at_each_level)
{
    const auto first = completions({""});
    for (const char *command : {"init", "rate", "mark", "list", "update", "versions", "explain"}) {
        EXPECT_TRUE(first.contains(command)) << command;
    }
    EXPECT_EQ(completions({"ver"}), std::set<std::string>{"versions"});
    EXPECT_EQ(completions({"list", "b"}), std::set<std::string>{"black"});
    EXPECT_EQ(completions({"list", "white", "im"}), std::set<std::string>{"import"});
    EXPECT_EQ(completions({"mark", "h"}), std::set<std::string>{"ham"});
}

TEST(cli_completion, offers_the_options_of_the_command)
{
    for (const Words &command : allCommands()) {
        Words line = command;
        line.emplace_back("--");
        const auto offered = completions(line);
        for (const std::string &option : longOptions(helpOf(command))) {
            EXPECT_TRUE(offered.contains(option)) << joined(command) << ' ' << option;
        }
    }
    EXPECT_EQ(completions({"rate", "--install", "x", "--js"}), (std::set<std::string>{"--json", "--json-lines"}));
}

TEST(cli_completion, offers_the_values_of_a_closed_set)
{
    EXPECT_EQ(completions({"evaluate", "--format", ""}), (std::set<std::string>{"tsv", "csv", "jsonl"}));
    EXPECT_EQ(completions({"store", "build", "--format", "c"}), std::set<std::string>{"csv"});
    EXPECT_EQ(completions({"list", "black", "show", "--hidden", ""}), (std::set<std::string>{"any", "0", "1"}));
    EXPECT_EQ(completions({"list", "white", "add", "--hidden", ""}), (std::set<std::string>{"0", "1"}));
}

TEST(cli_completion, leaves_values_to_file_names)
{
    EXPECT_TRUE(completions({"rate", "--install", ""}).empty());
    EXPECT_TRUE(completions({"init", "--store", "a"}).empty());
}

} // namespace velq::test
