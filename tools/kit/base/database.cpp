// SQLite connections and statements of the kit.
#include "kit/base/database.h"

#include <sqlite3.h>
#include <thread>

namespace velq::kit {

static constexpr int busyMilliseconds = 250;

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

bool Query::isBlob(int column)
{
    return sqlite3_column_type(statement_, column) == SQLITE_BLOB;
}

} // namespace velq::kit
