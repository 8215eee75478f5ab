// Update files: what turns one token store into another, lists of white numbers in the order that the merge needs, and
// what a file at hand would do.
//
// The merges add counts, never take rows away, and fail as a whole on one bad row; a white-number merge fails as well
// when its last number is known already. These functions keep files within that, and say where it is not enough.
#ifndef VELQ_KIT_STORE_UPDATE_FILE_H
#define VELQ_KIT_STORE_UPDATE_FILE_H

#include "kit/store/store_file.h"

#include <cstdint>
#include <filesystem>
#include <istream>
#include <set>
#include <string>
#include <vector>

namespace velq::kit {

// ---- Token counts -------------------------------------------------------------------------------------------------

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
    bool changesPrior = false;            // seen by programs that load the engine afterwards
    std::vector<StoreProblem> deviations; // where the merged store will differ from the new one
};

// What, merged into `before`, gives `after` as nearly as the merge can. Both must be sorted.
StoreDifference differenceOf(const StoreContents &before, const StoreContents &after);

// The store that the merge makes of it.
StoreContents merged(const StoreContents &store, const std::vector<ProbabilityRow> &rows);

void writeProbabilityUpdate(const std::filesystem::path &path, const std::vector<ProbabilityRow> &rows);

// ---- White numbers ------------------------------------------------------------------------------------------------

// The longest number and name that the merge takes, in units.
inline constexpr std::size_t longestDeliveredText = 29;

struct WhiteNumber {
    std::u16string number; // as displayed
    std::u16string name;
    std::uint64_t line = 0; // where it was read
};

// Rows of number and name. The first record may name its columns; without the name "number" among them, all records are
// number, name. Throws Error (badData) with name and line for the first row that the merge could not take or that would
// be of no use: a number that is empty, too long or not of printable ASCII characters, a name that is too long.
std::vector<WhiteNumber> readWhiteNumbers(std::istream &in, const std::string &name);

// The numbers that earlier merges brought into a white list, in the form in which the merge compares them. Numbers that
// users added have another form; the merge does not know them.
std::set<std::string> deliveredNumbers(const std::filesystem::path &whiteList);

struct WhiteUpdatePlan {
    std::vector<WhiteNumber> rows;     // known numbers first, so that the last is new
    std::vector<WhiteNumber> repeated; // left out: the number stands in the rows already
    std::uint64_t known = 0;
};

// Otherwise the order stays as it is. When all numbers are known, the last row is known too.
WhiteUpdatePlan planWhiteUpdate(const std::vector<WhiteNumber> &numbers, const std::set<std::string> &delivered);

void writeWhiteUpdate(const std::filesystem::path &path, const std::vector<WhiteNumber> &rows);

// ---- Looking at a file --------------------------------------------------------------------------------------------

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
};

// `store` and `whiteList` may be empty paths. Throws Error (badData) for a file without an update's table.
UpdateReport inspectUpdate(const std::filesystem::path &path, const std::filesystem::path &store,
                           const std::filesystem::path &whiteList);

} // namespace velq::kit

#endif
