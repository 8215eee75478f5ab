// Text conversions over utfcpp.
#include "kit/base/wide_text.h"

#include "kit/base/status.h"

#include <iterator>
#include <utf8.h>

namespace velq::kit {

std::optional<std::size_t> firstInvalidByte(std::string_view text)
{
    const auto invalid = utf8::find_invalid(text.begin(), text.end());
    if (invalid == text.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(invalid - text.begin());
}

template <typename Text>
static std::optional<Text> convert(std::string_view text)
{
    if (firstInvalidByte(text)) {
        return std::nullopt;
    }
    Text converted;
    converted.reserve(text.size());
    utf8::utf8to16(text.begin(), text.end(), std::back_inserter(converted));
    return converted;
}

std::optional<WideText> wideFromUtf8(std::string_view text)
{
    return convert<WideText>(text);
}

std::optional<std::u16string> utf16FromUtf8(std::string_view text)
{
    return convert<std::u16string>(text);
}

std::optional<WideText> wideFromUtf16HighByteFirst(std::string_view bytes)
{
    if (bytes.size() % 2 != 0) {
        return std::nullopt;
    }
    WideText text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        const unsigned high = static_cast<unsigned char>(bytes[i]);
        const unsigned low = static_cast<unsigned char>(bytes[i + 1]);
        text.push_back(static_cast<VELQ_WideChar>(high << 8 | low));
    }
    return text;
}

WideText wideArgument(std::string_view text, std::string_view what)
{
    std::optional<WideText> converted = wideFromUtf8(text);
    if (!converted) {
        throw Error(Status::usage, std::string(what) + " is not UTF-8; run the command in a UTF-8 locale");
    }
    return *std::move(converted);
}

template <typename Unit>
static std::string toUtf8(std::basic_string_view<Unit> text)
{
    std::string converted;
    converted.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        const bool leads = point >= 0xD800 && point <= 0xDBFF;
        const bool followed = i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
        if (leads && followed) {
            ++i;
            point = 0x10000 + ((point - 0xD800) << 10) + (static_cast<char32_t>(text[i]) - 0xDC00);
        } else if (point >= 0xD800 && point <= 0xDFFF) {
            point = 0xFFFD;
        }
        utf8::append(point, std::back_inserter(converted));
    }
    return converted;
}

std::string utf8FromUtf16(std::u16string_view text)
{
    return toUtf8(text);
}

std::string utf8FromWide(WideView text)
{
    return toUtf8(text);
}

std::string utf8FromWide(const VELQ_WideChar *text)
{
    return text == nullptr ? std::string() : toUtf8(WideView(text));
}

std::u16string utf16FromWide(WideView text)
{
    return {text.begin(), text.end()};
}

WideText wideFromUtf16(std::u16string_view text)
{
    return {text.begin(), text.end()};
}

std::string oneLine(std::string_view text)
{
    std::string line(text);
    for (std::size_t i = 0; i < line.size(); ++i) {
        const auto byte = static_cast<unsigned char>(line[i]);
        if (byte < 0x20 || byte == 0x7F) {
            line[i] = ' ';
        } else if (byte == 0xC2 && i + 1 < line.size() && static_cast<unsigned char>(line[i + 1]) < 0xA0) {
            line.replace(i, 2, 1, ' '); // U+0080 to U+009F
        }
    }
    return line;
}

} // namespace velq::kit
