// The import: what the lists hold is read once into memory, so that no entry has to look through them.
#include "kit/reading/number_import.h"

#include "kit/base/database.h"
#include "kit/base/interruption.h"
#include "kit/base/status.h"
#include "kit/base/wide_text.h"
#include "kit/reading/number_match.h"
#include "kit/reading/token_format.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace velq::kit {

namespace {

struct TextHash {
    using is_transparent = void;

    std::size_t operator()(std::string_view text) const noexcept
    {
        return std::hash<std::string_view>{}(text);
    }
};
using Keys = std::unordered_set<std::string, TextHash, std::equal_to<>>;

struct ListPlace {
    const char *file;
    std::string table;
};

// Both lists, each named in statements as `own` and `other` give it, between begin and commit.
class BothLists {
  public:
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
    bool isApart_ = false; // files of different encodings cannot be joined
};

} // namespace

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

static std::string_view comparedPart(std::string_view key)
{
    return key.substr(0, comparedCharacters);
}

static Keys keysOn(Database &database, const std::string &table)
{
    Keys keys;
    Query query(database, "SELECT number FROM " + table + ";");
    while (query.step()) {
        const std::string_view stored = query.text(0);
        keys.emplace(comparedPart(stored.substr(0, stored.find('\0'))));
    }
    return keys;
}

// The numbers of the entries as they are stored, without the zero byte at the end.
static std::string storedKey(const ListEntry &entry)
{
    return {entry.number.rbegin(), entry.number.rend()};
}

// The numbers that the other list lost.
static std::vector<std::string> takeOff(BothLists &lists, const std::vector<ListEntry> &entries)
{
    Keys keys;
    for (const ListEntry &entry : entries) {
        keys.emplace(comparedPart(storedKey(entry)));
    }
    const std::function<bool(std::string_view)> isImported = [&keys](std::string_view stored) {
        return keys.find(comparedPart(stored)) != keys.end();
    };
    lists.otherDatabase().addTest("isImported", isImported);
    std::vector<std::string> numbers;
    {
        Query query(lists.otherDatabase(),
                    "SELECT number FROM " + lists.other() + " WHERE isImported(number) ORDER BY uid;");
        while (query.step()) {
            const std::string_view stored = query.text(0);
            numbers.push_back(displayedNumber(stored.substr(0, stored.find('\0'))));
        }
    }
    lists.otherDatabase().exec("DELETE FROM " + lists.other() + " WHERE isImported(number);");
    return numbers;
}

static void insert(Query &query, const ListEntry &entry, std::string key)
{
    key.push_back('\0');
    std::u16string name = utf16FromUtf8(entry.name).value_or(std::u16string());
    name.push_back(u'\0');
    const std::string nameBytes = bytesOfUnits(name);
    query.bindInteger(1, entry.hidden);
    query.bindText(2, key);
    query.bindBlob(3, nameBytes);
    query.bindInteger(4, entry.extendID);
    query.step();
    query.reset();
}

static std::size_t addAll(BothLists &lists, const std::vector<ListEntry> &entries, Progress &progress)
{
    Keys keys = keysOn(lists.ownDatabase(), lists.own());
    Query query(lists.ownDatabase(), "INSERT INTO " + lists.own() + "(hidden,number,name,extendID) VALUES(?,?,?,?);");
    std::size_t added = 0;
    std::size_t done = 0;
    for (const ListEntry &entry : entries) {
        std::string key = storedKey(entry);
        if (keys.emplace(comparedPart(key)).second) {
            insert(query, entry, std::move(key));
            ++added;
        }
        progress.reached(++done);
    }
    return added;
}

Imported importNumbers(const Installation &installation, const ListCalls &calls, const std::vector<ListEntry> &entries,
                       Progress &progress)
{
    const ListPlace black = {"bn.bin", "blackList"};
    const ListPlace white = {"wn.bin", "whiteList"};
    const bool isBlack = &calls == &blackListCalls;
    BothLists lists(installation, isBlack ? black : white, isBlack ? white : black);
    lists.begin();
    Imported imported;
    imported.movedOff = takeOff(lists, entries);
    imported.added = addAll(lists, entries, progress);
    lists.commit();
    return imported;
}

} // namespace velq::kit
