// Lengths, number conversions, the body filter, the telephone-number rule, conversions, duplicates and dumps.
#include "VELQ_Util.h"
#include "internal/front_fixture.h"
#include "support/system.h"
#include "support/wide.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace velq::test {
namespace {

std::string narrowed(const WideText &text)
{
    char buffer[numberKeyCapacity]{};
    narrowNumber(buffer, text.c_str());
    return std::string(buffer, strnlen(buffer, sizeof buffer));
}

std::string reversed(std::string text)
{
    reverseNumber(text.data());
    return text;
}

WideText filtered(const WideText &body)
{
    VELQ_WideChar *result = filterMessageBody(body.c_str());
    WideText copy = result != nullptr ? WideText(result) : wide("<null>");
    freeMemory(result);
    return copy;
}

TEST(text_helpers, lengths_count_units_and_take_null_as_empty)
{
    EXPECT_EQ(wideLength(nullptr), 0u);
    EXPECT_EQ(wideLength(VELQ_TEXT("")), 0u);
    EXPECT_EQ(wideLength(VELQ_TEXT("abc")), 3u);
    EXPECT_EQ(wideLength(wide("😀").c_str()), 2u);
    EXPECT_EQ(narrowLength(nullptr), 0u);
    EXPECT_EQ(narrowLength(""), 0u);
    EXPECT_EQ(narrowLength("12345"), 5u);
}

TEST(text_helpers, narrowing_keeps_the_low_byte_of_at_most_39_units)
{
    const WideText digits = wide("123456789012345678901234567890123456789012345");
    ASSERT_EQ(digits.size(), 45u);
    EXPECT_EQ(narrowed(digits), "123456789012345678901234567890123456789");
    EXPECT_EQ(narrowed(digits.substr(0, 39)), "123456789012345678901234567890123456789");
    EXPECT_EQ(narrowed(wide("+8613912345678")), "+8613912345678");
    EXPECT_EQ(narrowed(wide(" 13-9 ")), " 13-9 ");
    EXPECT_EQ(narrowed({}), "");
    EXPECT_EQ(narrowed({0x4E31, 0xFF32, 0x00E9}), "12\xE9");
}

TEST(text_helpers, narrowing_writes_no_terminator)
{
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    narrowNumber(buffer, VELQ_TEXT("123"));
    EXPECT_EQ(std::string(buffer, sizeof buffer), "123xxxxx");
    narrowNumber(buffer, nullptr);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "123xxxxx");
}

TEST(text_helpers, widening_extends_the_sign_of_each_byte)
{
    VELQ_WideChar buffer[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(widenNumber(buffer, "1\x7F\x80\xFF"), 4u);
    EXPECT_EQ(WideText(buffer, 6), (WideText{0x31, 0x7F, 0xFF80, 0xFFFF, 9, 9}));
    EXPECT_EQ(widenNumber(buffer, ""), 0u);
    EXPECT_EQ(widenNumber(buffer, nullptr), 0u);
    EXPECT_EQ(buffer[0], 0x31);
}

TEST(text_helpers, reversal_turns_numbers_round_in_place)
{
    EXPECT_EQ(reversed("13912345678"), "87654321931");
    EXPECT_EQ(reversed("1234"), "4321");
    EXPECT_EQ(reversed("1"), "1");
    EXPECT_EQ(reversed(""), "");
    reverseNumber(nullptr);
}

// ---- Punctuation

// Written as characters here, so that the engine's table of codes is checked against something else.
std::set<VELQ_WideChar> expectedPunctuation()
{
    std::set<VELQ_WideChar> set;
    for (const VELQ_WideChar unit : wide("#'+/;?[_{$(<@\\|!%)-=]}\"*:> ^~`.\r\n"
                                         "＃◎￥％※×＋－÷·～《》？，。【】）（、：！；★→")) {
        set.insert(unit);
    }
    for (VELQ_WideChar unit = 0x81; unit <= 0xFD; ++unit) {
        set.insert(unit);
    }
    return set;
}

TEST(text_helpers, punctuation_is_the_table_and_the_latin_1_range)
{
    const std::set<VELQ_WideChar> expected = expectedPunctuation();
    for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
        const auto one = static_cast<VELQ_WideChar>(unit);
        ASSERT_EQ(isPunctuation(one), expected.count(one) != 0) << std::hex << unit;
    }
}

TEST(text_helpers, some_marks_are_no_punctuation)
{
    for (const int unit : {0x002C, 0x0026, 0x0030, 0x0041, 0x007A, 0x0080, 0x00FE, 0x00FF, 0x4E00, 0x0009}) {
        EXPECT_FALSE(isPunctuation(static_cast<VELQ_WideChar>(unit))) << std::hex << unit;
    }
    for (const int unit : {0x0081, 0x00E9, 0x00FD}) {
        EXPECT_TRUE(isPunctuation(static_cast<VELQ_WideChar>(unit))) << std::hex << unit;
    }
}

// ---- The body filter

TEST(text_helpers, filter_keeps_letters_with_a_lower_case_neighbour)
{
    const struct {
        const char *body;
        const char *kept;
    } cases[] = {
        {"", ""},
        {"Ab", "a"},
        {"AB", ""},
        {"aB", "b"},
        {"ab", "ab"},
        {"a", "a"},
        {"A", ""},
        {"z", "z"},
        {"Z", ""},
        {"a!b", ""},
        {"a b", ""},
        {"Abc", "abc"},
        {"ABC", ""},
        {"aBc", "b"},
        {"abC", "abc"},
        {"aBC", "b"},
        {"ABc", "b"},
        {"a1b", "1"},
        {"1a", "1"},
        {"a1", "1"},
        {"hi!!! ok", "hiok"},
        {"Hi!!! ok", "hok"},
        {"Call 13912345678 now!", "call13912345678now"},
        {"a,b", ","},
        {"R&D", "&"},
        {"caf\xC3\xA9", "caf"},
        {"\xE4\xBD\xA0\xE5\xA5\xBD\xEF\xBC\x8C\xE4\xB8\x96\xE7\x95\x8C",
         "\xE4\xBD\xA0\xE5\xA5\xBD\xE4\xB8\x96\xE7\x95\x8C"},
        {"\xEF\xBC\xA1\xEF\xBD\x82", "\xEF\xBC\xA1\xEF\xBD\x82"}, // full-width letters are no ASCII letters
        {"...\r\n---", ""},
        {"\t", "\t"},
    };
    for (const auto &given : cases) {
        EXPECT_EQ(utf8(filtered(wide(given.body))), given.kept) << given.body;
    }
}

// The rule once more, in the words in which it is stated.
WideText filteredSlowly(const WideText &body)
{
    static const std::set<VELQ_WideChar> marks = expectedPunctuation();
    const auto isLower = [](VELQ_WideChar unit) { return unit >= 'a' && unit <= 'z'; };
    WideText kept;
    const std::size_t n = body.size();
    for (std::size_t i = 0; i < n; ++i) {
        VELQ_WideChar unit = body[i];
        if (marks.count(unit) != 0) {
            continue;
        }
        if (unit >= 'A' && unit <= 'Z') {
            unit = static_cast<VELQ_WideChar>(unit + 32);
        }
        if (isLower(unit)) {
            std::size_t neighbour = 0;
            if (i == 0) {
                neighbour = n == 1 ? 0 : 1;
            } else if (i < n - 1) {
                neighbour = isLower(body[i - 1]) ? i - 1 : i + 1;
            } else {
                neighbour = i - 1;
            }
            if (!isLower(body[neighbour])) {
                continue;
            }
        }
        kept += unit;
    }
    return kept;
}

TEST(text_helpers, filter_agrees_with_a_slow_form_of_the_rule)
{
    std::mt19937 random(20);
    const WideText alphabet = wide("abyzABYZ019 !.,&\r\n中é，Ａ");
    std::uniform_int_distribution<std::size_t> length(0, 12);
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    for (int round = 0; round < 20000; ++round) {
        WideText body;
        for (std::size_t n = length(random); n > 0; --n) {
            body += alphabet[pick(random)];
        }
        ASSERT_EQ(utf8(filtered(body)), utf8(filteredSlowly(body))) << utf8(body);
    }
}

TEST(text_helpers, filter_takes_null_as_empty_and_returns_null_without_memory)
{
    VELQ_WideChar *empty = filterMessageBody(nullptr);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(wideLength(empty), 0u);
    freeMemory(empty);
    const AllocationGuard memory(1);
    EXPECT_EQ(filterMessageBody(VELQ_TEXT("hello")), nullptr);
}

TEST(text_helpers, filter_allocates_a_terminated_copy_of_the_body_at_most)
{
    static std::size_t asked = 0;
    const PlatformGuard guard;
    platformCalls.allocate = [](std::size_t size) noexcept -> void * {
        asked = size;
        return std::calloc(1, size);
    };
    freeMemory(filterMessageBody(VELQ_TEXT("abcde")));
    EXPECT_EQ(asked, 12u);
}

// ---- Telephone numbers

TEST(text_helpers, seven_digits_in_a_row_are_a_telephone_number)
{
    const struct {
        const char *text;
        bool isNumber;
    } cases[] = {{"", false},
                 {"123456", false},
                 {"1234567", true},
                 {"12345678", true},
                 {"123456a1234567", true},
                 {"123456a123456", false},
                 {"call7654321now", true},
                 {"123 4567", false},
                 {"0000000", true},
                 {"9999999", true},
                 {"/:/:/:/:", false},
                 {"１２３４５６７", false}};
    for (const auto &given : cases) {
        EXPECT_EQ(hasTelNumber(wide(given.text).c_str()), given.isNumber) << given.text;
    }
    EXPECT_FALSE(hasTelNumber(nullptr));
}

// ---- Conversions

using LengthFunction = int (*)(const VELQ_WideChar *) noexcept;
using ConvertFunction = int (*)(const VELQ_WideChar *, char *, int) noexcept;

struct ConversionPair {
    const char *name;
    LengthFunction length;
    ConvertFunction convert;
};

constexpr ConversionPair conversionPairs[] = {{"UTF-8", API_unicodeToUtf8Length, API_unicodeToUtf8},
                                              {"OEM", API_unicodeToOemLength, API_unicodeToOem}};

// Those that give UTF-8: the OEM one too, where that is the OEM page.
std::vector<ConversionPair> utf8Conversions()
{
    std::vector<ConversionPair> pairs(std::begin(conversionPairs), std::end(conversionPairs));
    if (!oemPageHas(wide("é 中 😀"))) {
        pairs.pop_back();
    }
    return pairs;
}

std::string converted(const ConversionPair &pair, const WideText &text)
{
    const int size = pair.length(text.c_str());
    std::string out(static_cast<std::size_t>(size), 'x');
    EXPECT_EQ(pair.convert(text.c_str(), out.data(), size), size);
    EXPECT_EQ(out.back(), '\0');
    out.pop_back();
    return out;
}

TEST(text_helpers, conversions_count_and_write_the_terminator)
{
    for (const ConversionPair &pair : utf8Conversions()) {
        SCOPED_TRACE(pair.name);
        for (const char *text : {"", "a", "abc", "é", "中文", "😀", "mixed é 中 😀 text"}) {
            EXPECT_EQ(pair.length(wide(text).c_str()), static_cast<int>(std::strlen(text)) + 1) << text;
            EXPECT_EQ(converted(pair, wide(text)), text);
        }
        char room[8] = "xxxxxxx";
        EXPECT_EQ(pair.convert(VELQ_TEXT("abc"), room, sizeof room), 4);
        EXPECT_EQ(std::string(room, 6), std::string("abc\0\0x", 6)) << "a zero byte after the count";
    }
}

TEST(text_helpers, lone_surrogates_become_the_replacement_character)
{
    const struct {
        WideText text;
        const char *utf8Text;
    } cases[] = {{{0xD800}, "\xEF\xBF\xBD"},
                 {{0xDC00}, "\xEF\xBF\xBD"},
                 {{0xD83D, 'a'},
                  "\xEF\xBF\xBD"
                  "a"},
                 {{'a', 0xDE00, 'b'},
                  "a\xEF\xBF\xBD"
                  "b"},
                 {{0xD83D, 0xD83D, 0xDE00}, "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
                 {{0xDE00, 0xD83D}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
                 {{0xD83D, 0xDE00, 0xDFFF}, "\xF0\x9F\x98\x80\xEF\xBF\xBD"}};
    for (const ConversionPair &pair : utf8Conversions()) {
        for (const auto &given : cases) {
            EXPECT_EQ(converted(pair, given.text), given.utf8Text) << pair.name;
        }
    }
}

TEST(text_helpers, conversions_agree_with_a_hand_written_one_over_random_units)
{
    std::mt19937 random(21);
    const std::uint32_t bounds[][2] = {{1, 0x7F}, {0x80, 0x7FF}, {0x800, 0xFFFF}, {0xD7F0, 0xE010}};
    std::uniform_int_distribution<int> kind(0, 3);
    for (int round = 0; round < 500; ++round) {
        WideText text;
        for (int i = 0; i < 200; ++i) {
            const auto &bound = bounds[kind(random)];
            text +=
                static_cast<VELQ_WideChar>(std::uniform_int_distribution<std::uint32_t>(bound[0], bound[1])(random));
        }
        for (const ConversionPair &pair : utf8Conversions()) {
            ASSERT_EQ(hex(converted(pair, text)), hex(utf8(text))) << pair.name;
        }
    }
}

TEST(text_helpers, conversions_that_do_not_fit_fail)
{
    for (const ConversionPair &pair : utf8Conversions()) {
        char room[16]{};
        EXPECT_LT(pair.convert(VELQ_TEXT("abcd"), room, 4), 1) << "no room for the terminator";
        EXPECT_LT(pair.convert(wide("中").c_str(), room, 3), 1);
        EXPECT_LT(pair.convert(WideText{0xD800}.c_str(), room, 3), 1);
        EXPECT_LT(pair.convert(VELQ_TEXT(""), room, 0), 1);
        EXPECT_LT(pair.convert(nullptr, room, sizeof room), 1);
        EXPECT_LT(pair.length(nullptr), 1);
        EXPECT_EQ(pair.convert(VELQ_TEXT("abc"), room, 4), 4);
    }
}

// All texts of up to `length` units of the alphabet.
std::vector<WideText> textsOf(const WideText &alphabet, std::size_t length)
{
    std::vector<WideText> texts = {{}};
    for (std::size_t from = 0; length > 0; --length) {
        const std::size_t to = texts.size();
        for (; from < to; ++from) {
            for (const VELQ_WideChar unit : alphabet) {
                texts.push_back(texts[from] + unit);
            }
        }
    }
    return texts;
}

TEST(text_helpers, conversions_agree_with_a_hand_written_one_for_every_unit)
{
    for (const ConversionPair &pair : utf8Conversions()) {
        for (std::uint32_t unit = 1; unit <= 0xFFFF; ++unit) {
            const WideText text = {static_cast<VELQ_WideChar>(unit), 'a'};
            ASSERT_EQ(hex(converted(pair, text)), hex(utf8(text))) << pair.name << " " << std::hex << unit;
        }
    }
}

TEST(text_helpers, conversions_take_surrogates_at_every_place_and_stay_within_every_buffer)
{
    // Characters of one to three bytes, the ends of both ranges of surrogates, and their neighbours.
    const WideText alphabet = {'a', 0xE9, 0x4E2D, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000};
    for (const WideText &text : textsOf(alphabet, 4)) {
        const std::string expected = utf8(text);
        const auto needed = static_cast<int>(expected.size()) + 1;
        for (const ConversionPair &pair : utf8Conversions()) {
            ASSERT_EQ(pair.length(text.c_str()), needed) << pair.name << " " << hex(expected);
            for (int size = 1; size <= needed; ++size) {
                char room[16 + 2];
                std::memset(room, 'x', sizeof room);
                const int count = pair.convert(text.c_str(), room, size);
                ASSERT_EQ(count, size == needed ? needed : 0) << pair.name << " " << hex(expected) << " " << size;
                ASSERT_EQ(room[size], 'x') << pair.name << " " << hex(expected) << " " << size;
                if (count > 0) {
                    ASSERT_EQ(std::string(room), expected) << pair.name;
                }
            }
        }
    }
}

TEST(text_helpers, conversions_pass_their_code_page)
{
    static std::vector<CodePage> pages;
    pages.clear();
    const PlatformGuard guard;
    platformCalls.convertText = [](CodePage page, const VELQ_WideChar *, char *, int) noexcept {
        pages.push_back(page);
        return 1;
    };
    char room[4];
    API_unicodeToUtf8Length(VELQ_TEXT("a"));
    API_unicodeToUtf8(VELQ_TEXT("a"), room, sizeof room);
    API_unicodeToOemLength(VELQ_TEXT("a"));
    API_unicodeToOem(VELQ_TEXT("a"), room, sizeof room);
    EXPECT_EQ(pages, (std::vector<CodePage>{CodePage::utf8, CodePage::utf8, CodePage::oem, CodePage::oem}));
    EXPECT_EQ(static_cast<unsigned>(CodePage::utf8), 65001u);
    EXPECT_EQ(static_cast<unsigned>(CodePage::oem), 1u);
}

TEST(text_helpers, zero_units_are_found_within_the_bytes_only)
{
    const std::string bytesWithZero = utf16BytesWithTerminator(wide("ab"));
    const std::string shifted = "x" + bytesWithZero; // not aligned
    EXPECT_EQ(unitsBeforeZero(reinterpret_cast<const unsigned char *>(bytesWithZero.data()), 6), 2);
    EXPECT_EQ(unitsBeforeZero(reinterpret_cast<const unsigned char *>(shifted.data()) + 1, 6), 2);
    EXPECT_EQ(unitsBeforeZero(reinterpret_cast<const unsigned char *>(bytesWithZero.data()), 5), -1);
    EXPECT_EQ(unitsBeforeZero(reinterpret_cast<const unsigned char *>(bytesWithZero.data()), 4), -1);
    EXPECT_EQ(unitsBeforeZero(reinterpret_cast<const unsigned char *>("\0\0"), 2), 0);
    // Two zero bytes that belong to two units are no zero unit.
    EXPECT_EQ(unitsBeforeZero(reinterpret_cast<const unsigned char *>("a\0\0b"), 4), -1);
    EXPECT_EQ(unitsBeforeZero(nullptr, 0), -1);
}

// ---- Duplicates

TEST(text_helpers, duplicates_are_terminated_copies)
{
    char *copy = duplicateText("12345");
    EXPECT_STREQ(copy, "12345");
    freeMemory(copy);
    copy = duplicateText("");
    EXPECT_STREQ(copy, "");
    freeMemory(copy);
    freeMemory(nullptr);
}

TEST(text_helpers, duplicates_are_null_for_null_and_without_memory)
{
    EXPECT_EQ(duplicateText(nullptr), nullptr);
    const AllocationGuard memory(1);
    EXPECT_EQ(duplicateText("1"), nullptr);
}

// ---- Dumps

TEST(text_helpers, dumps_write_nothing_without_the_trace)
{
    RunningEngine engine(Trace::off);
    const VELQ_WideChar units[] = {0x41};
    dumpNumber("123");
    dumpUtf8(VELQ_TEXT("abc"));
    dumpHex(units, 1);
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{});
}

TEST(text_helpers, dumps_write_their_forms)
{
    RunningEngine engine(Trace::on);
    const VELQ_WideChar units[] = {0x41, 0x4E2D, 0xFFFF, 0x0};
    dumpNumber("+86139");
    dumpNumber("");
    dumpUtf8(wide("hi 中 😀").c_str());
    dumpUtf8(VELQ_TEXT(""));
    dumpHex(units, 4);
    dumpHex(units, 0);
    EXPECT_EQ(engine.newLines(),
              (std::vector<std::string>{"---> number:+86139", "---> number:", "===> UTF8-String:hi 中 😀",
                                        "===> UTF8-String:", "0x0041 0x4e2d 0xffff 0x0000 ", ""}));
}

TEST(text_helpers, dump_cuts_at_a_character_boundary_within_299_bytes)
{
    RunningEngine engine(Trace::on);
    const std::string a298(298, 'a');
    const struct {
        std::string text;
        std::string shown;
    } cases[] = {
        {std::string(299, 'a'), std::string(299, 'a')},  {std::string(300, 'a'), std::string(299, 'a')},
        {std::string(5000, 'a'), std::string(299, 'a')}, {a298 + "é", a298},
        {a298.substr(1) + "é", a298.substr(1) + "é"},    {a298 + "中", a298},
        {a298.substr(2) + "中", a298.substr(2) + "中"},  {a298.substr(2) + "😀", a298.substr(2)},
        {a298.substr(3) + "😀", a298.substr(3) + "😀"},
    };
    for (const auto &given : cases) {
        dumpUtf8(wide(given.text).c_str());
        EXPECT_EQ(engine.newLines(), std::vector<std::string>{"===> UTF8-String:" + given.shown});
    }
    WideText surrogates(120, VELQ_WideChar{0xD800});
    dumpUtf8(surrogates.c_str());
    std::string replaced;
    for (int i = 0; i < 99; ++i) {
        replaced += "\xEF\xBF\xBD";
    }
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{"===> UTF8-String:" + replaced});
}

TEST(text_helpers, dump_that_cannot_be_converted_writes_error_lines)
{
    RunningEngine engine(Trace::on);
    const PlatformGuard guard;
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int) noexcept { return 0; };
    dumpUtf8(VELQ_TEXT("abc"));
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{"Error: API_unicodeToUtf8Length:0"});
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int) noexcept { return -5; };
    dumpUtf8(VELQ_TEXT("abc"));
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{"Error: API_unicodeToUtf8Length:-5"});
    platformCalls.convertText = [](CodePage, const VELQ_WideChar *, char *, int size) noexcept {
        return size == 0 ? 4 : 0;
    };
    dumpUtf8(VELQ_TEXT("abc"));
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{"Error: API_unicodeToUtf8"});
}

} // namespace
} // namespace velq::test
