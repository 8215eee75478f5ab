#include "foldings.h"

#include "scripts.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string_view>
#include <utf8proc.h>
#include <utility>

namespace velq::text {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

bool isIn(char32_t codePoint, const Range &range)
{
    return codePoint >= range.first && codePoint <= range.last;
}

template <std::size_t count>
bool isInAny(char32_t codePoint, const Range (&ranges)[count])
{
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [&](const Range &range) { return isIn(codePoint, range); });
}

// Controls but the white ones; soft hyphen, joiners, zero-width blanks, direction marks, fillers, annotations,
// variation selectors and tags.
constexpr Range invisible[] = {
    {0x01, 0x08},       {0x0E, 0x1F},       {0x7F, 0x84},       {0x86, 0x9F},     {0xAD, 0xAD},     {0x34F, 0x34F},
    {0x61C, 0x61C},     {0x115F, 0x1160},   {0x17B4, 0x17B5},   {0x180B, 0x180F}, {0x200B, 0x200F}, {0x202A, 0x202E},
    {0x2060, 0x206F},   {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF9, 0xFFFB},
    {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},
};

// Marks over, under, through and around letters of the Latin, Greek and Cyrillic scripts; other scripts have their own.
constexpr Range accents[] = {
    {0x300, 0x36F},   {0x483, 0x489},   {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x20D0, 0x20FF},
    {0x2DE0, 0x2DFF}, {0xA66F, 0xA672}, {0xA674, 0xA67D}, {0xA69E, 0xA69F}, {0xFE20, 0xFE2F},
};

// Compatibility forms that stay: signs that are drawn as emoji or after a name, and the punctuation of Chinese text.
constexpr std::u32string_view staying = U"\u203C\u2049\u2120\u2122\uFF01\uFF08\uFF09\uFF0C\uFF1A\uFF1B\uFF1F\uFF5E";

// Presentation forms of Armenian, Hebrew and Arabic letters.
constexpr Range presentationForms[] = {
    {0xFB13, 0xFB17}, {0xFB20, 0xFB28}, {0xFB4F, 0xFDFB}, {0xFE70, 0xFEFC}, {0x1EE00, 0x1EEFF}};

// Letters and signs that Unicode does not take apart.
struct Written {
    char32_t letter;
    std::u32string_view as;
};

constexpr Written writtenAs[] = {
    // European languages.
    {0xE6, U"ae"},
    {0xF0, U"d"},
    {0xF8, U"o"},
    {0xFE, U"th"},
    {0x111, U"d"},
    {0x127, U"h"},
    {0x131, U"i"},
    {0x138, U"k"},
    {0x142, U"l"},
    {0x149, U"n"},
    {0x14B, U"n"},
    {0x153, U"oe"},
    {0x167, U"t"},
    {0x237, U"j"},
    {0x223, U"ou"},
    {0x259, U"e"},
    {0x1DD, U"e"},
    // African and other languages: letters with a stroke, a hook or a tail.
    {0x180, U"b"},
    {0x183, U"b"},
    {0x188, U"c"},
    {0x18C, U"d"},
    {0x192, U"f"},
    {0x199, U"k"},
    {0x19A, U"l"},
    {0x19E, U"n"},
    {0x1A5, U"p"},
    {0x1AB, U"t"},
    {0x1AD, U"t"},
    {0x1B4, U"y"},
    {0x1B6, U"z"},
    {0x1E5, U"g"},
    {0x225, U"z"},
    {0x23C, U"c"},
    {0x23F, U"s"},
    {0x240, U"z"},
    {0x247, U"e"},
    {0x249, U"j"},
    {0x24B, U"q"},
    {0x24D, U"r"},
    {0x24F, U"y"},
    {0x250, U"a"},
    {0x251, U"a"},
    {0x253, U"b"},
    {0x254, U"o"},
    {0x255, U"c"},
    {0x256, U"d"},
    {0x257, U"d"},
    {0x25B, U"e"},
    {0x260, U"g"},
    {0x261, U"g"},
    {0x266, U"h"},
    {0x268, U"i"},
    {0x269, U"i"},
    {0x26B, U"l"},
    {0x26C, U"l"},
    {0x26D, U"l"},
    {0x271, U"m"},
    {0x272, U"n"},
    {0x273, U"n"},
    {0x275, U"o"},
    {0x27C, U"r"},
    {0x27D, U"r"},
    {0x27E, U"r"},
    {0x282, U"s"},
    {0x288, U"t"},
    {0x289, U"u"},
    {0x28A, U"u"},
    {0x28B, U"v"},
    {0x290, U"z"},
    {0x291, U"z"},
    {0x1D7D, U"p"},
    {0x2C61, U"l"},
    {0x2C65, U"a"},
    {0x2C66, U"t"},
    {0x2C68, U"h"},
    {0x2C6A, U"k"},
    {0x2C6C, U"z"},
    {0x2C73, U"w"},
    // Small capitals.
    {0x1D00, U"a"},
    {0x299, U"b"},
    {0x1D04, U"c"},
    {0x1D05, U"d"},
    {0x1D07, U"e"},
    {0xA730, U"f"},
    {0x262, U"g"},
    {0x29C, U"h"},
    {0x26A, U"i"},
    {0x1D0A, U"j"},
    {0x1D0B, U"k"},
    {0x29F, U"l"},
    {0x1D0D, U"m"},
    {0x274, U"n"},
    {0x1D0F, U"o"},
    {0x1D18, U"p"},
    {0xA7AF, U"q"},
    {0x280, U"r"},
    {0xA731, U"s"},
    {0x1D1B, U"t"},
    {0x1D1C, U"u"},
    {0x1D20, U"v"},
    {0x1D21, U"w"},
    {0x28F, U"y"},
    {0x1D22, U"z"},
    {0x1D01, U"ae"},
    {0x276, U"oe"},
    {0x1D06, U"d"},
    // The bar of a fraction, and zeros in a circle.
    {0x2044, U"/"},
    {0x24FF, U"0"},
    {0x1F10B, U"0"},
    {0x1F10C, U"0"},
};

// White letters on black: from A to Z.
constexpr Range lettersOnBlack[] = {{0x1F150, 0x1F169}, {0x1F170, 0x1F189}};

// Numbers in circles that Unicode does not take apart, in rows that begin with a number.
struct NumberRow {
    Range range;
    unsigned first;
};

constexpr NumberRow circledNumbers[] = {
    {{0x24EB, 0x24F4}, 11}, {{0x24F5, 0x24FE}, 1}, {{0x2776, 0x277F}, 1}, {{0x2780, 0x2789}, 1}, {{0x278A, 0x2793}, 1}};

bool isRemoved(char32_t codePoint)
{
    return isInAny(codePoint, invisible) || isInAny(codePoint, accents);
}

utf8proc_category_t categoryOf(char32_t codePoint)
{
    return utf8proc_category(static_cast<utf8proc_int32_t>(codePoint));
}

std::u32string number(unsigned value)
{
    const std::string digits = std::to_string(value);
    return {digits.begin(), digits.end()};
}

std::optional<std::u32string> written(char32_t codePoint)
{
    const auto *const entry = std::find_if(std::begin(writtenAs), std::end(writtenAs),
                                           [&](const Written &candidate) { return candidate.letter == codePoint; });
    if (entry != std::end(writtenAs)) {
        return std::u32string(entry->as);
    }
    const auto *const letters = std::find_if(std::begin(lettersOnBlack), std::end(lettersOnBlack),
                                             [&](const Range &range) { return isIn(codePoint, range); });
    if (letters != std::end(lettersOnBlack)) {
        return std::u32string(1, U'a' + (codePoint - letters->first));
    }
    const auto *const row = std::find_if(std::begin(circledNumbers), std::end(circledNumbers),
                                         [&](const NumberRow &one) { return isIn(codePoint, one.range); });
    if (row != std::end(circledNumbers)) {
        return number(row->first + (codePoint - row->range.first));
    }
    return std::nullopt;
}

// Unicode has the digits of a script in rows of ten from zero, and rows of scripts may follow each other.
std::optional<std::u32string> digit(char32_t codePoint)
{
    if (categoryOf(codePoint) != UTF8PROC_CATEGORY_ND) {
        return std::nullopt;
    }
    char32_t zero = codePoint;
    while (categoryOf(zero - 1) == UTF8PROC_CATEGORY_ND) {
        --zero;
    }
    return number((codePoint - zero) % 10);
}

std::u32string takenApart(char32_t codePoint, int options)
{
    utf8proc_int32_t parts[32];
    int last = 0;
    const utf8proc_ssize_t count =
        utf8proc_decompose_char(static_cast<utf8proc_int32_t>(codePoint), parts, std::size(parts),
                                static_cast<utf8proc_option_t>(options), &last);
    if (count < 0 || static_cast<std::size_t>(count) > std::size(parts)) {
        std::fprintf(stderr, "foldings: U+%04X is not taken apart\n", static_cast<unsigned>(codePoint));
        std::exit(EXIT_FAILURE);
    }
    return {parts, parts + count};
}

std::u32string composed(const std::u32string &text)
{
    utf8proc_int32_t parts[32];
    std::copy(text.begin(), text.end(), parts);
    const utf8proc_ssize_t count =
        utf8proc_normalize_utf32(parts, static_cast<utf8proc_ssize_t>(text.size()),
                                 static_cast<utf8proc_option_t>(UTF8PROC_COMPOSE | UTF8PROC_STABLE));
    return {parts, parts + count};
}

std::u32string withoutRemoved(std::u32string text)
{
    text.erase(std::remove_if(text.begin(), text.end(), isRemoved), text.end());
    return text;
}

// Whether the parts are plain text: letters of the three scripts, and what ASCII has. A blank as the first of them
// stands for what an accent by itself would sit on.
bool isPlain(char32_t codePoint, const std::u32string &parts)
{
    const bool isBlank = categoryOf(codePoint) == UTF8PROC_CATEGORY_ZS;
    return !parts.empty() && (parts[0] != U' ' || isBlank) &&
           std::all_of(parts.begin(), parts.end(), [](char32_t part) {
               return (part >= U' ' && part < 0x7F) || part == 0x2044 || scriptOf(part).value_or(other) != other;
           });
}

// (a) and (12), which are one character each, lose their brackets.
std::u32string withoutBrackets(std::u32string parts)
{
    return parts.size() > 2 && parts.front() == U'(' && parts.back() == U')' ? parts.substr(1, parts.size() - 2)
                                                                             : parts;
}

std::u32string foldOnce(char32_t codePoint)
{
    if (isRemoved(codePoint)) {
        return {};
    }
    if (auto text = written(codePoint)) {
        return *text;
    }
    if (staying.find(codePoint) != std::u32string_view::npos) {
        return {codePoint};
    }
    if (auto text = digit(codePoint)) {
        return *text;
    }
    const std::u32string parts = takenApart(codePoint, UTF8PROC_DECOMPOSE | UTF8PROC_COMPAT);
    if (parts.size() != 1 || parts[0] != codePoint) {
        const std::u32string plain = withoutRemoved(parts);
        if (isPlain(codePoint, plain)) {
            return withoutBrackets(plain);
        }
        if (isInAny(codePoint, presentationForms) && parts[0] != U' ') {
            return composed(parts);
        }
    }
    return withoutRemoved(takenApart(codePoint, UTF8PROC_CASEFOLD));
}

} // namespace

FoldedCharacter foldingOf(char32_t codePoint)
{
    FoldedCharacter folded{std::u32string(1, codePoint), {}};
    for (;;) {
        if (folded.text.size() == 1 && isLetter(folded.text[0])) {
            folded.forms += folded.text[0];
        }
        std::u32string next;
        for (const char32_t part : folded.text) {
            next += foldOnce(part);
        }
        if (next == folded.text) {
            return folded;
        }
        folded.text = std::move(next);
    }
}

} // namespace velq::text
