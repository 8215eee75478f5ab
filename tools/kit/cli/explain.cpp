// velq explain: the report on a rating. It works on a copy of the installation, so nothing is learned and no file of
// the installation changes; the engine rates the same copy, and a report that does not agree with it is not given out.
#include "kit/base/temporary_folder.h"
#include "kit/cli/commands.h"
#include "kit/engine/engine.h"
#include "kit/engine/rating.h"
#include "kit/messages/explanation_json.h"
#include "kit/messages/input_messages.h"
#include "kit/reading/explanation.h"
#include "kit/reading/text_filter.h"
#include "velq.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <utf8.h>
#include <vector>

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

} // namespace

static Explanation explainOnCopy(const Installation &installation, const WideText &body, const WideText &number)
{
    const TemporaryFolder folder;
    const Installation copy(folder.path());
    copyInstallation(installation, copy);
    Explainer explainer(copy);
    Explanation explanation = explainer.explain(body, number, Depth::allTokens);
    const Engine engine(copy);
    std::uint32_t answer = VELQ_RATING_UNSURE;
    engine.check(VELQ_CheckSpamMsgSync(&answer, body.c_str(), number.c_str()), "rating failed");
    const Rating rating = ratingOf(answer);
    if (rating != explanation.rating) {
        throw Error(Status::internal, "the engine rates the message " + std::string(ratingName(rating)) +
                                          ", the explanation " + std::string(ratingName(explanation.rating)) +
                                          "; please report this with the message");
    }
    return explanation;
}

// ---- The report

// Columns that a terminal gives the text: two for ideographs and most emoji.
static std::size_t displayWidth(const std::string &text)
{
    static constexpr std::array<std::pair<char32_t, char32_t>, 9> wide = {{{0x1100, 0x115F},
                                                                           {0x2E80, 0xA4CF},
                                                                           {0xAC00, 0xD7A3},
                                                                           {0xF900, 0xFAFF},
                                                                           {0xFE30, 0xFE6F},
                                                                           {0xFF00, 0xFF60},
                                                                           {0xFFE0, 0xFFE6},
                                                                           {0x1F300, 0x1FAFF},
                                                                           {0x20000, 0x3FFFD}}};
    std::size_t width = 0;
    for (auto at = text.begin(); at != text.end();) {
        const char32_t point = utf8::next(at, text.end());
        width +=
            std::ranges::any_of(wide, [point](auto range) { return point >= range.first && point <= range.second; })
                ? 2
                : 1;
    }
    return width;
}

static void printTokens(std::ostream &out, const Explanation &explanation)
{
    constexpr std::size_t tokenWidth = 10;
    if (explanation.tokens.empty()) {
        out << "  tokens      none\n";
        return;
    }
    out << "\n  token       position     spam      ham  probability  counted\n";
    for (const ReadToken &token : explanation.tokens) {
        const std::string text = oneLine(utf8FromUtf16(token.text()));
        const std::size_t width = displayWidth(text);
        out << "  " << text << std::string(width < tokenWidth ? tokenWidth - width : 0, ' ') << std::setw(10)
            << token.position + 1 << std::setw(9) << token.counts.spam << std::setw(9) << token.counts.ham
            << std::setw(13);
        if (std::isnan(token.probability)) {
            out << "none";
        } else {
            out << std::fixed << std::setprecision(6) << token.probability << std::defaultfloat;
        }
        out << "  " << (token.counted ? "yes" : "no") << '\n';
    }
    out << '\n';
}

static void printReport(std::ostream &out, const ExplainedMessage &message, const std::string &number,
                        const Explanation &explanation)
{
    out << ratingName(explanation.rating) << "  " << stepSentence(explanation.step) << '\n';
    if (explanation.entry) {
        out << "  entry       " << oneLine(explanation.entry->number);
        if (!explanation.entry->name.empty()) {
            out << "  " << oneLine(explanation.entry->name);
        }
        out << "  (uid " << explanation.entry->uid << ")\n";
    }
    if (!number.empty()) {
        out << "  number      " << oneLine(number) << '\n';
    }
    out << "  message     " << oneLine(message.text) << '\n';
    if (message.form == TextForm::prepared) {
        out << "  prepared    " << oneLine(utf8FromWide(message.body)) << '\n';
    }
    out << "  dropped     " << oneLine(utf8FromUtf16(markDropped(utf16FromWide(message.body)))) << "  (in brackets)\n";
    out << "  filtered    " << oneLine(utf8FromUtf16(explanation.filtered)) << "  (" << explanation.filtered.size()
        << " characters)\n";
    printTokens(out, explanation);
    out << "  learned     " << explanation.totals.spamMessages << " spam messages, " << explanation.totals.hamMessages
        << " ham messages; prior " << explanation.totals.prior << '\n';
    if (!explanation.score) {
        out << "  spamicity   none: the classifier was not asked\n";
        return;
    }
    const ClassifierScore &score = *explanation.score;
    out << std::setprecision(6) << "  spam tail   " << score.spamTail << "\n  ham tail    " << score.hamTail
        << "\n  spamicity   " << score.spamicity << "  (" << score.counted << " of " << explanation.tokens.size()
        << " tokens counted)\n";
}

static void runExplain(const MessageOptions &options, Context &context)
{
    const Installation installation(options.install);
    checkDataFiles(installation);
    const WideText number = wideArgument(options.country.ofSender(options.number), "the number");
    Json reports = Json::array();
    bool first = true;
    std::uint64_t count = 0;
    Progress progress(context.err, "explaining", options.texts.size(), context.progressBesideOutput());
    forEachMessage(options.texts, context.in, [&](const InputMessage &input) {
        progress.reached(++count);
        const ExplainedMessage message{input.text, inForm(options.form, wideArgument(input.text, "the message")),
                                       options.form};
        const Explanation explanation = explainOnCopy(installation, message.body, number);
        if (context.json) {
            reports.push_back(explanationJson(message, options.number, explanation));
            return;
        }
        context.out << (first ? "" : "\n");
        printReport(context.out, message, options.number, explanation);
        first = false;
    });
    if (context.json) {
        context.out << reports.dump(2) << '\n';
    }
}

void addExplainCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<MessageOptions>();
    CLI::App *command =
        addCommand(root, "explain", "Say why messages are rated as they are; learns nothing and changes no file");
    addInstallOption(*command, options->install);
    addSenderOptions(*command, *options, "The sender of the messages");
    addTextsArgument(*command, *options);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq explain --install ~/filter 'Claim your free prize now, call 13912345678'",
                           "velq explain --install ~/filter --number 13912345678 --json 'call me back'",
                           "velq explain --install ~/filter --raw 'FREE prize'"});
    command->callback([options, &context] { runExplain(*options, context); });
}

} // namespace velq::kit
