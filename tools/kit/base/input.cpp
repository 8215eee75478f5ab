// Lines of files and of standard input.
#include "kit/base/input.h"

#include "kit/base/wide_text.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace velq::kit {

InputFile::InputFile(const std::string &file, std::istream &standardInput) : name_(file), stream_(&standardInput)
{
    if (file == "-") {
        name_ = "standard input";
        return;
    }
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        throw Error(Status::noInput, "cannot read " + file + ": it is a folder; give a file");
    }
    file_.open(file, std::ios::binary);
    if (!file_) {
        const std::string why = errno == ENOENT ? "no such file" : std::strerror(errno);
        throw Error(Status::noInput, "cannot read " + file + ": " + why + "; check the path");
    }
    stream_ = &file_;
    regular_ = std::filesystem::is_regular_file(file, ignored);
}

static void dropByteOrderMark(std::string &line)
{
    if (line.starts_with("\xEF\xBB\xBF")) {
        line.erase(0, 3);
    }
}

// Straight from the buffer: going through the stream for each byte costs several times as much. A failed read ends the
// input with the stream's bad bit set.
int LineReader::nextUnit()
{
    try {
        return in_.rdbuf()->sbumpc();
    } catch (const std::ios_base::failure &) {
        in_.setstate(std::ios::badbit);
        return std::istream::traits_type::eof();
    }
}

LineResult LineReader::next(std::string &line)
{
    constexpr int end = std::istream::traits_type::eof();
    line.clear();
    bool cut = false;
    int unit = in_.good() ? nextUnit() : end;
    if (unit == end) {
        return LineResult::end;
    }
    for (; unit != end && unit != '\n'; unit = nextUnit()) {
        if (line.size() < limit_) {
            line.push_back(static_cast<char>(unit));
        } else {
            cut = cut || unit != '\r';
        }
    }
    if (++number_ == 1) {
        dropByteOrderMark(line);
    }
    if (ends_ == LineEnds::drop && !cut && line.ends_with('\r')) {
        line.pop_back();
    }
    return cut ? LineResult::tooLong : LineResult::line;
}

void failAt(const std::string &name, std::uint64_t line, const std::string &what)
{
    throw Error(Status::badData, name + ":" + std::to_string(line) + ": " + what);
}

std::string textFault(std::string_view text)
{
    if (const auto offset = firstInvalidByte(text)) {
        return "not UTF-8 from byte " + std::to_string(*offset + 1) + " on; convert the text to UTF-8";
    }
    if (text.find('\0') != std::string_view::npos) {
        return "the text holds a zero character; remove it";
    }
    return {};
}

void forEachTextLine(InputFile &input, const std::function<void(std::string &line, std::uint64_t number)> &take)
{
    LineReader lines(input.stream(), longestMessageLine);
    std::string line;
    for (LineResult result = lines.next(line); result != LineResult::end; result = lines.next(line)) {
        if (result == LineResult::tooLong) {
            failAt(input.name(), lines.number(), "the line is longer than 1 MiB; one message stands on one line");
        }
        if (const std::string fault = textFault(line); !fault.empty()) {
            failAt(input.name(), lines.number(), fault);
        }
        if (!line.empty()) {
            take(line, lines.number());
        }
    }
    checkReadToEnd(input.stream(), input.name());
}

void checkReadToEnd(const std::istream &in, const std::string &name)
{
    if (in.bad()) {
        throw Error(Status::inputOutput, "reading " + name + " failed; check the device and run the command again");
    }
}

} // namespace velq::kit
