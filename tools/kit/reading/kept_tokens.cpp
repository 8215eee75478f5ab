// What is kept is right for one state of the file; each reading asks which state that is in.
#include "kit/reading/kept_tokens.h"

#include <algorithm>
#include <iterator>

namespace velq::kit {

// Stores with more rows are read by look-ups.
static constexpr std::size_t mostKept = 200'000;

// As many rows as the file may have.
static std::size_t mostRows(Database &file)
{
    constexpr std::int64_t leastRowBytes = 20;
    return static_cast<std::size_t>(file.integer("PRAGMA page_count;") * file.integer("PRAGMA page_size;") /
                                    leastRowBytes);
}

// Whether an owner's trigger may change what no training is told to.
static bool changesMore(Database &file)
{
    return file.integer("SELECT count(*) FROM sqlite_master WHERE type = 'trigger';") != 0;
}

KeptTokens::KeptTokens(const std::filesystem::path &file) : store_(file), watch_(store_.database()) {}

StoreTotals KeptTokens::totals()
{
    const std::optional<FileState> before = watch_.state();
    readsKept_ = kept_ && before == keptState_;
    if (!readsKept_) {
        if (!transaction_) {
            transaction_.emplace(store_.database());
        }
        const StoreTotals totals = store_.totals(); // the transaction has its state of the file from here on
        settle(before, totals);
        if (!kept_) {
            return totals;
        }
        readsKept_ = true;
    }
    trained_.clear();
    return *kept_;
}

// Brings what is kept to the state that is being read, or drops it.
void KeptTokens::settle(const std::optional<FileState> &before, const StoreTotals &totals)
{
    watch_.follow();
    const bool isSteady = before && watch_.state() == before; // and so the one that the transaction has
    if (kept_ && !(isSteady && isTrained(*before, totals))) {
        kept_.reset();
        lookUps_ = 0;
        othersWrite_ = true;
        othersWrote_ = std::chrono::steady_clock::now();
    }
    if (!kept_ && isSteady && lookUps_ >= enoughLookUps_) {
        enoughLookUps_ = mostRows(store_.database());
        if (lookUps_ >= enoughLookUps_) {
            lookUps_ = 0;
            if (enoughLookUps_ <= mostKept && !changesMore(store_.database())) {
                load(*before, totals);
            }
        }
    }
}

// One transaction has been committed, and it was the engine's training.
bool KeptTokens::isTrained(const FileState &now, const StoreTotals &totals)
{
    const bool isNext = now.commits == keptState_.commits + 1 && totals.spamMessages == kept_->spamMessages + 1 &&
                        totals.hamMessages == kept_->hamMessages;
    constexpr std::chrono::seconds untilAlone{10};
    othersWrite_ = othersWrite_ && std::chrono::steady_clock::now() - othersWrote_ < untilAlone;
    if (!isNext || trained_.empty() || othersWrite_) {
        return false;
    }
    for (const PackedToken token : trained_) {
        TokenStats &counts = kept_->tokens[token];
        ++counts.spam;
        if (store_.find(token) != counts) {
            return false;
        }
    }
    static_cast<StoreTotals &>(*kept_) = totals;
    keptState_ = now;
    return true;
}

void KeptTokens::load(const FileState &now, const StoreTotals &totals)
{
    StoreIndex index{totals, {}};
    Query query(store_.database(), "SELECT key, value FROM velqTable;");
    while (query.step()) {
        const std::string_view key = query.blob(0);
        if (query.isBlob(0) && isTokenKey(key) && !zeroUnitIn(key)) {
            const TokenWords words = wordsOf(query.blob(1));
            index.tokens.try_emplace(packToken(unitsOfBytes(key)), TokenStats{words.spam, words.ham});
        }
    }
    kept_ = std::move(index);
    keptState_ = now;
}

std::optional<TokenStats> KeptTokens::find(PackedToken token)
{
    if (!readsKept_) {
        ++lookUps_;
        return store_.find(token);
    }
    const auto found = kept_->tokens.find(token);
    return found == kept_->tokens.end() ? std::nullopt : std::optional(found->second);
}

void KeptTokens::end()
{
    transaction_.reset();
}

void KeptTokens::willBeTrained(const std::vector<ReadToken> &tokens)
{
    trained_.clear();
    if (readsKept_) {
        std::ranges::transform(tokens, std::back_inserter(trained_), &ReadToken::token);
    }
}

} // namespace velq::kit
