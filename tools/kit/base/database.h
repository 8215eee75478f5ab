// SQLite for laying out and inspecting data files. What the engine does with them goes through its exports.
#ifndef VELQ_KIT_BASE_DATABASE_H
#define VELQ_KIT_BASE_DATABASE_H

#include "kit/base/status.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace velq::kit {

enum class DatabaseMode {
    read,  // an existing file, which is left as it is byte for byte
    write, // an existing file
    create // a file that must not exist
};

// Where a database keeps what is being written: in a rollback journal, or ahead of the file in a log beside it
// (file-wal), which processes share through memory in another file (file-shm). A lasting property of the file.
enum class Journal { rollback, writeAhead };

// "delete" or "wal", as SQLite and the commands name them.
std::string_view journalName(Journal journal);

// By the file's first bytes; rollback for what is no database.
Journal journalOf(const std::filesystem::path &file);

// Throws Error (cannotCreate) when the log or journal of another file lies where `file` is to be made: it would be
// taken for this one's.
void requireNoLogBeside(const std::filesystem::path &file);

// A file that another program holds for longer than a connection waits: an Error (inputOutput) that may pass.
class InUse : public Error {
  public:
    explicit InUse(const std::filesystem::path &file);

    const std::filesystem::path &file() const
    {
        return file_;
    }

  private:
    std::filesystem::path file_;
};

// Does `work`, again and again for so long while it throws InUse.
void waitWhileInUse(std::chrono::milliseconds longest, const std::function<void()> &work);

// One connection. Failures throw Error with the file's name: noInput for a missing file, cannotCreate, badData for a
// file that is no database, inputOutput for the rest. A locked file is waited for at most as long as the engine waits.
// Reading a file in write-ahead mode takes the files beside it: where they cannot be made that is an Error (noInput).
class Database {
  public:
    Database(const std::filesystem::path &file, DatabaseMode mode);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // Statements without parameters and results.
    void exec(const std::string &sql);
    // The first column of the first row; 0 without a row.
    std::int64_t integer(const std::string &sql);
    bool hasTable(std::string_view table);
    // Nobody else may have the file open.
    void setJournal(Journal journal);
    // Makes `name(value)` known to the connection's statements: whether `test` holds for the value's text up to its
    // first zero byte; NULL for NULL. `test` does not throw, and lives as long as a statement uses it.
    void addTest(const std::string &name, const std::function<bool(std::string_view)> &test);

    const std::filesystem::path &file() const
    {
        return file_;
    }
    sqlite3 *handle()
    {
        return connection_;
    }
    [[noreturn]] void fail(int code) const;

  private:
    std::filesystem::path file_;
    sqlite3 *connection_ = nullptr;
};

// One prepared statement of a database that outlives it. Parameters and columns count as in SQLite: from 1 and from 0.
class Query {
  public:
    Query(Database &database, std::string_view sql);
    ~Query();
    Query(const Query &) = delete;
    Query &operator=(const Query &) = delete;

    // The bytes must live until the next reset.
    void bindBlob(int parameter, std::string_view bytes);
    void bindText(int parameter, std::string_view bytes);
    void bindInteger(int parameter, std::int64_t value);
    void bindReal(int parameter, double value);

    // True for a row.
    bool step();
    void reset();

    // Views end with the next step or reset.
    std::string_view blob(int column);
    std::string_view text(int column);
    std::int64_t integer(int column);
    double real(int column);
    bool isBlob(int column);
    bool isNull(int column);

    sqlite3_stmt *handle()
    {
        return statement_;
    }

  private:
    Database &database_;
    sqlite3_stmt *statement_ = nullptr;
};

// What is read in its time is of one state of the file. No write may come in between on the same connection.
class ReadTransaction {
  public:
    explicit ReadTransaction(Database &database);
    ~ReadTransaction();
    ReadTransaction(const ReadTransaction &) = delete;
    ReadTransaction &operator=(const ReadTransaction &) = delete;

  private:
    Database &database_;
};

} // namespace velq::kit

#endif
