// velq evaluate: measures a filter on labelled messages and shows the figures as text, JSON or a page.
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/evaluation/evaluation.h"
#include "kit/evaluation/report_html.h"
#include "kit/learning/plain.h"
#include "kit/learning/store_builder.h"
#include "kit/messages/corpus.h"
#include "kit/messages/sampling.h"
#include "kit/store/store_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

struct EvaluateOptions {
    std::vector<std::string> corpora;
    CorpusFormat format = CorpusFormat::byName;
    std::size_t folds = 5;
    std::string split;
    std::string test;
    std::string store;
    bool withoutCounts = false;
    bool plain = false;
    std::uint64_t seed = 1;
    std::vector<std::uint64_t> corrections;
    bool onlyErrors = false;
    std::string report;
    std::size_t reportErrors = 500;
};

// What is measured on what.
struct EvaluationPlan {
    std::vector<std::string> corpora; // names of the files
    std::vector<TestMessage> messages;
    std::vector<Split> splits;
    std::string method; // one sentence
};

struct Measured {
    EvaluationResult result;
    std::vector<std::size_t> tokens; // of each part's store
    std::vector<CurvePoint> curve;
};

} // namespace

// ---- Reading and planning ----

static void readMessages(EvaluationPlan &plan, const std::string &file, const EvaluateOptions &options,
                         Context &context)
{
    const auto corpus = static_cast<std::uint32_t>(plan.corpora.size());
    plan.corpora.push_back(file);
    readCorpus(file, options.format, context.in, [&](LabelledMessage &&message) {
        plan.messages.push_back(
            {message.label == Label::spam, utf16FromUtf8(message.text).value_or(u""), corpus, message.line});
    });
}

static std::size_t trainingCountOf(const std::string &split)
{
    constexpr std::string_view prefix = "first:";
    std::size_t count = 0;
    const char *end = split.data() + split.size();
    if (!split.starts_with(prefix) ||
        std::from_chars(split.data() + prefix.size(), end, count) != std::from_chars_result{end, std::errc()} ||
        count == 0) {
        throw Error(Status::usage, "--split " + split +
                                       ": expected first:N with a number of messages, such as "
                                       "first:1000");
    }
    return count;
}

static std::vector<std::uint32_t> strataOf(const std::vector<TestMessage> &messages)
{
    std::vector<std::uint32_t> strata;
    strata.reserve(messages.size());
    for (const TestMessage &message : messages) {
        strata.push_back(2 * message.corpus + (message.spam ? 1 : 0));
    }
    return strata;
}

static std::size_t distinctMethods(const EvaluateOptions &options, bool foldsGiven)
{
    return (foldsGiven ? 1U : 0U) + (options.split.empty() ? 0U : 1U) + (options.test.empty() ? 0U : 1U) +
           (options.store.empty() ? 0U : 1U);
}

static void planFolds(EvaluationPlan &plan, const EvaluateOptions &options)
{
    if (options.folds < 2 || options.folds > plan.messages.size()) {
        throw Error(Status::usage, "--folds " + std::to_string(options.folds) +
                                       ": expected at least 2 and at most the " + std::to_string(plan.messages.size()) +
                                       " messages");
    }
    plan.splits = stratifiedFolds(strataOf(plan.messages), options.folds, options.seed);
    plan.method = std::to_string(options.folds) + " stratified folds, seed " + std::to_string(options.seed);
}

static EvaluationPlan makePlan(const EvaluateOptions &options, Context &context)
{
    EvaluationPlan plan;
    for (const std::string &corpus : options.corpora) {
        readMessages(plan, corpus, options, context);
    }
    const std::size_t given = plan.messages.size();
    if (given == 0) {
        throw Error(Status::badData, "no messages to evaluate on in " + plan.corpora.front());
    }
    if (!options.store.empty()) {
        plan.splits = {splitAfter(given, 0)};
        plan.method = "the store " + options.store + (options.withoutCounts ? " without its counts" : "");
    } else if (!options.test.empty()) {
        readMessages(plan, options.test, options, context);
        if (plan.messages.size() == given) {
            throw Error(Status::badData, "no messages to test on in " + options.test);
        }
        plan.splits = {splitAfter(plan.messages.size(), given)};
        plan.method = "trained on " + std::to_string(given) + " messages, tested on " + options.test;
    } else if (!options.split.empty()) {
        const std::size_t training = trainingCountOf(options.split);
        plan.splits = {splitAfter(given, training)};
        plan.method =
            "trained on the first " + std::to_string(std::min(training, given)) + " messages, tested on the rest";
    } else {
        planFolds(plan, options);
    }
    if (plan.splits.front().test.empty()) {
        throw Error(Status::badData, "no messages are left to test on; train on fewer than " + std::to_string(given));
    }
    return plan;
}

// ---- Measuring ----

static StoreContents buildFor(const EvaluationPlan &plan, const Split &split, const EvaluateOptions &options)
{
    if (options.plain) {
        return contentsOf(buildPlainStore([&](const MessageTaker &take) {
            for (const std::size_t index : split.training) {
                take({plan.messages[index].spam, plan.messages[index].text});
            }
        }));
    }
    TrainingSet training(options.seed);
    for (const std::size_t index : split.training) {
        training.add(plan.messages[index].spam, plan.messages[index].text);
    }
    return contentsOf(buildStore(training));
}

static std::vector<CurvePoint> measureCurve(const EvaluationPlan &plan, const StoreContents &store,
                                            const EvaluateOptions &options)
{
    std::vector<const TestMessage *> messages;
    for (const std::size_t index : plan.splits.front().test) {
        messages.push_back(&plan.messages[index]);
    }
    return learningCurve(store, messages, {options.corrections, options.onlyErrors, options.seed});
}

static Measured measure(const EvaluationPlan &plan, const EvaluateOptions &options, Context &context)
{
    Measured measured;
    StoreContents store;
    Progress progress(context.err, "evaluating", 3 * plan.splits.size(), context.progress());
    EvaluationOptions how;
    how.corpora = plan.corpora.size();
    how.mostErrors = options.report.empty() ? 0 : options.reportErrors;
    how.progress = [&progress](std::uint64_t done, std::uint64_t) { progress.reached(done); };
    const auto nextPart = [&](std::size_t part) {
        const Split &split = plan.splits[part];
        store = options.store.empty() ? buildFor(plan, split, options) : readStore(options.store, context.in);
        if (options.withoutCounts) {
            store = withoutCounts(store);
        }
        measured.tokens.push_back(modelOf(store).tokens.size());
        return EvaluationPart{store, split.test, split.training};
    };
    measured.result = evaluate(plan.messages, plan.splits.size(), nextPart, how);
    if (!options.corrections.empty()) {
        measured.curve = measureCurve(plan, store, options);
    }
    return measured;
}

// ---- JSON ----

static Json classJson(const ClassCounts &counts)
{
    return {{"ratedSpam", counts.ratedSpam},
            {"ratedHam", counts.ratedHam},
            {"ratedUnsure", counts.ratedUnsure},
            {"all", counts.total()}};
}

static constexpr std::array<NamedFigure, 10> jsonFigures = {{{"accuracy", &Metrics::accuracy},
                                                             {"SC", &Metrics::spamCaught},
                                                             {"BH", &Metrics::hamBlocked},
                                                             {"precision", &Metrics::precision},
                                                             {"recall", &Metrics::recall},
                                                             {"F1", &Metrics::f1},
                                                             {"MCC", &Metrics::mcc},
                                                             {"unsure", &Metrics::unsure},
                                                             {"unsureSpam", &Metrics::unsureSpam},
                                                             {"unsureHam", &Metrics::unsureHam}}};

static Json metricsJson(const Metrics &metrics)
{
    Json json;
    for (const auto &[name, figure] : jsonFigures) {
        json[name] = metrics.*figure;
    }
    return json;
}

static Json countsJson(const ConfusionCounts &counts)
{
    Json metrics = metricsJson(metricsOf(counts));
    for (const auto &[name, figure] : jsonFigures) {
        if (!isDefined(counts, figure)) {
            metrics[name] = nullptr;
        }
    }
    return {{"spam", classJson(counts.spam)}, {"ham", classJson(counts.ham)}, {"metrics", std::move(metrics)}};
}

static std::vector<Metrics> metricsOfAll(const std::vector<ConfusionCounts> &parts)
{
    std::vector<Metrics> metrics;
    metrics.reserve(parts.size());
    for (const ConfusionCounts &counts : parts) {
        metrics.push_back(metricsOf(counts));
    }
    return metrics;
}

static Json runJson(const EvaluationPlan &plan, const EvaluationResult &result, const RunResult &run)
{
    Json json = countsJson(run.all);
    json["newTexts"] = result.trainingKnown ? countsJson(run.unseen) : Json(nullptr);
    json["messagesPerSecond"] = run.messagesPerSecond();
    const std::vector<Metrics> parts = metricsOfAll(run.parts);
    json["mean"] = metricsJson(meanOf(parts));
    json["deviation"] = metricsJson(deviationOf(parts));
    json["parts"] = Json::array();
    for (const ConfusionCounts &counts : run.parts) {
        json["parts"].push_back(countsJson(counts));
    }
    json["corpora"] = Json::array();
    for (std::size_t i = 0; i < run.corpora.size(); ++i) {
        Json corpus = countsJson(run.corpora[i]);
        corpus["file"] = plan.corpora[i];
        json["corpora"].push_back(std::move(corpus));
    }
    return json;
}

static Json measuredJson(const EvaluationPlan &plan, const Measured &measured)
{
    const EvaluationResult &result = measured.result;
    Json json;
    json["method"] = plan.method;
    json["messages"] = {{"spam", result.trainingOff.all.spam.total()}, {"ham", result.trainingOff.all.ham.total()}};
    json["tokens"] = measured.tokens;
    json["textsSeenInTraining"] = result.trainingKnown ? Json(result.seenTexts) : Json(nullptr);
    json["trainingOff"] = runJson(plan, result, result.trainingOff);
    json["trainingOn"] = runJson(plan, result, result.trainingOn);
    json["areaUnderRoc"] = areaUnder(rocCurve(result.scores));
    json["scoreDisagreements"] = result.disagreements;
    json["corrections"] = Json::array();
    for (const CurvePoint &point : measured.curve) {
        Json entry = countsJson(point.counts);
        entry["asked"] = point.asked;
        entry["made"] = point.made;
        entry["messagesRead"] = point.read;
        entry["error"] = 1 - metricsOf(point.counts).accuracy;
        json["corrections"].push_back(std::move(entry));
    }
    return json;
}

// ---- Text ----

static std::string percentText(double share)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << 100 * share << " %";
    return text.str();
}

static std::string ratioText(double value)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(4) << value;
    return text.str();
}

static void printRow(std::ostream &out, const std::string &title, const std::vector<std::string> &cells)
{
    out << std::left << std::setw(18) << title << std::right;
    for (const std::string &cell : cells) {
        out << std::setw(16) << cell;
    }
    out << '\n';
}

static void printConfusion(std::ostream &out, const std::string &title, const ConfusionCounts &counts)
{
    printRow(out, title, {"rated spam", "rated ham", "unsure", "all"});
    for (const bool spam : {true, false}) {
        const ClassCounts &row = spam ? counts.spam : counts.ham;
        printRow(out, spam ? "  spam" : "  ham",
                 {std::to_string(row.ratedSpam), std::to_string(row.ratedHam), std::to_string(row.ratedUnsure),
                  std::to_string(row.total())});
    }
    out << '\n';
}

// A column of figures. Those of counts show a figure without a denominator as a dash.
struct NamedMetrics {
    NamedMetrics(const char *title, const Metrics &figures) : name(title), metrics(figures) {}
    NamedMetrics(const char *title, const ConfusionCounts &from) : name(title), metrics(metricsOf(from)), counts(from)
    {
    }

    std::string text(double Metrics::*figure) const
    {
        if (counts && !isDefined(*counts, figure)) {
            return "-";
        }
        return figure == &Metrics::mcc ? ratioText(metrics.*figure) : percentText(metrics.*figure);
    }

    const char *name;
    Metrics metrics;
    std::optional<ConfusionCounts> counts;
};

static void printMetrics(std::ostream &out, const std::vector<NamedMetrics> &columns)
{
    std::vector<std::string> cells;
    cells.reserve(columns.size());
    for (const NamedMetrics &column : columns) {
        cells.emplace_back(column.name);
    }
    printRow(out, "", cells);
    for (const auto &[name, field] : shownFigures) {
        cells.clear();
        for (const NamedMetrics &column : columns) {
            cells.push_back(column.text(field));
        }
        printRow(out, name, cells);
    }
}

static void printFolds(std::ostream &out, const EvaluationResult &result)
{
    if (result.trainingOff.parts.size() < 2) {
        return;
    }
    const std::vector<Metrics> off = metricsOfAll(result.trainingOff.parts);
    const std::vector<Metrics> on = metricsOfAll(result.trainingOn.parts);
    out << "\nover the folds (deviation of just these folds: divided by their number)\n";
    printMetrics(out, {{"mean, off", meanOf(off)},
                       {"deviation, off", deviationOf(off)},
                       {"mean, on", meanOf(on)},
                       {"deviation, on", deviationOf(on)}});
}

static void printCorpora(std::ostream &out, const EvaluationPlan &plan, const EvaluationResult &result)
{
    if (plan.corpora.size() < 2) {
        return;
    }
    for (std::size_t i = 0; i < plan.corpora.size(); ++i) {
        if (result.trainingOff.corpora[i].total() > 0) {
            out << '\n' << plan.corpora[i] << '\n';
            printMetrics(
                out, {{"training off", result.trainingOff.corpora[i]}, {"training on", result.trainingOn.corpora[i]}});
        }
    }
}

static void printCurve(std::ostream &out, const std::vector<CurvePoint> &curve)
{
    if (curve.empty()) {
        return;
    }
    out << '\n';
    printRow(out, "corrections", {"error", "SC", "BH", "MCC", "unsure"});
    for (const CurvePoint &point : curve) {
        const Metrics metrics = metricsOf(point.counts);
        const std::string short_ = point.made < point.asked ? " of " + std::to_string(point.asked) : "";
        printRow(out, std::to_string(point.made) + short_,
                 {percentText(1 - metrics.accuracy), percentText(metrics.spamCaught), percentText(metrics.hamBlocked),
                  ratioText(metrics.mcc), percentText(metrics.unsure)});
    }
}

static std::string messagesPerSecondText(const RunResult &run)
{
    return std::to_string(static_cast<std::uint64_t>(run.messagesPerSecond()));
}

static void printMeasured(std::ostream &out, const EvaluationPlan &plan, const Measured &measured)
{
    const EvaluationResult &result = measured.result;
    out << plan.method << "\n\n";
    printConfusion(out, "training off", result.trainingOff.all);
    printConfusion(out, "training on", result.trainingOn.all);
    std::vector<NamedMetrics> columns = {{"training off", result.trainingOff.all},
                                         {"training on", result.trainingOn.all}};
    if (result.trainingKnown) {
        columns.emplace_back("off, new texts", result.trainingOff.unseen);
        columns.emplace_back("on, new texts", result.trainingOn.unseen);
    }
    printMetrics(out, columns);
    printRow(out, "messages a second",
             {messagesPerSecondText(result.trainingOff), messagesPerSecondText(result.trainingOn)});
    printRow(out, "area under ROC", {ratioText(areaUnder(rocCurve(result.scores)))});
    if (result.trainingKnown) {
        out << "new texts: without " << result.seenTexts << " whose text also stands in the training part\n";
    }
    printFolds(out, result);
    printCorpora(out, plan, result);
    printCurve(out, measured.curve);
}

// ---- The command ----

static void writeReport(const EvaluateOptions &options, const EvaluationPlan &plan, const Measured &measured)
{
    std::string title = "Evaluation of";
    std::vector<std::string> names;
    for (const std::string &corpus : plan.corpora) {
        names.push_back(corpus == "-" ? "standard input" : std::filesystem::path(corpus).filename().string());
        title += (names.size() == 1 ? " " : ", ") + names.back();
    }
    std::size_t tokens = 0;
    for (const std::size_t count : measured.tokens) {
        tokens += count;
    }
    const std::vector<std::string> remarks = {std::to_string(measured.result.trainingOff.all.total()) + " messages; " +
                                              plan.method + "; " + std::to_string(tokens / measured.tokens.size()) +
                                              " tokens in " +
                                              (measured.tokens.size() == 1 ? "the store." : "a store on average.")};
    writeTextFile(options.report, reportPage({title, remarks, names, plan.messages, measured.result, measured.curve}));
}

static void checkOptions(const EvaluateOptions &options, bool foldsGiven)
{
    if (distinctMethods(options, foldsGiven) > 1) {
        throw Error(Status::usage, "give one of --folds, --split, --test and --store");
    }
    if (options.withoutCounts && options.store.empty()) {
        throw Error(Status::usage, "--without-counts needs --store");
    }
    if (!options.corrections.empty() && distinctMethods(options, false) == 0) {
        throw Error(Status::usage, "--corrections needs one store: give --store, --split or --test");
    }
    if (options.onlyErrors && options.corrections.empty()) {
        throw Error(Status::usage, "--only-errors needs --corrections");
    }
    if (!std::is_sorted(options.corrections.begin(), options.corrections.end())) {
        throw Error(Status::usage, "--corrections: the numbers must ascend");
    }
}

static void runEvaluate(const EvaluateOptions &options, bool foldsGiven, Context &context)
{
    checkOptions(options, foldsGiven);
    std::vector<std::string> inputs = options.corpora;
    inputs.insert(inputs.end(), {options.test, options.store});
    checkNotAnInput(options.report, inputs);
    const EvaluationPlan plan = makePlan(options, context);
    const Measured measured = measure(plan, options, context);
    if (!options.report.empty()) {
        writeReport(options, plan, measured);
    }
    if (context.json) {
        context.out << measuredJson(plan, measured).dump() << '\n';
    } else {
        printMeasured(context.out, plan, measured);
    }
    if (measured.result.disagreements > 0) {
        context.message("the scores do not follow the engine's ratings in " +
                        std::to_string(measured.result.disagreements) + " messages; please report this");
    }
}

static void addMethodOptions(CLI::App &command, EvaluateOptions &options)
{
    refuseEmpty(
        addTextOption(command, "--split", "first:N", options.split, "Train on the first N messages, test on the rest"));
    addFileOption(command, "--test", options.test, "Train on the corpora, test on this file");
    addFileOption(command, "--store", options.store, "Test this store, prob.bin or text form, instead of building one");
    command.add_flag("--without-counts", options.withoutCounts, "Start from the store's tokens without their counts");
    command.add_flag("--plain", options.plain, "Build stores as velq store build --plain does");
    addCountOption(command, "--seed", options.seed, "Seed of the folds, the stores and the corrections (1)");
    addCountsOption(command, "--corrections", options.corrections,
                    "Learning curve: the error on the rest after so many messages were corrected, such as 0,10,100");
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
        *command, "--folds", options->folds, "Test on N stratified folds, each with a store built from the others (5)");
    addMethodOptions(*command, *options);
    addFileOption(*command, "--report", options->report, "Write a page with charts and the errors' texts")
        ->type_name("FILE.html");
    addCountOption(*command, "--report-errors", options->reportErrors, "Errors of each kind shown on the page (500)");
    addFormatOption(*command, options->format);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq evaluate en.tsv", "velq evaluate --plain --folds 10 --seed 7 en.tsv zh.tsv",
                           "velq evaluate --split first:2000 en.tsv --json",
                           "velq evaluate --test new.tsv old.tsv --report report.html",
                           "velq evaluate --store prob.bin en.tsv --corrections 0,10,100,1000"});
    command->callback([options, folds, &context] { runEvaluate(*options, folds->count() > 0, context); });
}

} // namespace velq::kit
