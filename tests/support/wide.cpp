// Hand-written conversions: the tests' expectations must not depend on the converters that the engine uses.
#include "support/wide.h"

#include <cstdint>
#include <stdexcept>

namespace velq::test {

namespace {

constexpr std::uint32_t replacementCharacter = 0xFFFD;

void appendUtf8(std::string &out, std::uint32_t point)
{
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xC0 | (point >> 6));
        out += static_cast<char>(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0 | (point >> 12));
        out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (point & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (point >> 18));
        out += static_cast<char>(0x80 | ((point >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (point & 0x3F));
    }
}

void appendWide(WideText &out, std::uint32_t point)
{
    if (point >= 0x10000) {
        out += static_cast<VELQ_WideChar>(0xD800 + ((point - 0x10000) >> 10));
        out += static_cast<VELQ_WideChar>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
        out += static_cast<VELQ_WideChar>(point);
    }
}

std::size_t sequenceLength(unsigned char lead)
{
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead < 0xE0) {
        return 2;
    }
    if (lead >= 0xE0 && lead < 0xF0) {
        return 3;
    }
    if (lead >= 0xF0 && lead < 0xF5) {
        return 4;
    }
    throw std::invalid_argument("not UTF-8: lead byte");
}

} // namespace

WideText wide(std::string_view text)
{
    WideText out;
    for (std::size_t at = 0; at < text.size();) {
        const auto lead = static_cast<unsigned char>(text[at]);
        const std::size_t length = sequenceLength(lead);
        if (at + length > text.size()) {
            throw std::invalid_argument("not UTF-8: cut sequence");
        }
        std::uint32_t point = length == 1 ? lead : lead & (0x7Fu >> length);
        for (std::size_t i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(text[at + i]);
            if ((next & 0xC0) != 0x80) {
                throw std::invalid_argument("not UTF-8: continuation byte");
            }
            point = (point << 6) | (next & 0x3Fu);
        }
        appendWide(out, point);
        at += length;
    }
    return out;
}

std::string utf8(WideView text)
{
    std::string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto unit = static_cast<std::uint32_t>(text[at]);
        const std::uint32_t next = at + 1 < text.size() ? static_cast<std::uint32_t>(text[at + 1]) : 0;
        const bool pair = unit >= 0xD800 && unit < 0xDC00 && next >= 0xDC00 && next < 0xE000;
        if (pair) {
            appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
            ++at;
        } else {
            appendUtf8(out, unit >= 0xD800 && unit < 0xE000 ? replacementCharacter : unit);
        }
    }
    return out;
}

std::string utf16Bytes(WideView text)
{
    std::string out;
    for (const VELQ_WideChar unit : text) {
        out += static_cast<char>(unit & 0xFF);
        out += static_cast<char>((unit >> 8) & 0xFF);
    }
    return out;
}

std::string utf16BytesWithTerminator(WideView text)
{
    return utf16Bytes(text) + std::string(2, '\0');
}

WideText fromUtf16Bytes(std::string_view data)
{
    if (data.size() % 2 != 0) {
        throw std::invalid_argument("odd count of UTF-16 bytes");
    }
    WideText out;
    for (std::size_t at = 0; at < data.size(); at += 2) {
        const auto low = static_cast<unsigned char>(data[at]);
        const auto high = static_cast<unsigned char>(data[at + 1]);
        out += static_cast<VELQ_WideChar>(low | (high << 8));
    }
    return out;
}

std::string bytes(std::initializer_list<int> values)
{
    std::string out;
    for (const int value : values) {
        out += static_cast<char>(value);
    }
    return out;
}

std::string hex(std::string_view data)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string out;
    for (const char c : data) {
        const auto byte = static_cast<unsigned char>(c);
        out += digits[byte >> 4];
        out += digits[byte & 0xF];
    }
    return out;
}

} // namespace velq::test
