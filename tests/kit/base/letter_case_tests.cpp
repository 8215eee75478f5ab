#include "kit/base/letter_case.h"

#include <gtest/gtest.h>

namespace velq::kit {
namespace {

TEST(letter_case, letters_of_ascii_change_and_nothing_else)
{
    EXPECT_EQ(inSmallLetters("Phone 1 (HOME) [Z@`{É"), "phone 1 (home) [z@`{É");
    EXPECT_EQ(inCapitals("begin:vcard [z@`{é"), "BEGIN:VCARD [Z@`{é");
    EXPECT_EQ(inSmallLetters(""), "");
    EXPECT_EQ(inCapitals(""), "");
}

} // namespace
} // namespace velq::kit
