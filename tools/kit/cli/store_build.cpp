// velq store build: makes a token store of labelled messages.
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/learning/plain.h"
#include "kit/learning/store_builder.h"
#include "kit/messages/message_spool.h"
#include "kit/store/store_file.h"
#include "kit/store/store_form.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

struct BuildCommandOptions {
    std::vector<std::string> corpora;
    CorpusFormat format = CorpusFormat::byName;
    TextForm form = TextForm::prepared;
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

// Hands on every message of the corpora, with its text in the form asked for. Returns their number.
static std::uint64_t readMessages(const BuildCommandOptions &options, Context &context,
                                  const std::function<void(bool spam, const std::u16string &text)> &take)
{
    std::uint64_t all = 0;
    std::uint64_t spam = 0;
    Progress progress(context.err, "reading", 0, context.progress());
    for (const std::string &corpus : options.corpora) {
        readCorpus(corpus, options.format, context.in, [&](LabelledMessage &&message) {
            take(message.label == Label::spam, utf16InForm(options.form, message.text));
            spam += message.label == Label::spam ? 1 : 0;
            progress.reached(++all);
        });
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
    const std::uint64_t read = readMessages(
        options, context, [&training](bool spam, const std::u16string &text) { training.add(spam, text); });
    return {buildStore(training, progress), read, training.size()};
}

// A plain build goes through all messages several times. They are kept on disk meanwhile: a pipe can be read only once,
// and a million messages need not fit into memory.
static Built buildPlain(const BuildCommandOptions &options, const BuildProgress &progress, Context &context)
{
    MessageSpool spool;
    const std::uint64_t read = readMessages(
        options, context, [&spool](bool spam, const std::u16string &text) { spool.add(spam, utf8FromUtf16(text)); });
    return {buildPlainStore([&spool](const MessageTaker &take) { spool.forEach(take); }, progress), read, read};
}

static void runBuild(const BuildCommandOptions &options, Context &context)
{
    checkNotAnInput(options.output, options.corpora);
    std::unique_ptr<Progress> progress; // made once the number of steps is known
    const auto reached = [&](std::uint64_t done, std::uint64_t total) {
        if (!progress) {
            progress = std::make_unique<Progress>(context.err, "building", total, context.progress());
        }
        progress->reached(done);
    };
    const Built built = options.plain ? buildPlain(options, reached, context) : buildTuned(options, reached, context);
    progress.reset();
    writeStore(options.output, contentsOf(built.store), options.text || isTextFormName(options.output));
    const std::string of = built.learned < built.read ? std::to_string(built.learned) + " of " : "";
    context.message(plural(built.store.tokens.size(), "token") + " from " + of + plural(built.read, "message") +
                    " written to " + options.output);
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
    command->add_flag("--plain", options->plain, "Choose tokens by frequency and lean, with their true counts");
    command->add_flag("--text", options->text, "Write the text form whatever the file's name");
    addCountOption(*command, "--seed", options->seed, "Seed of everything random (1)");
    addFormatOption(*command, options->format);
    addRawFlag(*command, options->form);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store build en.tsv zh.tsv -o prob.bin", "velq store build --plain en.tsv -o en.txt",
                           "zcat all.tsv.gz | velq store build - -o prob.bin"});
    command->callback([options, &context] { runBuild(*options, context); });
}

} // namespace velq::kit
