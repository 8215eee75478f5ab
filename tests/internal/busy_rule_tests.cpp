// The busy rule with a replaced sleep: how often it retries, what it writes at which level, and how an operation that
// meets a held lock ends. The rule with the real clock is checked through the library.
#include "VELQ_DB_Interface.h"
#include "VELQ_Update.h"
#include "internal/front_fixture.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace velq::test {
namespace {

std::vector<std::uint32_t> sleeps;
HeldLock *lockToRelease = nullptr;
std::size_t releaseAfter = 0;

// Records each rest in place of resting; lets a held lock go after so many of them.
class ReplacedSleep {
  public:
    explicit ReplacedSleep(HeldLock *lock = nullptr, std::size_t after = 0)
    {
        sleeps.clear();
        lockToRelease = lock;
        releaseAfter = after;
        platformCalls.sleepMilliseconds = [](std::uint32_t milliseconds) noexcept {
            sleeps.push_back(milliseconds);
            if (lockToRelease != nullptr && sleeps.size() == releaseAfter) {
                lockToRelease->release();
            }
        };
    }
    ~ReplacedSleep()
    {
        platformCalls = systemPlatformCalls();
        lockToRelease = nullptr;
    }
    ReplacedSleep(const ReplacedSleep &) = delete;
    ReplacedSleep &operator=(const ReplacedSleep &) = delete;
};

std::string retryLine(int count)
{
    return "VELQ_Util\tThere's still retry chance, has retry " + std::to_string(count) + " times!Sleep and retry!";
}

const std::string invokedLine = "VELQ_Util\tSqlite Busy Handler invoked!";

std::vector<std::string> retryLines(int count)
{
    std::vector<std::string> lines;
    for (int i = 0; i < count; ++i) {
        lines.push_back(retryLine(i));
    }
    return lines;
}

TEST(busy_rule, counts_below_five_sleep_fifty_milliseconds_and_retry)
{
    RunningEngine engine(Trace::off);
    const ReplacedSleep replaced;
    for (int count = 0; count < 5; ++count) {
        EXPECT_EQ(sqliteBusyHandler(nullptr, count), 1) << count;
    }
    EXPECT_EQ(sleeps, std::vector<std::uint32_t>(5, 50));
    EXPECT_EQ(engine.newLines(), retryLines(5));
}

TEST(busy_rule, counts_from_five_on_give_up_without_sleeping)
{
    RunningEngine engine(Trace::off);
    const ReplacedSleep replaced;
    for (const int count : {5, 6, 1000}) {
        EXPECT_EQ(sqliteBusyHandler(nullptr, count), 0) << count;
    }
    EXPECT_TRUE(sleeps.empty());
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{});
}

TEST(busy_rule, trace_adds_a_line_for_each_call)
{
    RunningEngine engine(Trace::on);
    const ReplacedSleep replaced;
    sqliteBusyHandler(nullptr, 4);
    sqliteBusyHandler(nullptr, 5);
    EXPECT_EQ(engine.newLines(), (std::vector<std::string>{invokedLine, retryLine(4), invokedLine}));
}

// ---- Operations against a held lock

struct BusyCase {
    const char *name;
    const char *file;
    std::function<int()> operation;
    int result;
    std::vector<std::string> linesAfterRetries;
};

std::ostream &operator<<(std::ostream &out, const BusyCase &busy)
{
    return out << busy.name;
}

std::vector<BusyCase> busyCases()
{
    const std::string lists = "VELQ_DB_Interface\t";
    const std::string begin = lists + "Error: VELQ_DSH_Exec, BEGIN TRANSACTION";
    const std::string beginOfUid = lists + "Error: Sqlite BEGIN TRANSACTION";
    const auto leave = [&lists](const char *function) {
        return lists + "**********Error: Leave " + function + "()!********";
    };
    // Reads meet the lock when the statement is prepared: the schema is read then.
    const std::string prepare = lists + "Error: VELQ_DSH_Prepare";
    const auto readLeave = [&lists](const char *function) {
        return lists + "**********Error:Leave " + function + "()!********";
    };
    return {
        {"remove_by_number",
         "bn.bin",
         [] {
             char number[numberKeyCapacity] = "123";
             return db_DeleteNumberRecord(nullptr, number, NUMBER_LIST_BLACK);
         },
         -2,
         {begin, leave("db_DeleteNumberRecord")}},
        {"remove_all",
         "wn.bin",
         [] { return db_DeleteAllNumberRecords(-1, NUMBER_LIST_WHITE); },
         -2,
         {begin, leave("db_DeleteAllNumberRecords")}},
        {"remove_by_uid",
         "wn.bin",
         [] { return db_DeleteNumberByUID(1, NUMBER_LIST_WHITE); },
         -2,
         {beginOfUid, leave("db_DeleteNumberByUID")}},
        {"remove_by_extend_id",
         "bn.bin",
         [] { return db_DeleteNumberByExtendID(1, NUMBER_LIST_BLACK); },
         -2,
         {beginOfUid, leave("db_DeleteNumberByExtendID")}},
        {"batch",
         "wn.bin",
         [] {
             WideText number = wide("123");
             const NumberListNode node{nullptr, nullptr, number.data(), 0};
             return db_AddNumberList(&node, 0, NUMBER_LIST_WHITE);
         },
         -8,
         {begin, leave("db_AddNumberList")}},
        {"add_rule",
         "ru.bin",
         [] {
             char number[numberKeyCapacity] = "123";
             return db_AddNumberRecord(nullptr, number, 0, 0, NUMBER_LIST_RULE);
         },
         -2,
         {begin, leave("db_AddNumberRecord")}},
        {"write_version",
         "ver.bin",
         [] {
             const VersionRecord record{0, 5};
             return db_UpdateVersion(&record);
         },
         -2,
         {}},
        {"search",
         "bn.bin",
         [] {
             std::uint8_t found = 0;
             return db_SearchBlackNumberList(&found, "321");
         },
         -2,
         {prepare, readLeave("db_SearchNumberList")}},
        {"list",
         "wn.bin",
         [] {
             NumberListNode *head = nullptr;
             return db_GetNumberList(&head, -1, NUMBER_LIST_WHITE);
         },
         -2,
         {prepare, readLeave("db_GetNumberList")}},
        {"uid_list",
         "wn.bin",
         [] {
             UIDListNode *head = nullptr;
             return db_GetNumberUIDList(&head, -1, NUMBER_LIST_WHITE);
         },
         -2,
         {prepare, readLeave("db_GetNumberUIDList")}},
        {"read",
         "bn.bin",
         [] {
             NumberRecord record{nullptr, nullptr};
             return db_ReadNumberByUID(&record, 1, NUMBER_LIST_BLACK);
         },
         -2,
         {lists + "Error: VELQ_DSH_Prepare, rc=0", readLeave("db_ReadNumberByUID")}},
        {"count",
         "bn.bin",
         [] {
             std::int32_t count = 0;
             return db_GetTotalCount(&count, NUMBER_LIST_BLACK);
         },
         -2,
         {readLeave("db_GetTotalCount")}},
        {"read_version",
         "ver.bin",
         [] {
             VersionRecord record{0, 0};
             return db_GetCurrentVersion(&record);
         },
         -2,
         {}},
    };
}

class BusyOperation : public ::testing::TestWithParam<BusyCase> {};

TEST_P(BusyOperation, fails_after_five_sleeps_on_a_lock_that_stays)
{
    const BusyCase &given = GetParam();
    RunningEngine engine(Trace::off);
    {
        const HeldLock lock(engine.installation.dataFile(given.file));
        const ReplacedSleep replaced;
        EXPECT_EQ(given.operation(), given.result);
        EXPECT_EQ(sleeps, std::vector<std::uint32_t>(5, 50));
    }
    std::vector<std::string> lines = retryLines(5);
    lines.insert(lines.end(), given.linesAfterRetries.begin(), given.linesAfterRetries.end());
    EXPECT_EQ(engine.newLines(), lines);
    EXPECT_EQ(given.operation(), 0) << "works once the lock is gone";
}

TEST_P(BusyOperation, succeeds_when_the_lock_goes_during_the_last_sleep)
{
    const BusyCase &given = GetParam();
    RunningEngine engine(Trace::off);
    HeldLock lock(engine.installation.dataFile(given.file));
    const ReplacedSleep replaced(&lock, 5);
    EXPECT_EQ(given.operation(), 0);
    EXPECT_EQ(sleeps.size(), 5u);
    EXPECT_EQ(engine.newLines(), retryLines(5));
}

INSTANTIATE_TEST_SUITE_P(every_operation, BusyOperation, ::testing::ValuesIn(busyCases()),
                         [](const ::testing::TestParamInfo<BusyCase> &given) { return given.param.name; });

TEST(busy_rule, readers_pass_a_writer_that_has_only_begun)
{
    RunningEngine engine(Trace::off);
    engine.installation.addNumber(NumberList::black, "13812345678");
    const HeldLock lock(engine.installation.dataFile("bn.bin"), HeldLock::Kind::immediate);
    const ReplacedSleep replaced;
    std::uint8_t found = 0;
    EXPECT_EQ(db_SearchBlackNumberList(&found, "87654321831"), 0);
    EXPECT_EQ(found, 1);
    EXPECT_TRUE(sleeps.empty());
    char number[numberKeyCapacity] = "1";
    EXPECT_EQ(db_DeleteNumberRecord(nullptr, number, NUMBER_LIST_BLACK), VELQ_ERR_FAILED) << "writers do not";
    EXPECT_EQ(sleeps.size(), 5u);
}

TEST(busy_rule, commit_that_meets_a_reader_is_retried_and_then_rolled_back)
{
    RunningEngine engine(Trace::off);
    engine.installation.addNumber(NumberList::black, "13812345678");
    Database reader = engine.installation.open("bn.bin");
    reader.exec("BEGIN; SELECT * FROM blackList;");
    const ReplacedSleep replaced;
    EXPECT_EQ(db_DeleteNumberByUID(1, NUMBER_LIST_BLACK), VELQ_ERR_FAILED);
    EXPECT_EQ(sleeps.size(), 5u);
    std::vector<std::string> lines = retryLines(5);
    lines.push_back("VELQ_DB_Interface\tError: VELQ_DSH_Exec, rc=5");
    lines.push_back("VELQ_DB_Interface\t**********Error:Leave db_DeleteNumberByUID()!********");
    EXPECT_EQ(engine.newLines(), lines);
    reader.exec("ROLLBACK;");
    EXPECT_EQ(engine.installation.numberRows(NumberList::black).size(), 1u);
}

TEST(busy_rule, kept_connections_get_the_rule_from_the_first_lookup)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    ASSERT_TRUE(engine.isRunning());
    const HeldLock lock(engine.installation.dataFile("wn.bin"));
    const ReplacedSleep replaced;
    std::uint8_t found = 0;
    EXPECT_EQ(db_SearchWhiteNumberList(&found, "321"), VELQ_ERR_FAILED);
    EXPECT_EQ(sleeps.size(), 5u);
}

} // namespace
} // namespace velq::test
