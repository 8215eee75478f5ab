// Words and counts on top of the table of keys and values.
#include "bfilter/VELQ_BFilter_DataStore.h"

#include "VELQ_Util.h"

#include <algorithm>
#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little,
              "keys are stored as little-endian units straight from memory");

token_value decodeTokenValue(const void *bytes, std::size_t length) noexcept
{
    unsigned char padded[tokenValueBytes]{};
    if (bytes != nullptr) {
        std::memcpy(padded, bytes, std::min(length, tokenValueBytes));
    }
    token_value value{};
    std::memcpy(&value, padded, tokenValueBytes);
    return value;
}

void encodeTokenValue(unsigned char (&bytes)[tokenValueBytes], const token_value &value) noexcept
{
    static_assert(sizeof(token_value) == tokenValueBytes);
    std::memcpy(bytes, &value, tokenValueBytes);
}

dsh *ds_open(const word *ignored, const wordlist_settings *settings, int mode) noexcept
{
    logDebug("%s:%d\tOpen DB!\n", VELQ_HERE);
    dbh *handle = db_open(ignored, settings, mode);
    if (handle == nullptr) {
        return nullptr;
    }
    auto *store = static_cast<dsh *>(allocateMemory(sizeof(dsh)));
    if (store == nullptr) {
        db_close(handle);
        return nullptr;
    }
    store->handle = handle;
    return store;
}

void ds_close(dsh *store) noexcept
{
    db_close(store->handle);
    freeMemory(store);
    logDebug("%s:%d\tClose DB!\n", VELQ_HERE);
}

static key_blob keyOf(const word *key) noexcept
{
    return {key->text, key->length * static_cast<std::uint32_t>(sizeof(VELQ_WideChar))};
}

static int readValue(dsh *store, const word *key, token_value *value) noexcept
{
    *value = {};
    unsigned char bytes[tokenValueBytes]{};
    value_buffer buffer{bytes, tokenValueBytes};
    const key_blob blob = keyOf(key);
    const int code = db_get_dbvalue(store->handle, &blob, &buffer);
    switch (code) {
    case 0:
        *value = decodeTokenValue(bytes, buffer.length);
        return dsFound;
    case dbValueNotFound: // also told when there is no statement to look with
        return store->handle->select != nullptr ? dsNotFound : dsUnreadable;
    case DS_ABORT_RETRY:
        return DS_ABORT_RETRY;
    default:
        return dsUnreadable;
    }
}

int ds_read(dsh *store, const word *key, token_value *value) noexcept
{
    const int code = readValue(store, key, value);
    return code == dsUnreadable ? dsNotFound : code;
}

using StoreValue = int (*)(dbh *handle, const key_blob *key, const key_blob *value) noexcept;

static int storeWith(StoreValue storeValue, dsh *store, const word *key, const token_value *value) noexcept
{
    unsigned char bytes[tokenValueBytes];
    encodeTokenValue(bytes, *value);
    const key_blob keyBlob = keyOf(key);
    const key_blob valueBlob{bytes, tokenValueBytes};
    return storeValue(store->handle, &keyBlob, &valueBlob);
}

int ds_write(dsh *store, const word *key, const token_value *value) noexcept
{
    return storeWith(db_set_dbvalue, store, key, value);
}

int ds_update(dsh *store, const word *key, const token_value *value) noexcept
{
    return storeWith(db_update_dbvalue, store, key, value);
}

int ds_txn_begin(dsh *store) noexcept
{
    return transactionTable.begin != nullptr ? transactionTable.begin(store->handle) : 0;
}

int ds_txn_abort(dsh *store) noexcept
{
    return transactionTable.abort != nullptr ? transactionTable.abort(store->handle) : 0;
}

int ds_txn_commit(dsh *store) noexcept
{
    return transactionTable.commit != nullptr ? transactionTable.commit(store->handle) : 0;
}

int ds_get_msgcounts(dsh *store, token_value *counts) noexcept
{
    return ds_read(store, &engineState.messageCountKey, counts);
}

int ds_get_msgcounts_to_change(dsh *store, token_value *counts) noexcept
{
    return readValue(store, &engineState.messageCountKey, counts);
}

int ds_set_msgcounts(dsh *store, const token_value *counts) noexcept
{
    return ds_write(store, &engineState.messageCountKey, counts);
}

word *new_word(const char *text) noexcept
{
    const std::size_t bytes = std::strlen(text) + 1;
    const std::size_t units = (bytes + 1) / sizeof(VELQ_WideChar);
    auto *made = static_cast<word *>(allocateMemory(sizeof(word) + (units + 1) * sizeof(VELQ_WideChar)));
    if (made != nullptr) {
        auto *copy = reinterpret_cast<VELQ_WideChar *>(made + 1);
        std::memcpy(copy, text, bytes);
        *made = {copy, static_cast<std::uint32_t>(units)};
    }
    return made;
}

int compare_words(const word *first, const word *second) noexcept
{
    const std::uint32_t common = std::min(first->length, second->length);
    const int order = std::memcmp(first->text, second->text, common * sizeof(VELQ_WideChar));
    if (order != 0) {
        return order;
    }
    return first->length == second->length ? 0 : first->length < second->length ? -1 : 1;
}
