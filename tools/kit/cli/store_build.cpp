// velq store build: makes a token store of labelled messages.
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/build_options.h"
#include "kit/cli/commands.h"
#include "kit/learning/plain.h"
#include "kit/learning/store_builder.h"
#include "kit/messages/message_spool.h"
#include "kit/store/probability_update.h"
#include "kit/store/store_file.h"
#include "kit/store/store_form.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

struct BuildCommandOptions {
    std::vector<std::string> corpora;
    CorpusFormat format = CorpusFormat::byName;
    TextForm form = TextForm::prepared;
    WrittenRequest written;
    BuildRules rules;
    std::string onto;               // a store that further languages are learned on top of
    std::vector<std::string> known; // messages of the languages that it knows
    bool plain = false;
    bool text = false;
    std::uint64_t seed = 1;
    std::string output;
};

struct Built {
    Store store;
    std::uint64_t read = 0;    // messages of the input
    std::uint64_t learned = 0; // those that the store was learned from
};

} // namespace

static std::string namesOf(const std::vector<std::string> &corpora)
{
    std::string names;
    for (const std::string &corpus : corpora) {
        names += (names.empty() ? "" : ", ") + (corpus == "-" ? std::string("standard input") : corpus);
    }
    return names;
}

// Hands on every message of the corpora as it stands, each file a source, and the written ones, each language a source.
// Returns their number.
static std::uint64_t readMessages(const BuildCommandOptions &options, Context &context, const MessageTaker &take)
{
    std::uint64_t all = 0;
    std::uint64_t spam = 0;
    Progress progress(context.err, "reading", 0, context.progress());
    const auto taken = [&](const LabelledText &message) {
        take(message);
        spam += message.spam ? 1 : 0;
        progress.reached(++all);
    };
    std::uint32_t source = 0;
    for (const std::string &corpus : options.corpora) {
        readCorpus(corpus, options.format, context.in, [&](LabelledMessage &&message) {
            taken({message.label == Label::spam, utf16InForm(TextForm::raw, message.text), source});
        });
        ++source;
    }
    for (const LabelledText &message : writtenTexts(options.written, options.seed, source)) {
        taken(message);
    }
    if (spam == 0 || spam == all) {
        const char *what = all == 0 ? "messages" : spam == 0 ? "spam" : "ham";
        throw Error(Status::badData, namesOf(options.corpora) + ": there is no " + what +
                                         " in it; a store is built from messages of both labels");
    }
    return all;
}

// The sample is taken while reading, so that the memory stays bounded whatever the input's length.
static Built buildTuned(const BuildCommandOptions &options, const BuildProgress &progress, Context &context)
{
    TrainingSet training(options.seed);
    const std::uint64_t read = readMessages(options, context, [&training](const LabelledText &message) {
        training.add(message.spam, message.text, message.source);
    });
    BuildRules rules = options.rules;
    rules.firstWritten = static_cast<std::uint32_t>(options.corpora.size());
    rules.readings = options.form == TextForm::raw ? Readings::raw : Readings::preparedAndRaw;
    if (options.onto.empty()) {
        return {buildStore(training, rules, progress), read, training.size()};
    }
    StoreInUse inUse{modelOf(readStore(options.onto, context.in)), {}};
    for (const std::string &corpus : options.known) {
        readCorpus(corpus, options.format, context.in, [&inUse](LabelledMessage &&message) {
            inUse.known.push_back({message.label == Label::spam, utf16InForm(TextForm::raw, message.text)});
        });
    }
    return {buildOnto(inUse, training, rules, progress), read, training.size()};
}

// A plain build goes through all messages several times. They are kept on disk meanwhile: a pipe can be read only once,
// and a million messages need not fit into memory.
static Built buildPlain(const BuildCommandOptions &options, const BuildProgress &progress, Context &context)
{
    MessageSpool spool;
    const std::uint64_t read = readMessages(options, context, [&](const LabelledText &message) {
        spool.add(message.spam, utf8FromUtf16(utf16InForm(options.form, message.text)));
    });
    return {buildPlainStore([&spool](const MessageTaker &take) { spool.forEach(take); }, progress), read, read};
}

static bool isUpdateName(const std::string &file)
{
    return file.ends_with(".update");
}

static void checkOptions(const BuildCommandOptions &options)
{
    std::vector<std::string> inputs = options.corpora;
    inputs.insert(inputs.end(), options.known.begin(), options.known.end());
    inputs.push_back(options.onto);
    checkNotAnInput(options.output, inputs);
    if (!options.onto.empty() && options.plain) {
        throw Error(Status::usage, "--onto needs a tuned build: leave out --plain");
    }
    if (options.onto == "-") {
        throw Error(Status::usage, "--onto -: the store is read twice; give a file");
    }
    if (options.onto.empty() && !options.known.empty()) {
        throw Error(Status::usage, "--known is only for a build with --onto");
    }
    if (options.onto.empty() && isUpdateName(options.output)) {
        throw Error(Status::usage, options.output + ": an update is what a build with --onto adds to its store");
    }
}

// The whole store, or the update that adds what is new in it. Returns how many tokens that says.
static std::size_t writeResult(const BuildCommandOptions &options, const Store &store, Context &context)
{
    if (!isUpdateName(options.output)) {
        writeStore(options.output, contentsOf(store), options.text || isTextFormName(options.output));
        return store.tokens.size();
    }
    const StoreContents before = contentsOf(modelOf(readStore(options.onto, context.in)));
    const StoreDifference difference = differenceOf(before, contentsOf(store));
    writeProbabilityUpdate(options.output, difference.rows);
    return difference.rows.size();
}

static void runBuild(const BuildCommandOptions &options, Context &context)
{
    checkOptions(options);
    std::unique_ptr<Progress> progress; // made once the number of steps is known
    const auto reached = [&](std::uint64_t done, std::uint64_t total) {
        if (!progress) {
            progress = std::make_unique<Progress>(context.err, "building", total, context.progress());
        }
        progress->reached(done);
    };
    const Built built = options.plain ? buildPlain(options, reached, context) : buildTuned(options, reached, context);
    progress.reset();
    const std::size_t written = writeResult(options, built.store, context);
    const std::string of = built.learned < built.read ? std::to_string(built.learned) + " of " : "";
    context.message(plural(written, "token") + " from " + of + plural(built.read, "message") + " written to " +
                    options.output);
}

void addStoreBuild(CLI::App &store, Context &context)
{
    auto options = std::make_shared<BuildCommandOptions>();
    CLI::App *command = addCommand(store, "build", "Build a token store from labelled messages");
    addFileArgument(*command, "CORPUS", options->corpora, "Files of labelled messages; - is standard input")
        ->required();
    addFileOption(*command, "-o,--output", options->output,
                  "The store to write: prob.bin, or text for .txt, .text, .tsv")
        ->required();
    addFileOption(*command, "--onto", options->onto,
                  "Learn further languages on top of this store, whose tokens stay as they are; -o new.update writes "
                  "what is added");
    addFileArgument(*command, "--known", options->known,
                    "Messages of the languages that the store knows, so that new tokens leave them alone")
        ->type_name("CORPUS")
        ->allow_extra_args(false);
    command->add_flag("--plain", options->plain, "Choose tokens by frequency and lean, with their true counts");
    command->add_flag("--text", options->text, "Write the text form whatever the file's name");
    addBuildRuleOptions(*command, options->rules);
    addWrittenOptions(*command, options->written);
    addCountOption(*command, "--seed", options->seed, "Seed of everything random (1)");
    addFormatOption(*command, options->format);
    addRawFlag(*command, options->form);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store build en.tsv zh.tsv -o prob.bin", "velq store build --plain en.tsv -o en.txt",
                           "zcat all.tsv.gz | velq store build - -o prob.bin",
                           "velq store build vi.tsv --onto prob.bin --known en.tsv -o vi.update"});
    command->callback([options, &context] { runBuild(*options, context); });
}

} // namespace velq::kit
