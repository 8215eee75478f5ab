// The sequence open, busy handler, begin, prepare, step, commit or rollback, close, with the log texts of the operation
// that runs it. What the statements mean is left to the operations.
#include "VELQ_DB_Operation.h"

#include <cstring>

static void closeConnection(StoreSession &session) noexcept
{
    if (!session.isKeptOpen) {
        VELQ_DSH_Close(session.connection);
    }
    session.connection = nullptr;
}

// Cleans up after a failed step and logs it. The first failure's code is the one that is kept.
static void failSession(StoreSession &session, StoreStep step) noexcept
{
    session.failed = step;
    session.hasMetBound = logBound(session.connection, session.code);
    finishStatement(session);
    if (session.texts->rollsBack && (step == &StoreTexts::step || step == &StoreTexts::commit)) {
        executeSql(session.connection, rollbackTransaction);
    }
    closeConnection(session);
    logFailure(session.texts->*step, session.code, session.path);
}

static void connectOrFail(StoreSession &session, VELQ_DSH_Connection *keptOpen) noexcept
{
    const ConnectResult result = connectDatabase(session.path, keptOpen, &session.connection);
    session.code = result.code;
    if (result.reached != ConnectStep::connected) {
        failSession(session, result.reached == ConnectStep::open ? &StoreTexts::open : &StoreTexts::busyHandler);
    }
}

static void registerLike(StoreSession &session) noexcept
{
    if (hasFailed(session) || !session.texts->like.isSet) {
        return;
    }
    constexpr int arguments = 2;
    session.code = VELQ_DSH_makeUserHand(session.connection, "like", arguments, VELQ_DSH_ANY_TEXT, session.connection,
                                         session.texts->like.function, nullptr, nullptr);
    if (session.code != VELQ_DSH_OK) {
        failSession(session, &StoreTexts::registerLike);
    }
}

// Runs a transaction statement; reads have none.
static void executeOrFail(StoreSession &session, const char *sql, StoreStep step) noexcept
{
    if (hasFailed(session) || session.texts->kind != StoreKind::write) {
        return;
    }
    session.code = executeSql(session.connection, sql);
    if (session.code != VELQ_DSH_OK) {
        failSession(session, step);
    }
}

StoreSession openStore(const StoreOperation &operation, const char *path, VELQ_DSH_Connection *keptOpen) noexcept
{
    StoreSession session{};
    session.texts = &operation.texts;
    session.path = path;
    session.isKeptOpen = keptOpen != nullptr;
    connectOrFail(session, keptOpen);
    registerLike(session);
    executeOrFail(session, beginImmediate, &StoreTexts::begin);
    return session;
}

void prepareStatement(StoreSession &session, const char *sql) noexcept
{
    if (hasFailed(session)) {
        return;
    }
    session.code = prepareSql(session.connection, sql, &session.statement);
    if (session.code != VELQ_DSH_OK) {
        failSession(session, &StoreTexts::prepare);
    }
}

// Takes the result of binding a value. A value that is not bound fails the step that would run without it.
static void bindOrFail(StoreSession &session, int code) noexcept
{
    session.code = code;
    if (code != VELQ_DSH_OK) {
        failSession(session, &StoreTexts::step);
    }
}

void bindInt(StoreSession &session, int index, int value) noexcept
{
    if (!hasFailed(session)) {
        bindOrFail(session, VELQ_DSH_mapInt(session.statement, index, value));
    }
}

void bindText(StoreSession &session, int index, const char *text) noexcept
{
    if (!hasFailed(session)) {
        const int count = static_cast<int>(std::strlen(text)) + 1;
        bindOrFail(session, VELQ_DSH_mapText(session.statement, index, text, count, nullptr));
    }
}

void bindBlob(StoreSession &session, int index, const void *bytes, std::size_t count) noexcept
{
    if (!hasFailed(session)) {
        const int length = static_cast<int>(count);
        bindOrFail(session, VELQ_DSH_mapBlob(session.statement, index, bytes, length, nullptr));
    }
}

bool stepToRow(StoreSession &session) noexcept
{
    return !hasFailed(session) && acceptRow(session, VELQ_DSH_doNext(session.statement));
}

bool acceptRow(StoreSession &session, int code) noexcept
{
    if (hasFailed(session)) {
        return false;
    }
    session.code = code;
    const bool isError = session.code != VELQ_DSH_ROW && session.code != VELQ_DSH_DONE;
    if (isError && (session.texts->kind != StoreKind::quietRead || isBeyondBound(session.connection, session.code))) {
        failSession(session, &StoreTexts::step);
    }
    return session.code == VELQ_DSH_ROW;
}

void stepToDone(StoreSession &session) noexcept
{
    if (hasFailed(session)) {
        return;
    }
    session.code = VELQ_DSH_doNext(session.statement);
    if (session.code != VELQ_DSH_DONE) {
        failSession(session, &StoreTexts::step);
    }
}

void failForMemory(StoreSession &session) noexcept
{
    session.code = VELQ_DSH_NOMEM;
    failSession(session, &StoreTexts::step);
}

void finishStatement(StoreSession &session) noexcept
{
    finishSql(&session.statement, session.isKeptOpen);
}

int endStore(StoreSession &session) noexcept
{
    executeOrFail(session, commitTransaction, &StoreTexts::commit);
    if (hasFailed(session)) {
        return VELQ_ERR_FAILED;
    }
    finishStatement(session);
    closeConnection(session);
    logText(session.texts->done, session.code, session.path);
    return 0;
}
