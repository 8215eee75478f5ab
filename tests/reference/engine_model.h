// The reference model of the started engine: each exported operation as a function of in-memory stores, with the result
// that the engine must give and the stores that it must leave. Locks, missing files and full disks are outside it.
#ifndef VELQ_REFERENCE_ENGINE_MODEL_H
#define VELQ_REFERENCE_ENGINE_MODEL_H

#include "classifier.h"
#include "stores.h"
#include "text_rules.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velq::reference {

using test::NumberList;

// A text argument; none stands for a null pointer.
using TextArgument = std::optional<WideText>;

struct NumberArgument {
    TextArgument number;
    TextArgument name;
};

struct NodeArgument {
    TextArgument number;
    TextArgument name;
    std::int32_t extendID = 0;
};

// What the reading functions show of an entry.
struct ShownNumber {
    WideText number;
    WideText name;
    std::int32_t extendID = 0;

    friend auto operator<=>(const ShownNumber &, const ShownNumber &) = default;
};

// Which step of the pipeline settled a rating.
enum class RatedBy { blackList, operatorRule, whiteList, length, tooFewTokens, classifier, digitRun, shortText };

struct RatedMessage {
    Verdict rating = Verdict::unsure;
    RatedBy by = RatedBy::tooFewTokens;
    // Set when the pipeline got that far.
    std::optional<WideText> filtered;
    std::optional<Segmentation> segmentation;
    // Set when the classifier was asked. An uncertain score means that the engine may rate and train otherwise.
    std::optional<Score> score;
};

// An update file. An unusable one is missing, no database or without its table.
template <typename UpdateRow>
struct Update {
    // The path's length in UTF-8 bytes.
    std::size_t pathLength = 0;
    bool usable = true;
    std::vector<UpdateRow> rows;
    std::int32_t version = 0;
};
using ProbabilityUpdate = Update<test::ProbabilityRow>;
using WhiteNumberUpdate = Update<test::WhiteNumberRow>;

class EngineModel {
  public:
    // `loaded` outlives the model and is shared by all models of a process, as the loaded engine is.
    EngineModel(Stores initial, LoadedState &loaded) : stores(std::move(initial)), loaded_(&loaded) {}

    RatedMessage rate(const TextArgument &body, const TextArgument &number);
    std::int32_t setAsHam(const TextArgument &body, const TextArgument &number);
    std::int32_t setAsSpam(const TextArgument &body);

    std::int32_t addNumber(NumberList list, const NumberArgument &record, std::int32_t hidden, std::int32_t extendID);
    std::int32_t addWhiteNumbers(const std::vector<NodeArgument> &nodes, std::int32_t hidden);
    std::int32_t removeNumber(NumberList list, const NumberArgument &record);
    std::int32_t removeAll(NumberList list, std::int32_t hidden);
    std::int32_t deleteByUid(NumberList list, std::int32_t uid);
    std::int32_t deleteByExtendID(NumberList list, std::int32_t extendID);

    // In the order of their identifiers; the engine's own order is open. None where the engine refuses.
    std::optional<std::vector<ShownNumber>> numbers(NumberList list, std::int32_t hidden) const;
    std::optional<std::vector<std::int32_t>> uids(NumberList list, std::int32_t hidden) const;
    // None when there is no such entry; the link value is not part of this operation and stays 0.
    std::optional<ShownNumber> readByUid(NumberList list, std::int32_t uid) const;
    std::int32_t count(NumberList list) const;

    std::int32_t version(std::int32_t command) const;
    std::int32_t update(const std::optional<ProbabilityUpdate> &probability,
                        const std::optional<WhiteNumberUpdate> &whiteNumbers);

    Stores stores;

  private:
    NumberTable &tableOf(NumberList list)
    {
        return list == NumberList::white ? stores.white : stores.black;
    }
    const NumberTable &tableOf(NumberList list) const
    {
        return list == NumberList::white ? stores.white : stores.black;
    }
    bool isListed(NumberList list, const std::string &key) const;
    void removeMatching(NumberList list, const std::string &key);
    void registerMessage(Training operation, const WideText &body);
    RatedMessage rateByText(const WideText &filtered);
    std::int32_t recordVersion(std::int32_t command, std::int32_t version);

    LoadedState *loaded_;
};

// The merges alone. False: the store is as before.
bool mergeProbabilities(const ProbabilityUpdate &update, Tokens &tokens);
bool mergeWhiteNumbers(const WhiteNumberUpdate &update, NumberTable &white);

// A stored number as the matching rule and the reading functions see it: the text up to its first zero byte, whatever
// the storage class; none for SQL NULL.
std::optional<std::string> storedKey(const Value &number);

} // namespace velq::reference

#endif
