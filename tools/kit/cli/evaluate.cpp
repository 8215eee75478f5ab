// velq evaluate: measures a filter on labelled messages and shows the figures as text, JSON or a page.
#include "kit/base/output.h"
#include "kit/cli/build_options.h"
#include "kit/cli/commands.h"
#include "kit/evaluation/measurement.h"
#include "kit/evaluation/plan.h"
#include "kit/evaluation/report_html.h"
#include "kit/evaluation/report_json.h"
#include "kit/evaluation/report_text.h"

#include <algorithm>

namespace velq::kit {

namespace {

struct EvaluateOptions : EvaluationRequest {
    std::string report;
    std::size_t reportErrors = 500;
};

} // namespace

static std::size_t distinctMethods(const EvaluateOptions &options, bool foldsGiven)
{
    return (foldsGiven ? 1U : 0U) + (options.split.empty() ? 0U : 1U) + (options.test.empty() ? 0U : 1U) +
           (options.store.empty() ? 0U : 1U) + (options.leaveOneSourceOut ? 1U : 0U);
}

static void checkOptions(const EvaluateOptions &options, bool foldsGiven)
{
    if (distinctMethods(options, foldsGiven) > 1) {
        throw Error(Status::usage, "give one of --folds, --leave-one-source-out, --split, --test and --store");
    }
    if (options.randomFolds && distinctMethods(options, false) > 0) {
        throw Error(Status::usage, "--random-folds is only for an evaluation over folds");
    }
    if (options.tradeOff && (options.plain || !options.store.empty())) {
        throw Error(Status::usage, "--trade-off needs stores that are built by their costs: not --plain, not --store");
    }
    if (options.withoutCounts && options.store.empty()) {
        throw Error(Status::usage, "--without-counts needs --store");
    }
    if (options.onlyErrors && options.corrections.empty()) {
        throw Error(Status::usage, "--only-errors needs --corrections");
    }
    if (!std::is_sorted(options.corrections.begin(), options.corrections.end())) {
        throw Error(Status::usage, "--corrections: the numbers must ascend");
    }
}

static Measured measureWithProgress(const EvaluationPlan &plan, const EvaluateOptions &options, Context &context)
{
    Progress progress(context.err, "evaluating", measuringSteps(plan, options), context.progress());
    MeasureOptions how;
    how.mostErrors = options.report.empty() ? 0 : options.reportErrors;
    how.progress = [&progress](std::uint64_t done, std::uint64_t) { progress.reached(done); };
    return measure(plan, options, how, context.in);
}

static void runEvaluate(const EvaluateOptions &options, bool foldsGiven, Context &context)
{
    checkOptions(options, foldsGiven);
    std::vector<std::string> inputs = options.corpora;
    inputs.insert(inputs.end(), {options.test, options.store});
    checkNotAnInput(options.report, inputs);
    const EvaluationPlan plan = makePlan(options, context.in);
    const Measured measured = measureWithProgress(plan, options, context);
    if (!options.report.empty()) {
        writeTextFile(options.report, reportPage(plan, measured));
    }
    if (context.json) {
        context.out << reportJson(plan, measured).dump() << '\n';
    } else {
        printReport(context.out, plan, measured);
    }
    if (measured.result.disagreements > 0) {
        context.message("the scores do not follow the engine's ratings in " +
                        std::to_string(measured.result.disagreements) + " messages; please report this");
    }
}

static void addMethodOptions(CLI::App &command, EvaluateOptions &options)
{
    command.add_flag("--random-folds", options.randomFolds,
                     "Folds that do not keep near-duplicates together; their figures flatter");
    command.add_flag(
        "--leave-one-source-out", options.leaveOneSourceOut,
        "Test each file with a store built from the others, which is what messages from a new source will meet");
    refuseEmpty(
        addTextOption(command, "--split", "first:N", options.split, "Train on the first N messages, test on the rest"));
    addFileOption(command, "--test", options.test, "Train on the corpora, test on this file");
    addFileOption(command, "--store", options.store, "Test this store, prob.bin or text form, instead of building one");
    command.add_flag("--without-counts", options.withoutCounts, "Start from the store's tokens without their counts");
    addBuildRuleOptions(command, options.rules);
    command.add_flag("--trade-off", options.tradeOff,
                     "Show BH against SC over the cost of blocked ham; builds five more stores of each part");
    addWrittenOptions(command, options.written);
    command.add_flag("--plain", options.plain, "Build stores as velq store build --plain does");
    addCountOption(command, "--seed", options.seed, "Seed of the folds, the stores and the corrections (1)");
    addCountsOption(
        command, "--corrections", options.corrections,
        "Learning curve: the error on the rest after so many messages were corrected, such as 0,10,100; over "
        "folds, in each of them");
    command.add_flag("--only-errors", options.onlyErrors, "Correct only messages that were rated wrongly");
}

void addEvaluateCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<EvaluateOptions>();
    CLI::App *command =
        root.add_subcommand("evaluate", "Measure on labelled messages, with the engine itself, how well a filter does");
    addFileArgument(*command, "CORPUS", options->corpora, "Files of labelled messages; - is standard input")
        ->required();
    const CLI::Option *folds = addCountOption(
        *command, "--folds", options->folds,
        "Test on N stratified folds, each with a store built from the others (5); near-duplicates stay in one fold");
    addMethodOptions(*command, *options);
    addFileOption(*command, "--report", options->report, "Write a page with charts and the errors' texts")
        ->type_name("FILE.html");
    addCountOption(*command, "--report-errors", options->reportErrors, "Errors of each kind shown on the page (500)");
    addFormatOption(*command, options->format);
    addRawFlag(*command, options->form);
    command->add_flag("--rate-raw", options->rateRaw,
                      "Test texts as they are, on stores built as they are without --raw");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq evaluate en.tsv", "velq evaluate --leave-one-source-out en_*.tsv",
                           "velq evaluate --plain --folds 10 --seed 7 en.tsv zh.tsv",
                           "velq evaluate --split first:2000 en.tsv --json",
                           "velq evaluate --test new.tsv old.tsv --report report.html",
                           "velq evaluate --store prob.bin en.tsv --corrections 0,10,100,1000"});
    command->callback([options, folds, &context] { runEvaluate(*options, folds->count() > 0, context); });
}

} // namespace velq::kit
