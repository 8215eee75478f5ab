// The wrapper over the SQLite C interface. Statements live for one call; only the connection is kept.
#include "support/database.h"

#include "support/wide.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <sqlite3.h>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace velq::test {

namespace {

struct StatementCloser {
    void operator()(sqlite3_stmt *statement) const
    {
        sqlite3_finalize(statement);
    }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

[[noreturn]] void fail(sqlite3 *connection, const std::string &what)
{
    throw std::runtime_error(what + ": " + (connection != nullptr ? sqlite3_errmsg(connection) : "no connection"));
}

Statement prepare(sqlite3 *connection, const std::string &sql)
{
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        fail(connection, sql);
    }
    return Statement(statement);
}

int bindValue(sqlite3_stmt *statement, int index, const Value &value)
{
    const auto size = static_cast<int>(value.bytes.size());
    switch (value.kind) {
    case Value::Kind::null:
        return sqlite3_bind_null(statement, index);
    case Value::Kind::integer:
        return sqlite3_bind_int64(statement, index, value.integer);
    case Value::Kind::real:
        return sqlite3_bind_double(statement, index, value.real);
    case Value::Kind::text:
        return sqlite3_bind_text(statement, index, value.bytes.data(), size, SQLITE_TRANSIENT);
    case Value::Kind::blob:
        return sqlite3_bind_blob(statement, index, value.bytes.data(), size, SQLITE_TRANSIENT);
    }
    return SQLITE_MISUSE;
}

void bindAll(sqlite3 *connection, sqlite3_stmt *statement, const Row &parameters)
{
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        if (bindValue(statement, static_cast<int>(i) + 1, parameters[i]) != SQLITE_OK) {
            fail(connection, "binding a parameter");
        }
    }
}

std::string bytesOf(const void *start, int count)
{
    return count > 0 ? std::string(static_cast<const char *>(start), static_cast<std::size_t>(count)) : std::string();
}

Value columnValue(sqlite3_stmt *statement, int column)
{
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return Value::ofInteger(sqlite3_column_int64(statement, column));
    case SQLITE_FLOAT:
        return Value::ofReal(sqlite3_column_double(statement, column));
    case SQLITE_TEXT: {
        const void *start = sqlite3_column_text(statement, column);
        return Value::ofText(bytesOf(start, sqlite3_column_bytes(statement, column)));
    }
    case SQLITE_BLOB: {
        const void *start = sqlite3_column_blob(statement, column);
        return Value::ofBlob(bytesOf(start, sqlite3_column_bytes(statement, column)));
    }
    default:
        return Value::ofNull();
    }
}

Rows allRows(sqlite3 *connection, sqlite3_stmt *statement)
{
    Rows rows;
    int code = sqlite3_step(statement);
    for (; code == SQLITE_ROW; code = sqlite3_step(statement)) {
        Row row;
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            row.push_back(columnValue(statement, column));
        }
        rows.push_back(std::move(row));
    }
    if (code != SQLITE_DONE) {
        fail(connection, sqlite3_sql(statement));
    }
    return rows;
}

std::string quoted(const std::string &text)
{
    std::string out = "\"";
    for (const char c : text) {
        if (c >= ' ' && c <= '~' && c != '"' && c != '\\') {
            out += c;
        } else {
            out += "\\x" + hex(std::string_view(&c, 1));
        }
    }
    return out + "\"";
}

} // namespace

std::string show(const Value &value)
{
    switch (value.kind) {
    case Value::Kind::integer:
        return "int:" + std::to_string(value.integer);
    case Value::Kind::real: {
        std::ostringstream out;
        out.precision(std::numeric_limits<double>::max_digits10);
        out << "real:" << value.real;
        return out.str();
    }
    case Value::Kind::text:
        return "text:" + quoted(value.bytes);
    case Value::Kind::blob:
        return "blob:" + hex(value.bytes);
    case Value::Kind::null:
        break;
    }
    return "null";
}

std::string show(const Row &row)
{
    std::string out;
    for (const Value &value : row) {
        out += (out.empty() ? "" : " | ") + show(value);
    }
    return out;
}

std::ostream &operator<<(std::ostream &out, const Value &value)
{
    return out << show(value);
}

Database::Database(const std::filesystem::path &file, OpenMode mode)
{
    const int flags = SQLITE_OPEN_READWRITE | (mode == OpenMode::create ? SQLITE_OPEN_CREATE : 0);
    const std::u8string name = file.u8string();
    if (sqlite3_open_v2(reinterpret_cast<const char *>(name.c_str()), &connection_, flags, nullptr) != SQLITE_OK) {
        const std::string text = sqlite3_errmsg(connection_);
        sqlite3_close(connection_);
        throw std::runtime_error("opening " + file.string() + ": " + text);
    }
    exec("PRAGMA synchronous = OFF;");
}

Database::Database(Database &&other) noexcept : connection_(std::exchange(other.connection_, nullptr)) {}

Database::~Database()
{
    sqlite3_close(connection_);
}

void Database::exec(const std::string &sql)
{
    if (sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(connection_, sql);
    }
}

Rows Database::query(const std::string &sql, const Row &parameters)
{
    const Statement statement = prepare(connection_, sql);
    bindAll(connection_, statement.get(), parameters);
    return allRows(connection_, statement.get());
}

void Database::execForEach(const std::string &sql, const Rows &parameterSets)
{
    exec("BEGIN;");
    const Statement statement = prepare(connection_, sql);
    for (const Row &parameters : parameterSets) {
        sqlite3_reset(statement.get());
        bindAll(connection_, statement.get(), parameters);
        allRows(connection_, statement.get());
    }
    sqlite3_reset(statement.get());
    exec("COMMIT;");
}

std::vector<std::string> Database::dump()
{
    std::vector<std::string> lines;
    for (const Row &entry : query("SELECT type, name, sql FROM sqlite_master;")) {
        const std::string &name = entry[1].bytes;
        lines.push_back(entry[0].bytes + " " + name + ": " + entry[2].bytes);
        if (entry[0].bytes != "table") {
            continue;
        }
        for (const Row &row : query("SELECT * FROM \"" + name + "\";")) {
            lines.push_back(name + ": " + show(row));
        }
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::string Database::integrityCheck()
{
    std::string out;
    for (const Row &row : query("PRAGMA integrity_check;")) {
        out += (out.empty() ? "" : "\n") + row.at(0).bytes;
    }
    return out;
}

HeldLock::HeldLock(const std::filesystem::path &file, Kind kind) : database_(file)
{
    database_.exec(kind == Kind::exclusive ? "BEGIN EXCLUSIVE;" : "BEGIN IMMEDIATE;");
    held_ = true;
}

HeldLock::~HeldLock()
{
    // Closing the connection would release the lock as well; a failure here has nowhere to go.
    if (held_) {
        sqlite3_exec(database_.handle(), "ROLLBACK;", nullptr, nullptr, nullptr);
    }
}

void HeldLock::release()
{
    if (held_) {
        database_.exec("ROLLBACK;");
        held_ = false;
    }
}

} // namespace velq::test
