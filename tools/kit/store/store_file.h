// Data files row by row: values with their storage classes, files that appear whole or not at all, and the rows of a
// token store with everything that is in them.
//
// The engine is not involved: a store that it would read wrongly, or not at all, can be looked at here.
#ifndef VELQ_KIT_STORE_STORE_FILE_H
#define VELQ_KIT_STORE_STORE_FILE_H

#include "kit/base/database.h"
#include "kit/reading/text_model.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// One value with its storage class. Texts and blobs keep every byte.
struct StoredValue {
    enum class Kind { null, integer, real, text, blob };

    Kind kind = Kind::null;
    std::int64_t integer = 0;
    double real = 0;
    std::string bytes;

    static StoredValue ofInteger(std::int64_t value)
    {
        return {Kind::integer, value, 0, {}};
    }
    static StoredValue ofBlob(std::string_view value)
    {
        return {Kind::blob, 0, 0, std::string(value)};
    }
    friend bool operator==(const StoredValue &, const StoredValue &) = default;
};

using StoredRow = std::vector<StoredValue>;

// The rows of one statement with parameters counted from 1.
std::vector<StoredRow> readRows(Database &file, const std::string &sql, const StoredRow &parameters = {});
// Runs one statement once for each set of parameters, in one transaction.
void writeRows(Database &file, const std::string &sql, const std::vector<StoredRow> &parameterSets);

// Lays out a fresh file from the schema's section of that name ("prob.bin", "wn-update", ...), lets `fill` fill it, and
// puts it in the place of `path` when all went well; otherwise `path` stays as it was. The same rows written in the
// same order give the same bytes. Throws Error (cannotCreate), and what `fill` throws.
void writeDataFile(const std::filesystem::path &path, std::string_view schemaName,
                   const std::function<void(Database &)> &fill);

// ---- Token stores -------------------------------------------------------------------------------------------------

// The bytes of the keys of the two special records.
std::string_view messageCountKey();
std::string_view priorKey();

// The three counts of a token's value.
struct TokenWords {
    std::uint32_t spam = 0;
    std::uint32_t ham = 0;
    std::uint32_t reserved = 0;

    friend bool operator==(const TokenWords &, const TokenWords &) = default;
};

// Missing bytes read as zero, further ones are passed over, as the engine does.
TokenWords wordsOf(std::string_view value);
std::string valueOf(const TokenWords &words);

std::string bytesOfUnits(std::u16string_view units);
// Of an even number of bytes.
std::u16string unitsOfBytes(std::string_view bytes);

struct StoreRow {
    StoredValue key;
    StoredValue value;

    friend bool operator==(const StoreRow &, const StoreRow &) = default;
};

// Every row of the token table, in the order of its keys.
struct StoreContents {
    std::vector<StoreRow> rows;
};

StoreContents readStoreContents(const std::filesystem::path &path);
void writeStoreContents(const std::filesystem::path &path, const StoreContents &contents);

// Puts rows in the order of their keys. False when a key occurs twice.
bool sortRows(StoreContents &contents);

// Throws Error (badData) when a key occurs twice, which neither the text form nor an update can hold. The contents must
// be sorted.
void checkKeysAreUnique(const StoreContents &contents, const std::string &name);

// The row of a blob key, or null. The contents must be sorted.
const StoreRow *findRow(const StoreContents &contents, std::string_view key);

StoreContents contentsOf(const Store &model);
// What the engine sees of the contents: tokens of 2 to 4 units, the message counts and the prior.
Store modelOf(const StoreContents &contents);

// ---- Checks -------------------------------------------------------------------------------------------------------

struct StoreProblem {
    std::string where; // the key as in the text form, or the file's part; may be empty
    std::string what;
};

// Everything about the file that keeps the engine from using it fully: damage, keys that are never looked up, values of
// another length, missing or senseless special records. Empty for a good store.
std::vector<StoreProblem> verifyStoreFile(const std::filesystem::path &path);

// Without the file's own integrity, which only the file itself shows.
std::vector<StoreProblem> verifyContents(const StoreContents &contents);

struct StoreStatistics {
    std::optional<std::uint64_t> fileBytes; // none for what is no file
    std::uint64_t tokens = 0;
    std::uint64_t tokensOfLength[3] = {}; // 2, 3 and 4 units
    std::uint64_t otherRows = 0;          // neither token nor special record
    std::uint64_t spamMessages = 0;
    std::uint64_t hamMessages = 0;
    bool hasMessageCounts = false;
    std::optional<std::uint32_t> priorMillionths; // none: the engine takes 0.52
    std::uint64_t spamSide = 0;                   // tokens that count as evidence of spam as they stand
    std::uint64_t hamSide = 0;                    // ... of ham
    std::uint64_t neutral = 0;                    // found in texts, but no evidence
    std::uint64_t withoutCounts = 0;
    std::uint64_t digitsOnly = 0;
    std::uint64_t asciiOnly = 0;
    std::uint32_t largestCount = 0;
    std::uint64_t withReserved = 0; // reserved word other than 0
};

StoreStatistics statisticsOf(const StoreContents &contents);

} // namespace velq::kit

#endif
