// What the engine makes of each row, and what it would rather have.
#include "kit/store/store_check.h"

#include "kit/base/status.h"
#include "kit/reading/text_filter.h"
#include "kit/store/row_text.h"

#include <algorithm>
#include <utility>

namespace velq::kit {

namespace {

const char *kindName(StoredValue::Kind kind)
{
    switch (kind) {
    case StoredValue::Kind::null:
        return "null";
    case StoredValue::Kind::integer:
        return "an integer";
    case StoredValue::Kind::real:
        return "a real number";
    case StoredValue::Kind::text:
        return "text";
    case StoredValue::Kind::blob:
        return "a blob";
    }
    return "unknown";
}

// What keeps a row's value from being the three counts; empty for none.
std::string valueFault(const StoredValue &value)
{
    if (value.kind != StoredValue::Kind::blob) {
        return std::string("the value is ") + kindName(value.kind) + ", not a blob";
    }
    if (value.bytes.size() != valueBytes) {
        return "the value has " + std::to_string(value.bytes.size()) + " bytes instead of 12";
    }
    return {};
}

// What keeps a key from ever being looked up, or found in a message that went through the punctuation filter.
std::string keyFault(const StoredValue &key)
{
    if (key.kind != StoredValue::Kind::blob) {
        return std::string("the key is ") + kindName(key.kind) + ", not a blob: it is never found";
    }
    if (key.bytes.size() % 2 != 0) {
        return "the key has an odd number of bytes: it is never found";
    }
    const std::u16string units = unitsOfBytes(key.bytes);
    if (units == u".ROBX") {
        return "the prior is read only under the six bytes 2e524f425800, not under this key";
    }
    if (units.size() < shortestToken || units.size() > longestToken) {
        return "the key has " + std::to_string(units.size()) + " units; only 2 to 4 are looked up";
    }
    for (const char16_t unit : units) {
        if (unit == 0) {
            return "the key holds a zero unit: no message does";
        }
        if (filterText({&unit, 1}).empty()) {
            return "the key holds a character that messages lose before they are looked up";
        }
    }
    return {};
}

std::string countFault(const TokenWords &words)
{
    if (static_cast<std::uint64_t>(words.spam) + words.ham > largestSum) {
        return "the counts add up to more than 2147483647: the probability comes out wrong";
    }
    return {};
}

void checkSpecialRecords(const StoreContents &contents, std::vector<StoreProblem> &problems)
{
    const StoreRow *messages = findRow(contents, messageCountKey());
    if (messages == nullptr) {
        problems.push_back({".MSG_CNT", "the message counts are missing: no token has a probability"});
    } else {
        const TokenWords words = wordsOf(*messages);
        if (words.spam == 0 || words.ham == 0) {
            problems.push_back({".MSG_CNT", std::string("no ") + (words.spam == 0 ? "spam" : "ham") +
                                                " messages are counted: tokens of the other side have no probability"});
        }
        if (const std::string fault = valueFault(messages->value); !fault.empty()) {
            problems.push_back({".MSG_CNT", fault});
        }
    }
    if (const StoreRow *prior = findRow(contents, priorKey()); prior != nullptr) {
        if (wordsOf(*prior).spam > millionthsOfOne) {
            problems.push_back({".ROBX", "the prior is above 1"});
        }
        if (prior->value.kind != StoredValue::Kind::blob || prior->value.bytes.size() < 4) {
            problems.push_back({".ROBX", "the value is not a blob of 4 bytes or more"});
        }
    }
}

} // namespace

std::vector<StoreProblem> verifyContents(const StoreContents &contents)
{
    std::vector<StoreProblem> problems;
    checkSpecialRecords(contents, problems);
    for (const StoreRow &row : contents.rows) {
        if (isSpecialKey(row.key)) {
            continue;
        }
        for (const std::string &fault : {keyFault(row.key), valueFault(row.value), countFault(wordsOf(row))}) {
            if (!fault.empty()) {
                problems.push_back({keyText(row.key), fault});
            }
        }
    }
    return problems;
}

void checkKeysAreUnique(const StoreContents &contents, const std::string &name)
{
    if (const StoreRow *twice = findRepeated(contents)) {
        throw Error(Status::badData, name + ": the key " + keyText(twice->key) +
                                         " occurs twice, and one of its rows would be lost; build the store anew");
    }
}

static bool keysAreUnique(Database &file)
{
    return !readRows(file,
                     "SELECT 1 FROM pragma_index_list('velqTable') AS list WHERE list.\"unique\" = 1 AND "
                     "list.partial = 0 AND (SELECT group_concat(name) FROM pragma_index_info(list.name)) = 'key';")
                .empty();
}

// Adds what is found. Damage may show as an Error as well.
static void checkFile(Database &file, std::vector<StoreProblem> &problems)
{
    for (const StoredRow &row : readRows(file, "PRAGMA integrity_check;")) {
        if (row[0].bytes != "ok") {
            problems.push_back({"", row[0].bytes});
        }
    }
    if (!problems.empty()) {
        return; // what the rows say cannot be trusted
    }
    StoreContents contents = readStoreContents(file);
    if (!keysAreUnique(file)) {
        problems.push_back({"", "the keys of velqTable are not unique: training would add rows"});
    }
    if (!sortRows(contents)) {
        problems.push_back({"", "a key occurs twice: only one of its rows is found"});
    }
    for (StoreProblem &problem : verifyContents(contents)) {
        problems.push_back(std::move(problem));
    }
}

std::vector<StoreProblem> verifyStoreFile(const std::filesystem::path &path)
{
    std::vector<StoreProblem> problems;
    Database file(path, DatabaseMode::read);
    requireTokenTable(file);
    try {
        checkFile(file, problems);
    } catch (const Error &error) {
        if (error.status() != Status::badData) {
            throw;
        }
        problems.push_back({"", error.what()});
    }
    return problems;
}

StoreStatistics statisticsOf(const StoreContents &contents)
{
    StoreStatistics statistics;
    const Store model = modelOf(contents);
    if (const StoreRow *messages = findRow(contents, messageCountKey())) {
        statistics.hasMessageCounts = true;
        statistics.spamMessages = wordsOf(*messages).spam;
        statistics.hamMessages = wordsOf(*messages).ham;
    }
    if (model.priorMillionths != 0) {
        statistics.priorMillionths = model.priorMillionths;
    }
    const StoreTotals totals = totalsOf(model);
    for (const StoreRow &row : contents.rows) {
        if (!isTokenKey(row.key)) {
            statistics.otherRows += isSpecialKey(row.key) ? 0 : 1;
            continue;
        }
        const std::u16string units = unitsOfBytes(row.key.bytes);
        const TokenWords words = wordsOf(row);
        ++statistics.tokens;
        ++statistics.tokensOfLength[units.size() - shortestToken];
        statistics.withReserved += words.reserved != 0 ? 1 : 0;
        statistics.largestCount = std::max({statistics.largestCount, words.spam, words.ham});
        statistics.digitsOnly +=
            std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit >= u'0' && unit <= u'9'; }) ? 1 : 0;
        statistics.asciiOnly +=
            std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x80; }) ? 1 : 0;
        const double probability = tokenProbability({words.spam, words.ham}, totals);
        if (words.spam == 0 && words.ham == 0) {
            ++statistics.withoutCounts;
        } else if (!probabilityCounts(probability)) {
            ++statistics.neutral;
        } else {
            ++(probability > 0.5 ? statistics.spamSide : statistics.hamSide);
        }
    }
    return statistics;
}

} // namespace velq::kit
