// Rates labelled messages with the engine itself and counts what comes out, with live training and without, over the
// parts of a plan. Scores and explanations come from the kit's own reading of the messages.
#ifndef VELQ_KIT_EVALUATION_EVALUATION_H
#define VELQ_KIT_EVALUATION_EVALUATION_H

#include "kit/evaluation/metrics.h"
#include "kit/evaluation/test_message.h"
#include "kit/reading/explanation.h"
#include "kit/store/store_file.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace velq::kit {

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
    bool trainingOffOnly = false;
};

// `nextPart` gives the parts one after the other, so that only one store is held, and none at the end; `parts` is their
// number.
EvaluationResult evaluate(const std::vector<TestMessage> &messages, std::size_t parts,
                          const std::function<EvaluationPart(std::size_t part)> &nextPart,
                          const EvaluationOptions &options);

} // namespace velq::kit

#endif
