// velq mark: the user's verdict on messages, and taking the last one back.
#include "kit/cli/commands.h"
#include "kit/engine/engine.h"
#include "kit/messages/input_messages.h"
#include "kit/store/correction.h"
#include "kit/store/marking.h"
#include "velq.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

namespace velq::kit {

namespace {

struct MarkOptions : MessageOptions {
    bool untilChanged = false;
    bool undo = false;
};

} // namespace

static void keepForUndo(const CorrectionRecord &record, const Correction &correction, Context &context)
{
    if (const std::string fault = keepCorrection(record, correction); !fault.empty()) {
        context.message("this cannot be taken back with --undo: " + fault);
    }
}

static void markAll(Marking &marking, const MarkOptions &options, Context &context)
{
    Progress progress(context.err, "marking", options.texts.size(), context.progress());
    forEachMessage(options.texts, context.in, [&](const InputMessage &message) {
        marking.mark(inForm(options.form, wideArgument(message.text, "the message")));
        progress.reached(marking.correction().messages);
    });
}

// One message after the other; says of each what became of it.
static void markAllUntilChanged(Marking &marking, const MarkOptions &options, Label label, Context &context)
{
    std::uint64_t number = 0;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    forEachMessage(options.texts, context.in, [&](const InputMessage &message) {
        const Turning turning =
            marking.markUntilChanged(inForm(options.form, wideArgument(message.text, "the message")));
        const std::string as(labelName(label));
        const std::string what =
            "message " + std::to_string(++number) + ", rated " + std::string(ratingName(turning.before)) + " before, ";
        if (turning.turned && turning.corrections == 0) {
            context.message("message " + std::to_string(number) + " is rated " + as + " already; nothing was changed");
        } else if (turning.turned) {
            context.message(what + "is rated " + as + " after " + plural(turning.corrections, "correction"));
        } else {
            context.message(what + "cannot be made " + as + ": " + turning.obstacle + "; nothing was changed");
        }
        list.push_back({{"before", ratingName(turning.before)},
                        {"changed", turning.turned && turning.corrections > 0},
                        {"corrections", turning.corrections},
                        {"obstacle",
                         turning.turned ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(turning.obstacle)}});
    });
    if (context.json) {
        context.out << nlohmann::ordered_json{{"as", labelName(label)}, {"messages", list}} << '\n';
    }
}

static void runMark(const MarkOptions &options, Label label, Context &context)
{
    const WideText number = wideArgument(options.country.ofSender(options.number), "the number");
    if (number.size() > VELQ_MAX_NUMBER_LENGTH) {
        throw Error(Status::usage, "the number is longer than 29 characters; no list entry has such a number");
    }
    const Installation installation(options.install);
    checkDataFiles(installation);
    const CorrectionRecord record(installation);
    const Engine engine(installation);
    Marking marking(engine, installation, label == Label::ham ? Rating::ham : Rating::spam, number);
    record.remove(); // so that a run that is ended half-way leaves no older one to take back
    try {
        if (options.untilChanged) {
            markAllUntilChanged(marking, options, label, context);
        } else {
            markAll(marking, options, context);
        }
    } catch (...) {
        keepForUndo(record, marking.correction(), context);
        throw;
    }
    keepForUndo(record, marking.correction(), context);
    if (options.untilChanged) {
        return;
    }
    const std::uint64_t marked = marking.correction().messages;
    if (context.json) {
        context.out << nlohmann::ordered_json{{"marked", marked}, {"as", labelName(label)}} << '\n';
    }
    context.message(plural(marked, "message") + " marked as " + std::string(labelName(label)));
}

static void runUndo(const std::string &install, Context &context)
{
    const Installation installation(install);
    checkDataFiles(installation);
    const CorrectionRecord record(installation);
    const std::optional<Correction> correction = record.read();
    if (!correction) {
        throw Error(Status::noInput, "there is nothing to take back in " + install +
                                         ": velq mark has marked nothing since the last time; mark the message as "
                                         "the other kind instead");
    }
    takeBackLast(record, *correction, installation.dataFile("prob.bin"));
    if (context.json) {
        context.out << nlohmann::ordered_json{{"takenBack", correction->messages}, {"as", correction->verdict}} << '\n';
    }
    context.message("taken back: " + plural(correction->messages, "message") + " marked as " + correction->verdict +
                    (correction->verdict == "ham" ? "; a number that this took off the black list stays off" : ""));
}

static CLI::App *addVerdict(CLI::App &mark, Label label, Context &context)
{
    auto options = std::make_shared<MarkOptions>();
    const bool ham = label == Label::ham;
    CLI::App *command =
        addCommand(mark, ham ? "ham" : "spam",
                   ham ? "Messages that are wanted: moves their words to the ham side and takes the sender off "
                         "the black list"
                       : "Messages that are spam: moves their words to the spam side; the lists stay as they are");
    addInstallOption(*command, options->install);
    if (ham) {
        addSenderOptions(*command, *options, "The sender, taken off the black list");
    }
    addTextsArgument(*command, *options);
    command->add_flag("--until-changed", options->untilChanged,
                      "Correct each message until it is rated so, at most 1000 times, or say why it never is; what was "
                      "in vain is taken back");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    if (ham) {
        addExamples(*command, {"velq mark ham --install ~/filter --number 13912345678 'see you at seven'",
                               "velq mark ham --install ~/filter < wanted.txt"});
    } else {
        addExamples(*command, {"velq mark spam --install ~/filter 'Claim your free prize now'",
                               "velq mark spam --install ~/filter --until-changed 'Claim your free prize now'",
                               "velq mark spam --install ~/filter < unwanted.txt"});
    }
    command->callback([options, label, &context] { runMark(*options, label, context); });
    return command;
}

void addMarkCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<MarkOptions>();
    CLI::App *command = addCommand(root, "mark", "Tell the engine what messages are");
    command->require_subcommand(0, 1);
    addInstallOption(*command, options->install)->required(false);
    CLI::Option *undo = command->add_flag("--undo", options->undo,
                                          "Take back what the last run of velq mark changed; what was learned since "
                                          "stays");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq mark ham --install ~/filter 'see you at seven'",
                           "velq mark spam --install ~/filter 'Claim your free prize now'",
                           "velq mark --undo --install ~/filter"});
    addVerdict(*command, Label::ham, context)->excludes(undo);
    addVerdict(*command, Label::spam, context)->excludes(undo);
    command->callback([options, command, &context] {
        if (!command->get_subcommands().empty()) {
            return;
        }
        if (!options->undo || options->install.empty()) {
            throw Error(Status::usage, options->undo ? "--install is required; see velq mark --help"
                                                     : "say ham or spam, or --undo; see velq mark --help");
        }
        runUndo(options->install, context);
    });
}

} // namespace velq::kit
