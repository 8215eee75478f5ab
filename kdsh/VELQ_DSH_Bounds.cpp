// Each bound is some room that every file gets, and a share for each byte of the file or each statement that runs. The
// engine's own work needs a small part of it on any device; what needs more is a loop of the file's own.
#include "VELQ_DSH_Bounds.h"

#include <algorithm>
#include <limits>

namespace {

constexpr sqlite3_int64 kibibyte = 1024;
constexpr sqlite3_int64 mebibyte = kibibyte * kibibyte;

// Steps of SQLite's virtual machine in one run of a statement. The engine's own statements need about one for each byte
// of the file. What they read it keeps in memory: rows that pages multiply end here.
constexpr sqlite3_int64 leastSteps = 1'000'000;
constexpr sqlite3_int64 stepsPerByte = 4;
constexpr sqlite3_int64 stepsOfCodePerByte = 16;

// Time of one operation on one file, in milliseconds and parts of them. The first megabyte gives little, so that small
// files end soon. A list of 100,000 entries has some 5 MB and may take 17 s, one of a million 237 s: devices of a tenth
// of a desktop's speed, with other work to do, need a part of that. The time of a merge counts on both of its files: a
// million delivered rows have some 45 MB, and may take 112 s. The store that takes them up gets its time by the
// statements that run on it.
constexpr sqlite3_int64 ownersTime = 400;
constexpr sqlite3_int64 strangersTime = 1'000;
constexpr sqlite3_int64 ownersFirstBytes = 1'000'000;
constexpr sqlite3_int64 ownersFirstBytesPerMillisecond = 2'500;
constexpr sqlite3_int64 ownersBytesPerMillisecond = 250;
constexpr sqlite3_int64 strangersBytesPerMillisecond = 400;
constexpr sqlite3_int64 runsPerMillisecond = 4;
// More than that between two checks is a stop of the process, or a clock that was set.
constexpr sqlite3_int64 mostBetweenChecks = 250;

// How often steps, time and memory are looked at. Code of the schema can do much in a step.
constexpr int stepsBetweenChecks = 1'000;
constexpr int stepsOfCodeBetweenChecks = 200;

// Growth of each file of the database: what a statement of the engine writes has less than 1 KiB.
constexpr sqlite3_int64 leastGrowth = 4 * mebibyte;
constexpr sqlite3_int64 growthPerRun = 2 * kibibyte;

// A token or a number with its name has less than 200 bytes; a merge takes longer keys too. The owner's values may be
// as long as SQLite's default.
constexpr int strangersLongestValue = 1 << 20;

// Memory that an operation on a file with code of its own may take from SQLite.
constexpr sqlite3_int64 leastMemory = 20 * mebibyte;
constexpr sqlite3_int64 memoryPerByte = 2;

// Values that one statement may hold together. What each may have follows from how many its program has room for.
constexpr sqlite3_int64 leastValues = 16 * mebibyte;
constexpr sqlite3_int64 valuesPerByte = 24;
constexpr sqlite3_int64 plainProgram = 4 * kibibyte; // bytes; as the engine's statements compile on plain tables
constexpr sqlite3_int64 plainValues = 20;
constexpr sqlite3_int64 bytesPerInstruction = 24;
constexpr sqlite3_int64 largestProgram = 512 * kibibyte;
constexpr sqlite3_int64 shortestLimit = 2 * kibibyte;

sqlite3_int64 sizeOf(sqlite3_file *file) noexcept
{
    sqlite3_int64 size = 0;
    return file != nullptr && file->pMethods->xFileSize(file, &size) == SQLITE_OK ? size : 0;
}

// What of the log is in use. The file may be larger, by what was written before and taken back.
sqlite3_int64 sizeOfLog(const Bounds &bounds) noexcept
{
    if (bounds.log == nullptr || bounds.logIndex == nullptr) {
        return sizeOf(bounds.log);
    }
    constexpr int pageSizeAt = 14;
    constexpr int framesAt = 16;
    constexpr sqlite3_int64 frameHeader = 24;
    constexpr sqlite3_int64 logHeader = 32;
    constexpr sqlite3_int64 largestPage = 65'536;
    const auto *pageSize = reinterpret_cast<const volatile std::uint16_t *>(bounds.logIndex + pageSizeAt);
    const auto *frames = reinterpret_cast<const volatile std::uint32_t *>(bounds.logIndex + framesAt);
    return logHeader + *frames * (frameHeader + (*pageSize == 1 ? largestPage : *pageSize));
}

sqlite3_int64 bytesOf(Bounds &bounds) noexcept
{
    if (bounds.bytes < 0) {
        bounds.bytes = sizeOf(bounds.file) + sizeOfLog(bounds);
    }
    return bounds.bytes;
}

// From some moment on. The clock may be set in between.
sqlite3_int64 currentMilliseconds(const Bounds &bounds) noexcept
{
    sqlite3_vfs *owner = bounds.clockOwner;
    if (owner->iVersion >= 2 && owner->xCurrentTimeInt64 != nullptr) {
        sqlite3_int64 now = 0;
        owner->xCurrentTimeInt64(owner, &now);
        return now;
    }
    constexpr double millisecondsPerDay = 86'400'000.0;
    double days = 0;
    owner->xCurrentTime(owner, &days);
    return static_cast<sqlite3_int64>(days * millisecondsPerDay);
}

bool fire(Bounds &bounds, const char *name) noexcept
{
    bounds.fired = name;
    return true;
}

// Takes the time since it was last taken.
void takeTime(Bounds &bounds) noexcept
{
    const sqlite3_int64 now = currentMilliseconds(bounds);
    if (bounds.clock != 0) {
        bounds.time += std::clamp<sqlite3_int64>(now - bounds.clock, 0, mostBetweenChecks);
    }
    bounds.clock = now;
}

constexpr sqlite3_int64 timeOfOwners(sqlite3_int64 bytes) noexcept
{
    return ownersTime + std::min(bytes, ownersFirstBytes) / ownersFirstBytesPerMillisecond +
           std::max<sqlite3_int64>(bytes - ownersFirstBytes, 0) / ownersBytesPerMillisecond;
}

constexpr sqlite3_int64 timeOfStrangers(sqlite3_int64 bytes) noexcept
{
    return strangersTime + bytes / strangersBytesPerMillisecond;
}

bool areStepsUp(Bounds &bounds) noexcept
{
    bounds.steps += bounds.hasCode ? stepsOfCodeBetweenChecks : stepsBetweenChecks;
    return bounds.steps > leastSteps &&
           bounds.steps > bytesOf(bounds) * (bounds.hasCode ? stepsOfCodePerByte : stepsPerByte) &&
           fire(bounds, "steps");
}

bool isMemoryUp(Bounds &bounds) noexcept
{
    return bounds.hasCode && sqlite3_memory_used() - bounds.memory > leastMemory + bytesOf(bounds) * memoryPerByte &&
           fire(bounds, "memory");
}

// Nonzero interrupts the statement; its transaction is rolled back.
int checkSteps(void *argument) noexcept
{
    Bounds &bounds = *static_cast<Bounds *>(argument);
    return areStepsUp(bounds) || isMemoryUp(bounds) || isTimeUp(bounds) ? 1 : 0;
}

// Told of every statement that begins to run.
int followStatements(unsigned, void *argument, void *, void *text) noexcept
{
    if (const auto *sql = static_cast<const char *>(text); sql[0] != '-') { // "-- ..." is a trigger within one
        Bounds &bounds = *static_cast<Bounds *>(argument);
        bounds.steps = 0;
        ++bounds.runs;
    }
    return 0;
}

int waitForLock(void *argument, int count) noexcept
{
    Bounds &bounds = *static_cast<Bounds *>(argument);
    takeTime(bounds);
    const int goesOn = bounds.busyHandler(bounds.busyArgument, count);
    bounds.clock = currentMilliseconds(bounds);
    return goesOn;
}

} // namespace

int longestValueOf(FileOrigin origin) noexcept
{
    return origin == FileOrigin::owner ? std::numeric_limits<int>::max() : strangersLongestValue;
}

void beginOperation(Bounds &bounds) noexcept
{
    bounds.fired = nullptr;
    bounds.hasFailed = false;
    bounds.bytes = -1;
    bounds.runs = 0;
    bounds.steps = 0;
    bounds.time = 0;
    bounds.clock = 0;
    if (bounds.hasCode) {
        bounds.memory = sqlite3_memory_used();
        sqlite3_limit(bounds.connection, SQLITE_LIMIT_LENGTH, longestValueOf(bounds.origin));
    }
}

bool isTimeUp(Bounds &bounds) noexcept
{
    takeTime(bounds);
    const sqlite3_int64 bytes = bytesOf(bounds);
    const sqlite3_int64 limit = (bounds.origin == FileOrigin::owner ? timeOfOwners(bytes) : timeOfStrangers(bytes)) +
                                bounds.runs / runsPerMillisecond;
    return bounds.time > limit && fire(bounds, "time");
}

bool mayGrow(Bounds &bounds, bool isMainFile, sqlite3_int64 end) noexcept
{
    // A trigger may copy what is removed. A journal or log has at most a copy of every page, and what it had before.
    const sqlite3_int64 own = bytesOf(bounds) * (isMainFile ? 2 : 3);
    return end <= own + leastGrowth + bounds.runs * growthPerRun || !fire(bounds, "growth of the file");
}

int countSteps(Bounds &bounds) noexcept
{
    sqlite3_progress_handler(bounds.connection, bounds.hasCode ? stepsOfCodeBetweenChecks : stepsBetweenChecks,
                             checkSteps, &bounds);
    return sqlite3_trace_v2(bounds.connection, SQLITE_TRACE_STMT, followStatements, &bounds);
}

int boundValues(Bounds &bounds, sqlite3_stmt *statement) noexcept
{
    const sqlite3_int64 program = sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_MEMUSED, 0);
    if (program > largestProgram) {
        fire(bounds, "size of the schema's code");
        return SQLITE_TOOBIG;
    }
    const sqlite3_int64 values = plainValues + std::max<sqlite3_int64>(program - plainProgram, 0) / bytesPerInstruction;
    const sqlite3_int64 longest = std::max(shortestLimit, (leastValues + bytesOf(bounds) * valuesPerByte) / values);
    constexpr int asItIs = -1;
    if (longest < sqlite3_limit(bounds.connection, SQLITE_LIMIT_LENGTH, asItIs)) {
        sqlite3_limit(bounds.connection, SQLITE_LIMIT_LENGTH, static_cast<int>(longest));
    }
    return SQLITE_OK;
}

int installBusyHandler(Bounds &bounds, int (*handler)(void *argument, int count), void *argument) noexcept
{
    beginOperation(bounds);
    bounds.busyHandler = handler;
    bounds.busyArgument = argument;
    return sqlite3_busy_handler(bounds.connection, handler != nullptr ? waitForLock : nullptr, &bounds);
}
