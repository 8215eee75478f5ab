// Why the engine rates a message as it does: the rules of the rating, one after the other, over the installation's own
// files, which are only read. The rating itself is the engine's; this says which step decided it and what the
// classifier saw.
#ifndef VELQ_KIT_READING_EXPLANATION_H
#define VELQ_KIT_READING_EXPLANATION_H

#include "kit/base/database.h"
#include "kit/base/wide_text.h"
#include "kit/engine/installation.h"
#include "kit/reading/message_reading.h"
#include "kit/reading/number_match.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velq::kit {

// With the tokens and totals of the text where it was read, whatever decided.
struct Explanation : Reading {
    std::optional<MatchedEntry> entry; // of a list that decided
    std::u16string filtered;
};

// Whether the tokens are read although a list, the operator rule or the length made that needless.
enum class Depth { decision, allTokens };

// A token store's file as readings ask it: as it stands at each look-up.
class StoredTokens {
  public:
    explicit StoredTokens(const std::filesystem::path &file);

    StoreTotals totals();
    std::optional<TokenStats> find(PackedToken token);

    Database &database()
    {
        return store_;
    }

  private:
    std::optional<TokenWords> lookUp(std::string_view key);

    Database store_;
    Query select_;
    // Read once, as a loaded engine does.
    std::optional<double> prior_;
};

// Reads the token store as it stands at each message, so that it follows what is learned meanwhile.
class Explainer {
  public:
    explicit Explainer(const Installation &installation);

    // Throws Error when a file cannot be read.
    Explanation explain(WideView body, WideView number, Depth depth);

  private:
    StoredTokens tokens_;
    ListIndex blackList_;
    ListIndex whiteList_;
};

} // namespace velq::kit

#endif
