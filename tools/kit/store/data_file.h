// Data files row by row: values with their storage classes, and files that appear whole or not at all. The engine is
// not involved: what it would read wrongly, or not at all, can be looked at and written here.
#ifndef VELQ_KIT_STORE_DATA_FILE_H
#define VELQ_KIT_STORE_DATA_FILE_H

#include "kit/base/database.h"

#include <cstdint>
#include <filesystem>
#include <functional>
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

std::vector<StoredRow> readRows(Database &file, std::string_view sql);
// Runs a statement that gives no rows.
void runWith(Query &statement, const StoredRow &parameters);
// Runs one statement once for each set of parameters, in one transaction. Parameters count from 1.
void writeRows(Database &file, std::string_view sql, const std::vector<StoredRow> &parameterSets);

// Lays out a fresh file from the schema's section of that name ("prob.bin", "wn-update", ...), lets `fill` fill it, and
// puts it in the place of `path` when all went well; otherwise `path` stays as it was. The same rows written in the
// same order give the same bytes, but for the mode of journal: the file has that of the one whose place it takes.
// Throws Error (cannotCreate), inputOutput while somebody has the file in write-ahead mode open, and what `fill`
// throws.
void writeDataFile(const std::filesystem::path &path, std::string_view schemaName,
                   const std::function<void(Database &)> &fill);

} // namespace velq::kit

#endif
