// A token store as a plain record, and messages read by it in memory. It serves to build and to judge stores without an
// installation.
//
// Left to others: the number lists (a message is read as from a number on no list), the store's file form, and every
// published rating, which comes from the engine itself.
#ifndef VELQ_KIT_READING_TEXT_MODEL_H
#define VELQ_KIT_READING_TEXT_MODEL_H

#include "kit/reading/message_reading.h"
#include "kit/reading/text_filter.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

struct Store {
    std::map<std::u16string, TokenStats, std::less<>> tokens; // 2 to 4 units each
    std::uint32_t spamMessages = 0;
    std::uint32_t hamMessages = 0;
    std::uint32_t priorMillionths = 0; // 0: no record, and the engine takes its own

    friend bool operator==(const Store &, const Store &) = default;
};

StoreTotals totalsOf(const Store &store);

// A store made ready for reading many messages.
struct StoreIndex : StoreTotals {
    TokenTable<TokenStats> tokens;
};

StoreIndex indexStore(const Store &store);

// The distinct tokens of the longest match from left to right, at most `mostTokens`, in the order of the text.
std::vector<PackedToken> segmentText(const StoreIndex &index, std::u16string_view filtered);

Reading rateFiltered(const StoreIndex &index, std::u16string_view filtered);
Reading rateText(const Store &store, std::u16string_view body);

// What the engine's training does to the counts: adds the message to one class.
void trainFiltered(StoreIndex &index, std::u16string_view filtered, bool spam);

} // namespace velq::kit

#endif
