// The files of the black and the white list, changed in one transaction.
#ifndef VELQ_KIT_READING_BOTH_LISTS_H
#define VELQ_KIT_READING_BOTH_LISTS_H

#include "kit/base/database.h"
#include "kit/engine/installation.h"

#include <string>

namespace velq::kit {

struct ListPlace {
    const char *file;
    std::string table;
};

extern const ListPlace blackListPlace;
extern const ListPlace whiteListPlace;

// Both lists, each named in statements as `own` and `other` give it, between begin and commit. Files of different
// encodings cannot be joined: each then has a transaction of its own, and that of `own` is committed first.
class BothLists {
  public:
    // Throws Error (noInput, badData).
    BothLists(const Installation &installation, const ListPlace &own, const ListPlace &other);

    Database &ownDatabase()
    {
        return own_;
    }
    Database &otherDatabase()
    {
        return isApart_ ? other_ : own_;
    }
    std::string own() const
    {
        return "main." + ownTable_;
    }
    std::string other() const
    {
        return (isApart_ ? "main." : "otherList.") + otherTable_;
    }
    void begin();
    void commit();

  private:
    Database own_;
    Database other_;
    std::string ownTable_;
    std::string otherTable_;
    bool isApart_ = false;
};

} // namespace velq::kit

#endif
