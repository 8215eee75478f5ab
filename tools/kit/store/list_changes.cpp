// Rows are kept with their storage classes: a stored number ends with a zero, which texts of JSON would lose.
#include "kit/store/list_changes.h"

#include "kit/base/status.h"
#include "kit/reading/both_lists.h"
#include "kit/reading/number_match.h"
#include "kit/store/row_text.h"

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>
#include <string_view>

namespace velq::kit {

using Json = nlohmann::ordered_json;

static constexpr std::size_t numberColumn = 2;
static constexpr std::size_t columnCount = 5;

static bool contains(const std::vector<ListRow> &rows, const ListRow &row)
{
    return std::ranges::find(rows, row) != rows.end();
}

static void append(std::vector<ListRow> &rows, const std::vector<ListRow> &more, const std::vector<ListRow> &without)
{
    std::ranges::copy_if(more, std::back_inserter(rows),
                         [&without](const ListRow &row) { return !contains(without, row); });
}

void ListChange::add(const ListChange &later)
{
    ListChange sum;
    append(sum.added, added, later.removed);
    append(sum.added, later.added, removed);
    append(sum.removed, removed, later.added);
    append(sum.removed, later.removed, added);
    *this = std::move(sum);
}

ListChange changeBetween(const std::vector<ListRow> &before, const std::vector<ListRow> &after)
{
    ListChange change;
    append(change.added, after, before);
    append(change.removed, before, after);
    return change;
}

// ---- Reading ------------------------------------------------------------------------------------------------------

static std::string_view storedNumber(const ListRow &row)
{
    const std::string_view bytes = row.values.at(numberColumn).bytes;
    return bytes.substr(0, bytes.find('\0'));
}

static std::vector<ListRow> matchingRows(Database &file, const std::string &table, bool black, const std::string &key)
{
    const std::function<bool(std::string_view)> matches = [&key](std::string_view stored) {
        return stored.substr(0, comparedCharacters) == key;
    };
    file.addTest("matchesSender", matches);
    std::vector<ListRow> rows;
    for (StoredRow &values : readRows(file, "SELECT uid, hidden, number, name, extendID FROM " + table +
                                                " WHERE matchesSender(number) ORDER BY uid;")) {
        rows.push_back({black, std::move(values)});
    }
    return rows;
}

std::vector<ListRow> matchingRows(const Installation &installation, const std::string &key)
{
    if (key.empty()) {
        return {};
    }
    Database black(installation.dataFile(blackListPlace.file), DatabaseMode::read);
    Database white(installation.dataFile(whiteListPlace.file), DatabaseMode::read);
    std::vector<ListRow> rows = matchingRows(black, blackListPlace.table, true, key);
    const std::vector<ListRow> others = matchingRows(white, whiteListPlace.table, false, key);
    rows.insert(rows.end(), others.begin(), others.end());
    return rows;
}

// ---- As text ------------------------------------------------------------------------------------------------------

static Json rowsJson(const std::vector<ListRow> &rows)
{
    Json array = Json::array();
    for (const ListRow &row : rows) {
        Json values = Json::array();
        std::ranges::transform(row.values, std::back_inserter(values), typedText);
        array.push_back({{"list", row.black ? "black" : "white"}, {"row", values}});
    }
    return array;
}

static std::vector<ListRow> rowsOf(const Json &array)
{
    std::vector<ListRow> rows;
    for (const Json &object : array) {
        ListRow &row = rows.emplace_back();
        row.black = object.at("list") == "black";
        std::ranges::transform(object.at("row"), std::back_inserter(row.values), [](const Json &value) {
            return typedValue(value.get_ref<const std::string &>()).value();
        });
        if (row.values.size() != columnCount) {
            throw std::invalid_argument("a row of other columns");
        }
    }
    return rows;
}

std::string listChangeText(const ListChange &change)
{
    return change.empty() ? std::string()
                          : Json{{"added", rowsJson(change.added)}, {"removed", rowsJson(change.removed)}}.dump();
}

ListChange listChangeOf(const std::string &text, const std::string &name)
{
    if (text.empty()) {
        return {};
    }
    try {
        const Json json = Json::parse(text);
        return {rowsOf(json.at("added")), rowsOf(json.at("removed"))};
    } catch (const std::exception &) {
        throw Error(Status::badData, name + " is damaged, so it cannot be taken back");
    }
}

// ---- Taking back --------------------------------------------------------------------------------------------------

namespace {

// Both lists while they are being changed, the black one as the own.
struct OpenLists {
    explicit OpenLists(const Installation &installation) : both(installation, blackListPlace, whiteListPlace) {}

    Database &file(bool black)
    {
        return black ? both.ownDatabase() : both.otherDatabase();
    }
    std::string table(bool black) const
    {
        return black ? both.own() : both.other();
    }
    std::vector<ListRow> matching(const ListRow &row)
    {
        const std::string key(storedNumber(row).substr(0, comparedCharacters));
        std::vector<ListRow> rows = matchingRows(file(true), table(true), true, key);
        const std::vector<ListRow> others = matchingRows(file(false), table(false), false, key);
        rows.insert(rows.end(), others.begin(), others.end());
        return rows;
    }

    BothLists both;
};

} // namespace

static void takeOff(OpenLists &lists, const ListRow &row)
{
    Query remove(lists.file(row.black), "DELETE FROM " + lists.table(row.black) + " WHERE uid = ? AND number IS ?;");
    runWith(remove, {row.values.at(0), row.values.at(numberColumn)});
}

static void putBack(OpenLists &lists, const ListRow &row)
{
    Query insert(lists.file(row.black), "INSERT OR IGNORE INTO " + lists.table(row.black) +
                                            "(uid, hidden, number, name, extendID) VALUES (?, ?, ?, ?, ?);");
    runWith(insert, row.values);
}

void takeBack(const ListChange &change, ListChange &other, const Installation &installation)
{
    if (change.empty()) {
        return;
    }
    ListChange left{other.added, {}};
    append(left.removed, other.removed, change.added);
    OpenLists lists(installation);
    lists.both.begin();
    for (const ListRow &row : change.added) {
        takeOff(lists, row);
    }
    // Looked at before the first is put back: several rows of one number may have gone.
    std::vector<ListRow> free;
    for (const ListRow &row : change.removed) {
        const std::vector<ListRow> present = lists.matching(row);
        if (present.empty()) {
            free.push_back(row);
        } else if (std::ranges::any_of(present, [&other](const ListRow &one) { return contains(other.added, one); })) {
            left.removed.push_back(row);
        }
    }
    for (const ListRow &row : free) {
        putBack(lists, row);
    }
    lists.both.commit();
    other = left;
}

} // namespace velq::kit
