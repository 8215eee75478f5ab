// velq store stand-ins: what the tokens that an update cannot take away shall carry, learned from messages.
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/messages/corpus.h"
#include "kit/messages/text_form.h"
#include "kit/reading/text_filter.h"
#include "kit/store/stand_ins.h"
#include "kit/store/store_form.h"

#include <algorithm>
#include <vector>

namespace velq::kit {

namespace {

struct StandInOptions {
    std::string before;
    std::string after;
    std::vector<std::string> corpora;
    CorpusFormat format = CorpusFormat::byName;
    TextForm form = TextForm::prepared;
    std::string output;
};

} // namespace

static std::vector<JudgedText> readTexts(const StandInOptions &options, Context &context)
{
    std::vector<JudgedText> texts;
    Progress progress(context.err, "reading", 0, context.progress());
    for (const std::string &corpus : options.corpora) {
        readCorpus(corpus, options.format, context.in, [&](LabelledMessage &&message) {
            texts.push_back({message.label == Label::spam, filterText(utf16InForm(options.form, message.text))});
            progress.reached(texts.size());
        });
    }
    return texts;
}

// The tokens of `standIns` without what they shall carry.
static Store asNeutral(Store standIns)
{
    for (auto &[token, counts] : standIns.tokens) {
        counts = {};
    }
    return standIns;
}

static std::string shown(const RatingChanges &changes)
{
    return std::to_string(changes.worse) + " rated worse than by the new store, " + std::to_string(changes.blocked) +
           " of them newly blocked, and " + std::to_string(changes.better) + " better";
}

static void runStandIns(const StandInOptions &options, Context &context)
{
    std::vector<std::string> inputs = options.corpora;
    inputs.insert(inputs.end(), {options.before, options.after});
    checkNotAnInput(options.output, inputs);
    const Store before = modelOf(readStore(options.before, context.in));
    const Store after = modelOf(readStore(options.after, context.in));
    const std::vector<JudgedText> texts = readTexts(options, context);
    Store standIns;
    {
        std::unique_ptr<Progress> progress;
        standIns = standInsFor(before, after, texts, [&](std::uint64_t done, std::uint64_t total) {
            if (!progress) {
                progress = std::make_unique<Progress>(context.err, "fitting", total, context.progress());
            }
            progress->reached(done);
        });
    }
    writeStore(options.output, contentsOf(standIns), isTextFormName(options.output));
    const auto carry = std::count_if(standIns.tokens.begin(), standIns.tokens.end(), [&standIns](const auto &token) {
        return probabilityCounts(tokenProbability(token.second, totalsOf(standIns)));
    });
    context.message(options.output + ": " + plural(standIns.tokens.size(), "token") + " that " + options.after +
                    " lacks, " + std::to_string(carry) + " stand in for others; of " + plural(texts.size(), "message"));
    context.message("  all neutral: " + shown(ratingChanges(after, united(after, asNeutral(standIns)), texts)));
    context.message("  with them:   " + shown(ratingChanges(after, united(after, standIns), texts)));
}

void addStoreStandIns(CLI::App &store, Context &context)
{
    auto options = std::make_shared<StandInOptions>();
    CLI::App *command =
        addCommand(store, "stand-ins",
                   "Learn from messages what the tokens that an update cannot take away shall carry, so "
                   "that the merged store rates as the new one does");
    addFileArgument(*command, "OLD", options->before, "The store of the installations, prob.bin or text form")
        ->required();
    addFileArgument(*command, "NEW", options->after, "The store to arrive at")->required();
    addFileArgument(*command, "CORPUS", options->corpora, "Files of labelled messages like those that will be rated")
        ->required();
    addFileOption(*command, "-o,--output", options->output,
                  "The file to write, for velq store diff --stand-ins; text "
                  "for .txt, .text, .tsv")
        ->required();
    addFormatOption(*command, options->format);
    addRawFlag(*command, options->form);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store stand-ins old.bin new.bin en.tsv zh.tsv -o stand-ins.txt",
                           "velq store diff old.bin new.bin --stand-ins stand-ins.txt -o update.db"});
    command->callback([options, &context] { runStandIns(*options, context); });
}

} // namespace velq::kit
