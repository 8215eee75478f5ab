// Log odds written down as the counts of a store.
//
// The engine trains each message that it calls spam, and hardly ever a ham message. So every token's spam count heads
// for its true share of the spam message count, whatever it starts from, while ham counts stay. Counts that start at
// that share keep their odds however much is trained that way.
#ifndef VELQ_KIT_LEARNING_COUNTS_H
#define VELQ_KIT_LEARNING_COUNTS_H

#include "kit/learning/class_sizes.h"
#include "kit/learning/learned_token.h"
#include "kit/reading/text_model.h"

namespace velq::kit {

Store storeOf(const Learned &learned);

// Adds tokens to a store, with counts that give them their log odds among its own message counts. Nothing else in it
// changes.
void addTokens(Store &store, const Learned &learned);

// The tokens of a store as they stand: what counts with its log odds, the others neutral.
Learned learnedFrom(const Store &store);

// A store without tokens that records so many messages, with the prior of built stores: below the ham cut-off, so that
// a message without evidence is ham.
Store emptyStore(const ClassSizes &sizes);

} // namespace velq::kit

#endif
