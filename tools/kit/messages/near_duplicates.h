// Which messages are near-duplicates of each other: the same campaign with another name, code or link. A filter that is
// tested on a message whose near-duplicate it was trained with shows what it remembers and not what it has learned.
#ifndef VELQ_KIT_MESSAGES_NEAR_DUPLICATES_H
#define VELQ_KIT_MESSAGES_NEAR_DUPLICATES_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace velq::kit {

// For each text the number of its cluster; clusters are counted from 0 in the order of their first texts. Two texts are
// near-duplicates when they share at least half of the shorter one's runs of eight letters and digits, digits alike,
// other characters and the case of ASCII letters left out of account; a cluster holds all texts that a chain of
// near-duplicates joins. Of a run that stands in very many texts only the first few join, which bounds the time.
std::vector<std::uint32_t> clusterNearDuplicates(const std::vector<std::u16string_view> &texts);

} // namespace velq::kit

#endif
