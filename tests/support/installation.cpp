// Writes the data files with plain SQL; the forms of keys and values are written out here once more, on purpose, so
// that a mistake in the engine's own encodings cannot hide.
#include "support/installation.h"

#include "velq_schema.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace velq::test {

namespace {

const WideText messageCountKey = VELQ_TEXT(".MSG_CNT");

std::string priorKey()
{
    return bytes({0x2E, 0x52, 0x4F, 0x42, 0x58, 0x00});
}

void createDatabase(const std::filesystem::path &file, std::string_view schemaName)
{
    const std::string sql = velq::schemaFor(schemaName);
    if (sql.empty()) {
        throw std::runtime_error("no schema named " + std::string(schemaName));
    }
    if (std::filesystem::exists(file)) {
        throw std::runtime_error(file.string() + " exists");
    }
    Database(file, OpenMode::create).exec(sql);
}

void appendWord(std::string &out, std::uint32_t word)
{
    for (int shift = 0; shift < 32; shift += 8) {
        out += static_cast<char>((word >> shift) & 0xFF);
    }
}

std::uint32_t wordAt(std::string_view data, std::size_t offset)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4 && offset + i < data.size(); ++i) {
        word |= static_cast<std::uint32_t>(static_cast<unsigned char>(data[offset + i])) << (8 * i);
    }
    return word;
}

std::filesystem::path pathOf(std::string_view name)
{
    return std::filesystem::path(std::u8string(name.begin(), name.end()));
}

} // namespace

std::string tokenValueBytes(const TokenCounts &counts)
{
    std::string out;
    appendWord(out, counts.spam);
    appendWord(out, counts.ham);
    appendWord(out, counts.reserved);
    return out;
}

TokenCounts tokenCountsOf(std::string_view valueBytes)
{
    return {wordAt(valueBytes, 0), wordAt(valueBytes, 4), wordAt(valueBytes, 8)};
}

std::string storedNumber(std::string_view displayed)
{
    return std::string(displayed.rbegin(), displayed.rend()) + std::string(1, '\0');
}

std::string tableOf(NumberList list)
{
    return list == NumberList::white ? "whiteList" : "blackList";
}

std::string fileOf(NumberList list)
{
    return list == NumberList::white ? "wn.bin" : "bn.bin";
}

Installation::Installation(std::string_view parent)
{
    program_ = folder_.path() / pathOf(parent) / "Quenlibra" / "Tarvolent";
    std::filesystem::create_directories(program_ / "data");
    for (const std::string_view name : dataFileNames) {
        createDatabase(dataFile(name), name);
    }
}

WideText Installation::programDir() const
{
    const std::filesystem::path above = program_.parent_path().parent_path();
    return widePath(above / "Quenlibra") + VELQ_TEXT("\\Tarvolent");
}

std::filesystem::path Installation::dataFile(std::string_view name) const
{
    return program_ / "data" / pathOf(name);
}

std::filesystem::path Installation::logFile(std::string_view name) const
{
    return program_ / pathOf(name);
}

void Installation::setJournal(Journal journal)
{
    const std::string mode = journal == Journal::writeAhead ? "wal" : "delete";
    if (open("prob.bin").query("PRAGMA journal_mode = " + mode + ";").at(0).at(0).bytes != mode) {
        throw std::runtime_error("the token store does not change its journal");
    }
}

void Installation::enableDebug() const
{
    const std::ofstream marker(program_ / "enable-debug");
    if (!marker) {
        throw std::runtime_error("cannot write the enable-debug marker");
    }
}

void Installation::addToken(const WideText &key, std::uint32_t spam, std::uint32_t ham, std::uint32_t reserved)
{
    addTokens({{key, {spam, ham, reserved}}});
}

void Installation::addTokens(const std::vector<TokenRow> &rows)
{
    Rows parameters;
    for (const TokenRow &row : rows) {
        parameters.push_back({Value::ofBlob(utf16Bytes(row.key)), Value::ofBlob(tokenValueBytes(row.counts))});
    }
    open("prob.bin").execForEach("INSERT OR REPLACE INTO velqTable(key, value) VALUES(?, ?);", parameters);
}

void Installation::addTokenRow(const Value &key, const Value &value)
{
    open("prob.bin").query("INSERT OR REPLACE INTO velqTable(key, value) VALUES(?, ?);", {key, value});
}

void Installation::setMessageCounts(std::uint32_t spam, std::uint32_t ham, std::uint32_t reserved)
{
    addToken(messageCountKey, spam, ham, reserved);
}

void Installation::setPrior(std::uint32_t millionths)
{
    addTokenRow(Value::ofBlob(priorKey()), Value::ofBlob(tokenValueBytes({millionths, 0, 0})));
}

std::optional<TokenCounts> Installation::token(const WideText &key) const
{
    const std::optional<Value> value = tokenValue(utf16Bytes(key));
    if (!value) {
        return std::nullopt;
    }
    return tokenCountsOf(value->bytes);
}

std::optional<TokenCounts> Installation::messageCounts() const
{
    return token(messageCountKey);
}

std::optional<Value> Installation::tokenValue(std::string_view keyBytes) const
{
    const Rows rows = open("prob.bin").query("SELECT value FROM velqTable WHERE key = ?;", {Value::ofBlob(keyBytes)});
    if (rows.empty()) {
        return std::nullopt;
    }
    return rows.at(0).at(0);
}

void Installation::addNumber(NumberList list, std::string_view displayed, int hidden, const WideText &name,
                             int extendID)
{
    addNumberRow(list, Value::ofInteger(hidden), Value::ofText(storedNumber(displayed)),
                 Value::ofBlob(utf16BytesWithTerminator(name)), Value::ofInteger(extendID));
}

void Installation::addNumberRow(NumberList list, const Value &hidden, const Value &number, const Value &name,
                                const Value &extendID)
{
    open(fileOf(list))
        .query("INSERT INTO " + tableOf(list) + "(hidden, number, name, extendID) VALUES(?, ?, ?, ?);",
               {hidden, number, name, extendID});
}

Rows Installation::numberRows(NumberList list) const
{
    return open(fileOf(list))
        .query("SELECT uid, hidden, number, name, extendID FROM " + tableOf(list) + " ORDER BY uid;");
}

void Installation::setVersion(int command, int version)
{
    open("ver.bin").query("INSERT OR REPLACE INTO versionTable(command, version) VALUES(?, ?);",
                          {Value::ofInteger(command), Value::ofInteger(version)});
}

void Installation::removeVersion(int command)
{
    open("ver.bin").query("DELETE FROM versionTable WHERE command = ?;", {Value::ofInteger(command)});
}

std::optional<int> Installation::version(int command) const
{
    const Rows rows =
        open("ver.bin").query("SELECT version FROM versionTable WHERE command = ?;", {Value::ofInteger(command)});
    if (rows.empty()) {
        return std::nullopt;
    }
    return static_cast<int>(rows.at(0).at(0).integer);
}

ProbabilityRow probabilityRow(const WideText &key, const TokenCounts &counts)
{
    return {Value::ofBlob(utf16BytesWithTerminator(key)), Value::ofBlob(tokenValueBytes(counts))};
}

WhiteNumberRow whiteNumberRow(const WideText &number, const WideText &name)
{
    return {Value::ofBlob(utf16BytesWithTerminator(number)), Value::ofBlob(utf16BytesWithTerminator(name))};
}

void makeProbabilityUpdate(const std::filesystem::path &path, const std::vector<ProbabilityRow> &rows)
{
    createDatabase(path, "prob-update");
    Rows parameters;
    for (const ProbabilityRow &row : rows) {
        parameters.push_back({row.key, row.value});
    }
    Database(path).execForEach("INSERT INTO diffProbTable(key, value) VALUES(?, ?);", parameters);
}

void makeWhiteNumberUpdate(const std::filesystem::path &path, const std::vector<WhiteNumberRow> &rows)
{
    createDatabase(path, "wn-update");
    Rows parameters;
    for (const WhiteNumberRow &row : rows) {
        parameters.push_back({row.number, row.name});
    }
    Database(path).execForEach("INSERT INTO diffWnTable(number, name) VALUES(?, ?);", parameters);
}

WideText widePath(const std::filesystem::path &path)
{
    const std::u8string name = path.u8string();
    return wide(std::string_view(reinterpret_cast<const char *>(name.data()), name.size()));
}

} // namespace velq::test
