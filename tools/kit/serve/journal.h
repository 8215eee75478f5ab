// The messages that the service has rated: a file of its own, which the engine knows nothing of. It holds what people
// wrote to each other, so it is made for its owner only, and old messages go.
#ifndef VELQ_KIT_SERVE_JOURNAL_H
#define VELQ_KIT_SERVE_JOURNAL_H

#include "kit/base/database.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velq::kit {

struct JournalOptions {
    std::filesystem::path file;
    std::uint64_t keepDays = 30;
    std::uint64_t keepRows = 100000;
    // Whether a row must be on the disk before it counts as written: where the journal is all that keeps a message.
    bool untilOnDisk = false;
};

struct JournalEntry {
    std::int64_t id = 0;
    std::int64_t time = 0; // milliseconds since 1970
    std::string source;    // "rate", "kannel" or "json"
    std::string number;    // UTF-8, as it came
    std::string text;
    std::string verdict; // "ham", "spam" or "unsure"
    std::string reason;
    std::optional<double> spamicity;
    std::string correction;  // "ham" or "spam" once a user said so, else empty
    std::string changes;     // what that correction changed in the store, as correctionText gives it
    std::string listChanges; // and on the lists, as listChangeText gives it
    std::string sender;      // "blocked" or "allowed" once a user said so of the sender, else empty
    std::string senderChanges;
};

struct JournalFilter {
    std::string verdict;                // empty: any
    std::optional<bool> corrected;      // only those with a correction, or without one
    std::optional<std::int64_t> before; // only older ones than this id
    std::uint64_t limit = 50;
};

// The messages of one kind in one week.
struct WeekCount {
    std::int64_t monday = 0; // days since 1970
    std::string verdict;
    std::string correction;
    std::int64_t messages = 0;
};

// Throws Error where the file does not do what is asked of it.
class MessageJournal {
  public:
    // Makes the file where it is missing. Throws Error (badData) for a file that is something else.
    explicit MessageJournal(const JournalOptions &options);

    // Returns the entry's identifier. Now and then old entries go.
    std::int64_t add(const JournalEntry &entry);
    std::optional<JournalEntry> find(std::int64_t id);
    // The newest first.
    std::vector<JournalEntry> list(const JournalFilter &filter);
    // Writes down what a user said of a message and of its sender: what stands behind the spamicity in the entry.
    void keepDecisions(const JournalEntry &entry);
    // Of messages since a time in milliseconds, by weeks that begin on Mondays in UTC.
    std::vector<WeekCount> weeks(std::int64_t since);
    // The time of the oldest message, in milliseconds.
    std::optional<std::int64_t> oldest();
    // Removes entries that are older than `keepDays` at `now`, and the oldest beyond `keepRows`.
    void prune(std::chrono::system_clock::time_point now);

  private:
    void tryToPrune();

    JournalOptions options_;
    Database file_;
    std::uint64_t added_ = 0;
};

} // namespace velq::kit

#endif
