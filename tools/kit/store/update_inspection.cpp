// Goes through an update's rows as the merges do.
#include "kit/store/update_inspection.h"

#include "kit/base/status.h"
#include "kit/store/row_text.h"
#include "kit/store/white_update.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string_view>

namespace velq::kit {

namespace {

std::string rowName(std::uint64_t number)
{
    return "row " + std::to_string(number);
}

std::string rowName(std::uint64_t number, std::string_view keyBytes)
{
    return rowName(number) + " (" + keyText(StoredValue::ofBlob(keyBytes)) + ")";
}

// The engine reads no longer value of an update: the merge fails as a whole.
constexpr std::size_t mostDeliveredBytes = 1'048'576;

// True when the merge stops at the value.
bool isTooLong(UpdateReport &report, std::uint64_t row, const char *what, const StoredValue &value)
{
    const bool stops = value.bytes.size() > mostDeliveredBytes;
    if (stops) {
        report.problems.push_back({rowName(row), std::string("the ") + what + " has " +
                                                     std::to_string(value.bytes.size()) + " bytes; at most " +
                                                     std::to_string(mostDeliveredBytes) + " are read"});
    }
    return stops;
}

// A count as it was meant to become: from half the range on, what a row adds to a known count is something taken away.
std::int64_t afterMerge(std::uint32_t stored, std::uint32_t delivered, bool fresh)
{
    const bool takesAway = !fresh && delivered > largestSum;
    return std::int64_t{stored} + (takesAway ? static_cast<std::int32_t>(delivered) : std::int64_t{delivered});
}

void inspectTokenRow(UpdateReport &report, const StoredRow &row, std::map<std::string, TokenWords> &counts,
                     bool againstStore)
{
    const std::uint64_t number = ++report.tokenRows;
    if (isTooLong(report, number, "key", row[0]) || isTooLong(report, number, "value", row[1])) {
        return;
    }
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
    if (!special && !isTokenKey(key)) {
        report.remarks.push_back({rowName(number, key), "tokens have 2 to 4 units; this one is never looked up"});
    }
    const TokenWords words = wordsOf(row[1].bytes);
    const auto [at, fresh] = counts.emplace(key, TokenWords{});
    ++(fresh ? report.newTokens : report.knownTokens);
    report.changesCounts = report.changesCounts || fresh || words.spam != 0 || words.ham != 0;
    const std::int64_t spam = afterMerge(at->second.spam, words.spam, fresh);
    const std::int64_t ham = afterMerge(at->second.ham, words.ham, fresh);
    at->second.spam += words.spam;
    at->second.ham += words.ham;
    // Without a store, a difference that lowers a count cannot be told from a large count.
    if (!againstStore) {
        return;
    }
    if (spam < 0 || ham < 0) {
        report.wraps.push_back({rowName(number, key), "the counts become " + countsText(at->second) +
                                                          ": the store has less than the update takes away"});
    } else if (static_cast<std::uint64_t>(spam + ham) > largestSum) {
        report.wraps.push_back({rowName(number, key),
                                "the counts become " + countsText(at->second) + ": more than the engine can add up"});
    }
}

void inspectTokens(UpdateReport &report, Database &file, const std::filesystem::path &store)
{
    std::map<std::string, TokenWords> counts;
    if (!store.empty()) {
        for (const StoreRow &row : readStoreContents(store).rows) {
            if (row.key.kind == StoredValue::Kind::blob) {
                counts[row.key.bytes] = wordsOf(row);
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
    if (isTooLong(report, row, what, text)) {
        return false;
    }
    const std::optional<std::size_t> end = zeroUnitIn(text.bytes);
    if (!end) {
        report.problems.push_back({rowName(row), std::string("the ") + what + " is not ended by a zero unit"});
        return false;
    }
    const std::string fault = lengthFault(what, *end / 2);
    if (!fault.empty()) {
        report.problems.push_back({rowName(row), fault});
    }
    return fault.empty();
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
        const std::string stored = zeroEnded(row[0].bytes.substr(0, *zeroUnitIn(row[0].bytes)));
        if (stored == zeroEnded({})) {
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
                    path.string() + " is not an update file: it has neither the table diffProbTable nor diffWnTable");
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
