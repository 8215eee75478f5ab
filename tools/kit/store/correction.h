// What a user's verdicts changed in a token store, so that they can be taken back. Counts that stand at 0 stay there
// when a message is taken off a side: what a verdict did cannot be told from its text afterwards.
#ifndef VELQ_KIT_STORE_CORRECTION_H
#define VELQ_KIT_STORE_CORRECTION_H

#include "kit/base/wide_text.h"
#include "kit/engine/installation.h"
#include "kit/reading/stored_tokens.h"
#include "kit/reading/token_format.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace velq::kit {

// Of the tokens of a message, and of the messages, by their keys.
using MessageCounts = std::map<std::string, TokenWords>;

MessageCounts countsOf(StoredTokens &store, WideView body);

struct CountChange {
    std::int64_t spam = 0;
    std::int64_t ham = 0;
};

struct Correction {
    std::string verdict; // "ham" or "spam"
    std::uint64_t messages = 0;
    std::map<std::string, CountChange> changes; // by keys

    void add(const MessageCounts &before, const MessageCounts &after);
    // What a later one changed, on top of this.
    void add(const Correction &later);
};

// As JSON in one line, with the present time, and back. Throws Error (badData) that names where the text stood.
std::string correctionText(const Correction &correction);
Correction correctionOf(const std::string &text, const std::string &name);

// The last correction of an installation, kept in a file beside the data.
class CorrectionRecord {
  public:
    explicit CorrectionRecord(const Installation &installation);

    // Throws Error (cannotCreate, inputOutput).
    void write(const Correction &correction) const;
    void remove() const;
    // None without a record. Throws Error (badData).
    std::optional<Correction> read() const;

    const std::filesystem::path &path() const
    {
        return path_;
    }

  private:
    std::filesystem::path path_;
};

// Takes the changes off the store's counts, all of them or none. What was learned since stays. Throws Error.
void takeBack(const Correction &correction, const std::filesystem::path &store);

} // namespace velq::kit

#endif
