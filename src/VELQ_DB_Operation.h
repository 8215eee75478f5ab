// One operation on one data file, from opening the file to closing it, written once for all operations. What differs
// between operations (what they do, log texts, whether a failure rolls back) is a constant record; SQL and values stay
// with the operation:
//
//     openStore, prepareStatement, bind..., stepToRow or stepToDone, endStore
//
// Once a step has failed, the session is cleaned up and logged, and all further steps do nothing.
#ifndef VELQ_DB_OPERATION_H
#define VELQ_DB_OPERATION_H

#include "VELQ_DB_Connection.h"
#include "VELQ_Log_Text.h"

#include <cstddef>
#include <cstdint>

// What an operation does decides which steps it runs, and so which failures must have a text.
enum class StoreKind : std::uint8_t {
    read,      // open, busy handler, prepare, steps to rows
    quietRead, // the same, but a failed step is taken for the end of the rows; a bound fails it without a text of its
               // own
    write      // open, busy handler, begin, prepare, a step without row, commit
};

// A function that an operation registers, or none. Says for itself whether it is there: under sanitizers a comparison
// of a function with null is no constant expression.
struct SqlFunction {
    constexpr SqlFunction() = default;
    constexpr explicit SqlFunction(VELQ_DSH_Function given) noexcept : isSet(true), function(given) {}

    bool isSet = false;
    VELQ_DSH_Function function = nullptr;
};

struct StoreTexts {
    StoreKind kind;
    SqlFunction like{};     // registered under the name "like" behind the busy handler
    bool rollsBack = false; // a write's failed step or commit runs a rollback; otherwise closing abandons it
    LogText enter{};
    FailureTexts open{};
    FailureTexts busyHandler{};
    FailureTexts registerLike{};
    FailureTexts begin{};
    FailureTexts prepare{};
    FailureTexts step{};
    FailureTexts commit{};
    LogText done{};
};

// Whether exactly the steps that the operation runs have the text of their failure.
consteval bool hasTextsOfItsSteps(const StoreTexts &texts)
{
    const auto isLogged = [](const FailureTexts &step) { return step.cause.format != nullptr; };
    const bool writes = texts.kind == StoreKind::write;
    return isLogged(texts.open) && isLogged(texts.busyHandler) && isLogged(texts.prepare) &&
           isLogged(texts.registerLike) == texts.like.isSet && isLogged(texts.begin) == writes &&
           isLogged(texts.step) == (texts.kind != StoreKind::quietRead) && isLogged(texts.commit) == writes &&
           (writes || !texts.rollsBack);
}

void storeOperationLacksTexts(); // nowhere defined: an incomplete record does not compile

struct StoreOperation {
    consteval explicit StoreOperation(const StoreTexts &given) : texts(given)
    {
        if (!hasTextsOfItsSteps(given)) {
            storeOperationLacksTexts();
        }
    }

    StoreTexts texts;
};

// A step that can fail, named by the field that holds its texts.
using StoreStep = FailureTexts StoreTexts::*;

struct StoreSession {
    const StoreTexts *texts;
    const char *path;
    VELQ_DSH_Connection *connection;
    VELQ_DSH_Statement *statement;
    bool isKeptOpen;  // a standing connection, never closed by the session
    StoreStep failed; // null while nothing has failed
    bool hasMetBound; // the failure was a bound of the access layer
    int code;         // the database's result code of the last step
};

inline bool hasFailed(const StoreSession &session) noexcept
{
    return session.failed != nullptr;
}

// Opens the file, or takes the standing connection when `keptOpen` is set; registers the operation's "like"; begins a
// write's transaction.
StoreSession openStore(const StoreOperation &operation, const char *path,
                       VELQ_DSH_Connection *keptOpen = nullptr) noexcept;
void prepareStatement(StoreSession &session, const char *sql) noexcept;
void bindInt(StoreSession &session, int index, int value) noexcept;
// Bound memory outlives the statement. A text is bound with its terminator.
void bindText(StoreSession &session, int index, const char *text) noexcept;
void bindBlob(StoreSession &session, int index, const void *bytes, std::size_t count) noexcept;
// Steps for a row: true for a row, false when there is none, and on an error, which fails all but a quiet read; a bound
// fails that too.
bool stepToRow(StoreSession &session) noexcept;
// The same for a step that the operation took itself, by its result code.
bool acceptRow(StoreSession &session, int code) noexcept;
// Steps a statement that returns no row.
void stepToDone(StoreSession &session) noexcept;
// Fails the session in its step for want of memory.
void failForMemory(StoreSession &session) noexcept;
// Releases the statement, so that another can be prepared.
void finishStatement(StoreSession &session) noexcept;
// Commits a write and closes: 0 when nothing has failed, otherwise -2.
int endStore(StoreSession &session) noexcept;

#endif
