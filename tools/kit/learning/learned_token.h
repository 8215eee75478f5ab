// What a recipe of the store builder gives for one token.
#ifndef VELQ_KIT_LEARNING_LEARNED_TOKEN_H
#define VELQ_KIT_LEARNING_LEARNED_TOKEN_H

#include "kit/reading/text_model.h"

#include <vector>

namespace velq::kit {

// A probability of 0.886 in log odds: the first that counts, with a margin for the rounding to counts.
inline constexpr double leastLean = 2.05;
// No single token decides for spam: it takes the agreement of several.
inline constexpr double greatestSpamLean = 2.15;
// What spam tokens chosen by votes come to have. A single one decides from 2.2 on, and each message of a white-listed
// sender takes all that it lacks nearer to that; from 1.95 down it does not count, and each trained spam verdict takes
// it nearer to that, by far less.
inline constexpr double votedSpamLean = 2.0;
inline constexpr double greatestHamLean = 5;

// A token, the log odds it should have (0: it only fills), and the shares of the messages of each class of its group
// that segmentation finds it in, which are never quite 0.
struct LearnedToken {
    PackedToken token = 0;
    double lean = 0;
    double spamShare = 0;
    double hamShare = 0;
};

using Learned = std::vector<LearnedToken>;

} // namespace velq::kit

#endif
