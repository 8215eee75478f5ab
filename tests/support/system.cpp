// Two implementations of each function: Windows and POSIX. The libraries are found by the names that the build gives.
#include "support/system.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <io.h>
#include <malloc.h>
#include <windows.h>
#else
#include <dlfcn.h>
#include <exception>
#include <malloc.h>
#include <unistd.h>
#endif

namespace velq::test {

bool OrdinaryUser::canWrite(const std::filesystem::path &file)
{
    return std::fstream(file, std::ios::in | std::ios::out).is_open();
}

#ifdef _WIN32

std::time_t utcSeconds(const std::tm &time)
{
    std::tm parts = time;
    return _mkgmtime(&parts);
}

static void *exportOf(const char *library, const char *name) noexcept
{
    const HMODULE module = LoadLibraryA(library);
    return module != nullptr ? reinterpret_cast<void *>(GetProcAddress(module, name)) : nullptr;
}

void *engineExport(const char *name) noexcept
{
    return exportOf("velq.dll", name);
}

void *accessLayerExport(const char *name) noexcept
{
    return exportOf("kdsh.dll", name);
}

std::size_t heapBytesInUse()
{
    std::size_t bytes = 0;
    _HEAPINFO entry{};
    while (_heapwalk(&entry) == _HEAPOK) {
        bytes += entry._useflag == _USEDENTRY ? entry._size : 0;
    }
    return bytes;
}

bool oemPageHas(const WideText &text)
{
    BOOL isReplaced = FALSE;
    return GetOEMCP() == CP_UTF8 || (WideCharToMultiByte(CP_OEMCP, WC_NO_BEST_FIT_CHARS, text.c_str(), -1, nullptr, 0,
                                                         nullptr, &isReplaced) > 0 &&
                                     isReplaced == FALSE);
}

bool openFilesCanBeRemoved()
{
    return false;
}

std::size_t openDescriptors()
{
    DWORD handles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &handles);
    return handles;
}

std::optional<std::vector<std::string>> openFilesBelow(const std::filesystem::path &)
{
    return std::nullopt;
}

bool childrenInherit(std::FILE *stream)
{
    DWORD flags = 0;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    if (GetHandleInformation(handle, &flags) == 0) {
        throw std::runtime_error("no handle of an open file");
    }
    return (flags & HANDLE_FLAG_INHERIT) != 0;
}

// A protected file binds every user.
OrdinaryUser::OrdinaryUser() = default;
OrdinaryUser::~OrdinaryUser() = default;

#else

std::time_t utcSeconds(const std::tm &time)
{
    std::tm parts = time;
    return timegm(&parts);
}

void *engineExport(const char *name) noexcept
{
    return dlsym(RTLD_DEFAULT, name);
}

void *accessLayerExport(const char *name) noexcept
{
    return dlsym(RTLD_NEXT, name);
}

std::size_t heapBytesInUse()
{
    return mallinfo2().uordblks;
}

bool oemPageHas(const WideText &)
{
    return true;
}

bool openFilesCanBeRemoved()
{
    return true;
}

std::size_t openDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

std::optional<std::vector<std::string>> openFilesBelow(const std::filesystem::path &folder)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), error);
        if (!error && target.string().starts_with(folder.string())) {
            names.push_back(target.filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool childrenInherit(std::FILE *stream)
{
    const std::filesystem::path own = "/proc/self/fd/" + std::to_string(fileno(stream));
    const std::string file = std::filesystem::read_symlink(own).string();
    std::FILE *child = popen("ls -l /proc/self/fd", "r");
    if (child == nullptr) {
        throw std::runtime_error("cannot start a program");
    }
    std::string listing;
    char piece[4096];
    while (const std::size_t length = std::fread(piece, 1, sizeof piece, child)) {
        listing.append(piece, length);
    }
    if (pclose(child) != 0) {
        throw std::runtime_error("a program does not list its open files");
    }
    return listing.find(" -> " + file + "\n") != std::string::npos;
}

OrdinaryUser::OrdinaryUser() : wasSuperuser_(geteuid() == 0)
{
    constexpr uid_t nobody = 65534;
    if (wasSuperuser_ && setresuid(nobody, nobody, 0) != 0) {
        throw std::runtime_error("cannot become an ordinary user");
    }
}

OrdinaryUser::~OrdinaryUser()
{
    if (wasSuperuser_ && setresuid(0, 0, 0) != 0) {
        std::terminate();
    }
}

#endif

} // namespace velq::test
