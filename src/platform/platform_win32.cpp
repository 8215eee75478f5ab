// The platform functions on Windows. Paths keep their backslashes: in the OEM code page for streams, in UTF-8 for the
// database library. A character that the OEM page lacks has become '?' there, so a program directory with one has no
// log and fails the check of its files, while its databases open.
#include "platform/platform.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

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
// systems: the path goes to it wide.
static std::FILE *win32OpenStream(const char *path, const char *mode) noexcept
{
    const int size = MultiByteToWideChar(CP_OEMCP, 0, path, -1, nullptr, 0);
    if (size < 1) {
        return nullptr;
    }
    auto *widePath = static_cast<wchar_t *>(platformCalls.allocate(static_cast<std::size_t>(size) * sizeof(wchar_t)));
    if (widePath == nullptr) {
        return nullptr;
    }
    wchar_t wideMode[8]{};
    for (std::size_t i = 0; mode[i] != '\0' && i + 1 < std::size(wideMode); ++i) {
        wideMode[i] = static_cast<wchar_t>(mode[i]);
    }
    std::FILE *stream = nullptr;
    if (MultiByteToWideChar(CP_OEMCP, 0, path, -1, widePath, size) == size) {
        stream = _wfopen(widePath, wideMode);
    }
    platformCalls.release(widePath);
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

static constexpr PlatformCalls win32Calls = {win32ConvertText, win32UtcTime,      win32SleepMilliseconds,
                                             win32OpenStream,  win32DatabasePath, win32Allocate,
                                             win32Release};

constinit PlatformCalls platformCalls = win32Calls;

PlatformCalls systemPlatformCalls() noexcept
{
    return win32Calls;
}
