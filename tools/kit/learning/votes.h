// The recipe for few messages: every sequence with a clear lean becomes a token with hardly more than the smallest
// weight that counts, so that a verdict takes the agreement of several. Each is judged by its own frequencies alone,
// which leaves nothing to be fitted to chance.
#ifndef VELQ_KIT_LEARNING_VOTES_H
#define VELQ_KIT_LEARNING_VOTES_H

#include "kit/learning/groups.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velq::kit {

// The log odds of the shares, cautious about the class that the token leans away from: an absence says little when few
// messages of that class are known.
double cautiousLean(double spam, double ham, const ClassSizes &sizes);

struct VoteRule {
    double spamStrictness; // the log odds from which on a sequence votes for spam
    double hamStrictness;
    std::size_t fillers; // at most
    // What is asked beyond that of a sequence which always reaches from one word into the next; of others by their
    // share.
    double spamCrossing = 0;
    double hamCrossing = 0;
    // The same of a sequence that reaches from one syllable into the next where blanks stand between syllables; less
    // than 0 is less than of others.
    double spamSyllables = 0;
    double hamSyllables = 0;
    // What is asked beyond the strictness in a group of a thousand texts or fewer, where sequences lean by chance and
    // none can be spared for reaching over a word's end; of n thousands, a part by the root of n.
    double scarce = 0;
};

// Tokens of `group`, which was made of `messages`.
Choice chooseByVotes(const Group &group, const std::vector<FilteredText> &messages, const VoteRule &rule);

// Gives the spam tokens among the fitted log odds their common weight, but for those with `fixed` not 0.
void levelVotes(const std::vector<std::uint8_t> &fixed, std::vector<double> &leans);

} // namespace velq::kit

#endif
