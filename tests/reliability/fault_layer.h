// Faults below the engine: a file layer for SQLite that fails, cuts or ends the process at a chosen call, and
// allocators that run out of memory at a chosen call. Linking this file puts them in place before SQLite starts; they
// pass everything through until a fault is armed. Temporary folders move into memory where the system offers that.
#ifndef VELQ_RELIABILITY_FAULT_LAYER_H
#define VELQ_RELIABILITY_FAULT_LAYER_H

#include <ostream>
#include <string>
#include <vector>

namespace velq::reliability {

enum class Fault {
    write,    // an I/O error, nothing written
    cutWrite, // an I/O error after half of the bytes
    diskFull, // a write that finds no space
    sync,
    open,
    lockBusy, // a lock that another connection seems to hold
    lockError,
    read,
    cutRead, // an I/O error after half of the bytes
    truncate,
    remove,         // of a journal
    databaseMemory, // an allocation of SQLite's
    engineMemory,   // an allocation of the engine's
    kill            // SIGKILL at a call that changes files or locks; before it, after it or, for a write, in the middle
};

const char *nameOf(Fault fault);
inline std::ostream &operator<<(std::ostream &out, Fault fault)
{
    return out << nameOf(fault);
}

// How long a fault lasts: for one call, or for every call of its kind from there on.
enum class Duration { once, fromThereOn };

// Fails the `call`-th call of the fault's kind from now on, counted from 1. One fault at a time.
void arm(Fault fault, long call, Duration duration);
// Ends the fault; whether it happened.
bool disarm();

// Puts the engine's allocator in, and takes the waits of the busy rule out.
void replacePlatformCalls();

} // namespace velq::reliability

#endif
