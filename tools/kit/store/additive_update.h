// Updates that only add. A merge that takes counts away by sums that wrap ruins every count that has meanwhile sunk
// below what is taken; one that adds cannot. What a token says lies in the ratio of its shares of both message counts,
// so a lean is lowered by adding to its other side.
#ifndef VELQ_KIT_STORE_ADDITIVE_UPDATE_H
#define VELQ_KIT_STORE_ADDITIVE_UPDATE_H

#include "kit/store/probability_update.h"
#include "kit/store/store_file.h"

namespace velq::kit {

// What, merged into `before`, gives its tokens the probabilities that they have in `after`, as nearly as added counts
// can; no count becomes smaller. Tokens that `after` lacks become neutral. Both must be sorted. Throws Error (badData)
// when the stores differ and `after` lacks messages of a class, against which its counts could be weighed.
StoreDifference additionsBetween(const StoreContents &before, const StoreContents &after);

} // namespace velq::kit

#endif
