// Typed rows over SQLite, and whole files of them.
#include "kit/store/data_file.h"

#include "kit/base/output.h"
#include "kit/base/status.h"
#include "kit/engine/installation.h"

#include <cstddef>
#include <sqlite3.h>

namespace velq::kit {

// ---- Rows ---------------------------------------------------------------------------------------------------------

namespace {

// The bytes must live until the statement's next reset.
void bind(sqlite3_stmt *statement, int position, const StoredValue &value)
{
    const auto size = static_cast<sqlite3_uint64>(value.bytes.size());
    switch (value.kind) {
    case StoredValue::Kind::null:
        sqlite3_bind_null(statement, position);
        break;
    case StoredValue::Kind::integer:
        sqlite3_bind_int64(statement, position, value.integer);
        break;
    case StoredValue::Kind::real:
        sqlite3_bind_double(statement, position, value.real);
        break;
    case StoredValue::Kind::text:
        sqlite3_bind_text64(statement, position, value.bytes.data(), size, SQLITE_STATIC, SQLITE_UTF8);
        break;
    case StoredValue::Kind::blob:
        sqlite3_bind_blob64(statement, position, value.bytes.data(), size, SQLITE_STATIC);
        break;
    }
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

} // namespace

std::vector<StoredRow> readRows(Database &file, std::string_view sql)
{
    Query query(file, sql);
    std::vector<StoredRow> rows;
    while (query.step()) {
        StoredRow &row = rows.emplace_back();
        for (int column = 0; column < sqlite3_column_count(query.handle()); ++column) {
            row.push_back(columnOf(query.handle(), column));
        }
    }
    return rows;
}

void runWith(Query &statement, const StoredRow &parameters)
{
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        bind(statement.handle(), static_cast<int>(i) + 1, parameters[i]);
    }
    statement.step();
    statement.reset();
}

void writeRows(Database &file, std::string_view sql, const std::vector<StoredRow> &parameterSets)
{
    file.exec("BEGIN IMMEDIATE;");
    Query query(file, sql);
    for (const StoredRow &parameters : parameterSets) {
        runWith(query, parameters);
    }
    file.exec("COMMIT;");
}

// ---- Files --------------------------------------------------------------------------------------------------------

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

static bool hasLogBeside(const std::filesystem::path &path)
{
    std::error_code ignored;
    const std::string file = std::filesystem::weakly_canonical(path, ignored).string();
    return std::filesystem::exists(file + "-wal", ignored) || std::filesystem::exists(file + "-journal", ignored);
}

// A log or journal beside a file would be taken for that of the file that takes its place. Opening the old one for
// writing takes in what is left; in write-ahead mode nobody else may have it open either.
static void takeInLog(const std::filesystem::path &path)
{
    try {
        Database old(path, DatabaseMode::write);
        old.integer("SELECT COUNT(*) FROM sqlite_master;");
        if (journalOf(path) == Journal::writeAhead) {
            old.setJournal(Journal::rollback);
        }
    } catch (const Error &error) {
        if (error.status() != Status::badData) {
            throw Error(Status::inputOutput, path.string() + " is in use by another program or cannot be written; " +
                                                 "stop what uses it and run the command again");
        }
        std::error_code ignored; // damage goes with the old file
        const std::string file = std::filesystem::weakly_canonical(path, ignored).string();
        for (const char *suffix : {"-journal", "-wal", "-shm"}) {
            std::filesystem::remove(file + suffix, ignored);
        }
    }
}

// The last step before the draft takes its place.
static void makeRoom(const std::filesystem::path &path, Journal journal)
{
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        requireNoLogBeside(path);
    } else if (journal == Journal::writeAhead || hasLogBeside(path)) {
        takeInLog(path);
    }
}

void writeDataFile(const std::filesystem::path &path, std::string_view schemaName,
                   const std::function<void(Database &)> &fill)
{
    replaceFile(path, [&](const std::filesystem::path &draft) {
        layOutDraft(draft, path, schemaName);
        const Journal journal = journalOf(path);
        {
            Database file(draft, DatabaseMode::write);
            file.exec("PRAGMA journal_mode=MEMORY;"); // nobody else sees the draft, and a crash leaves it behind unused
            fill(file);
        }
        if (journal == Journal::writeAhead) {
            Database(draft, DatabaseMode::write).setJournal(journal);
        }
        makeRoom(path, journal);
    });
}

} // namespace velq::kit
