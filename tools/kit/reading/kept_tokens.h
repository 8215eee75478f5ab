// The token store as a service reads it: for each message anew, and yet mostly from memory.
#ifndef VELQ_KIT_READING_KEPT_TOKENS_H
#define VELQ_KIT_READING_KEPT_TOKENS_H

#include "kit/base/file_watch.h"
#include "kit/reading/stored_tokens.h"
#include "kit/reading/text_model.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

namespace velq::kit {

// A token store as it stands at the moment of each reading, which begins with `totals`. Once as many tokens have been
// looked up as it may hold, all of them are read into memory, and stay there as long as nothing is committed to the
// file but what was announced by `willBeTrained`, which is compared with the file then. Where others write as well,
// nothing is taken for the announced: a message of theirs may have the same tokens and more. A store with
// triggers of its owner's is not kept. Throws Error where the file cannot be read.
class KeptTokens {
  public:
    explicit KeptTokens(const std::filesystem::path &file);

    StoreTotals totals();
    std::optional<TokenStats> find(PackedToken token);
    // Ends the transaction, if the reading took one: the engine may write.
    void end();

    // Whether the reading was, or is, from memory.
    bool isFromMemory() const
    {
        return readsKept_;
    }

    // The engine is adding a message of these tokens, as they were read last, to the spam.
    void willBeTrained(const std::vector<ReadToken> &tokens);

  private:
    void settle(const std::optional<FileState> &before, const StoreTotals &totals);
    bool isTrained(const FileState &now, const StoreTotals &totals);
    void load(const FileState &now, const StoreTotals &totals);

    StoredTokens store_;
    FileWatch watch_;
    std::optional<ReadTransaction> transaction_;
    std::optional<StoreIndex> kept_;
    FileState keptState_;
    bool readsKept_ = false;
    std::vector<PackedToken> trained_;
    bool othersWrite_ = false;
    std::chrono::steady_clock::time_point othersWrote_; // was noticed last
    std::size_t lookUps_ = 0;                           // since the tokens were last in memory
    std::size_t enoughLookUps_ = 1;
};

} // namespace velq::kit

#endif
