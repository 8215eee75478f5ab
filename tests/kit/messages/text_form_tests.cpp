// The form of texts: prepared by default, or as they stand.
#include "kit/messages/text_form.h"

#include <gtest/gtest.h>

namespace velq::kit {
namespace {

TEST(TextForm, prepares_texts)
{
    EXPECT_EQ(inForm(TextForm::prepared, VELQ_TEXT("F\u00DCR \u0441all")), VELQ_TEXT("fur call"));
    EXPECT_EQ(utf16InForm(TextForm::prepared, "FÜR ½"), u"fur 1/2");
    EXPECT_EQ(utf16InForm(TextForm::prepared, ""), u"");
    EXPECT_EQ(utf16InForm(TextForm::prepared, "\u200B"), u"");
}

TEST(TextForm, leaves_raw_texts_as_they_are)
{
    EXPECT_EQ(inForm(TextForm::raw, VELQ_TEXT("F\u00DCR \u0441all")), VELQ_TEXT("F\u00DCR \u0441all"));
    EXPECT_EQ(utf16InForm(TextForm::raw, "FÜR ½"), u"F\u00DCR \u00BD");
}

TEST(TextForm, reads_what_is_not_utf8_as_empty)
{
    EXPECT_EQ(utf16InForm(TextForm::prepared, "\xFF"), u"");
    EXPECT_EQ(utf16InForm(TextForm::raw, "\xFF"), u"");
}

} // namespace
} // namespace velq::kit
