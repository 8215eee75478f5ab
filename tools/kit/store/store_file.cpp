// Typed rows over SQLite, and the token store's rows. What the rows mean to the engine is said here once more, apart
// from the engine's own code, because these functions must also read what the engine would not.
#include "kit/store/store_file.h"

#include "kit/base/output.h"
#include "kit/base/status.h"
#include "kit/engine/installation.h"
#include "kit/store/store_text.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <sqlite3.h>
#include <tuple>
#include <utility>

namespace velq::kit {

namespace {

int bind(sqlite3_stmt *statement, int position, const StoredValue &value)
{
    const auto size = static_cast<sqlite3_uint64>(value.bytes.size());
    switch (value.kind) {
    case StoredValue::Kind::null:
        return sqlite3_bind_null(statement, position);
    case StoredValue::Kind::integer:
        return sqlite3_bind_int64(statement, position, value.integer);
    case StoredValue::Kind::real:
        return sqlite3_bind_double(statement, position, value.real);
    case StoredValue::Kind::text:
        return sqlite3_bind_text64(statement, position, value.bytes.data(), size, SQLITE_TRANSIENT, SQLITE_UTF8);
    case StoredValue::Kind::blob:
        // A null pointer would bind NULL, not the empty blob.
        return sqlite3_bind_blob64(statement, position, value.bytes.empty() ? "" : value.bytes.data(), size,
                                   SQLITE_TRANSIENT);
    }
    return SQLITE_MISUSE;
}

StoredValue columnOf(sqlite3_stmt *statement, int column)
{
    StoredValue value;
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        value.kind = StoredValue::Kind::integer;
        value.integer = sqlite3_column_int64(statement, column);
        return value;
    case SQLITE_FLOAT:
        value.kind = StoredValue::Kind::real;
        value.real = sqlite3_column_double(statement, column);
        return value;
    case SQLITE_NULL:
        return value;
    case SQLITE_TEXT:
        value.kind = StoredValue::Kind::text;
        break;
    default:
        value.kind = StoredValue::Kind::blob;
        break;
    }
    const void *bytes = value.kind == StoredValue::Kind::text ? sqlite3_column_text(statement, column)
                                                              : sqlite3_column_blob(statement, column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
    if (size > 0) {
        value.bytes.assign(static_cast<const char *>(bytes), size);
    }
    return value;
}

struct FinalizeStatement {
    void operator()(sqlite3_stmt *statement) const
    {
        sqlite3_finalize(statement);
    }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

Statement prepare(Database &file, const std::string &sql)
{
    sqlite3_stmt *statement = nullptr;
    const int code = sqlite3_prepare_v2(file.handle(), sql.c_str(), -1, &statement, nullptr);
    if (code != SQLITE_OK) {
        file.fail(code);
    }
    return Statement(statement);
}

void bindAll(sqlite3_stmt *statement, const StoredRow &parameters)
{
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        bind(statement, static_cast<int>(i) + 1, parameters[i]);
    }
}

} // namespace

// ---- Files --------------------------------------------------------------------------------------------------------

std::vector<StoredRow> readRows(Database &file, const std::string &sql, const StoredRow &parameters)
{
    const Statement statement = prepare(file, sql);
    bindAll(statement.get(), parameters);
    std::vector<StoredRow> rows;
    int code = sqlite3_step(statement.get());
    for (; code == SQLITE_ROW; code = sqlite3_step(statement.get())) {
        StoredRow &row = rows.emplace_back();
        for (int column = 0; column < sqlite3_column_count(statement.get()); ++column) {
            row.push_back(columnOf(statement.get(), column));
        }
    }
    if (code != SQLITE_DONE) {
        file.fail(code);
    }
    return rows;
}

void writeRows(Database &file, const std::string &sql, const std::vector<StoredRow> &parameterSets)
{
    file.exec("BEGIN IMMEDIATE;");
    const Statement statement = prepare(file, sql);
    for (const StoredRow &parameters : parameterSets) {
        bindAll(statement.get(), parameters);
        const int code = sqlite3_step(statement.get());
        if (code != SQLITE_DONE) {
            file.fail(code);
        }
        sqlite3_reset(statement.get());
    }
    file.exec("COMMIT;");
}

static void layOutDraft(const std::filesystem::path &draft, const std::filesystem::path &path,
                        std::string_view schemaName)
{
    try {
        createFromSchema(draft, schemaName);
    } catch (const Error &error) {
        if (error.status() != Status::cannotCreate) {
            throw;
        }
        throw Error(Status::cannotCreate,
                    "cannot create " + path.string() + "; check that its folder exists and can be written");
    }
}

void writeDataFile(const std::filesystem::path &path, std::string_view schemaName,
                   const std::function<void(Database &)> &fill)
{
    replaceFile(path, [&](const std::filesystem::path &draft) {
        layOutDraft(draft, path, schemaName);
        Database file(draft, DatabaseMode::write);
        file.exec("PRAGMA journal_mode=MEMORY;"); // nobody else sees the draft, and a crash leaves it behind unused
        fill(file);
    });
}

// ---- Keys and values ----------------------------------------------------------------------------------------------

std::string_view messageCountKey()
{
    static const std::string key = bytesOfUnits(u".MSG_CNT");
    return key;
}

std::string_view priorKey()
{
    return {".ROBX\0", 6};
}

TokenWords wordsOf(std::string_view value)
{
    unsigned char bytes[12]{};
    std::memcpy(bytes, value.data(), std::min(value.size(), sizeof bytes));
    const auto word = [&bytes](std::size_t at) {
        return static_cast<std::uint32_t>(bytes[at]) | static_cast<std::uint32_t>(bytes[at + 1]) << 8 |
               static_cast<std::uint32_t>(bytes[at + 2]) << 16 | static_cast<std::uint32_t>(bytes[at + 3]) << 24;
    };
    return {word(0), word(4), word(8)};
}

std::string valueOf(const TokenWords &words)
{
    std::string bytes;
    for (const std::uint32_t word : {words.spam, words.ham, words.reserved}) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>((word >> shift) & 0xFF);
        }
    }
    return bytes;
}

std::string bytesOfUnits(std::u16string_view units)
{
    std::string bytes;
    for (const char16_t unit : units) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

std::u16string unitsOfBytes(std::string_view bytes)
{
    std::u16string units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        units +=
            static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return units;
}

// ---- Rows ---------------------------------------------------------------------------------------------------------

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

bool isTokenKey(const StoredValue &key)
{
    const std::size_t size = key.bytes.size();
    return key.kind == StoredValue::Kind::blob && (size == 4 || size == 6 || size == 8) && key.bytes != priorKey();
}

bool isBlob(const StoredValue &value, std::string_view bytes)
{
    return value.kind == StoredValue::Kind::blob && value.bytes == bytes;
}

// The engine reads a value's bytes whatever its storage class.
TokenWords wordsOfRow(const StoreRow &row)
{
    return wordsOf(row.value.bytes);
}

} // namespace

bool sortRows(StoreContents &contents)
{
    std::sort(contents.rows.begin(), contents.rows.end(), keyBefore);
    return std::adjacent_find(contents.rows.begin(), contents.rows.end(), [](const StoreRow &a, const StoreRow &b) {
               return orderOf(a.key) == orderOf(b.key);
           }) == contents.rows.end();
}

void checkKeysAreUnique(const StoreContents &contents, const std::string &name)
{
    const auto twice =
        std::adjacent_find(contents.rows.begin(), contents.rows.end(),
                           [](const StoreRow &a, const StoreRow &b) { return orderOf(a.key) == orderOf(b.key); });
    if (twice != contents.rows.end()) {
        throw Error(Status::badData, name + ": the key " + keyText(twice->key) +
                                         " occurs twice, and one of its rows would be lost; build the store anew");
    }
}

const StoreRow *findRow(const StoreContents &contents, std::string_view key)
{
    const StoreRow wanted{StoredValue::ofBlob(key), {}};
    const auto at = std::lower_bound(contents.rows.begin(), contents.rows.end(), wanted, keyBefore);
    return at != contents.rows.end() && at->key == wanted.key ? &*at : nullptr;
}

static void requireTokenTable(Database &file)
{
    if (!file.hasTable("velqTable")) {
        throw Error(Status::badData, file.file().string() + " is no token store; give a prob.bin");
    }
}

static StoreContents readContents(Database &file)
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
    return readContents(file);
}

void writeStoreContents(const std::filesystem::path &path, const StoreContents &contents)
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
    writeDataFile(path, "prob.bin", [&rows](Database &file) {
        writeRows(file, "INSERT INTO velqTable(key, value) VALUES(?, ?);", rows);
    });
}

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
        const TokenWords words = wordsOfRow(row);
        if (isTokenKey(row.key)) {
            model.tokens[unitsOfBytes(row.key.bytes)] = {words.spam, words.ham};
        } else if (isBlob(row.key, messageCountKey())) {
            model.spamMessages = words.spam;
            model.hamMessages = words.ham;
        } else if (isBlob(row.key, priorKey())) {
            model.priorMillionths = words.spam;
        }
    }
    return model;
}

// ---- Checks -------------------------------------------------------------------------------------------------------

namespace {

constexpr std::uint32_t millionthsOfOne = 1'000'000;
constexpr std::uint64_t largestSignedSum = 0x7FFFFFFF;

const char *kindName(StoredValue::Kind kind)
{
    switch (kind) {
    case StoredValue::Kind::null:
        return "null";
    case StoredValue::Kind::integer:
        return "an integer";
    case StoredValue::Kind::real:
        return "a real number";
    case StoredValue::Kind::text:
        return "text";
    case StoredValue::Kind::blob:
        return "a blob";
    }
    return "unknown";
}

// What keeps a row's value from being the three counts; empty for none.
std::string valueFault(const StoredValue &value)
{
    if (value.kind != StoredValue::Kind::blob) {
        return std::string("the value is ") + kindName(value.kind) + ", not a blob";
    }
    if (value.bytes.size() != 12) {
        return "the value has " + std::to_string(value.bytes.size()) + " bytes instead of 12";
    }
    return {};
}

// What keeps a key from ever being looked up, or found in a message that went through the punctuation filter.
std::string keyFault(const StoredValue &key)
{
    if (key.kind != StoredValue::Kind::blob) {
        return std::string("the key is ") + kindName(key.kind) + ", not a blob: it is never found";
    }
    if (key.bytes.size() % 2 != 0) {
        return "the key has an odd number of bytes: it is never found";
    }
    const std::u16string units = unitsOfBytes(key.bytes);
    if (units == u".ROBX") {
        return "the prior is read only under the six bytes 2e524f425800, not under this key";
    }
    if (units.size() < 2 || units.size() > 4) {
        return "the key has " + std::to_string(units.size()) + " units; only 2 to 4 are looked up";
    }
    for (const char16_t unit : units) {
        if (unit == 0) {
            return "the key holds a zero unit: no message does";
        }
        if (filterText({&unit, 1}).empty()) {
            return "the key holds a character that messages lose before they are looked up";
        }
    }
    return {};
}

std::string countFault(const TokenWords &words)
{
    if (static_cast<std::uint64_t>(words.spam) + words.ham > largestSignedSum) {
        return "the counts add up to more than 2147483647: the probability comes out wrong";
    }
    return {};
}

void checkSpecialRecords(const StoreContents &contents, std::vector<StoreProblem> &problems)
{
    const StoreRow *messages = findRow(contents, messageCountKey());
    if (messages == nullptr) {
        problems.push_back({".MSG_CNT", "the message counts are missing: no token has a probability"});
    } else {
        const TokenWords words = wordsOfRow(*messages);
        if (words.spam == 0 || words.ham == 0) {
            problems.push_back({".MSG_CNT", std::string("no ") + (words.spam == 0 ? "spam" : "ham") +
                                                " messages are counted: tokens of the other side have no probability"});
        }
        if (const std::string fault = valueFault(messages->value); !fault.empty()) {
            problems.push_back({".MSG_CNT", fault});
        }
    }
    if (const StoreRow *prior = findRow(contents, priorKey()); prior != nullptr) {
        if (wordsOfRow(*prior).spam > millionthsOfOne) {
            problems.push_back({".ROBX", "the prior is above 1"});
        }
        if (prior->value.kind != StoredValue::Kind::blob || prior->value.bytes.size() < 4) {
            problems.push_back({".ROBX", "the value is not a blob of 4 bytes or more"});
        }
    }
}

} // namespace

std::vector<StoreProblem> verifyContents(const StoreContents &contents)
{
    std::vector<StoreProblem> problems;
    checkSpecialRecords(contents, problems);
    for (const StoreRow &row : contents.rows) {
        if (isBlob(row.key, messageCountKey()) || isBlob(row.key, priorKey())) {
            continue;
        }
        for (const std::string &fault : {keyFault(row.key), valueFault(row.value), countFault(wordsOfRow(row))}) {
            if (!fault.empty()) {
                problems.push_back({keyText(row.key), fault});
            }
        }
    }
    return problems;
}

static bool keysAreUnique(Database &file)
{
    return !readRows(file,
                     "SELECT 1 FROM pragma_index_list('velqTable') AS list WHERE list.\"unique\" = 1 AND "
                     "list.partial = 0 AND (SELECT group_concat(name) FROM pragma_index_info(list.name)) = 'key';")
                .empty();
}

// Adds what is found. Damage may show as an Error as well.
static void checkFile(Database &file, std::vector<StoreProblem> &problems)
{
    for (const StoredRow &row : readRows(file, "PRAGMA integrity_check;")) {
        if (row[0].bytes != "ok") {
            problems.push_back({"", row[0].bytes});
        }
    }
    if (!problems.empty()) {
        return; // what the rows say cannot be trusted
    }
    StoreContents contents = readContents(file);
    if (!keysAreUnique(file)) {
        problems.push_back({"", "the keys of velqTable are not unique: training would add rows"});
    }
    if (!sortRows(contents)) {
        problems.push_back({"", "a key occurs twice: only one of its rows is found"});
    }
    for (StoreProblem &problem : verifyContents(contents)) {
        problems.push_back(std::move(problem));
    }
}

std::vector<StoreProblem> verifyStoreFile(const std::filesystem::path &path)
{
    std::vector<StoreProblem> problems;
    Database file(path, DatabaseMode::read);
    requireTokenTable(file);
    try {
        checkFile(file, problems);
    } catch (const Error &error) {
        if (error.status() != Status::badData) {
            throw;
        }
        problems.push_back({"", error.what()});
    }
    return problems;
}

StoreStatistics statisticsOf(const StoreContents &contents)
{
    StoreStatistics statistics;
    const Store model = modelOf(contents);
    if (const StoreRow *messages = findRow(contents, messageCountKey())) {
        statistics.hasMessageCounts = true;
        statistics.spamMessages = wordsOfRow(*messages).spam;
        statistics.hamMessages = wordsOfRow(*messages).ham;
    }
    if (model.priorMillionths != 0) {
        statistics.priorMillionths = model.priorMillionths;
    }
    const double prior = indexStore(model).prior;
    for (const StoreRow &row : contents.rows) {
        if (!isTokenKey(row.key)) {
            statistics.otherRows += isBlob(row.key, messageCountKey()) || isBlob(row.key, priorKey()) ? 0 : 1;
            continue;
        }
        const std::u16string units = unitsOfBytes(row.key.bytes);
        const TokenWords words = wordsOfRow(row);
        ++statistics.tokens;
        ++statistics.tokensOfLength[units.size() - 2];
        statistics.withReserved += words.reserved != 0 ? 1 : 0;
        statistics.largestCount = std::max({statistics.largestCount, words.spam, words.ham});
        statistics.digitsOnly +=
            std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit >= u'0' && unit <= u'9'; }) ? 1 : 0;
        statistics.asciiOnly +=
            std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x80; }) ? 1 : 0;
        const double probability =
            tokenProbability({words.spam, words.ham}, model.spamMessages, model.hamMessages, prior);
        if (words.spam == 0 && words.ham == 0) {
            ++statistics.withoutCounts;
        } else if (!probabilityCounts(probability)) {
            ++statistics.neutral;
        } else {
            ++(probability > 0.5 ? statistics.spamSide : statistics.hamSide);
        }
    }
    return statistics;
}

} // namespace velq::kit
