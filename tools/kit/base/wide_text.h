// Conversions between UTF-8, the interface's wide text and UTF-16 strings. Holds where the wide unit is char16_t and
// where it is a 16-bit wchar_t.
#ifndef VELQ_KIT_BASE_WIDE_TEXT_H
#define VELQ_KIT_BASE_WIDE_TEXT_H

#include "velq.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace velq::kit {

static_assert(sizeof(VELQ_WideChar) == sizeof(char16_t));

using WideText = std::basic_string<VELQ_WideChar>;
using WideView = std::basic_string_view<VELQ_WideChar>;

// The offset of the first byte that is not UTF-8 (overlong forms and surrogates are not); none for sound text.
std::optional<std::size_t> firstInvalidByte(std::string_view text);

// None when `text` is not UTF-8.
std::optional<WideText> wideFromUtf8(std::string_view text);
std::optional<std::u16string> utf16FromUtf8(std::string_view text);

// Of bytes with the high one of each unit first. None for half a unit at the end.
std::optional<WideText> wideFromUtf16HighByteFirst(std::string_view bytes);

// The same as wideFromUtf8 for text from the command line: throws Error (usage) that names `what` when it is not UTF-8.
WideText wideArgument(std::string_view text, std::string_view what);

// A lone surrogate becomes U+FFFD.
std::string utf8FromUtf16(std::u16string_view text);
std::string utf8FromWide(WideView text);
// Null is empty.
std::string utf8FromWide(const VELQ_WideChar *text);

std::u16string utf16FromWide(WideView text);
WideText wideFromUtf16(std::u16string_view text);

// Text that is safe in one line of a terminal: each control character becomes a blank.
std::string oneLine(std::string_view text);

} // namespace velq::kit

#endif
