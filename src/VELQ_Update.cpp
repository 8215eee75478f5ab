// Runs the merges of an update one after the other and keeps the version records. The merges themselves are
// VELQ_WL_Store's and VELQ_WN_Store's.
#include "VELQ_Update.h"

#include "VELQ_DB_Operation.h"
#include "VELQ_Util.h"
#include "VELQ_WL_Store.h"
#include "VELQ_WN_Store.h"

#include <cstdio>
#include <cstring>

// UTF-8 names of the files of the running update; null when none is given or no update runs.
static struct {
    char *probability;
    char *whiteNumbers;
    char *rules; // compressed; nothing ever sets it in this release
} pendingFiles;

static void clearPendingFiles() noexcept
{
    for (char **name : {&pendingFiles.probability, &pendingFiles.whiteNumbers, &pendingFiles.rules}) {
        freeMemory(*name);
        *name = nullptr;
    }
}

bool isUpdateRunning() noexcept
{
    return engineState.isUpdating.load(std::memory_order_relaxed) != 0;
}

// Keeps the UTF-8 form of `path` as a pending name. False on failure.
static bool setPendingFile(char *&pending, const VELQ_WideChar *path) noexcept
{
    const int size = API_unicodeToUtf8Length(path);
    if (size < 1) {
        logError("%s:%d\tError:  File Path len is:%d\n", VELQ_HERE, size);
        return false;
    }
    if (static_cast<std::size_t>(size) > pathCapacity) {
        logError("%s:%d\tError: File Path is too long:%d\n", VELQ_HERE, size);
        return false;
    }
    char *name = static_cast<char *>(allocateMemory(static_cast<std::size_t>(size)));
    if (name == nullptr) {
        logError("%s:%d\tError: Memory Allocation  failed\n", VELQ_HERE);
        return false;
    }
    if (API_unicodeToUtf8(path, name, size) < 1) {
        logError("%s:%d\tError: Exe File Path init failed!\n", VELQ_HERE);
        freeMemory(name);
        return false;
    }
    freeMemory(pending);
    pending = name;
    logDebug("%s:%d\t File Path(utf-8 encoded char) is:%s\n", VELQ_HERE, name);
    return true;
}

int doUpdateData(const VELQ_WideChar *probPath, std::int32_t probVersion, const VELQ_WideChar *wnPath,
                 std::int32_t wnVersion, const VELQ_WideChar *ruleFile) noexcept
{
    int result = VELQ_ERR_FAILED;
    engineState.isUpdating.store(1, std::memory_order_relaxed);
    // The rule file is taken only in place of a pending one, and none ever is: the rule step does not run.
    const bool isReady = (probPath == nullptr || setPendingFile(pendingFiles.probability, probPath)) &&
                         (wnPath == nullptr || setPendingFile(pendingFiles.whiteNumbers, wnPath)) &&
                         (pendingFiles.rules == nullptr || setPendingFile(pendingFiles.rules, ruleFile));
    if (isReady) {
        result = updateAllData(probVersion, wnVersion);
    }
    clearPendingFiles();
    engineState.isUpdating.store(0, std::memory_order_relaxed);
    return result;
}

// This release takes no rule updates.
static int db_MergeDiff2RuleTable(const char *, const char *) noexcept
{
    return 0;
}

// A merge with the version record that follows it, and what they log. That two steps name prob.bin is kept on purpose.
struct UpdateStep {
    std::int32_t command;
    int (*merge)(const char *store, const char *update) noexcept;
    LogText merged;
    LogText recordFailed;
    LogText recorded;
};

static constexpr UpdateStep probabilityStep = {
    .command = VELQ_DATA_PROBABILITY,
    .merge = db_MergeDiff2ProbTable,
    .merged = debugLine("%s:%d\tOK: db_MergeDiff2ProbTable Success!\n"),
    .recordFailed = errorLine("%s:%d\tError: db_UpdateVersion  (prob.bin) \n"),
    .recorded = debugLine("%s:%d\tOK: db_UpdateVersion (prob.bin) Success!\n"),
};
static constexpr UpdateStep whiteNumberStep = {
    .command = VELQ_DATA_WHITE_NUMBERS,
    .merge = db_MergeDiff2WnTable,
    .merged = debugLine("%s:%d\tOK: db_MergeDiff2WnTable Success!\n"),
    .recordFailed = errorLine("%s:%d\tError: db_UpdateVersion  (prob.bin) \n"),
    .recorded = debugLine("%s:%d\tOK: db_UpdateVersion  (prob.bin)  Success!\n"),
};
static constexpr UpdateStep ruleStep = {
    .command = VELQ_DATA_RULES,
    .merge = db_MergeDiff2RuleTable,
    .merged = debugLine("%s:%d\tOK: db_MergeDiff2RuleTable Success!\n"),
    .recordFailed = errorLine("%s:%d\tError: db_UpdateVersion  (ru.bin) \n"),
    .recorded = debugLine("%s:%d\tOK: db_UpdateVersion  (ru.bin)  Success!\n"),
};

static int mergeAndRecord(const UpdateStep &step, const char *store, const char *update, std::int32_t version) noexcept
{
    int result = step.merge(store, update);
    if (result != 0) {
        return result;
    }
    logText(step.merged);
    const VersionRecord record{step.command, version};
    result = db_UpdateVersion(&record);
    logText(result != 0 ? step.recordFailed : step.recorded);
    return result;
}

static int updateRules() noexcept
{
    constexpr std::int32_t ruleVersion = 1000;
    constexpr std::size_t suffixLength = 5; // of the compressed file's name
    char name[pathCapacity]{};
    const std::size_t length = std::strlen(pendingFiles.rules);
    std::memcpy(name, pendingFiles.rules, length > suffixLength ? length - suffixLength : 0);
    logDebug("%s:%d\tCompressed File:%s\n", VELQ_HERE, pendingFiles.rules);
    logDebug("%s:%d\tDecompressed File:%s\n", VELQ_HERE, name);
    return mergeAndRecord(ruleStep, engineState.ruleListPath, name, ruleVersion);
}

int updateAllData(std::int32_t probVersion, std::int32_t wnVersion) noexcept
{
    int result = 0;
    if (pendingFiles.probability != nullptr) {
        logDebug("%s:%d\tpdate File Name:%s\n", VELQ_HERE, pendingFiles.probability);
        result = mergeAndRecord(probabilityStep, engineState.tokenStorePath, pendingFiles.probability, probVersion);
    }
    if (pendingFiles.whiteNumbers != nullptr) {
        logDebug("%s:%d\tUpdate File Name:%s\n", VELQ_HERE, pendingFiles.whiteNumbers);
        result = mergeAndRecord(whiteNumberStep, engineState.whiteListPath, pendingFiles.whiteNumbers, wnVersion);
    }
    if (pendingFiles.rules != nullptr) {
        result = updateRules();
    }
    clearPendingFiles();
    return result;
}

// ---- Version records

static constexpr StoreOperation getCurrentVersion({
    .kind = StoreKind::quietRead,
    .enter = debugLine("%s:%d\t**********Enter db_GetCurrentVersion!********\n"),
    .open = {errorLine("%s:%d\tError: VELQ_DSH_Open, rc=%d\n")},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n")},
    .prepare = {debugLine("%s:%d\tError: VELQ_DSH_Prepare\n")},
    .done = debugLine("%s:%d\t**********OK: Leave db_GetCurrentVersion!********\n"),
});

static constexpr StoreOperation updateVersion({
    .kind = StoreKind::write,
    .rollsBack = true,
    .enter = debugLine("%s:%d\t**********Enter db_UpdateVersion!********\n"),
    .open = {debugLine("%s:%d\tError: VELQ_DSH_Open, %s\n", LogValue::path)},
    .busyHandler = {errorLine("%s:%d\tError: VELQ_DSH_busyHandler\n")},
    .begin = {debugLine("%s:%d\tError: Sqlite BEGIN TRANSACTION\n")},
    .prepare = {errorLine("%s:%d\tError: VELQ_DSH_Prepare\n")},
    .step = {errorLine("%s:%d\tError: VELQ_DSH_doNext, rc=%d\n")},
    .commit = {errorLine("%s:%d\tError: VELQ_DSH_Exec, COMMIT TRANSACTION, rc=%d\n")},
    .done = debugLine("%s:%d\t**********OK: Leave db_UpdateVersion!********\n"),
});

static constexpr std::size_t sqlCapacity = 512;

int db_GetCurrentVersion(VersionRecord *record) noexcept
{
    logText(getCurrentVersion.texts.enter);
    StoreSession session = openStore(getCurrentVersion, engineState.versionPath);
    char sql[sqlCapacity]{};
    std::snprintf(sql, sizeof sql, "select command, version FROM versionTable where command=%d;", record->command);
    prepareStatement(session, sql);
    if (stepToRow(session)) {
        record->command = VELQ_DSH_getInt(session.statement, 0);
        record->version = VELQ_DSH_getInt(session.statement, 1);
        logDebug("%s:%d\t command = %d\n", VELQ_HERE, record->command);
        logDebug("%s:%d\t version = %d\n", VELQ_HERE, record->version);
    } else if (!hasFailed(session)) { // a failed step is treated like a missing row
        record->version = 0;
        logDebug("%s:%d\tThere's no version record about this command(%d)\n", VELQ_HERE, record->command);
    }
    return endStore(session);
}

int db_UpdateVersion(const VersionRecord *record) noexcept
{
    logText(updateVersion.texts.enter);
    StoreSession session = openStore(updateVersion, engineState.versionPath);
    char sql[sqlCapacity]{};
    std::snprintf(sql, sizeof sql, "UPDATE versionTable SET command=%d, version=%d WHERE command=%d;", record->command,
                  record->version, record->command);
    prepareStatement(session, sql);
    stepToDone(session);
    return endStore(session);
}
