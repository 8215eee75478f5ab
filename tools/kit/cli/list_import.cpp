// velq list import: adds the numbers of a file, and says what became of each that was not added.
#include "kit/base/input.h"
#include "kit/base/status.h"
#include "kit/base/wide_text.h"
#include "kit/cli/list.h"
#include "kit/engine/number_file.h"
#include "kit/reading/number_import.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace velq::kit {

static Imported addImported(const ListOptions &options, Context &context, const std::vector<ListEntry> &entries)
{
    const Installation installation(options.install);
    const Engine engine(installation);
    if (options.batch) {
        const std::int32_t before = countList(engine, *options.calls);
        addWhiteBatch(engine, entries);
        return {static_cast<std::size_t>(countList(engine, *options.calls) - before), {}};
    }
    Progress progress(context.err, "importing", entries.size(), context.progress());
    return importNumbers(installation, *options.calls, entries, progress);
}

static std::string placeOf(const std::string &name, const BadRow &row)
{
    return name + ":" + std::to_string(row.line) + ": " + row.why;
}

// All of them in one report: corrected one after the other, each would take a run.
static void refuseBadRows(const std::string &name, const std::vector<BadRow> &bad, Context &context)
{
    if (bad.size() == 1) {
        throw Error(Status::badData, placeOf(name, bad.front()));
    }
    for (const BadRow &row : bad) {
        context.message(placeOf(name, row) + " (" + row.number + ")");
    }
    throw Error(Status::badData,
                std::to_string(bad.size()) + " rows of " + name +
                    " are wrong and nothing was added; correct them or leave them out with --skip-bad");
}

static void reportSkipped(const std::string &name, const std::vector<BadRow> &bad, Context &context)
{
    for (const BadRow &row : bad) {
        context.message("skipped " + placeOf(name, row) + " (" + row.number + ")");
    }
}

// A title that is spelt wrongly would go unseen.
static void reportPassedOver(const std::vector<std::string> &titles, Context &context)
{
    std::string text;
    for (const std::string &title : titles) {
        text += (text.empty() ? "\"" : ", \"") + title + '"';
    }
    if (!titles.empty()) {
        context.message((titles.size() == 1 ? "passed over the column " : "passed over the columns ") + text);
    }
}

static void reportMoved(const ListOptions &options, const std::vector<std::string> &moved, Context &context)
{
    constexpr std::size_t mostShown = 10;
    if (moved.empty()) {
        return;
    }
    std::string text = plural(moved.size(), "number") + " taken off the " + otherList(options).name + " list: ";
    for (std::size_t i = 0; i < std::min(moved.size(), mostShown); ++i) {
        text += (i == 0 ? "" : ", ") + moved[i];
    }
    context.message(text + (moved.size() > mostShown ? ", ..." : ""));
}

static nlohmann::ordered_json reportJson(const NumberFile &file, const Imported &imported)
{
    nlohmann::ordered_json skipped = nlohmann::ordered_json::array();
    for (const BadRow &row : file.bad) {
        skipped.push_back({{"line", row.line}, {"number", row.number}, {"why", row.why}});
    }
    return {{"rows", file.entries.size() + file.bad.size()},
            {"added", imported.added},
            {"movedOff", imported.movedOff},
            {"skipped", skipped}};
}

static void importEntries(const ListOptions &options, Context &context)
{
    InputFile input(options.file, context.in);
    const NumberFile file = readNumbers(input.stream(), input.name(), options.country);
    if (!file.bad.empty() && !options.skipBad) {
        refuseBadRows(input.name(), file.bad, context);
    }
    const Imported imported = addImported(options, context, file.entries);
    if (context.json) {
        context.out << reportJson(file, imported) << '\n';
    }
    reportPassedOver(file.passedOver, context);
    reportSkipped(input.name(), file.bad, context);
    reportMoved(options, imported.movedOff, context);
    context.message(std::to_string(imported.added) + " of " + plural(file.entries.size() + file.bad.size(), "number") +
                    " added to " + listTitle(options));
}

void addListImport(CLI::App &list, const SharedListOptions &options, Context &context)
{
    CLI::App *command =
        addListAction(list, "import",
                      "Add the numbers of a file, all or none; takes them off the other list. The file "
                      "is CSV with the columns number, name, hidden, extendID, an address book's CSV or "
                      "vCard, or one number a line",
                      options, context, importEntries);
    addFileArgument(*command, "FILE", options->file,
                    "The file, - for standard input; in CSV all but number may be missing")
        ->required();
    addCountryOption(*command, options->country);
    command->add_flag("--skip-bad", options->skipBad,
                      "Leave out rows without a number that a list can hold, say which and why, and add the rest");
    if (options->calls == &whiteListCalls) {
        command->add_flag("--batch", options->batch,
                          "Add all or none in one step, without looking at what the lists hold");
    }
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {listExample(options, "import --install ~/filter numbers.csv"),
                           listExample(options, "import --install ~/filter --country GB --skip-bad contacts.vcf")});
}

} // namespace velq::kit
