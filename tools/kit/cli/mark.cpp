// velq mark: the user's verdict on messages.
#include "kit/cli/commands.h"
#include "kit/engine/engine.h"
#include "kit/messages/input_messages.h"
#include "velq.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

namespace velq::kit {

namespace {

struct MarkOptions {
    std::string install;
    std::string number;
    std::vector<std::string> texts;
    TextForm form = TextForm::prepared;
};

} // namespace

static void runMark(const MarkOptions &options, Label label, Context &context)
{
    const WideText number = wideArgument(options.number, "the number");
    if (number.size() > VELQ_MAX_NUMBER_LENGTH) {
        throw Error(Status::usage, "the number is longer than 29 characters; no list entry has such a number");
    }
    const Installation installation(options.install);
    checkDataFiles(installation);
    const Engine engine(installation);
    std::uint64_t marked = 0;
    std::optional<Progress> progress; // its bar is gone before the closing message
    progress.emplace(context.err, "marking", options.texts.size(), context.progress());
    forEachMessage(options.texts, context.in, [&](const InputMessage &message) {
        const WideText body = inForm(options.form, wideArgument(message.text, "the message"));
        const std::int32_t code =
            label == Label::ham ? VELQ_SetMsgAsHam(body.c_str(), number.c_str()) : VELQ_SetMsgAsSpam(body.c_str());
        engine.check(code, "marking message " + std::to_string(marked + 1) + " failed");
        progress->reached(++marked);
    });
    progress.reset();
    if (context.json) {
        context.out << nlohmann::ordered_json{{"marked", marked}, {"as", labelName(label)}} << '\n';
    }
    context.message(plural(marked, "message") + " marked as " + std::string(labelName(label)));
}

static void addVerdict(CLI::App &mark, Label label, Context &context)
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
        addTextOption(*command, "--number", "NUMBER", options->number, "The sender, taken off the black list");
    }
    addTextArgument(*command, "TEXT", options->texts, "The messages; without any, one a line on standard input");
    addRawFlag(*command, options->form);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    if (ham) {
        addExamples(*command, {"velq mark ham --install ~/filter --number 13912345678 'see you at seven'",
                               "velq mark ham --install ~/filter < wanted.txt"});
    } else {
        addExamples(*command, {"velq mark spam --install ~/filter 'Claim your free prize now'",
                               "velq mark spam --install ~/filter < unwanted.txt"});
    }
    command->callback([options, label, &context] { runMark(*options, label, context); });
}

void addMarkCommand(CLI::App &root, Context &context)
{
    CLI::App *command = addCommand(root, "mark", "Tell the engine what messages are");
    command->require_subcommand(1);
    addExamples(*command, {"velq mark ham --install ~/filter 'see you at seven'",
                           "velq mark spam --install ~/filter 'Claim your free prize now'"});
    addVerdict(*command, Label::ham, context);
    addVerdict(*command, Label::spam, context);
}

} // namespace velq::kit
