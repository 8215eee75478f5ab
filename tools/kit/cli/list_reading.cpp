// velq list show, count, export: reads the lists.
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/list.h"
#include "kit/engine/number_file.h"

#include <nlohmann/json.hpp>
#include <sstream>

namespace velq::kit {

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

void addListReading(CLI::App &list, const SharedListOptions &options, Context &context)
{
    CLI::App *command = addListAction(list, "show", "Print the entries", options, context, show);
    addHiddenFilter(*command, *options);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {listExample(options, "show --install ~/filter"),
                           listExample(options, "show --install ~/filter --json")});

    command = addListAction(list, "count", "Print the number of entries", options, context, count);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {listExample(options, "count --install ~/filter")});

    command = addListAction(list, "export", "Write the entries as CSV", options, context, exportEntries);
    addFileArgument(*command, "FILE", options->file, "The file to write; standard output without one");
    addHiddenFilter(*command, *options);
    addQuietFlag(*command, context);
    addExamples(*command, {listExample(options, "export --install ~/filter numbers.csv"),
                           listExample(options, "export --install ~/filter --hidden 0 | sort")});
}

} // namespace velq::kit
