// Updates that only add. A merge that takes counts away by sums that wrap ruins every count that has meanwhile sunk
// below what is taken; one that adds cannot. What a token says lies in the ratio of its shares of both message counts,
// so a lean is lowered by adding to its other side.
#ifndef VELQ_KIT_STORE_ADDITIVE_UPDATE_H
#define VELQ_KIT_STORE_ADDITIVE_UPDATE_H

#include "kit/reading/text_model.h"
#include "kit/store/probability_update.h"
#include "kit/store/store_file.h"

namespace velq::kit {

// What, merged into `before`, gives its tokens the probabilities that they have in `after`, as nearly as added counts
// can; no count becomes smaller. Tokens that `after` lacks get what `standIns` has for them, or become neutral. Both
// must be sorted. Throws Error (badData) when the stores differ and `after` lacks messages of a class, against which
// its counts could be weighed, and when stand-ins are weighed against others than the message counts of `after`.
StoreDifference additionsBetween(const StoreContents &before, const StoreContents &after, const Store &standIns = {});

} // namespace velq::kit

#endif
