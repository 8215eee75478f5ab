// The exported functions: each enters the guard, checks its pointers, calls one worker and returns its result. Start
// and stop of the engine stand here too.
#include "VELQ_Interface.h"

#include "VELQ_DB_Connection.h"
#include "VELQ_DB_Interface.h"
#include "VELQ_Rating_Manager.h"
#include "VELQ_Update.h"
#include "VELQ_Util.h"
#include "bfilter/VELQ_BFilter_Register.h"
#include "velq.h"

// ---- Start and stop

static constexpr VELQ_WideChar messageCountText[] = VELQ_TEXT(".MSG_CNT");

static void setMessageCountKey() noexcept
{
    engineState.messageCountKey = {messageCountText, static_cast<std::uint32_t>(wideLength(messageCountText))};
}

int32_t VELQ_Initialize(const VELQ_WideChar *programDir) noexcept
{
    if (engineState.isInitialised != 0) {
        return 0;
    }
    if (checkInstallPath(programDir) != 0) {
        return VELQ_ERR_FAILED;
    }
    initDebugFlag(programDir);
    openLogFile(programDir, "engine.log");
    logDebug("%s:%d\tLog file opened...\n", VELQ_HERE);
    setMessageCountKey();
    int code = initAllFilePaths(programDir);
    if (code == 0) {
        code = checkDBFiles(programDir);
    }
    if (code != 0) {
        freeAllFilePaths();
        return code;
    }
    engineState.isInitialised = 1;
    logDebug("OK: VELQ_Initialize()\n");
    return 0;
}

static void closeKeptConnection(VELQ_DSH_Connection *&connection) noexcept
{
    if (connection != nullptr) {
        VELQ_DSH_Close(connection);
        connection = nullptr;
    }
}

// Opens the three files in their order; stops at the first failure, whose handle is closed and cleared.
static int openKeptConnections() noexcept
{
    const struct {
        VELQ_DSH_Connection *&connection;
        const char *path;
    } keptOpen[] = {{engineState.tokenStoreConn, engineState.tokenStorePath},
                    {engineState.whiteListConn, engineState.whiteListPath},
                    {engineState.blackListConn, engineState.blackListPath}};
    for (const auto &kept : keptOpen) {
        closeKeptConnection(kept.connection);
        if (openDatabase(kept.path, &kept.connection) != VELQ_DSH_OK) {
            closeKeptConnection(kept.connection);
            logError("%s:%d\tError:  Can not open db\n", VELQ_HERE);
            return VELQ_ERR_FAILED;
        }
    }
    return 0;
}

int32_t VELQ_Norix_Initialize(const VELQ_WideChar *programDir) noexcept
{
    if (engineState.isInitialised != 0) {
        logDebug("====== Warning: Already called VELQ_Norix_Initialize(), Why norix is calling me again?  ===\n");
        return 0;
    }
    if (checkInstallPath(programDir) != 0) {
        return VELQ_ERR_FAILED;
    }
    initDebugFlag(programDir);
    openLogFile(programDir, "norix-engine.log");
    logDebug("************ Log file opened *************\n");
    setMessageCountKey();
    const int code = initAllFilePaths(programDir);
    if (code != 0) {
        logError("Error: VELQ_Norix_Initialize()\n");
        freeAllFilePaths();
        return code;
    }
    if (openKeptConnections() != 0) {
        return VELQ_ERR_FAILED;
    }
    engineState.isInitialised = 1;
    logDebug("OK: VELQ_Norix_Initialize()\n");
    return 0;
}

int32_t VELQ_Finalize(void) noexcept
{
    if (engineState.isInitialised == 0) {
        return VELQ_NOT_INITIALIZED;
    }
    freeAllFilePaths();
    logDebug("%s:%d\tGoing to Close Log file....\n", VELQ_HERE);
    closeLogFile();
    engineState.isInitialised = 0;
    logDebug("OK: VELQ_Finalize()\n"); // the log is closed by now, so this goes nowhere
    return 0;
}

int32_t VELQ_Norix_Finalize(void) noexcept
{
    if (engineState.isInitialised == 0) {
        logDebug("====== Warning: Not Norix_Initialized, Why norix is calling me-VELQ_Norix_Finalize()?  ===\n");
        return VELQ_NOT_INITIALIZED;
    }
    freeAllFilePaths();
    logDebug("************ Log file closed *************\n");
    closeLogFile();
    closeKeptConnection(engineState.tokenStoreConn);
    closeKeptConnection(engineState.whiteListConn);
    closeKeptConnection(engineState.blackListConn);
    engineState.isInitialised = 0;
    logDebug("OK: VELQ_Norix_Finalize()\n"); // as in VELQ_Finalize
    return 0;
}

// ---- The guard

std::int32_t guardExport(BusyRule rule, SourceLine where) noexcept
{
    if (engineState.isInitialised == 0) {
        return VELQ_NOT_INITIALIZED;
    }
    if (rule == BusyRule::allowed || !isUpdateRunning()) {
        return 0;
    }
    const auto write = rule == BusyRule::refused ? logError : logDebug;
    write("%s:%d\t Warning: Updating Thread is busy now....\n", where.file, where.line);
    return VELQ_ERR_BUSY;
}

// ---- Rating and feedback

static int removeNumber(const NumberRecord *record, std::int32_t kind) noexcept
{
    NumberEntry entry;
    const int code = convertNumberRecord(&entry, record);
    return code == 0 ? db_DeleteNumberRecord(entry.name, entry.number, kind) : code;
}

int32_t VELQ_CheckSpamMsgSync(uint32_t *rating, const VELQ_WideChar *body, const VELQ_WideChar *number) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::allowed, {VELQ_HERE});
    if (refusal != 0) {
        return refusal;
    }
    return rating != nullptr ? checkSpamMsg(rating, body, number) : VELQ_ERR_FAILED;
}

int32_t VELQ_CheckSpamMsgASync(void) noexcept
{
    return VELQ_ERR_NOT_SUPPORTED;
}

int32_t VELQ_SetMsgAsHam(const VELQ_WideChar *body, const VELQ_WideChar *number) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    if (refusal != 0) {
        return refusal;
    }
    registerMsg(UNREGISTER_SPAM, body);
    registerMsg(REGISTER_HAM, body);
    const NumberRecord record{const_cast<VELQ_WideChar *>(number), nullptr}; // only read
    return removeNumber(&record, NUMBER_LIST_BLACK);
}

int32_t VELQ_SetMsgAsSpam(const VELQ_WideChar *body) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    if (refusal != 0) {
        return refusal;
    }
    registerMsg(UNREGISTER_HAM, body);
    return registerMsg(REGISTER_SPAM, body);
}

// ---- Editing the number lists

// Takes the number off the other list first, whether or not that succeeds, unless the other file is beyond its bounds.
static int addNumber(const NumberRecord *record, std::int32_t hidden, std::int32_t extendID, std::int32_t kind) noexcept
{
    NumberEntry entry;
    const int code = convertNumberRecord(&entry, record);
    if (code != 0) {
        return code;
    }
    NumberEntry taken = entry; // reversed in place
    if (!db_TakeNumberOff(taken.number, kind == NUMBER_LIST_BLACK ? NUMBER_LIST_WHITE : NUMBER_LIST_BLACK)) {
        return VELQ_ERR_FAILED;
    }
    return db_AddNumberRecord(entry.name, entry.number, hidden, extendID, kind);
}

int32_t VELQ_AddBlackNumberSync(const NumberRecord *record, int32_t hidden, int32_t extendID) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : addNumber(record, hidden, extendID, NUMBER_LIST_BLACK);
}

int32_t VELQ_AddWhiteNumberSync(const NumberRecord *record, int32_t hidden, int32_t extendID) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : addNumber(record, hidden, extendID, NUMBER_LIST_WHITE);
}

int32_t VELQ_AddWhiteNumberListSync(const NumberListNode *list, int32_t hidden) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : db_AddNumberList(list, hidden, NUMBER_LIST_WHITE);
}

int32_t VELQ_RemoveBlackNumberSync(const NumberRecord *record) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : removeNumber(record, NUMBER_LIST_BLACK);
}

int32_t VELQ_RemoveWhiteNumberSync(const NumberRecord *record) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : removeNumber(record, NUMBER_LIST_WHITE);
}

int32_t VELQ_RemoveAllBlackNumberSync(int32_t hidden) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : db_DeleteAllNumberRecords(hidden, NUMBER_LIST_BLACK);
}

int32_t VELQ_RemoveAllWhiteNumberSync(int32_t hidden) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : db_DeleteAllNumberRecords(hidden, NUMBER_LIST_WHITE);
}

int32_t VELQ_DeleteBlackNumberByUID(int32_t uid) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : db_DeleteNumberByUID(uid, NUMBER_LIST_BLACK);
}

int32_t VELQ_DeleteWhiteNumberByUID(int32_t uid) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : db_DeleteNumberByUID(uid, NUMBER_LIST_WHITE);
}

int32_t VELQ_DeleteBlackNumberByExtendID(int32_t extendID) noexcept
{
    // Alone among the exports this one tells of a running update in a debug line.
    const std::int32_t refusal = guardExport(BusyRule::refusedQuietly, {VELQ_HERE});
    return refusal != 0 ? refusal : db_DeleteNumberByExtendID(extendID, NUMBER_LIST_BLACK);
}

int32_t VELQ_DeleteWhiteNumberByExtendID(int32_t extendID) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : db_DeleteNumberByExtendID(extendID, NUMBER_LIST_WHITE);
}

// ---- Reading the number lists

static int getList(NumberListNode **head, std::int32_t hidden, std::int32_t kind) noexcept
{
    return head != nullptr ? db_GetNumberList(head, hidden, kind) : VELQ_ERR_FAILED;
}

static int getUIDList(UIDListNode **head, std::int32_t hidden, std::int32_t kind) noexcept
{
    return head != nullptr ? db_GetNumberUIDList(head, hidden, kind) : VELQ_ERR_FAILED;
}

static int readByUID(NumberRecord *record, std::int32_t uid, std::int32_t kind) noexcept
{
    return record != nullptr ? db_ReadNumberByUID(record, uid, kind) : VELQ_ERR_FAILED;
}

static int getCount(std::int32_t *count, std::int32_t kind) noexcept
{
    return count != nullptr ? db_GetTotalCount(count, kind) : VELQ_ERR_FAILED;
}

int32_t VELQ_GetBlackNumberList(NumberListNode **head, int32_t hidden) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : getList(head, hidden, NUMBER_LIST_BLACK);
}

int32_t VELQ_GetWhiteNumberList(NumberListNode **head, int32_t hidden) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : getList(head, hidden, NUMBER_LIST_WHITE);
}

int32_t VELQ_GetBlackNumberUIDList(UIDListNode **head, int32_t hidden) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : getUIDList(head, hidden, NUMBER_LIST_BLACK);
}

int32_t VELQ_GetWhiteNumberUIDList(UIDListNode **head, int32_t hidden) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : getUIDList(head, hidden, NUMBER_LIST_WHITE);
}

int32_t VELQ_ReadBlackNumberByUID(NumberRecord *record, int32_t uid) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : readByUID(record, uid, NUMBER_LIST_BLACK);
}

int32_t VELQ_ReadWhiteNumberByUID(NumberRecord *record, int32_t uid) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : readByUID(record, uid, NUMBER_LIST_WHITE);
}

int32_t VELQ_GetTotalCountOfBlackNumber(int32_t *count) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : getCount(count, NUMBER_LIST_BLACK);
}

int32_t VELQ_GetTotalCountOfWhiteNumber(int32_t *count) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    return refusal != 0 ? refusal : getCount(count, NUMBER_LIST_WHITE);
}

// ---- Releasing what was read; nothing happens before a start and after a stop

void VELQ_FreeBlackNumberList(NumberListNode *list) noexcept
{
    if (engineState.isInitialised != 0) {
        freeNumberList(list);
    }
}

void VELQ_FreeWhiteNumberList(NumberListNode *list) noexcept
{
    VELQ_FreeBlackNumberList(list);
}

void VELQ_FreeMsgUIDList(UIDListNode *list) noexcept
{
    if (engineState.isInitialised != 0) {
        freeUIDList(list);
    }
}

void VELQ_FreeBlackNumberUIDList(UIDListNode *list) noexcept
{
    VELQ_FreeMsgUIDList(list);
}

void VELQ_FreeWhiteNumberUIDList(UIDListNode *list) noexcept
{
    VELQ_FreeMsgUIDList(list);
}

void VELQ_FreeWhiteNumber(NumberRecord *record) noexcept
{
    if (engineState.isInitialised != 0) {
        freeNumberRecord(record);
    }
}

void VELQ_FreeBlackNumber(NumberRecord *record) noexcept
{
    VELQ_FreeWhiteNumber(record);
}

// ---- Data versions and updates

int32_t VELQ_GetCurVersion(VersionRecord *record) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    if (refusal != 0) {
        return refusal;
    }
    return record != nullptr ? db_GetCurrentVersion(record) : VELQ_ERR_FAILED;
}

int32_t VELQ_UpdateData(const VELQ_WideChar *probPath, int32_t probVersion, const VELQ_WideChar *wnPath,
                        int32_t wnVersion) noexcept
{
    std::int32_t refusal = guardExport(BusyRule::allowed, {VELQ_HERE});
    if (refusal != 0) {
        return refusal;
    }
    if (probPath == nullptr && wnPath == nullptr) { // asked before the busy rule
        return VELQ_ERR_FAILED;
    }
    refusal = guardExport(BusyRule::refused, {VELQ_HERE});
    if (refusal != 0) {
        return refusal;
    }
    return doUpdateData(probPath, probVersion, wnPath, wnVersion, nullptr) == 0 ? 0 : VELQ_ERR_FAILED;
}

// ---- Entries that do nothing: the message store and the reserved ones

int32_t VELQ_GetSpamMsgList(void *) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::allowed, {VELQ_HERE});
    if (refusal != 0) {
        logError("%s:%d\t Error: VELQ_GetSpamMsgList,  VELQ_NOT_INITIALIZED\n", VELQ_HERE);
    }
    return refusal;
}

int32_t VELQ_ReadSpamMsg(void *) noexcept
{
    return guardExport(BusyRule::allowed, {VELQ_HERE});
}

int32_t VELQ_DeleteSpamMsg(void *ignored) noexcept
{
    return VELQ_ReadSpamMsg(ignored);
}

int32_t VELQ_DeleteAllSpamMsg(void *ignored) noexcept
{
    return VELQ_ReadSpamMsg(ignored);
}

int32_t VELQ_AddSpamMsg(void *, const VELQ_WideChar *number, void *) noexcept
{
    const std::int32_t refusal = guardExport(BusyRule::allowed, {VELQ_HERE});
    if (refusal != 0) {
        return refusal;
    }
    char narrow[numberKeyCapacity]{};
    narrowNumber(narrow, number); // and nothing is stored
    return 0;
}

int32_t VELQ_GetMsgUIDList(void *) noexcept
{
    return guardExport(BusyRule::allowed, {VELQ_HERE});
}

int32_t VELQ_GetTotalCountOfMsg(void *ignored) noexcept
{
    return VELQ_GetMsgUIDList(ignored);
}

void VELQ_FreeSpamMsgList(void *) noexcept {}

void VELQ_FreeSpamMsgBuf(void *) noexcept {}

int32_t VELQ_MT_AddWhiteNumber(void *) noexcept
{
    return 0;
}

int32_t VELQ_MT_DumpBin(void *) noexcept
{
    return 0;
}

int32_t VELQ_MT_End_Training(void *) noexcept
{
    return 0;
}

int32_t VELQ_MT_GetCurrentVersion(void *) noexcept
{
    return 0;
}

int32_t VELQ_MT_RegisterMsg(void *) noexcept
{
    return 0;
}

int32_t VELQ_MT_Start_Training(void *) noexcept
{
    return 0;
}

int32_t VELQ_MT_UpdateVersion(void *) noexcept
{
    return 0;
}

int32_t VELQ_MT_UpdateWordDict(void *) noexcept
{
    return 0;
}
