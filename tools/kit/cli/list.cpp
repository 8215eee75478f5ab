// velq list: the table of its actions on the black and the white list, and what these share.
#include "kit/cli/list.h"

#include "kit/cli/commands.h"

namespace velq::kit {

std::int32_t hiddenFilter(const ListOptions &options)
{
    return options.hidden == "any" ? VELQ_HIDDEN_ANY : options.hidden == "1" ? 1 : 0;
}

std::string listTitle(const ListOptions &options)
{
    return std::string("the ") + options.calls->name + " list";
}

const ListCalls &otherList(const ListOptions &options)
{
    return options.calls == &blackListCalls ? whiteListCalls : blackListCalls;
}

CLI::App *addListAction(CLI::App &list, const char *name, const char *description, const SharedListOptions &options,
                        Context &context, ListAction action)
{
    CLI::App *command = addCommand(list, name, description);
    addInstallOption(*command, options->install);
    command->callback([options, &context, action] { action(*options, context); });
    return command;
}

void addHiddenFilter(CLI::App &command, ListOptions &options)
{
    command.add_option("--hidden", options.hidden, "Only entries with this hidden flag: 0, 1 or any")
        ->check(CLI::IsMember({"any", "0", "1"}))
        ->type_name("FLAG");
}

std::string listExample(const SharedListOptions &options, const char *rest)
{
    return std::string("velq list ") + options->calls->name + " " + rest;
}

void addListCommand(CLI::App &root, Context &context)
{
    CLI::App *command = addCommand(root, "list", "Read and edit the black and the white list");
    command->require_subcommand(1);
    addExamples(*command,
                {"velq list black add --install ~/filter 13912345678", "velq list white show --install ~/filter",
                 "velq list white import --install ~/filter contacts.vcf", "velq list check --install ~/filter"});
    for (const ListCalls *calls : {&blackListCalls, &whiteListCalls}) {
        CLI::App *list = addCommand(*command, calls->name,
                                    std::string("The ") + calls->name + " list: senders " +
                                        (calls == &blackListCalls ? "blocked" : "trusted"));
        list->require_subcommand(1);
        const auto options = std::make_shared<ListOptions>();
        options->calls = calls;
        addListReading(*list, options, context);
        addListEditing(*list, options, context);
        addListImport(*list, options, context);
    }
    addListCheck(*command, context);
}

} // namespace velq::kit
