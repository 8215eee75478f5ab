// velq list: reads and edits the black and the white list.
#include "kit/base/input.h"
#include "kit/base/output.h"
#include "kit/cli/commands.h"
#include "kit/engine/installation.h"
#include "kit/engine/number_list.h"

#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

namespace velq::kit {

namespace {

// The options of all actions; each registers those that it takes.
struct ListOptions {
    const ListCalls *calls = nullptr;
    std::string install;
    ListEntry entry;
    std::string hidden = "any";
    std::optional<std::int32_t> uid;
    std::optional<std::int32_t> extendID;
    std::string file;
    bool batch = false;
};

using Options = std::shared_ptr<ListOptions>;
using Action = void (*)(const ListOptions &, Context &);

} // namespace

static std::int32_t hiddenFilter(const ListOptions &options)
{
    return options.hidden == "any" ? VELQ_HIDDEN_ANY : options.hidden == "1" ? 1 : 0;
}

static std::string listTitle(const ListOptions &options)
{
    return std::string("the ") + options.calls->name + " list";
}

static void show(const ListOptions &options, Context &context)
{
    const Engine engine{Installation(options.install)};
    const std::vector<ListEntry> entries = readList(engine, *options.calls, hiddenFilter(options));
    if (context.json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const ListEntry &entry : entries) {
            list.push_back({{"number", entry.number},
                            {"name", entry.name},
                            {"hidden", entry.hidden},
                            {"extendID", entry.extendID},
                            {"uid", entry.uid}});
        }
        context.out << list.dump(2) << '\n';
        return;
    }
    context.out << "uid\tnumber\thidden\textendID\tname\n";
    for (const ListEntry &entry : entries) {
        context.out << entry.uid << '\t' << oneLine(entry.number) << '\t' << entry.hidden << '\t' << entry.extendID
                    << '\t' << oneLine(entry.name) << '\n';
    }
}

static void add(const ListOptions &options, Context &context)
{
    if (const std::string fault = entryFault(options.entry); !fault.empty()) {
        throw Error(Status::usage, "cannot add " + options.entry.number + ": " + fault);
    }
    const Engine engine{Installation(options.install)};
    const std::int32_t before = countList(engine, *options.calls);
    addEntry(engine, *options.calls, options.entry);
    const bool added = countList(engine, *options.calls) > before;
    context.message(options.entry.number + (added ? " added to " : " was already on ") + listTitle(options));
}

static void reportRemoved(const ListOptions &options, Context &context, std::int32_t before, std::int32_t after)
{
    context.message(std::to_string(before - after) + " taken off " + listTitle(options) + ", " + std::to_string(after) +
                    " left");
}

static void remove(const ListOptions &options, Context &context)
{
    const int ways = (options.entry.number.empty() ? 0 : 1) + (options.uid ? 1 : 0) + (options.extendID ? 1 : 0);
    if (ways != 1) {
        throw Error(Status::usage,
                    std::string(ways == 0 ? "nothing to remove by" : "only one can be given to remove by") +
                        "; give either a NUMBER, --uid or --extend-id");
    }
    if (options.entry.number.size() > VELQ_MAX_NUMBER_LENGTH) {
        throw Error(Status::usage, "the number is longer than 29 characters; no entry has such a number");
    }
    const Engine engine{Installation(options.install)};
    const std::int32_t before = countList(engine, *options.calls);
    if (options.uid) {
        engine.check(options.calls->deleteByUid(*options.uid), "removing from " + listTitle(options) + " failed");
    } else if (options.extendID) {
        engine.check(options.calls->deleteByExtendID(*options.extendID),
                     "removing from " + listTitle(options) + " failed");
    } else {
        removeNumber(engine, *options.calls, options.entry.number);
    }
    reportRemoved(options, context, before, countList(engine, *options.calls));
}

static void clear(const ListOptions &options, Context &context)
{
    const Engine engine{Installation(options.install)};
    const std::int32_t before = countList(engine, *options.calls);
    engine.check(options.calls->removeAll(hiddenFilter(options)), "clearing " + listTitle(options) + " failed");
    reportRemoved(options, context, before, countList(engine, *options.calls));
}

static void count(const ListOptions &options, Context &context)
{
    const Engine engine{Installation(options.install)};
    const std::int32_t entries = countList(engine, *options.calls);
    if (context.json) {
        context.out << nlohmann::ordered_json{{"count", entries}} << '\n';
    } else {
        context.out << entries << '\n';
    }
}

static void importEntries(const ListOptions &options, Context &context)
{
    InputFile input(options.file, context.in);
    const std::vector<ListEntry> entries = readEntries(input.stream(), input.name());
    const Engine engine{Installation(options.install)};
    const std::int32_t before = countList(engine, *options.calls);
    if (options.batch) {
        addWhiteBatch(engine, entries);
    } else {
        Progress progress(context.err, "importing", entries.size(), context.progress());
        for (std::size_t i = 0; i < entries.size(); ++i) {
            addEntry(engine, *options.calls, entries[i]);
            progress.reached(i + 1);
        }
    }
    const std::int32_t added = countList(engine, *options.calls) - before;
    if (context.json) {
        context.out << nlohmann::ordered_json{{"rows", entries.size()}, {"added", added}} << '\n';
    }
    context.message(std::to_string(added) + " of " + plural(entries.size(), "number") + " added to " +
                    listTitle(options));
}

static void exportEntries(const ListOptions &options, Context &context)
{
    const Installation installation(options.install);
    std::vector<std::string> dataFiles;
    dataFiles.reserve(dataFileNames.size());
    for (const std::string_view name : dataFileNames) {
        dataFiles.push_back(installation.dataFile(name).string());
    }
    checkNotAnInput(options.file, dataFiles);
    const Engine engine{installation};
    const std::vector<ListEntry> entries = readList(engine, *options.calls, hiddenFilter(options));
    if (options.file.empty() || options.file == "-") {
        writeEntries(context.out, entries);
        return;
    }
    std::ostringstream text;
    writeEntries(text, entries);
    writeTextFile(options.file, text.str());
    context.message(plural(entries.size(), "number") + " written to " + options.file);
}

// ---- The table

static CLI::App *addAction(CLI::App &list, const char *name, const char *description, const Options &options,
                           Context &context, Action action)
{
    CLI::App *command = list.add_subcommand(name, description);
    addInstallOption(*command, options->install);
    command->callback([options, &context, action] { action(*options, context); });
    return command;
}

static void addHiddenFilter(CLI::App &command, ListOptions &options)
{
    command.add_option("--hidden", options.hidden, "Only entries with this hidden flag: 0, 1 or any")
        ->check(CLI::IsMember({"any", "0", "1"}))
        ->type_name("FLAG");
}

static std::string example(const Options &options, const char *rest)
{
    return std::string("velq list ") + options->calls->name + " " + rest;
}

static void addReadingActions(CLI::App &list, const Options &options, Context &context)
{
    CLI::App *command = addAction(list, "show", "Print the entries", options, context, show);
    addHiddenFilter(*command, *options);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command,
                {example(options, "show --install ~/filter"), example(options, "show --install ~/filter --json")});

    command = addAction(list, "count", "Print the number of entries", options, context, count);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {example(options, "count --install ~/filter")});

    command = addAction(list, "export", "Write the entries as CSV", options, context, exportEntries);
    command->add_option("FILE", options->file, "The file to write; standard output without one")->type_name(" ");
    addHiddenFilter(*command, *options);
    addQuietFlag(*command, context);
    addExamples(*command, {example(options, "export --install ~/filter numbers.csv"),
                           example(options, "export --install ~/filter --hidden 0 | sort")});
}

static void addWritingActions(CLI::App &list, const Options &options, Context &context)
{
    CLI::App *command = addAction(list, "add", "Add a number; takes it off the other list", options, context, add);
    command->add_option("NUMBER", options->entry.number, "The number as displayed, at most 29 characters")
        ->required()
        ->type_name(" ");
    command->add_option("--name", options->entry.name, "Display name, at most 29 UTF-16 units")->type_name("NAME");
    command->add_option("--hidden", options->entry.hidden, "Flag stored with the entry: 0 or 1")
        ->check(CLI::IsMember({0, 1}))
        ->type_name("FLAG");
    command->add_option("--extend-id", options->entry.extendID, "Link value stored with the entry")->type_name("ID");
    addQuietFlag(*command, context);
    addExamples(*command, {example(options, "add --install ~/filter +8613912345678 --name 'Wang Fang'")});

    command = addAction(list, "remove", "Remove every entry that matches a number, or entries by identifier", options,
                        context, remove);
    command->add_option("NUMBER", options->entry.number, "The number; the last 11 characters decide")->type_name(" ");
    command->add_option("--uid", options->uid, "The identifier that show prints")->type_name("UID");
    command->add_option("--extend-id", options->extendID, "The link value")->type_name("ID");
    addQuietFlag(*command, context);
    addExamples(*command, {example(options, "remove --install ~/filter 13912345678"),
                           example(options, "remove --install ~/filter --uid 7")});

    command = addAction(list, "clear", "Remove all entries", options, context, clear);
    addHiddenFilter(*command, *options);
    addQuietFlag(*command, context);
    addExamples(*command, {example(options, "clear --install ~/filter --hidden 1")});

    command = addAction(
        list, "import",
        "Add the numbers of a CSV file with the columns number, name, hidden, extendID; takes them off the other list",
        options, context, importEntries);
    command->add_option("FILE", options->file, "The file, - for standard input; all but number may be missing")
        ->required()
        ->type_name(" ");
    if (options->calls == &whiteListCalls) {
        command->add_flag("--batch", options->batch, "All or none, in one step, without a look at what the lists hold");
    }
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {example(options, "import --install ~/filter numbers.csv")});
}

void addListCommand(CLI::App &root, Context &context)
{
    CLI::App *command = root.add_subcommand("list", "Read and edit the black and the white list");
    command->require_subcommand(1);
    addExamples(*command,
                {"velq list black add --install ~/filter 13912345678", "velq list white show --install ~/filter",
                 "velq list white import --install ~/filter contacts.csv"});
    for (const ListCalls *calls : {&blackListCalls, &whiteListCalls}) {
        CLI::App *list = command->add_subcommand(calls->name, std::string("The ") + calls->name + " list: senders " +
                                                                  (calls == &blackListCalls ? "blocked" : "trusted"));
        list->require_subcommand(1);
        const auto options = std::make_shared<ListOptions>();
        options->calls = calls;
        addReadingActions(*list, options, context);
        addWritingActions(*list, options, context);
    }
}

} // namespace velq::kit
