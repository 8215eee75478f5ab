// The token table's rows. What they mean to the engine is said here apart from the engine's own code, because these
// functions must also read what the engine would not.
#include "kit/store/store_file.h"

#include "kit/base/status.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <tuple>
#include <utility>

namespace velq::kit {

namespace {

// SQLite's order: null, numbers, texts, blobs; bytes within the last two. Numbers are told apart by value alone.
auto orderOf(const StoredValue &value)
{
    const bool number = value.kind == StoredValue::Kind::integer || value.kind == StoredValue::Kind::real;
    const int group = number                                  ? 1
                      : value.kind == StoredValue::Kind::text ? 2
                      : value.kind == StoredValue::Kind::blob ? 3
                                                              : 0;
    const double amount = value.kind == StoredValue::Kind::integer ? static_cast<double>(value.integer) : value.real;
    return std::tuple<int, double, std::string_view>(group, number ? amount : 0.0, value.bytes);
}

bool keyBefore(const StoreRow &a, const StoreRow &b)
{
    return orderOf(a.key) < orderOf(b.key);
}

bool sameKey(const StoreRow &a, const StoreRow &b)
{
    return orderOf(a.key) == orderOf(b.key);
}

} // namespace

// ---- Rows ---------------------------------------------------------------------------------------------------------

bool isKey(const StoredValue &key, std::string_view bytes)
{
    return key.kind == StoredValue::Kind::blob && key.bytes == bytes;
}

bool isSpecialKey(const StoredValue &key)
{
    return isKey(key, messageCountKey()) || isKey(key, priorKey());
}

bool isTokenKey(const StoredValue &key)
{
    return key.kind == StoredValue::Kind::blob && isTokenKey(key.bytes);
}

TokenWords wordsOf(const StoreRow &row)
{
    return wordsOf(row.value.bytes);
}

StoredValue withCounts(const StoredValue &value, std::uint32_t spam, std::uint32_t ham)
{
    constexpr std::size_t countBytes = 2 * sizeof(std::uint32_t);
    const std::string words = valueOf({spam, ham, wordsOf(value.bytes).reserved});
    return StoredValue::ofBlob(
        value.bytes.size() < countBytes ? words : words.substr(0, countBytes) + value.bytes.substr(countBytes));
}

bool sortRows(StoreContents &contents)
{
    std::sort(contents.rows.begin(), contents.rows.end(), keyBefore);
    return findRepeated(contents) == nullptr;
}

const StoreRow *findRepeated(const StoreContents &contents)
{
    const auto at = std::adjacent_find(contents.rows.begin(), contents.rows.end(), sameKey);
    return at == contents.rows.end() ? nullptr : &*at;
}

const StoreRow *findRow(const StoreContents &contents, std::string_view key)
{
    const StoreRow wanted{StoredValue::ofBlob(key), {}};
    const auto at = std::lower_bound(contents.rows.begin(), contents.rows.end(), wanted, keyBefore);
    return at != contents.rows.end() && at->key == wanted.key ? &*at : nullptr;
}

// ---- Files --------------------------------------------------------------------------------------------------------

void requireTokenTable(Database &file)
{
    if (!file.hasTable("velqTable")) {
        throw Error(Status::badData, file.file().string() + " is not a token store; give a prob.bin");
    }
}

StoreContents readStoreContents(Database &file)
{
    requireTokenTable(file);
    StoreContents contents;
    for (StoredRow &row : readRows(file, "SELECT key, value FROM velqTable;")) {
        contents.rows.push_back({std::move(row[0]), std::move(row[1])});
    }
    sortRows(contents);
    return contents;
}

StoreContents readStoreContents(const std::filesystem::path &path)
{
    Database file(path, DatabaseMode::read);
    return readStoreContents(file);
}

void writeStoreContents(const std::filesystem::path &path, const StoreContents &contents, std::int32_t dataVersion)
{
    StoreContents sorted = contents;
    if (!sortRows(sorted)) {
        throw Error(Status::badData, "cannot write " + path.string() + ": a key occurs twice");
    }
    if (!sorted.rows.empty() && sorted.rows.front().key.kind == StoredValue::Kind::null) {
        throw Error(Status::badData, "cannot write " + path.string() + ": a key is null; remove its row");
    }
    std::vector<StoredRow> rows;
    rows.reserve(sorted.rows.size());
    for (StoreRow &row : sorted.rows) {
        rows.push_back({std::move(row.key), std::move(row.value)});
    }
    writeDataFile(path, "prob.bin", [&rows, dataVersion](Database &file) {
        file.exec("PRAGMA user_version=" + std::to_string(dataVersion) + ";");
        writeRows(file, "INSERT INTO velqTable(key, value) VALUES(?, ?);", rows);
    });
}

// ---- Models -------------------------------------------------------------------------------------------------------

StoreContents contentsOf(const Store &model)
{
    StoreContents contents;
    const auto add = [&contents](std::string_view key, const TokenWords &words) {
        contents.rows.push_back({StoredValue::ofBlob(key), StoredValue::ofBlob(valueOf(words))});
    };
    for (const auto &[units, counts] : model.tokens) {
        add(bytesOfUnits(units), {counts.spam, counts.ham, 0});
    }
    add(messageCountKey(), {model.spamMessages, model.hamMessages, 0});
    if (model.priorMillionths != 0) { // a record of 0 reads as none
        add(priorKey(), {model.priorMillionths, 0, 0});
    }
    sortRows(contents);
    return contents;
}

Store modelOf(const StoreContents &contents)
{
    Store model;
    model.priorMillionths = 0;
    for (const StoreRow &row : contents.rows) {
        const TokenWords words = wordsOf(row);
        if (isTokenKey(row.key)) {
            model.tokens[unitsOfBytes(row.key.bytes)] = {words.spam, words.ham};
        } else if (isKey(row.key, messageCountKey())) {
            model.spamMessages = words.spam;
            model.hamMessages = words.ham;
        } else if (isKey(row.key, priorKey())) {
            model.priorMillionths = words.spam;
        }
    }
    return model;
}

} // namespace velq::kit
