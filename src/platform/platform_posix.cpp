// The platform functions on POSIX systems. Backslashes in paths become slashes; the OEM code page is UTF-8.
#include "platform/platform.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>
#include <utf8/unchecked.h>

namespace {

bool isLeadSurrogate(VELQ_WideChar unit) noexcept
{
    return (unit & 0xFC00U) == 0xD800U;
}

bool isTrailSurrogate(VELQ_WideChar unit) noexcept
{
    return (unit & 0xFC00U) == 0xDC00U;
}

// The character at `text`, which is moved behind it; U+FFFD for a surrogate without its partner. Units are numbers, so
// the byte order of the system has no part in it.
char32_t nextCharacter(const VELQ_WideChar *&text) noexcept
{
    const VELQ_WideChar unit = *text++;
    if (isLeadSurrogate(unit) && isTrailSurrogate(*text)) {
        return 0x10000U + ((unit & 0x3FFU) << 10U) + (*text++ & 0x3FFU);
    }
    return isLeadSurrogate(unit) || isTrailSurrogate(unit) ? U'\uFFFD' : unit;
}

int posixConvertText(CodePage, const VELQ_WideChar *text, char *destination, int size) noexcept
{
    const int capacity = size == 0 ? INT_MAX : size;
    int count = 1; // the terminator
    while (*text != 0) {
        char bytes[4];
        const auto length = static_cast<int>(utf8::unchecked::append(nextCharacter(text), bytes) - bytes);
        if (length > capacity - count) {
            return 0;
        }
        if (size != 0) {
            std::memcpy(destination + count - 1, bytes, static_cast<std::size_t>(length));
        }
        count += length;
    }
    if (size != 0) {
        destination[count - 1] = '\0';
    }
    return count;
}

bool posixUtcTime(PlatformTime *time) noexcept
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    if (now == static_cast<std::time_t>(-1) || gmtime_r(&now, &parts) == nullptr) {
        return false;
    }
    *time = {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec};
    return true;
}

void posixSleepMilliseconds(std::uint32_t milliseconds) noexcept
{
    timespec rest{static_cast<std::time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}

// Copies `path`, terminator included, with slashes.
void copyWithSlashes(char *native, const char *path) noexcept
{
    do {
        *native++ = *path == '\\' ? '/' : *path;
    } while (*path++ != '\0');
}

// Relative paths begin with "./", so that none of them is one of the names that the database library takes for
// something else than a file: the empty name, ":memory:", "file:...".
char *posixDatabasePath(const char *path) noexcept
{
    const bool isAbsolute = path[0] == '\\' || path[0] == '/';
    const std::size_t prefixLength = isAbsolute ? 0 : 2;
    char *native = static_cast<char *>(platformCalls.allocate(prefixLength + std::strlen(path) + 1));
    if (native != nullptr) {
        std::memcpy(native, "./", prefixLength);
        copyWithSlashes(native + prefixLength, path);
    }
    return native;
}

// Paths for calls of the system, which takes none longer, lie on the stack. False when `path` is too long.
bool systemPath(char (&native)[PATH_MAX], const char *path) noexcept
{
    if (std::strlen(path) >= sizeof native) {
        return false;
    }
    copyWithSlashes(native, path);
    return true;
}

// Never waits: an ordinary open would, on a named pipe that nobody writes to.
bool posixOpensForReading(const char *path) noexcept
{
    char native[PATH_MAX];
    const int file = systemPath(native, path) ? open(native, O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    if (file >= 0) {
        close(file);
    }
    return file >= 0;
}

// The descriptor for a stream of that mode, or -1.
int openForStream(const char *path, const char *mode) noexcept
{
    constexpr int access = O_RDWR | O_CREAT | O_CLOEXEC;
    constexpr mode_t permissions = 0666;
    if (mode[0] == 'w') {
        const int file = open(path, access | O_EXCL, permissions);
        if (file >= 0 || errno != EEXIST) {
            return file;
        }
    }
    return open(path, access | O_APPEND, permissions);
}

std::FILE *posixOpenStream(const char *path, const char *mode) noexcept
{
    char native[PATH_MAX];
    const int file = systemPath(native, path) ? openForStream(native, mode) : -1;
    if (file < 0) {
        return nullptr;
    }
    std::FILE *stream = fdopen(file, mode);
    if (stream == nullptr) {
        close(file);
    }
    return stream;
}

void *posixAllocate(std::size_t size) noexcept
{
    return std::calloc(1, size);
}

void posixRelease(void *memory) noexcept
{
    std::free(memory);
}

} // namespace

static constexpr PlatformCalls posixCalls = {posixConvertText,     posixUtcTime,    posixSleepMilliseconds,
                                             posixOpensForReading, posixOpenStream, posixDatabasePath,
                                             posixAllocate,        posixRelease};

constinit PlatformCalls platformCalls = posixCalls;

PlatformCalls systemPlatformCalls() noexcept
{
    return posixCalls;
}
