// Log lines as data: a text together with its level, the value that it takes, and the source line on which it stands.
// The records of database operations are made of them. A line in the log so names the place of its own text, whichever
// function writes it.
#ifndef VELQ_LOG_TEXT_H
#define VELQ_LOG_TEXT_H

#include "VELQ_Util.h"

#include <cstdint>
#include <string_view>

enum class LogLevel : std::uint8_t { none, debug, error };

// What a text takes after source file and line: nothing or the database's result code; the file's path; the value 0.
enum class LogValue : std::uint8_t { code, path, zero };

struct LogText {
    LogLevel level = LogLevel::none; // none: nothing is written
    LogValue value = LogValue::code;
    const char *format = nullptr;
    SourceLine where{};
};

// What is logged when a step fails: the cause, then the operation's leave line, where it has one.
struct FailureTexts {
    LogText cause{};
    LogText leave{};
};

// Whether the format takes source file, line and this value, and nothing else.
consteval bool takesValue(std::string_view format, LogValue value)
{
    constexpr std::string_view position = "%s:%d\t";
    if (!format.starts_with(position)) {
        return false;
    }
    format.remove_prefix(position.size());
    const std::size_t conversion = format.find('%');
    if (conversion == std::string_view::npos) {
        return value == LogValue::code;
    }
    return format.substr(conversion, 2) == (value == LogValue::path ? "%s" : "%d") &&
           format.find('%', conversion + 1) == std::string_view::npos;
}

void formatTakesOtherValues(); // nowhere defined: a wrong format does not compile

consteval LogText makeLogText(LogLevel level, const char *format, LogValue value, SourceLine where)
{
    if (!takesValue(format, value)) {
        formatTakesOtherValues();
    }
    return {level, value, format, where};
}

// The last two arguments are left to their defaults: the place of the call.
consteval LogText errorLine(const char *format, LogValue value = LogValue::code, const char *file = __builtin_FILE(),
                            int line = __builtin_LINE())
{
    return makeLogText(LogLevel::error, format, value, {file, line});
}

consteval LogText debugLine(const char *format, LogValue value = LogValue::code, const char *file = __builtin_FILE(),
                            int line = __builtin_LINE())
{
    return makeLogText(LogLevel::debug, format, value, {file, line});
}

// Writes one line. `path` is needed by texts that take one.
void logText(const LogText &text, int code = 0, const char *path = nullptr) noexcept;
void logFailure(const FailureTexts &texts, int code, const char *path) noexcept;

#endif
