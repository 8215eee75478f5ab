// The platform functions on Windows. Paths keep their backslashes: in the OEM code page for streams, in UTF-8 for the
// database library. A character that the OEM page lacks has become '?' there, so a program directory with one has no
// log and fails the check of its files, while its databases open.
#include "platform/platform.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

static_assert(static_cast<unsigned>(CodePage::oem) == CP_OEMCP && static_cast<unsigned>(CodePage::utf8) == CP_UTF8);

static int win32ConvertText(CodePage page, const VELQ_WideChar *text, char *destination, int size) noexcept
{
    return WideCharToMultiByte(static_cast<UINT>(page), 0, text, -1, destination, size, nullptr, nullptr);
}

static bool win32UtcTime(PlatformTime *time) noexcept
{
    SYSTEMTIME now{};
    GetSystemTime(&now);
    *time = {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond};
    return true;
}

static void win32SleepMilliseconds(std::uint32_t milliseconds) noexcept
{
    Sleep(milliseconds);
}

// The C library would take a narrow path as text in the ANSI code page, which is another one than the OEM page on most
// systems: the path goes to it wide. -1 when the path does not open. `flags` are those of _wopen.
static int openOemPath(const char *path, int flags) noexcept
{
    wchar_t widePath[MAX_PATH];
    if (MultiByteToWideChar(CP_OEMCP, 0, path, -1, widePath, MAX_PATH) < 1) {
        return -1;
    }
    return _wopen(widePath, flags | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
}

static bool win32OpensForReading(const char *path) noexcept
{
    const int file = openOemPath(path, _O_RDONLY | _O_BINARY);
    if (file >= 0) {
        _close(file);
    }
    return file >= 0;
}

// The descriptor for a stream of that mode, or -1.
static int openForStream(const char *path, const char *mode) noexcept
{
    constexpr int access = _O_RDWR | _O_CREAT | _O_TEXT;
    if (mode[0] == 'w') {
        const int file = openOemPath(path, access | _O_EXCL);
        if (file >= 0 || errno != EEXIST) {
            return file;
        }
    }
    return openOemPath(path, access | _O_APPEND);
}

static std::FILE *win32OpenStream(const char *path, const char *mode) noexcept
{
    const int file = openForStream(path, mode);
    if (file < 0) {
        return nullptr;
    }
    std::FILE *stream = _fdopen(file, mode);
    if (stream == nullptr) {
        _close(file);
    }
    return stream;
}

// Relative paths begin with ".\", so that none of them is one of the names that the database library takes for
// something else than a file: the empty name, ":memory:", "file:...".
static char *win32DatabasePath(const char *path) noexcept
{
    const bool isRooted = path[0] == '\\' || path[0] == '/' || (path[0] != '\0' && path[0] != ':' && path[1] == ':');
    const char *prefix = isRooted ? "" : ".\\";
    const std::size_t prefixLength = std::strlen(prefix);
    char *native = static_cast<char *>(platformCalls.allocate(prefixLength + std::strlen(path) + 1));
    if (native != nullptr) {
        std::memcpy(native, prefix, prefixLength);
        std::strcpy(native + prefixLength, path);
    }
    return native;
}

static void *win32Allocate(std::size_t size) noexcept
{
    return std::calloc(1, size);
}

static void win32Release(void *memory) noexcept
{
    std::free(memory);
}

static constexpr PlatformCalls win32Calls = {win32ConvertText,     win32UtcTime,    win32SleepMilliseconds,
                                             win32OpensForReading, win32OpenStream, win32DatabasePath,
                                             win32Allocate,        win32Release};

constinit PlatformCalls platformCalls = win32Calls;

PlatformCalls systemPlatformCalls() noexcept
{
    return win32Calls;
}
