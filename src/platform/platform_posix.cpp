// The platform functions on POSIX systems. Backslashes in paths become slashes; the OEM code page is UTF-8.
#include "platform/platform.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iconv.h>
#include <unistd.h>

namespace {

constexpr char replacementCharacter[] = "\xEF\xBF\xBD"; // U+FFFD
constexpr std::size_t replacementLength = sizeof replacementCharacter - 1;

// Converts as much of the input as goes, putting U+FFFD in place of units that are no character. False when
// `destination` is full.
bool convertAll(iconv_t converter, char *&source, std::size_t &sourceBytes, char *&destination,
                std::size_t &destinationBytes) noexcept
{
    while (sourceBytes > 0) {
        if (iconv(converter, &source, &sourceBytes, &destination, &destinationBytes) != static_cast<std::size_t>(-1)) {
            continue;
        }
        if (errno == E2BIG || destinationBytes < replacementLength) {
            return false;
        }
        std::memcpy(destination, replacementCharacter, replacementLength);
        destination += replacementLength;
        destinationBytes -= replacementLength;
        source += sizeof(VELQ_WideChar);
        sourceBytes -= sizeof(VELQ_WideChar);
    }
    return true;
}

std::size_t unitsOf(const VELQ_WideChar *text) noexcept
{
    std::size_t units = 0;
    while (text[units] != 0) {
        ++units;
    }
    return units;
}

int sizeNeeded(iconv_t converter, char *source, std::size_t sourceBytes) noexcept
{
    constexpr std::size_t mostBytesPerUnit = 3;
    if (sourceBytes / sizeof(VELQ_WideChar) >= INT_MAX / mostBytesPerUnit) {
        return 0;
    }
    int needed = 1;
    while (sourceBytes > 0) {
        char piece[256];
        char *destination = piece;
        std::size_t room = sizeof piece;
        const bool all = convertAll(converter, source, sourceBytes, destination, room);
        needed += static_cast<int>(destination - piece);
        if (!all && destination == piece) {
            return 0; // no progress: the converter itself is broken
        }
    }
    return needed;
}

int posixConvertText(CodePage, const VELQ_WideChar *text, char *destination, int size) noexcept
{
    iconv_t converter = iconv_open("UTF-8", "UTF-16LE");
    if (converter == reinterpret_cast<iconv_t>(-1)) { // NOLINT(performance-no-int-to-ptr): iconv's own failure value
        return 0;
    }
    // iconv reads its input through a pointer to non-const, but does not write it.
    char *source = const_cast<char *>(reinterpret_cast<const char *>(text));
    std::size_t sourceBytes = unitsOf(text) * sizeof(VELQ_WideChar);
    int count = 0;
    if (size == 0) {
        count = sizeNeeded(converter, source, sourceBytes);
    } else {
        char *end = destination;
        std::size_t room = static_cast<std::size_t>(size) - 1;
        if (convertAll(converter, source, sourceBytes, end, room)) {
            *end = '\0';
            count = static_cast<int>(end - destination) + 1;
        }
    }
    iconv_close(converter);
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

// `path` behind `prefix`, with slashes; null when memory is out.
char *nativePath(const char *prefix, const char *path) noexcept
{
    const std::size_t prefixLength = std::strlen(prefix);
    char *native = static_cast<char *>(platformCalls.allocate(prefixLength + std::strlen(path) + 1));
    if (native != nullptr) {
        std::memcpy(native, prefix, prefixLength); // NOLINT(bugprone-not-null-terminated-result): allocated zeroed
        for (std::size_t i = 0; path[i] != '\0'; ++i) {
            native[prefixLength + i] = path[i] == '\\' ? '/' : path[i];
        }
    }
    return native;
}

// Relative paths begin with "./", so that none of them is one of the names that the database library takes for
// something else than a file: the empty name, ":memory:", "file:...".
char *posixDatabasePath(const char *path) noexcept
{
    const bool isAbsolute = path[0] == '\\' || path[0] == '/';
    return nativePath(isAbsolute ? "" : "./", path);
}

// Never waits: fopen would, on a named pipe that nobody writes to.
std::FILE *openForReading(const char *path, const char *mode) noexcept
{
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    std::FILE *stream = fdopen(file, mode);
    if (stream == nullptr) {
        close(file);
    }
    return stream;
}

std::FILE *posixOpenStream(const char *path, const char *mode) noexcept
{
    char *native = nativePath("", path);
    if (native == nullptr) {
        return nullptr;
    }
    std::FILE *stream = mode[0] == 'r' ? openForReading(native, mode) : std::fopen(native, mode);
    platformCalls.release(native);
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

static constexpr PlatformCalls posixCalls = {posixConvertText, posixUtcTime,      posixSleepMilliseconds,
                                             posixOpenStream,  posixDatabasePath, posixAllocate,
                                             posixRelease};

constinit PlatformCalls platformCalls = posixCalls;

PlatformCalls systemPlatformCalls() noexcept
{
    return posixCalls;
}
