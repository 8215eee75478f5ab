// The black and the white list through the exports: one table of calls for both, entries checked before they are handed
// over, lists as records.
#ifndef VELQ_KIT_ENGINE_NUMBER_LIST_H
#define VELQ_KIT_ENGINE_NUMBER_LIST_H

#include "kit/base/wide_text.h"
#include "kit/engine/engine.h"
#include "velq.h"

#include <array>
#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace velq::kit {

// The exports of one list.
struct ListCalls {
    const char *name; // "black" or "white"
    decltype(&VELQ_AddBlackNumberSync) add;
    decltype(&VELQ_RemoveBlackNumberSync) remove;
    decltype(&VELQ_RemoveAllBlackNumberSync) removeAll;
    decltype(&VELQ_DeleteBlackNumberByUID) deleteByUid;
    decltype(&VELQ_DeleteBlackNumberByExtendID) deleteByExtendID;
    decltype(&VELQ_GetBlackNumberList) getList;
    decltype(&VELQ_FreeBlackNumberList) freeList;
    decltype(&VELQ_GetBlackNumberUIDList) getUids;
    decltype(&VELQ_FreeBlackNumberUIDList) freeUids;
    decltype(&VELQ_GetTotalCountOfBlackNumber) count;
};

extern const ListCalls blackListCalls;
extern const ListCalls whiteListCalls;

// The values of the flag that an entry carries for the application.
inline constexpr std::array<std::int32_t, 2> hiddenFlags = {0, 1};

struct ListEntry {
    std::string number; // UTF-8, as displayed
    std::string name;
    std::int32_t hidden = 0;
    std::int32_t extendID = 0;
    std::int32_t uid = 0; // of entries that were read
};

// What keeps an entry from being stored as it is, with what to do; empty for a good one.
std::string entryFault(const ListEntry &entry);

// All entries, or those with one value of the hidden flag, in the order in which they were added within each value.
std::vector<ListEntry> readList(const Engine &engine, const ListCalls &calls, std::int32_t hidden);

std::int32_t countList(const Engine &engine, const ListCalls &calls);
void addEntry(const Engine &engine, const ListCalls &calls, const ListEntry &entry);
void removeNumber(const Engine &engine, const ListCalls &calls, const std::string &number);

// Adds the entries to the white list, all or none of those with one value of the hidden flag, without a look at what
// the lists hold.
void addWhiteBatch(const Engine &engine, const std::vector<ListEntry> &entries);

} // namespace velq::kit

#endif
