// One connection has both files where that is possible.
#include "kit/reading/both_lists.h"

#include "kit/base/interruption.h"
#include "kit/base/status.h"

namespace velq::kit {

const ListPlace blackListPlace = {"bn.bin", "blackList"};
const ListPlace whiteListPlace = {"wn.bin", "whiteList"};

static std::string encodingOf(Database &database)
{
    Query query(database, "PRAGMA encoding;");
    query.step();
    return std::string(query.text(0));
}

static void checkList(Database &database, const std::string &table)
{
    if (!database.hasTable(table)) {
        throw Error(Status::badData, database.file().string() + " holds no " + table +
                                         "; put a sound file in its place or lay out a new installation");
    }
    // Written out at the commit and not before, the list can be read until then.
    database.exec("PRAGMA cache_spill = OFF;");
}

BothLists::BothLists(const Installation &installation, const ListPlace &own, const ListPlace &other)
    : own_(installation.dataFile(own.file), DatabaseMode::write),
      other_(installation.dataFile(other.file), DatabaseMode::write), ownTable_(own.table), otherTable_(other.table)
{
    checkList(own_, ownTable_);
    checkList(other_, otherTable_);
    isApart_ = encodingOf(own_) != encodingOf(other_);
    if (!isApart_) {
        const std::string file = other_.file().string();
        Query attach(own_, "ATTACH ? AS otherList;");
        attach.bindText(1, file);
        attach.step();
    }
}

void BothLists::begin()
{
    own_.exec("BEGIN IMMEDIATE TRANSACTION;");
    if (isApart_) {
        other_.exec("BEGIN IMMEDIATE TRANSACTION;");
    }
}

void BothLists::commit()
{
    const EndingSignalsHeld held;
    own_.exec("COMMIT TRANSACTION;");
    if (isApart_) {
        other_.exec("COMMIT TRANSACTION;");
    }
}

} // namespace velq::kit
