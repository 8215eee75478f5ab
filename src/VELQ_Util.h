// What all modules share: the engine's process-wide state, the data file paths, the diagnostic log, text and number
// helpers, and the database busy rule. Includes nothing of the modules that use it.
#ifndef VELQ_UTIL_H
#define VELQ_UTIL_H

#include "VELQ_DSH.h"
#include "VELQ_Word.h"
#include "platform/platform.h"
#include "velq.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>

// Where a log line is written from: the two values of the "%s:%d\t" that begins most lines.
struct SourceLine {
    const char *file;
    int line;
};
#define VELQ_HERE __FILE__, __LINE__

// Fixed buffers: a path in the program directory; a narrowed number with its terminator.
inline constexpr std::size_t pathCapacity = 256;
inline constexpr std::size_t numberKeyCapacity = 40;

// The one record of process-wide state, zero at load.
struct EngineState {
    std::int32_t isInitialised;
    std::atomic<std::int32_t> isUpdating; // read by the guards on other threads while an update runs
    std::FILE *logFile;
    std::uint8_t isDebugEnabled;
    char *programDir;             // UTF-8
    std::size_t programDirLength; // in bytes, terminator included
    char *tokenStorePath;
    char *blackListPath;
    char *whiteListPath;
    char *ruleListPath;
    char *versionPath;
    VELQ_DSH_Connection *tokenStoreConn; // the three kept-open connections, or null
    VELQ_DSH_Connection *whiteListConn;
    VELQ_DSH_Connection *blackListConn;
    word messageCountKey; // the token-store key of the two message counts
};

extern EngineState engineState;

// ---- Diagnostic log

#if defined(__GNUC__)
#define VELQ_PRINTF_LIKE __attribute__((format(printf, 1, 2)))
#else
#define VELQ_PRINTF_LIKE
#endif

// Writes whenever the log is open; flushes.
void logError(const char *format, ...) noexcept VELQ_PRINTF_LIKE;
// Writes when debug lines are enabled and the log is open; flushes.
void logDebug(const char *format, ...) noexcept VELQ_PRINTF_LIKE;
// Enables debug lines when the "enable-debug" marker is in the program directory.
void initDebugFlag(const VELQ_WideChar *programDir) noexcept;
void openLogFile(const VELQ_WideChar *programDir, const char *fileName) noexcept;
void closeLogFile() noexcept;

// ---- Program directory and data file paths

// 0 when the directory ends in the install location and leaves room for every file name; otherwise -2. Logs nothing.
int checkInstallPath(const VELQ_WideChar *programDir) noexcept;
// 0 or -2; after a failure what was built stays for freeAllFilePaths.
int initAllFilePaths(const VELQ_WideChar *programDir) noexcept;
void freeAllFilePaths() noexcept;
// 0 when the five data files exist, else -2.
int checkDBFiles(const VELQ_WideChar *programDir) noexcept;
// Sets `*exists`; returns 0 always. `path` is in the OEM code page.
int fileExists(std::uint8_t *exists, const char *path) noexcept;

// ---- The busy rule

// The busy handler of every connection on which an operation runs: five retries, 50 milliseconds apart.
int sqliteBusyHandler(void *argument, int count) noexcept;

// ---- Text and numbers

std::size_t wideLength(const VELQ_WideChar *text) noexcept;
std::size_t narrowLength(const char *text) noexcept;
// The 16-bit units before the first zero unit in `count` bytes, which need not be aligned; -1 when there is none.
int unitsBeforeZero(const unsigned char *bytes, int count) noexcept;
// Copies the low byte of each of the first 39 units at most. Writes no terminator: the buffer comes zeroed.
void narrowNumber(char *destination, const VELQ_WideChar *text) noexcept;
// Sign-extends each byte; writes no terminator. Returns the length.
std::size_t widenNumber(VELQ_WideChar *destination, const char *text) noexcept;
void reverseNumber(char *text) noexcept;
bool isPunctuation(VELQ_WideChar unit) noexcept;
// The body as the classifier reads it: no punctuation, no isolated letters, lower case. Null when memory is out;
// released with freeMemory.
VELQ_WideChar *filterMessageBody(const VELQ_WideChar *body) noexcept;
// True for seven or more consecutive ASCII digits.
bool hasTelNumber(const VELQ_WideChar *text) noexcept;

// Conversions count the terminator; below 1 means failure. A zero byte is written after the count where the buffer has
// room.
int API_unicodeToUtf8Length(const VELQ_WideChar *text) noexcept;
int API_unicodeToUtf8(const VELQ_WideChar *text, char *destination, int size) noexcept;
int API_unicodeToOemLength(const VELQ_WideChar *text) noexcept;
int API_unicodeToOem(const VELQ_WideChar *text, char *destination, int size) noexcept;

// A copy on the engine's heap; null when memory is out or for null.
char *duplicateText(const char *text) noexcept;
// Zeroed memory, or null.
void *allocateMemory(std::size_t size) noexcept;
void freeMemory(void *memory) noexcept;

// ---- Debug dumps; they write only when debug lines are enabled

void dumpNumber(const char *number) noexcept;
void dumpUtf8(const VELQ_WideChar *text) noexcept;
void dumpHex(const VELQ_WideChar *units, std::size_t count) noexcept;

#endif
