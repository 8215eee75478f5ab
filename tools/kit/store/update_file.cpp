// Makes and inspects update files. The merge itself is the engine's; `merged` says here what it comes to.
#include "kit/store/update_file.h"

#include "kit/base/csv.h"
#include "kit/base/input.h"
#include "kit/base/status.h"
#include "kit/base/wide_text.h"
#include "kit/store/store_text.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace velq::kit {

namespace {

constexpr std::size_t valueBytes = 12;
constexpr std::uint64_t largestSensibleSum = 0x7FFFFFFF; // beyond it, a probability comes out wrong
constexpr std::string_view zeroUnit{"\0\0", 2};

// The offset of the first zero unit; none without one.
std::optional<std::size_t> zeroUnitIn(std::string_view bytes)
{
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        if (bytes[i] == 0 && bytes[i + 1] == 0) {
            return i;
        }
    }
    return std::nullopt;
}

std::string terminated(std::string_view bytes)
{
    return std::string(bytes) + std::string(zeroUnit);
}

// The merge reads a key up to its zero unit and binds it as a blob: other keys do not arrive as they are.
bool canBeDelivered(const StoredValue &key)
{
    return key.kind == StoredValue::Kind::blob && !key.bytes.empty() && key.bytes.size() % 2 == 0 &&
           !zeroUnitIn(key.bytes);
}

bool isPrior(const StoredValue &key)
{
    return key.kind == StoredValue::Kind::blob && key.bytes == priorKey();
}

std::string countsText(const TokenWords &words)
{
    return std::to_string(words.spam) + " spam, " + std::to_string(words.ham) + " ham";
}

// How the merged row of a key that both stores have differs from the new store's row; empty for not at all.
std::string deviationOf(const StoredValue &result, const StoredValue &wanted)
{
    if (result == wanted) {
        return {};
    }
    const TokenWords merged = wordsOf(result.bytes);
    const TokenWords after = wordsOf(wanted.bytes);
    if (wanted.kind == StoredValue::Kind::blob && wanted.bytes.size() == valueBytes &&
        merged.reserved != after.reserved) {
        return "the reserved word stays " + std::to_string(merged.reserved) + " instead of " +
               std::to_string(after.reserved);
    }
    return "the value's form stays another: " + std::to_string(result.bytes.size()) + " bytes instead of " +
           std::to_string(wanted.bytes.size());
}

bool hasWords(const StoredValue &value)
{
    return value.kind == StoredValue::Kind::blob;
}

void addKnown(StoreDifference &difference, const StoreRow &before, const StoreRow &after)
{
    if (before.value == after.value) {
        return;
    }
    if (!hasWords(before.value) || !hasWords(after.value)) {
        difference.deviations.push_back({keyText(after.key), "a value that is not a blob cannot be delivered"});
        return;
    }
    const TokenWords old = wordsOf(before.value.bytes);
    const TokenWords wanted = wordsOf(after.value.bytes);
    StoredValue result = before.value;
    if (old.spam != wanted.spam || old.ham != wanted.ham) {
        if (!canBeDelivered(after.key)) {
            difference.deviations.push_back(
                {keyText(after.key), "an update cannot hold this key: the counts stay " + countsText(old)});
            return;
        }
        difference.rows.push_back({after.key.bytes, {wanted.spam - old.spam, wanted.ham - old.ham, 0}});
        difference.lowered += wanted.spam < old.spam || wanted.ham < old.ham ? 1 : 0;
        difference.changesPrior = difference.changesPrior || isPrior(after.key);
        ++difference.changed;
        result = StoredValue::ofBlob(valueOf({wanted.spam, wanted.ham, old.reserved}));
    }
    if (const std::string deviation = deviationOf(result, after.value); !deviation.empty()) {
        difference.deviations.push_back({keyText(after.key), deviation});
    }
}

void addNew(StoreDifference &difference, const StoreRow &after)
{
    if (!canBeDelivered(after.key) || !hasWords(after.value)) {
        difference.deviations.push_back({keyText(after.key), "an update cannot hold this row: it stays missing"});
        return;
    }
    const TokenWords words = wordsOf(after.value.bytes);
    difference.rows.push_back({after.key.bytes, words});
    difference.changesPrior = difference.changesPrior || isPrior(after.key);
    ++difference.added;
    if (const std::string deviation = deviationOf(StoredValue::ofBlob(valueOf(words)), after.value);
        !deviation.empty()) {
        difference.deviations.push_back({keyText(after.key), deviation});
    }
}

void addRemoved(StoreDifference &difference, const StoreRow &before)
{
    const TokenWords old = wordsOf(before.value.bytes);
    const bool empty = old.spam == 0 && old.ham == 0;
    if (!empty && canBeDelivered(before.key) && hasWords(before.value)) {
        difference.rows.push_back({before.key.bytes, {0 - old.spam, 0 - old.ham, 0}});
        difference.changesPrior = difference.changesPrior || isPrior(before.key);
        ++difference.zeroed;
        ++difference.lowered;
        difference.deviations.push_back(
            {keyText(before.key),
             isPrior(before.key) ? "the record cannot be removed; it is set to 0, which the engine reads as its default"
                                 : "the token cannot be removed; its counts become 0, and texts are still cut at it"});
        return;
    }
    difference.deviations.push_back(
        {keyText(before.key), "the row cannot be removed; it stays with " + countsText(old)});
}

} // namespace

StoreDifference differenceOf(const StoreContents &before, const StoreContents &after)
{
    // Looked up by class and bytes: the few keys that are not blobs must not be taken for equal blobs.
    const auto rowsByKey = [](const StoreContents &contents) {
        std::map<std::pair<int, std::string>, const StoreRow *> rows;
        for (const StoreRow &row : contents.rows) {
            const bool bytes = row.key.kind == StoredValue::Kind::blob || row.key.kind == StoredValue::Kind::text;
            rows[{static_cast<int>(row.key.kind), bytes ? row.key.bytes : keyText(row.key)}] = &row;
        }
        return rows;
    };
    const auto oldRows = rowsByKey(before);
    const auto newRows = rowsByKey(after);

    StoreDifference difference;
    for (const auto &[key, row] : newRows) {
        if (const auto known = oldRows.find(key); known != oldRows.end()) {
            addKnown(difference, *known->second, *row);
        } else {
            addNew(difference, *row);
        }
    }
    for (const auto &[key, row] : oldRows) {
        if (!newRows.contains(key)) {
            addRemoved(difference, *row);
        }
    }
    std::sort(difference.rows.begin(), difference.rows.end(),
              [](const ProbabilityRow &a, const ProbabilityRow &b) { return a.key < b.key; });
    return difference;
}

StoreContents merged(const StoreContents &store, const std::vector<ProbabilityRow> &rows)
{
    std::map<std::string, TokenWords> sums;
    for (const ProbabilityRow &row : rows) {
        TokenWords &sum = sums.try_emplace(row.key, TokenWords{0, 0, row.words.reserved}).first->second;
        sum.spam += row.words.spam;
        sum.ham += row.words.ham;
    }
    StoreContents result = store;
    for (StoreRow &row : result.rows) {
        const auto sum = row.key.kind == StoredValue::Kind::blob ? sums.find(row.key.bytes) : sums.end();
        if (sum != sums.end()) {
            const TokenWords old = wordsOf(row.value.bytes);
            const TokenWords words{old.spam + sum->second.spam, old.ham + sum->second.ham, old.reserved};
            row.value = StoredValue::ofBlob(valueOf(words));
            sums.erase(sum);
        }
    }
    for (const auto &[key, words] : sums) {
        result.rows.push_back({StoredValue::ofBlob(key), StoredValue::ofBlob(valueOf(words))});
    }
    sortRows(result);
    return result;
}

void writeProbabilityUpdate(const std::filesystem::path &path, const std::vector<ProbabilityRow> &rows)
{
    std::vector<StoredRow> stored;
    stored.reserve(rows.size());
    for (const ProbabilityRow &row : rows) {
        stored.push_back({StoredValue::ofBlob(terminated(row.key)), StoredValue::ofBlob(valueOf(row.words))});
    }
    writeDataFile(path, "prob-update", [&stored](Database &file) {
        writeRows(file, "INSERT INTO diffProbTable(key, value) VALUES(?, ?);", stored);
    });
}

// ---- White numbers ------------------------------------------------------------------------------------------------

namespace {

std::string storedForm(const std::u16string &text)
{
    return terminated(bytesOfUnits(text));
}

// What keeps the row out of an update; empty for nothing.
std::string faultOf(const WhiteNumber &row)
{
    const auto tooLong = [](const char *what, std::size_t length) {
        return std::string("the ") + what + " has " + std::to_string(length) + " units; at most " +
               std::to_string(longestDeliveredText) + " can be merged";
    };
    if (row.number.empty()) {
        return "the number is empty";
    }
    if (row.number.size() > longestDeliveredText) {
        return tooLong("number", row.number.size());
    }
    if (!std::all_of(row.number.begin(), row.number.end(), [](char16_t unit) { return unit > 0x20 && unit < 0x7F; })) {
        return "the number holds a character that is not printable ASCII";
    }
    if (row.name.size() > longestDeliveredText) {
        return tooLong("name", row.name.size());
    }
    return {};
}

void readHeader(const CsvRecord &header, const std::string &name, int numberColumn)
{
    checkCsvHeader(header, name, {"number", "name"});
    if (numberColumn < 0) {
        failAt(name, header.line, "the first line names the column name, but no column number");
    }
}

} // namespace

std::vector<WhiteNumber> readWhiteNumbers(std::istream &in, const std::string &name)
{
    std::vector<WhiteNumber> numbers;
    int numberColumn = -1;
    int nameColumn = -1;
    std::size_t columns = 0; // that every record has; 0 without a header: then a record is a number or number, name
    readCsv(in, name, [&](CsvRecord &&record) {
        if (numberColumn < 0) {
            numberColumn = csvColumn(record, "number");
            nameColumn = csvColumn(record, "name");
            if (numberColumn >= 0 || nameColumn >= 0) {
                readHeader(record, name, numberColumn);
                columns = record.fields.size();
                return;
            }
            numberColumn = 0;
            nameColumn = 1;
        }
        if (columns > 0) {
            checkCsvWidth(record, name, columns);
        } else if (record.fields.size() > 2) {
            failAt(name, record.line, "more than the two fields number,name; put fields with commas in double quotes");
        }
        const auto field = [&record, &name](int column) {
            const auto at = static_cast<std::size_t>(column);
            if (column < 0 || at >= record.fields.size()) {
                return std::u16string();
            }
            const auto units = utf16FromUtf8(record.fields[at]);
            if (!units) {
                failAt(name, record.line, "the record is not UTF-8");
            }
            return *units;
        };
        WhiteNumber row{field(numberColumn), field(nameColumn), record.line};
        if (const std::string fault = faultOf(row); !fault.empty()) {
            failAt(name, record.line, fault);
        }
        numbers.push_back(std::move(row));
    });
    return numbers;
}

std::set<std::string> deliveredNumbers(const std::filesystem::path &whiteList)
{
    Database file(whiteList, DatabaseMode::read);
    if (!file.hasTable("whiteList")) {
        throw Error(Status::badData, whiteList.string() + " is no white list; give a wn.bin");
    }
    std::set<std::string> numbers;
    for (const StoredRow &row : readRows(file, "SELECT number FROM whiteList WHERE typeof(number) = 'blob';")) {
        numbers.insert(row[0].bytes);
    }
    return numbers;
}

WhiteUpdatePlan planWhiteUpdate(const std::vector<WhiteNumber> &numbers, const std::set<std::string> &delivered)
{
    WhiteUpdatePlan plan;
    std::set<std::string> seen;
    for (const WhiteNumber &number : numbers) {
        (seen.insert(storedForm(number.number)).second ? plan.rows : plan.repeated).push_back(number);
    }
    const auto firstNew =
        std::stable_partition(plan.rows.begin(), plan.rows.end(), [&delivered](const WhiteNumber &row) {
            return delivered.contains(storedForm(row.number));
        });
    plan.known = static_cast<std::uint64_t>(firstNew - plan.rows.begin());
    return plan;
}

void writeWhiteUpdate(const std::filesystem::path &path, const std::vector<WhiteNumber> &rows)
{
    std::vector<StoredRow> stored;
    stored.reserve(rows.size());
    for (const WhiteNumber &row : rows) {
        stored.push_back({StoredValue::ofBlob(storedForm(row.number)), StoredValue::ofBlob(storedForm(row.name))});
    }
    writeDataFile(path, "wn-update", [&stored](Database &file) {
        writeRows(file, "INSERT INTO diffWnTable(number, name) VALUES(?, ?);", stored);
    });
}

// ---- Looking at a file --------------------------------------------------------------------------------------------

namespace {

std::string rowName(std::uint64_t number)
{
    return "row " + std::to_string(number);
}

std::string rowName(std::uint64_t number, std::string_view keyBytes)
{
    return rowName(number) + " (" + keyText(StoredValue::ofBlob(keyBytes)) + ")";
}

void inspectTokenRow(UpdateReport &report, const StoredRow &row, std::map<std::string, TokenWords> &counts,
                     bool againstStore)
{
    const std::uint64_t number = ++report.tokenRows;
    const std::optional<std::size_t> end = zeroUnitIn(row[0].bytes);
    if (!end) {
        report.problems.push_back({rowName(number), "the key is not ended by a zero unit"});
        return;
    }
    const std::string key = row[0].bytes.substr(0, *end);
    if (row[1].bytes.size() < valueBytes) {
        report.problems.push_back(
            {rowName(number, key), "the value has " + std::to_string(row[1].bytes.size()) + " bytes; 12 are needed"});
        return;
    }
    const bool special = key == priorKey() || key == messageCountKey();
    if (!special && (key.size() < 4 || key.size() > 8)) {
        report.remarks.push_back({rowName(number, key), "tokens have 2 to 4 units; this one is never looked up"});
    }
    const TokenWords words = wordsOf(row[1].bytes);
    const auto [at, fresh] = counts.emplace(key, TokenWords{});
    ++(fresh ? report.newTokens : report.knownTokens);
    at->second.spam += words.spam;
    at->second.ham += words.ham;
    // Without a store, a difference that lowers a count cannot be told from a large count.
    if (againstStore && static_cast<std::uint64_t>(at->second.spam) + at->second.ham > largestSensibleSum) {
        report.remarks.push_back({rowName(number, key), "the counts become " + countsText(at->second) +
                                                            ": the store has less than the update takes away"});
    }
}

void inspectTokens(UpdateReport &report, Database &file, const std::filesystem::path &store)
{
    std::map<std::string, TokenWords> counts;
    if (!store.empty()) {
        for (const StoreRow &row : readStoreContents(store).rows) {
            if (row.key.kind == StoredValue::Kind::blob) {
                counts[row.key.bytes] = wordsOf(row.value.bytes);
            }
        }
    }
    for (const StoredRow &row : readRows(file, "SELECT key, value FROM diffProbTable;")) {
        inspectTokenRow(report, row, counts, !store.empty());
    }
}

// False when the merge stops at the text.
bool inspectText(UpdateReport &report, std::uint64_t row, const char *what, const StoredValue &text)
{
    const std::optional<std::size_t> end = zeroUnitIn(text.bytes);
    if (!end) {
        report.problems.push_back({rowName(row), std::string("the ") + what + " is not ended by a zero unit"});
        return false;
    }
    if (*end / 2 > longestDeliveredText) {
        report.problems.push_back({rowName(row), std::string("the ") + what + " has " + std::to_string(*end / 2) +
                                                     " units; at most " + std::to_string(longestDeliveredText) +
                                                     " can be merged"});
        return false;
    }
    return true;
}

void inspectNumbers(UpdateReport &report, Database &file, const std::filesystem::path &whiteList)
{
    std::set<std::string> known;
    if (!whiteList.empty()) {
        known = deliveredNumbers(whiteList);
    }
    bool lastIsKnown = false;
    for (const StoredRow &row : readRows(file, "SELECT number, name FROM diffWnTable;")) {
        const std::uint64_t number = ++report.numberRows;
        const bool numberFits = inspectText(report, number, "number", row[0]);
        const bool nameFits = inspectText(report, number, "name", row[1]);
        if (!numberFits || !nameFits) {
            continue;
        }
        const std::string stored = terminated(row[0].bytes.substr(0, *zeroUnitIn(row[0].bytes)));
        if (stored == zeroUnit) {
            report.remarks.push_back({rowName(number), "the number is empty"});
        }
        lastIsKnown = !known.insert(stored).second;
        ++(lastIsKnown ? report.knownNumbers : report.newNumbers);
    }
    if (lastIsKnown) {
        report.problems.push_back(
            {rowName(report.numberRows), "the last number is known already: the merge takes back all rows"});
    }
}

} // namespace

UpdateReport inspectUpdate(const std::filesystem::path &path, const std::filesystem::path &store,
                           const std::filesystem::path &whiteList)
{
    Database file(path, DatabaseMode::read);
    UpdateReport report;
    report.hasTokens = file.hasTable("diffProbTable");
    report.hasNumbers = file.hasTable("diffWnTable");
    if (!report.hasTokens && !report.hasNumbers) {
        throw Error(Status::badData,
                    path.string() + " is no update file: it has neither the table diffProbTable nor diffWnTable");
    }
    if (report.hasTokens) {
        inspectTokens(report, file, store);
    }
    if (report.hasNumbers) {
        inspectNumbers(report, file, whiteList);
    }
    return report;
}

} // namespace velq::kit
