// Differences of stores as the rows that a merge adds. The merge itself is the engine's; `merged` says here what it
// comes to.
#include "kit/store/probability_update.h"

#include "kit/store/row_text.h"

#include <algorithm>
#include <map>
#include <utility>

namespace velq::kit {

bool canBeDelivered(const StoredValue &key)
{
    return key.kind == StoredValue::Kind::blob && !key.bytes.empty() && key.bytes.size() % 2 == 0 &&
           !zeroUnitIn(key.bytes);
}

namespace {

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
    const TokenWords old = wordsOf(before);
    const TokenWords wanted = wordsOf(after);
    StoredValue result = before.value;
    if (old.spam != wanted.spam || old.ham != wanted.ham) {
        if (!canBeDelivered(after.key)) {
            difference.deviations.push_back(
                {keyText(after.key), "an update cannot hold this key: the counts stay " + countsText(old)});
            return;
        }
        difference.rows.push_back({after.key.bytes, {wanted.spam - old.spam, wanted.ham - old.ham, 0}});
        difference.lowered += wanted.spam < old.spam || wanted.ham < old.ham ? 1 : 0;
        difference.changesPrior = difference.changesPrior || isKey(after.key, priorKey());
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
    const TokenWords words = wordsOf(after);
    difference.rows.push_back({after.key.bytes, words});
    difference.changesPrior = difference.changesPrior || isKey(after.key, priorKey());
    ++difference.added;
    if (const std::string deviation = deviationOf(StoredValue::ofBlob(valueOf(words)), after.value);
        !deviation.empty()) {
        difference.deviations.push_back({keyText(after.key), deviation});
    }
}

void addRemoved(StoreDifference &difference, const StoreRow &before)
{
    const TokenWords old = wordsOf(before);
    const bool empty = old.spam == 0 && old.ham == 0;
    if (!empty && canBeDelivered(before.key) && hasWords(before.value)) {
        difference.rows.push_back({before.key.bytes, {0 - old.spam, 0 - old.ham, 0}});
        difference.changesPrior = difference.changesPrior || isKey(before.key, priorKey());
        ++difference.zeroed;
        ++difference.lowered;
        difference.deviations.push_back(
            {keyText(before.key),
             isKey(before.key, priorKey())
                 ? "the record cannot be removed; it is set to 0, which the engine reads as its default"
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
            const TokenWords old = wordsOf(row);
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
        stored.push_back({StoredValue::ofBlob(zeroEnded(row.key)), StoredValue::ofBlob(valueOf(row.words))});
    }
    writeDataFile(path, "prob-update", [&stored](Database &file) {
        writeRows(file, "INSERT INTO diffProbTable(key, value) VALUES(?, ?);", stored);
    });
}

} // namespace velq::kit
