// One row's key and value, to text and back.
#include "kit/store/row_text.h"

#include "kit/base/input.h"
#include "kit/base/unit_ranges.h"
#include "kit/base/wide_text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <iterator>

namespace velq::kit {

// ---- Writing ------------------------------------------------------------------------------------------------------

namespace {

constexpr std::string_view hexDigits = "0123456789abcdef";

// Control characters, blanks of every width, invisible and direction-changing characters, variation selectors and
// noncharacters: what a reader does not see, or an editor changes. Ascending.
constexpr UnitRange unseenUnits[] = {{0x0000, 0x0020}, {0x007F, 0x00A0}, {0x00AD, 0x00AD}, {0x034F, 0x034F},
                                     {0x061C, 0x061C}, {0x1680, 0x1680}, {0x180B, 0x180F}, {0x2000, 0x200F},
                                     {0x2028, 0x202F}, {0x205F, 0x206F}, {0x3000, 0x3000}, {0xFDD0, 0xFDEF},
                                     {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFF0, 0xFFFB}, {0xFFFE, 0xFFFF}};

bool isHighSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(char16_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendEscape(std::string &out, char16_t unit)
{
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += hexDigits[(unit >> shift) & 0xF];
    }
}

std::string escaped(std::u16string_view units)
{
    std::string out;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const char16_t unit = units[i];
        if (unit == u'\\') {
            out += "\\\\";
        } else if (isHighSurrogate(unit) && i + 1 < units.size() && isLowSurrogate(units[i + 1])) {
            out += utf8FromUtf16(units.substr(i, 2));
            ++i;
        } else if (isInRanges(unit, unseenUnits) || isHighSurrogate(unit) || isLowSurrogate(unit) ||
                   (i == 0 && (unit == u'#' || unit == u'!'))) {
            appendEscape(out, unit);
        } else {
            out += utf8FromUtf16(units.substr(i, 1));
        }
    }
    return out;
}

std::string hexOf(std::string_view bytes)
{
    std::string out;
    for (const char byte : bytes) {
        out += hexDigits[static_cast<unsigned char>(byte) >> 4];
        out += hexDigits[static_cast<unsigned char>(byte) & 0xF];
    }
    return out;
}

} // namespace

std::string typedText(const StoredValue &value)
{
    switch (value.kind) {
    case StoredValue::Kind::null:
        break;
    case StoredValue::Kind::integer:
        return "integer:" + std::to_string(value.integer);
    case StoredValue::Kind::real: {
        const auto bits = std::bit_cast<std::uint64_t>(value.real);
        std::string out = "real:";
        for (int shift = 60; shift >= 0; shift -= 4) {
            out += hexDigits[(bits >> shift) & 0xF];
        }
        return out;
    }
    case StoredValue::Kind::text:
        return "text:" + hexOf(value.bytes);
    case StoredValue::Kind::blob:
        return "blob:" + hexOf(value.bytes);
    }
    return "null";
}

bool isTextKey(const StoredValue &key)
{
    return key.kind == StoredValue::Kind::blob && !key.bytes.empty() && key.bytes.size() % 2 == 0;
}

std::string keyText(const StoredValue &key)
{
    if (isKey(key, priorKey())) {
        return ".ROBX";
    }
    return isTextKey(key) ? escaped(unitsOfBytes(key.bytes)) : "!" + typedText(key);
}

std::string valueText(const StoredValue &value, int always)
{
    if (value.kind != StoredValue::Kind::blob || value.bytes.size() != valueBytes) {
        return typedText(value);
    }
    const TokenWords words = wordsOf(value.bytes);
    int shown = words.reserved != 0 ? 3 : words.ham != 0 ? 2 : 1;
    shown = std::max(shown, always);
    std::string out = std::to_string(words.spam);
    if (shown > 1) {
        out += '\t' + std::to_string(words.ham);
    }
    if (shown > 2) {
        out += '\t' + std::to_string(words.reserved);
    }
    return out;
}

std::string countsText(const TokenWords &words)
{
    return std::to_string(words.spam) + " spam, " + std::to_string(words.ham) + " ham";
}

// ---- Reading ------------------------------------------------------------------------------------------------------

namespace {

[[noreturn]] void fail(const TextPlace &place, const std::string &what)
{
    failAt(place.name, place.line, what);
}

// The whole of `text` as a number; none otherwise.
template <typename Number>
std::optional<Number> numberOf(std::string_view text, int base = 10)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::string> bytesOfHex(std::string_view hex)
{
    if (hex.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const auto byte = numberOf<unsigned char>(hex.substr(i, 2), 16);
        if (!byte) {
            return std::nullopt;
        }
        bytes += static_cast<char>(*byte);
    }
    return bytes;
}

} // namespace

std::optional<StoredValue> typedValue(std::string_view text)
{
    StoredValue value;
    if (text == "null") {
        return value;
    }
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view kind = text.substr(0, colon);
    const std::string_view content = text.substr(colon + 1);
    if (kind == "integer") {
        const auto number = numberOf<std::int64_t>(content);
        return number ? std::optional(StoredValue::ofInteger(*number)) : std::nullopt;
    }
    if (kind == "real") {
        const auto bits = numberOf<std::uint64_t>(content, 16);
        value.kind = StoredValue::Kind::real;
        value.real = std::bit_cast<double>(bits.value_or(0));
        const bool isNumber = bits && !std::isnan(value.real); // what is none, a database stores as null
        return isNumber && content.size() == 16 ? std::optional(value) : std::nullopt;
    }
    const auto bytes = bytesOfHex(content);
    if (!bytes || (kind != "text" && kind != "blob")) {
        return std::nullopt;
    }
    value.kind = kind == "text" ? StoredValue::Kind::text : StoredValue::Kind::blob;
    value.bytes = *bytes;
    return value;
}

namespace {

// The units of a token's text; none for an escape that is not one.
std::optional<std::u16string> unescaped(std::string_view text)
{
    std::u16string units;
    while (!text.empty()) {
        const std::size_t backslash = std::min(text.find('\\'), text.size());
        units += utf16FromUtf8(text.substr(0, backslash)).value_or(u"");
        text.remove_prefix(backslash);
        if (text.empty()) {
            break;
        }
        if (text.starts_with("\\\\")) {
            units += u'\\';
            text.remove_prefix(2);
            continue;
        }
        const auto unit =
            text.starts_with("\\u") && text.size() >= 6 ? numberOf<std::uint16_t>(text.substr(2, 4), 16) : std::nullopt;
        if (!unit) {
            return std::nullopt;
        }
        units += static_cast<char16_t>(*unit);
        text.remove_prefix(6);
    }
    return units;
}

} // namespace

StoredValue keyOf(const TextPlace &place, std::string_view text)
{
    if (text.starts_with('!')) {
        const auto key = typedValue(text.substr(1));
        if (!key) {
            fail(place, "\"" + oneLine(text) + "\" is not a key; expected a storage class, for example !blob:2e52");
        }
        return *key;
    }
    const auto units = unescaped(text);
    if (!units || units->empty()) {
        fail(place, units ? "the token is missing"
                          : R"(a backslash stands for itself as \\, for a unit as \u and 4 hex digits)");
    }
    return StoredValue::ofBlob(bytesOfUnits(*units));
}

StoredValue valueOfFields(const TextPlace &place, const std::vector<std::string_view> &fields, std::size_t least)
{
    if (fields.size() == 2 && (fields[1] == "null" || fields[1].find(':') != std::string_view::npos)) {
        const auto value = typedValue(fields[1]);
        if (!value) {
            fail(place,
                 "\"" + oneLine(fields[1]) + "\" is not a value; expected counts, or a storage class as in blob:00ff");
        }
        return *value;
    }
    std::uint32_t words[3]{};
    if (fields.size() < least + 1 || fields.size() > 4) {
        fail(place, "expected " + std::to_string(least) + " to 3 counts separated by tabs");
    }
    for (std::size_t i = 1; i < fields.size(); ++i) {
        const auto word = numberOf<std::uint32_t>(fields[i]);
        if (!word) {
            fail(place, "\"" + oneLine(fields[i]) + "\" is not a count between 0 and 4294967295");
        }
        words[i - 1] = *word;
    }
    return StoredValue::ofBlob(valueOf({words[0], words[1], words[2]}));
}

} // namespace velq::kit
