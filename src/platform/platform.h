// Everything that the engine asks of the operating system. One implementation file per system defines these functions;
// the build picks it. The engine calls them through `platformCalls`, so that tests can put their own in place.
//
// Paths: the engine builds them with backslashes everywhere. Only here does a path take the system's own form.
#ifndef VELQ_PLATFORM_H
#define VELQ_PLATFORM_H

#include "velq.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

// Code pages that text is converted to.
enum class CodePage : unsigned {
    oem = 1,     // the system's page for narrow paths; UTF-8 where the system has no such thing
    utf8 = 65001 // UTF-8
};

// A moment in UTC.
struct PlatformTime {
    int year, month, day, hour, minute, second;
};

struct PlatformCalls {
    // Converts zero-terminated `text`. With `size` 0 returns the bytes needed; otherwise converts into `destination`
    // and returns the bytes written. Both counts include the terminator. Ill-formed UTF-16 becomes U+FFFD. Returns 0
    // when the conversion is not possible or does not fit, and then `destination` is undefined.
    int (*convertText)(CodePage page, const VELQ_WideChar *text, char *destination, int size) noexcept;
    // False when the clock cannot be read.
    bool (*utcTime)(PlatformTime *time) noexcept;
    void (*sleepMilliseconds)(std::uint32_t milliseconds) noexcept;
    // Whether the file at a path in the OEM code page opens for reading. Takes no memory, so that a file that is there
    // is not told absent for want of it.
    bool (*opensForReading)(const char *path) noexcept;
    // fopen, in the modes "a+" and "w+", on a path in the OEM code page; null on failure. Child processes do not
    // inherit the file. "w+" makes a new file: one that is there after all keeps its content and is appended to.
    std::FILE *(*openStream)(const char *path, const char *mode) noexcept;
    // The form of a UTF-8 path under which the database library opens that file and nothing else; null when memory is
    // out. Released with `release`.
    char *(*databasePath)(const char *path) noexcept;
    // Zeroed memory, or null.
    void *(*allocate)(std::size_t size) noexcept;
    void (*release)(void *memory) noexcept;
};

extern PlatformCalls platformCalls;

// The system's own functions, for putting back what a test has replaced.
PlatformCalls systemPlatformCalls() noexcept;

#endif
