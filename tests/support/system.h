// What tests ask of the operating system beyond the standard library, in one form for all of them.
#ifndef VELQ_TEST_SUPPORT_SYSTEM_H
#define VELQ_TEST_SUPPORT_SYSTEM_H

#include "support/wide.h"

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velq::test {

// How the C library ends the lines of files that it writes as text.
#ifdef _WIN32
inline constexpr bool textLinesEndInCrLf = true;
#else
inline constexpr bool textLinesEndInCrLf = false;
#endif

// The files and whatever else the program has open.
std::size_t openDescriptors();

// Seconds since 1970 of a moment in UTC.
std::time_t utcSeconds(const std::tm &time);

// An export of one of the two libraries, or null. Where the test program itself defines a function of that name, the
// library's own is found all the same.
void *engineExport(const char *name) noexcept;
void *accessLayerExport(const char *name) noexcept;

// Bytes that the program has allocated and not freed, as the C library counts them.
std::size_t heapBytesInUse();

// Whether the OEM code page, in which the engine names its log, has all characters of a text. Where the system has no
// such page it is UTF-8.
bool oemPageHas(const WideText &text);

// Whether a file can be removed while a program has it open.
bool openFilesCanBeRemoved();

// The names of the open files in a folder and below, sorted; nothing where the system does not tell.
std::optional<std::vector<std::string>> openFilesBelow(const std::filesystem::path &folder);

// Whether a program that this one starts finds the stream's file open.
bool childrenInherit(std::FILE *stream);

// Gives up a superuser's right to write protected files until the end of the scope.
class OrdinaryUser {
  public:
    OrdinaryUser();
    ~OrdinaryUser();
    OrdinaryUser(const OrdinaryUser &) = delete;
    OrdinaryUser &operator=(const OrdinaryUser &) = delete;

    // Whether this program may open an existing file for writing.
    static bool canWrite(const std::filesystem::path &file);

  private:
    bool wasSuperuser_ = false;
};

} // namespace velq::test

#endif
