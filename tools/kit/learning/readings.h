// Training messages as the engine would read them.
#ifndef VELQ_KIT_LEARNING_READINGS_H
#define VELQ_KIT_LEARNING_READINGS_H

#include "kit/learning/build_rules.h"
#include "kit/learning/candidates.h"
#include "kit/messages/labelled_text.h"

#include <vector>

namespace velq::kit {

// Filtered, with their clusters of near-duplicates. A message that reads otherwise when it is prepared stands twice
// there, each with a part of its weight of 1.
std::vector<FilteredText> readingsOf(const std::vector<LabelledText> &messages, Readings readings);

} // namespace velq::kit

#endif
