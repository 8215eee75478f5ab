// Adding many white numbers at once: all or none, and neither list is looked at first.
#include "api/front_helpers.h"

#include <deque>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

// A chain of nodes over texts of its own.
class Batch {
  public:
    // A null name or number is made by the two functions below.
    Batch &add(const std::string &number, const std::string &name = {}, std::int32_t extendID = 0)
    {
        numbers_.push_back(wide(number));
        names_.push_back(wide(name));
        nodes_.push_back({nullptr, names_.back().data(), numbers_.back().data(), extendID});
        if (nodes_.size() > 1) {
            nodes_[nodes_.size() - 2].next = &nodes_.back();
        }
        return *this;
    }
    Batch &withoutName()
    {
        nodes_.back().name = nullptr;
        return *this;
    }
    Batch &withoutNumber()
    {
        nodes_.back().number = nullptr;
        return *this;
    }
    const NumberListNode *head() const
    {
        return nodes_.empty() ? nullptr : &nodes_.front();
    }

  private:
    std::deque<WideText> numbers_;
    std::deque<WideText> names_;
    std::deque<NumberListNode> nodes_;
};

Lines whiteNumbers(const FrontEngine &engine)
{
    return storedNumbers(engine.installation, NumberList::white);
}

TEST(number_batch, nodes_are_stored_in_order_with_one_hidden_value)
{
    FrontEngine engine;
    Batch batch;
    batch.add("+8613812345678", "Ann 中", 5).add("10086", "", -6).add("1", "x").withoutName();
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), 1), 0);
    EXPECT_EQ(engine.installation.numberRows(NumberList::white),
              (Rows{{Value::ofInteger(1), Value::ofInteger(1), Value::ofText(std::string("8765432183168+\0", 15)),
                     Value::ofBlob(utf16BytesWithTerminator(wide("Ann 中"))), Value::ofInteger(5)},
                    {Value::ofInteger(2), Value::ofInteger(1), Value::ofText(std::string("68001\0", 6)),
                     Value::ofBlob(std::string(2, '\0')), Value::ofInteger(-6)},
                    {Value::ofInteger(3), Value::ofInteger(1), Value::ofText(std::string("1\0", 2)),
                     Value::ofBlob(std::string(2, '\0')), Value::ofInteger(0)}}));
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(Batch().add("2").head(), 0), 0);
    EXPECT_EQ(engine.installation.numberRows(NumberList::white).at(3).at(1), Value::ofInteger(0));
    EXPECT_EQ(engine.newLines(), Lines{});
}

TEST(number_batch, present_numbers_are_stored_again_and_the_black_list_stays)
{
    FrontEngine engine;
    engine.installation.addNumber(NumberList::black, "13812345678");
    engine.installation.addNumber(NumberList::white, "13812345678");
    Batch batch;
    batch.add("13812345678").add("13812345678").add("+8613812345678");
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), 0), 0);
    EXPECT_EQ(whiteNumbers(engine), (Lines{"13812345678", "13812345678", "13812345678", "+8613812345678"}));
    EXPECT_EQ(storedNumbers(engine.installation, NumberList::black), Lines{"13812345678"});
}

TEST(number_batch, callers_nodes_stay_as_they_were)
{
    FrontEngine engine;
    WideText number = wide("123");
    WideText name = wide("abc");
    const NumberListNode node{nullptr, name.data(), number.data(), 4};
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(&node, 0), 0);
    EXPECT_EQ(number, wide("123"));
    EXPECT_EQ(name, wide("abc"));
    EXPECT_EQ(node.extendID, 4);
}

TEST(number_batch, bad_hidden_value_and_empty_list_are_bad_arguments)
{
    FrontEngine engine;
    Batch batch;
    batch.add("1");
    for (const std::int32_t hidden : {-1, 2, 5}) {
        EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), hidden), VELQ_ERR_BATCH_ARGUMENT);
    }
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(nullptr, 0), VELQ_ERR_BATCH_ARGUMENT);
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(nullptr, 5), VELQ_ERR_BATCH_ARGUMENT);
    EXPECT_EQ(whiteNumbers(engine), Lines{});
    EXPECT_EQ(engine.newLines(), Lines{});
}

TEST(number_batch, texts_of_29_characters_are_taken)
{
    FrontEngine engine;
    Batch batch;
    batch.add(std::string(29, '7'), std::string(29, 'n'));
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), 0), 0);
    EXPECT_EQ(whiteNumbers(engine), Lines{std::string(29, '7')});
}

TEST(number_batch, bad_node_anywhere_refuses_the_whole_batch)
{
    FrontEngine engine;
    engine.installation.addNumber(NumberList::white, "9");
    for (int position = 0; position < 3; ++position) {
        for (int fault = 0; fault < 4; ++fault) {
            Batch batch;
            for (int i = 0; i < 3; ++i) {
                const bool isBad = i == position;
                batch.add(std::string(isBad && fault == 0 ? 30 : 11, '7'),
                          std::string(isBad && fault == 1 ? 30 : 3, 'n'));
                if (isBad && fault == 2) {
                    batch.withoutNumber();
                } else if (isBad && fault == 3) {
                    batch.withoutNumber().withoutName();
                }
            }
            for (const std::int32_t hidden : {0, 5}) { // looked at before anything else
                EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), hidden), VELQ_ERR_BATCH_FAILED)
                    << position << " " << fault;
                const Lines lines = engine.newLines();
                ASSERT_EQ(lines.size(), 1u);
                EXPECT_NE(lines[0].find("\tError: "), std::string::npos);
            }
        }
    }
    EXPECT_EQ(whiteNumbers(engine), Lines{"9"});
}

TEST(number_batch, failing_third_node_leaves_no_node_stored)
{
    FrontEngine engine;
    engine.installation.addNumber(NumberList::white, "9");
    engine.installation.open("wn.bin").exec("CREATE TRIGGER refuse BEFORE INSERT ON whiteList WHEN new.extendID = 3"
                                            " BEGIN SELECT RAISE(ABORT, 'no'); END;");
    Batch batch;
    batch.add("1", "", 1).add("2", "", 2).add("3", "", 3).add("4", "", 4);
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), 0), VELQ_ERR_BATCH_FAILED);
    EXPECT_EQ(whiteNumbers(engine), Lines{"9"});
    EXPECT_EQ(engine.newLines(), (Lines{"VELQ_DB_Interface\tError: VELQ_DSH_doNext, rc=19",
                                        "VELQ_DB_Interface\t**********Error: Leave db_AddNumberList()!********"}));
    engine.installation.open("wn.bin").exec("DROP TRIGGER refuse;");
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), 0), 0);
    EXPECT_EQ(whiteNumbers(engine), (Lines{"9", "1", "2", "3", "4"}));
}

TEST(number_batch, locked_list_fails_it_after_five_retries)
{
    FrontEngine engine;
    Batch batch;
    batch.add("1");
    {
        const HeldLock lock(engine.installation.dataFile("wn.bin"));
        EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), 0), VELQ_ERR_BATCH_FAILED);
    }
    const Lines lines = engine.newLines();
    EXPECT_EQ(countLinesWith(lines, "There's still retry chance"), 5u);
    EXPECT_EQ(countLinesWith(lines, "**********Error: Leave db_AddNumberList()!********"), 1u);
    EXPECT_EQ(whiteNumbers(engine), Lines{});
}

TEST(number_batch, thousand_numbers_are_stored_in_one_go)
{
    FrontEngine engine(StartVariant::norix, true);
    Batch batch;
    for (int i = 0; i < 1000; ++i) {
        batch.add(std::to_string(13800000000 + i), "n", i);
    }
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(batch.head(), 0), 0);
    std::int32_t count = 0;
    EXPECT_EQ(VELQ_GetTotalCountOfWhiteNumber(&count), 0);
    EXPECT_EQ(count, 1000);
    const Lines lines = engine.newLines();
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 2),
              (Lines{"VELQ_DB_Interface\t**********Enter db_AddNumberList()!********",
                     "VELQ_DB_Interface\t**********OK: Leave db_AddNumberList()!********"}));
}

} // namespace
} // namespace velq::test
