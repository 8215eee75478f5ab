// Files of numbers in the forms in which people have them.
#include "kit/engine/number_file.h"
#include "support/kit_errors.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

NumberFile read(const std::string &text, const NumberForm &form = {})
{
    std::istringstream in(text);
    return readNumbers(in, "file", form);
}

// "number name" of each entry.
std::vector<std::string> entriesIn(const std::string &text)
{
    std::vector<std::string> entries;
    const NumberFile file = read(text);
    EXPECT_TRUE(file.bad.empty()) << file.bad.front().why;
    for (const ListEntry &entry : file.entries) {
        entries.push_back(entry.number + (entry.name.empty() ? "" : " " + entry.name));
    }
    return entries;
}

using Texts = std::vector<std::string>;

TEST(number_file, columns_beyond_the_known_ones_are_passed_over)
{
    EXPECT_EQ(entriesIn("Since,Number,Note,NAME\n2020,07668 835601,x,Wang\n2021,10000,,\n"),
              (Texts{"07668835601 Wang", "10000"}));
}

TEST(number_file, columns_that_mean_nothing_are_named)
{
    EXPECT_EQ(read("number,nme,Note,\n10000,a,b,c\n").passedOver, (Texts{"nme", "Note"}));
    EXPECT_EQ(read("First Name,Phone 1 - Type,Phone 1 - Value\na,b,10000\n").passedOver, Texts{"Phone 1 - Type"});
    EXPECT_EQ(read("10000,a,b\n").passedOver, Texts{});
    EXPECT_THROW(read("Number,number\n1,2\n"), Error);
}

TEST(number_file, separators_may_be_semicolons_or_tabs)
{
    EXPECT_EQ(entriesIn("number;name\n10000;\"a;b\"\n"), Texts{"10000 a;b"});
    EXPECT_EQ(entriesIn("name\tnumber\nWang, Fang\t10000\n"), Texts{"10000 Wang, Fang"});
}

TEST(number_file, lists_without_a_header_begin_with_numbers)
{
    EXPECT_EQ(entriesIn("+44 7668 835601\n(07668) 835-602\n10000\n"), (Texts{"+447668835601", "07668835602", "10000"}));
    EXPECT_EQ(entriesIn("10000,Bank\n10001\n"), (Texts{"10000 Bank", "10001"}));
}

TEST(number_file, address_books_give_an_entry_for_each_telephone)
{
    EXPECT_EQ(entriesIn("First Name,Last Name,Phone 1 - Type,Phone 1 - Value,Phone 2 - Value\n"
                        "Fang,Wang,Mobile,+86 138 1234 5678 ::: 010-12345678,\n"
                        "Shop,,,,07668 835601\nNone,,,,\n"),
              (Texts{"+8613812345678 Fang Wang", "01012345678 Fang Wang", "07668835601 Shop"}));
    EXPECT_EQ(entriesIn("Name,Mobile Phone,Home Phone\n" + std::string(40, 'n') + ",10000,10001\n"),
              (Texts{"10000 " + std::string(29, 'n'), "10001 " + std::string(29, 'n')}));
    EXPECT_EQ(entriesIn("Name,Tel\n" + std::string(28, 'n') + "\U0001F600,10000\n"),
              Texts{"10000 " + std::string(28, 'n')}); // not within a pair
}

TEST(number_file, vcards_give_an_entry_for_each_telephone)
{
    const NumberFile file = read("BEGIN:VCARD\nFN:Wang\nTEL:07668 835601\nTEL:ask me\nEND:VCARD\n");
    ASSERT_EQ(file.entries.size(), 1U);
    EXPECT_EQ(file.entries[0].number, "07668835601");
    EXPECT_EQ(file.entries[0].name, "Wang");
    ASSERT_EQ(file.bad.size(), 1U);
    EXPECT_EQ(file.bad[0].line, 4U);
    EXPECT_EQ(file.bad[0].number, "ask me");
}

TEST(number_file, every_bad_row_is_told_with_its_line)
{
    const NumberFile file =
        read("number,name,hidden\n10000,a,0\nMY BANK,b,0\n,c,0\n10001,d,2\n10002,e,x\n10003\n10004,f,1\n");
    EXPECT_EQ(file.entries.size(), 2U);
    ASSERT_EQ(file.bad.size(), 5U);
    const Texts whys = {"ASCII characters without blanks", "at least one", "neither 0 nor 1", "whole numbers",
                        "1 field where"};
    for (std::size_t i = 0; i < whys.size(); ++i) {
        EXPECT_EQ(file.bad[i].line, i + 3);
        EXPECT_NE(file.bad[i].why.find(whys[i]), std::string::npos) << file.bad[i].why;
    }
    EXPECT_EQ(file.bad[0].number, "MY BANK");
}

TEST(number_file, names_of_the_own_form_are_kept_or_refused)
{
    EXPECT_EQ(read("number,name\n10000, a \n").entries.at(0).name, " a ");
    EXPECT_EQ(read("number,name\n10000," + std::string(30, 'n') + "\n").bad.size(), 1U);
}

TEST(number_file, text_of_no_form_is_refused)
{
    for (const char *text : {"", "\n", "name\nWang\n", "hello\n", "a,b\n10000,10001\n"}) {
        EXPECT_THROW(read(text), Error) << text;
    }
}

#ifdef VELQ_WITH_COUNTRIES
TEST(number_file, numbers_get_the_form_of_the_country)
{
    const NumberFile file = read("7668835601\n07668 835601\n+447668835601\n60999\nMYBANK\n", NumberForm("GB"));
    std::vector<std::string> numbers;
    for (const ListEntry &entry : file.entries) {
        numbers.push_back(entry.number);
    }
    EXPECT_EQ(numbers, (Texts{"+447668835601", "+447668835601", "+447668835601", "60999", "MYBANK"}));
}
#endif

} // namespace
} // namespace velq::kit
