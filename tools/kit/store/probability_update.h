// Updates of token counts: what turns one token store into another. The merge adds counts, never takes rows away, and
// fails as a whole on one bad row. These functions keep a file within that, and say where it is not enough. For updates
// that take nothing away see additive_update.h.
#ifndef VELQ_KIT_STORE_PROBABILITY_UPDATE_H
#define VELQ_KIT_STORE_PROBABILITY_UPDATE_H

#include "kit/store/store_check.h"
#include "kit/store/store_file.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace velq::kit {

struct ProbabilityRow {
    std::string key; // the store's key bytes, without the zero unit that ends them in the file
    TokenWords words;

    friend bool operator==(const ProbabilityRow &, const ProbabilityRow &) = default;
};

struct StoreDifference {
    std::vector<ProbabilityRow> rows; // in the order of the keys
    std::uint64_t added = 0;
    std::uint64_t changed = 0;
    std::uint64_t zeroed = 0; // tokens that the new store lacks: the merge cannot remove them
    // Rows whose counts become smaller, zeroed ones among them. They do so by 32-bit sums that wrap: right for the old
    // store, but a store whose counts went below the difference since then ends with a count near 2^32.
    std::uint64_t lowered = 0;
    // Of updates that only add: what all counts of the new store were multiplied with, the tokens that it lacks and
    // that become neutral, and those that carry more counts than their share so that corrections move them less.
    std::uint32_t factor = 1;
    std::uint64_t neutral = 0;
    std::uint64_t standIns = 0;
    std::uint64_t heavier = 0;
    bool changesPrior = false;            // seen by programs that load the engine afterwards
    std::vector<StoreProblem> deviations; // where the merged store will differ from the new one
};

// The merge reads a key up to its zero unit and binds it as a blob: other keys do not arrive as they are.
bool canBeDelivered(const StoredValue &key);

// What, merged into `before`, gives the counts of `after`, by sums that wrap where they are smaller. Both must be
// sorted.
StoreDifference differenceOf(const StoreContents &before, const StoreContents &after);

// The store that the merge makes of it.
StoreContents merged(const StoreContents &store, const std::vector<ProbabilityRow> &rows);

void writeProbabilityUpdate(const std::filesystem::path &path, const std::vector<ProbabilityRow> &rows);

} // namespace velq::kit

#endif
