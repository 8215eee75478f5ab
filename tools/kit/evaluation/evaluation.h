// Rates labelled messages with the engine itself, on temporary installations, and counts what comes out: with live
// training and without, over folds, a split, a separate test file or a store at hand.
//
// Ratings come from the exports. The engine remembers a store's prior for as long as it is loaded; therefore every
// rating runs in a child process of its own. Scores and explanations come from the kit's own reading of the messages.
#ifndef VELQ_KIT_EVALUATION_EVALUATION_H
#define VELQ_KIT_EVALUATION_EVALUATION_H

#include "kit/base/temporary_folder.h"
#include "kit/evaluation/metrics.h"
#include "kit/reading/explanation.h"
#include "kit/store/store_file.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velq::kit {

struct TestMessage {
    bool spam = false;
    std::u16string text;
    std::uint32_t corpus = 0; // which file it comes from
    std::uint64_t line = 0;
};

// ---- The engine in a child process --------------------------------------------------------------------------------

struct EngineRun {
    std::vector<Rating> ratings; // in the order of the texts
    double seconds = 0;          // spent in the rating calls
};

// A sender on no list.
inline constexpr std::u16string_view unlistedNumber = u"13900000000";

// An installation of its own with the store, removed at the end of the scope; in memory where the system offers a
// folder for that, so that the disk does not set the pace.
class EvaluationInstallation {
  public:
    explicit EvaluationInstallation(const StoreContents &store);

    // Off: what the engine trains is dropped by the store itself (triggers that pass over each write), so that every
    // rating sees the store as it is. The engine does all its work and meets no failure. On at first.
    void setTraining(bool on);

    EngineRun rate(const std::vector<const TestMessage *> &messages) const;
    // Tells the engine the label of each message through VELQ_SetMsgAsSpam and VELQ_SetMsgAsHam. With `onlyErrors`,
    // each message is rated first and told only when its rating is wrong (spam not rated spam, ham rated spam), until
    // `most` were told. The number of messages told and of messages gone through.
    struct Taught {
        std::uint64_t told = 0;
        std::uint64_t read = 0;
    };
    Taught teach(const std::vector<const TestMessage *> &messages, std::uint64_t most, bool onlyErrors) const;

    StoreContents store() const;
    Explanation explain(const TestMessage &message) const;

  private:
    TemporaryFolder folder_;
    Installation installation_;
};

// ---- Evaluation ---------------------------------------------------------------------------------------------------

// One store and what is tested with it.
struct EvaluationPart {
    StoreContents store;
    std::vector<std::size_t> test;     // indices into the messages
    std::vector<std::size_t> training; // empty when the training messages are not known
};

struct EvaluationError {
    std::size_t message = 0; // index
    std::size_t part = 0;
    bool spam = false; // the label
    Rating rating = Rating::unsure;
    Explanation explanation;
};

// Ratings with training off or on.
struct RunResult {
    std::vector<ConfusionCounts> parts;
    ConfusionCounts all;
    ConfusionCounts unseen; // without texts that also stand in their part's training messages
    std::vector<ConfusionCounts> corpora;
    double seconds = 0;

    double messagesPerSecond() const
    {
        return seconds > 0 ? static_cast<double>(all.total()) / seconds : 0;
    }
};

struct EvaluationResult {
    RunResult trainingOff;
    RunResult trainingOn;
    bool trainingKnown = false;          // whether `unseen` says anything
    std::uint64_t seenTexts = 0;         // test messages whose text also stands in the training messages
    std::vector<ScoredMessage> scores;   // by the stores as built; a message too short to be read scores 0
    std::uint64_t disagreements = 0;     // messages where the kit's own reading rates otherwise than the engine
    std::vector<EvaluationError> errors; // with training off: spam not rated spam, ham rated spam
};

struct EvaluationOptions {
    std::size_t corpora = 1;
    std::size_t mostErrors = 0; // how many errors of each kind are explained; all are counted
    std::function<void(std::uint64_t done, std::uint64_t total)> progress; // may be empty
};

// `nextPart` gives the parts one after the other, so that only one store is held, and none at the end; `parts` is their
// number.
EvaluationResult evaluate(const std::vector<TestMessage> &messages, std::size_t parts,
                          const std::function<EvaluationPart(std::size_t part)> &nextPart,
                          const EvaluationOptions &options);

bool isError(bool spam, Rating rating);

// ---- Learning curve -----------------------------------------------------------------------------------------------

struct CurvePoint {
    std::uint64_t asked = 0; // corrections asked for
    std::uint64_t made = 0;  // corrections made
    std::uint64_t read = 0;  // messages gone through for them
    ConfusionCounts counts;  // on the messages kept for measuring, with training off
};

struct CurveOptions {
    std::vector<std::uint64_t> corrections; // ascending
    bool onlyErrors = false;
    std::uint64_t seed = 1;
};

// Corrects from a seeded stratified order of the messages and measures after each number of corrections, always on the
// same messages: those behind the ones that the largest number needs, or, with `onlyErrors`, the last third. Throws
// Error (usage) when too few messages are there.
std::vector<CurvePoint> learningCurve(const StoreContents &store, const std::vector<const TestMessage *> &messages,
                                      const CurveOptions &options);

// The tokens of a store without their counts. The message counts stay: a correction moves a message from one side to
// the other, so that corrections alone would never let both grow from zero, and no token would get a probability.
StoreContents withoutCounts(const StoreContents &store);

} // namespace velq::kit

#endif
