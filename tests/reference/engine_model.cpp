// Transactions are copies: an operation that can fail works on a copy of its store and puts it back only on success.
#include "engine_model.h"

#include <algorithm>

namespace velq::reference {

namespace {

constexpr std::int32_t success = 0;
constexpr std::int32_t failed = -2;
constexpr std::int32_t batchFailed = -8;
constexpr std::int32_t badBatchArgument = -9;

constexpr std::size_t longestText = 29;
constexpr std::size_t longestUpdatePath = 255;
constexpr std::size_t tokenValueSize = 12;
constexpr std::size_t shortBody = 6;
constexpr std::size_t shortUnsureBody = 20;
constexpr unsigned tooFewTokens = 2;
constexpr std::string_view operatorPrefix = "10086";

WideText textOrEmpty(const TextArgument &argument)
{
    return argument.value_or(WideText());
}

bool isAcceptable(const TextArgument &number, const TextArgument &name)
{
    return number && number->size() <= longestText && textOrEmpty(name).size() <= longestText;
}

bool isFlag(std::int32_t hidden)
{
    return hidden == 0 || hidden == 1;
}

bool isFilter(std::int32_t hidden)
{
    return hidden == -1 || isFlag(hidden);
}

bool passes(const NumberEntry &entry, std::int32_t hidden)
{
    return hidden == -1 || entry.hidden == Value::ofInteger(hidden);
}

void append(NumberTable &table, const Value &hidden, const Value &number, const Value &name, const Value &extendID)
{
    ++table.lastUid;
    table.entries.push_back({table.lastUid, hidden, number, name, extendID});
}

Value storedText(const std::string &key)
{
    return Value::ofText(key + std::string(1, '\0'));
}

Value storedName(const TextArgument &name)
{
    return Value::ofBlob(test::utf16BytesWithTerminator(textOrEmpty(name)));
}

// The units before the first zero unit; none when the bytes hold no zero unit.
std::optional<WideText> terminatedText(const std::string &bytes)
{
    const WideText units = test::fromUtf16Bytes(bytes.substr(0, bytes.size() - bytes.size() % 2));
    const std::size_t end = units.find(VELQ_WideChar{});
    if (end == WideText::npos) {
        return std::nullopt;
    }
    return units.substr(0, end);
}

WideText textUpToZero(const std::string &bytes)
{
    const WideText units = test::fromUtf16Bytes(bytes.substr(0, bytes.size() - bytes.size() % 2));
    return units.substr(0, units.find(VELQ_WideChar{}));
}

ShownNumber shown(const NumberEntry &entry)
{
    return {displayedNumber(storedKey(entry.number).value_or("")), textUpToZero(entry.name.bytes),
            static_cast<std::int32_t>(entry.extendID.integer)};
}

} // namespace

std::optional<std::string> storedKey(const Value &number)
{
    switch (number.kind) {
    case Value::Kind::null:
        return std::nullopt;
    case Value::Kind::integer:
        return std::to_string(number.integer);
    default:
        return number.bytes.substr(0, number.bytes.find('\0'));
    }
}

// ---- Rating and feedback ----

bool EngineModel::isListed(NumberList list, const std::string &key) const
{
    const auto &entries = tableOf(list).entries;
    return std::any_of(entries.begin(), entries.end(), [&key](const NumberEntry &entry) {
        const std::optional<std::string> stored = storedKey(entry.number);
        return stored && numbersMatch(*stored, key);
    });
}

void EngineModel::registerMessage(Training operation, const WideText &body)
{
    train(operation, segment(filterMessageBody(body), stores.tokens), stores.tokens);
}

RatedMessage EngineModel::rate(const TextArgument &bodyArgument, const TextArgument &numberArgument)
{
    const WideText body = textOrEmpty(bodyArgument);
    const WideText number = textOrEmpty(numberArgument);
    const std::string key = numberKey(number);
    if (isListed(NumberList::black, key)) {
        registerMessage(Training::addSpam, body);
        return {Verdict::spam, RatedBy::blackList, {}, {}, {}};
    }
    if (narrowNumber(number).substr(0, operatorPrefix.size()) == operatorPrefix) {
        return {Verdict::ham, RatedBy::operatorRule, {}, {}, {}};
    }
    if (isListed(NumberList::white, key)) {
        registerMessage(Training::addHam, body);
        return {Verdict::ham, RatedBy::whiteList, {}, {}, {}};
    }
    const WideText filtered = filterMessageBody(body);
    if (filtered.size() <= shortBody) {
        return {Verdict::ham, RatedBy::length, filtered, {}, {}};
    }
    return rateByText(filtered);
}

RatedMessage EngineModel::rateByText(const WideText &filtered)
{
    const Segmentation segmentation = segment(filtered, stores.tokens);
    if (segmentation.count <= tooFewTokens) {
        return {Verdict::unsure, RatedBy::tooFewTokens, filtered, segmentation, {}};
    }
    const Score score = check(segmentation, stores.tokens, *loaded_);
    RatedMessage result{score.verdict, RatedBy::classifier, filtered, segmentation, score};
    if (score.verdict == Verdict::unsure && hasTelNumber(filtered)) {
        result.rating = Verdict::spam;
        result.by = RatedBy::digitRun;
    } else if (score.verdict == Verdict::unsure && filtered.size() <= shortUnsureBody) {
        result.rating = Verdict::ham;
        result.by = RatedBy::shortText;
    }
    if (result.rating == Verdict::spam) {
        train(Training::addSpam, segmentation, stores.tokens);
    }
    return result;
}

std::int32_t EngineModel::setAsHam(const TextArgument &body, const TextArgument &number)
{
    registerMessage(Training::removeSpam, textOrEmpty(body));
    registerMessage(Training::addHam, textOrEmpty(body));
    return removeNumber(NumberList::black, {number, std::nullopt});
}

std::int32_t EngineModel::setAsSpam(const TextArgument &body)
{
    registerMessage(Training::removeHam, textOrEmpty(body));
    registerMessage(Training::addSpam, textOrEmpty(body));
    return success;
}

// ---- Number lists ----

void EngineModel::removeMatching(NumberList list, const std::string &key)
{
    std::erase_if(tableOf(list).entries, [&key](const NumberEntry &entry) {
        const std::optional<std::string> stored = storedKey(entry.number);
        return stored && numbersMatch(*stored, key);
    });
}

std::int32_t EngineModel::addNumber(NumberList list, const NumberArgument &record, std::int32_t hidden,
                                    std::int32_t extendID)
{
    if (!isAcceptable(record.number, record.name)) {
        return failed;
    }
    const std::string key = numberKey(*record.number);
    removeMatching(list == NumberList::white ? NumberList::black : NumberList::white, key);
    if (!isFlag(hidden)) {
        return failed;
    }
    if (!isListed(list, key)) {
        append(tableOf(list), Value::ofInteger(hidden), storedText(key), storedName(record.name),
               Value::ofInteger(extendID));
    }
    return success;
}

std::int32_t EngineModel::addWhiteNumbers(const std::vector<NodeArgument> &nodes, std::int32_t hidden)
{
    if (!isFlag(hidden) || nodes.empty()) {
        return badBatchArgument;
    }
    const bool acceptable = std::all_of(nodes.begin(), nodes.end(),
                                        [](const NodeArgument &node) { return isAcceptable(node.number, node.name); });
    if (!acceptable) {
        return batchFailed;
    }
    for (const NodeArgument &node : nodes) {
        append(stores.white, Value::ofInteger(hidden), storedText(numberKey(*node.number)), storedName(node.name),
               Value::ofInteger(node.extendID));
    }
    return success;
}

std::int32_t EngineModel::removeNumber(NumberList list, const NumberArgument &record)
{
    if (!isAcceptable(record.number, record.name)) {
        return failed;
    }
    removeMatching(list, numberKey(*record.number));
    return success;
}

std::int32_t EngineModel::removeAll(NumberList list, std::int32_t hidden)
{
    if (!isFilter(hidden)) {
        return failed;
    }
    std::erase_if(tableOf(list).entries, [hidden](const NumberEntry &entry) { return passes(entry, hidden); });
    return success;
}

std::int32_t EngineModel::deleteByUid(NumberList list, std::int32_t uid)
{
    std::erase_if(tableOf(list).entries, [uid](const NumberEntry &entry) { return entry.uid == uid; });
    return success;
}

std::int32_t EngineModel::deleteByExtendID(NumberList list, std::int32_t extendID)
{
    std::erase_if(tableOf(list).entries,
                  [extendID](const NumberEntry &entry) { return entry.extendID == Value::ofInteger(extendID); });
    return success;
}

std::optional<std::vector<ShownNumber>> EngineModel::numbers(NumberList list, std::int32_t hidden) const
{
    if (!isFilter(hidden)) {
        return std::nullopt;
    }
    std::vector<ShownNumber> out;
    for (const NumberEntry &entry : tableOf(list).entries) {
        if (passes(entry, hidden)) {
            out.push_back(shown(entry));
        }
    }
    return out;
}

std::optional<std::vector<std::int32_t>> EngineModel::uids(NumberList list, std::int32_t hidden) const
{
    if (!isFilter(hidden)) {
        return std::nullopt;
    }
    std::vector<std::int32_t> out;
    for (const NumberEntry &entry : tableOf(list).entries) {
        if (passes(entry, hidden)) {
            out.push_back(static_cast<std::int32_t>(entry.uid));
        }
    }
    return out;
}

std::optional<ShownNumber> EngineModel::readByUid(NumberList list, std::int32_t uid) const
{
    for (const NumberEntry &entry : tableOf(list).entries) {
        if (entry.uid == uid) {
            ShownNumber number = shown(entry);
            number.extendID = 0;
            return number;
        }
    }
    return std::nullopt;
}

std::int32_t EngineModel::count(NumberList list) const
{
    return static_cast<std::int32_t>(tableOf(list).entries.size());
}

// ---- Updates ----

bool mergeProbabilities(const ProbabilityUpdate &update, Tokens &tokens)
{
    if (!update.usable) {
        return false;
    }
    Tokens merged = tokens;
    for (const test::ProbabilityRow &row : update.rows) {
        const std::optional<WideText> key = terminatedText(row.key.bytes);
        if (!key || row.value.bytes.size() < tokenValueSize) {
            return false;
        }
        const TokenCounts delivered = test::tokenCountsOf(row.value.bytes);
        const std::string keyBytes = test::utf16Bytes(*key);
        TokenCounts sum = delivered;
        if (merged.count(keyBytes) != 0) {
            sum = readCounts(merged, keyBytes);
            sum.spam += delivered.spam;
            sum.ham += delivered.ham;
        }
        merged[keyBytes] = Value::ofBlob(test::tokenValueBytes(sum));
    }
    tokens = merged;
    return true;
}

bool mergeWhiteNumbers(const WhiteNumberUpdate &update, NumberTable &white)
{
    if (!update.usable) {
        return false;
    }
    NumberTable merged = white;
    bool lastWasPresent = false;
    for (const test::WhiteNumberRow &row : update.rows) {
        const std::optional<WideText> number = terminatedText(row.number.bytes);
        const std::optional<WideText> name = terminatedText(row.name.bytes);
        if (!number || !name || number->size() > longestText || name->size() > longestText) {
            return false;
        }
        const Value stored = Value::ofBlob(test::utf16BytesWithTerminator(*number));
        lastWasPresent = std::any_of(merged.entries.begin(), merged.entries.end(),
                                     [&stored](const NumberEntry &entry) { return entry.number == stored; });
        if (!lastWasPresent) {
            append(merged, Value::ofInteger(1), stored, storedName(*name), Value::ofNull());
        }
    }
    // A run that ends on a number already there is undone as a whole.
    if (lastWasPresent) {
        return false;
    }
    white = merged;
    return true;
}

std::int32_t EngineModel::recordVersion(std::int32_t command, std::int32_t version)
{
    const auto row = stores.versions.find(command);
    if (row != stores.versions.end()) {
        row->second = Value::ofInteger(version);
    }
    return success;
}

std::int32_t EngineModel::version(std::int32_t command) const
{
    const auto row = stores.versions.find(command);
    return row == stores.versions.end() ? 0 : static_cast<std::int32_t>(row->second.integer);
}

std::int32_t EngineModel::update(const std::optional<ProbabilityUpdate> &probability,
                                 const std::optional<WhiteNumberUpdate> &whiteNumbers)
{
    if (!probability && !whiteNumbers) {
        return failed;
    }
    if ((probability && probability->pathLength > longestUpdatePath) ||
        (whiteNumbers && whiteNumbers->pathLength > longestUpdatePath)) {
        return failed;
    }
    std::int32_t result = success;
    if (probability) {
        const bool merged = mergeProbabilities(*probability, stores.tokens);
        result = merged ? recordVersion(VELQ_DATA_PROBABILITY, probability->version) : failed;
    }
    if (whiteNumbers) {
        const bool merged = mergeWhiteNumbers(*whiteNumbers, stores.white);
        result = merged ? recordVersion(VELQ_DATA_WHITE_NUMBERS, whiteNumbers->version) : failed;
    }
    return result;
}

} // namespace velq::reference
