// The environment and the arguments that Gammu's SMS daemon gives its program, from any bytes: first the variables, as
// NAME=VALUE, an empty one behind the last, then the arguments; each ends with a zero. What is read, handed over again
// as one decoded part and read again is the same, and all files lie in the inbox itself.
#include "kit/base/wide_text.h"
#include "kit/hooks/gammu.h"
#include "kit_target.h"
#include "support/temporary_folder.h"

#include <fstream>
#include <map>

using namespace velq::fuzz;
using namespace velq::kit;

namespace {

using Variables = std::map<std::string, std::string>;

HookMessage readFrom(const Variables &variables, const std::string &inbox, const std::vector<std::string> &names)
{
    const Environment environment = [&variables](const std::string &name) {
        const auto found = variables.find(name);
        return found == variables.end() ? nullptr : found->second.c_str();
    };
    return readGammuMessage(environment, inbox, names);
}

std::string_view takePiece(std::string_view &rest)
{
    const std::string_view piece = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
    return piece;
}

// Files as the daemon names them: one of a text sender with a blank in its name, and a folder among them.
const std::filesystem::path &inbox()
{
    static const velq::test::TemporaryFolder folder;
    static const bool isFilled = [] {
        for (const char *name : {"IN1.txt", "IN MY SHOP 1.txt", "IN"}) {
            std::ofstream(folder.path() / name) << "text";
        }
        return std::filesystem::create_directory(folder.path() / "folder");
    }();
    require(isFilled, "no inbox");
    static const std::filesystem::path path = folder.path();
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    std::string_view rest = textOf(data, size);
    // Another reason than content is that no daemon started the hook, which this variable tells.
    Variables variables = {{"SMS_MESSAGES", "1"}};
    for (std::string_view piece = takePiece(rest); !piece.empty(); piece = takePiece(rest)) {
        const std::size_t sign = piece.find('=');
        if (sign != std::string_view::npos) {
            variables[std::string(piece.substr(0, sign))] = piece.substr(sign + 1);
        }
    }
    std::vector<std::string> names;
    while (!rest.empty()) {
        names.emplace_back(takePiece(rest));
    }
    HookMessage message;
    if (!isAccepted([&] { message = readFrom(variables, inbox().string(), names); })) {
        return 0;
    }
    require(message.files.size() <= names.size(), "more files than names");
    for (const std::filesystem::path &file : message.files) {
        require(file.lexically_normal().parent_path() == inbox(), "a file outside of the inbox");
    }
    const HookMessage again = readFrom({{"SMS_MESSAGES", "1"},
                                        {"SMS_1_NUMBER", message.sender},
                                        {"DECODED_PARTS", "1"},
                                        {"DECODED_1_TEXT", utf8FromWide(message.body)}},
                                       {}, names);
    require(again.sender == message.sender && again.body == message.body, "a message handed over again is another");
    require(again.files.empty(), "files without an inbox");
    return 0;
}
