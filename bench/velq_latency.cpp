// How long a rating takes while another process trains on the same installation without a pause: medians, 99th
// percentiles and the longest of many ratings, alone and beside the other process, in both modes of the token store's
// journal. Usage: velq_latency [SECONDS], for each of the four. The temporary folder (TMPDIR) says which disk is meant.
#include "dataset.h"
#include "support/engine_session.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace velq::bench {

using test::EngineSession;
using test::Journal;
using test::StartVariant;
using Clock = std::chrono::steady_clock;

static volatile std::sig_atomic_t isEnding = 0;

[[noreturn]] static void trainUntilTold(const Installation &installation, int reports)
{
    std::signal(SIGTERM, [](int) { isEnding = 1; });
    long trained = 0;
    const auto start = Clock::now();
    {
        const EngineSession session(installation, StartVariant::norix);
        if (session.result() != VELQ_SUCCESS) {
            _exit(2);
        }
        const WideText body = message(Lean::spam);
        const WideText number = test::wide(unlistedNumber);
        while (isEnding == 0) {
            std::uint32_t rating = VELQ_RATING_UNSURE;
            VELQ_CheckSpamMsgSync(&rating, body.c_str(), number.c_str());
            ++trained;
        }
    }
    const double perSecond = static_cast<double>(trained) / std::chrono::duration<double>(Clock::now() - start).count();
    _exit(write(reports, &perSecond, sizeof perSecond) == sizeof perSecond ? 0 : 3);
}

struct Ratings {
    std::vector<double> times; // in microseconds, sorted
    std::size_t failed = 0;    // without the verdict, for the store could not be read
};

static Ratings rateFor(const Installation &installation, std::chrono::seconds duration)
{
    Ratings ratings;
    const EngineSession session(installation, StartVariant::norix);
    const WideText body = message(Lean::ham);
    const WideText number = test::wide(unlistedNumber);
    for (const auto end = Clock::now() + duration; Clock::now() < end;) {
        std::uint32_t rating = VELQ_RATING_UNSURE;
        const auto start = Clock::now();
        VELQ_CheckSpamMsgSync(&rating, body.c_str(), number.c_str());
        ratings.times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        ratings.failed += rating != VELQ_RATING_HAM ? 1 : 0;
    }
    std::sort(ratings.times.begin(), ratings.times.end());
    return ratings;
}

static long waitsInLog(const Installation &installation)
{
    std::ifstream log(installation.logFile("norix-engine.log"));
    const std::string text{std::istreambuf_iterator<char>(log), std::istreambuf_iterator<char>()};
    long waits = 0;
    for (std::size_t at = text.find("retry chance"); at != std::string::npos; at = text.find("retry chance", at + 1)) {
        ++waits;
    }
    return waits;
}

static void printRow(const char *journal, const char *beside, const Ratings &ratings, long waits, double trained)
{
    const std::vector<double> &times = ratings.times;
    std::printf("| %s | %s | %zu | %zu | %.0f | %.0f | %.0f | %ld | %.0f |\n", journal, beside, times.size(),
                ratings.failed, times[times.size() / 2], times[times.size() * 99 / 100], times.back(), waits, trained);
    std::fflush(stdout);
}

static void measure(Journal journal, std::chrono::seconds duration)
{
    Installation installation;
    fillTokenStore(installation);
    installation.setJournal(journal);
    const char *name = journal == Journal::writeAhead ? "wal" : "delete";
    printRow(name, "nobody", rateFor(installation, duration), waitsInLog(installation), 0);
    int reports[2];
    if (pipe(reports) != 0) {
        std::exit(1);
    }
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        trainUntilTold(installation, reports[1]);
    }
    usleep(300'000); // until the other process is in its stride
    const long waitsBefore = waitsInLog(installation);
    const Ratings ratings = rateFor(installation, duration);
    const long waits = waitsInLog(installation) - waitsBefore;
    kill(child, SIGTERM);
    double trained = 0;
    if (read(reports[0], &trained, sizeof trained) != sizeof trained) {
        std::exit(1);
    }
    waitpid(child, nullptr, 0);
    printRow(name, "one that trains", ratings, waits, trained);
}

} // namespace velq::bench

int main(int argumentCount, char **arguments)
{
    const std::chrono::seconds duration(argumentCount > 1 ? std::strtol(arguments[1], nullptr, 10) : 10);
    if (duration.count() <= 0) {
        std::fputs("usage: velq_latency [SECONDS]\n", stderr);
        return 64;
    }
    std::puts("| journal | beside | ratings | without verdict | median us | 99th percentile us | longest us | "
              "waits of both | trained per second |");
    std::puts("|---|---|---|---|---|---|---|---|---|");
    velq::bench::measure(velq::test::Journal::rollback, duration);
    velq::bench::measure(velq::test::Journal::writeAhead, duration);
    return 0;
}
