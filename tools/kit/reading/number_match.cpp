// Numbers as the engine compares them, and the lists' rows by that form.
#include "kit/reading/number_match.h"

#include "kit/reading/token_format.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace velq::kit {

static constexpr std::size_t longestNarrowNumber = 39;

static std::string narrow(WideView number)
{
    std::string bytes;
    for (const VELQ_WideChar unit : number.substr(0, longestNarrowNumber)) {
        const auto byte = static_cast<char>(unit & 0xFF);
        if (byte == '\0') {
            break;
        }
        bytes.push_back(byte);
    }
    return bytes;
}

std::string matchKey(WideView number)
{
    const std::string bytes = narrow(number);
    return std::string(bytes.rbegin(), bytes.rend()).substr(0, comparedCharacters);
}

bool isOperatorNumber(WideView number)
{
    return narrow(number).starts_with("10086");
}

ListIndex::ListIndex(const std::filesystem::path &file, std::string table)
    : database_(file, DatabaseMode::read), watch_(database_), table_(std::move(table)),
      version_(database_, "PRAGMA data_version;")
{
}

std::string displayedNumber(std::string_view key)
{
    std::u16string units;
    std::transform(key.rbegin(), key.rend(), std::back_inserter(units),
                   [](char byte) { return static_cast<char16_t>(static_cast<signed char>(byte)); });
    return utf8FromUtf16(units);
}

static std::string nameOf(std::string_view stored)
{
    return utf8FromUtf16(unitsOfBytes(stored.substr(0, zeroUnitIn(stored).value_or(stored.size()))));
}

void ListIndex::load()
{
    entries_.clear();
    Query query(database_, "SELECT uid, number, name FROM " + table_ + ";");
    while (query.step()) {
        const std::string_view stored = query.text(1);
        const std::string key(stored.substr(0, stored.find('\0')));
        if (!key.empty()) {
            const MatchedEntry entry{displayedNumber(key), nameOf(query.blob(2)), query.integer(0)};
            entries_.try_emplace(key.substr(0, comparedCharacters), entry);
        }
    }
}

// Takes the file's lock as the engine does when it asks the list.
void ListIndex::refresh()
{
    const std::optional<FileState> before = watch_.state();
    const ReadTransaction transaction(database_);
    version_.step();
    const std::int64_t version = version_.integer(0);
    version_.reset();
    if (version != loadedVersion_) {
        load();
        loadedVersion_ = version;
    }
    watch_.follow();
    loadedState_ = watch_.state() == before ? before : std::nullopt;
}

// A prefix of eleven characters only stands for longer numbers: shorter keys are whole numbers.
std::optional<MatchedEntry> ListIndex::find(const std::string &key)
{
    const std::optional<FileState> now = watch_.state();
    if (!now || now != loadedState_) {
        refresh();
    }
    const auto found = entries_.find(key);
    return found == entries_.end() ? std::nullopt : std::optional(found->second);
}

} // namespace velq::kit
