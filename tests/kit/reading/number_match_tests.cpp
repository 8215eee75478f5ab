// How numbers are compared, and what lists find.
#include "kit/reading/number_match.h"
#include "support/installation.h"

#include <gtest/gtest.h>
#include <string>

namespace velq::kit {
namespace {

using test::Installation;
using test::NumberList;
using test::Value;

ListIndex blackListOf(const Installation &installation)
{
    return {installation.dataFile("bn.bin"), "blackList"};
}

TEST(number_match, last_eleven_characters_are_compared)
{
    EXPECT_EQ(matchKey(VELQ_TEXT("13812345678")), "87654321831");
    EXPECT_EQ(matchKey(VELQ_TEXT("+8613812345678")), "87654321831");
    EXPECT_EQ(matchKey(VELQ_TEXT("3812345678")), "8765432183");
    EXPECT_EQ(matchKey(VELQ_TEXT("")), "");
}

TEST(number_match, number_is_narrowed_to_39_low_bytes)
{
    EXPECT_EQ(matchKey(VELQ_TEXT("\u0131\u0132")), "21");
    EXPECT_EQ(matchKey(VELQ_TEXT("12\u010034")), "21") << "ended by a low byte of zero";
    const WideText digits = VELQ_TEXT("000000000011111111112222222222333333333X");
    EXPECT_EQ(matchKey(digits), "33333333322") << "the fortieth is not seen";
    EXPECT_EQ(matchKey(digits.substr(1)), "X3333333332");
}

TEST(number_match, operator_numbers_begin_with_10086)
{
    EXPECT_TRUE(isOperatorNumber(VELQ_TEXT("10086")));
    EXPECT_TRUE(isOperatorNumber(VELQ_TEXT("10086123")));
    EXPECT_FALSE(isOperatorNumber(VELQ_TEXT("1008")));
    EXPECT_FALSE(isOperatorNumber(VELQ_TEXT("+8610086")));
}

TEST(number_match, list_finds_numbers_by_their_last_eleven_characters)
{
    Installation installation;
    installation.addNumber(NumberList::black, "+8613812345678", 0, VELQ_TEXT("\u738B\u82B3"));
    installation.addNumber(NumberList::black, "555");
    ListIndex list = blackListOf(installation);
    const auto found = list.find(matchKey(VELQ_TEXT("008613812345678")));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->number, "+8613812345678");
    EXPECT_EQ(found->name, "\u738B\u82B3");
    EXPECT_EQ(found->uid, 1);
    EXPECT_EQ(list.find(matchKey(VELQ_TEXT("555")))->uid, 2);
    EXPECT_FALSE(list.find(matchKey(VELQ_TEXT("1555")))) << "shorter keys are whole numbers";
    EXPECT_FALSE(list.find(matchKey(VELQ_TEXT("12345678"))));
    EXPECT_FALSE(list.find(""));
}

TEST(number_match, first_of_the_entries_that_look_alike_is_found)
{
    Installation installation;
    installation.addNumber(NumberList::black, "+8613812345678");
    installation.addNumber(NumberList::black, "13812345678");
    EXPECT_EQ(blackListOf(installation).find(matchKey(VELQ_TEXT("13812345678")))->uid, 1);
}

TEST(number_match, list_follows_its_file)
{
    Installation installation;
    ListIndex list = blackListOf(installation);
    EXPECT_FALSE(list.find(matchKey(VELQ_TEXT("555"))));
    installation.addNumber(NumberList::black, "555");
    EXPECT_TRUE(list.find(matchKey(VELQ_TEXT("555"))));
}

TEST(number_match, entries_without_a_number_match_nobody)
{
    Installation installation;
    installation.addNumberRow(NumberList::black, Value::ofInteger(0), Value{}, Value::ofBlob("n"), Value::ofInteger(0));
    installation.addNumberRow(NumberList::black, Value::ofInteger(0), Value::ofBlob(""), Value{}, Value::ofInteger(0));
    EXPECT_FALSE(blackListOf(installation).find(matchKey({})));
}

} // namespace
} // namespace velq::kit
