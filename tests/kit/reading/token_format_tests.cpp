// The bytes of keys and values, against bytes written out by hand.
#include "kit/reading/token_format.h"

#include <gtest/gtest.h>
#include <string>

namespace velq::kit {
namespace {

TEST(token_format, units_are_little_endian_and_come_back)
{
    EXPECT_EQ(bytesOfUnits(u"a\u4E2D"), std::string("a\0\x2D\x4E", 4));
    EXPECT_EQ(bytesOfUnits(u"\u80FF"), "\xFF\x80");
    EXPECT_EQ(bytesOfUnits(u""), "");
    for (const std::u16string units : {u"", u"ab", u"\uFFFF\u0001\u8080", u"\xD83D"}) {
        EXPECT_EQ(unitsOfBytes(bytesOfUnits(units)), units);
    }
}

TEST(token_format, byte_that_makes_no_unit_is_passed_over)
{
    EXPECT_EQ(unitsOfBytes(std::string_view("a\0b", 3)), u"a");
    EXPECT_EQ(unitsOfBytes("a"), u"");
}

TEST(token_format, zero_unit_is_two_zero_bytes_in_step_with_the_units)
{
    EXPECT_EQ(zeroEnded("ab"), std::string("ab\0\0", 4));
    EXPECT_EQ(zeroUnitIn(zeroEnded("ab")), 2U);
    EXPECT_EQ(zeroUnitIn(zeroEnded("")), 0U);
    EXPECT_EQ(zeroUnitIn(std::string_view("a\0\0b\0\0", 6)), 4U) << "zeros of two neighbours make no unit";
    EXPECT_EQ(zeroUnitIn(std::string_view("a\0\0", 3)), std::nullopt);
    EXPECT_EQ(zeroUnitIn(""), std::nullopt);
}

TEST(token_format, special_records_have_the_engines_keys)
{
    EXPECT_EQ(messageCountKey(), std::string_view(".\0M\0S\0G\0_\0C\0N\0T\0", 16));
    EXPECT_EQ(priorKey(), std::string_view("\x2E\x52\x4F\x42\x58\x00", 6));
}

TEST(token_format, keys_of_two_to_four_units_are_tokens)
{
    EXPECT_FALSE(isTokenKey(bytesOfUnits(u"a")));
    EXPECT_TRUE(isTokenKey(bytesOfUnits(u"ab")));
    EXPECT_TRUE(isTokenKey(bytesOfUnits(u"abcd")));
    EXPECT_FALSE(isTokenKey(bytesOfUnits(u"abcde")));
    EXPECT_FALSE(isTokenKey("abcde")) << "no whole units";
    EXPECT_FALSE(isTokenKey(""));
    EXPECT_FALSE(isTokenKey(priorKey()));
    EXPECT_FALSE(isTokenKey(messageCountKey()));
}

TEST(token_format, value_is_three_little_endian_words)
{
    const std::string bytes = valueOf({0x04030201, 0x80, 0xFFFFFFFF});
    EXPECT_EQ(bytes, std::string("\x01\x02\x03\x04\x80\0\0\0\xFF\xFF\xFF\xFF", 12));
    EXPECT_EQ(bytes.size(), valueBytes);
    EXPECT_EQ(wordsOf(bytes), (TokenWords{0x04030201, 0x80, 0xFFFFFFFF}));
}

TEST(token_format, missing_bytes_are_zero_and_further_ones_passed_over)
{
    const std::string bytes = valueOf({0x04030201, 0x08070605, 0x0C0B0A09});
    EXPECT_EQ(wordsOf(""), TokenWords{});
    EXPECT_EQ(wordsOf(bytes.substr(0, 3)), (TokenWords{0x00030201, 0, 0}));
    EXPECT_EQ(wordsOf(bytes.substr(0, 8)), (TokenWords{0x04030201, 0x08070605, 0}));
    EXPECT_EQ(wordsOf(bytes.substr(0, 9)), (TokenWords{0x04030201, 0x08070605, 9}));
    EXPECT_EQ(wordsOf(bytes + "more"), wordsOf(bytes));
}

TEST(token_format, prior_is_in_millionths_and_zero_stands_for_its_absence)
{
    EXPECT_EQ(priorOf(0), 0.52);
    EXPECT_EQ(priorOf(400000), 400000 * 0.000001) << "the engine's product, which is not quite 0.4";
    EXPECT_EQ(priorOf(1), 0.000001);
    EXPECT_EQ(priorOf(millionthsOfOne), 1);
}

} // namespace
} // namespace velq::kit
