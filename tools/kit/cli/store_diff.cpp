// velq store diff: the probability update that turns one token store into another.
#include "kit/base/output.h"
#include "kit/cli/commands.h"
#include "kit/cli/problems.h"
#include "kit/store/probability_update.h"
#include "kit/store/store_check.h"
#include "kit/store/store_form.h"

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

struct DiffOptions {
    std::string before;
    std::string after;
    std::string output;
};

} // namespace

static Json differenceJson(const StoreDifference &difference)
{
    Json json;
    json["rows"] = difference.rows.size();
    json["added"] = difference.added;
    json["changed"] = difference.changed;
    json["zeroed"] = difference.zeroed;
    json["lowered"] = difference.lowered;
    json["changesPrior"] = difference.changesPrior;
    json["deviations"] = problemsJson(difference.deviations);
    return json;
}

static void runDiff(const DiffOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.before, options.after});
    const StoreContents before = readStore(options.before, context.in);
    const StoreContents after = readStore(options.after, context.in);
    checkKeysAreUnique(before, options.before);
    checkKeysAreUnique(after, options.after);
    const StoreDifference difference = differenceOf(before, after);
    writeProbabilityUpdate(options.output, difference.rows);
    if (context.json) {
        context.out << differenceJson(difference).dump() << '\n';
        return;
    }
    printProblems(context.out, difference.deviations);
    context.message(options.output + ": " + plural(difference.added, "row") + " added, " +
                    std::to_string(difference.changed) + " changed, " + std::to_string(difference.zeroed) +
                    " set to 0; the merged store differs from " + options.after + " in " +
                    plural(difference.deviations.size(), "row"));
    if (difference.lowered > 0) {
        context.message(plural(difference.lowered, "row") + " with lower counts: right for " + options.before +
                        " itself; where a store has meanwhile unlearned more than is left, a count wraps");
    }
    if (difference.changesPrior) {
        context.message("the prior changes: programs see it when they load the engine the next time");
    }
}

void addStoreDiff(CLI::App &store, Context &context)
{
    auto options = std::make_shared<DiffOptions>();
    CLI::App *command = addCommand(store, "diff",
                                   "Make the probability update that turns one token store into another, as far as "
                                   "added counts can, and list the rows where they cannot");
    addFileArgument(*command, "OLD", options->before, "The store to start from, prob.bin or text form")->required();
    addFileArgument(*command, "NEW", options->after, "The store to arrive at")->required();
    addFileOption(*command, "-o,--output", options->output, "The update file to write")->required();
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command,
                {"velq store diff old.bin new.bin -o update.db", "velq store diff v1.txt v2.txt -o update.db"});
    command->callback([options, &context] { runDiff(*options, context); });
}

} // namespace velq::kit
