// The token store's table at the level of keys and values: one handle with its cached statements, and transactions.
#ifndef VELQ_BFILTER_DATASTORE_SQLITE_H
#define VELQ_BFILTER_DATASTORE_SQLITE_H

#include "VELQ_DSH.h"
#include "VELQ_Word.h"

#include <cstdint>

// How and where a word list is kept. Nothing reads the flags and the directory.
struct wordlist_settings {
    std::uint8_t flags[4];
    char *directory;
    char *path;
    char *databasePath; // the one that db_open uses
};

// Result codes beside the database's own.
inline constexpr int DS_ABORT_RETRY = -2;  // the database was busy; the transaction has been rolled back
inline constexpr int dsPrepareFailed = -1; // a statement could not be prepared
inline constexpr int dbValueNotFound = -1; // db_get_dbvalue: no such key

struct dbh {
    const char *path; // the settings record's
    VELQ_DSH_Connection *connection;
    VELQ_DSH_Statement *select; // each prepared on first use
    VELQ_DSH_Statement *update;
    VELQ_DSH_Statement *insert;
    VELQ_DSH_Statement *spare; // never prepared
};

struct key_blob {
    const void *bytes;
    std::uint32_t length; // in bytes
};

// Where a value is copied to: capacity going in, bytes copied coming out.
struct value_buffer {
    void *bytes;
    std::uint32_t length;
};

// The transaction calls that the datastore uses; an empty slot does nothing.
struct transaction_table {
    int (*begin)(dbh *handle) noexcept;
    int (*abort)(dbh *handle) noexcept;
    int (*commit)(dbh *handle) noexcept;
};
extern transaction_table transactionTable;

// Null on failure. The first argument and the mode are ignored.
dbh *db_open(const word *ignored, const wordlist_settings *settings, int mode) noexcept;
void db_close(dbh *handle) noexcept;
int db_exec_sql(VELQ_DSH_Connection *connection, const char *sql) noexcept;
VELQ_DSH_Statement *db_prepare_statement(dbh *handle, const char *sql, bool isFatal) noexcept;
// Steps to the end; copies the first column of the row, if a buffer is given.
int db_run_statement(dbh *handle, const char *function, VELQ_DSH_Statement *statement, value_buffer *value,
                     int notFound) noexcept;
int db_set_dbvalue(dbh *handle, const key_blob *key, const key_blob *value) noexcept;    // insert or replace
int db_update_dbvalue(dbh *handle, const key_blob *key, const key_blob *value) noexcept; // existing keys only
int db_get_dbvalue(dbh *handle, const key_blob *key, value_buffer *value) noexcept;
int db_txn_begin(dbh *handle) noexcept;
int db_txn_abort(dbh *handle) noexcept;
int db_txn_commit(dbh *handle) noexcept;

#endif
