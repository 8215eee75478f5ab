// Reads a diagnostic log for comparison with expected lines.
#ifndef VELQ_TEST_SUPPORT_LOG_READER_H
#define VELQ_TEST_SUPPORT_LOG_READER_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velq::test {

// The lines without their line ends; a last line without an end counts. Empty for a missing file.
std::vector<std::string> logLines(const std::filesystem::path &file);

// The line with a leading source position ("src/VELQ_Interface.cpp:123" and a tab) cut to the module's name and the
// tab ("VELQ_Interface\t"), and a banner's time replaced by "<time>"; other text is kept as it is.
std::string normalisedLogLine(const std::string &line);

// logLines, each line normalised.
std::vector<std::string> normalisedLog(const std::filesystem::path &file);

// Follows a log that grows.
class LogTail {
  public:
    // The normalised lines since the last call.
    std::vector<std::string> newLines(const std::filesystem::path &file);

  private:
    std::size_t seen_ = 0;
};

// The lines of the busy rule while a lock is waited for in vain: five retries, and the end.
std::vector<std::string> linesOfWaitingInVain();

// How many of the lines hold `part`.
std::size_t countLinesWith(const std::vector<std::string> &lines, std::string_view part);

} // namespace velq::test

#endif
