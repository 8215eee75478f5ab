// velq store build: makes a token store of labelled messages.
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/learning/store_builder.h"
#include "kit/messages/corpus.h"
#include "kit/messages/message_spool.h"
#include "kit/messages/sampling.h"
#include "kit/store/store_file.h"
#include "kit/store/store_text.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velq::kit {

namespace {

struct BuildCommandOptions {
    std::vector<std::string> corpora;
    CorpusFormat format = CorpusFormat::byName;
    bool plain = false;
    bool text = false;
    std::uint64_t seed = 1;
    std::string output;
};

} // namespace

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

static MessagesRead readMessages(const BuildCommandOptions &options, Context &context,
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

static std::vector<LabelledText> loadSample(const BuildCommandOptions &options, std::size_t sample, Context &context,
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
static Store buildFromAll(const BuildCommandOptions &options, const BuildOptions &build, Context &context,
                          MessagesRead &read)
{
    MessageSpool spool;
    read = readMessages(options, context, [&spool](const LabelledMessage &message) {
        spool.add(message.label == Label::spam, message.text);
    });
    return buildPlainStore([&spool](const MessageTaker &take) { spool.forEach(take); }, build);
}

static void runBuild(const BuildCommandOptions &options, Context &context)
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
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store build en.tsv zh.tsv -o prob.bin", "velq store build --plain en.tsv -o en.txt",
                           "zcat all.tsv.gz | velq store build - -o prob.bin"});
    command->callback([options, &context] { runBuild(*options, context); });
}

} // namespace velq::kit
