// The platform functions on Windows. Paths keep their backslashes: narrowed with the OEM code page for streams, in
// UTF-8 for the database library.
#include "platform/platform.h"

#include <cstdlib>
#include <cstring>

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

static std::FILE *win32OpenStream(const char *path, const char *mode) noexcept
{
    return std::fopen(path, mode);
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

static constexpr PlatformCalls win32Calls = {win32ConvertText, win32UtcTime,      win32SleepMilliseconds,
                                             win32OpenStream,  win32DatabasePath, win32Allocate,
                                             win32Release};

constinit PlatformCalls platformCalls = win32Calls;

PlatformCalls systemPlatformCalls() noexcept
{
    return win32Calls;
}
