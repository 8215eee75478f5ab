// What an action changed on the two lists, row by row, so that it can be taken back: the engine moves a number from one
// list to the other and does not say what stood there.
#ifndef VELQ_KIT_STORE_LIST_CHANGES_H
#define VELQ_KIT_STORE_LIST_CHANGES_H

#include "kit/engine/installation.h"
#include "kit/store/data_file.h"

#include <string>
#include <vector>

namespace velq::kit {

struct ListRow {
    bool black = false; // on the black list, else on the white
    StoredRow values;   // uid, hidden, number, name, extendID

    friend bool operator==(const ListRow &, const ListRow &) = default;
};

struct ListChange {
    std::vector<ListRow> added;
    std::vector<ListRow> removed;

    bool empty() const
    {
        return added.empty() && removed.empty();
    }
    // What a later one changed, on top of this.
    void add(const ListChange &later);
};

// The rows of both lists that match a number, given by its matchKey, in the order of the lists. Throws Error.
std::vector<ListRow> matchingRows(const Installation &installation, const std::string &key);

ListChange changeBetween(const std::vector<ListRow> &before, const std::vector<ListRow> &after);

// As JSON in one line, and back. Throws Error (badData) that names where the text stood.
std::string listChangeText(const ListChange &change);
ListChange listChangeOf(const std::string &text, const std::string &name);

// Takes off the rows that were added and puts back those that were removed as they were, in one transaction, unless one
// of the lists holds the number by then: what was decided since stays. `other` is a change that may be taken back
// later: what `change` had added is nothing to put back any more, and what cannot be put back for a row that `other`
// added is put back with that. Throws Error, and nothing is changed then.
void takeBack(const ListChange &change, ListChange &other, const Installation &installation);

} // namespace velq::kit

#endif
