// What the engine takes of memory: peak resident size above an empty process for a start, 10,000 ratings and a stop,
// and the heap after the 1,000th and the 10,000th rating. The engine is loaded at run time, so that the empty process
// holds nothing of it. Usage: velq_memory LIBVELQ
#include "dataset.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <malloc.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace velq::bench {

// What a measured process reports to its parent.
struct Usage {
    long peakKilobytes; // resident
    long heapAfter1000; // bytes in use
    long heapAfter10000;
    long ratings;
};

static long peakResidentKilobytes()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0) {
            return std::atol(line.c_str() + std::strlen("VmHWM:"));
        }
    }
    return -1;
}

static long heapInUse()
{
    return static_cast<long>(mallinfo2().uordblks);
}

template <typename Function>
static Function *find(void *library, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(library, name));
}

// Half of the messages train, half do not; every hundredth sender is black-listed.
static Usage rateMany(const char *libraryPath, const WideText &directory)
{
    Usage usage{};
    void *library = dlopen(libraryPath, RTLD_NOW);
    if (library == nullptr) {
        std::fprintf(stderr, "velq_memory: %s\n", dlerror());
        std::exit(66);
    }
    auto *initialize = find<int32_t(const VELQ_WideChar *)>(library, "VELQ_Norix_Initialize");
    auto *finalize = find<int32_t()>(library, "VELQ_Norix_Finalize");
    auto *rate =
        find<int32_t(uint32_t *, const VELQ_WideChar *, const VELQ_WideChar *)>(library, "VELQ_CheckSpamMsgSync");
    const WideText bodies[] = {message(Lean::ham), message(Lean::spam)};
    const WideText unlisted = test::wide(unlistedNumber);
    const WideText listed = test::wide(listedNumber(5));
    if (initialize(directory.c_str()) != 0) {
        std::exit(70);
    }
    for (int i = 1; i <= 10'000; ++i) {
        uint32_t rating = 0;
        rate(&rating, bodies[i % 2].c_str(), (i % 100 == 0 ? listed : unlisted).c_str());
        usage.ratings += rating <= 2 ? 1 : 0;
        if (i == 1000) {
            usage.heapAfter1000 = heapInUse();
        }
    }
    usage.heapAfter10000 = heapInUse();
    finalize();
    usage.peakKilobytes = peakResidentKilobytes();
    return usage;
}

// Runs `measure` in a process of its own.
template <typename Measure>
static Usage inChild(Measure measure)
{
    int ends[2];
    Usage usage{};
    if (pipe(ends) != 0) {
        std::exit(71);
    }
    const pid_t child = fork();
    if (child == 0) {
        const Usage measured = measure();
        const bool isSent = write(ends[1], &measured, sizeof measured) == static_cast<ssize_t>(sizeof measured);
        _exit(isSent ? 0 : 1);
    }
    int status = 0;
    const bool isRead = read(ends[0], &usage, sizeof usage) == static_cast<ssize_t>(sizeof usage);
    waitpid(child, &status, 0);
    if (!isRead || status != 0) {
        std::fprintf(stderr, "velq_memory: a measured process failed\n");
        std::exit(70);
    }
    return usage;
}

} // namespace velq::bench

int main(int argumentCount, char **arguments)
{
    using namespace velq::bench;
    if (argumentCount != 2) {
        std::fprintf(stderr, "usage: velq_memory LIBVELQ\n");
        return 64;
    }
    Installation installation;
    fillTokenStore(installation);
    fillList(installation, velq::test::NumberList::black, 100);
    const WideText directory = installation.programDir();
    // Both children inherit what this process has used so far; the difference is the engine's.
    const Usage empty = inChild([] { return Usage{peakResidentKilobytes(), 0, 0, 0}; });
    const Usage rated = inChild([&] { return rateMany(arguments[1], directory); });
    std::printf("ratings: %ld\n", rated.ratings);
    std::printf("peak resident memory above an empty process: %ld KiB\n", rated.peakKilobytes - empty.peakKilobytes);
    std::printf("heap in use after 1,000 ratings: %ld bytes, after 10,000: %ld bytes\n", rated.heapAfter1000,
                rated.heapAfter10000);
    return rated.heapAfter10000 <= rated.heapAfter1000 && rated.ratings == 10'000 ? 0 : 1;
}
