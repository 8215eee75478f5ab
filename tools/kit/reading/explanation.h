// Why the engine rates a message as it does: the rules of the rating, one after the other, over the installation's own
// files, which are only read. The rating itself is the engine's; this says which step decided it and what the
// classifier saw.
#ifndef VELQ_KIT_READING_EXPLANATION_H
#define VELQ_KIT_READING_EXPLANATION_H

#include "kit/base/wide_text.h"
#include "kit/engine/installation.h"
#include "kit/reading/kept_tokens.h"
#include "kit/reading/message_reading.h"
#include "kit/reading/number_match.h"

#include <optional>
#include <string>

namespace velq::kit {

// With the tokens and totals of the text where it was read, whatever decided.
struct Explanation : Reading {
    std::optional<MatchedEntry> entry; // of a list that decided
    std::u16string filtered;
};

// Whether the tokens are read although a list, the operator rule or the length made that needless.
enum class Depth { decision, allTokens };

// Reads the token store as it stands at each message, so that it follows what is learned meanwhile.
class Explainer {
  public:
    explicit Explainer(const Installation &installation);

    // Throws Error when a file cannot be read.
    Explanation explain(WideView body, WideView number, Depth depth);
    // What the engine has rated the message that was explained last: what it learns by that need not be read again.
    void wasRated(const Explanation &explanation, Rating rating);

  private:
    KeptTokens tokens_;
    ListIndex blackList_;
    ListIndex whiteList_;
};

} // namespace velq::kit

#endif
