// What a maker decides about a tuned store.
#ifndef VELQ_KIT_LEARNING_BUILD_RULES_H
#define VELQ_KIT_LEARNING_BUILD_RULES_H

#include <cstdint>

namespace velq::kit {

// How each training message is read.
enum class Readings : std::uint8_t {
    preparedAndRaw, // both ways, each counting half where they differ: the store serves hosts of both kinds
    raw             // as it stands
};

struct BuildRules {
    Readings readings = Readings::preparedAndRaw;
    double blockedCost = 4; // of a blocked ham message, when a spam message let through costs 1
    double unsureCost = 1;  // of a ham message left unsure
    // Sources from this number on were written for training, and a message of them counts only so much of a genuine
    // one, where there are genuine ones in its language.
    std::uint32_t firstWritten = 0xFFFFFFFF;
    double writtenHamWeight = 0.6;
    double writtenSpamWeight = 0.3;
    // Of near-duplicates: a sequence that stands in the messages of fewer is no token, for it could tell of one sender.
    std::uint32_t fewestClusters = 5;
};

} // namespace velq::kit

#endif
