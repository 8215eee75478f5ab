// The record is JSON with the keys as the text form of a store shows them.
#include "kit/store/correction.h"

#include "kit/base/output.h"
#include "kit/base/status.h"
#include "kit/base/utc_time.h"
#include "kit/reading/text_filter.h"
#include "kit/store/row_text.h"
#include "kit/store/store_file.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>

namespace velq::kit {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

MessageCounts countsOf(StoredTokens &store, WideView body)
{
    const std::u16string filtered = filterText(utf16FromWide(body));
    Reading reading;
    readTokens(reading, filtered, store);
    MessageCounts counts;
    for (const ReadToken &token : reading.tokens) {
        counts[bytesOfUnits(token.text())] = {token.counts.spam, token.counts.ham, 0};
    }
    counts[std::string(messageCountKey())] = {reading.totals.spamMessages, reading.totals.hamMessages, 0};
    return counts;
}

void Correction::add(const MessageCounts &before, const MessageCounts &after)
{
    for (const auto &[key, words] : before) {
        const auto found = after.find(key);
        if (found == after.end()) {
            continue;
        }
        const std::int64_t spam = std::int64_t{found->second.spam} - words.spam;
        const std::int64_t ham = std::int64_t{found->second.ham} - words.ham;
        if (spam != 0 || ham != 0) {
            CountChange &change = changes[key];
            change.spam += spam;
            change.ham += ham;
        }
    }
}

void Correction::add(const Correction &later)
{
    for (const auto &[key, change] : later.changes) {
        CountChange &sum = changes[key];
        sum.spam += change.spam;
        sum.ham += change.ham;
    }
    verdict = later.verdict;
    messages = later.messages;
}

// ---- The record ---------------------------------------------------------------------------------------------------

CorrectionRecord::CorrectionRecord(const Installation &installation)
    : path_(installation.programFolder() / "last-mark.json")
{
}

std::string correctionText(const Correction &correction)
{
    Json counts = Json::array();
    for (const auto &[key, change] : correction.changes) {
        counts.push_back({{"key", keyText(StoredValue::ofBlob(key))}, {"spam", change.spam}, {"ham", change.ham}});
    }
    const Json record{
        {"time", timeInUtc()}, {"verdict", correction.verdict}, {"messages", correction.messages}, {"changes", counts}};
    return record.dump() + "\n";
}

Correction correctionOf(const std::string &text, const std::string &name)
{
    try {
        const Json record = Json::parse(text);
        Correction correction;
        correction.verdict = record.at("verdict").get<std::string>();
        correction.messages = record.at("messages").get<std::uint64_t>();
        for (const Json &count : record.at("changes")) {
            const StoredValue key = keyOf({name, 1}, count.at("key").get<std::string>());
            correction.changes[key.bytes] = {count.at("spam").get<std::int64_t>(), count.at("ham").get<std::int64_t>()};
        }
        return correction;
    } catch (const nlohmann::json::exception &) {
        throw Error(Status::badData,
                    name + " is damaged, so the last correction cannot be taken back; remove the file");
    }
}

void CorrectionRecord::write(const Correction &correction) const
{
    writeTextFile(path_, correctionText(correction));
}

void CorrectionRecord::remove() const
{
    std::error_code code;
    fs::remove(path_, code);
    if (code) {
        throw Error(Status::cannotCreate,
                    "cannot remove " + path_.string() + ": " + code.message() + "; check its permissions");
    }
}

std::optional<Correction> CorrectionRecord::read() const
{
    std::ifstream in(path_, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    return correctionOf(text, path_.string());
}

// ---- Taking back --------------------------------------------------------------------------------------------------

static std::uint32_t without(std::uint32_t count, std::int64_t change)
{
    return static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(std::int64_t{count} - change, 0, std::numeric_limits<std::uint32_t>::max()));
}

void takeBack(const Correction &correction, const fs::path &store)
{
    Database file(store, DatabaseMode::write);
    file.exec("BEGIN IMMEDIATE;");
    Query select(file, "SELECT value FROM velqTable WHERE key = ?;");
    Query update(file, "UPDATE velqTable SET value = ? WHERE key = ?;");
    for (const auto &[key, change] : correction.changes) {
        select.bindBlob(1, key);
        const bool found = select.step();
        const StoredValue value = found ? StoredValue::ofBlob(select.blob(0)) : StoredValue();
        select.reset();
        if (!found) {
            continue;
        }
        const TokenWords words = wordsOf(value.bytes);
        const StoredValue restored =
            withCounts(value, without(words.spam, change.spam), without(words.ham, change.ham));
        update.bindBlob(1, restored.bytes);
        update.bindBlob(2, key);
        update.step();
        update.reset();
    }
    file.exec("COMMIT;");
}

} // namespace velq::kit
