// The database-access layer: twenty operations, each one SQLite facility under the engine's own name, with the same
// arguments and result, two for bounds on what a file can do, and one that keeps a statement. The engine reaches SQLite
// through these names only. The layer knows nothing of the engine; it keeps a file layer of its own, registered with
// SQLite by the first open, and for each connection its bounds and what it uses again. Bound parameters count from 1,
// result columns from 0.
#ifndef VELQ_DSH_H
#define VELQ_DSH_H

struct sqlite3;
struct sqlite3_context;
struct sqlite3_stmt;
struct sqlite3_value;

using VELQ_DSH_Connection = sqlite3;
using VELQ_DSH_Statement = sqlite3_stmt;
using VELQ_DSH_Context = sqlite3_context;
using VELQ_DSH_Value = sqlite3_value;

using VELQ_DSH_BusyHandler = int (*)(void *argument, int count);
using VELQ_DSH_ExecCallback = int (*)(void *argument, int columns, char **values, char **names);
using VELQ_DSH_Destructor = void (*)(void *memory);
using VELQ_DSH_Function = void (*)(VELQ_DSH_Context *context, int count, VELQ_DSH_Value **values);
using VELQ_DSH_Final = void (*)(VELQ_DSH_Context *context);

// The result codes that callers tell apart. Every other value is an error.
enum VELQ_DSH_Result : int {
    VELQ_DSH_OK = 0,
    VELQ_DSH_BUSY = 5,
    VELQ_DSH_NOMEM = 7,
    VELQ_DSH_INTERRUPT = 9,
    VELQ_DSH_FULL = 13,
    VELQ_DSH_CANTOPEN = 14,
    VELQ_DSH_TOOBIG = 18,
    VELQ_DSH_ROW = 100,
    VELQ_DSH_DONE = 101
};

// The text representation under which functions are registered: any.
enum VELQ_DSH_TextRepresentation : int { VELQ_DSH_ANY_TEXT = 5 };

#if defined(__ELF__)
#define VELQ_DSH_API extern "C" __attribute__((visibility("default")))
#else
#define VELQ_DSH_API extern "C"
#endif

// Opens an existing file for reading and writing, or for reading only where the file is write-protected. Never creates
// one. Puts the bounds for the owner's files on the connection. A file in write-ahead mode is read, and its commits do
// not wait for the disk. `*connection` must be closed also after a failure. `path` is UTF-8 in the operating system's
// own form.
VELQ_DSH_API int VELQ_DSH_Open(const char *path, VELQ_DSH_Connection **connection) noexcept;
// Opens a stranger's file, for reading only, with the bounds for these.
VELQ_DSH_API int VELQ_DSH_OpenForeign(const char *path, VELQ_DSH_Connection **connection) noexcept;
// Names the bound that has fired on the connection since its busy handler was installed; null when none has. A call
// that meets a bound fails with INTERRUPT, TOOBIG or FULL.
VELQ_DSH_API const char *VELQ_DSH_Bound(VELQ_DSH_Connection *connection) noexcept;
// Closing null succeeds.
VELQ_DSH_API int VELQ_DSH_Close(VELQ_DSH_Connection *connection) noexcept;
// `length` is the SQL text's byte length. Steps of the statement report specific result codes.
VELQ_DSH_API int VELQ_DSH_Prepare(VELQ_DSH_Connection *connection, const char *sql, int length,
                                  VELQ_DSH_Statement **statement, const char **tail) noexcept;
// `error`, when asked for, is released with VELQ_DSH_Free.
VELQ_DSH_API int VELQ_DSH_Exec(VELQ_DSH_Connection *connection, const char *sql, VELQ_DSH_ExecCallback callback,
                               void *argument, char **error) noexcept;
VELQ_DSH_API void VELQ_DSH_Free(void *memory) noexcept;
// The text of the connection's last error; valid until its next call.
VELQ_DSH_API const char *VELQ_DSH_Error(VELQ_DSH_Connection *connection) noexcept;
VELQ_DSH_API int VELQ_DSH_Reset(VELQ_DSH_Statement *statement) noexcept;
// Finalising null succeeds.
VELQ_DSH_API int VELQ_DSH_Fini(VELQ_DSH_Statement *statement) noexcept;
// Takes a statement back as VELQ_DSH_Fini does; unless a step failed in the running operation, the connection may hand
// it out again when the same text is prepared. It has four such statements, those given back last, and releases them
// when it is closed.
VELQ_DSH_API void VELQ_DSH_Keep(VELQ_DSH_Statement *statement) noexcept;
VELQ_DSH_API int VELQ_DSH_doNext(VELQ_DSH_Statement *statement) noexcept;
// A null destructor means that the memory outlives the statement's steps.
VELQ_DSH_API int VELQ_DSH_mapBlob(VELQ_DSH_Statement *statement, int index, const void *bytes, int count,
                                  VELQ_DSH_Destructor destructor) noexcept;
VELQ_DSH_API int VELQ_DSH_mapInt(VELQ_DSH_Statement *statement, int index, int value) noexcept;
VELQ_DSH_API int VELQ_DSH_mapText(VELQ_DSH_Statement *statement, int index, const char *text, int count,
                                  VELQ_DSH_Destructor destructor) noexcept;
// Blobs and texts are valid until the next step, reset or finalise of the statement.
VELQ_DSH_API const void *VELQ_DSH_getBlob(VELQ_DSH_Statement *statement, int column) noexcept;
VELQ_DSH_API int VELQ_DSH_getBytes(VELQ_DSH_Statement *statement, int column) noexcept;
VELQ_DSH_API int VELQ_DSH_getInt(VELQ_DSH_Statement *statement, int column) noexcept;
VELQ_DSH_API const unsigned char *VELQ_DSH_getText(VELQ_DSH_Statement *statement, int column) noexcept;
// Also begins an operation: the connection's bounds are counted from here. Waits for locks do not count.
VELQ_DSH_API int VELQ_DSH_busyHandler(VELQ_DSH_Connection *connection, VELQ_DSH_BusyHandler handler,
                                      void *argument) noexcept;
// A function that stands already is left as it is: registering it anew would have every statement compiled anew.
VELQ_DSH_API int VELQ_DSH_makeUserHand(VELQ_DSH_Connection *connection, const char *name, int arguments,
                                       int textRepresentation, void *userData, VELQ_DSH_Function function,
                                       VELQ_DSH_Function step, VELQ_DSH_Final final) noexcept;
VELQ_DSH_API void VELQ_DSH_returnInt(VELQ_DSH_Context *context, int value) noexcept;
// Reads a function's argument as text; null for SQL NULL. It sets no result.
VELQ_DSH_API const unsigned char *VELQ_DSH_resultText(VELQ_DSH_Value *value) noexcept;

#endif
