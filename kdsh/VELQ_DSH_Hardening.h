// Opening files made by others. Data files, and update files above all, may hold anything that SQLite's file format
// allows. Nothing here changes what comes of a file with plain tables.
#ifndef VELQ_DSH_HARDENING_H
#define VELQ_DSH_HARDENING_H

#include "VELQ_DSH_Bounds.h"

// Puts the bounds on a freshly opened connection; an SQLite result code.
int hardenConnection(sqlite3 *connection, FileOrigin origin) noexcept;
// Looks at the schema before the connection's first statement is compiled, and puts on what code in it needs; an SQLite
// result code.
int hardenSchema(Bounds &bounds) noexcept;

#endif
