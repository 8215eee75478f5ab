// The bounds on what a file can do: one that fires is a failure that the log names, whatever in the file has made it
// fire; and what an owner's own triggers, checks and computed columns do, long names, write-ahead logs and a million
// rows meet none.
#include "hostile_files.h"
#include "support/log_reader.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <vector>

using namespace velq::test;

namespace {

class Bounds : public HostileFiles {
  protected:
    std::vector<std::string> log() const
    {
        return logLines(installation_.logFile("engine.log"));
    }

    // How often the log names a bound; all of them when none is given.
    std::size_t named(const std::string &bound = {}) const
    {
        return countLinesWith(log(), "Error: file beyond a bound: " + bound);
    }

    std::optional<int> probabilityVersion() const
    {
        return installation_.version(VELQ_DATA_PROBABILITY);
    }

    // A table beside the list with two values of so many bytes, for triggers to compute with.
    void addLongValues(const std::string &file, int size) const
    {
        installation_.open(file).exec(
            "CREATE TABLE long(a, b, c); INSERT INTO long SELECT x, x || '.', y FROM (SELECT replace(hex(zeroblob(" +
            std::to_string(size / 4) + ")), '00', 'aa') AS x, '%' || replace(hex(zeroblob(10)), '0', 'a%') AS y);");
    }
};

bool isOn(NumberList list, std::string_view number, const Installation &installation)
{
    for (const Row &row : installation.numberRows(list)) {
        if (row[2].bytes.starts_with(storedNumber(number))) {
            return true;
        }
    }
    return false;
}

// How many numbers a reading of the black list returns.
int blackNumbersRead()
{
    NumberListNode *head = nullptr;
    EXPECT_EQ(VELQ_GetBlackNumberList(&head, VELQ_HIDDEN_ANY), VELQ_SUCCESS);
    int count = 0;
    for (const NumberListNode *node = head; node != nullptr; node = node->next) {
        ++count;
    }
    VELQ_FreeBlackNumberList(head);
    return count;
}

} // namespace

// ---- A bound is a failure and no end

TEST_F(Bounds, an_update_row_beyond_the_length_of_a_value_takes_the_update_back)
{
    const std::string huge(2'000'000, 'x');
    const std::optional<int> version = probabilityVersion();
    makeProbabilityUpdate(updatePath(), {probabilityRow(VELQ_TEXT("ab"), {3, 4, 5}),
                                         {Value::ofBlob(huge), Value::ofBlob(huge)},
                                         probabilityRow(VELQ_TEXT("cd"), {3, 4, 5})});
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_FALSE(installation_.token(VELQ_TEXT("ab")).has_value());
    EXPECT_EQ(probabilityVersion(), version);
    EXPECT_EQ(named("length of a value"), 1U);
    EXPECT_EQ(countLinesWith(log(), "**********Error: Leave db_MergeDiff2ProbTable()!********"), 1U);
}

TEST_F(Bounds, a_number_row_beyond_the_length_of_a_value_takes_the_update_back)
{
    const std::optional<int> version = installation_.version(VELQ_DATA_WHITE_NUMBERS);
    makeWhiteNumberUpdate(updatePath(), {whiteNumberRow(VELQ_TEXT("111"), VELQ_TEXT("one")),
                                         {Value::ofBlob(std::string(1'100'000, 'x')), Value::ofBlob("\0\0")},
                                         whiteNumberRow(VELQ_TEXT("222"), VELQ_TEXT("two"))});
    const EngineSession session(installation_);
    EXPECT_EQ(updateWhiteNumbers(), VELQ_ERR_FAILED);
    EXPECT_EQ(installation_.numberRows(NumberList::white).size(), 1U);
    EXPECT_EQ(installation_.version(VELQ_DATA_WHITE_NUMBERS), version);
    EXPECT_EQ(named("length of a value"), 1U);
}

TEST_F(Bounds, a_list_beyond_its_bounds_gives_nothing)
{
    remake("bn.bin", "PRAGMA page_size = 512; CREATE TABLE blackList(uid INTEGER PRIMARY KEY, hidden, number, name AS "
                     "(replace(number || number, 'a', '123456')), extendID);");
    {
        Database list = installation_.open("bn.bin");
        list.exec("INSERT INTO blackList(hidden, number) VALUES(0, '1'), (0, '2');");
        list.exec("INSERT INTO blackList(hidden, number) VALUES(0, replace(hex(zeroblob(200000)), '0', 'a'));");
    }
    const EngineSession session(installation_);
    NumberListNode *head = nullptr;
    EXPECT_EQ(bounded([&head] { return VELQ_GetBlackNumberList(&head, VELQ_HIDDEN_ANY); }), VELQ_ERR_FAILED);
    EXPECT_EQ(head, nullptr);
    EXPECT_EQ(named(), 1U);
    UIDListNode *uids = nullptr;
    EXPECT_EQ(bounded([&uids] { return VELQ_GetBlackNumberUIDList(&uids, VELQ_HIDDEN_ANY); }), VELQ_SUCCESS);
    EXPECT_NE(uids, nullptr);
    VELQ_FreeBlackNumberUIDList(uids);
}

TEST_F(Bounds, a_number_that_cannot_be_taken_off_a_list_is_not_put_on_the_other)
{
    installation_.open("wn.bin").exec("CREATE TRIGGER loop BEFORE DELETE ON whiteList BEGIN SELECT (" + infiniteRows +
                                      " SELECT count(*) FROM c); END;");
    const EngineSession session(installation_);
    EXPECT_EQ(addNumber(NumberList::black, VELQ_TEXT("13812345678")), VELQ_ERR_FAILED);
    EXPECT_TRUE(isOn(NumberList::white, "13812345678", installation_));
    EXPECT_FALSE(isOn(NumberList::black, "13812345678", installation_));
    EXPECT_EQ(named("steps"), 1U);
}

TEST_F(Bounds, a_rating_beyond_the_bounds_fails_as_any_step_and_names_the_bound)
{
    installation_.open("prob.bin")
        .exec("CREATE TRIGGER loop BEFORE UPDATE ON velqTable BEGIN SELECT (" + infiniteRows +
              " SELECT count(*) FROM c); END;");
    const EngineSession session(installation_);
    EXPECT_EQ(rate(VELQ_TEXT("free cash prizes and lunch"), VELQ_TEXT("13900001111")),
              static_cast<std::uint32_t>(VELQ_RATING_SPAM));
    EXPECT_EQ(installation_.token(VELQ_TEXT("free")), (TokenCounts{9, 1, 0}));
    EXPECT_EQ(named("steps"), 1U) << "training goes on behind the first write that failed";
}

// ---- Update files are strangers

TEST_F(Bounds, an_update_is_only_read)
{
    makeProbabilityUpdate(updatePath(), {probabilityRow(VELQ_TEXT("ab"), {3, 4, 5})});
    const std::string content = readFile(updatePath());
    std::filesystem::permissions(updatePath(), std::filesystem::perms::owner_read);
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_SUCCESS);
    EXPECT_EQ(installation_.token(VELQ_TEXT("ab")), (TokenCounts{3, 4, 5}));
    EXPECT_EQ(readFile(updatePath()), content);
}

TEST_F(Bounds, an_update_with_a_write_ahead_log_is_read_with_it)
{
    makeProbabilityUpdate(updatePath(), {probabilityRow(VELQ_TEXT("ab"), {3, 4, 5})});
    Database writer(updatePath());
    writer.exec("PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;");
    writer.query("INSERT INTO diffProbTable VALUES(?, ?);",
                 {probabilityRow(VELQ_TEXT("cd"), {6, 7, 8}).key, probabilityRow(VELQ_TEXT("cd"), {6, 7, 8}).value});
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_SUCCESS);
    EXPECT_EQ(installation_.token(VELQ_TEXT("cd")), (TokenCounts{6, 7, 8}));
}

class ComputedUpdate : public Bounds, public testing::WithParamInterface<const char *> {};

TEST_P(ComputedUpdate, is_refused_without_computing)
{
    const EngineSession session(installation_);
    const auto before = contentsBeside(installation_.folder(), {"update.db"});
    makeComputedUpdate("diffProbTable", std::string("id, ") + GetParam());
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_EQ(named("computed columns") + named("size of the schema's code"), 1U);
    EXPECT_EQ(contentsBeside(installation_.folder(), {"update.db"}), before);
}

INSTANTIATE_TEST_SUITE_P(
    Columns, ComputedUpdate,
    testing::Values("key AS (zeroblob(12) LIKE zeroblob(40000)), value AS (zeroblob(12))",
                    "key AS (hex(id)), value GENERATED ALWAYS AS (x'010000000000000000000000') VIRTUAL",
                    "key As/* ( */\n(id || id), value", "key \"AS\" AS (id), value",
                    "key AS(k1||k1),k1 AS(k2||k2),k2 AS(k3||k3),k3 AS(k4||k4),k4 AS(k5||k5),k5 AS(k6||k6),"
                    "k6 AS(k7||k7),k7 AS(k8||k8),k8 AS(k9||k9),k9 AS(l1||l1),l1 AS(l2||l2),l2 AS(l3||l3),"
                    "l3 AS(l4||l4),l4 AS(l5||l5),l5 AS(l6||l6),l6 AS(l7||l7),l7 AS(l8||l8),l8 AS(l9||l9),"
                    "l9 AS(m1||m1),m1 AS(m2||m2),m2 AS(m3||m3),m3 AS(m4||m4),m4 AS(m5||m5),m5 AS(m6||m6),"
                    "m6 AS(m7||m7),m7 AS(m8||m8),m8 AS(m9||m9),m9 AS(id),value"));

TEST_F(Bounds, an_update_may_name_its_columns_as_it_likes)
{
    makeUpdate("CREATE TABLE diffProbTable(key /* AS (key) */, value DEFAULT (1) CHECK(value <> ' AS ('), \"AS\", "
               "[b as (c)]); CREATE INDEX keys ON diffProbTable(key || value) WHERE key LIKE '%';"
               "INSERT INTO diffProbTable(key, value) VALUES(x'610062000000', x'030000000400000005000000');");
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_SUCCESS);
    EXPECT_EQ(installation_.token(VELQ_TEXT("ab")), (TokenCounts{3, 4, 5}));
}

// ---- What code in a data file can do

struct HostileCode {
    const char *name;
    const char *expression; // over the columns a, b (texts without end in common) and c (a pattern) of the table "long"
};

constexpr const char *rowsWithoutEnd = "(WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) SELECT ";

class HostileTrigger : public Bounds, public testing::WithParamInterface<std::tuple<HostileCode, int>> {
  protected:
    std::string expression() const
    {
        std::string text = std::get<0>(GetParam()).expression;
        const std::size_t rows = text.find("ROWS ");
        return rows == std::string::npos ? text : text.replace(rows, 5, rowsWithoutEnd) + ")";
    }
    int size() const
    {
        return std::get<1>(GetParam());
    }
};

TEST_P(HostileTrigger, fails_the_call_within_the_bounds_and_changes_nothing)
{
    for (const std::string file : {"wn.bin", "prob.bin"}) {
        addLongValues(file, size());
        const std::string event = file == "wn.bin" ? "INSERT ON whiteList" : "UPDATE ON velqTable";
        installation_.open(file).exec("CREATE TRIGGER hostile AFTER " + event + " BEGIN INSERT INTO long SELECT " +
                                      expression() + ", 0, 0 FROM long; END;");
    }
    const Rows before = installation_.numberRows(NumberList::white);
    const StartVariant variant = size() == 60'000 ? StartVariant::norix : StartVariant::plain;
    const EngineSession session(installation_, variant);
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
    const std::int32_t batch = addBatch(VELQ_TEXT("13700000000"));
    EXPECT_TRUE(batch == VELQ_ERR_BATCH_FAILED || batch == VELQ_ERR_DATABASE_FULL) << batch;
    const WideText body = VELQ_TEXT("free cash prizes and lunch");
    EXPECT_EQ(bounded([&body] { return VELQ_SetMsgAsSpam(body.c_str()); }), VELQ_SUCCESS);
    EXPECT_EQ(bounded([&body] { return VELQ_SetMsgAsHam(body.c_str(), VELQ_TEXT("5550000")); }), VELQ_SUCCESS);
    rate(body, VELQ_TEXT("13900001111"));
    EXPECT_EQ(installation_.numberRows(NumberList::white), before);
    EXPECT_EQ(installation_.token(VELQ_TEXT("free")), (TokenCounts{9, 1, 0}));
    EXPECT_GE(countLinesWith(logLines(installation_.logFile(logFileNameOf(variant))), "file beyond a bound: "), 5U);
}

INSTANTIATE_TEST_SUITE_P(
    Expressions, HostileTrigger,
    testing::Combine(
        testing::Values(
            HostileCode{"rows_without_end", "ROWS count(*) FROM n"},
            HostileCode{"long_rows_without_end", "ROWS max(a || x) FROM n"},
            HostileCode{"comparisons_without_end", "ROWS sum(instr(a || x, b)) FROM n"},
            HostileCode{"patterns_without_end", "ROWS sum((a || x) LIKE c) FROM n"},
            HostileCode{"sorted_values",
                        "ROWS group_concat(y) FROM (SELECT hex(randomblob(9999)) AS y FROM n ORDER BY y)"},
            HostileCode{"distinct_values", "ROWS count(DISTINCT hex(randomblob(9999))) FROM n"},
            HostileCode{"windows", "ROWS max(y) FROM (SELECT count(a || x) OVER (ORDER BY x DESC) AS y FROM n)"},
            HostileCode{"a_gigabyte_of_zeros", "hex(zeroblob(900000000))"},
            HostileCode{"a_gigabyte_of_format", "printf('%.*c', 900000000, 'x')"},
            HostileCode{"a_gigabyte_of_replacements", "replace(hex(zeroblob(30000)), '0', hex(zeroblob(30000)))"},
            HostileCode{"quotes_without_end", "ROWS sum(length(quote(hex(a || x)))) FROM n"}),
        testing::Values(1'000, 60'000, 400'000)),
    [](const auto &test) {
        return std::string(std::get<0>(test.param).name) + "_of_" + std::to_string(std::get<1>(test.param));
    });

TEST_F(Bounds, a_function_that_would_work_for_hours_is_not_called)
{
    addLongValues("wn.bin", 800'000);
    for (const std::string call : {"instr(a, b)", "replace(a, b, '')", "trim(a, b || 'c')", "a LIKE '%' || b",
                                   "a GLOB '*' || substr(b, 1, 40000)", "ltrim(a, b)"}) {
        SCOPED_TRACE(call);
        installation_.open("wn.bin").exec(
            "DROP TRIGGER IF EXISTS hostile; CREATE TRIGGER hostile AFTER INSERT ON whiteList "
            "BEGIN INSERT INTO long SELECT " +
            call + ", 0, 0 FROM long; END;");
        const std::size_t before = named("work of a function");
        const EngineSession session(installation_);
        EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
        EXPECT_EQ(named("work of a function"), before + 1);
    }
}

TEST_F(Bounds, a_trigger_cannot_fill_the_disk)
{
    for (const std::string journal : {"DELETE", "WAL"}) {
        SCOPED_TRACE(journal);
        Database list = installation_.open("wn.bin");
        list.exec("PRAGMA journal_mode = " + journal +
                  "; CREATE TABLE IF NOT EXISTS log(x); DROP TRIGGER IF EXISTS fill;"
                  "CREATE TRIGGER fill AFTER INSERT ON whiteList BEGIN INSERT INTO log " +
                  infiniteRows + " SELECT randomblob(9999) FROM c; END;");
        const EngineSession session(installation_);
        EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
        EXPECT_EQ(addBatch(VELQ_TEXT("13700000000")), VELQ_ERR_DATABASE_FULL);
        EXPECT_EQ(installation_.numberRows(NumberList::white).size(), 1U);
    }
    EXPECT_EQ(named("growth of the file"), 4U);
}

TEST_F(Bounds, a_statement_cannot_hold_values_beyond_the_memory)
{
    addLongValues("wn.bin", 400'000);
    std::string wideRow = "a || 0";
    for (int i = 1; i < 120; ++i) {
        wideRow += ", b || " + std::to_string(i);
    }
    std::string doubled = "a";
    for (int i = 0; i < 8; ++i) {
        doubled += " || " + doubled;
    }
    for (const std::string &expression : {"max(" + wideRow + ")", doubled}) {
        installation_.open("wn.bin").exec(
            "DROP TRIGGER IF EXISTS hostile; CREATE TRIGGER hostile AFTER INSERT ON whiteList "
            "BEGIN INSERT INTO long SELECT " +
            expression + ", 0, 0 FROM long; END;");
        const EngineSession session(installation_);
        EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
    }
    EXPECT_EQ(named(), 2U);
}

TEST_F(Bounds, rows_with_many_long_computed_values_end_in_time)
{
    std::string columns;
    std::string sum = "1";
    for (int i = 0; i < 60; ++i) {
        columns += ", v" + std::to_string(i) + " AS (hex(zeroblob(4000 + uid % 9)) LIKE '%1%')";
        sum += " + v" + std::to_string(i);
    }
    remake("bn.bin", "CREATE TABLE blackList(uid INTEGER PRIMARY KEY, hidden, number, name AS (" + sum + "), extendID" +
                         columns +
                         ");"
                         "INSERT INTO blackList(hidden, number) WITH c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c "
                         "LIMIT 3000) SELECT 0, x FROM c;");
    const EngineSession session(installation_);
    std::int32_t count = 0;
    EXPECT_EQ(countList(NumberList::black, &count), VELQ_ERR_FAILED);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(named(), 1U);
}

// ---- Schemas that take for ever to compile

TEST_F(Bounds, computed_columns_that_multiply_are_not_compiled)
{
    std::string columns = "uid INTEGER PRIMARY KEY, hidden, number, extendID, name AS (n0 || n0)";
    for (int i = 0; i < 40; ++i) {
        const std::string next = "n" + std::to_string(i + 1);
        columns += ", n" + std::to_string(i) + " AS (" + next + " || \"" + next + "\")";
    }
    remake("bn.bin", "CREATE TABLE blackList(" + columns + ", n40);");
    const EngineSession session(installation_);
    std::int32_t count = 0;
    EXPECT_EQ(countList(NumberList::black, &count), VELQ_ERR_FAILED);
    EXPECT_EQ(rate(VELQ_TEXT("lunch"), VELQ_TEXT("13812345678")), static_cast<std::uint32_t>(VELQ_RATING_HAM));
    EXPECT_EQ(named("size of the schema's code"), 2U);
}

TEST_F(Bounds, tables_of_with_clauses_that_multiply_are_not_compiled)
{
    std::string with = "WITH t0(x) AS (SELECT 1)";
    for (int i = 0; i < 30; ++i) {
        const std::string before = "t" + std::to_string(i);
        with += ", t" + std::to_string(i + 1) + "(x) AS (SELECT p.x FROM " + before + " p, '" + before + "' q)";
    }
    installation_.open("wn.bin").exec("CREATE TRIGGER hostile AFTER INSERT ON whiteList BEGIN SELECT (" + with +
                                      " SELECT count(*) FROM t30); END;");
    const EngineSession session(installation_);
    EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
    EXPECT_EQ(named("size of the schema's code"), 1U);
}

TEST_F(Bounds, subqueries_that_multiply_are_not_compiled)
{
    std::string query = "SELECT number AS y FROM whiteList";
    for (int i = 0; i < 8; ++i) {
        query = "SELECT y || y || y || y || y || y || y || y || y || y || y || y AS y FROM (" + query + ")";
    }
    installation_.open("wn.bin").exec("CREATE TRIGGER hostile AFTER INSERT ON whiteList BEGIN " + query + "; END;");
    const EngineSession session(installation_);
    EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
    EXPECT_EQ(named("size of the schema's code"), 1U);
}

// ---- What honest files have

TEST_F(Bounds, a_list_with_a_long_name_is_read_to_its_end)
{
    const std::string name(3'000'000, 'x');
    installation_.addNumberRow(NumberList::black, Value::ofInteger(0), Value::ofText("12345"), Value::ofBlob(name),
                               Value::ofInteger(2));
    installation_.addNumber(NumberList::black, "777");
    const EngineSession session(installation_);
    NumberListNode *head = nullptr;
    ASSERT_EQ(VELQ_GetBlackNumberList(&head, VELQ_HIDDEN_ANY), VELQ_SUCCESS);
    ASSERT_NE(head, nullptr);
    ASSERT_NE(head->next, nullptr);
    EXPECT_EQ(std::char_traits<VELQ_WideChar>::length(head->next->name), name.size() / 2);
    EXPECT_NE(head->next->next, nullptr);
    VELQ_FreeBlackNumberList(head);
    EXPECT_EQ(named(), 0U);
}

TEST_F(Bounds, a_list_in_a_write_ahead_log_is_read_to_its_end)
{
    Database writer = installation_.open("bn.bin");
    writer.exec("PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;"
                "INSERT INTO blackList(hidden, number, name, extendID) WITH c(x) AS (SELECT 1 UNION ALL SELECT x + 1 "
                "FROM c LIMIT 300000) SELECT 0, x, x'0000', x FROM c;");
    const EngineSession session(installation_);
    EXPECT_EQ(blackNumbersRead(), 300'001);
}

TEST_F(Bounds, an_owners_triggers_checks_and_computed_columns_go_on_working)
{
    for (const std::string table : {"whiteList", "blackList"}) {
        remake(table == "whiteList" ? "wn.bin" : "bn.bin",
               "CREATE TABLE log(text);"
               "CREATE TABLE " +
                   table +
                   "(uid INTEGER PRIMARY KEY, hidden, number CHECK(number NOT LIKE '%x%' AND "
                   "trim(number) = number), name DEFAULT (hex(zeroblob(2))), extendID, "
                   "digits AS (replace(number, '+', '00')) CHECK(digits NOT GLOB '*-*'));"
                   "CREATE INDEX numbers ON " +
                   table +
                   "(substr(number, 1, 11)) WHERE instr(number, '1');"
                   "CREATE TRIGGER added AFTER INSERT ON " +
                   table +
                   " WHEN new.number LIKE '%' BEGIN "
                   "INSERT INTO log VALUES(printf('added %s', trim(replace(CAST(new.number AS TEXT), '1', 'i')))); END;"
                   "CREATE TRIGGER removed AFTER DELETE ON " +
                   table +
                   " WHEN instr(old.number, '1') BEGIN "
                   "INSERT INTO log SELECT 'removed ' || group_concat(ltrim(text, 'd')) FROM (SELECT text FROM log "
                   "ORDER BY 1);"
                   "DELETE FROM log WHERE text LIKE 'nothing of the kind'; END;");
    }
    for (const StartVariant variant : {StartVariant::plain, StartVariant::norix}) {
        const EngineSession session(installation_, variant);
        ASSERT_EQ(session.result(), VELQ_SUCCESS);
        EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_SUCCESS);
        EXPECT_TRUE(isOn(NumberList::white, "13700000000", installation_));
        EXPECT_EQ(addNumber(NumberList::black, VELQ_TEXT("13700000000")), VELQ_SUCCESS);
        EXPECT_TRUE(isOn(NumberList::black, "13700000000", installation_));
        EXPECT_FALSE(isOn(NumberList::white, "13700000000", installation_));
        EXPECT_EQ(addBatch(VELQ_TEXT("13600000000")), VELQ_SUCCESS);
        EXPECT_EQ(rate(VELQ_TEXT("anything"), VELQ_TEXT("13700000000")), static_cast<std::uint32_t>(VELQ_RATING_SPAM));
        EXPECT_EQ(VELQ_RemoveAllBlackNumberSync(VELQ_HIDDEN_ANY), VELQ_SUCCESS);
        EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("+13500000000")), VELQ_SUCCESS);
    }
    const Rows log = installation_.open("wn.bin").query("SELECT text FROM log ORDER BY rowid LIMIT 2;");
    ASSERT_EQ(log.size(), 2U);
    EXPECT_EQ(log[0][0].bytes, "added 0000000073i");
    EXPECT_EQ(log[1][0].bytes, "removed added 0000000073i");
    EXPECT_EQ(named(), 0U);
}

TEST_F(Bounds, a_trigger_beside_a_long_name_keeps_the_list_readable)
{
    installation_.addNumberRow(NumberList::black, Value::ofInteger(0), Value::ofText("12345"),
                               Value::ofBlob(std::string(900'000, 'x')), Value::ofInteger(2));
    installation_.open("bn.bin").exec("CREATE TABLE log(text); CREATE TRIGGER added AFTER INSERT ON blackList BEGIN "
                                      "INSERT INTO log VALUES(trim(new.number)); END;");
    const EngineSession session(installation_);
    std::int32_t count = 0;
    EXPECT_EQ(countList(NumberList::black, &count), VELQ_SUCCESS);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(addNumber(NumberList::black, VELQ_TEXT("13700000000")), VELQ_SUCCESS);
}

TEST_F(Bounds, a_trigger_on_every_row_of_a_large_list_goes_on_working)
{
    Database list = installation_.open("bn.bin");
    list.exec("INSERT INTO blackList(hidden, number, name, extendID) WITH c(x) AS (SELECT 1 UNION ALL SELECT x + 1 "
              "FROM c LIMIT 100000) SELECT 0, x, x'0000', x FROM c;"
              "CREATE TABLE log(text); CREATE TRIGGER removed AFTER DELETE ON blackList BEGIN "
              "INSERT INTO log VALUES(trim(old.number)); END;");
    const EngineSession session(installation_);
    EXPECT_EQ(VELQ_RemoveAllBlackNumberSync(VELQ_HIDDEN_ANY), VELQ_SUCCESS);
    EXPECT_EQ(installation_.open("bn.bin").query("SELECT count(*) FROM log;").at(0).at(0).integer, 100'001);
    EXPECT_EQ(named(), 0U);
}

// ---- Time

namespace {

// In place of the system's clock, for SQLite: each time that it is asked it is so many milliseconds later.
class StandInClock {
  public:
    explicit StandInClock(double millisecondsPerCall)
    {
        perCall = millisecondsPerCall;
        calls = 0;
        system_->xCurrentTimeInt64 = tell;
    }
    ~StandInClock()
    {
        system_->xCurrentTimeInt64 = systemClock_;
    }
    StandInClock(const StandInClock &) = delete;
    StandInClock &operator=(const StandInClock &) = delete;

    static std::int64_t callsSoFar()
    {
        return calls;
    }

  private:
    static int tell(sqlite3_vfs *, sqlite3_int64 *now)
    {
        constexpr sqlite3_int64 someDay = 212'000'000'000'000;
        *now = someDay + static_cast<sqlite3_int64>(perCall * static_cast<double>(++calls));
        return SQLITE_OK;
    }

    static inline double perCall = 0;
    static inline std::int64_t calls = 0;
    sqlite3_vfs *system_ = sqlite3_vfs_find(nullptr);
    int (*systemClock_)(sqlite3_vfs *, sqlite3_int64 *) = system_->xCurrentTimeInt64;
};

class TimeOfOwner : public Bounds, public testing::WithParamInterface<int> {
  protected:
    // Removes all numbers, each with a trigger's work. Returns how often the clock was asked.
    std::int64_t removeAll(double millisecondsPerCall, std::int32_t expected)
    {
        remake("bn.bin", "CREATE TABLE blackList(uid INTEGER PRIMARY KEY, hidden, number, name, extendID);"
                         "CREATE TABLE log(text); CREATE TRIGGER removed AFTER DELETE ON blackList BEGIN "
                         "INSERT INTO log VALUES(trim(old.number)); END;"
                         "INSERT INTO blackList(hidden, number, name, extendID) WITH c(x) AS (SELECT 1 UNION ALL "
                         "SELECT x + 1 FROM c LIMIT " +
                             std::to_string(GetParam()) + ") SELECT 0, x, zeroblob(30), x FROM c;");
        bytes_ = std::filesystem::file_size(installation_.dataFile("bn.bin"));
        const EngineSession session(installation_);
        const StandInClock clock(millisecondsPerCall);
        EXPECT_EQ(VELQ_RemoveAllBlackNumberSync(VELQ_HIDDEN_ANY), expected) << bytes_ << " bytes";
        return StandInClock::callsSoFar();
    }

    // In milliseconds.
    double timeOfTheFile() const
    {
        const double megabytes = static_cast<double>(bytes_) / 1e6;
        return 400 + 400 * std::min(megabytes, 1.0) + 4000 * std::max(megabytes - 1, 0.0);
    }

    std::uintmax_t bytes_ = 0;
};

} // namespace

TEST_P(TimeOfOwner, is_some_for_every_file_and_more_for_each_megabyte_beyond_the_first)
{
    const auto calls = static_cast<double>(removeAll(0, VELQ_SUCCESS));
    removeAll(0.8 * timeOfTheFile() / calls, VELQ_SUCCESS);
    EXPECT_EQ(named(), 0U);
    removeAll(1.2 * timeOfTheFile() / calls, VELQ_ERR_FAILED);
    EXPECT_EQ(named("time"), 1U);
}

INSTANTIATE_TEST_SUITE_P(Rows, TimeOfOwner, testing::Values(6'000, 60'000));

TEST_F(Bounds, a_million_delivered_rows_are_merged_and_a_million_entries_listed)
{
    makeUpdate(
        "CREATE TABLE diffProbTable(key, value); WITH c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 1000000) "
        "INSERT INTO diffProbTable SELECT CAST(printf('%08d', x) AS BLOB) || x'0000', x'010000000200000000000000' "
        "FROM c;");
    const EngineSession session(installation_);
    const WideText path = widePath(updatePath());
    EXPECT_EQ(VELQ_UpdateData(path.c_str(), 5, nullptr, 0), VELQ_SUCCESS);
    EXPECT_EQ(installation_.open("prob.bin").query("SELECT count(*) > 1000000 FROM velqTable;").at(0).at(0).integer, 1);
    installation_.open("bn.bin").exec(
        "INSERT INTO blackList(hidden, number, name, extendID) WITH c(x) AS (SELECT 1 UNION "
        "ALL SELECT x + 1 FROM c LIMIT 1000000) SELECT 0, x, x'61000000', x FROM c;");
    EXPECT_EQ(blackNumbersRead(), 1'000'001);
    EXPECT_EQ(named(), 0U);
}
