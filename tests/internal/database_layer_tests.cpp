// The database-access operations by themselves, and the opening of files in the form in which the engine names them.
#include "VELQ_DB_Connection.h"
#include "VELQ_Util.h"
#include "internal/dsh_faults.h"
#include "internal/front_fixture.h"
#include "support/system.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <sqlite3.h>
#include <string>
#include <utility>
#include <vector>

namespace velq::test {
namespace {

// A database with one table and a connection to it through the access layer.
class AccessLayer : public ::testing::Test {
  protected:
    void SetUp() override
    {
        file_ = folder_.path() / "store.db";
        Database(file_, OpenMode::create).exec("CREATE TABLE t(a, b);");
        ASSERT_EQ(VELQ_DSH_Open(file_.string().c_str(), &connection_), VELQ_DSH_OK);
    }
    void TearDown() override
    {
        EXPECT_EQ(VELQ_DSH_Close(connection_), VELQ_DSH_OK);
    }

    VELQ_DSH_Statement *prepare(const std::string &sql)
    {
        VELQ_DSH_Statement *statement = nullptr;
        const char *tail = nullptr;
        EXPECT_EQ(VELQ_DSH_Prepare(connection_, sql.c_str(), static_cast<int>(sql.size()), &statement, &tail), 0);
        return statement;
    }
    int execute(const char *sql)
    {
        return VELQ_DSH_Exec(connection_, sql, nullptr, nullptr, nullptr);
    }

    TemporaryFolder folder_;
    std::filesystem::path file_;
    VELQ_DSH_Connection *connection_ = nullptr;
};

TEST_F(AccessLayer, opening_a_missing_file_fails_and_creates_nothing)
{
    const std::filesystem::path missing = folder_.path() / "missing.db";
    VELQ_DSH_Connection *connection = nullptr;
    EXPECT_EQ(VELQ_DSH_Open(missing.string().c_str(), &connection), VELQ_DSH_CANTOPEN);
    EXPECT_NE(connection, nullptr) << "the handle is to be closed all the same";
    EXPECT_EQ(VELQ_DSH_Close(connection), VELQ_DSH_OK);
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST_F(AccessLayer, opening_a_folder_fails)
{
    VELQ_DSH_Connection *connection = nullptr;
    EXPECT_NE(VELQ_DSH_Open(folder_.path().string().c_str(), &connection), VELQ_DSH_OK);
    EXPECT_EQ(VELQ_DSH_Close(connection), VELQ_DSH_OK);
}

TEST_F(AccessLayer, write_protected_file_is_opened_for_reading)
{
    using std::filesystem::perms;
    std::filesystem::permissions(file_, perms::owner_read | perms::group_read | perms::others_read);
    const OrdinaryUser user;
    if (OrdinaryUser::canWrite(file_)) {
        GTEST_SKIP() << "the file's protection binds no user here";
    }
    VELQ_DSH_Connection *connection = nullptr;
    EXPECT_EQ(VELQ_DSH_Open(file_.string().c_str(), &connection), VELQ_DSH_OK);
    EXPECT_NE(VELQ_DSH_Exec(connection, "INSERT INTO t VALUES(1, 2);", nullptr, nullptr, nullptr), VELQ_DSH_OK);
    EXPECT_EQ(VELQ_DSH_Close(connection), VELQ_DSH_OK);
}

TEST_F(AccessLayer, releasing_null_succeeds)
{
    EXPECT_EQ(VELQ_DSH_Close(nullptr), VELQ_DSH_OK);
    EXPECT_EQ(VELQ_DSH_Fini(nullptr), VELQ_DSH_OK);
    VELQ_DSH_Free(nullptr);
}

TEST_F(AccessLayer, bound_values_are_stored_with_their_classes_and_bytes)
{
    VELQ_DSH_Statement *insert = prepare("INSERT INTO t VALUES(?, ?);");
    static constexpr char text[] = "321";
    static constexpr char blob[] = {'a', '\0', 'b', '\0'};
    EXPECT_EQ(VELQ_DSH_mapText(insert, 1, text, static_cast<int>(std::strlen(text)) + 1, nullptr), 0);
    EXPECT_EQ(VELQ_DSH_mapBlob(insert, 2, blob, sizeof blob, nullptr), 0);
    EXPECT_EQ(VELQ_DSH_doNext(insert), VELQ_DSH_DONE);
    EXPECT_EQ(VELQ_DSH_Reset(insert), 0);
    EXPECT_EQ(VELQ_DSH_mapInt(insert, 1, -2147483647 - 1), 0);
    EXPECT_EQ(VELQ_DSH_mapInt(insert, 2, 2147483647), 0);
    EXPECT_EQ(VELQ_DSH_doNext(insert), VELQ_DSH_DONE);
    EXPECT_EQ(VELQ_DSH_Fini(insert), 0);
    EXPECT_EQ(Database(file_).query("SELECT a, b FROM t ORDER BY rowid;"),
              (Rows{{Value::ofText(std::string("321\0", 4)), Value::ofBlob(std::string("a\0b\0", 4))},
                    {Value::ofInteger(-2147483648LL), Value::ofInteger(2147483647)}}));
}

TEST_F(AccessLayer, columns_are_read_by_index_from_zero)
{
    Database(file_).query("INSERT INTO t VALUES(?, ?);", {Value::ofInteger(42), Value::ofText("text")});
    VELQ_DSH_Statement *select = prepare("SELECT a, b FROM t;");
    ASSERT_EQ(VELQ_DSH_doNext(select), VELQ_DSH_ROW);
    EXPECT_EQ(VELQ_DSH_getInt(select, 0), 42);
    EXPECT_STREQ(reinterpret_cast<const char *>(VELQ_DSH_getText(select, 1)), "text");
    EXPECT_EQ(VELQ_DSH_getBytes(select, 1), 4);
    EXPECT_EQ(std::memcmp(VELQ_DSH_getBlob(select, 1), "text", 4), 0);
    EXPECT_EQ(VELQ_DSH_doNext(select), VELQ_DSH_DONE);
    EXPECT_EQ(VELQ_DSH_Fini(select), 0);
}

TEST_F(AccessLayer, bad_sql_gives_a_code_no_statement_and_an_error_text)
{
    VELQ_DSH_Statement *statement = nullptr;
    const char *tail = nullptr;
    const std::string sql = "select a FROM nowhere;";
    EXPECT_EQ(VELQ_DSH_Prepare(connection_, sql.c_str(), static_cast<int>(sql.size()), &statement, &tail), 1);
    EXPECT_EQ(statement, nullptr);
    EXPECT_STREQ(VELQ_DSH_Error(connection_), "no such table: nowhere");
}

TEST_F(AccessLayer, failed_execution_hands_out_an_error_text_when_asked)
{
    char *error = nullptr;
    EXPECT_EQ(VELQ_DSH_Exec(connection_, "nonsense;", nullptr, nullptr, &error), 1);
    ASSERT_NE(error, nullptr);
    EXPECT_NE(std::string(error).find("nonsense"), std::string::npos);
    VELQ_DSH_Free(error);
    EXPECT_EQ(execute("nonsense;"), 1);
}

TEST_F(AccessLayer, execution_calls_back_for_each_row)
{
    int rows = 0;
    EXPECT_EQ(VELQ_DSH_Exec(
                  connection_, "SELECT 1 UNION SELECT 2;",
                  [](void *count, int, char **, char **) {
                      ++*static_cast<int *>(count);
                      return 0;
                  },
                  &rows, nullptr),
              0);
    EXPECT_EQ(rows, 2);
}

TEST_F(AccessLayer, step_reports_the_specific_code_of_a_full_database)
{
    EXPECT_EQ(execute("PRAGMA max_page_count = 2;"), 0);
    VELQ_DSH_Statement *insert = prepare("INSERT INTO t VALUES(1, zeroblob(100000));");
    EXPECT_EQ(VELQ_DSH_doNext(insert), VELQ_DSH_FULL);
    VELQ_DSH_Fini(insert);
}

TEST_F(AccessLayer, step_reports_busy_and_asks_the_handler_with_its_count)
{
    static std::vector<int> counts;
    static void *lastArgument = nullptr;
    counts.clear();
    int marker = 0;
    ASSERT_EQ(VELQ_DSH_busyHandler(
                  connection_,
                  [](void *argument, int count) {
                      lastArgument = argument;
                      counts.push_back(count);
                      return count < 3 ? 1 : 0;
                  },
                  &marker),
              0);
    const HeldLock lock(file_);
    EXPECT_EQ(execute("BEGIN IMMEDIATE TRANSACTION;"), VELQ_DSH_BUSY);
    EXPECT_EQ(counts, (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(lastArgument, &marker);
}

TEST_F(AccessLayer, registered_function_reads_its_arguments_and_sets_an_integer)
{
    ASSERT_EQ(VELQ_DSH_makeUserHand(
                  connection_, "lengths", 2, VELQ_DSH_ANY_TEXT, connection_,
                  [](VELQ_DSH_Context *context, int count, VELQ_DSH_Value **values) {
                      const auto *first = reinterpret_cast<const char *>(VELQ_DSH_resultText(values[0]));
                      const unsigned char *second = VELQ_DSH_resultText(values[1]);
                      VELQ_DSH_returnInt(context, count * 100 + static_cast<int>(std::strlen(first)) * 10 +
                                                      (second == nullptr ? 1 : 0));
                  },
                  nullptr, nullptr),
              0);
    VELQ_DSH_Statement *select = prepare("SELECT lengths('abc', NULL);");
    ASSERT_EQ(VELQ_DSH_doNext(select), VELQ_DSH_ROW);
    EXPECT_EQ(VELQ_DSH_getInt(select, 0), 231);
    EXPECT_EQ(VELQ_DSH_Fini(select), 0);
}

TEST_F(AccessLayer, function_that_is_registered_again_is_the_new_one)
{
    const VELQ_DSH_Function answers[] = {
        [](VELQ_DSH_Context *context, int, VELQ_DSH_Value **) { VELQ_DSH_returnInt(context, 1); },
        [](VELQ_DSH_Context *context, int, VELQ_DSH_Value **) { VELQ_DSH_returnInt(context, 2); }};
    for (const int i : {0, 0, 1, 1, 0}) {
        ASSERT_EQ(VELQ_DSH_makeUserHand(connection_, "answer", 0, VELQ_DSH_ANY_TEXT, connection_, answers[i], nullptr,
                                        nullptr),
                  0);
        VELQ_DSH_Statement *select = prepare("SELECT answer();");
        ASSERT_EQ(VELQ_DSH_doNext(select), VELQ_DSH_ROW);
        EXPECT_EQ(VELQ_DSH_getInt(select, 0), i + 1);
        VELQ_DSH_Keep(select);
    }
}

TEST_F(AccessLayer, function_that_stands_is_left_as_it_is)
{
    const VELQ_DSH_Function answers[] = {
        [](VELQ_DSH_Context *context, int, VELQ_DSH_Value **) { VELQ_DSH_returnInt(context, 1); },
        [](VELQ_DSH_Context *context, int, VELQ_DSH_Value **) { VELQ_DSH_returnInt(context, 2); }};
    const auto enter = [&](int i) {
        return VELQ_DSH_makeUserHand(connection_, "answer", 0, VELQ_DSH_ANY_TEXT, connection_, answers[i], nullptr,
                                     nullptr);
    };
    ASSERT_EQ(enter(0), 0);
    VELQ_DSH_Statement *select = prepare("SELECT 1;");
    ASSERT_EQ(VELQ_DSH_doNext(select), VELQ_DSH_ROW);
    EXPECT_EQ(enter(0), 0) << "nothing is to be exchanged";
    EXPECT_EQ(enter(1), VELQ_DSH_BUSY) << "no function is exchanged while a statement runs";
    EXPECT_EQ(VELQ_DSH_Fini(select), 0);
}

TEST_F(AccessLayer, statement_that_was_kept_is_handed_out_for_its_text)
{
    execute("INSERT INTO t VALUES(1, 2);");
    VELQ_DSH_Statement *first = prepare("SELECT a FROM t WHERE a = ?;");
    VELQ_DSH_mapInt(first, 1, 1);
    ASSERT_EQ(VELQ_DSH_doNext(first), VELQ_DSH_ROW);
    VELQ_DSH_Keep(first);
    EXPECT_EQ(Database(file_).query("SELECT 1 FROM t;").size(), 1U);
    Database(file_).exec("BEGIN EXCLUSIVE; COMMIT;"); // no lock is left
    VELQ_DSH_Statement *other = prepare("SELECT a FROM t;");
    EXPECT_NE(other, first);
    VELQ_DSH_Statement *again = prepare("SELECT a FROM t WHERE a = ?;");
    EXPECT_EQ(again, first);
    EXPECT_EQ(VELQ_DSH_doNext(again), VELQ_DSH_DONE) << "the bound value is gone";
    VELQ_DSH_Statement *third = prepare("SELECT a FROM t WHERE a = ?;");
    EXPECT_NE(third, again) << "it is in use";
    VELQ_DSH_Keep(again);
    VELQ_DSH_Keep(third);
    VELQ_DSH_Keep(other);
    VELQ_DSH_Keep(nullptr);
}

TEST_F(AccessLayer, four_statements_are_kept_those_that_came_last)
{
    const char *const texts[] = {"SELECT 0;", "SELECT 1;", "SELECT 2;", "SELECT 3;", "SELECT 4;"};
    VELQ_DSH_Statement *statements[5]{};
    for (int i = 0; i < 5; ++i) {
        statements[i] = prepare(texts[i]);
        ASSERT_EQ(VELQ_DSH_doNext(statements[i]), VELQ_DSH_ROW);
    }
    for (const int i : {3, 0, 4, 2, 1}) {
        VELQ_DSH_Keep(statements[i]);
    }
    std::set<std::string> kept;
    for (sqlite3_stmt *each = nullptr; (each = sqlite3_next_stmt(connection_, each)) != nullptr;) {
        kept.insert(sqlite3_sql(each));
    }
    EXPECT_EQ(kept, (std::set<std::string>{texts[0], texts[1], texts[2], texts[4]}));
    for (const int i : {2, 0, 1, 4}) {
        VELQ_DSH_Statement *again = prepare(texts[i]);
        EXPECT_EQ(again, statements[i]) << i;
        ASSERT_EQ(VELQ_DSH_doNext(again), VELQ_DSH_ROW);
        EXPECT_EQ(VELQ_DSH_getInt(again, 0), i);
        EXPECT_EQ(VELQ_DSH_Fini(again), 0);
    }
    VELQ_DSH_Statement *left = prepare(texts[3]);
    EXPECT_EQ(sqlite3_next_stmt(connection_, nullptr), left) << "and no other";
    VELQ_DSH_Keep(left);
    EXPECT_EQ(VELQ_DSH_Close(connection_), 0) << "with what it keeps";
    connection_ = nullptr;
}

TEST_F(AccessLayer, statement_whose_step_failed_is_not_kept)
{
    VELQ_DSH_Statement *first = prepare("SELECT a FROM t;");
    EXPECT_EQ(VELQ_DSH_doNext(first), VELQ_DSH_DONE);
    VELQ_DSH_Keep(first);
    Database(file_).exec("DROP TABLE t;");
    VELQ_DSH_Statement *again = prepare("SELECT a FROM t;");
    EXPECT_EQ(VELQ_DSH_doNext(again), 1);
    VELQ_DSH_Keep(again);
    const std::string sql = "SELECT a FROM t;";
    EXPECT_NE(VELQ_DSH_Prepare(connection_, sql.c_str(), static_cast<int>(sql.size()), &again, nullptr), 0);
}

TEST_F(AccessLayer, closing_abandons_an_open_transaction)
{
    EXPECT_EQ(execute("BEGIN IMMEDIATE TRANSACTION;"), 0);
    EXPECT_EQ(execute("INSERT INTO t VALUES(1, 2);"), 0);
    EXPECT_EQ(VELQ_DSH_Close(connection_), 0);
    connection_ = nullptr;
    EXPECT_TRUE(Database(file_).query("SELECT * FROM t;").empty());
}

TEST_F(AccessLayer, result_codes_are_the_databases_own)
{
    EXPECT_EQ(VELQ_DSH_OK, 0);
    EXPECT_EQ(VELQ_DSH_BUSY, 5);
    EXPECT_EQ(VELQ_DSH_FULL, 13);
    EXPECT_EQ(VELQ_DSH_CANTOPEN, 14);
    EXPECT_EQ(VELQ_DSH_ROW, 100);
    EXPECT_EQ(VELQ_DSH_DONE, 101);
    EXPECT_EQ(VELQ_DSH_ANY_TEXT, 5);
}

// ---- The mode of the file's journal

int firstInteger(void *out, int, char **values, char **)
{
    *static_cast<int *>(out) = std::atoi(values[0]);
    return 0;
}

int syncSetting(VELQ_DSH_Connection *connection)
{
    int setting = -1;
    EXPECT_EQ(VELQ_DSH_Exec(connection, "PRAGMA synchronous;", firstInteger, &setting, nullptr), VELQ_DSH_OK);
    return setting;
}

constexpr int syncNormal = 1;
constexpr int syncFull = 2;

TEST_F(AccessLayer, each_commit_waits_for_the_disk_but_in_write_ahead_mode)
{
    EXPECT_EQ(syncSetting(connection_), syncFull);
    ASSERT_EQ(VELQ_DSH_Close(connection_), VELQ_DSH_OK);
    Database(file_).query("PRAGMA journal_mode = WAL;");
    ASSERT_EQ(VELQ_DSH_Open(file_.string().c_str(), &connection_), VELQ_DSH_OK);
    EXPECT_EQ(syncSetting(connection_), syncNormal);
    EXPECT_EQ(execute("PRAGMA synchronous = FULL;"), VELQ_DSH_OK);
    EXPECT_EQ(syncSetting(connection_), syncFull);
}

TEST_F(AccessLayer, file_in_write_ahead_mode_that_somebody_keeps_for_himself_is_opened_all_the_same)
{
    ASSERT_EQ(VELQ_DSH_Close(connection_), VELQ_DSH_OK);
    std::optional<Database> owner(std::in_place, file_);
    owner->query("PRAGMA journal_mode = WAL;");
    owner->query("PRAGMA locking_mode = EXCLUSIVE;");
    owner->exec("INSERT INTO t VALUES(1, 2);");
    ASSERT_EQ(VELQ_DSH_Open(file_.string().c_str(), &connection_), VELQ_DSH_OK);
    EXPECT_EQ(execute("SELECT * FROM t;"), VELQ_DSH_BUSY);
    owner.reset();
    EXPECT_EQ(execute("SELECT * FROM t;"), VELQ_DSH_OK);
}

// ---- Opening under the engine's own names

TEST_F(AccessLayer, engine_paths_with_backslashes_are_opened)
{
    std::filesystem::create_directory(folder_.path() / "data");
    std::filesystem::copy_file(file_, folder_.path() / "data" / u8"中.db");
    VELQ_DSH_Connection *connection = nullptr;
    EXPECT_EQ(openDatabase((folder_.path().string() + "\\data\\中.db").c_str(), &connection), VELQ_DSH_OK);
    EXPECT_EQ(VELQ_DSH_Close(connection), VELQ_DSH_OK);
}

TEST_F(AccessLayer, null_path_and_no_memory_are_failed_opens)
{
    auto *connection = reinterpret_cast<VELQ_DSH_Connection *>(this);
    EXPECT_EQ(openDatabase(nullptr, &connection), VELQ_DSH_CANTOPEN);
    EXPECT_EQ(connection, nullptr);
    connection = reinterpret_cast<VELQ_DSH_Connection *>(this);
    const AllocationGuard memory(1);
    EXPECT_EQ(openDatabase(file_.string().c_str(), &connection), VELQ_DSH_CANTOPEN);
    EXPECT_EQ(connection, nullptr);
    EXPECT_EQ(memory.notReleased(), 0);
}

// ---- Missing and damaged data files, as the operations meet them

TEST(database_layer, deleted_data_file_is_a_failed_open_and_is_not_created)
{
    RunningEngine engine(Trace::off);
    std::filesystem::remove(engine.installation.dataFile("bn.bin"));
    std::int32_t count = 0;
    {
        const DshWatch watch;
        EXPECT_EQ(VELQ_GetTotalCountOfBlackNumber(&count), VELQ_ERR_FAILED);
        EXPECT_EQ(watch.calls(), (std::vector<std::string>{"open bn.bin", "close"}));
        EXPECT_TRUE(watch.everythingReleased());
    }
    EXPECT_EQ(engine.newLines(),
              (std::vector<std::string>{"VELQ_DB_Interface\tError: VELQ_DSH_Open, rc=14",
                                        "VELQ_DB_Interface\t**********Error:Leave db_GetTotalCount()!********"}));
    EXPECT_FALSE(std::filesystem::exists(engine.installation.dataFile("bn.bin")));
}

TEST(database_layer, file_that_is_no_database_fails_when_it_is_first_read)
{
    RunningEngine engine(Trace::off);
    std::ofstream(engine.installation.dataFile("wn.bin"), std::ios::trunc) << std::string(5000, 'x');
    NumberListNode *head = nullptr;
    EXPECT_EQ(VELQ_GetWhiteNumberList(&head, -1), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(),
              (std::vector<std::string>{"VELQ_DB_Interface\tError: VELQ_DSH_Prepare",
                                        "VELQ_DB_Interface\t**********Error:Leave db_GetNumberList()!********"}));
    EXPECT_EQ(VELQ_RemoveAllWhiteNumberSync(-1), VELQ_ERR_FAILED);
}

TEST(database_layer, file_without_its_table_fails_at_prepare)
{
    RunningEngine engine(Trace::off);
    engine.installation.open("ver.bin").exec("DROP TABLE versionTable;");
    VersionRecord record{1, 77};
    EXPECT_EQ(VELQ_GetCurVersion(&record), VELQ_ERR_FAILED);
    EXPECT_EQ(record.command, 1);
    EXPECT_EQ(record.version, 77);
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{}) << "its prepare line is a debug line";
}

} // namespace
} // namespace velq::test
