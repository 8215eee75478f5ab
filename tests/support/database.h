// SQLite for tests, independent of the engine's access layer: typed values with their exact bytes, whole-database dumps
// for comparisons, and locks held from another connection. Every failure throws std::runtime_error.
#ifndef VELQ_TEST_SUPPORT_DATABASE_H
#define VELQ_TEST_SUPPORT_DATABASE_H

#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace velq::test {

// One stored value with its storage class. Texts and blobs keep every byte, zero bytes included.
struct Value {
    enum class Kind { null, integer, real, text, blob };

    Kind kind = Kind::null;
    std::int64_t integer = 0;
    double real = 0;
    std::string bytes;

    static Value ofNull()
    {
        return {};
    }
    static Value ofInteger(std::int64_t value)
    {
        return {Kind::integer, value, 0, {}};
    }
    static Value ofReal(double value)
    {
        return {Kind::real, 0, value, {}};
    }
    static Value ofText(std::string_view value)
    {
        return {Kind::text, 0, 0, std::string(value)};
    }
    static Value ofBlob(std::string_view value)
    {
        return {Kind::blob, 0, 0, std::string(value)};
    }

    friend bool operator==(const Value &, const Value &) = default;
};

using Row = std::vector<Value>;
using Rows = std::vector<Row>;

// One line per value: null, int:5, real:0.5, text:"ab\x00", blob:2e52.
std::string show(const Value &value);
std::string show(const Row &row);
std::ostream &operator<<(std::ostream &out, const Value &value);

enum class OpenMode { existing, create };

class Database {
  public:
    // Writes of this connection are not synchronised to disk: test data need not survive a power failure.
    explicit Database(const std::filesystem::path &file, OpenMode mode = OpenMode::existing);
    ~Database();
    Database(Database &&other) noexcept;
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;
    Database &operator=(Database &&) = delete;

    // Runs statements that take no parameters.
    void exec(const std::string &sql);
    // Runs one statement once, with parameters counted from 1, and returns its rows.
    Rows query(const std::string &sql, const Row &parameters = {});
    // Runs one statement once for each set of parameters, in one transaction.
    void execForEach(const std::string &sql, const Rows &parameterSets);

    // All tables with their definitions and rows, as sorted lines; equal dumps mean equal contents.
    std::vector<std::string> dump();
    // "ok" for a sound file.
    std::string integrityCheck();

    sqlite3 *handle()
    {
        return connection_;
    }

  private:
    sqlite3 *connection_ = nullptr;
};

// Holds a lock on a database file from a connection of its own, until released or destroyed. An immediate lock keeps
// other writers out; an exclusive one readers as well.
class HeldLock {
  public:
    enum class Kind { immediate, exclusive };

    explicit HeldLock(const std::filesystem::path &file, Kind kind = Kind::exclusive);
    ~HeldLock();
    HeldLock(const HeldLock &) = delete;
    HeldLock &operator=(const HeldLock &) = delete;

    void release();

  private:
    Database database_;
    bool held_ = false;
};

} // namespace velq::test

#endif
