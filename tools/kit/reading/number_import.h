// Adding many numbers to a list at once, by the engine's rules for adding one.
#ifndef VELQ_KIT_READING_NUMBER_IMPORT_H
#define VELQ_KIT_READING_NUMBER_IMPORT_H

#include "kit/base/progress.h"
#include "kit/engine/installation.h"
#include "kit/engine/number_list.h"

#include <cstddef>
#include <string>
#include <vector>

namespace velq::kit {

// Adds the entries, which are without fault, in their order to the list of `calls`: what VELQ_AddBlackNumberSync or
// VELQ_AddWhiteNumberSync does with each. A number that the list has stays as it is; the other list loses every number
// that matches one of the entries. All or nothing: throws Error (noInput, badData, inputOutput) and leaves both lists
// as they were.
//
// Both files change in one transaction, also when the program is killed in the middle; but where one of them keeps a
// write-ahead log or another encoding than the other, the list is written before the other one, and what ends the
// program right between leaves numbers on both: the same import again takes them off.
struct Imported {
    std::size_t added = 0;
    std::vector<std::string> movedOff; // numbers that the other list lost
};
Imported importNumbers(const Installation &installation, const ListCalls &calls, const std::vector<ListEntry> &entries,
                       Progress &progress);

} // namespace velq::kit

#endif
