// Numbers as people write them, in one form.
#include "kit/base/phone_number.h"
#include "kit/base/status.h"

#include <gtest/gtest.h>
#include <string>

namespace velq::kit {
namespace {

TEST(phone_number, loses_what_people_write_between_its_digits)
{
    for (const char *written :
         {"+447668835601", " +44 7668 835601 ", "+44-7668-835601", "+44 (0)7668 835 601", "+44.7668.835601",
          "+44\u00a07668\u2011835601", "\u202a+44 7668 835601\u202c", "(+44) 7668/835601", "\t+44 [7668] 835601"}) {
        EXPECT_EQ(withoutPunctuation(written), "+447668835601") << written;
    }
    EXPECT_EQ(withoutPunctuation("0044 (0) 7668 835601"), "00447668835601");
    EXPECT_EQ(withoutPunctuation("(07668) 835-601"), "07668835601");
    EXPECT_EQ(withoutPunctuation("(0)7668 835601"), "07668835601"); // the bracket is not behind a country
}

TEST(phone_number, what_is_no_number_only_loses_blanks_around_it)
{
    for (const char *text :
         {"MY BANK", "#21#", "*100#", "12", "1-2", "-", "07668 835601 ext. 5", "+44+7668", "\uff11\uff13\uff19"}) {
        EXPECT_EQ(withoutPunctuation(" " + std::string(text) + " "), text);
    }
    EXPECT_EQ(withoutPunctuation(""), "");
    EXPECT_EQ(withoutPunctuation("  "), "");
}

TEST(phone_number, plain_number_is_digits_behind_a_plus_or_none)
{
    EXPECT_TRUE(isPlainNumber("999"));
    EXPECT_TRUE(isPlainNumber("+447668835601"));
    for (const char *text : {"", "+", "99", "+99", "9 99", "9a9", "99+9"}) {
        EXPECT_FALSE(isPlainNumber(text)) << text;
    }
}

TEST(phone_number, without_a_country_only_punctuation_goes)
{
    const NumberForm form;
    EXPECT_FALSE(form.isGiven());
    EXPECT_EQ(form.of("07668 835601"), "07668835601");
    EXPECT_EQ(form.ofSender("07668 835601"), "07668 835601");
}

#ifdef VELQ_WITH_COUNTRIES

TEST(phone_number, spellings_of_one_number_have_one_form)
{
    const NumberForm form("GB");
    for (const char *written : {"7668835601", "07668835601", "07668 835601", "(07668) 835-601", "+44 7668 835601",
                                "0044 7668 835601", "447668835601", "+44 (0)7668 835601"}) {
        EXPECT_EQ(form.of(written), "+447668835601") << written;
        EXPECT_EQ(form.ofSender(written), "+447668835601") << written;
    }
    EXPECT_EQ(form.of("+1 202 555 0123"), "+12025550123");
    EXPECT_EQ(form.of("020 7946 0000"), "+442079460000");
    EXPECT_EQ(NumberForm("tr").of("0532 123 45 67"), "+905321234567");
    EXPECT_EQ(NumberForm("CN").of("138 1234 5678"), "+8613812345678");
}

TEST(phone_number, form_of_a_form_is_itself)
{
    for (const char *country : {"GB", "US", "CN", "DE", "IT"}) {
        const NumberForm form(country);
        for (const char *written :
             {"07668835601", "+390612345678", "2025550123", "13812345678", "10010", "110", "MYBANK"}) {
            EXPECT_EQ(form.of(form.of(written)), form.of(written)) << country << " " << written;
        }
    }
}

TEST(phone_number, short_codes_text_senders_and_operator_numbers_stay)
{
    for (const char *country : {"GB", "US", "CN"}) {
        const NumberForm form(country);
        for (const char *number :
             {"999", "60999", "95588", "10086", "1008612345678", "MYBANK", "MY BANK", "#21#", "1", ""}) {
            EXPECT_EQ(form.of(number), number) << country;
        }
    }
}

TEST(phone_number, country_is_two_letters_of_any_case)
{
    EXPECT_EQ(NumberForm::fault("gb"), "");
    EXPECT_EQ(NumberForm::fault("TR"), "");
    for (const char *country : {"", "44", "UK", "GBR", "ZZ", "001"}) {
        EXPECT_NE(NumberForm::fault(country).find("not a country"), std::string::npos) << country;
    }
    try {
        const NumberForm form("UK");
        ADD_FAILURE();
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), Status::usage);
    }
}

#endif

} // namespace
} // namespace velq::kit
