// Keys and values of a token store as text: in the text form of a store, and where a message names a token.
#ifndef VELQ_KIT_STORE_ROW_TEXT_H
#define VELQ_KIT_STORE_ROW_TEXT_H

#include "kit/store/store_file.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// The storage class and the exact content: null, integer:5, real:3fe0000000000000 (the bits of the double), text:6162,
// blob:2e52. And back; none for what is no such text.
std::string typedText(const StoredValue &value);
std::optional<StoredValue> typedValue(std::string_view text);

// Whether the key is a text of UTF-16 units.
bool isTextKey(const StoredValue &key);

// A key as the text form shows it; the prior's as .ROBX.
std::string keyText(const StoredValue &key);

// The counts of a usual value separated by tabs, at least `always` of them and no zeros at the end beyond; another
// value with its storage class.
std::string valueText(const StoredValue &value, int always);

// "12 spam, 3 ham"
std::string countsText(const TokenWords &words);

// Where a text was read, for the Error (badData) that each of the following throws for what is none.
struct TextPlace {
    const std::string &name;
    std::uint64_t line;
};

StoredValue keyOf(const TextPlace &place, std::string_view text);

// The fields behind the key or the header's word: one typed value, or `least` to 3 counts.
StoredValue valueOfFields(const TextPlace &place, const std::vector<std::string_view> &fields, std::size_t least);

} // namespace velq::kit

#endif
