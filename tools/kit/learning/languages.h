// Which sources are in one language, found by their texts alone.
#ifndef VELQ_KIT_LEARNING_LANGUAGES_H
#define VELQ_KIT_LEARNING_LANGUAGES_H

#include "kit/learning/candidates.h"

#include <cstdint>
#include <map>
#include <vector>

namespace velq::kit {

// The language of each source, by the number of its first source. Sources are of one language when the frequencies of
// their sequences of three letters resemble each other, or when a chain of such sources joins them. A language without
// messages of both classes is taken for the one that it resembles most.
std::map<std::uint32_t, std::uint32_t> languagesOf(const std::vector<FilteredText> &messages);

} // namespace velq::kit

#endif
