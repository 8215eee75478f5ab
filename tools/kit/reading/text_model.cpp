// Readings by a hash table of tokens.
#include "kit/reading/text_model.h"

#include <optional>

namespace velq::kit {

namespace {

// The index as readings ask it.
struct IndexedTokens {
    const StoreIndex &index;

    const StoreTotals &totals() const
    {
        return index;
    }
    const TokenStats *find(PackedToken token) const
    {
        const auto found = index.tokens.find(token);
        return found == index.tokens.end() ? nullptr : &found->second;
    }
};

} // namespace

StoreTotals totalsOf(const Store &store)
{
    return {store.spamMessages, store.hamMessages, priorOf(store.priorMillionths)};
}

StoreIndex indexStore(const Store &store)
{
    StoreIndex index{totalsOf(store), {}};
    index.tokens.reserve(store.tokens.size());
    for (const auto &[text, counts] : store.tokens) {
        index.tokens.emplace(packToken(text), counts);
    }
    return index;
}

std::vector<PackedToken> segmentText(const StoreIndex &index, std::u16string_view filtered)
{
    std::vector<PackedToken> tokens;
    const auto tokenAt = [&index, filtered](std::size_t at, std::size_t length) {
        const PackedToken packed = packToken(filtered.substr(at, length));
        return index.tokens.contains(packed) ? std::optional(packed) : std::nullopt;
    };
    addLongestMatches(tokens, filtered.size(), tokenAt);
    return tokens;
}

Reading rateFiltered(const StoreIndex &index, std::u16string_view filtered)
{
    const IndexedTokens tokens{index};
    return readMessage(filtered, tokens);
}

Reading rateText(const Store &store, std::u16string_view body)
{
    return rateFiltered(indexStore(store), filterText(body));
}

void trainFiltered(StoreIndex &index, std::u16string_view filtered, bool spam)
{
    for (const PackedToken token : segmentText(index, filtered)) {
        TokenStats &counts = index.tokens.find(token)->second;
        ++(spam ? counts.spam : counts.ham);
    }
    ++(spam ? index.spamMessages : index.hamMessages);
}

} // namespace velq::kit
