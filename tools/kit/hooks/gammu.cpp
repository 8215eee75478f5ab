// Messages in the environment variables of Gammu's SMS daemon.
#include "kit/hooks/gammu.h"

#include "kit/base/status.h"

#include <charconv>
#include <clocale>
#include <langinfo.h>

namespace velq::kit {

// The daemon itself knows fewer parts of one message.
static constexpr unsigned mostParts = 255;

static unsigned countIn(const Environment &environment, const std::string &name, const char *missing)
{
    const char *value = environment(name);
    const std::string text = value == nullptr ? missing : value;
    unsigned count = 0;
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (text.empty() || code != std::errc() || end != text.data() + text.size() || count > mostParts) {
        throw Error(Status::badData, "the variable " + name + " is \"" + text + "\", not a number of parts");
    }
    return count;
}

static std::string joined(const Environment &environment, const std::string &prefix, unsigned count)
{
    std::string text;
    for (unsigned i = 1; i <= count; ++i) {
        if (const char *part = environment(prefix + std::to_string(i) + "_TEXT"); part != nullptr) {
            text += part;
        }
    }
    return text;
}

static bool isFileBelow(const std::string &inbox, const std::string &name)
{
    std::error_code ignored;
    const std::filesystem::file_status status =
        std::filesystem::symlink_status(std::filesystem::path(inbox) / name, ignored);
    return std::filesystem::is_regular_file(status);
}

static void checkNames(const std::vector<std::string> &names)
{
    for (const std::string &name : names) {
        if (name.empty() || name == "." || name == ".." || std::filesystem::path(name).filename() != name) {
            throw Error(Status::badData,
                        "\"" + name + "\" is not a file name; the daemon gives names without a folder");
        }
    }
}

// The daemon puts the names on a command line as they are, so that one with blanks in it, as the name of a text sender
// may have, arrives as several.
static std::vector<std::filesystem::path> filesBelow(const std::string &inbox, const std::vector<std::string> &names)
{
    std::vector<std::filesystem::path> files;
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::string name = names[i];
        std::size_t last = i;
        while (!isFileBelow(inbox, name) && last + 1 < names.size()) {
            name += ' ' + names[++last];
        }
        if (isFileBelow(inbox, name)) {
            i = last;
        } else {
            name = names[i];
        }
        files.push_back(std::filesystem::path(inbox) / name);
    }
    return files;
}

HookMessage readGammuMessage(const Environment &environment, const std::string &inbox,
                             const std::vector<std::string> &names)
{
    if (environment("SMS_MESSAGES") == nullptr) {
        throw Error(Status::noInput, "the variable SMS_MESSAGES is not set; the hook is started by the daemon, with "
                                     "RunOnReceive");
    }
    const unsigned messages = countIn(environment, "SMS_MESSAGES", "");
    if (messages == 0) {
        throw Error(Status::badData, "the variable SMS_MESSAGES is 0; there is no message");
    }
    const unsigned decoded = countIn(environment, "DECODED_PARTS", "0");
    const char *sender = environment("SMS_1_NUMBER");
    HookMessage message;
    message.sender = sender == nullptr ? "" : sender;
    std::string text = joined(environment, "DECODED_", decoded);
    if (text.empty()) {
        text = joined(environment, "SMS_", messages);
    }
    const auto body = wideFromUtf8(text);
    if (!body || firstInvalidByte(message.sender)) {
        throw Error(Status::badData, "text or sender is not UTF-8; start the daemon in a UTF-8 locale");
    }
    message.body = *body;
    if (!inbox.empty()) {
        checkNames(names);
        message.files = filesBelow(inbox, names);
    }
    return message;
}

std::optional<std::string> localeFault()
{
    // Asked of the system, not of the names in the variables: a locale that is not installed counts as C.
    std::string codeset = "that of the C locale, for the one that is set is not installed";
    if (const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr); locale != nullptr) {
        codeset = nl_langinfo_l(CODESET, locale);
        freelocale(locale);
    }
    if (codeset == "UTF-8") {
        return std::nullopt;
    }
    return "the daemon's character set is " + codeset +
           ": characters outside of it arrive as \"?\" and are not rated; start the daemon with LC_ALL=C.UTF-8";
}

} // namespace velq::kit
