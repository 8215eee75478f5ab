// velq white-update build: update files of white numbers.
#include "kit/base/input.h"
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/store/white_update.h"

#include <set>

namespace velq::kit {

namespace {

struct WhiteBuildOptions {
    std::string numbers;
    std::string whiteList;
    std::string output;
};

} // namespace

static void runWhiteBuild(const WhiteBuildOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.numbers, options.whiteList});
    InputFile input(options.numbers, context.in);
    const std::vector<WhiteNumber> numbers = readWhiteNumbers(input.stream(), input.name());
    if (numbers.empty()) {
        throw Error(Status::badData, input.name() + ": no numbers; expected rows of number,name");
    }
    std::set<std::string> delivered;
    if (!options.whiteList.empty()) {
        delivered = deliveredNumbers(options.whiteList);
    }
    const WhiteUpdatePlan plan = planWhiteUpdate(numbers, delivered);
    if (plan.known == plan.rows.size()) {
        throw Error(Status::badData, input.name() + ": all numbers are in " + options.whiteList +
                                         " already; the merge needs a new one as the last");
    }
    for (const WhiteNumber &row : plan.repeated) {
        context.message(input.name() + ":" + std::to_string(row.line) + ": number " + utf8FromUtf16(row.number) +
                        " stands above already; left out");
    }
    writeWhiteUpdate(options.output, plan.rows);
    context.message(plural(plan.rows.size(), "number") + " written to " + options.output + ", " +
                    std::to_string(plan.rows.size() - plan.known) + " of them new");
}

void addWhiteUpdateCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<WhiteBuildOptions>();
    CLI::App *group = addCommand(root, "white-update", "Make update files of white numbers");
    group->require_subcommand(1);
    addExamples(*group, {"velq white-update build numbers.csv -o white.db"});
    CLI::App *command =
        addCommand(*group, "build",
                   "Make a white-number update of CSV rows number,name; a row that the merge could not take ends it");
    addFileArgument(*command, "CSV", options->numbers,
                    "Rows of number,name, with or without a header; - is standard input")
        ->required();
    addFileOption(*command, "-o,--output", options->output, "The update file to write")->required();
    addFileOption(*command, "--white-list", options->whiteList,
                  "The wn.bin that the update is for: numbers that it has from updates go first, so that the last is "
                  "new");
    addQuietFlag(*command, context);
    addExamples(*command, {"velq white-update build numbers.csv -o white.db",
                           "velq white-update build numbers.csv --white-list wn.bin -o white.db"});
    command->callback([options, &context] { runWhiteBuild(*options, context); });
}

} // namespace velq::kit
