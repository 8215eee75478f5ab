// Tests pin texts and modules; line numbers and times change with every edit and run, so they are taken out here.
#include "support/log_reader.h"

#include <algorithm>
#include <fstream>
#include <regex>

namespace velq::test {

std::vector<std::string> logLines(const std::filesystem::path &file)
{
    std::vector<std::string> lines;
    std::ifstream in(file, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string normalisedLogLine(const std::string &line)
{
    static const std::regex position(R"(^(?:[^\t]*[/\\])?([A-Za-z0-9_]+)(?:\.[A-Za-z]+)?:[0-9]+\t)");
    static const std::regex bannerTime(R"(( log on:)[0-9]+-[0-9]+-[0-9]+_[0-9]+:[0-9]+:[0-9]+)");
    return std::regex_replace(std::regex_replace(line, position, "$1\t"), bannerTime, "$1<time>");
}

std::vector<std::string> normalisedLog(const std::filesystem::path &file)
{
    std::vector<std::string> lines = logLines(file);
    std::transform(lines.begin(), lines.end(), lines.begin(), normalisedLogLine);
    return lines;
}

std::size_t countLinesWith(const std::vector<std::string> &lines, std::string_view part)
{
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [part](const std::string &line) { return line.find(part) != std::string::npos; }));
}

} // namespace velq::test
