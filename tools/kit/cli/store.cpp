// velq store: builds, shows, checks, converts and compares token stores.
#include "kit/base/input.h"
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/learning/store_builder.h"
#include "kit/messages/corpus.h"
#include "kit/messages/message_spool.h"
#include "kit/messages/sampling.h"
#include "kit/store/store_file.h"
#include "kit/store/store_text.h"
#include "kit/store/update_file.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

namespace velq::kit {

namespace {

struct StoreOptions {
    std::vector<std::string> corpora;
    CorpusFormat format = CorpusFormat::byName;
    bool plain = false;
    bool text = false;
    std::uint64_t seed = 1;
    std::string store;
    std::string newStore;
    std::string output;
};

using Options = std::shared_ptr<StoreOptions>;
using Json = nlohmann::ordered_json;

} // namespace

static Json problemsJson(const std::vector<StoreProblem> &problems)
{
    Json list = Json::array();
    for (const StoreProblem &problem : problems) {
        list.push_back({{"where", problem.where}, {"what", problem.what}});
    }
    return list;
}

static void printProblems(Context &context, const std::vector<StoreProblem> &problems)
{
    for (const StoreProblem &problem : problems) {
        context.out << (problem.where.empty() ? "file" : problem.where) << '\t' << oneLine(problem.what) << '\n';
    }
}

// ---- build --------------------------------------------------------------------------------------------------------

// The messages of one label with their places in the input.
struct ReadTexts {
    std::vector<std::pair<std::uint64_t, std::u16string>> texts;
    std::uint64_t seen = 0;
};

// A tuned build learns from a sample. Taking it while reading keeps the memory bounded whatever the input's length.
// Without need for a sample, every message stays in its place.
static std::vector<LabelledText> sampleOf(ReadTexts (&byLabel)[2], std::size_t sample)
{
    const std::uint64_t all = byLabel[0].seen + byLabel[1].seen;
    std::vector<std::pair<std::uint64_t, LabelledText>> kept;
    for (const bool spam : {false, true}) {
        ReadTexts &read = byLabel[spam ? 1 : 0];
        if (all > sample) {
            const auto share = static_cast<double>(read.seen) / static_cast<double>(all);
            const auto wanted = static_cast<std::size_t>(std::llround(share * static_cast<double>(sample)));
            read.texts.resize(std::min(read.texts.size(), std::max<std::size_t>(wanted, 1)));
        }
        for (auto &[place, text] : read.texts) {
            kept.emplace_back(place, LabelledText{spam, std::move(text)});
        }
    }
    std::sort(kept.begin(), kept.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    std::vector<LabelledText> texts;
    texts.reserve(kept.size());
    for (auto &[place, text] : kept) {
        texts.push_back(std::move(text));
    }
    return texts;
}

static std::string namesOf(const std::vector<std::string> &corpora)
{
    std::string names;
    for (const std::string &corpus : corpora) {
        names += (names.empty() ? "" : ", ") + (corpus == "-" ? std::string("standard input") : corpus);
    }
    return names;
}

// Hands on every message of the corpora. The number of spam messages and of all.
struct MessagesRead {
    std::uint64_t spam = 0;
    std::uint64_t all = 0;
};

static MessagesRead readMessages(const StoreOptions &options, Context &context,
                                 const std::function<void(const LabelledMessage &)> &take)
{
    MessagesRead read;
    Progress progress(context.err, "reading", 0, context.progress());
    for (const std::string &corpus : options.corpora) {
        readCorpus(corpus, options.format, context.in, [&](LabelledMessage &&message) {
            take(message);
            read.spam += message.label == Label::spam ? 1 : 0;
            progress.reached(++read.all);
        });
    }
    if (read.spam == 0 || read.spam == read.all) {
        const char *what = read.all == 0 ? "messages" : read.spam == 0 ? "spam" : "ham";
        throw Error(Status::badData, namesOf(options.corpora) + ": there is no " + what +
                                         " in it; a store is built from messages of both labels");
    }
    return read;
}

static std::vector<LabelledText> loadSample(const StoreOptions &options, std::size_t sample, Context &context,
                                            MessagesRead &read)
{
    ReadTexts byLabel[2];
    Reservoir reservoir(sample, options.seed);
    std::uint64_t position = 0;
    read = readMessages(options, context, [&](const LabelledMessage &message) {
        const std::uint32_t label = message.label == Label::spam ? 1 : 0;
        const std::size_t place = reservoir.place(label);
        auto &texts = byLabel[label].texts;
        ++byLabel[label].seen;
        if (place != Reservoir::notKept) {
            texts.resize(std::max(texts.size(), place + 1));
            texts[place] = {position, utf16FromUtf8(message.text).value_or(u"")};
        }
        ++position;
    });
    return sampleOf(byLabel, sample);
}

// A plain build goes through all messages several times. They are kept on disk meanwhile: a pipe can be read only once,
// and a million messages need not fit into memory.
static Store buildFromAll(const StoreOptions &options, const BuildOptions &build, Context &context, MessagesRead &read)
{
    MessageSpool spool;
    read = readMessages(options, context, [&spool](const LabelledMessage &message) {
        spool.add(message.label == Label::spam, message.text);
    });
    return buildPlainStore([&spool](const MessageTaker &take) { spool.forEach(take); }, build);
}

static void runBuild(const StoreOptions &options, Context &context)
{
    checkNotAnInput(options.output, options.corpora);
    BuildOptions build;
    build.seed = options.seed;
    build.plain = options.plain;
    std::unique_ptr<Progress> progress; // made once the number of steps is known
    build.progress = [&](std::uint64_t done, std::uint64_t total) {
        if (!progress) {
            progress = std::make_unique<Progress>(context.err, "building", total, context.progress());
        }
        progress->reached(done);
    };
    MessagesRead read;
    std::string of; // which share of the messages was learned from
    Store model;
    if (options.plain) {
        model = buildFromAll(options, build, context, read);
    } else {
        const std::vector<LabelledText> texts = loadSample(options, build.tuningSample, context, read);
        of = texts.size() < read.all ? std::to_string(texts.size()) + " of " : "";
        model = buildStore(texts, build);
    }
    progress.reset();
    writeStore(options.output, contentsOf(model), options.text || isTextFormName(options.output));
    context.message(plural(model.tokens.size(), "token") + " from " + of + plural(read.all, "message") +
                    " written to " + options.output);
}

static void addBuild(CLI::App &store, Context &context)
{
    auto options = std::make_shared<StoreOptions>();
    CLI::App *command = store.add_subcommand("build", "Build a token store from labelled messages");
    command->add_option("CORPUS", options->corpora, "Files of labelled messages; - is standard input")
        ->required()
        ->type_name(" ");
    command->add_option("-o,--output", options->output, "The store to write: prob.bin, or text for .txt, .text, .tsv")
        ->required()
        ->type_name("FILE");
    command->add_flag("--plain", options->plain, "Choose tokens by frequency and lean, with their true counts");
    command->add_flag("--text", options->text, "Write the text form whatever the file's name");
    command->add_option("--seed", options->seed, "Seed of everything random (1)")->type_name("N");
    addFormatOption(*command, options->format);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store build en.tsv zh.tsv -o prob.bin", "velq store build --plain en.tsv -o en.txt",
                           "zcat all.tsv.gz | velq store build - -o prob.bin"});
    command->callback([options, &context] { runBuild(*options, context); });
}

// ---- stats, verify ------------------------------------------------------------------------------------------------

static Json statisticsJson(const StoreStatistics &statistics)
{
    Json json;
    json["fileBytes"] = statistics.fileBytes ? Json(*statistics.fileBytes) : Json(nullptr);
    json["tokens"] = statistics.tokens;
    json["tokensOfLength"] = {
        {"2", statistics.tokensOfLength[0]}, {"3", statistics.tokensOfLength[1]}, {"4", statistics.tokensOfLength[2]}};
    json["messages"] = statistics.hasMessageCounts
                           ? Json{{"spam", statistics.spamMessages}, {"ham", statistics.hamMessages}}
                           : Json(nullptr);
    json["priorMillionths"] = statistics.priorMillionths ? Json(*statistics.priorMillionths) : Json(nullptr);
    json["spamSide"] = statistics.spamSide;
    json["hamSide"] = statistics.hamSide;
    json["neutral"] = statistics.neutral;
    json["withoutCounts"] = statistics.withoutCounts;
    json["digitsOnly"] = statistics.digitsOnly;
    json["asciiOnly"] = statistics.asciiOnly;
    json["largestCount"] = statistics.largestCount;
    json["withReserved"] = statistics.withReserved;
    json["otherRows"] = statistics.otherRows;
    return json;
}

static void printStatistics(std::ostream &out, const StoreStatistics &statistics)
{
    const auto line = [&out](const char *what, const std::string &value) { out << what << '\t' << value << '\n'; };
    line("file size in bytes", statistics.fileBytes ? std::to_string(*statistics.fileBytes) : "no file");
    line("tokens", std::to_string(statistics.tokens));
    line("  of 2 units", std::to_string(statistics.tokensOfLength[0]));
    line("  of 3 units", std::to_string(statistics.tokensOfLength[1]));
    line("  of 4 units", std::to_string(statistics.tokensOfLength[2]));
    line("  that speak for spam", std::to_string(statistics.spamSide));
    line("  that speak for ham", std::to_string(statistics.hamSide));
    line("  neutral", std::to_string(statistics.neutral));
    line("  without counts", std::to_string(statistics.withoutCounts));
    line("  of digits only", std::to_string(statistics.digitsOnly));
    line("  of ASCII characters only", std::to_string(statistics.asciiOnly));
    line("  with a reserved word", std::to_string(statistics.withReserved));
    line("largest count", std::to_string(statistics.largestCount));
    line("other rows", std::to_string(statistics.otherRows));
    line("spam messages", statistics.hasMessageCounts ? std::to_string(statistics.spamMessages) : "no record");
    line("ham messages", statistics.hasMessageCounts ? std::to_string(statistics.hamMessages) : "no record");
    line("prior in millionths",
         statistics.priorMillionths ? std::to_string(*statistics.priorMillionths) : "no record (520000)");
}

static void runStats(const StoreOptions &options, Context &context)
{
    StoreStatistics statistics = statisticsOf(readStore(options.store, context.in));
    std::error_code code;
    const std::uintmax_t size = std::filesystem::file_size(options.store, code);
    if (!code) {
        statistics.fileBytes = size;
    }
    if (context.json) {
        context.out << statisticsJson(statistics).dump() << '\n';
    } else {
        printStatistics(context.out, statistics);
    }
}

static void addStats(CLI::App &store, Context &context)
{
    auto options = std::make_shared<StoreOptions>();
    CLI::App *command = store.add_subcommand("stats", "Show what a token store holds");
    command->add_option("FILE", options->store, "A token store, prob.bin or text form")->required()->type_name(" ");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store stats prob.bin", "velq store stats --json prob.bin"});
    command->callback([options, &context] { runStats(*options, context); });
}

static void runVerify(const StoreOptions &options, Context &context)
{
    InputFile input(options.store, context.in);
    const std::vector<StoreProblem> problems = isDatabase(input)
                                                   ? verifyStoreFile(options.store)
                                                   : verifyContents(readStoreText(input.stream(), input.name()));
    if (context.json) {
        context.out << Json{{"problems", problemsJson(problems)}}.dump() << '\n';
    } else {
        printProblems(context, problems);
    }
    if (!problems.empty()) {
        throw Error(Status::badData, options.store + ": " + plural(problems.size(), "problem") +
                                         " found; correct the text form (velq store dump, load) or build it anew");
    }
    context.message(options.store + " is sound");
}

static void addVerify(CLI::App &store, Context &context)
{
    auto options = std::make_shared<StoreOptions>();
    CLI::App *command = store.add_subcommand("verify", "Check a token store and list every problem");
    command->add_option("FILE", options->store, "A token store, prob.bin or text form")->required()->type_name(" ");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store verify prob.bin", "velq store verify --quiet prob.bin && echo sound"});
    command->callback([options, &context] { runVerify(*options, context); });
}

// ---- dump, load ---------------------------------------------------------------------------------------------------

static void runDump(const StoreOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.store});
    if (options.store == "-") {
        throw Error(Status::usage, "a prob.bin is not read from standard input; give the file");
    }
    const StoreContents contents = readStoreContents(options.store);
    checkKeysAreUnique(contents, options.store);
    if (options.output.empty()) {
        writeStoreText(context.out, contents);
    } else {
        writeStore(options.output, contents, true);
    }
}

static void addDump(CLI::App &store, Context &context)
{
    auto options = std::make_shared<StoreOptions>();
    CLI::App *command = store.add_subcommand("dump", "Write a token store as text: sorted, one token a line, lossless");
    command->add_option("FILE", options->store, "A prob.bin")->required()->type_name(" ");
    command->add_option("-o,--output", options->output, "The text to write; standard output when not given")
        ->type_name("FILE");
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store dump prob.bin -o store.txt", "velq store dump prob.bin | grep -c ^free"});
    command->callback([options, &context] { runDump(*options, context); });
}

static void runLoad(const StoreOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.store});
    InputFile input(options.store, context.in);
    const StoreContents contents = readStoreText(input.stream(), input.name());
    writeStoreContents(options.output, contents);
    context.message(plural(contents.rows.size(), "row") + " written to " + options.output);
}

static void addLoad(CLI::App &store, Context &context)
{
    auto options = std::make_shared<StoreOptions>();
    CLI::App *command = store.add_subcommand("load", "Make a prob.bin of the text form");
    command->add_option("TEXT", options->store, "A store in text form; - is standard input")
        ->required()
        ->type_name(" ");
    command->add_option("-o,--output", options->output, "The prob.bin to write")->required()->type_name("FILE");
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store load store.txt -o prob.bin"});
    command->callback([options, &context] { runLoad(*options, context); });
}

// ---- diff ---------------------------------------------------------------------------------------------------------

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

static void runDiff(const StoreOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.store, options.newStore});
    const StoreContents before = readStore(options.store, context.in);
    const StoreContents after = readStore(options.newStore, context.in);
    checkKeysAreUnique(before, options.store);
    checkKeysAreUnique(after, options.newStore);
    const StoreDifference difference = differenceOf(before, after);
    writeProbabilityUpdate(options.output, difference.rows);
    if (context.json) {
        context.out << differenceJson(difference).dump() << '\n';
        return;
    }
    printProblems(context, difference.deviations);
    context.message(options.output + ": " + plural(difference.added, "row") + " added, " +
                    std::to_string(difference.changed) + " changed, " + std::to_string(difference.zeroed) +
                    " set to 0; the merged store differs from " + options.newStore + " in " +
                    plural(difference.deviations.size(), "row"));
    if (difference.lowered > 0) {
        context.message(plural(difference.lowered, "row") + " with lower counts: right for " + options.store +
                        " itself; where a store has meanwhile unlearned more than is left, a count wraps");
    }
    if (difference.changesPrior) {
        context.message("the prior changes: programs see it when they load the engine the next time");
    }
}

static void addDiff(CLI::App &store, Context &context)
{
    auto options = std::make_shared<StoreOptions>();
    CLI::App *command =
        store.add_subcommand("diff", "Make the probability update that turns one token store into another, as far as "
                                     "added counts can, and list the rows where they cannot");
    command->add_option("OLD", options->store, "The store to start from, prob.bin or text form")
        ->required()
        ->type_name(" ");
    command->add_option("NEW", options->newStore, "The store to arrive at")->required()->type_name(" ");
    command->add_option("-o,--output", options->output, "The update file to write")->required()->type_name("FILE");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command,
                {"velq store diff old.bin new.bin -o update.db", "velq store diff v1.txt v2.txt -o update.db"});
    command->callback([options, &context] { runDiff(*options, context); });
}

void addStoreCommands(CLI::App &root, Context &context)
{
    CLI::App *store = root.add_subcommand("store", "Build, show, check, convert and compare token stores");
    store->require_subcommand(1);
    addBuild(*store, context);
    addStats(*store, context);
    addVerify(*store, context);
    addDump(*store, context);
    addLoad(*store, context);
    addDiff(*store, context);
    addExamples(*store, {"velq store build en.tsv -o prob.bin", "velq store dump prob.bin -o store.txt",
                         "velq store diff old.bin new.bin -o update.db"});
}

} // namespace velq::kit
