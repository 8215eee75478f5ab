// Text conversions.
#include "kit/base/wide_text.h"
#include "support/kit_errors.h"

#include <gtest/gtest.h>

namespace velq::test {

using kit::Status;

TEST(wide_text, conversions_keep_every_character)
{
    const std::string text = "a\u00E9\u4F60\U0001F600\uFFFD";
    const auto wide = kit::wideFromUtf8(text);
    ASSERT_TRUE(wide.has_value());
    EXPECT_EQ(wide->size(), 6U);
    EXPECT_EQ(kit::utf8FromWide(*wide), text);
    EXPECT_EQ(kit::utf8FromWide(static_cast<const VELQ_WideChar *>(nullptr)), "");
}

TEST(wide_text, lone_surrogates_become_the_replacement_character)
{
    const std::u16string halves = {0xD83D, u'a', 0xDE00, 0xD83D};
    EXPECT_EQ(kit::utf8FromUtf16(halves), "\uFFFDa\uFFFD\uFFFD");
}

TEST(wide_text, invalid_bytes_are_found)
{
    EXPECT_EQ(kit::firstInvalidByte("abc"), std::nullopt);
    EXPECT_EQ(kit::firstInvalidByte("ab\xC3"), 2U);
    EXPECT_EQ(kit::wideFromUtf8("\xF4\x90\x80\x80"), std::nullopt);
    EXPECT_EQ(statusOf([] { kit::wideArgument("\xFF", "the number"); }), Status::usage);
}

TEST(wide_text, one_line_has_no_control_characters)
{
    EXPECT_EQ(kit::oneLine("a\nb\tc\x1B[31m\x7F"
                           "d\u0085e 你"),
              "a b c [31m d e 你");
}

} // namespace velq::test
