// Labelled messages from any bytes, in each of the three formats; written as JSON lines and as CSV they read the same.
// The input's first byte names the format.
#include "kit/base/csv.h"
#include "kit/base/input.h"
#include "kit/messages/corpus.h"
#include "kit_target.h"

#include <algorithm>
#include <nlohmann/json.hpp>

using namespace velq::fuzz;
using namespace velq::kit;

namespace {

using Messages = std::vector<LabelledMessage>;

Messages messagesIn(std::string_view text, CorpusFormat format)
{
    Messages messages;
    std::uint64_t line = 0;
    std::istringstream in{std::string(text)};
    readCorpus("-", format, in, [&](LabelledMessage &&message) {
        require(message.line > 0 && message.line >= line, "the lines of messages go down");
        require(textFault(message.text).empty(), "a message that is not text");
        line = message.line;
        messages.push_back(std::move(message));
    });
    return messages;
}

std::string asJsonLines(const Messages &messages)
{
    std::string lines;
    for (const LabelledMessage &message : messages) {
        lines += nlohmann::json{{"label", labelName(message.label)}, {"text", message.text}}.dump() + '\n';
    }
    return lines;
}

std::string asCsv(const Messages &messages)
{
    std::string records = "label,text\n";
    for (const LabelledMessage &message : messages) {
        records += std::string(labelName(message.label)) + ',' + csvField(message.text) + '\n';
    }
    return records;
}

void requireSame(const Messages &messages, const std::string &text, CorpusFormat format, const char *what)
{
    const Messages again = messagesIn(text, format);
    require(std::ranges::equal(messages, again,
                               [](const LabelledMessage &a, const LabelledMessage &b) {
                                   return a.label == b.label && a.text == b.text;
                               }),
            what);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    constexpr CorpusFormat formats[] = {CorpusFormat::labelTabText, CorpusFormat::csv, CorpusFormat::jsonLines};
    Messages messages;
    if (isAccepted([&] { messages = messagesIn(textOf(data, size).substr(1), formats[data[0] % 3]); })) {
        requireSame(messages, asJsonLines(messages), CorpusFormat::jsonLines, "messages as JSON lines read otherwise");
        requireSame(messages, asCsv(messages), CorpusFormat::csv, "messages as CSV read otherwise");
    }
    return 0;
}
