// The engine's state, data file paths, diagnostic log, text and number helpers, and the busy rule. System calls are the
// platform layer's, database calls the access layer's.
#include "VELQ_Util.h"

#include <array>
#include <cstdarg>
#include <cstring>

constinit EngineState engineState{};

// ---- Diagnostic log

static void writeLog(const char *format, std::va_list arguments) noexcept
{
    if (engineState.logFile != nullptr) {
        std::vfprintf(engineState.logFile, format, arguments);
        std::fflush(engineState.logFile);
    }
}

void logError(const char *format, ...) noexcept
{
    std::va_list arguments;
    va_start(arguments, format);
    writeLog(format, arguments);
    va_end(arguments);
}

void logDebug(const char *format, ...) noexcept
{
    if (engineState.isDebugEnabled == 0) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    writeLog(format, arguments);
    va_end(arguments);
}

// Directory + suffix, both in the OEM code page. False when they do not fit.
static bool joinPath(char (&path)[pathCapacity], const char *directory, const char *suffix) noexcept
{
    const std::size_t length = std::strlen(directory);
    const std::size_t suffixSize = std::strlen(suffix) + 1;
    if (length + suffixSize > sizeof path) {
        return false;
    }
    std::memcpy(path, directory, length); // NOLINT(bugprone-not-null-terminated-result): the suffix terminates it
    std::memcpy(path + length, suffix, suffixSize);
    return true;
}

// As joinPath, with the directory as the host gave it. False also when it cannot be converted.
static bool buildOemPath(char (&path)[pathCapacity], const VELQ_WideChar *directory, const char *suffix) noexcept
{
    char narrow[pathCapacity]{};
    return API_unicodeToOem(directory, narrow, sizeof narrow) >= 1 && joinPath(path, narrow, suffix);
}

using Timestamp = std::array<char, 64>;

// Empty when the clock cannot be read.
static Timestamp timestampNow() noexcept
{
    Timestamp text{};
    PlatformTime time{};
    if (platformCalls.utcTime(&time)) {
        std::snprintf(text.data(), text.size(), "%d-%d-%d_%d:%d:%d", time.year, time.month, time.day, time.hour,
                      time.minute, time.second);
    }
    return text;
}

void initDebugFlag(const VELQ_WideChar *programDir) noexcept
{
    engineState.isDebugEnabled = 0;
    char path[pathCapacity]{};
    if (buildOemPath(path, programDir, "\\enable-debug")) {
        fileExists(&engineState.isDebugEnabled, path);
    }
}

void openLogFile(const VELQ_WideChar *programDir, const char *fileName) noexcept
{
    const Timestamp timestamp = timestampNow();
    char path[pathCapacity]{};
    char suffix[pathCapacity]{};
    std::snprintf(suffix, sizeof suffix, "\\%s", fileName);
    if (!buildOemPath(path, programDir, suffix)) {
        return;
    }
    std::uint8_t exists = 0;
    fileExists(&exists, path);
    // A stream that a failed start left open is not closed here.
    engineState.logFile = platformCalls.openStream(path, exists != 0 ? "a+" : "w+");
    if (engineState.isDebugEnabled != 0) {
        logError("\n\n############ norix Started log on:%s ###########\n", timestamp.data());
    }
}

void closeLogFile() noexcept
{
    if (engineState.logFile == nullptr) {
        return;
    }
    if (engineState.isDebugEnabled != 0) {
        logError("\n\n############ norix Ended log on:%s ###########\n", timestampNow().data());
    }
    std::fclose(engineState.logFile);
    engineState.logFile = nullptr;
}

// ---- Program directory and data file paths

static constexpr char installLocation[] = "Quenlibra\\Tarvolent";
static constexpr char longestFileName[] = "\\norix-engine.log";

int checkInstallPath(const VELQ_WideChar *programDir) noexcept
{
    if (programDir == nullptr) {
        return VELQ_ERR_FAILED;
    }
    constexpr std::size_t longest = pathCapacity - sizeof longestFileName;
    constexpr std::size_t locationLength = sizeof installLocation - 1;
    const std::size_t length = wideLength(programDir);
    if (length < locationLength || length > longest) {
        return VELQ_ERR_FAILED;
    }
    const int utf8Size = API_unicodeToUtf8Length(programDir);
    const int oemSize = API_unicodeToOemLength(programDir);
    if (utf8Size < 1 || oemSize < 1 || static_cast<std::size_t>(utf8Size) - 1 > longest ||
        static_cast<std::size_t>(oemSize) - 1 > longest) {
        return VELQ_ERR_FAILED;
    }
    char narrow[pathCapacity]{};
    for (std::size_t i = 0; i < length; ++i) {
        narrow[i] = static_cast<char>(programDir[i]);
    }
    return std::memcmp(narrow + length - locationLength, installLocation, locationLength) == 0 ? 0 : VELQ_ERR_FAILED;
}

// Directory + suffix; the suffix replaces the directory's terminator.
static char *buildDataPath(const char *suffix) noexcept
{
    const std::size_t suffixLength = std::strlen(suffix);
    char *path = static_cast<char *>(allocateMemory(engineState.programDirLength + suffixLength));
    if (path != nullptr) {
        std::memcpy(path, engineState.programDir, engineState.programDirLength);
        std::memcpy(path + engineState.programDirLength - 1, suffix, suffixLength + 1);
    }
    return path;
}

static int initProgramDir(const VELQ_WideChar *programDir) noexcept
{
    const int size = API_unicodeToUtf8Length(programDir);
    if (size < 1) {
        logError("Error: Program File Path len is:%d\n", 0);
        return VELQ_ERR_FAILED;
    }
    engineState.programDirLength = static_cast<std::size_t>(size);
    engineState.programDir = static_cast<char *>(allocateMemory(engineState.programDirLength));
    if (engineState.programDir == nullptr) {
        logError("Error: Memory Allocation  failed\n");
        return VELQ_ERR_FAILED;
    }
    if (API_unicodeToUtf8(programDir, engineState.programDir, size) < 1) {
        logError("Error: Exe File Path init failed!\n");
        return VELQ_ERR_FAILED;
    }
    logDebug("Exe File Path:%s\n", engineState.programDir);
    return 0;
}

int initAllFilePaths(const VELQ_WideChar *programDir) noexcept
{
    freeAllFilePaths(); // a failed database open in the last start has kept them
    engineState.programDirLength = 0;
    if (programDir == nullptr) {
        logError("Error: Initialize File Path error, should pass in the Program dir first!\n");
        return VELQ_ERR_FAILED;
    }
    if (initProgramDir(programDir) != 0) {
        return VELQ_ERR_FAILED;
    }
    static constexpr struct {
        char *EngineState::*path;
        const char *suffix;
    } dataFiles[] = {{&EngineState::tokenStorePath, "\\data\\prob.bin"},
                     {&EngineState::blackListPath, "\\data\\bn.bin"},
                     {&EngineState::whiteListPath, "\\data\\wn.bin"},
                     {&EngineState::ruleListPath, "\\data\\ru.bin"},
                     {&EngineState::versionPath, "\\data\\ver.bin"}};
    for (const auto &file : dataFiles) {
        engineState.*file.path = buildDataPath(file.suffix);
        if (engineState.*file.path == nullptr) {
            logError("%s:%d\tError: Memory Allocation  failed\n", VELQ_HERE);
            return VELQ_ERR_FAILED;
        }
    }
    logDebug("OK: initAllFilePaths()\n");
    return 0;
}

void freeAllFilePaths() noexcept
{
    for (char **path : {&engineState.programDir, &engineState.tokenStorePath, &engineState.blackListPath,
                        &engineState.whiteListPath, &engineState.versionPath, &engineState.ruleListPath}) {
        freeMemory(*path);
        *path = nullptr;
    }
}

int checkDBFiles(const VELQ_WideChar *programDir) noexcept
{
    if (programDir == nullptr) {
        logError("%s:%d\tError: Check DB files error, should pass in the Program dir first!\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    const int size = API_unicodeToOemLength(programDir);
    if (size < 1) {
        logError("%s:%d\tError: Program File Path len is:%d\n", VELQ_HERE, 0);
        return VELQ_ERR_FAILED;
    }
    char directory[pathCapacity]{};
    if (static_cast<std::size_t>(size) > sizeof directory || API_unicodeToOem(programDir, directory, size) < 1) {
        logError("%s:%d\tError: Exe File Path init failed!\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    logDebug("Exe File Path:%s\n", directory);
    for (const char *suffix :
         {"\\data\\prob.bin", "\\data\\wn.bin", "\\data\\bn.bin", "\\data\\ru.bin", "\\data\\ver.bin"}) {
        char path[pathCapacity]{};
        std::uint8_t exists = 0;
        if (joinPath(path, directory, suffix)) {
            fileExists(&exists, path);
        }
        if (exists == 0) {
            logError("%s:%d\t%s not existed!!!\n", VELQ_HERE, path);
            return VELQ_ERR_FAILED;
        }
    }
    logDebug("OK: checkDBFiles()\n");
    return 0;
}

int fileExists(std::uint8_t *exists, const char *path) noexcept
{
    *exists = platformCalls.opensForReading(path) ? 1 : 0;
    if (*exists == 0) {
        logError("%s:%d\tfile %s not exist!\n", VELQ_HERE, path);
    }
    return 0;
}

// ---- The busy rule

int sqliteBusyHandler(void *, int count) noexcept
{
    constexpr int mostRetries = 5;
    constexpr std::uint32_t retryMilliseconds = 50;
    logDebug("%s:%d\tSqlite Busy Handler invoked!\n", VELQ_HERE);
    if (count >= mostRetries) {
        return 0;
    }
    logError("%s:%d\tThere's still retry chance, has retry %d times!Sleep and retry!\n", VELQ_HERE, count);
    platformCalls.sleepMilliseconds(retryMilliseconds);
    return 1;
}

// ---- Text and numbers

std::size_t wideLength(const VELQ_WideChar *text) noexcept
{
    std::size_t length = 0;
    if (text != nullptr) {
        while (text[length] != 0) {
            ++length;
        }
    }
    return length;
}

std::size_t narrowLength(const char *text) noexcept
{
    return text != nullptr ? std::strlen(text) : 0;
}

int unitsBeforeZero(const unsigned char *bytes, int count) noexcept
{
    constexpr int unitBytes = sizeof(VELQ_WideChar);
    for (int i = 0; bytes != nullptr && i + unitBytes <= count; i += unitBytes) {
        if (bytes[i] == 0 && bytes[i + 1] == 0) {
            return i / unitBytes;
        }
    }
    return -1;
}

void narrowNumber(char *destination, const VELQ_WideChar *text) noexcept
{
    for (std::size_t i = 0; text != nullptr && text[i] != 0 && i < numberKeyCapacity - 1; ++i) {
        destination[i] = static_cast<char>(text[i]);
    }
}

std::size_t widenNumber(VELQ_WideChar *destination, const char *text) noexcept
{
    const std::size_t length = narrowLength(text);
    for (std::size_t i = 0; i < length; ++i) {
        destination[i] = static_cast<VELQ_WideChar>(static_cast<signed char>(text[i]));
    }
    return length;
}

void reverseNumber(char *text) noexcept
{
    const std::size_t length = narrowLength(text);
    for (std::size_t i = 0; i < length / 2; ++i) {
        const char first = text[i];
        text[i] = text[length - 1 - i];
        text[length - 1 - i] = first;
    }
}

static constexpr std::uint16_t punctuation[] = {
    0x0023, 0x0027, 0x002B, 0x002F, 0x003B, 0x003F, 0x005B, 0x005F, 0x007B, 0x0024, 0x0028, 0x0027, 0x003C,
    0x0040, 0x005C, 0x007C, 0x0021, 0x0025, 0x0029, 0x002D, 0x003D, 0x005D, 0x007D, 0x0022, 0x002A, 0x003A,
    0x003E, 0x0020, 0x005E, 0x007E, 0x0060, 0xFF03, 0x25CE, 0xFFE5, 0xFF05, 0x203B, 0x00D7, 0xFF0B, 0xFF0D,
    0x00F7, 0x00B7, 0xFF5E, 0x300A, 0x300B, 0xFF1F, 0xFF0C, 0x3002, 0x3010, 0x3011, 0xFF09, 0xFF08, 0x3001,
    0xFF1A, 0x002E, 0x3001, 0xFF01, 0xFF1B, 0x2605, 0x2192, 0x000D, 0x000A};
static_assert(std::size(punctuation) == 61);

// One bit for each code unit.
using UnitSet = std::array<std::uint32_t, 0x10000 / 32>;

static constexpr UnitSet makePunctuationSet() noexcept
{
    UnitSet set{};
    const auto add = [&set](std::uint32_t unit) { set[unit / 32] |= 1U << (unit % 32); };
    for (const std::uint16_t unit : punctuation) {
        add(unit);
    }
    for (std::uint32_t unit = 0x0081; unit <= 0x00FD; ++unit) { // accented Latin-1 letters and signs
        add(unit);
    }
    return set;
}

bool isPunctuation(VELQ_WideChar unit) noexcept
{
    static constexpr UnitSet set = makePunctuationSet();
    return (set[unit / 32U] >> (unit % 32U) & 1U) != 0;
}

static bool isLowerLetter(VELQ_WideChar unit) noexcept
{
    return unit >= 'a' && unit <= 'z';
}

// Whether the letter at `i` stands beside a lower-case letter of the body as it came. Upper-case neighbours do not
// count, and inside the body the unit behind is asked only when the one before is no lower-case letter.
static bool hasLetterNeighbour(const VELQ_WideChar *body, std::size_t length, std::size_t i) noexcept
{
    if (i == 0) {
        return isLowerLetter(body[length == 1 ? 0 : 1]);
    }
    return isLowerLetter(body[i - 1]) || (i + 1 < length && isLowerLetter(body[i + 1]));
}

VELQ_WideChar *filterMessageBody(const VELQ_WideChar *body) noexcept
{
    const std::size_t length = wideLength(body);
    auto *filtered = static_cast<VELQ_WideChar *>(allocateMemory((length + 1) * sizeof(VELQ_WideChar)));
    if (filtered == nullptr) {
        return nullptr;
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < length; ++i) {
        VELQ_WideChar unit = body[i];
        if (isPunctuation(unit)) {
            continue;
        }
        if (unit >= 'A' && unit <= 'Z') {
            unit = static_cast<VELQ_WideChar>(unit + ('a' - 'A'));
        }
        if (!isLowerLetter(unit) || hasLetterNeighbour(body, length, i)) {
            filtered[kept++] = unit;
        }
    }
    return filtered;
}

bool hasTelNumber(const VELQ_WideChar *text) noexcept
{
    constexpr int fewestDigits = 7;
    int digits = 0;
    for (std::size_t i = 0; text != nullptr && text[i] != 0; ++i) {
        digits = text[i] >= '0' && text[i] <= '9' ? digits + 1 : 0;
        if (digits == fewestDigits) {
            return true;
        }
    }
    return false;
}

static int convertText(CodePage page, const VELQ_WideChar *text, char *destination, int size) noexcept
{
    if (text == nullptr || size < 1) {
        return 0;
    }
    const int count = platformCalls.convertText(page, text, destination, size);
    if (count > 0 && count < size) {
        destination[count] = '\0';
    }
    return count;
}

int API_unicodeToUtf8Length(const VELQ_WideChar *text) noexcept
{
    return text != nullptr ? platformCalls.convertText(CodePage::utf8, text, nullptr, 0) : 0;
}

int API_unicodeToUtf8(const VELQ_WideChar *text, char *destination, int size) noexcept
{
    return convertText(CodePage::utf8, text, destination, size);
}

int API_unicodeToOemLength(const VELQ_WideChar *text) noexcept
{
    return text != nullptr ? platformCalls.convertText(CodePage::oem, text, nullptr, 0) : 0;
}

int API_unicodeToOem(const VELQ_WideChar *text, char *destination, int size) noexcept
{
    return convertText(CodePage::oem, text, destination, size);
}

char *duplicateText(const char *text) noexcept
{
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = std::strlen(text) + 1;
    char *copy = static_cast<char *>(allocateMemory(size));
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    return copy;
}

void *allocateMemory(std::size_t size) noexcept
{
    return platformCalls.allocate(size);
}

void freeMemory(void *memory) noexcept
{
    platformCalls.release(memory);
}

// ---- Debug dumps

void dumpNumber(const char *number) noexcept
{
    logDebug("---> number:%s\n", number);
}

// Copies what of `text` takes at most `bytes` bytes in UTF-8, whole characters only.
static void cutForUtf8(const VELQ_WideChar *text, VELQ_WideChar *cut, std::size_t bytes) noexcept
{
    std::size_t used = 0;
    std::size_t i = 0;
    while (text[i] != 0) {
        const bool pair = text[i] >= 0xD800 && text[i] <= 0xDBFF && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
        const std::size_t units = pair ? 2 : 1;
        const std::size_t size = pair ? 4 : text[i] < 0x80 ? 1 : text[i] < 0x800 ? 2 : 3;
        if (used + size > bytes) {
            break;
        }
        std::memcpy(cut + i, text + i, units * sizeof(VELQ_WideChar));
        used += size;
        i += units;
    }
}

void dumpUtf8(const VELQ_WideChar *text) noexcept
{
    if (engineState.isDebugEnabled == 0) {
        return;
    }
    constexpr std::size_t capacity = 300;
    VELQ_WideChar cut[capacity]{};
    if (text != nullptr) {
        cutForUtf8(text, cut, capacity - 1);
    }
    char buffer[capacity]{};
    const int size = API_unicodeToUtf8Length(cut);
    if (size < 1) {
        logError("Error: API_unicodeToUtf8Length:%d\n", size);
        return;
    }
    if (API_unicodeToUtf8(cut, buffer, static_cast<int>(capacity)) < 1) {
        logError("Error: API_unicodeToUtf8\n");
        return;
    }
    logDebug("===> UTF8-String:%s\n", buffer);
}

void dumpHex(const VELQ_WideChar *units, std::size_t count) noexcept
{
    if (engineState.isDebugEnabled == 0) {
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        logDebug("0x%04x ", static_cast<unsigned>(units[i]));
    }
    logDebug("\n");
}
