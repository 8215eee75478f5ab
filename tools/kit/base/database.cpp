// SQLite connections and statements of the kit.
#include "kit/base/database.h"

#include <array>
#include <fstream>
#include <sqlite3.h>
#include <thread>

namespace velq::kit {

static constexpr int busyMilliseconds = 250;

std::string_view journalName(Journal journal)
{
    return journal == Journal::writeAhead ? "wal" : "delete";
}

Journal journalOf(const std::filesystem::path &file)
{
    constexpr std::string_view databaseStart = "SQLite format 3";
    constexpr std::size_t versionEnd = 19; // the format's version for reading is the last of so many bytes
    constexpr char writeAheadVersion = 2;
    std::array<char, versionEnd> start{};
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) {
        return Journal::rollback; // and no pipe is emptied
    }
    std::ifstream in(file, std::ios::binary);
    in.read(start.data(), start.size());
    const bool isDatabase = in.gcount() == static_cast<std::streamsize>(start.size()) &&
                            std::string_view(start.data(), databaseStart.size()) == databaseStart;
    return isDatabase && start.back() == writeAheadVersion ? Journal::writeAhead : Journal::rollback;
}

InUse::InUse(const std::filesystem::path &file)
    : Error(Status::inputOutput, file.string() + " is in use by another program; run the command again"), file_(file)
{
}

void waitWhileInUse(std::chrono::milliseconds longest, const std::function<void()> &work)
{
    const auto end = std::chrono::steady_clock::now() + longest;
    while (true) {
        try {
            work();
            return;
        } catch (const InUse &) {
            if (std::chrono::steady_clock::now() >= end) {
                throw;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

static int openFlags(DatabaseMode mode)
{
    switch (mode) {
    case DatabaseMode::read:
        return SQLITE_OPEN_READONLY;
    case DatabaseMode::write:
        return SQLITE_OPEN_READWRITE;
    case DatabaseMode::create:
        break;
    }
    return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
}

void requireNoLogBeside(const std::filesystem::path &file)
{
    for (const char *suffix : {"-wal", "-journal"}) {
        std::error_code ignored;
        const std::string left = file.string() + suffix;
        if (std::filesystem::exists(left, ignored)) {
            throw Error(Status::cannotCreate, left +
                                                  " is left over from another file and would be taken for a part of " +
                                                  file.string() + "; move it away or choose another name");
        }
    }
}

Database::Database(const std::filesystem::path &file, DatabaseMode mode) : file_(file)
{
    std::error_code ignored;
    const bool exists = std::filesystem::exists(file, ignored);
    if (mode == DatabaseMode::create && exists) {
        throw Error(Status::cannotCreate,
                    file.string() + " exists and is not overwritten; remove it or choose another name");
    }
    if (mode != DatabaseMode::create && !exists) {
        throw Error(Status::noInput, "cannot open " + file.string() + ": no such file; check the path");
    }
    if (mode == DatabaseMode::create) {
        requireNoLogBeside(file);
    }
    const std::filesystem::file_status status = std::filesystem::status(file, ignored);
    if (mode != DatabaseMode::create && !std::filesystem::is_regular_file(status)) {
        throw Error(Status::noInput, "cannot open " + file.string() +
                                         (std::filesystem::is_directory(status)
                                              ? ": it is a folder; give a file"
                                              : ": a database is not read from a pipe or a device; give a file"));
    }
    const int code = sqlite3_open_v2(file.c_str(), &connection_, openFlags(mode), nullptr);
    if (code != SQLITE_OK) {
        sqlite3_close(connection_);
        if (mode == DatabaseMode::create) {
            throw Error(Status::cannotCreate,
                        "cannot create " + file.string() + "; check that its folder exists and can be written");
        }
        throw Error(Status::noInput,
                    "cannot open " + file.string() + ": " + sqlite3_errstr(code) + "; check its permissions");
    }
    sqlite3_busy_timeout(connection_, busyMilliseconds);
}

Database::~Database()
{
    sqlite3_close(connection_);
}

void Database::fail(int code) const
{
    const std::string problem = sqlite3_errmsg(connection_);
    switch (code & 0xFF) {
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
    case SQLITE_ERROR:
        throw Error(Status::badData, file_.string() + ": " + problem + "; it is not the data file that is needed here");
    case SQLITE_BUSY:
        throw InUse(file_);
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
        if (journalOf(file_) == Journal::writeAhead) {
            throw Error(Status::noInput,
                        file_.string() + " is in write-ahead mode (journal: wal) and cannot be read where " +
                            file_.filename().string() + "-wal and -shm cannot be opened beside it; copy it, with its " +
                            "-wal file if there is one, to a folder that you may write");
        }
        [[fallthrough]];
    default:
        throw Error(Status::inputOutput,
                    file_.string() + ": " + problem + "; check the file, its permissions and the space left");
    }
}

void Database::exec(const std::string &sql)
{
    const int code = sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
    }
}

std::int64_t Database::integer(const std::string &sql)
{
    Query query(*this, sql);
    return query.step() ? query.integer(0) : 0;
}

bool Database::hasTable(std::string_view table)
{
    Query query(*this, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?;");
    query.bindText(1, table);
    return query.step();
}

void Database::setJournal(Journal journal)
{
    Query query(*this, journal == Journal::writeAhead ? "PRAGMA journal_mode = WAL;" : "PRAGMA journal_mode = DELETE;");
    if (!query.step() || query.text(0) != journalName(journal)) {
        throw Error(Status::cannotCreate,
                    file_.string() + " cannot be put into the mode journal: " + std::string(journalName(journal)) +
                        "; use it on a local disk, with the other mode, or when nobody has it open");
    }
}

static void runTest(sqlite3_context *context, int, sqlite3_value **values)
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_value_text(values[0]));
    if (text != nullptr) {
        const auto *test = static_cast<const std::function<bool(std::string_view)> *>(sqlite3_user_data(context));
        sqlite3_result_int(context, (*test)(text) ? 1 : 0);
    }
}

void Database::addTest(const std::string &name, const std::function<bool(std::string_view)> &test)
{
    auto *data = const_cast<std::function<bool(std::string_view)> *>(&test);
    const int code = sqlite3_create_function_v2(connection_, name.c_str(), 1, SQLITE_UTF8 | SQLITE_DIRECTONLY, data,
                                                runTest, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
    }
}

Query::Query(Database &database, std::string_view sql) : database_(database)
{
    const int code =
        sqlite3_prepare_v2(database.handle(), sql.data(), static_cast<int>(sql.size()), &statement_, nullptr);
    if (code != SQLITE_OK) {
        database.fail(code);
    }
}

Query::~Query()
{
    sqlite3_finalize(statement_);
}

void Query::bindBlob(int parameter, std::string_view bytes)
{
    sqlite3_bind_blob64(statement_, parameter, bytes.empty() ? "" : bytes.data(), bytes.size(), SQLITE_STATIC);
}

void Query::bindText(int parameter, std::string_view bytes)
{
    sqlite3_bind_text64(statement_, parameter, bytes.empty() ? "" : bytes.data(), bytes.size(), SQLITE_STATIC,
                        SQLITE_UTF8);
}

void Query::bindInteger(int parameter, std::int64_t value)
{
    sqlite3_bind_int64(statement_, parameter, value);
}

void Query::bindReal(int parameter, double value)
{
    sqlite3_bind_double(statement_, parameter, value);
}

bool Query::step()
{
    const int code = sqlite3_step(statement_);
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        sqlite3_reset(statement_);
        database_.fail(code);
    }
    return code == SQLITE_ROW;
}

void Query::reset()
{
    sqlite3_reset(statement_);
}

std::string_view Query::blob(int column)
{
    const auto *bytes = static_cast<const char *>(sqlite3_column_blob(statement_, column));
    return bytes == nullptr
               ? std::string_view()
               : std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
}

std::string_view Query::text(int column)
{
    const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(statement_, column));
    return bytes == nullptr
               ? std::string_view()
               : std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
}

std::int64_t Query::integer(int column)
{
    return sqlite3_column_int64(statement_, column);
}

double Query::real(int column)
{
    return sqlite3_column_double(statement_, column);
}

bool Query::isNull(int column)
{
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

bool Query::isBlob(int column)
{
    return sqlite3_column_type(statement_, column) == SQLITE_BLOB;
}

ReadTransaction::ReadTransaction(Database &database) : database_(database)
{
    database_.exec("BEGIN;");
}

ReadTransaction::~ReadTransaction()
{
    try {
        database_.exec("COMMIT;");
    } catch (const Error &) {
        // Nothing was written; the next BEGIN reports a connection that is beyond use.
    }
}

} // namespace velq::kit
