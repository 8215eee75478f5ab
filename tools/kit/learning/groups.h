// Messages in groups by script, learned one group after the other, so that languages with a script of their own do not
// change each other's verdicts.
#ifndef VELQ_KIT_LEARNING_GROUPS_H
#define VELQ_KIT_LEARNING_GROUPS_H

#include "kit/learning/candidates.h"
#include "kit/learning/class_sizes.h"
#include "kit/learning/learned_token.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velq::kit {

// One group, or two: first the messages in alphabets, then those of which at least a tenth is ideographs, kana or
// Hangul. Two only when each has enough messages of both classes. The order within a group is that of `messages`.
std::vector<std::vector<FilteredText>> groupsByScript(std::vector<FilteredText> messages);

// What a group has to mind about the others.
struct OtherGroups {
    Learned before;             // what the groups learned earlier gave
    CandidateCounter elsewhere; // the sequences in the messages of all other groups
};

// For the group at `own`, when `before` was learned from those in front of it.
OtherGroups othersOf(const std::vector<std::vector<FilteredText>> &groups, std::size_t own, const Learned &before);

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
Group makeGroup(const std::vector<FilteredText> &messages, const OtherGroups &others);

// A number for each candidate and class.
struct ClassCounts {
    std::vector<double> spam;
    std::vector<double> ham;
};

// In how many texts of each class segmentation finds each candidate, were those a store for which `listed` is not 0.
ClassCounts countSegmented(const Group &group, const std::vector<std::uint8_t> &listed);

// What the group gives: the listed candidates that segmentation finds at all, with their leans; without the fixed ones.
Learned collect(const Group &group, const std::vector<std::uint8_t> &listed, const std::vector<double> &leans);

} // namespace velq::kit

#endif
