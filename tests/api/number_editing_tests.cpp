// Adding to and removing from the two number lists: stored bytes, matching, what stays when a call is refused or fails.
#include "api/front_helpers.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace velq::test {
namespace {

class NumberEditing : public ::testing::TestWithParam<std::tuple<ListExports, StartVariant>> {
  protected:
    NumberEditing() : engine_(std::get<1>(GetParam())) {}

    void SetUp() override
    {
        ASSERT_TRUE(engine_.isRunning());
    }
    Installation &installation()
    {
        return engine_.installation;
    }
    Lines numbers() const
    {
        return storedNumbers(engine_.installation, own_.list);
    }
    Lines otherNumbers() const
    {
        return storedNumbers(engine_.installation, own_.other);
    }
    std::int32_t add(const std::string &number, std::int32_t hidden = 0, std::int32_t extendID = 0)
    {
        return own_.add(OwnedRecord(number).get(), hidden, extendID);
    }

    const ListExports &own_ = std::get<0>(GetParam());
    FrontEngine engine_;
};

INSTANTIATE_TEST_SUITE_P(both, NumberEditing,
                         ::testing::Combine(::testing::Values(blackExports, whiteExports),
                                            ::testing::Values(StartVariant::plain, StartVariant::norix)),
                         [](const ::testing::TestParamInfo<std::tuple<ListExports, StartVariant>> &given) {
                             return std::string(std::get<0>(given.param).name) +
                                    (std::get<1>(given.param) == StartVariant::norix ? "_norix" : "_plain");
                         });

// ---- What an add stores

TEST_P(NumberEditing, add_stores_the_reversed_number_with_its_terminator_and_the_name_as_a_blob)
{
    EXPECT_EQ(own_.add(OwnedRecord("+8613812345678", "Ann 中 😀").get(), 1, -5), 0);
    EXPECT_EQ(own_.add(OwnedRecord("10086").withoutName().get(), 0, std::numeric_limits<std::int32_t>::max()), 0);
    EXPECT_EQ(own_.add(OwnedRecord("12", "").get(), 0, std::numeric_limits<std::int32_t>::min()), 0);
    EXPECT_EQ(installation().numberRows(own_.list),
              (Rows{{Value::ofInteger(1), Value::ofInteger(1), Value::ofText(std::string("8765432183168+\0", 15)),
                     Value::ofBlob(utf16BytesWithTerminator(wide("Ann 中 😀"))), Value::ofInteger(-5)},
                    {Value::ofInteger(2), Value::ofInteger(0), Value::ofText(std::string("68001\0", 6)),
                     Value::ofBlob(std::string(2, '\0')), Value::ofInteger(2147483647)},
                    {Value::ofInteger(3), Value::ofInteger(0), Value::ofText(std::string("21\0", 3)),
                     Value::ofBlob(std::string(2, '\0')), Value::ofInteger(-2147483648LL)}}));
    EXPECT_EQ(engine_.newLines(), Lines{});
}

TEST_P(NumberEditing, add_leaves_the_callers_record_as_it_was)
{
    WideText number = wide("13812345678");
    WideText name = wide("Ann");
    const NumberRecord record{number.data(), name.data()};
    EXPECT_EQ(own_.add(&record, 0, 0), 0);
    EXPECT_EQ(own_.remove(&record), 0);
    EXPECT_EQ(number, wide("13812345678"));
    EXPECT_EQ(name, wide("Ann"));
    EXPECT_EQ(record.number, number.data());
    EXPECT_EQ(record.name, name.data());
}

TEST_P(NumberEditing, add_keeps_the_low_byte_of_each_unit)
{
    WideText number = {0x4E31, 0x00E9, 0xFF32};
    const NumberRecord record{number.data(), nullptr};
    EXPECT_EQ(own_.add(&record, 0, 0), 0);
    EXPECT_EQ(installation().numberRows(own_.list).at(0).at(2), Value::ofText(std::string("2\xE9"
                                                                                          "1\0",
                                                                                          4)));
}

TEST_P(NumberEditing, add_of_a_matching_number_keeps_the_old_entry)
{
    EXPECT_EQ(own_.add(OwnedRecord("13812345678", "old").get(), 1, 7), 0);
    const Rows before = installation().numberRows(own_.list);
    for (const char *again : {"13812345678", "+8613812345678", "008613812345678"}) {
        EXPECT_EQ(own_.add(OwnedRecord(again, "new").get(), 0, 8), 0) << again;
    }
    EXPECT_EQ(installation().numberRows(own_.list), before);
    EXPECT_EQ(add("3812345678"), 0);
    EXPECT_EQ(add("23812345678"), 0);
    EXPECT_EQ(numbers(), (Lines{"13812345678", "3812345678", "23812345678"}));
}

TEST_P(NumberEditing, empty_number_is_never_a_duplicate_nor_removed_by_number)
{
    EXPECT_EQ(add(""), 0);
    EXPECT_EQ(add(""), 0);
    EXPECT_EQ(numbers(), (Lines{"", ""}));
    EXPECT_EQ(installation().numberRows(own_.list).at(0).at(2), Value::ofText(std::string(1, '\0')));
    EXPECT_EQ(own_.remove(OwnedRecord("").get()), 0);
    EXPECT_EQ(numbers().size(), 2u);
}

TEST_P(NumberEditing, add_takes_every_matching_number_off_the_other_list)
{
    for (const char *number : {"13812345678", "+8613812345678", "10086", "008613812345678"}) {
        installation().addNumber(own_.other, number);
    }
    EXPECT_EQ(add("13812345678"), 0);
    EXPECT_EQ(numbers(), Lines{"13812345678"});
    EXPECT_EQ(otherNumbers(), Lines{"10086"});
    EXPECT_EQ(add("10086"), 0);
    EXPECT_EQ(otherNumbers(), Lines{});
}

TEST_P(NumberEditing, add_of_a_present_number_still_clears_the_other_list)
{
    installation().addNumber(own_.list, "13812345678");
    installation().addNumber(own_.other, "13812345678");
    EXPECT_EQ(add("13812345678"), 0);
    EXPECT_EQ(numbers(), Lines{"13812345678"});
    EXPECT_EQ(otherNumbers(), Lines{});
}

TEST_P(NumberEditing, add_with_a_bad_hidden_value_fails_after_the_other_list_was_cleared)
{
    for (const std::int32_t hidden : {2, -1, 100}) {
        installation().addNumber(own_.other, "13812345678");
        EXPECT_EQ(add("13812345678", hidden), VELQ_ERR_FAILED);
        EXPECT_EQ(numbers(), Lines{});
        EXPECT_EQ(otherNumbers(), Lines{});
    }
    EXPECT_EQ(engine_.newLines(), Lines{}) << "nothing is logged";
}

// ---- Limits of records

struct BadRecord {
    const char *what;
    const NumberRecord *record;
};

TEST_P(NumberEditing, numbers_and_names_of_29_characters_are_taken)
{
    const std::string number(29, '7');
    const std::string name(29, 'n');
    EXPECT_EQ(own_.add(OwnedRecord(number, name).get(), 0, 0), 0);
    const Row row = installation().numberRows(own_.list).at(0);
    EXPECT_EQ(row.at(2), Value::ofText(storedNumber(number)));
    EXPECT_EQ(row.at(3), Value::ofBlob(utf16BytesWithTerminator(wide(name))));
    EXPECT_EQ(own_.remove(OwnedRecord(number, name).get()), 0);
    EXPECT_EQ(numbers(), Lines{});
}

TEST_P(NumberEditing, bad_records_are_refused_with_an_error_line_before_anything_changes)
{
    const OwnedRecord longNumber(std::string(30, '7'));
    const OwnedRecord longName("13812345678", std::string(30, 'n'));
    const OwnedRecord veryLong(std::string(4000, '7'), std::string(4000, 'n'));
    OwnedRecord noNumber("1");
    noNumber.withoutNumber();
    const BadRecord bad[] = {{"null record", nullptr},
                             {"null number", noNumber.get()},
                             {"number of 30 characters", longNumber.get()},
                             {"name of 30 units", longName.get()},
                             {"very long texts", veryLong.get()}};
    for (const NumberList list : {NumberList::white, NumberList::black}) {
        installation().addNumber(list, "13812345678");
        installation().addNumber(list, std::string(30, '7'));
    }
    const Lines before = allStores(engine_.installation);
    const std::vector<std::function<std::int32_t(const NumberRecord *)>> calls = {
        [this](const NumberRecord *record) { return own_.add(record, 0, 0); },
        [this](const NumberRecord *record) { return own_.add(record, 2, 0); },
        [this](const NumberRecord *record) { return own_.remove(record); }};
    for (const BadRecord &given : bad) {
        for (const auto &call : calls) {
            EXPECT_EQ(call(given.record), VELQ_ERR_FAILED) << given.what;
            const Lines lines = engine_.newLines();
            ASSERT_EQ(lines.size(), 1u) << given.what;
            EXPECT_NE(lines[0].find("\tError: "), std::string::npos) << lines[0];
        }
    }
    EXPECT_EQ(allStores(engine_.installation), before);
}

// ---- Removing

TEST_P(NumberEditing, remove_deletes_every_row_that_matches)
{
    for (const char *number : {"13812345678", "+8613812345678", "23812345678", "3812345678", "10086", "010086"}) {
        installation().addNumber(own_.list, number);
        installation().addNumber(own_.other, number);
    }
    EXPECT_EQ(own_.remove(OwnedRecord("13812345678").get()), 0);
    EXPECT_EQ(numbers(), (Lines{"23812345678", "3812345678", "10086", "010086"}));
    EXPECT_EQ(own_.remove(OwnedRecord("10086", "any name").get()), 0);
    EXPECT_EQ(numbers(), (Lines{"23812345678", "3812345678", "010086"}));
    EXPECT_EQ(otherNumbers().size(), 6u) << "the other list is not touched";
}

TEST_P(NumberEditing, removing_what_is_not_there_succeeds)
{
    installation().addNumber(own_.list, "1");
    EXPECT_EQ(own_.remove(OwnedRecord("13812345678").get()), 0);
    EXPECT_EQ(own_.deleteByUid(99), 0);
    EXPECT_EQ(own_.deleteByUid(-1), 0);
    EXPECT_EQ(own_.deleteByExtendId(99), 0);
    EXPECT_EQ(numbers(), Lines{"1"});
}

TEST_P(NumberEditing, remove_all_takes_every_row_or_those_of_one_class)
{
    const auto fill = [this] {
        installation().open(fileOf(own_.list)).exec("DELETE FROM " + tableOf(own_.list) + ";");
        installation().addNumber(own_.list, "1", 0);
        installation().addNumber(own_.list, "2", 1);
        installation().addNumber(own_.list, "3", 0);
        installation().addNumberRow(own_.list, Value::ofInteger(5), Value::ofText(storedNumber("4")),
                                    Value::ofBlob(std::string(2, '\0')), Value::ofInteger(0));
    };
    fill();
    EXPECT_EQ(own_.removeAll(0), 0);
    EXPECT_EQ(numbers(), (Lines{"2", "4"}));
    fill();
    EXPECT_EQ(own_.removeAll(1), 0);
    EXPECT_EQ(numbers(), (Lines{"1", "3", "4"}));
    fill();
    for (const std::int32_t bad : {2, -2, 5}) {
        EXPECT_EQ(own_.removeAll(bad), VELQ_ERR_FAILED);
    }
    EXPECT_EQ(numbers().size(), 4u);
    EXPECT_EQ(own_.removeAll(-1), 0);
    EXPECT_EQ(numbers(), Lines{});
    EXPECT_EQ(own_.removeAll(-1), 0) << "an empty list too";
}

TEST_P(NumberEditing, remove_all_leaves_the_other_list)
{
    installation().addNumber(own_.other, "1");
    EXPECT_EQ(own_.removeAll(-1), 0);
    EXPECT_EQ(otherNumbers(), Lines{"1"});
}

TEST_P(NumberEditing, delete_by_uid_takes_one_row_and_by_extend_id_all_of_a_group)
{
    for (int i = 1; i <= 5; ++i) {
        installation().addNumber(own_.list, std::to_string(i), 0, {}, i % 2 == 0 ? -3 : 7);
        installation().addNumber(own_.other, std::to_string(i), 0, {}, 7);
    }
    EXPECT_EQ(own_.deleteByUid(2), 0);
    EXPECT_EQ(numbers(), (Lines{"1", "3", "4", "5"}));
    EXPECT_EQ(own_.deleteByExtendId(7), 0);
    EXPECT_EQ(numbers(), Lines{"4"});
    EXPECT_EQ(own_.deleteByExtendId(-3), 0);
    EXPECT_EQ(numbers(), Lines{});
    EXPECT_EQ(otherNumbers().size(), 5u);
}

// ---- Failures inside the database

TEST_P(NumberEditing, failed_insert_leaves_the_list_as_it_was)
{
    installation().addNumber(own_.list, "1");
    installation()
        .open(fileOf(own_.list))
        .exec("CREATE TRIGGER refuse BEFORE INSERT ON " + tableOf(own_.list) +
              " BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(add("2"), VELQ_ERR_FAILED);
    EXPECT_EQ(numbers(), Lines{"1"});
    EXPECT_EQ(engine_.newLines(), (Lines{"VELQ_DB_Interface\tError: VELQ_DSH_doNext, rc=19",
                                         "VELQ_DB_Interface\t**********Error: Leave db_AddNumberRecord()!********"}));
}

TEST_P(NumberEditing, failed_delete_leaves_the_list_as_it_was)
{
    installation().addNumber(own_.list, "1", 0, {}, 7);
    installation().addNumber(own_.list, "2", 0, {}, 7);
    installation()
        .open(fileOf(own_.list))
        .exec("CREATE TRIGGER refuse BEFORE DELETE ON " + tableOf(own_.list) +
              " WHEN old.uid = 2 BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(own_.remove(OwnedRecord("2").get()), VELQ_ERR_FAILED);
    EXPECT_EQ(own_.removeAll(-1), VELQ_ERR_FAILED);
    EXPECT_EQ(own_.deleteByUid(2), VELQ_ERR_FAILED);
    EXPECT_EQ(own_.deleteByExtendId(7), VELQ_ERR_FAILED);
    EXPECT_EQ(numbers(), (Lines{"1", "2"}));
    const std::string cause = "VELQ_DB_Interface\tError: VELQ_DSH_doNext, rc=19";
    const std::string leave = "VELQ_DB_Interface\t**********Error: Leave ";
    EXPECT_EQ(engine_.newLines(),
              (Lines{cause, leave + "db_DeleteNumberRecord()!********", cause,
                     leave + "db_DeleteAllNumberRecords()!********", cause, leave + "db_DeleteNumberByUID()!********",
                     cause, leave + "db_DeleteNumberByExtendID()!********"}));
}

TEST_P(NumberEditing, add_still_runs_when_the_other_list_cannot_be_cleared)
{
    installation().addNumber(own_.other, "13812345678");
    {
        const HeldLock lock(installation().dataFile(fileOf(own_.other)), HeldLock::Kind::immediate);
        EXPECT_EQ(add("13812345678"), 0);
    }
    EXPECT_EQ(numbers(), Lines{"13812345678"});
    EXPECT_EQ(otherNumbers(), Lines{"13812345678"}) << "then it stands on both lists";
}

// ---- The busy rule, by the clock

TEST_P(NumberEditing, short_lock_is_waited_for)
{
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    // On a busy machine the holder may wake too late, or the call begin too late; then the run is made again.
    constexpr milliseconds mostThatIsSurvived{240};
    constexpr int attempts = 20;
    for (int i = 0; i < attempts; ++i) {
        const auto start = steady_clock::now();
        HeldLock lock(installation().dataFile(fileOf(own_.list)), HeldLock::Kind::immediate);
        std::thread holder([&lock] {
            std::this_thread::sleep_for(milliseconds(120));
            lock.release();
        });
        const std::int32_t result = own_.removeAll(-1);
        holder.join();
        const bool heldTooLong = steady_clock::now() - start > mostThatIsSurvived;
        ASSERT_TRUE(result == VELQ_SUCCESS || heldTooLong) << "result " << result;
        if (result == VELQ_SUCCESS && countLinesWith(engine_.newLines(), "There's still retry chance") > 0) {
            return;
        }
    }
    FAIL() << "no call waited for a lock of 120 milliseconds";
}

TEST_P(NumberEditing, long_lock_ends_the_call_after_five_retries)
{
    const HeldLock lock(installation().dataFile(fileOf(own_.list)), HeldLock::Kind::immediate);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(own_.removeAll(-1), VELQ_ERR_FAILED);
    const auto waited = std::chrono::steady_clock::now() - before;
    EXPECT_GE(waited, std::chrono::milliseconds(250));
    Lines expected;
    for (int i = 0; i < 5; ++i) {
        expected.push_back("VELQ_Util\tThere's still retry chance, has retry " + std::to_string(i) +
                           " times!Sleep and retry!");
    }
    expected.push_back("VELQ_DB_Interface\tError: VELQ_DSH_Exec, BEGIN TRANSACTION");
    expected.push_back("VELQ_DB_Interface\t**********Error: Leave db_DeleteAllNumberRecords()!********");
    EXPECT_EQ(engine_.newLines(), expected);
}

} // namespace
} // namespace velq::test
