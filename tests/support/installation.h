// A complete installation in a temporary folder: program directory, the five data files from the schema, and the means
// to fill and read them without the engine.
#ifndef VELQ_TEST_SUPPORT_INSTALLATION_H
#define VELQ_TEST_SUPPORT_INSTALLATION_H

#include "support/database.h"
#include "support/temporary_folder.h"
#include "support/wide.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace velq::test {

inline constexpr std::array<const char *, 5> dataFileNames = {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin"};

// The value of a token, and of the message count record.
struct TokenCounts {
    std::uint32_t spam = 0;
    std::uint32_t ham = 0;
    std::uint32_t reserved = 0;

    friend bool operator==(const TokenCounts &, const TokenCounts &) = default;
};

struct TokenRow {
    WideText key;
    TokenCounts counts;
};

// The twelve stored bytes of a token's value.
std::string tokenValueBytes(const TokenCounts &counts);
// Missing bytes read as zero.
TokenCounts tokenCountsOf(std::string_view valueBytes);

enum class NumberList { white, black };

// How the token store keeps what is being written: the two modes that an installation can be laid out in.
enum class Journal { rollback, writeAhead };

inline std::ostream &operator<<(std::ostream &out, Journal journal)
{
    return out << (journal == Journal::writeAhead ? "write_ahead" : "rollback");
}

// The key under which a list keeps a number given as displayed: reversed, with the terminating zero byte.
std::string storedNumber(std::string_view displayed);

class Installation {
  public:
    // The program directory is made below `parent`, a folder name in UTF-8 that may be empty, in a temporary folder.
    explicit Installation(std::string_view parent = {});

    // What the initialisations take: a backslash between the last two names, the system's separator above.
    WideText programDir() const;
    std::filesystem::path programFolder() const
    {
        return program_;
    }
    // "prob.bin", "bn.bin", "wn.bin", "ru.bin" or "ver.bin".
    std::filesystem::path dataFile(std::string_view name) const;
    // "engine.log" or "norix-engine.log".
    std::filesystem::path logFile(std::string_view name) const;
    // A place for update files, removed with the installation.
    std::filesystem::path folder() const
    {
        return folder_.path();
    }
    Database open(std::string_view dataFileName) const
    {
        return Database(dataFile(dataFileName));
    }

    // Lasting; nobody else may have the token store open.
    void setJournal(Journal journal);

    // Lays down the marker that turns the trace on at the next start.
    void enableDebug() const;

    void addToken(const WideText &key, std::uint32_t spam, std::uint32_t ham, std::uint32_t reserved = 0);
    void addTokens(const std::vector<TokenRow> &rows);
    // A row of the token table with any values.
    void addTokenRow(const Value &key, const Value &value);
    void setMessageCounts(std::uint32_t spam, std::uint32_t ham, std::uint32_t reserved = 0);
    void setPrior(std::uint32_t millionths);

    std::optional<TokenCounts> token(const WideText &key) const;
    std::optional<TokenCounts> messageCounts() const;
    // The stored value of a key given as raw bytes.
    std::optional<Value> tokenValue(std::string_view keyBytes) const;

    // Adds an entry in the form in which the engine stores it; the number is given as displayed.
    void addNumber(NumberList list, std::string_view displayed, int hidden = 0, const WideText &name = {},
                   int extendID = 0);
    // Adds an entry with any values; its identifier is assigned.
    void addNumberRow(NumberList list, const Value &hidden, const Value &number, const Value &name,
                      const Value &extendID);
    // uid, hidden, number, name, extendID; in the order of the identifiers.
    Rows numberRows(NumberList list) const;

    void setVersion(int command, int version);
    void removeVersion(int command);
    std::optional<int> version(int command) const;

  private:
    TemporaryFolder folder_;
    std::filesystem::path program_;
};

// The table's name in the list's data file.
std::string tableOf(NumberList list);
std::string fileOf(NumberList list);

struct ProbabilityRow {
    Value key;
    Value value;
};

struct WhiteNumberRow {
    Value number;
    Value name;
};

// Well-formed update rows; raw ones are written out by hand.
ProbabilityRow probabilityRow(const WideText &key, const TokenCounts &counts);
WhiteNumberRow whiteNumberRow(const WideText &number, const WideText &name);

// Lay out update files at `path`, which must not exist. Rows keep their order.
void makeProbabilityUpdate(const std::filesystem::path &path, const std::vector<ProbabilityRow> &rows);
void makeWhiteNumberUpdate(const std::filesystem::path &path, const std::vector<WhiteNumberRow> &rows);

// A path as the interface takes it.
WideText widePath(const std::filesystem::path &path);

} // namespace velq::test

#endif
