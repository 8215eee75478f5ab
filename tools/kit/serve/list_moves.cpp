// The lists are looked at before and after, for the engine does not say what it moves.
#include "kit/serve/list_moves.h"

#include "kit/reading/number_match.h"

namespace velq::kit {

static const char *const journaledMove = "the change of the lists in the journal";

ListChange listsChangedBy(Service &service, const std::string &number, const std::function<void()> &work)
{
    const std::string key = matchKey(senderOf(service, number));
    const std::vector<ListRow> before = matchingRows(service.installation, key);
    try {
        work();
    } catch (const std::exception &) {
        withdrawMove(service, changeBetween(before, matchingRows(service.installation, key)));
        throw;
    }
    return changeBetween(before, matchingRows(service.installation, key));
}

void withdrawMove(Service &service, const ListChange &change)
{
    try {
        ListChange none;
        takeBack(change, none, service.installation);
    } catch (const Error &error) {
        service.log.line(std::string("what failed has changed the lists all the same: ") + error.what());
    }
}

std::string withMove(const std::string &older, const ListChange &later)
{
    ListChange all = listChangeOf(older, journaledMove);
    all.add(later);
    return listChangeText(all);
}

void takeBackMove(Service &service, std::string &changes, std::string &other)
{
    ListChange left = listChangeOf(other, journaledMove);
    takeBack(listChangeOf(changes, journaledMove), left, service.installation);
    changes.clear();
    other = listChangeText(left);
}

} // namespace velq::kit
