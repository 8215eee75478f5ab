// What the log says of files, and the messages in files whose host hands over more than the file.
#include "kit/hooks/retry.h"

#include "kit/base/status.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <fstream>
#include <map>
#include <optional>
#include <set>

namespace velq::kit {

namespace fs = std::filesystem;

// ---- The log ------------------------------------------------------------------------------------------------------

static std::vector<std::string> split(const std::string &text, std::string_view separator)
{
    std::vector<std::string> parts;
    std::size_t at = 0;
    for (std::size_t end = text.find(separator); end != std::string::npos; end = text.find(separator, at)) {
        parts.push_back(text.substr(at, end - at));
        at = end + separator.size();
    }
    parts.push_back(text.substr(at));
    return parts;
}

// The names in a column, and, for a name may hold a comma itself, all that neighbours of them may be together.
static std::vector<std::string> possibleNames(const std::string &column)
{
    constexpr std::size_t mostPieces = 16;
    const std::vector<std::string> pieces = split(column, ", ");
    std::vector<std::string> names = pieces;
    for (std::size_t first = 0; first < pieces.size() && pieces.size() <= mostPieces; ++first) {
        std::string name = pieces[first];
        for (std::size_t last = first + 1; last < pieces.size(); ++last) {
            name += ", " + pieces[last];
            names.push_back(name);
        }
    }
    return names;
}

static std::set<std::string> ratedNames(const fs::path &log, std::string_view host)
{
    std::ifstream in(log, std::ios::binary);
    if (!in) {
        throw Error(Status::noInput, "cannot read the log " + log.string() + ", which says what was rated");
    }
    constexpr std::size_t columns = 6;
    std::set<std::string> rated;
    for (std::string line; std::getline(in, line);) {
        const std::vector<std::string> fields = split(line, "\t");
        if (fields.size() != columns || fields[1] != host || fields[2] == "warning") {
            continue;
        }
        for (const std::string &name : possibleNames(fields[4])) {
            if (fields[2] == "failed") {
                rated.erase(name);
            } else {
                rated.insert(name);
            }
        }
    }
    return rated;
}

std::vector<fs::path> unratedFiles(const fs::path &folder, const fs::path &log, std::string_view host)
{
    const std::set<std::string> rated = ratedNames(log, host);
    std::error_code code;
    std::vector<fs::path> files;
    for (fs::directory_iterator entry(folder, code); !code && entry != fs::directory_iterator();
         entry.increment(code)) {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        if (fs::is_regular_file(entry->symlink_status(ignored)) && !name.starts_with('.') &&
            !rated.contains(oneLine(name))) {
            files.push_back(entry->path());
        }
    }
    if (code) {
        throw Error(Status::noInput, "cannot read the folder " + folder.string() + ": " + code.message());
    }
    std::ranges::sort(files);
    return files;
}

// ---- Files of Gammu's daemon --------------------------------------------------------------------------------------

namespace {

struct GammuName {
    std::string sender;
    std::size_t part = 0;
};

} // namespace

// IN, date, time and number of the message in that second, sender, part.
static std::optional<GammuName> gammuName(const fs::path &file)
{
    const std::string name = file.stem().string();
    std::size_t sender = 0;
    for (int i = 0; i < 3; ++i) {
        sender = name.find('_', sender) + 1; // 0 where there is none, which the comparison below refuses
        if (sender == 0) {
            return std::nullopt;
        }
    }
    const std::size_t part = name.rfind('_') + 1;
    if (!name.starts_with("IN") || file.extension() != ".txt" || part < sender) {
        return std::nullopt;
    }
    GammuName found{part > sender ? name.substr(sender, part - 1 - sender) : std::string(), 0};
    const char *end = name.data() + name.size();
    if (std::from_chars(name.data() + part, end, found.part) != std::from_chars_result{end, std::errc()}) {
        return std::nullopt;
    }
    return found;
}

std::vector<std::vector<fs::path>> gammuMessages(const std::vector<fs::path> &files)
{
    std::vector<std::vector<fs::path>> messages;
    std::map<std::string, std::size_t> latest; // of each sender, the message that was begun last
    for (const fs::path &file : files) {
        const std::optional<GammuName> name = gammuName(file);
        if (!name) {
            continue;
        }
        const auto begun = latest.find(name->sender);
        if (name->part > 0 && begun != latest.end() && messages[begun->second].size() == name->part) {
            messages[begun->second].push_back(file);
        } else {
            latest[name->sender] = messages.size();
            messages.push_back({file});
        }
    }
    return messages;
}

static WideText textOfFile(const fs::path &file)
{
    std::ifstream in(file, std::ios::binary);
    constexpr std::size_t largest = std::size_t{1} << 16;
    std::string bytes(largest, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (in.gcount() == 0 && !in.eof()) {
        throw Error(Status::noInput, "cannot read the message file " + file.string());
    }
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    const bool highFirst = bytes.starts_with("\xFE\xFF");
    if (highFirst || bytes.starts_with("\xFF\xFE")) {
        WideText text;
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
            const unsigned first = static_cast<unsigned char>(bytes[i]);
            const unsigned second = static_cast<unsigned char>(bytes[i + 1]);
            text.push_back(static_cast<VELQ_WideChar>(highFirst ? first << 8 | second : second << 8 | first));
        }
        return text;
    }
    const auto text = wideFromUtf8(bytes);
    if (!text) {
        throw Error(Status::badData, file.string() + " is not UTF-8; it stays where it is");
    }
    return *text;
}

HookMessage readGammuFiles(const std::vector<fs::path> &files)
{
    HookMessage message;
    message.files = files;
    for (const fs::path &file : files) {
        message.body += textOfFile(file);
    }
    message.body = withoutZeros(std::move(message.body));
    if (const auto name = gammuName(files.front()); name && !firstInvalidByte(name->sender)) {
        message.sender = name->sender;
    }
    return message;
}

} // namespace velq::kit
