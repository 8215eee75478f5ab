// The import: what the lists hold is read once into memory, so that no entry has to look through them.
#include "kit/reading/number_import.h"

#include "kit/base/wide_text.h"
#include "kit/reading/both_lists.h"
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

} // namespace

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
    const bool isBlack = &calls == &blackListCalls;
    BothLists lists(installation, isBlack ? blackListPlace : whiteListPlace, isBlack ? whiteListPlace : blackListPlace);
    lists.begin();
    Imported imported;
    imported.movedOff = takeOff(lists, entries);
    imported.added = addAll(lists, entries, progress);
    lists.commit();
    return imported;
}

} // namespace velq::kit
