// Sequences that reach from one word into the next. The filter leaves no blanks, so a token may stand across two words;
// what it says holds for those two alone, while a piece of a word stands wherever the word does. Where blanks stand
// between syllables it is the other way round: a syllable is a part of many words, and two of them are one.
#ifndef VELQ_KIT_LEARNING_CROSSINGS_H
#define VELQ_KIT_LEARNING_CROSSINGS_H

#include "kit/learning/groups.h"

#include <vector>

namespace velq::kit {

// For each candidate of a group: in what share of its places a word begins inside it.
struct Crossings {
    std::vector<double> words;
    std::vector<double> syllables; // the places in sources that are written in syllables
};

// Of `group`, which was made of `messages`. A message without word begins is one word.
Crossings crossingsOf(const Group &group, const std::vector<FilteredText> &messages);

} // namespace velq::kit

#endif
