// How much each message counts: sources, classes and campaigns balanced, so that neither a collection of many messages
// nor a campaign of many copies drowns the others.
#ifndef VELQ_KIT_LEARNING_BALANCE_H
#define VELQ_KIT_LEARNING_BALANCE_H

#include "kit/learning/candidates.h"

#include <cstdint>
#include <map>
#include <vector>

namespace velq::kit {

struct BalanceRule {
    double sourcePower; // a class of a source with n messages counts as n to this power
    double hamShare;    // of the weight of all messages
    // The messages of sources from this number on count less, but for languages that have no others.
    std::uint32_t firstLight = 0xFFFFFFFF;
    double lightHamWeight = 1;
    double lightSpamWeight = 1;
};

// Sets the weights of a group's messages by their sources, classes and clusters; those that they come with are kept
// among the readings of one message. The sum stays. Both classes have their share within each language: otherwise a
// language of much ham would speak for ham. `languages` tells the language of each source; one that is not in it is of
// a language of its own number.
void balance(std::vector<FilteredText> &messages, const BalanceRule &rule,
             const std::map<std::uint32_t, std::uint32_t> &languages = {});

} // namespace velq::kit

#endif
