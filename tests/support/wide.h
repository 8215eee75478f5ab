// Wide text for tests: conversions between UTF-8, the interface's UTF-16 units and the UTF-16LE bytes of the data
// files. Literals are written with VELQ_TEXT, so that the tests also hold where the unit is wchar_t.
#ifndef VELQ_TEST_SUPPORT_WIDE_H
#define VELQ_TEST_SUPPORT_WIDE_H

#include "velq.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace velq::test {

using WideText = std::basic_string<VELQ_WideChar>;
using WideView = std::basic_string_view<VELQ_WideChar>;

// `text` must be well-formed UTF-8; throws std::invalid_argument otherwise.
WideText wide(std::string_view text);

// A lone surrogate becomes U+FFFD.
std::string utf8(WideView text);

// The units as little-endian bytes, without a terminator.
std::string utf16Bytes(WideView text);

// The units as little-endian bytes, followed by a zero unit.
std::string utf16BytesWithTerminator(WideView text);

// The units of little-endian bytes; throws std::invalid_argument for an odd count.
WideText fromUtf16Bytes(std::string_view bytes);

// Bytes from values, for raw blobs: bytes({0x2E, 0x52}).
std::string bytes(std::initializer_list<int> values);

// "2e52" for the bytes 2E 52.
std::string hex(std::string_view data);

} // namespace velq::test

#endif
