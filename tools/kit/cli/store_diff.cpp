// velq store diff: the probability update that turns one token store into another.
#include "kit/base/output.h"
#include "kit/cli/commands.h"
#include "kit/cli/problems.h"
#include "kit/store/additive_update.h"
#include "kit/store/store_check.h"
#include "kit/store/store_form.h"

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

struct DiffOptions {
    std::string before;
    std::string after;
    std::string output;
    std::string merged;
    std::string standIns;
    bool exact = false;
};

} // namespace

static Json differenceJson(const StoreDifference &difference)
{
    Json json;
    json["rows"] = difference.rows.size();
    json["added"] = difference.added;
    json["changed"] = difference.changed;
    json["neutral"] = difference.neutral;
    json["standIns"] = difference.standIns;
    json["factor"] = difference.factor;
    json["heavier"] = difference.heavier;
    json["zeroed"] = difference.zeroed;
    json["lowered"] = difference.lowered;
    json["changesPrior"] = difference.changesPrior;
    json["deviations"] = problemsJson(difference.deviations);
    return json;
}

static std::string summary(const DiffOptions &options, const StoreDifference &difference)
{
    return options.output + ": " + plural(difference.added, "row") + " added, " + std::to_string(difference.changed) +
           " changed, " +
           (options.exact ? std::to_string(difference.zeroed) + " set to 0"
                          : std::to_string(difference.neutral) + " made neutral, " +
                                std::to_string(difference.standIns) + " stand in for others") +
           "; the merged store differs from " + options.after + " in " + plural(difference.deviations.size(), "row");
}

static void sayWhatToKnow(const DiffOptions &options, const StoreDifference &difference, Context &context)
{
    if (difference.factor > 1) {
        context.message("all counts of " + options.after + " are multiplied by " + std::to_string(difference.factor) +
                        ", or else most tokens could not keep their shares; a correction weighs that much less");
    }
    if (difference.heavier > 0) {
        context.message(plural(difference.heavier, "token") + " with more counts than their share, since a lean can be "
                                                              "changed by adding only; corrections move them less");
    }
    if (difference.lowered > 0) {
        context.message(plural(difference.lowered, "row") + " with lower counts: right for " + options.before +
                        " itself; where a store has meanwhile unlearned more than is left, a count wraps to about 4 "
                        "billion, and tokens at 0 become full spam tokens with the first spam that holds them");
    }
    if (difference.changesPrior) {
        context.message("the prior changes: programs see it when they load the engine the next time");
    }
}

static void runDiff(const DiffOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.before, options.after, options.standIns});
    checkNotAnInput(options.merged, {options.before, options.after, options.standIns});
    const StoreContents before = readStore(options.before, context.in);
    const StoreContents after = readStore(options.after, context.in);
    checkKeysAreUnique(before, options.before);
    checkKeysAreUnique(after, options.after);
    Store standIns;
    if (!options.standIns.empty()) {
        standIns = modelOf(readStore(options.standIns, context.in));
    }
    const StoreDifference difference =
        options.exact ? differenceOf(before, after) : additionsBetween(before, after, standIns);
    writeProbabilityUpdate(options.output, difference.rows);
    if (!options.merged.empty()) {
        writeStore(options.merged, merged(before, difference.rows), isTextFormName(options.merged));
    }
    if (context.json) {
        context.out << differenceJson(difference).dump() << '\n';
        return;
    }
    printProblems(context.out, difference.deviations);
    context.message(summary(options, difference));
    sayWhatToKnow(options, difference, context);
}

void addStoreDiff(CLI::App &store, Context &context)
{
    auto options = std::make_shared<DiffOptions>();
    CLI::App *command = addCommand(store, "diff",
                                   "Make the probability update that turns one token store into another by adding "
                                   "counts only, and list the rows where that cannot reach it");
    addFileArgument(*command, "OLD", options->before, "The store to start from, prob.bin or text form")->required();
    addFileArgument(*command, "NEW", options->after, "The store to arrive at")->required();
    addFileOption(*command, "-o,--output", options->output, "The update file to write")->required();
    addFileOption(
        *command, "--merged", options->merged,
        "Write the store that the merge makes of OLD as well: the OLD of the next update; a name that ends in "
        ".txt, .text or .tsv means text form");
    CLI::Option *standIns = addFileOption(
        *command, "--stand-ins", options->standIns,
        "What the tokens that NEW lacks shall carry, made by velq store stand-ins; without it they become "
        "neutral");
    CLI::Option *exact = command->add_flag(
        "--exact", options->exact,
        "Reach the counts of NEW themselves, by sums that wrap. Dangerous: a store that has unlearned "
        "since OLD, or merges the file twice, gets counts near 4 billion, and a token that NEW lacks is "
        "left at 0, so that the first spam with it makes it a full spam token");
    exact->excludes(standIns);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store diff old.bin new.bin -o update.db", "velq store diff v1.txt v2.txt -o update.db",
                           "velq store diff old.bin new.bin -o update.db --merged next-old.bin"});
    command->callback([options, &context] { runDiff(*options, context); });
}

} // namespace velq::kit
