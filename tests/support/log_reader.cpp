// Tests pin texts and modules; line numbers and times change with every edit and run, so they are taken out here.
#include "support/log_reader.h"

#include <algorithm>
#include <fstream>
#include <utility>

namespace velq::test {

namespace {

constexpr std::string_view digits = "0123456789";
constexpr std::string_view nameCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

bool consistsOf(std::string_view text, std::string_view characters)
{
    return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

// The module's name in "folder/Module.cpp:123"; empty for any other text.
std::string_view moduleOfPosition(std::string_view position)
{
    const std::size_t colon = position.rfind(':');
    if (colon == std::string_view::npos || !consistsOf(position.substr(colon + 1), digits)) {
        return {};
    }
    const std::string_view file = position.substr(0, colon);
    const std::string_view name = file.substr(file.find_last_of("/\\") + 1);
    const std::string_view module = name.substr(0, name.find('.'));
    return consistsOf(module, nameCharacters) ? module : std::string_view();
}

std::string withoutSourcePosition(const std::string &line)
{
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) {
        return line;
    }
    const std::string_view module = moduleOfPosition(std::string_view(line).substr(0, tab));
    return module.empty() ? line : std::string(module) + line.substr(tab);
}

std::string withoutBannerTime(const std::string &line)
{
    const std::string_view label = " log on:";
    const std::size_t start = line.find(label);
    if (start == std::string::npos || line.compare(0, 1, "#") != 0) {
        return line;
    }
    const std::size_t time = start + label.size();
    const std::size_t end = std::min(line.find_first_not_of("0123456789-_:", time), line.size());
    return end == time ? line : line.substr(0, time) + "<time>" + line.substr(end);
}

} // namespace

std::vector<std::string> logLines(const std::filesystem::path &file)
{
    std::vector<std::string> lines;
    std::ifstream in(file); // as text: the system's own line ends
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string normalisedLogLine(const std::string &line)
{
    return withoutBannerTime(withoutSourcePosition(line));
}

std::vector<std::string> normalisedLog(const std::filesystem::path &file)
{
    std::vector<std::string> lines = logLines(file);
    std::transform(lines.begin(), lines.end(), lines.begin(), normalisedLogLine);
    return lines;
}

std::vector<std::string> LogTail::newLines(const std::filesystem::path &file)
{
    std::vector<std::string> lines = normalisedLog(file);
    const std::size_t seen = std::exchange(seen_, lines.size());
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(seen));
    return lines;
}

std::vector<std::string> linesOfWaitingInVain()
{
    std::vector<std::string> lines;
    for (int count = 0; count <= 5; ++count) {
        lines.emplace_back("VELQ_Util\tSqlite Busy Handler invoked!");
        if (count < 5) {
            lines.push_back("VELQ_Util\tThere's still retry chance, has retry " + std::to_string(count) +
                            " times!Sleep and retry!");
        }
    }
    return lines;
}

std::size_t countLinesWith(const std::vector<std::string> &lines, std::string_view part)
{
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [part](const std::string &line) { return line.find(part) != std::string::npos; }));
}

} // namespace velq::test
