// Look-ups by one prepared statement.
#include "kit/reading/stored_tokens.h"

namespace velq::kit {

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

} // namespace velq::kit
