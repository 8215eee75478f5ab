// What each workload costs at least: the same SQL work, written directly against SQLite, with nothing around it. The
// statements, transactions and connections are those that the engine's own workload uses, and no others.
#ifndef VELQ_BENCH_FLOOR_H
#define VELQ_BENCH_FLOOR_H

#include "dataset.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

struct sqlite3;

namespace velq::bench {

// How the number lists and the token store are reached: a connection for each operation, or three that stay open.
enum class Connections { perOperation, keptOpen };

class Floor {
  public:
    // `journal` is that of the installation's token store.
    Floor(const Installation &installation, Connections connections, test::Journal journal = test::Journal::rollback);
    ~Floor();
    Floor(const Floor &) = delete;
    Floor &operator=(const Floor &) = delete;

    // One message whose verdict does not train, and one whose verdict trains. Returns a sum of what was read.
    std::uint64_t rateUntrained(const WideText &message, const std::string &number);
    std::uint64_t rateTrained(const WideText &message, const std::string &number);
    std::uint64_t segment(const WideText &message);
    std::uint64_t lookUp(test::NumberList list, const std::string &number);
    // One transaction over all rows of an update.
    std::uint64_t mergeProbabilities(const std::filesystem::path &update);
    std::uint64_t mergeWhiteNumbers(const std::filesystem::path &update);

  private:
    struct Token {
        std::string key;
        std::string value;
    };

    sqlite3 *connect(const std::string &file) const;
    sqlite3 *open(const std::string &file);
    void close(sqlite3 *database);
    std::uint64_t segmentInto(std::vector<Token> &tokens, const WideText &message);
    std::uint64_t readMessageCounts();
    std::uint64_t train(const std::vector<Token> &tokens);

    std::filesystem::path folder_;
    test::Journal journal_;
    sqlite3 *kept_[3] = {};
};

} // namespace velq::bench

#endif
