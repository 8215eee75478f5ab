// Messages in groups by script, learned one group after the other, so that languages with a script of their own do not
// change each other's verdicts.
#ifndef VELQ_KIT_LEARNING_GROUPS_H
#define VELQ_KIT_LEARNING_GROUPS_H

#include "kit/learning/candidates.h"
#include "kit/learning/class_sizes.h"
#include "kit/learning/learned_token.h"
#include "kit/messages/labelled_text.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velq::kit {

enum class Script : std::uint8_t {
    narrow, // alphabets with blanks between words
    thai,   // an alphabet without blanks
    wide,   // ideographs, kana, Hangul
    cyrillic
};

struct ScriptGroup {
    Script script = Script::narrow;
    std::vector<LabelledText> messages;
};

// Up to four groups, narrow, wide, Thai, Cyrillic: a message is of one of the latter when at least a tenth of it is,
// the first that fits. A script of too few messages of a class is learned along with the first. The order within a
// group is that of `messages`.
std::vector<ScriptGroup> groupsByScript(std::vector<LabelledText> messages);

// What a group has to mind when it takes tokens.
struct GroupRule {
    Learned before;                   // tokens that stand already: what the groups learned earlier gave
    bool takesAscii = true;           // else sequences of ASCII alone are left to the texts of another script
    std::uint32_t fewestClusters = 5; // that a token stands in
    // Sequences of texts that are rated well as it is; those that stand in too many of them are left alone. Or null.
    const CandidateCounter *others = nullptr;
    std::uint32_t mostOfOthers = 0; // clusters
};

// A group being learned. The vectors have one member for each candidate.
struct Group {
    Candidates candidates; // sequences of its messages, and the tokens of groups learned before
    std::vector<IndexedText> texts;
    ClassSizes sizes;                // of `texts`
    std::vector<std::uint8_t> fixed; // tokens of groups learned before: they stay as they are
    std::vector<std::uint8_t> taken; // candidates that may not become tokens of this group
    std::vector<double> leans;       // of the fixed tokens
};

// Messages that are too short to be read are left out.
Group makeGroup(const std::vector<FilteredText> &messages, const GroupRule &rule);

// A number for each candidate and class.
struct ClassCounts {
    std::vector<double> spam;
    std::vector<double> ham;
};

// The weight of the texts of each class that hold each candidate, wherever it stands.
ClassCounts countHolding(const Group &group);

// In how many texts of each class, by their weights, segmentation finds each candidate, were those a store for which
// `listed` is not 0.
ClassCounts countSegmented(const Group &group, const std::vector<std::uint8_t> &listed);

// A choice of tokens. The vectors have one member for each candidate.
struct Choice {
    std::vector<std::uint8_t> listed;  // the tokens of the groups before, of this group, and the fillers
    std::vector<std::uint8_t> fillers; // tokens that only fill: they stay neutral
    std::vector<double> leans;         // log odds
};

// A text by what segmentation finds in it, were the listed candidates the store.
SegmentedText segmentOne(const IndexedText &text, const std::vector<std::uint8_t> &listed);

// The texts by what segmentation finds in them, were the listed candidates the store.
std::vector<SegmentedText> segmentAll(const std::vector<IndexedText> &texts, const std::vector<std::uint8_t> &listed);

// What the group gives: the listed candidates that segmentation finds at all, with their leans; without the fixed ones.
Learned collect(const Group &group, const Choice &choice);

} // namespace velq::kit

#endif
