// Updates of white numbers, in the order that the merge needs: it fails as a whole on one bad row, and also when its
// last number is known already.
#ifndef VELQ_KIT_STORE_WHITE_UPDATE_H
#define VELQ_KIT_STORE_WHITE_UPDATE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <istream>
#include <set>
#include <string>
#include <vector>

namespace velq::kit {

// The longest number and name that the merge takes, in units.
inline constexpr std::size_t longestDeliveredText = 29;
// What keeps a "number" or "name" of so many units from being merged; empty for nothing.
std::string lengthFault(const char *what, std::size_t units);

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

} // namespace velq::kit

#endif
