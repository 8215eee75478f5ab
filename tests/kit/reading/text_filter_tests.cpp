// What a text loses before it is read, and runs of digits in what is left.
#include "kit/reading/text_filter.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace velq::kit {
namespace {

TEST(text_filter, drops_punctuation_and_isolated_letters)
{
    const std::vector<std::pair<std::u16string, std::u16string>> cases = {
        {u"", u""},
        {u"hi!!! ok", u"hiok"},
        {u"Hi!!! ok", u"hok"},
        {u"Ab", u"a"},
        {u"AB", u""},
        {u"a!b", u""},
        {u"a", u"a"},
        {u"A", u""},
        {u"138-1234-5678", u"13812345678"},
        {u"a,b & 5", u",&5"},
        {u"caf\u00E9s", u"caf"},
        {u"\u4E2D\uFF0C\u6587\u3002\u2605", u"\u4E2D\u6587"},
        {u"line\r\nnext", u"linenext"},
    };
    for (const auto &[body, filtered] : cases) {
        EXPECT_EQ(filterText(body), filtered) << std::string(body.begin(), body.end());
    }
}

TEST(text_filter, marks_what_it_drops)
{
    const std::vector<std::pair<std::u16string, std::u16string>> cases = {
        {u"", u""},           {u"hi!!! ok", u"hi[!!! ]ok"}, {u"Hi", u"h[i]"},
        {u"AB", u"[AB]"},     {u"a!b", u"[a!b]"},           {u"[a]", u"[[a]]"},
        {u"plain", u"plain"}, {u"you!", u"you[!]"},         {u"\u4E2D\uFF0C\u6587", u"\u4E2D[\uFF0C]\u6587"}};
    for (const auto &[body, marked] : cases) {
        EXPECT_EQ(markDropped(body), marked) << std::string(body.begin(), body.end());
    }
    EXPECT_EQ(markDropped(std::u16string_view(u"left\0right", 10)), u"left");
}

TEST(text_filter, tells_where_words_begin)
{
    EXPECT_EQ(wordBegins(u"to the,at&9"), (std::vector<bool>{1, 0, 1, 0, 0, 1, 1, 0, 1, 1}));
    for (const std::u16string_view body : {u"", u"  ", u"Ab", u"x y z", u"a!b 12\u4F60 \uFFFD", u"WIN 100% now"}) {
        EXPECT_EQ(wordBegins(body).size(), filterText(body).size());
    }
    EXPECT_EQ(wordBegins(std::u16string_view(u"ab\0cd", 5)).size(), 2U);
}

TEST(text_filter, stops_at_a_zero_unit)
{
    EXPECT_EQ(filterText(std::u16string_view(u"left\0right", 10)), u"left");
}

TEST(text_filter, digit_run_takes_seven_ascii_digits)
{
    EXPECT_FALSE(hasDigitRun(u"123456"));
    EXPECT_TRUE(hasDigitRun(u"1234567"));
    EXPECT_FALSE(hasDigitRun(u"123a4567"));
    EXPECT_FALSE(hasDigitRun(u"\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17"));
}

} // namespace
} // namespace velq::kit
