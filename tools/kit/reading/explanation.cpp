// The rating's steps in their order, over read-only connections.
#include "kit/reading/explanation.h"

#include "kit/base/status.h"
#include "kit/reading/text_filter.h"

namespace velq::kit {

// ---- The token store ----------------------------------------------------------------------------------------------

StoredTokens::StoredTokens(const std::filesystem::path &file)
    : store_(file, DatabaseMode::read), select_(store_, "SELECT value FROM velqTable WHERE key=? LIMIT 1;")
{
}

std::optional<TokenWords> StoredTokens::lookUp(std::string_view key)
{
    select_.bindBlob(1, key);
    std::optional<TokenWords> found;
    if (select_.step()) {
        found = wordsOf(select_.blob(0));
    }
    select_.reset();
    return found;
}

StoreTotals StoredTokens::totals()
{
    const TokenWords messages = lookUp(messageCountKey()).value_or(TokenWords{});
    if (!prior_) {
        prior_ = priorOf(lookUp(priorKey()).value_or(TokenWords{}).spam);
    }
    return {messages.spam, messages.ham, *prior_};
}

std::optional<TokenStats> StoredTokens::find(PackedToken token)
{
    const std::optional<TokenWords> words = lookUp(bytesOfUnits(unpackToken(token)));
    return words ? std::optional(TokenStats{words->spam, words->ham}) : std::nullopt;
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

// ---- The steps ----------------------------------------------------------------------------------------------------

Explainer::Explainer(const Installation &installation)
    : tokens_(installation.dataFile("prob.bin")), blackList_(installation.dataFile("bn.bin"), "blackList"),
      whiteList_(installation.dataFile("wn.bin"), "whiteList")
{
}

Explanation Explainer::explain(WideView body, WideView number, Depth depth)
{
    Explanation explanation;
    Reading &reading = explanation;
    explanation.filtered = filterText(utf16FromWide(body));
    const ReadTransaction transaction(tokens_.database());
    const std::string key = matchKey(number);
    if ((explanation.entry = blackList_.find(key))) {
        decide(reading, DecidingStep::blackList, Rating::spam);
    } else if (isOperatorNumber(number)) {
        decide(reading, DecidingStep::operatorRule, Rating::ham);
    } else if ((explanation.entry = whiteList_.find(key))) {
        decide(reading, DecidingStep::whiteList, Rating::ham);
    } else {
        reading = readMessage(explanation.filtered, tokens_);
    }
    if (depth == Depth::allTokens && reading.tokens.empty()) {
        readTokens(reading, explanation.filtered, tokens_);
    }
    return explanation;
}

} // namespace velq::kit
