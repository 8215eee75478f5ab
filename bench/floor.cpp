// The benchmarks' floors over plain SQLite.
#include "floor.h"

#include <cstring>
#include <sqlite3.h>
#include <stdexcept>

namespace velq::bench {

static const std::string tokenStore = "prob.bin";
static const std::string blackList = "bn.bin";
static const std::string whiteList = "wn.bin";

// A statement and its life. Only success is expected here.
class Statement {
  public:
    Statement(sqlite3 *database, const char *sql)
    {
        if (sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr) != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(database));
        }
    }
    ~Statement()
    {
        sqlite3_finalize(statement_);
    }
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    void bindBlob(int index, const void *bytes, std::size_t count)
    {
        sqlite3_bind_blob(statement_, index, bytes, static_cast<int>(count), SQLITE_STATIC);
    }
    void bindText(int index, const std::string &text)
    {
        sqlite3_bind_text(statement_, index, text.c_str(), static_cast<int>(text.size()) + 1, SQLITE_STATIC);
    }
    void bindInt(int index, int value)
    {
        sqlite3_bind_int(statement_, index, value);
    }
    bool step()
    {
        return sqlite3_step(statement_) == SQLITE_ROW;
    }
    std::string blob(int column)
    {
        const auto *bytes = static_cast<const char *>(sqlite3_column_blob(statement_, column));
        return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
    }
    void reset()
    {
        sqlite3_reset(statement_);
    }

  private:
    sqlite3_stmt *statement_ = nullptr;
};

static int giveUp(void *, int)
{
    return 0;
}

static void matchNumbers(sqlite3_context *context, int, sqlite3_value **values)
{
    const auto *first = reinterpret_cast<const char *>(sqlite3_value_text(values[0]));
    const auto *second = reinterpret_cast<const char *>(sqlite3_value_text(values[1]));
    sqlite3_result_int(context,
                       std::strlen(first) >= 11 && std::strlen(second) >= 11 && std::memcmp(first, second, 11) == 0);
}

static void execute(sqlite3 *database, const char *sql)
{
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(database));
    }
}

static sqlite3 *openFile(const std::filesystem::path &path)
{
    sqlite3 *database = nullptr;
    if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        throw std::runtime_error("cannot open " + path.string());
    }
    return database;
}

Floor::Floor(const Installation &installation, Connections connections, test::Journal journal)
    : folder_(installation.dataFile(tokenStore).parent_path()), journal_(journal)
{
    if (connections == Connections::keptOpen) {
        kept_[0] = connect(tokenStore);
        kept_[1] = connect(blackList);
        kept_[2] = connect(whiteList);
    }
}

Floor::~Floor()
{
    for (sqlite3 *database : kept_) {
        sqlite3_close(database);
    }
}

sqlite3 *Floor::connect(const std::string &file) const
{
    sqlite3 *database = openFile(folder_ / file);
    if (file == tokenStore && journal_ == test::Journal::writeAhead) {
        execute(database, "PRAGMA synchronous = NORMAL;");
    }
    return database;
}

sqlite3 *Floor::open(const std::string &file)
{
    sqlite3 *database = kept_[file == tokenStore ? 0 : file == blackList ? 1 : 2];
    if (database == nullptr) {
        database = connect(file);
    }
    sqlite3_busy_handler(database, giveUp, nullptr);
    return database;
}

void Floor::close(sqlite3 *database)
{
    if (kept_[0] == nullptr) {
        sqlite3_close(database);
    }
}

std::uint64_t Floor::lookUp(test::NumberList list, const std::string &number)
{
    const bool isBlack = list == test::NumberList::black;
    sqlite3 *database = open(isBlack ? blackList : whiteList);
    sqlite3_create_function(database, "like", 2, SQLITE_ANY, database, matchNumbers, nullptr, nullptr);
    const std::string key(number.rbegin(), number.rend());
    bool found = false;
    {
        Statement select(database, isBlack ? "select * FROM blackList WHERE number LIKE ?;"
                                           : "select * FROM whiteList WHERE number LIKE ?;");
        select.bindText(1, key);
        found = select.step();
    }
    close(database);
    return found ? 1 : 0;
}

static constexpr char selectValue[] = "SELECT value FROM velqTable WHERE key=? LIMIT 1;";
static const WideText messageCountKey = VELQ_TEXT(".MSG_CNT");

static std::uint64_t readValue(Statement &select, const void *key, std::size_t bytes, std::string &value)
{
    select.bindBlob(1, key, bytes);
    const bool found = select.step();
    if (found) {
        value = select.blob(0);
        select.step();
    }
    select.reset();
    return found ? 1 : 0;
}

static std::uint64_t readMessageCountsWith(Statement &select, std::string &value)
{
    return readValue(select, messageCountKey.data(), messageCountKey.size() * sizeof(VELQ_WideChar), value);
}

std::uint64_t Floor::segmentInto(std::vector<Token> &tokens, const WideText &message)
{
    sqlite3 *database = open(tokenStore);
    execute(database, "BEGIN TRANSACTION;");
    std::uint64_t found = 0;
    {
        Statement select(database, selectValue);
        std::string value;
        found += readMessageCountsWith(select, value);
        for (std::size_t position = 0; position < message.size();) {
            std::size_t length = std::min<std::size_t>(message.size() - position, 4);
            for (; length >= 2; --length) {
                const std::size_t bytes = length * sizeof(VELQ_WideChar);
                if (readValue(select, message.data() + position, bytes, value) != 0) {
                    const std::string key(reinterpret_cast<const char *>(message.data() + position), bytes);
                    if (tokens.size() < 29) {
                        tokens.push_back({key, value});
                    }
                    ++found;
                    break;
                }
            }
            position += length >= 2 ? length : 1;
        }
    }
    execute(database, "COMMIT;");
    close(database);
    return found;
}

std::uint64_t Floor::segment(const WideText &message)
{
    std::vector<Token> tokens;
    return segmentInto(tokens, message);
}

std::uint64_t Floor::readMessageCounts()
{
    sqlite3 *database = open(tokenStore);
    execute(database, "BEGIN TRANSACTION;");
    std::uint64_t found = 0;
    {
        Statement select(database, selectValue);
        std::string value;
        found = readMessageCountsWith(select, value);
    }
    execute(database, "COMMIT;");
    close(database);
    return found;
}

std::uint64_t Floor::train(const std::vector<Token> &tokens)
{
    sqlite3 *database = open(tokenStore);
    execute(database, "BEGIN TRANSACTION;");
    {
        Statement select(database, selectValue);
        Statement update(database, "UPDATE velqTable SET value=? where key=?;");
        Statement insert(database, "INSERT OR REPLACE INTO velqTable VALUES(?,?);");
        std::string counts;
        readMessageCountsWith(select, counts);
        for (const Token &token : tokens) {
            std::string value = token.value;
            ++value[0];
            update.bindBlob(1, value.data(), value.size());
            update.bindBlob(2, token.key.data(), token.key.size());
            update.step();
            update.reset();
        }
        readMessageCountsWith(select, counts);
        ++counts[0];
        insert.bindBlob(1, messageCountKey.data(), messageCountKey.size() * sizeof(VELQ_WideChar));
        insert.bindBlob(2, counts.data(), counts.size());
        insert.step();
        insert.reset();
    }
    execute(database, "COMMIT;");
    close(database);
    return tokens.size();
}

std::uint64_t Floor::rateUntrained(const WideText &message, const std::string &number)
{
    std::vector<Token> tokens;
    return lookUp(test::NumberList::black, number) + lookUp(test::NumberList::white, number) +
           segmentInto(tokens, message) + readMessageCounts();
}

std::uint64_t Floor::rateTrained(const WideText &message, const std::string &number)
{
    std::vector<Token> tokens;
    const std::uint64_t found = lookUp(test::NumberList::black, number) + lookUp(test::NumberList::white, number) +
                                segmentInto(tokens, message) + readMessageCounts();
    return found + train(tokens);
}

std::uint64_t Floor::mergeProbabilities(const std::filesystem::path &update)
{
    sqlite3 *source = openFile(update);
    sqlite3 *target = openFile(folder_ / tokenStore);
    execute(target, "BEGIN IMMEDIATE TRANSACTION;");
    std::uint64_t merged = 0;
    {
        Statement rows(source, "select key, value FROM diffProbTable;");
        Statement lookup(target, "select value FROM velqTable WHERE (key=?);");
        Statement insert(target, "INSERT INTO velqTable(key, value) VALUES(?,?);");
        Statement change(target, "UPDATE velqTable SET value=? WHERE (key=?);");
        while (rows.step()) {
            const std::string key = rows.blob(0);
            const std::string value = rows.blob(1);
            lookup.bindBlob(1, key.data(), key.size() - sizeof(VELQ_WideChar));
            const bool found = lookup.step();
            lookup.reset();
            Statement &write = found ? change : insert;
            write.bindBlob(found ? 2 : 1, key.data(), key.size() - sizeof(VELQ_WideChar));
            write.bindBlob(found ? 1 : 2, value.data(), value.size());
            write.step();
            write.reset();
            ++merged;
        }
    }
    execute(target, "COMMIT TRANSACTION;");
    sqlite3_close(target);
    sqlite3_close(source);
    return merged;
}

std::uint64_t Floor::mergeWhiteNumbers(const std::filesystem::path &update)
{
    sqlite3 *source = openFile(update);
    sqlite3 *target = openFile(folder_ / whiteList);
    execute(target, "BEGIN IMMEDIATE TRANSACTION;");
    std::uint64_t merged = 0;
    {
        Statement rows(source, "select number, name FROM diffWnTable;");
        Statement lookup(target, "select uid FROM whiteList WHERE (number=?);");
        Statement insert(target, "INSERT INTO whiteList(hidden,number,name) VALUES(?,?,?);");
        while (rows.step()) {
            const std::string number = rows.blob(0);
            const std::string name = rows.blob(1);
            lookup.bindBlob(1, number.data(), number.size());
            const bool found = lookup.step();
            lookup.reset();
            if (!found) {
                insert.bindInt(1, 1);
                insert.bindBlob(2, number.data(), number.size());
                insert.bindBlob(3, name.data(), name.size());
                insert.step();
                insert.reset();
            }
            ++merged;
        }
    }
    execute(target, "COMMIT TRANSACTION;");
    sqlite3_close(target);
    sqlite3_close(source);
    return merged;
}

} // namespace velq::bench
