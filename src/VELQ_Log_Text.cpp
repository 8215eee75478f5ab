// Writing a log line that is kept as data.
#include "VELQ_Log_Text.h"

void logText(const LogText &text, int code, const char *path) noexcept
{
    if (text.level == LogLevel::none) {
        return;
    }
    const auto write = text.level == LogLevel::error ? logError : logDebug;
    if (text.value == LogValue::path) {
        write(text.format, text.where.file, text.where.line, path);
    } else {
        write(text.format, text.where.file, text.where.line, text.value == LogValue::zero ? 0 : code);
    }
}

void logFailure(const FailureTexts &texts, int code, const char *path) noexcept
{
    logText(texts.cause, code, path);
    logText(texts.leave, code, path);
}
