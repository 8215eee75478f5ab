// Updates of white numbers: what they are made from, and what the engine's own merge makes of them.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/store/white_update.h"
#include "support/engine_session.h"
#include "support/installation.h"
#include "velq.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;
using test::Installation;

std::vector<WhiteNumber> numbersOf(const std::string &csv)
{
    std::istringstream in(csv);
    return readWhiteNumbers(in, "numbers.csv");
}

std::vector<std::string> numbersIn(const std::vector<WhiteNumber> &rows)
{
    std::vector<std::string> numbers;
    for (const WhiteNumber &row : rows) {
        numbers.emplace_back(row.number.begin(), row.number.end());
    }
    return numbers;
}

std::string csvError(const std::string &csv)
{
    return refusalOf([&csv] { numbersOf(csv); });
}

TEST(white_update, reads_rows_with_and_without_a_header)
{
    for (const char *csv : {"13800000001,Ann\n13800000002,\n", "number,name\n13800000001,Ann\n13800000002,\n",
                            "Name,Number\nAnn,13800000001\n\"\",13800000002\n"}) {
        const std::vector<WhiteNumber> rows = numbersOf(csv);
        ASSERT_EQ(rows.size(), 2U) << csv;
        EXPECT_EQ(rows[0].number, u"13800000001");
        EXPECT_EQ(rows[0].name, u"Ann");
        EXPECT_EQ(rows[1].number, u"13800000002");
        EXPECT_EQ(rows[1].name, u"");
    }
}

TEST(white_update, refuses_rows_that_the_merge_could_not_take)
{
    const std::string digits29(29, '7');
    const std::string name29(29, 'n');
    EXPECT_EQ(numbersOf(digits29 + "," + name29 + "\n").size(), 1U);
    EXPECT_EQ(csvError("1,a\n" + digits29 + "7,b\n"),
              "numbers.csv:2: the number has 30 units; at most 29 can be merged");
    EXPECT_EQ(csvError("1," + name29 + "n\n"), "numbers.csv:1: the name has 30 units; at most 29 can be merged");
    EXPECT_EQ(csvError("number,name\n1,a\n,b\n"), "numbers.csv:3: the number is empty");
    EXPECT_EQ(csvError("\uFF11\uFF12,b\n"), "numbers.csv:1: the number holds a character that is not printable ASCII");
    EXPECT_EQ(csvError("1 2,b\n"), "numbers.csv:1: the number holds a character that is not printable ASCII");
}

TEST(white_update, known_numbers_go_first_and_repeated_ones_are_left_out)
{
    Installation installation;
    {
        test::Database list = installation.open("wn.bin");
        list.query("INSERT INTO whiteList(hidden, number, name) VALUES(1, ?, ?);",
                   {test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("13"))), test::Value::ofBlob("")});
    }
    installation.addNumber(test::NumberList::white, "11"); // a user's own entry is not known to the merge
    const WhiteUpdatePlan plan =
        planWhiteUpdate(numbersOf("11,a\n12,b\n13,c\n12,d\n"), deliveredNumbers(installation.dataFile("wn.bin")));
    EXPECT_EQ(numbersIn(plan.rows), (std::vector<std::string>{"13", "11", "12"}));
    EXPECT_EQ(numbersIn(plan.repeated), std::vector<std::string>{"12"});
    EXPECT_EQ(plan.known, 1U);
}

TEST(white_update, merges_where_the_csv_order_would_have_failed)
{
    const Installation installation;
    const fs::path first = installation.folder() / "first.db";
    const fs::path second = installation.folder() / "second.db";
    writeWhiteUpdate(first, planWhiteUpdate(numbersOf("13800000001,Ann\n"), {}).rows);
    const test::EngineSession session(installation);
    ASSERT_EQ(VELQ_UpdateData(nullptr, 0, test::widePath(first).c_str(), 1), VELQ_SUCCESS);

    const std::vector<WhiteNumber> numbers = numbersOf("13800000002,Bob\n13800000001,Ann\n");
    writeWhiteUpdate(second, numbers); // in the file's own order
    EXPECT_EQ(VELQ_UpdateData(nullptr, 0, test::widePath(second).c_str(), 2), VELQ_ERR_FAILED);
    writeWhiteUpdate(second, planWhiteUpdate(numbers, deliveredNumbers(installation.dataFile("wn.bin"))).rows);
    EXPECT_EQ(VELQ_UpdateData(nullptr, 0, test::widePath(second).c_str(), 2), VELQ_SUCCESS);

    const test::Rows rows = installation.numberRows(test::NumberList::white);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[1][1], test::Value::ofInteger(1));
    EXPECT_EQ(rows[1][2], test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("13800000002"))));
    EXPECT_EQ(rows[1][3], test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("Bob"))));
}

} // namespace
} // namespace velq::kit
