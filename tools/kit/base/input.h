// Input by lines: opened files or standard input, lines of bounded length with their numbers, and the errors that name
// both.
#ifndef VELQ_KIT_BASE_INPUT_H
#define VELQ_KIT_BASE_INPUT_H

#include "kit/base/status.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace velq::kit {

// A file opened for reading, or standard input for "-".
class InputFile {
  public:
    // Throws Error (noInput).
    InputFile(const std::string &file, std::istream &standardInput);

    std::istream &stream()
    {
        return *stream_;
    }
    // For messages: the file's name, or "standard input".
    const std::string &name() const
    {
        return name_;
    }
    bool isStandardInput() const
    {
        return stream_ != &file_;
    }
    // Whether it can be read again from its start: no pipe, no device, not standard input.
    bool isRegular() const
    {
        return regular_;
    }

  private:
    std::string name_;
    std::ifstream file_;
    std::istream *stream_;
    bool regular_ = false;
};

enum class LineResult { line, tooLong, end };

enum class LineEnds { drop, keepReturn };

// Reads lines without their ends ("\n" or "\r\n"; with keepReturn only "\n") and drops a byte order mark at the start.
// Of a line longer than `limit` bytes the start is kept and the rest passed over.
class LineReader {
  public:
    LineReader(std::istream &in, std::size_t limit, LineEnds ends = LineEnds::drop)
        : in_(in), limit_(limit), ends_(ends)
    {
    }

    LineResult next(std::string &line);
    // The number of the line read last, counted from 1.
    std::uint64_t number() const
    {
        return number_;
    }

  private:
    int nextUnit();

    std::istream &in_;
    std::size_t limit_;
    LineEnds ends_;
    std::uint64_t number_ = 0;
};

// badData with "name:line: what".
[[noreturn]] void failAt(const std::string &name, std::uint64_t line, const std::string &what);

// What keeps `text` from being a message, or nothing: not UTF-8, a zero character.
std::string textFault(std::string_view text);

// The longest line, and the longest CSV record, that holds a message.
inline constexpr std::size_t longestMessageLine = std::size_t{1} << 20;

// Calls `take` with each line that is not empty and its number. badData for a line that is too long or no text.
void forEachTextLine(InputFile &input, const std::function<void(std::string &line, std::uint64_t number)> &take);

// inputOutput when the stream stopped for another reason than its end.
void checkReadToEnd(const std::istream &in, const std::string &name);

} // namespace velq::kit

#endif
