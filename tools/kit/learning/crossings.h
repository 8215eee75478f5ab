// Sequences that reach from one word into the next. The filter leaves no blanks, so a token may stand across two words;
// what it says holds for those two alone, while a piece of a word stands wherever the word does.
#ifndef VELQ_KIT_LEARNING_CROSSINGS_H
#define VELQ_KIT_LEARNING_CROSSINGS_H

#include "kit/learning/groups.h"

#include <vector>

namespace velq::kit {

// For each candidate of `group`, which was made of `messages`: in what share of its places a word begins inside it. A
// message without word begins is one word.
std::vector<double> crossingShares(const Group &group, const std::vector<FilteredText> &messages);

} // namespace velq::kit

#endif
