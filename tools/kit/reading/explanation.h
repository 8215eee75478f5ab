// Why the engine rates a message as it does: the rules of the rating, one after the other, over the installation's own
// files, which are only read. The rating itself is the engine's; this says which step decided it and what the
// classifier saw.
#ifndef VELQ_KIT_READING_EXPLANATION_H
#define VELQ_KIT_READING_EXPLANATION_H

#include "kit/base/database.h"
#include "kit/base/wide_text.h"
#include "kit/engine/installation.h"
#include "kit/engine/rating.h"
#include "kit/reading/text_model.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velq::kit {

enum class DecidingStep : std::uint8_t {
    blackList,
    operatorRule,
    whiteList,
    length,    // the filtered text is too short to read
    fewTokens, // too few tokens for the classifier
    classifier,
    digitRun, // the classifier was unsure, and a run of digits decided
    shortText // the classifier was unsure, and the text is short
};

// "black-list", "operator", "white-list", "length", "few-tokens", "classifier", "digit-run", "short-text".
std::string_view stepName(DecidingStep step);
// What decided, for people: "length: the filtered text has at most 6 characters".
std::string_view stepSentence(DecidingStep step);

struct MatchedEntry {
    std::string number; // UTF-8, as displayed
    std::string name;
    std::int64_t uid = 0;
};

struct ExplainedToken {
    std::u16string text;
    std::size_t position = 0; // of its first unit in the filtered text, from 0
    TokenStats counts;
    double probability = 0; // NaN when the store has no messages of either side to compare
    bool counted = false;   // whether it took part in the score
};

struct ClassifierScore {
    std::size_t counted = 0; // tokens that took part
    double spamTail = 1;     // the chance of as much evidence for spam by luck; small for spam
    double hamTail = 1;      // the same for ham
    double spamicity = 0;
};

struct Explanation {
    Rating rating = Rating::unsure;
    DecidingStep step = DecidingStep::classifier;
    std::optional<MatchedEntry> entry; // of a list that decided
    std::u16string filtered;
    std::vector<ExplainedToken> tokens;
    std::uint32_t spamMessages = 0;
    std::uint32_t hamMessages = 0;
    double prior = 0;
    std::optional<ClassifierScore> score; // where the classifier was asked
};

// Whether steps that a list, the operator rule or the length made needless are gone through all the same for their
// tokens.
enum class Depth { decision, allTokens };

// The form of a number by which lists find it: narrow, last character first, and of that the part that is compared.
// Empty for a number that matches nothing.
std::string matchKey(WideView number);

// One list as the lookup sees it; follows the file when another program changes it.
class ListIndex {
  public:
    ListIndex(const std::filesystem::path &file, std::string table);

    std::optional<MatchedEntry> find(const std::string &key);

  private:
    void load();

    Database database_;
    std::string table_;
    Query version_;
    std::int64_t loadedVersion_ = -1;
    std::unordered_map<std::string, MatchedEntry> entries_;
};

// Reads the token store as it stands at each message, so that it follows what is learned meanwhile.
class Explainer {
  public:
    explicit Explainer(const Installation &installation);

    // Throws Error when a file cannot be read.
    Explanation explain(WideView body, WideView number, Depth depth);

  private:
    std::optional<TokenStats> lookUp(std::u16string_view token);
    std::vector<ExplainedToken> segment(std::u16string_view filtered);
    void readTokens(Explanation &explanation);
    void decideByText(Explanation &explanation);
    double prior();

    Database store_;
    Query select_;
    ListIndex blackList_;
    ListIndex whiteList_;
    // Read once, as a loaded engine does.
    std::optional<double> prior_;
};

} // namespace velq::kit

#endif
