// How much each message counts: sources, classes and campaigns balanced, so that neither a collection of many messages
// nor a campaign of many copies drowns the others.
#ifndef VELQ_KIT_LEARNING_BALANCE_H
#define VELQ_KIT_LEARNING_BALANCE_H

#include "kit/learning/candidates.h"

#include <vector>

namespace velq::kit {

struct BalanceRule {
    double sourcePower; // a class of a source with n messages counts as n to this power
    double hamShare;    // of the weight of all messages
};

// Sets the weights of a group's messages by their sources, classes and clusters; those that they come with are kept
// among the readings of one message. The sum stays.
void balance(std::vector<FilteredText> &messages, const BalanceRule &rule);

} // namespace velq::kit

#endif
