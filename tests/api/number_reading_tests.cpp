// Reading the number lists: whole lists, identifiers, single entries and counts.
#include "api/front_helpers.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

// A list as read, one text per node: number, name, extend id.
Lines readList(const ListExports &own, std::int32_t hidden, std::int32_t expected = 0)
{
    NumberListNode *head = nullptr;
    EXPECT_EQ(own.getList(&head, hidden), expected);
    Lines entries;
    for (const NumberListNode *node = head; node != nullptr; node = node->next) {
        entries.push_back(utf8(node->number) + "|" + utf8(node->name) + "|" + std::to_string(node->extendID));
    }
    own.freeList(head);
    return entries;
}

// Sorted: the database may give them in any order.
std::vector<std::int32_t> readUids(const ListExports &own, std::int32_t hidden, std::int32_t expected = 0)
{
    UIDListNode *head = nullptr;
    EXPECT_EQ(own.getUids(&head, hidden), expected);
    std::vector<std::int32_t> uids;
    for (const UIDListNode *node = head; node != nullptr; node = node->next) {
        uids.push_back(node->uid);
    }
    own.freeUids(head);
    std::sort(uids.begin(), uids.end());
    return uids;
}

std::int32_t countOf(const ListExports &own)
{
    std::int32_t count = 77;
    EXPECT_EQ(own.count(&count), 0);
    return count;
}

class NumberReading : public ::testing::TestWithParam<ListExports> {
  protected:
    NumberReading() : engine_(StartVariant::plain, true) {}

    void SetUp() override
    {
        ASSERT_TRUE(engine_.isRunning());
    }
    // A row with any stored values.
    void addRow(const Value &number, const Value &name, const Value &extendID = Value::ofInteger(0))
    {
        engine_.installation.addNumberRow(own_.list, Value::ofInteger(0), number, name, extendID);
    }

    const ListExports &own_ = GetParam();
    FrontEngine engine_;
};

INSTANTIATE_TEST_SUITE_P(both, NumberReading, ::testing::Values(blackExports, whiteExports),
                         [](const ::testing::TestParamInfo<ListExports> &given) {
                             return std::string(given.param.name);
                         });

TEST_P(NumberReading, empty_list_reads_as_null_heads_and_zero)
{
    NumberListNode *nodes = nullptr;
    UIDListNode *uids = nullptr;
    EXPECT_EQ(own_.getList(&nodes, -1), 0);
    EXPECT_EQ(nodes, nullptr);
    EXPECT_EQ(engine_.newLines(), Lines{"VELQ_DB_Interface\tNo  number  in DB!"});
    EXPECT_EQ(own_.getUids(&uids, -1), 0);
    EXPECT_EQ(uids, nullptr);
    EXPECT_EQ(engine_.newLines(), Lines{"VELQ_DB_Interface\tNo number  in DB!"});
    EXPECT_EQ(countOf(own_), 0);
    EXPECT_EQ(engine_.newLines(), (Lines{"VELQ_DB_Interface\t**********Enter db_GetTotalCount()!********",
                                         "VELQ_DB_Interface\t******** OK: SELECT COUNT *********",
                                         "VELQ_DB_Interface\t******** count=0 *********",
                                         "VELQ_DB_Interface\t**********OK: Leave db_GetTotalCount()!********"}));
}

TEST_P(NumberReading, what_was_added_reads_back_in_display_order)
{
    EXPECT_EQ(own_.add(OwnedRecord("+8613812345678", "Ann 中 😀").get(), 0, 42), 0);
    EXPECT_EQ(own_.add(OwnedRecord("10086").withoutName().get(), 1, -1), 0);
    EXPECT_EQ(readList(own_, -1), (Lines{"+8613812345678|Ann 中 😀|42", "10086||-1"}));
    EXPECT_EQ(readUids(own_, -1), (std::vector<std::int32_t>{1, 2}));
    EXPECT_EQ(countOf(own_), 2);
    NumberRecord record{nullptr, nullptr};
    EXPECT_EQ(own_.read(&record, 1), 0);
    EXPECT_EQ(utf8(record.number), "+8613812345678");
    EXPECT_EQ(utf8(record.name), "Ann 中 😀");
    own_.freeRecord(&record);
    EXPECT_EQ(own_.read(&record, 2), 0);
    EXPECT_EQ(utf8(record.number), "10086");
    EXPECT_EQ(utf8(record.name), "");
    own_.freeRecord(&record);
}

TEST_P(NumberReading, hidden_filters_lists_and_uids)
{
    for (int i = 1; i <= 4; ++i) {
        engine_.installation.addNumber(own_.list, std::to_string(i), i % 2, {}, i);
    }
    EXPECT_EQ(readList(own_, 1), (Lines{"1||1", "3||3"}));
    EXPECT_EQ(readList(own_, 0), (Lines{"2||2", "4||4"}));
    EXPECT_EQ(readList(own_, -1).size(), 4u);
    EXPECT_EQ(readUids(own_, 1), (std::vector<std::int32_t>{1, 3}));
    EXPECT_EQ(readUids(own_, 0), (std::vector<std::int32_t>{2, 4}));
    EXPECT_EQ(readUids(own_, -1).size(), 4u);
    EXPECT_EQ(countOf(own_), 4) << "the count takes all";
    for (const std::int32_t bad : {2, -2, 100}) {
        EXPECT_EQ(readList(own_, bad, VELQ_ERR_FAILED), Lines{});
        EXPECT_EQ(readUids(own_, bad, VELQ_ERR_FAILED), std::vector<std::int32_t>{});
    }
}

TEST_P(NumberReading, filtered_list_without_rows_is_empty)
{
    engine_.installation.addNumber(own_.list, "1", 0);
    EXPECT_EQ(readList(own_, 1), Lines{});
    EXPECT_EQ(readUids(own_, 1), std::vector<std::int32_t>{});
    EXPECT_EQ(engine_.newLines(),
              (Lines{"VELQ_DB_Interface\tNo  number  in DB!", "VELQ_DB_Interface\tNo number  in DB!"}));
}

TEST_P(NumberReading, each_uid_is_traced)
{
    engine_.installation.addNumber(own_.list, "1");
    engine_.installation.addNumber(own_.list, "2");
    readUids(own_, -1);
    EXPECT_EQ(engine_.newLines(),
              (Lines{"VELQ_DB_Interface\tGet one number: id = 1", "VELQ_DB_Interface\tGet one number: id = 2"}));
}

TEST_P(NumberReading, unknown_uid_leaves_the_record_and_succeeds)
{
    engine_.installation.addNumber(own_.list, "1");
    VELQ_WideChar marker = 0;
    for (const std::int32_t uid : {2, 0, -1}) {
        NumberRecord record{&marker, &marker};
        EXPECT_EQ(own_.read(&record, uid), 0);
        EXPECT_EQ(record.number, &marker);
        EXPECT_EQ(record.name, &marker);
    }
    EXPECT_EQ(countLinesWith(engine_.newLines(), "******** Not Found number in store *********"), 3u);
}

TEST_P(NumberReading, bytes_from_128_on_are_widened_with_their_sign)
{
    addRow(Value::ofText(std::string("2\xE9"
                                     "1\0",
                                     4)),
           Value::ofBlob(std::string(2, '\0')));
    NumberRecord record{nullptr, nullptr};
    ASSERT_EQ(own_.read(&record, 1), 0);
    EXPECT_EQ(WideText(record.number), (WideText{'1', 0xFFE9, '2'}));
    own_.freeRecord(&record);
}

TEST_P(NumberReading, name_ends_at_its_first_zero_unit_or_with_its_blob)
{
    const Value number = Value::ofText(storedNumber("1"));
    addRow(number, Value::ofBlob(utf16BytesWithTerminator(wide("ab")) + utf16Bytes(wide("cd"))));
    addRow(number, Value::ofBlob(utf16Bytes(wide("no end"))));
    addRow(number, Value::ofBlob(utf16Bytes(wide("odd")) + "x"));
    addRow(number, Value::ofBlob({}));
    addRow(number, Value::ofNull());
    addRow(number, Value::ofBlob(utf16BytesWithTerminator(WideText{0xD800, 'a'})));
    NumberListNode *head = nullptr;
    ASSERT_EQ(own_.getList(&head, -1), 0);
    std::vector<WideText> names;
    for (const NumberListNode *node = head; node != nullptr; node = node->next) {
        names.emplace_back(node->name);
    }
    own_.freeList(head);
    EXPECT_EQ(names, (std::vector<WideText>{wide("ab"), wide("no end"), wide("odd"), {}, {}, WideText{0xD800, 'a'}}));
}

TEST_P(NumberReading, missing_number_reads_as_empty)
{
    addRow(Value::ofNull(), Value::ofNull(), Value::ofNull());
    EXPECT_EQ(readList(own_, -1), Lines{"||0"});
}

TEST_P(NumberReading, delivered_number_reads_as_its_first_character)
{
    addRow(Value::ofBlob(utf16BytesWithTerminator(wide("13812345678"))),
           Value::ofBlob(utf16BytesWithTerminator(wide("bank"))));
    EXPECT_EQ(readList(own_, -1), Lines{"1|bank|0"});
}

TEST_P(NumberReading, long_list_comes_in_the_order_of_its_rows)
{
    Lines expected;
    Rows rows;
    for (int i = 0; i < 500; ++i) {
        const std::string number = std::to_string(13800000000 + i);
        rows.push_back({Value::ofText(storedNumber(number)), Value::ofBlob(std::string(2, '\0')), Value::ofInteger(i)});
        expected.push_back(number + "||" + std::to_string(i));
    }
    engine_.installation.open(fileOf(own_.list))
        .execForEach("INSERT INTO " + tableOf(own_.list) + "(hidden, number, name, extendID) VALUES(0, ?, ?, ?);",
                     rows);
    EXPECT_EQ(readList(own_, -1), expected);
    EXPECT_EQ(countOf(own_), 500);
    EXPECT_EQ(readUids(own_, -1).size(), 500u);
}

TEST_P(NumberReading, reads_change_nothing)
{
    engine_.installation.addNumber(own_.list, "1");
    const Lines before = allStores(engine_.installation);
    readList(own_, -1);
    readUids(own_, -1);
    countOf(own_);
    EXPECT_EQ(allStores(engine_.installation), before);
}

TEST_P(NumberReading, missing_file_fails_every_read)
{
    std::filesystem::remove(engine_.installation.dataFile(fileOf(own_.list)));
    std::int32_t count = 77;
    VELQ_WideChar marker = 0;
    NumberRecord record{&marker, &marker};
    EXPECT_EQ(readList(own_, -1, VELQ_ERR_FAILED), Lines{});
    EXPECT_EQ(readUids(own_, -1, VELQ_ERR_FAILED), std::vector<std::int32_t>{});
    EXPECT_EQ(own_.count(&count), VELQ_ERR_FAILED);
    EXPECT_EQ(own_.read(&record, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(count, 77);
    EXPECT_EQ(record.number, &marker);
    EXPECT_EQ(countLinesWith(engine_.newLines(), "VELQ_DB_Interface\tError: VELQ_DSH_Open, rc=14"), 4u);
    EXPECT_FALSE(std::filesystem::exists(engine_.installation.dataFile(fileOf(own_.list))));
}

} // namespace
} // namespace velq::test
