// What an update brings beside the new store. A merge removes no row, so texts are still cut at the tokens that the new
// store lacks: they take what it would read at their place, and places in the list of tokens that a message is rated
// with. Stand-ins make up for that: leans for those tokens, and further tokens that begin where texts are now cut.
#ifndef VELQ_KIT_STORE_STAND_INS_H
#define VELQ_KIT_STORE_STAND_INS_H

#include "kit/reading/text_model.h"
#include "kit/store/store_file.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace velq::kit {

struct JudgedText {
    bool spam = false;
    std::u16string text; // filtered

    friend bool operator==(const JudgedText &, const JudgedText &) = default;
    friend bool operator<(const JudgedText &first, const JudgedText &second)
    {
        return std::tie(first.spam, first.text) < std::tie(second.spam, second.text);
    }
};

// Counts for tokens that `after` lacks: all those of `before`, neutral where nothing is gained from another lean, and
// further ones. They are those with which the union of both stores rates as few of the texts worse than `after` does as
// was found. The message counts and the prior, which they are weighed against, are those of `after`. No token is given
// a lean or brought along that fewer than five different texts speak for. `reached` is told how much of the work is
// done. The same texts give the same counts. Throws Error (badData) when `after` lacks messages of a class.
Store standInsFor(const Store &before, const Store &after, std::vector<JudgedText> texts,
                  const std::function<void(std::uint64_t done, std::uint64_t total)> &reached = {});

// Both stores' tokens, with the message counts and the prior of the first.
Store united(const Store &store, const Store &standIns);

// The rows of the new store and of the stand-ins those that it lacks: tokens that `before` has only where they count,
// as neutral ones need other counts there. Both contents must be sorted. Throws Error (badData) when the stand-ins are
// weighed against others than the message counts of `after`.
StoreContents withStandIns(const StoreContents &before, const StoreContents &after, const Store &standIns);

// How often the second store rates a text better, and worse, than the first.
struct RatingChanges {
    std::uint64_t better = 0;
    std::uint64_t worse = 0;
    std::uint64_t blocked = 0; // of the worse ones, ham that is now rated spam
};
RatingChanges ratingChanges(const Store &first, const Store &second, const std::vector<JudgedText> &texts);

} // namespace velq::kit

#endif
