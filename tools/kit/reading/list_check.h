// Entries of the lists that no sender is ever found by.
#ifndef VELQ_KIT_READING_LIST_CHECK_H
#define VELQ_KIT_READING_LIST_CHECK_H

#include "kit/base/phone_number.h"
#include "kit/engine/number_list.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velq::kit {

struct IdleEntry {
    const char *list = "black";
    std::int32_t uid = 0;
    std::string number;
    std::string why; // with what to do
};

// With a country given to senders, also the entries that are not of its form.
std::vector<IdleEntry> idleEntries(const std::vector<ListEntry> &black, const std::vector<ListEntry> &white,
                                   const NumberForm &form);

} // namespace velq::kit

#endif
