// The bounds of one connection: how much of the running operation's share of time, steps, memory and disk is used up,
// and which of them has fired. An operation begins when its busy handler is installed; the share is counted anew from
// there. Beside them stands what the connection keeps from one operation to the next. The record lives as long as the
// connection's main file is open.
#ifndef VELQ_DSH_BOUNDS_H
#define VELQ_DSH_BOUNDS_H

#include <cstdint>
#include <sqlite3.h>

// How a file came here: one of the owner's five, or one that strangers made, which is only read.
enum class FileOrigin : std::uint8_t { owner, stranger };

struct UserFunction {
    char name[8];
    int arguments;
    int textRepresentation;
    void *userData;
    void (*function)(sqlite3_context *context, int count, sqlite3_value **values);
};

struct Bounds {
    sqlite3 *connection; // null until the bounds are put on
    sqlite3_vfs *clockOwner;
    sqlite3_file *file;                     // the main one
    sqlite3_file *log;                      // its write-ahead log, or null
    const volatile unsigned char *logIndex; // the beginning of that log's index, or null
    FileOrigin origin;
    bool isSchemaKnown; // its texts have been looked at
    bool isPlain;       // they were all on the first page, when that was read last, and name tables and columns only
    bool hasCode;       // its schema computes: triggers, checks, computed columns, indexes on more than columns
    const char *fired;  // the name of the bound that fired last in the running operation, or null
    bool hasFailed;     // a step failed in the running operation, of which no statement is kept then

    // What the running operation has used.
    sqlite3_int64 bytes;  // of the database and its write-ahead log, when the operation first asked; -1 before
    sqlite3_int64 runs;   // of statements
    sqlite3_int64 steps;  // of the running statement
    sqlite3_int64 time;   // in milliseconds, without waits for locks
    sqlite3_int64 clock;  // when the time was last taken; 0 while it stands
    sqlite3_int64 memory; // of SQLite, when the operation began

    int (*busyHandler)(void *argument, int count);
    void *busyArgument;

    // Computes what bounded functions return; opened by the first. A statement for each function and count of
    // arguments.
    static constexpr int mostFunctions = 9;
    static constexpr int mostArguments = 9;
    sqlite3 *calculator;
    sqlite3_stmt *calculations[mostFunctions][mostArguments + 1];

    // Both under the connection's lock.
    static constexpr int mostKept = 4;
    sqlite3_stmt *kept[mostKept]; // statements to hand out when their texts are prepared again, the oldest first
    UserFunction registered;      // the last function; its name is empty before there is one
};

void beginOperation(Bounds &bounds) noexcept;
// The longest value that may come from a file.
int longestValueOf(FileOrigin origin) noexcept;
// Nonzero, with the bound named, when the operation has used up its share of time.
bool isTimeUp(Bounds &bounds) noexcept;
// Whether a file of the database may grow to `end` bytes. Names the bound when not.
bool mayGrow(Bounds &bounds, bool isMainFile, sqlite3_int64 end) noexcept;
// Counts steps and runs on the connection from now on; an SQLite result code.
int countSteps(Bounds &bounds) noexcept;
// Bounds the values of a statement by the size of its program; an SQLite result code.
int boundValues(Bounds &bounds, sqlite3_stmt *statement) noexcept;
// Waits for locks on the handler's behalf, without counting the time.
int installBusyHandler(Bounds &bounds, int (*handler)(void *argument, int count), void *argument) noexcept;

#endif
