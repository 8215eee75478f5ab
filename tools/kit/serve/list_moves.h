// What actions on messages of the journal change on the lists, and taking that back.
#ifndef VELQ_KIT_SERVE_LIST_MOVES_H
#define VELQ_KIT_SERVE_LIST_MOVES_H

#include "kit/serve/service.h"
#include "kit/store/list_changes.h"

#include <functional>
#include <string>

namespace velq::kit {

// Does the work, and finds out what it changed on the lists for a number. Where the work fails, the lists are as
// before.
ListChange listsChangedBy(Service &service, const std::string &number, const std::function<void()> &work);

// Takes back what nobody could take back later. A failure is logged.
void withdrawMove(Service &service, const ListChange &change);

// What a change that an entry of the journal has and a later one come to, as the entry has it.
std::string withMove(const std::string &older, const ListChange &later);

// Takes back the change that an entry has in `changes`; `other` is the one that stays for now.
void takeBackMove(Service &service, std::string &changes, std::string &other);

} // namespace velq::kit

#endif
