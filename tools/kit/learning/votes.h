// The recipe for few messages: every sequence with a clear lean becomes a token with hardly more than the smallest
// weight that counts, so that a verdict takes the agreement of several. Each is judged by its own frequencies alone,
// which leaves nothing to be fitted to chance.
#ifndef VELQ_KIT_LEARNING_VOTES_H
#define VELQ_KIT_LEARNING_VOTES_H

#include "kit/learning/groups.h"

#include <vector>

namespace velq::kit {

// The log odds of the shares, cautious about the class that the token leans away from: an absence says little when few
// messages of that class are known.
double cautiousLean(double spam, double ham, const ClassSizes &sizes);

// Tokens of `group`, which was made of `messages`. A sequence votes for spam when its lean is at least `spamStrictness`
// log odds.
Learned learnByVotes(const Group &group, const std::vector<FilteredText> &messages, double spamStrictness);

} // namespace velq::kit

#endif
