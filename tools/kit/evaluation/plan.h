// What an evaluation is asked for, and which messages train and test which part of it.
#ifndef VELQ_KIT_EVALUATION_PLAN_H
#define VELQ_KIT_EVALUATION_PLAN_H

#include "kit/evaluation/test_message.h"
#include "kit/learning/build_rules.h"
#include "kit/learning/written_source.h"
#include "kit/messages/corpus.h"
#include "kit/messages/sampling.h"
#include "kit/messages/text_form.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace velq::kit {

// One of `leaveOneSourceOut`, `split`, `test` and `store` is given at most; without any, it goes over folds.
struct EvaluationRequest {
    std::vector<std::string> corpora; // files
    CorpusFormat format = CorpusFormat::byName;
    TextForm form = TextForm::prepared;
    std::size_t folds = 5;
    bool randomFolds = false;       // near-duplicates may stand on both sides
    bool leaveOneSourceOut = false; // train on all files but one, test on that one, for each
    std::string split;              // "first:N": train on the first N messages, test on the rest
    std::string test;               // a file: train on the corpora, test on it
    std::string store;              // a file: test it on the corpora
    bool withoutCounts = false;
    bool plain = false;
    bool tradeOff = false; // measure stores of other costs of blocked ham, too
    bool rateRaw = false;  // test the texts as they are with stores made from both forms of them
    BuildRules rules;
    WrittenRequest written; // training messages of every part
    std::uint64_t seed = 1;
    std::vector<std::uint64_t> corrections; // of the learning curve, ascending; empty for none
    bool onlyErrors = false;
};

struct EvaluationPlan {
    std::vector<std::string> corpora; // names of the files
    std::vector<TestMessage> messages;
    std::vector<Split> splits;         // of the parts, by the indices of `messages`; at least one
    std::string method;                // one sentence
    std::string partsAre = "folds";    // what figures over the parts are over
    std::vector<LabelledText> written; // messages that train every part
    std::size_t clusters = 0; // of near-duplicates, single messages among them; 0 where they were not looked for
};

// Reads the messages; "-" is `standardInput`. Throws Error: usage for a request that cannot be met, badData when there
// is nothing to test on, and what readCorpus throws.
EvaluationPlan makePlan(const EvaluationRequest &request, std::istream &standardInput);

} // namespace velq::kit

#endif
