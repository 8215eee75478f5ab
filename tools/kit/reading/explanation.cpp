// The rating's rules in their order, over read-only connections. The arithmetic is the text model's.
#include "kit/reading/explanation.h"

#include "kit/base/status.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

namespace velq::kit {

std::string_view stepName(DecidingStep step)
{
    static constexpr std::array<std::string_view, 8> names = {"black-list", "operator",   "white-list", "length",
                                                              "few-tokens", "classifier", "digit-run",  "short-text"};
    return names[static_cast<std::size_t>(step)];
}

// ---- Numbers

static constexpr std::size_t longestNarrowNumber = 39;
static constexpr std::size_t comparedCharacters = 11;

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

ListIndex::ListIndex(const std::filesystem::path &file, std::string table)
    : database_(file, DatabaseMode::read), table_(std::move(table)), version_(database_, "PRAGMA data_version;")
{
}

// As the list exports show it: last character of the key first, each byte sign-extended to a unit.
static std::string displayedNumber(const std::string &key)
{
    std::u16string units;
    std::transform(key.rbegin(), key.rend(), std::back_inserter(units),
                   [](char byte) { return static_cast<char16_t>(static_cast<signed char>(byte)); });
    return utf8FromUtf16(units);
}

static std::string nameOf(std::string_view blob)
{
    std::u16string units;
    for (std::size_t i = 0; i + 1 < blob.size(); i += 2) {
        const auto low = static_cast<unsigned char>(blob[i]);
        const auto high = static_cast<unsigned char>(blob[i + 1]);
        const auto unit = static_cast<char16_t>(low | (high << 8));
        if (unit == 0) {
            break;
        }
        units.push_back(unit);
    }
    return utf8FromUtf16(units);
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

// A prefix of eleven characters only stands for longer numbers: shorter keys are whole numbers.
std::optional<MatchedEntry> ListIndex::find(const std::string &key)
{
    version_.step();
    const std::int64_t version = version_.integer(0);
    version_.reset();
    if (version != loadedVersion_) {
        load();
        loadedVersion_ = version;
    }
    const auto found = entries_.find(key);
    return found == entries_.end() ? std::nullopt : std::optional(found->second);
}

// ---- Tokens

static std::string bytesOf(std::u16string_view units)
{
    std::string bytes;
    for (const char16_t unit : units) {
        bytes.push_back(static_cast<char>(unit & 0xFF));
        bytes.push_back(static_cast<char>(unit >> 8));
    }
    return bytes;
}

// One of the three words of a stored value; missing bytes are zero.
static std::uint32_t wordOf(std::string_view value, std::size_t index)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4 && index * 4 + i < value.size(); ++i) {
        word |= static_cast<std::uint32_t>(static_cast<unsigned char>(value[index * 4 + i])) << (8 * i);
    }
    return word;
}

Explainer::Explainer(const Installation &installation)
    : store_(installation.dataFile("prob.bin"), DatabaseMode::read),
      select_(store_, "SELECT value FROM velqTable WHERE key=? LIMIT 1;"),
      blackList_(installation.dataFile("bn.bin"), "blackList"), whiteList_(installation.dataFile("wn.bin"), "whiteList")
{
}

std::optional<TokenStats> Explainer::lookUp(std::u16string_view token)
{
    const std::string key = bytesOf(token);
    select_.bindBlob(1, key);
    std::optional<TokenStats> found;
    if (select_.step()) {
        const std::string_view value = select_.blob(0);
        found = TokenStats{.spam = wordOf(value, 0), .ham = wordOf(value, 1)};
    }
    select_.reset();
    return found;
}

double Explainer::prior()
{
    if (!prior_) {
        constexpr std::string_view key("\x2E\x52\x4F\x42\x58\x00", 6);
        constexpr double absent = 0.52;
        select_.bindBlob(1, key);
        const std::uint32_t millionths = select_.step() ? wordOf(select_.blob(0), 0) : 0;
        select_.reset();
        prior_ = millionths == 0 ? absent : millionths * 0.000001;
    }
    return *prior_;
}

// Longest match from left to right, as in segmentText, with the places of the tokens.
std::vector<ExplainedToken> Explainer::segment(std::u16string_view filtered)
{
    std::vector<ExplainedToken> tokens;
    std::size_t at = 0;
    while (at < filtered.size()) {
        std::size_t length = std::min(longestToken, filtered.size() - at);
        std::optional<TokenStats> counts;
        while (length >= shortestToken && !(counts = lookUp(filtered.substr(at, length)))) {
            --length;
        }
        if (!counts) {
            ++at;
            continue;
        }
        const std::u16string_view text = filtered.substr(at, length);
        const bool listed = std::ranges::find(tokens, text, &ExplainedToken::text) != tokens.end();
        if (!listed && tokens.size() < mostTokens) {
            tokens.push_back({.text = std::u16string(text), .position = at, .counts = *counts});
        }
        at += length;
    }
    return tokens;
}

void Explainer::readTokens(Explanation &explanation)
{
    const TokenStats messages = lookUp(u".MSG_CNT").value_or(TokenStats{});
    explanation.spamMessages = messages.spam;
    explanation.hamMessages = messages.ham;
    explanation.prior = prior();
    explanation.tokens = segment(explanation.filtered);
    for (ExplainedToken &token : explanation.tokens) {
        token.probability = tokenProbability(token.counts, messages.spam, messages.ham, explanation.prior);
        token.counted = probabilityCounts(token.probability);
    }
}

static ClassifierScore scoreOf(const Explanation &explanation)
{
    ClassifierScore score;
    double spamEvidence = 0;
    double hamEvidence = 0;
    for (const ExplainedToken &token : explanation.tokens) {
        if (token.counted) {
            spamEvidence -= std::log(1 - token.probability);
            hamEvidence -= std::log(token.probability);
            ++score.counted;
        }
    }
    if (score.counted > 0) {
        score.spamTail = chiSquareTail(score.counted, spamEvidence);
        score.hamTail = chiSquareTail(score.counted, hamEvidence);
    }
    score.spamicity = combineTails(score.counted, spamEvidence, hamEvidence, explanation.prior);
    return score;
}

// ---- The rules

static void decide(Explanation &explanation, DecidingStep step, Rating rating)
{
    explanation.step = step;
    explanation.rating = rating;
}

void Explainer::decideByText(Explanation &explanation)
{
    constexpr std::size_t fewestTokens = 3;
    if (explanation.filtered.size() <= longestUnread) {
        decide(explanation, DecidingStep::length, Rating::ham);
        return;
    }
    readTokens(explanation);
    if (explanation.tokens.size() < fewestTokens) {
        decide(explanation, DecidingStep::fewTokens, Rating::unsure);
        return;
    }
    explanation.score = scoreOf(explanation);
    if (explanation.score->spamicity >= spamCutoff) {
        decide(explanation, DecidingStep::classifier, Rating::spam);
    } else if (explanation.score->spamicity <= hamCutoff) {
        decide(explanation, DecidingStep::classifier, Rating::ham);
    } else if (hasDigitRun(explanation.filtered)) {
        decide(explanation, DecidingStep::digitRun, Rating::spam);
    } else if (explanation.filtered.size() <= longestBrief) {
        decide(explanation, DecidingStep::shortText, Rating::ham);
    } else {
        decide(explanation, DecidingStep::classifier, Rating::unsure);
    }
}

namespace {

// The store is read as it stands at one moment. Ended before the engine writes.
class ReadTransaction {
  public:
    explicit ReadTransaction(Database &database) : database_(database)
    {
        database_.exec("BEGIN;");
    }
    ~ReadTransaction()
    {
        try {
            database_.exec("COMMIT;");
        } catch (const Error &) {
            // Nothing was written; the next BEGIN reports a connection that is beyond use.
        }
    }
    ReadTransaction(const ReadTransaction &) = delete;
    ReadTransaction &operator=(const ReadTransaction &) = delete;

  private:
    Database &database_;
};

} // namespace

Explanation Explainer::explain(WideView body, WideView number, Depth depth)
{
    Explanation explanation;
    explanation.filtered = filterText(utf16FromWide(body));
    const ReadTransaction transaction(store_);
    const std::string key = matchKey(number);
    if ((explanation.entry = blackList_.find(key))) {
        decide(explanation, DecidingStep::blackList, Rating::spam);
    } else if (narrow(number).starts_with("10086")) {
        decide(explanation, DecidingStep::operatorRule, Rating::ham);
    } else if ((explanation.entry = whiteList_.find(key))) {
        decide(explanation, DecidingStep::whiteList, Rating::ham);
    } else {
        decideByText(explanation);
    }
    if (depth == Depth::allTokens && explanation.tokens.empty()) {
        readTokens(explanation);
    }
    return explanation;
}

std::string_view stepSentence(DecidingStep step)
{
    switch (step) {
    case DecidingStep::blackList:
        return "black list: the sender matches an entry";
    case DecidingStep::operatorRule:
        return "operator rule: the number begins with 10086";
    case DecidingStep::whiteList:
        return "white list: the sender matches an entry";
    case DecidingStep::length:
        return "length: the filtered text has at most 6 characters";
    case DecidingStep::fewTokens:
        return "too few tokens: the classifier needs 3";
    case DecidingStep::classifier:
        return "classifier: spam from 0.9 on, ham up to 0.45";
    case DecidingStep::digitRun:
        return "digit run: the classifier was unsure, and 7 or more digits stand together";
    case DecidingStep::shortText:
        return "short text: the classifier was unsure, and the filtered text has at most 20 characters";
    }
    return {};
}

} // namespace velq::kit
