// Messages from arguments and from lines.
#include "kit/messages/input_messages.h"

#include "kit/base/input.h"
#include "kit/messages/corpus.h"

#include <string_view>

namespace velq::kit {

static InputMessage messageOfLine(const std::string &line)
{
    const std::size_t tab = line.find('\t');
    Label label{};
    if (tab != std::string::npos && parseLabel(std::string_view(line).substr(0, tab), label)) {
        return {std::string(labelName(label)), line.substr(tab + 1)};
    }
    return {{}, line};
}

void forEachMessage(const std::vector<std::string> &arguments, std::istream &in,
                    const std::function<void(const InputMessage &)> &take)
{
    for (const std::string &argument : arguments) {
        wideArgument(argument, "the message");
    }
    for (const std::string &argument : arguments) {
        take({{}, argument});
    }
    if (!arguments.empty()) {
        return;
    }
    InputFile input("-", in);
    forEachTextLine(input, [&take](const std::string &line, std::uint64_t) { take(messageOfLine(line)); });
}

} // namespace velq::kit
