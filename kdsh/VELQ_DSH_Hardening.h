// Opening files made by others. Data files, and update files above all, may hold anything that SQLite's file format
// allows. Nothing here changes what comes of a file with plain tables.
#ifndef VELQ_DSH_HARDENING_H
#define VELQ_DSH_HARDENING_H

struct sqlite3;

// The SQLite file layer to open files with; null for SQLite's own when there is none to build on.
const char *fileLayerName() noexcept;
// Applies the bounds to a freshly opened connection; an SQLite result code.
int hardenConnection(sqlite3 *connection) noexcept;

#endif
