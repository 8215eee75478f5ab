// The rows of a token store, with everything that is in them, and the files that hold them.
#ifndef VELQ_KIT_STORE_STORE_FILE_H
#define VELQ_KIT_STORE_STORE_FILE_H

#include "kit/reading/text_model.h"
#include "kit/reading/token_format.h"
#include "kit/store/data_file.h"

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

namespace velq::kit {

struct StoreRow {
    StoredValue key;
    StoredValue value;

    friend bool operator==(const StoreRow &, const StoreRow &) = default;
};

// Every row of the token table, in the order of its keys.
struct StoreContents {
    std::vector<StoreRow> rows;
};

// Whether the key is a blob of those bytes; of the message counts or the prior; such as is looked up for a token.
bool isKey(const StoredValue &key, std::string_view bytes);
bool isSpecialKey(const StoredValue &key);
bool isTokenKey(const StoredValue &key);

// The counts of a row: the engine reads a value's bytes whatever its storage class.
TokenWords wordsOf(const StoreRow &row);

// The value with other counts; what stands behind the counts stays.
StoredValue withCounts(const StoredValue &value, std::uint32_t spam, std::uint32_t ham);

// Puts rows in the order of their keys. False when a key occurs twice.
bool sortRows(StoreContents &contents);

// The first row whose key occurs again, or null. The contents must be sorted.
const StoreRow *findRepeated(const StoreContents &contents);

// The row of a blob key, or null. The contents must be sorted.
const StoreRow *findRow(const StoreContents &contents, std::string_view key);

// Throws Error (badData) for a database without the token table.
void requireTokenTable(Database &file);
// The same.
StoreContents readStoreContents(Database &file);
StoreContents readStoreContents(const std::filesystem::path &path);

// `dataVersion` is what installations laid out with the file begin with, 0 for a store of no such version. Throws Error
// (badData) when a key occurs twice, and what writeDataFile throws.
void writeStoreContents(const std::filesystem::path &path, const StoreContents &contents, std::int32_t dataVersion = 0);

StoreContents contentsOf(const Store &model);
// What the engine sees of the contents: tokens of 2 to 4 units, the message counts and the prior.
Store modelOf(const StoreContents &contents);

} // namespace velq::kit

#endif
