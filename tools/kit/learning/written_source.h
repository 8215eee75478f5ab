// Messages that were written as templates, as sources of a store.
#ifndef VELQ_KIT_LEARNING_WRITTEN_SOURCE_H
#define VELQ_KIT_LEARNING_WRITTEN_SOURCE_H

#include "kit/messages/labelled_text.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velq::kit {

struct WrittenRequest {
    std::string folder; // of templates; empty for none
    std::uint64_t variants = 6;
};

// The name of the source where sources are named.
inline constexpr const char *writtenName = "written";

// The variants of every template. Each language is a source of its own, counted from `firstSource` on, so that none
// drowns in another. Throws Error: what readWrittenMessages() throws.
std::vector<LabelledText> writtenTexts(const WrittenRequest &request, std::uint64_t seed, std::uint32_t firstSource);

} // namespace velq::kit

#endif
