// The engine on temporary installations: rating messages with it and correcting it, with live training or without.
//
// Ratings come from the exports. The engine remembers a store's prior for as long as it is loaded; therefore every run
// is in a child process of its own.
#ifndef VELQ_KIT_EVALUATION_ENGINE_RUNS_H
#define VELQ_KIT_EVALUATION_ENGINE_RUNS_H

#include "kit/base/temporary_folder.h"
#include "kit/engine/installation.h"
#include "kit/engine/rating.h"
#include "kit/evaluation/test_message.h"
#include "kit/reading/explanation.h"
#include "kit/store/store_file.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace velq::kit {

struct EngineRun {
    std::vector<Rating> ratings; // in the order of the messages
    double seconds = 0;          // spent in the rating calls
};

// A sender on no list.
inline constexpr std::u16string_view unlistedNumber = u"13900000000";

// Whether a rating is wrong: spam not rated spam, ham rated spam.
bool isError(bool spam, Rating rating);

// An installation of its own with the store, removed at the end of the scope; in memory where the system offers a
// folder for that, so that the disk does not set the pace.
class EvaluationInstallation {
  public:
    explicit EvaluationInstallation(const StoreContents &store);

    // On at first.
    void setTraining(bool on);

    EngineRun rate(const std::vector<const TestMessage *> &messages) const;
    // Tells the engine the label of each message through VELQ_SetMsgAsSpam and VELQ_SetMsgAsHam. With `onlyErrors`,
    // each message is rated first and told only when its rating is an error, until `most` were told. The number of
    // messages told and of messages gone through.
    struct Taught {
        std::uint64_t told = 0;
        std::uint64_t read = 0;
    };
    Taught teach(const std::vector<const TestMessage *> &messages, std::uint64_t most, bool onlyErrors) const;

    StoreContents store() const;
    // By the kit's own reading.
    Explanation explain(const TestMessage &message) const;

  private:
    TemporaryFolder folder_;
    Installation installation_;
};

} // namespace velq::kit

#endif
