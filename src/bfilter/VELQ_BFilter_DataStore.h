// The token store at the level of words and counts.
#ifndef VELQ_BFILTER_DATASTORE_H
#define VELQ_BFILTER_DATASTORE_H

#include "bfilter/VELQ_BFilter_Datastore_Sqlite.h"

#include <cstddef>
#include <cstdint>

// A token's value: stored as three little-endian 32-bit words in this order.
struct token_value {
    std::uint32_t spam;
    std::uint32_t ham;
    std::uint32_t reserved;
};
inline constexpr std::size_t tokenValueBytes = 12;

// The first `length` bytes at `bytes` as a value; missing bytes read as zero, more than 12 are not looked at.
token_value decodeTokenValue(const void *bytes, std::size_t length) noexcept;
void encodeTokenValue(unsigned char (&bytes)[tokenValueBytes], const token_value &value) noexcept;

struct dsh {
    dbh *handle;
};

inline constexpr int dsFound = 0;
inline constexpr int dsNotFound = 1;
inline constexpr int dsUnreadable = 2; // ds_get_msgcounts_to_change only

dsh *ds_open(const word *ignored, const wordlist_settings *settings, int mode) noexcept;
void ds_close(dsh *store) noexcept;
// 0 found, 1 not found (any failure but a busy database reads so too), DS_ABORT_RETRY; `value` is zero unless found.
int ds_read(dsh *store, const word *key, token_value *value) noexcept;
// Insert or replace.
int ds_write(dsh *store, const word *key, const token_value *value) noexcept;
// Changes a stored key; a key that is not stored is no failure.
int ds_update(dsh *store, const word *key, const token_value *value) noexcept;
int ds_txn_begin(dsh *store) noexcept;
int ds_txn_abort(dsh *store) noexcept;
int ds_txn_commit(dsh *store) noexcept;
// The two message counts, under the engine's message-count key.
int ds_get_msgcounts(dsh *store, token_value *counts) noexcept;
// The same for counts that are going to be replaced: a record that could not be read, and so may well be there, is told
// from one that is not there.
int ds_get_msgcounts_to_change(dsh *store, token_value *counts) noexcept;
int ds_set_msgcounts(dsh *store, const token_value *counts) noexcept;

// A word made of a narrow string's bytes and its terminator, two bytes to a unit, as one block; null when memory is
// out. Released with freeMemory.
word *new_word(const char *text) noexcept;
// Compares the bytes of the common length; of two that agree there the longer one is greater. Negative, 0 or positive.
int compare_words(const word *first, const word *second) noexcept;

#endif
