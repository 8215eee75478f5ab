// The user's verdicts on messages, and what each changed, for the engine does not say whether it could store anything.
#ifndef VELQ_KIT_STORE_MARKING_H
#define VELQ_KIT_STORE_MARKING_H

#include "kit/engine/engine.h"
#include "kit/engine/rating.h"
#include "kit/reading/deciding_step.h"
#include "kit/store/correction.h"

#include <cstdint>
#include <string>

namespace velq::kit {

// What correcting one message until its verdict turns came to.
struct Turning {
    Rating before = Rating::unsure;
    std::uint64_t corrections = 0; // none when it was in vain
    bool turned = false;
    std::string obstacle; // why it did not turn
};

// Marks messages of one sender as ham or as spam.
class Marking {
  public:
    // The engine outlives it.
    Marking(const Engine &engine, const Installation &installation, Rating verdict, WideText number);

    // Throws Error (inputOutput) where the store did not take it.
    void mark(const WideText &body);

    // Marks a message until it is rated as it is marked. What was in vain is taken back. Throws Error.
    Turning markUntilChanged(const WideText &body);

    // Of all messages marked so far.
    const Correction &correction() const
    {
        return correction_;
    }

  private:
    void correct(const WideText &body);
    bool countsDecide(DecidingStep step) const;
    std::uint32_t countedMessages(const MessageCounts &counts) const;

    const Engine &engine_;
    Installation installation_;
    StoredTokens store_;
    Rating verdict_;
    WideText number_;
    Correction correction_;
};

// Keeps a correction as the last one, unless it changed nothing. Says why that failed; empty when it did not.
std::string keepCorrection(const CorrectionRecord &record, const Correction &correction);

// Takes back the correction that the record holds, which is then gone from it; where that fails it is kept.
void takeBackLast(const CorrectionRecord &record, const Correction &correction, const std::filesystem::path &store);

} // namespace velq::kit

#endif
