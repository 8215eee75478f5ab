// What an update file at hand would do.
#ifndef VELQ_KIT_STORE_UPDATE_INSPECTION_H
#define VELQ_KIT_STORE_UPDATE_INSPECTION_H

#include "kit/store/store_check.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace velq::kit {

struct UpdateReport {
    bool hasTokens = false;  // it has the table of token counts
    bool hasNumbers = false; // it has the table of white numbers
    std::uint64_t tokenRows = 0;
    std::uint64_t numberRows = 0;
    std::uint64_t newTokens = 0; // against the given store, else 0
    std::uint64_t knownTokens = 0;
    std::uint64_t newNumbers = 0; // against the given list, or an empty one
    std::uint64_t knownNumbers = 0;
    std::vector<StoreProblem> problems; // make the merge fail; nothing of the file would be merged
    std::vector<StoreProblem> remarks;  // rows that the merge takes but that are of no use
    std::vector<StoreProblem> wraps;    // rows that would take a count of the given store out of its range
    bool changesCounts = false;         // some row adds a token or a count to the given store
};

// `store` and `whiteList` may be empty paths. Throws Error (badData) for a file without an update's table.
UpdateReport inspectUpdate(const std::filesystem::path &path, const std::filesystem::path &store,
                           const std::filesystem::path &whiteList);

} // namespace velq::kit

#endif
