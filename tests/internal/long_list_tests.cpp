// Lookups in lists of more rows than a lookup visits before it asks the list's index: the answers are those of the
// plain statement, whatever the file holds and whatever fails.
#include "VELQ_DB_Connection.h"
#include "VELQ_DB_Interface.h"
#include "internal/dsh_faults.h"
#include "internal/front_fixture.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace velq::test {
namespace {

constexpr int rowsVisited = 1024;
constexpr int rowsVisitedKeptOpen = 512;
const std::string plainSql = "select * FROM blackList WHERE number LIKE ?;";
const std::string indexSql = "SELECT number, CAST('1' AS BLOB) = x'31' FROM blackList INDEXED BY blackListNumber"
                             " WHERE number < ? COLLATE BINARY ORDER BY number COLLATE BINARY DESC;";

// The matching rule once more, in its plain words.
void plainRule(VELQ_DSH_Context *context, int, VELQ_DSH_Value **values) noexcept
{
    const auto *a = reinterpret_cast<const char *>(VELQ_DSH_resultText(values[0]));
    const auto *b = reinterpret_cast<const char *>(VELQ_DSH_resultText(values[1]));
    if (a == nullptr || b == nullptr) {
        return;
    }
    const bool areLong = std::strlen(a) >= 11 && std::strlen(b) >= 11;
    const bool areShort = std::strlen(a) < 11 && std::strlen(b) < 11 && *a != '\0';
    VELQ_DSH_returnInt(context,
                       (areLong && std::memcmp(a, b, 11) == 0) || (areShort && std::strcmp(a, b) == 0) ? 1 : 0);
}

// 1 or 0; -2 for a failure.
int plainAnswer(const std::filesystem::path &file, const std::string &key)
{
    VELQ_DSH_Connection *connection = nullptr;
    VELQ_DSH_Statement *statement = nullptr;
    int code = VELQ_DSH_Open(file.string().c_str(), &connection);
    if (code == VELQ_DSH_OK) {
        VELQ_DSH_makeUserHand(connection, "like", 2, VELQ_DSH_ANY_TEXT, connection, plainRule, nullptr, nullptr);
        code = VELQ_DSH_Prepare(connection, plainSql.c_str(), static_cast<int>(plainSql.size()), &statement, nullptr);
    }
    if (code == VELQ_DSH_OK) {
        VELQ_DSH_mapText(statement, 1, key.c_str(), static_cast<int>(key.size()) + 1, nullptr);
        code = VELQ_DSH_doNext(statement);
    }
    VELQ_DSH_Fini(statement);
    VELQ_DSH_Close(connection);
    return code == VELQ_DSH_ROW ? 1 : code == VELQ_DSH_DONE ? 0 : -2;
}

int engineAnswer(const std::string &key)
{
    std::uint8_t found = 77;
    const int result = db_SearchBlackNumberList(&found, key.c_str());
    return result == 0 ? found : result;
}

// A list file of its own definition in the place of the delivered one.
struct ListForm {
    const char *name;
    const char *encoding;
    const char *table; // behind CREATE TABLE blackList
    const char *index; // behind CREATE INDEX blackListNumber ON blackList; null for none
};

std::ostream &operator<<(std::ostream &out, const ListForm &form)
{
    return out << form.name;
}

constexpr char delivered[] =
    "(uid INTEGER PRIMARY KEY AUTOINCREMENT, hidden BLOB, number BLOB, name BLOB, extendID BLOB)";
constexpr char ofText[] = "(uid INTEGER PRIMARY KEY, hidden, number TEXT COLLATE NOCASE, name, extendID)";
constexpr char ofNumeric[] = "(uid INTEGER PRIMARY KEY, hidden, number NUMERIC, name, extendID)";
constexpr char withoutRowid[] = "(uid INT, hidden, number, name, extendID, PRIMARY KEY(uid)) WITHOUT ROWID";

const ListForm forms[] = {
    {"delivered", "UTF-8", delivered, "(number) WHERE number IS NOT NULL"},
    {"whole_index", "UTF-8", delivered, "(number)"},
    {"no_index", "UTF-8", delivered, nullptr},
    {"utf16le", "UTF-16le", delivered, "(number) WHERE number IS NOT NULL"},
    {"utf16be", "UTF-16be", delivered, "(number)"},
    {"other_collation", "UTF-8", ofText, "(number)"},
    {"index_collation", "UTF-8", ofText, "(number COLLATE BINARY)"},
    {"trimming_index", "UTF-8", delivered, "(number COLLATE RTRIM)"},
    {"numeric_column", "UTF-8", ofNumeric, "(number) WHERE number IS NOT NULL"},
    {"integer_column", "UTF-8", "(uid INTEGER PRIMARY KEY, hidden, number INTEGER, name, extendID)", "(number)"},
    {"real_column", "UTF-8", "(uid INTEGER PRIMARY KEY, hidden, number REAL, name, extendID)", "(number)"},
    {"falling_index", "UTF-8", delivered, "(number DESC)"},
    {"wider_index", "UTF-8", delivered, "(number, name)"},
    {"index_of_other_column", "UTF-8", delivered, "(hidden, number)"},
    {"index_of_expression", "UTF-8", delivered, "(lower(number))"},
    {"index_of_some_rows", "UTF-8", delivered, "(number) WHERE hidden = 0"},
    {"without_rowid", "UTF-8", withoutRowid, "(number)"},
};

void fillForm(Database &database, const ListForm &form)
{
    database.exec(std::string("CREATE TABLE blackList") + form.table + ";");
    if (form.index != nullptr) {
        database.exec(std::string("CREATE INDEX blackListNumber ON blackList") + form.index + ";");
    }
}

void makeList(const std::filesystem::path &file, const ListForm &form)
{
    std::filesystem::remove(file);
    Database database(file, OpenMode::create);
    database.exec(std::string("PRAGMA encoding = '") + form.encoding + "';");
    fillForm(database, form);
}

// The same list in a table of its own, in the file that the standing connection has.
void makeListAnew(const std::filesystem::path &file, const ListForm &form)
{
    Database database(file);
    database.exec("DROP TABLE blackList;");
    fillForm(database, form);
}

// Does the work while the engine has the file closed, for some systems remove no open one.
void reopenStandingConnection(const std::function<void()> &work = [] {})
{
    ASSERT_EQ(VELQ_DSH_Close(engineState.blackListConn), VELQ_DSH_OK);
    work();
    ASSERT_EQ(openDatabase(engineState.blackListPath, &engineState.blackListConn), VELQ_DSH_OK);
}

// Texts that lie close together: few characters, lengths around the compared one, neighbours in the order of bytes.
class CloseTexts {
  public:
    explicit CloseTexts(std::uint32_t seed) : random_(seed) {}

    int below(int bound)
    {
        return std::uniform_int_distribution<int>(0, bound - 1)(random_);
    }
    std::string text()
    {
        static const std::string alphabet = "12\x01\xFF";
        std::string made = below(3) == 0 ? "1111111111" : below(2) == 0 ? "2121" : "";
        const int length = below(5);
        for (int i = 0; i < length; ++i) {
            made += below(4) == 0 ? alphabet[static_cast<std::size_t>(below(4))] : static_cast<char>('1' + below(2));
        }
        return made;
    }
    Value number(int classes)
    {
        std::string bytes = text();
        switch (below(5)) {
        case 0:
            bytes += std::string(1, '\0') + text();
            break;
        case 1:
            break;
        default:
            bytes += '\0';
        }
        switch (below(classes)) {
        case 0:
        case 1:
            return Value::ofText(bytes);
        case 2:
            return Value::ofBlob(bytes);
        case 3:
            return Value::ofNull();
        case 4:
            return Value::ofBlob(utf16BytesWithTerminator(wide(std::to_string(below(3000)))));
        case 5:
            return Value::ofInteger(below(2) == 0 ? below(300) : 11111111110LL + below(30));
        default:
            return Value::ofReal(below(2) == 0 ? 1.5 : 1e20 * below(30));
        }
    }

  private:
    std::mt19937 random_;
};

// What fills a list up to the pause and beyond matches no key that is asked for.
Value filler(int kind, int i)
{
    const std::string number = "x" + std::to_string(i);
    return kind == 0   ? Value::ofNull()
           : kind == 1 ? Value::ofBlob(number)
           : kind == 2 ? Value::ofText("\x02" + number)
                       : Value::ofText(number + std::string(1, '\0'));
}

Rows randomRows(CloseTexts &texts, int visited)
{
    Rows rows;
    const int kind = texts.below(8);
    const int count = visited - 2 + texts.below(8);
    for (int i = 0; i < count; ++i) {
        rows.push_back({Value::ofInteger(i + 1), Value::ofInteger(i % 2), filler(kind, i)});
    }
    const int more = texts.below(25);
    const int classes = texts.below(3) == 0 ? 7 : 5;
    for (int i = 0; i < more; ++i) {
        rows.push_back({Value::ofInteger(count + i + 1), Value::ofInteger(i % 2), texts.number(classes)});
    }
    return rows;
}

class LongList : public ::testing::TestWithParam<ListForm> {};

void insert(const std::filesystem::path &file, const Rows &rows)
{
    Database(file).execForEach("INSERT INTO blackList(uid, hidden, number) VALUES(?,?,?);", rows);
}

// Asks for numbers like those on the list; returns how many were found.
int expectAnswersOfPlainStatement(const std::filesystem::path &file, CloseTexts &texts)
{
    int found = 0;
    for (int i = 0; i < 40; ++i) {
        const std::string key = texts.text();
        const int expected = plainAnswer(file, key);
        EXPECT_EQ(engineAnswer(key), expected) << show(Value::ofText(key));
        found += expected;
    }
    return found;
}

TEST_P(LongList, lookup_answers_as_the_plain_statement)
{
    RunningEngine engine(Trace::off, StartVariant::plain);
    const std::filesystem::path file = engine.installation.dataFile("bn.bin");
    CloseTexts texts(17);
    int found = 0;
    for (int round = 0; round < 25; ++round) {
        makeList(file, GetParam());
        insert(file, randomRows(texts, rowsVisited));
        SCOPED_TRACE(round);
        found += expectAnswersOfPlainStatement(file, texts);
    }
    EXPECT_GT(found, 50) << "some keys must be listed for the comparison to say anything";
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{});
}

TEST_P(LongList, lookup_on_the_standing_connection_answers_as_the_plain_statement_through_changes)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    const std::filesystem::path file = engine.installation.dataFile("bn.bin");
    reopenStandingConnection([&file] { makeList(file, GetParam()); });
    CloseTexts texts(18);
    int found = 0;
    for (int round = 0; round < 30; ++round) {
        if (round % 3 == 0) {
            makeListAnew(file, GetParam());
        } else if (round % 3 == 1) {
            Database(file).exec("DELETE FROM blackList;");
        } else {
            reopenStandingConnection();
            Database(file).exec("DELETE FROM blackList;");
        }
        insert(file, randomRows(texts, rowsVisitedKeptOpen));
        SCOPED_TRACE(round);
        found += expectAnswersOfPlainStatement(file, texts);
    }
    EXPECT_GT(found, 50) << "some keys must be listed for the comparison to say anything";
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(forms, LongList, ::testing::ValuesIn(forms),
                         [](const ::testing::TestParamInfo<ListForm> &given) { return given.param.name; });

// A list of numbers as the engine stores them: 10000000000 and so many more.
void fill(const Installation &installation, int count)
{
    Rows rows;
    for (int i = 0; i < count; ++i) {
        rows.push_back({Value::ofText(storedNumber(std::to_string(10000000000 + i)))});
    }
    installation.open("bn.bin").execForEach("INSERT INTO blackList(number) VALUES(?);", rows);
}

std::string keyOf(int i)
{
    std::string number = std::to_string(10000000000 + i);
    std::reverse(number.begin(), number.end());
    return number;
}

TEST(long_list, short_list_is_asked_with_the_plain_statement_alone)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    fill(engine.installation, rowsVisitedKeptOpen - 1);
    const DshWatch watch;
    EXPECT_EQ(engineAnswer(keyOf(rowsVisitedKeptOpen)), 0);
    EXPECT_EQ(engineAnswer(keyOf(0)), 1);
    EXPECT_EQ(engineAnswer(keyOf(rowsVisitedKeptOpen - 2)), 1);
    EXPECT_EQ(watch.prepared(), std::vector<std::string>(3, plainSql));
}

TEST(long_list, index_is_asked_once_for_each_class_of_numbers)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    fill(engine.installation, 5000);
    const DshWatch watch;
    EXPECT_EQ(engineAnswer(keyOf(5000)), 0);
    EXPECT_EQ(watch.calls(),
              (std::vector<std::string>{"busyHandler", "makeUserHand like 2 5 for the connection",
                                        "prepare " + plainSql, "mapText 1 12 bytes", "step", "prepare " + indexSql,
                                        "mapText 1 12 bytes", "step", "reset", "mapBlob 1 11 bytes", "step", "reset",
                                        "mapText 1 0 bytes", "step", "keep", "keep"}));
    EXPECT_EQ(engineAnswer(keyOf(4999)), 1);
    EXPECT_EQ(engineAnswer(keyOf(rowsVisitedKeptOpen)), 1);
    EXPECT_EQ(engineAnswer(keyOf(rowsVisitedKeptOpen - 1)), 1) << "the row of the pause itself";
    EXPECT_EQ(watch.prepared().size(), 7U) << "the last is found among the rows that are visited";
}

TEST(long_list, connection_of_one_lookup_visits_more_rows_before_it_asks)
{
    RunningEngine engine(Trace::off, StartVariant::plain);
    fill(engine.installation, 3000);
    const DshWatch watch;
    EXPECT_EQ(engineAnswer(keyOf(rowsVisited - 1)), 1) << "the row of the pause itself";
    EXPECT_EQ(watch.prepared().size(), 1U);
    EXPECT_EQ(engineAnswer(keyOf(rowsVisited)), 1);
    EXPECT_EQ(watch.prepared(), (std::vector<std::string>{plainSql, plainSql, indexSql}));
    EXPECT_TRUE(watch.everythingReleased());
}

TEST(long_list, kept_question_holds_no_lock_and_sees_what_others_write)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    fill(engine.installation, 3000);
    for (const int i : {2999, 3000, 2998, 3001}) {
        EXPECT_EQ(engineAnswer(keyOf(i)), i < 3000 ? 1 : 0);
        const HeldLock lock(engine.installation.dataFile("bn.bin"));
    }
    engine.installation.addNumber(NumberList::black, std::to_string(10000000000 + 3000));
    EXPECT_EQ(engineAnswer(keyOf(3000)), 1);
}

TEST(long_list, index_may_go_and_come_back_between_lookups)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    fill(engine.installation, 3000);
    const char *const changes[] = {"DROP INDEX blackListNumber;",
                                   "CREATE INDEX blackListNumber ON blackList(hidden);",
                                   "DROP INDEX blackListNumber;",
                                   "CREATE INDEX blackListNumber ON blackList(number);",
                                   "ALTER TABLE blackList ADD COLUMN further;",
                                   "CREATE TRIGGER t AFTER DELETE ON blackList BEGIN SELECT 1; END;",
                                   "VACUUM;",
                                   "ANALYZE;"};
    for (const char *change : changes) {
        EXPECT_EQ(engineAnswer(keyOf(2999)), 1) << "before " << change;
        EXPECT_EQ(engineAnswer(keyOf(3000)), 0) << "before " << change;
        engine.installation.open("bn.bin").exec(change);
        EXPECT_EQ(engineAnswer(keyOf(3000)), 0) << change;
        EXPECT_EQ(engineAnswer(keyOf(2999)), 1) << change;
    }
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{});
}

TEST(long_list, list_that_vanishes_is_reported_as_by_the_plain_statement)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    fill(engine.installation, 3000);
    EXPECT_EQ(engineAnswer(keyOf(3000)), 0);
    engine.installation.open("bn.bin").exec("ALTER TABLE blackList RENAME TO away;");
    EXPECT_EQ(engineAnswer(keyOf(3000)), -2);
    EXPECT_EQ(engineAnswer(keyOf(3000)), -2);
    const std::string leave = "VELQ_DB_Interface\t**********Error:Leave db_SearchNumberList()!********";
    EXPECT_EQ(engine.newLines(), (std::vector<std::string>{"VELQ_DB_Interface\tError: VELQ_DSH_doNext, rc=1", leave,
                                                           "VELQ_DB_Interface\tError: VELQ_DSH_Prepare", leave}))
        << "the connection learns of it when it steps";
    engine.installation.open("bn.bin").exec("ALTER TABLE away RENAME TO blackList;");
    EXPECT_EQ(engineAnswer(keyOf(2999)), 1);
}

TEST(long_list, list_without_the_index_is_visited_to_its_end)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    engine.installation.open("bn.bin").exec("DROP INDEX blackListNumber;");
    fill(engine.installation, 3000);
    for (const int i : {0, rowsVisitedKeptOpen - 1, rowsVisitedKeptOpen, 2999}) {
        EXPECT_EQ(engineAnswer(keyOf(i)), 1) << i;
    }
    EXPECT_EQ(engineAnswer(keyOf(3000)), 0);
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{});
}

TEST(long_list, failure_of_the_index_or_at_the_pause_leaves_the_plain_statement_to_answer)
{
    for (const StartVariant start : {StartVariant::plain, StartVariant::norix}) {
        RunningEngine engine(Trace::off, start);
        fill(engine.installation, 3000);
        const DshFault faults[] = {{.call = DshCall::prepare, .sql = indexSql},
                                   {.call = DshCall::prepare, .sql = indexSql, .isForwarded = true},
                                   {.call = DshCall::step, .nth = 1, .isForwarded = true},
                                   {.call = DshCall::step, .nth = 2},
                                   {.call = DshCall::step, .nth = 3},
                                   {.call = DshCall::step, .nth = 4},
                                   {.call = DshCall::bind, .nth = 2},
                                   {.call = DshCall::bind, .nth = 3},
                                   {.call = DshCall::bind, .nth = 4}};
        for (const DshFault &fault : faults) {
            for (const int i : {2999, 3000}) {
                const DshWatch watch(fault);
                EXPECT_EQ(engineAnswer(keyOf(i)), i < 3000 ? 1 : 0);
                EXPECT_TRUE(watch.faultHappened() || i < 3000);
                EXPECT_EQ(watch.connectionsOpened(), start == StartVariant::plain ? 1 : 0);
                EXPECT_TRUE(start == StartVariant::norix || watch.everythingReleased());
            }
        }
        EXPECT_EQ(engine.newLines(), std::vector<std::string>{});
    }
}

TEST(long_list, lasting_failure_is_reported_as_that_of_the_plain_statement)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    fill(engine.installation, 3000);
    {
        const DshWatch watch({.call = DshCall::step, .nth = 2, .isLasting = true});
        EXPECT_EQ(engineAnswer(keyOf(3000)), -2);
    }
    EXPECT_EQ(engine.newLines(),
              (std::vector<std::string>{"VELQ_DB_Interface\tError: VELQ_DSH_doNext, rc=10",
                                        "VELQ_DB_Interface\t**********Error:Leave db_SearchNumberList()!********"}));
    EXPECT_EQ(engineAnswer(keyOf(2999)), 1);
}

TEST(long_list, locked_list_is_busy_after_five_retries)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    fill(engine.installation, 3000);
    EXPECT_EQ(engineAnswer(keyOf(2999)), 1);
    engine.newLines();
    {
        const HeldLock lock(engine.installation.dataFile("bn.bin"));
        EXPECT_EQ(engineAnswer(keyOf(2999)), -2);
    }
    const std::vector<std::string> lines = engine.newLines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string &line) { return line.find("retry chance") != std::string::npos; }),
              5);
    EXPECT_EQ(lines.at(lines.size() - 2), "VELQ_DB_Interface\tError: VELQ_DSH_doNext, rc=5");
    EXPECT_EQ(engineAnswer(keyOf(2999)), 1);
}

TEST(long_list, removal_deletes_beyond_the_rows_that_a_lookup_visits)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    fill(engine.installation, 3000);
    EXPECT_EQ(engineAnswer(keyOf(3000)), 0);
    char number[numberKeyCapacity] = "10000002999";
    EXPECT_EQ(db_DeleteNumberRecord(nullptr, number, NUMBER_LIST_BLACK), 0);
    EXPECT_EQ(engineAnswer(keyOf(2999)), 0);
    EXPECT_EQ(engine.installation.numberRows(NumberList::black).size(), 2999U);
}

TEST(long_list, identifiers_are_read_in_the_order_of_the_rows)
{
    RunningEngine engine(Trace::off, StartVariant::plain);
    for (const char *number : {"3", "1", "2"}) {
        engine.installation.addNumber(NumberList::black, number);
    }
    UIDListNode *head = nullptr;
    ASSERT_EQ(db_GetNumberUIDList(&head, VELQ_HIDDEN_ANY, NUMBER_LIST_BLACK), 0);
    std::vector<std::int32_t> uids;
    while (head != nullptr) {
        UIDListNode *node = head;
        uids.push_back(node->uid);
        head = node->next;
        freeMemory(node);
    }
    EXPECT_EQ(uids, (std::vector<std::int32_t>{1, 2, 3}));
}

} // namespace
} // namespace velq::test
