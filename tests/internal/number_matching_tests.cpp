// The rule by which two numbers match, as the SQL function that the engine registers, and the lookups built on it.
#include "VELQ_DB_Interface.h"
#include "internal/dsh_faults.h"
#include "internal/front_fixture.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace velq::test {
namespace {

// Runs "a LIKE b" on a connection on which the rule is registered.
class Matcher {
  public:
    Matcher()
    {
        const std::string file = (folder_.path() / "any.db").string();
        Database(file, OpenMode::create).exec("CREATE TABLE t(a);");
        EXPECT_EQ(VELQ_DSH_Open(file.c_str(), &connection_), 0);
        EXPECT_EQ(VELQ_DSH_makeUserHand(connection_, "like", 2, VELQ_DSH_ANY_TEXT, connection_, db_NumberLike, nullptr,
                                        nullptr),
                  0);
        const std::string sql = "SELECT ?1 LIKE ?2, (?1 LIKE ?2) IS NULL;";
        EXPECT_EQ(VELQ_DSH_Prepare(connection_, sql.c_str(), static_cast<int>(sql.size()), &statement_, nullptr), 0);
    }
    ~Matcher()
    {
        VELQ_DSH_Fini(statement_);
        VELQ_DSH_Close(connection_);
    }
    Matcher(const Matcher &) = delete;
    Matcher &operator=(const Matcher &) = delete;

    // 0 or 1; nothing for a result that is NULL. A null pointer stands for an SQL NULL.
    std::optional<int> match(const std::string *a, const std::string *b)
    {
        VELQ_DSH_Reset(statement_);
        bind(1, a);
        bind(2, b);
        EXPECT_EQ(VELQ_DSH_doNext(statement_), VELQ_DSH_ROW);
        if (VELQ_DSH_getInt(statement_, 1) != 0) {
            return std::nullopt;
        }
        return VELQ_DSH_getInt(statement_, 0);
    }
    std::optional<int> match(const std::string &a, const std::string &b)
    {
        return match(&a, &b);
    }

  private:
    void bind(int index, const std::string *text)
    {
        VELQ_DSH_mapText(statement_, index, text != nullptr ? text->c_str() : nullptr,
                         text != nullptr ? static_cast<int>(text->size()) + 1 : 0, nullptr);
    }

    TemporaryFolder folder_;
    VELQ_DSH_Connection *connection_ = nullptr;
    VELQ_DSH_Statement *statement_ = nullptr;
};

std::string keyOf(std::string displayed)
{
    std::reverse(displayed.begin(), displayed.end());
    return displayed;
}

TEST(number_matching, long_numbers_match_by_their_last_eleven_characters)
{
    const struct {
        const char *a;
        const char *b;
        int matches;
    } cases[] = {
        {"13812345678", "13812345678", 1},
        {"13812345678", "+8613812345678", 1},
        {"13812345678", "008613812345678", 1},
        {"+8613812345678", "008613812345678", 1},
        {"13812345678", "13812345679", 0},
        {"13812345678", "23812345678", 0},
        {"013812345678", "913812345678", 1},
        {"13812345678", "3812345678", 0},  // 10 characters against 11, one the end of the other
        {"3812345678", "3812345678", 1},   // 10 against 10
        {"23812345678", "13812345678", 0}, // the last 10 alone
        {"10086", "10086", 1},
        {"10086", "010086", 0},
        {"10086", "100860", 0},
        {"10086", "10087", 0},
        {"+86138", "+86138", 1},
        {"ABC", "abc", 0},
        {"ABCDEFGHIJK", "abcdefghijk", 0},
        {"1", "1", 1},
        {"1", "2", 0},
        {"1%", "1%", 1}, // no wildcards
        {"1%", "12", 0},
        {"1_", "12", 0},
        {"%", "1234567890123", 0},
        {"\xE9\xE9\xE9", "\xE9\xE9\xE9", 1},
        {"\xE9\xE9\xE9", "\xE8\xE9\xE9", 0},
    };
    Matcher matcher;
    for (const auto &given : cases) {
        EXPECT_EQ(matcher.match(keyOf(given.a), keyOf(given.b)), given.matches) << given.a << " and " << given.b;
        EXPECT_EQ(matcher.match(keyOf(given.b), keyOf(given.a)), given.matches) << given.b << " and " << given.a;
    }
}

TEST(number_matching, each_of_the_first_eleven_bytes_counts_and_no_later_one)
{
    Matcher matcher;
    const std::string key = "abcdefghijklmno";
    for (std::size_t i = 0; i < key.size(); ++i) {
        std::string other = key;
        other[i] = 'X';
        EXPECT_EQ(matcher.match(key, other), i < 11 ? 0 : 1) << i;
    }
    const std::string shortKey = "abcdefghij";
    for (std::size_t i = 0; i < shortKey.size(); ++i) {
        std::string other = shortKey;
        other[i] = 'X';
        EXPECT_EQ(matcher.match(shortKey, other), 0) << i;
    }
}

TEST(number_matching, empty_and_null_arguments_give_no_result_or_none_that_matches)
{
    Matcher matcher;
    const std::string empty;
    const std::string number = "1";
    EXPECT_EQ(matcher.match(empty, empty), std::nullopt);
    EXPECT_EQ(matcher.match(empty, number), 0);
    EXPECT_EQ(matcher.match(number, empty), 0);
    EXPECT_EQ(matcher.match(empty, std::string("12345678901")), 0);
    EXPECT_EQ(matcher.match(nullptr, &number), std::nullopt);
    EXPECT_EQ(matcher.match(&number, nullptr), std::nullopt);
    EXPECT_EQ(matcher.match(nullptr, nullptr), std::nullopt);
}

TEST(number_matching, text_ends_at_its_first_zero_byte)
{
    Matcher matcher;
    EXPECT_EQ(matcher.match(std::string("12\0xyz", 6), std::string("12")), 1);
    EXPECT_EQ(matcher.match(std::string("12\0xyz12345678", 14), std::string("12\0other", 8)), 1);
    EXPECT_EQ(matcher.match(std::string("\0a", 2), std::string("\0a", 2)), std::nullopt);
}

TEST(number_matching, rule_agrees_with_a_plain_form_of_it)
{
    Matcher matcher;
    std::mt19937 random(31);
    std::uniform_int_distribution<std::size_t> length(0, 14);
    std::uniform_int_distribution<int> digit('0', '1');
    for (int round = 0; round < 5000; ++round) {
        std::string a;
        std::string b;
        for (std::size_t n = length(random); n > 0; --n) {
            a += static_cast<char>(digit(random));
        }
        b = a;
        for (std::size_t n = length(random) / 4; n > 0; --n) {
            b += static_cast<char>(digit(random));
        }
        if (round % 3 == 0 && !b.empty()) {
            b[b.size() / 2] = '2';
        }
        std::optional<int> expected;
        if (a.size() >= 11 && b.size() >= 11) {
            expected = a.substr(0, 11) == b.substr(0, 11) ? 1 : 0;
        } else if (!a.empty() || !b.empty()) {
            expected = a == b ? 1 : 0;
        }
        ASSERT_EQ(matcher.match(a, b), expected) << a << " and " << b;
    }
}

// ---- Lookups

int foundOn(NumberList list, const std::string &displayed)
{
    std::uint8_t found = 77;
    const std::string key = keyOf(displayed);
    const int result = list == NumberList::white ? db_SearchWhiteNumberList(&found, key.c_str())
                                                 : db_SearchBlackNumberList(&found, key.c_str());
    return result == 0 ? found : result;
}

class NumberLookup : public ::testing::TestWithParam<StartVariant> {};

TEST_P(NumberLookup, finds_a_stored_number_under_every_prefix)
{
    RunningEngine engine(Trace::off, GetParam());
    ASSERT_TRUE(engine.isRunning());
    for (const NumberList list : {NumberList::white, NumberList::black}) {
        engine.installation.addNumber(list, "13812345678");
        engine.installation.addNumber(list, "+8613912345678");
        engine.installation.addNumber(list, "10086");
        engine.installation.addNumber(list, "");
        for (const char *sender :
             {"13812345678", "+8613812345678", "008613812345678", "13912345678", "0013912345678", "10086"}) {
            EXPECT_EQ(foundOn(list, sender), 1) << sender;
        }
        for (const char *sender : {"3812345678", "23812345678", "010086", "100860", "1008", "", "13812345679"}) {
            EXPECT_EQ(foundOn(list, sender), 0) << sender;
        }
    }
    EXPECT_EQ(engine.newLines(), std::vector<std::string>{});
}

TEST_P(NumberLookup, asks_its_own_list_only)
{
    RunningEngine engine(Trace::off, GetParam());
    engine.installation.addNumber(NumberList::white, "111");
    engine.installation.addNumber(NumberList::black, "222");
    EXPECT_EQ(foundOn(NumberList::white, "111"), 1);
    EXPECT_EQ(foundOn(NumberList::black, "111"), 0);
    EXPECT_EQ(foundOn(NumberList::white, "222"), 0);
    EXPECT_EQ(foundOn(NumberList::black, "222"), 1);
}

TEST_P(NumberLookup, delivered_numbers_never_make_a_sender_white)
{
    RunningEngine engine(Trace::off, GetParam());
    // As an update writes them: UTF-16 with a zero unit, in display order or reversed.
    for (const char *number : {"13812345678", "87654321831"}) {
        engine.installation.addNumberRow(NumberList::white, Value::ofInteger(1),
                                         Value::ofBlob(utf16BytesWithTerminator(wide(number))),
                                         Value::ofBlob(utf16BytesWithTerminator({})), Value::ofInteger(0));
    }
    EXPECT_EQ(foundOn(NumberList::white, "13812345678"), 0);
    EXPECT_EQ(foundOn(NumberList::white, "13"), 0);
    EXPECT_EQ(foundOn(NumberList::white, "1"), 1) << "as text the blob is its first character";
}

TEST_P(NumberLookup, number_column_of_any_class_is_read_as_text)
{
    RunningEngine engine(Trace::off, GetParam());
    const Value name = Value::ofBlob(utf16BytesWithTerminator({}));
    for (const Value &number : {Value::ofText("321"), Value::ofInteger(654), Value::ofNull()}) {
        engine.installation.addNumberRow(NumberList::black, Value::ofInteger(0), number, name, Value::ofInteger(0));
    }
    EXPECT_EQ(foundOn(NumberList::black, "123"), 1);
    EXPECT_EQ(foundOn(NumberList::black, "456"), 1);
    EXPECT_EQ(foundOn(NumberList::black, "789"), 0);
}

TEST_P(NumberLookup, only_the_first_39_characters_of_a_sender_take_part)
{
    RunningEngine engine(Trace::off, GetParam());
    const std::string forty = "1234567890123456789012345678901234567890";
    engine.installation.addNumber(NumberList::black, forty.substr(28, 11));
    char key[numberKeyCapacity]{};
    narrowNumber(key, wide(forty).c_str());
    reverseNumber(key);
    std::uint8_t found = 0;
    EXPECT_EQ(db_SearchBlackNumberList(&found, key), 0);
    EXPECT_EQ(found, 1);
    engine.installation.open("bn.bin").exec("DELETE FROM blackList;");
    engine.installation.addNumber(NumberList::black, forty.substr(29, 11));
    EXPECT_EQ(db_SearchBlackNumberList(&found, key), 0);
    EXPECT_EQ(found, 0);
}

TEST_P(NumberLookup, long_list_is_searched_to_its_end)
{
    RunningEngine engine(Trace::off, GetParam());
    Rows rows;
    for (int i = 0; i < 500; ++i) {
        rows.push_back({Value::ofText(storedNumber(std::to_string(13000000000 + i)))});
    }
    engine.installation.open("wn.bin").execForEach("INSERT INTO whiteList(number) VALUES(?);", rows);
    EXPECT_EQ(foundOn(NumberList::white, "13000000499"), 1);
    EXPECT_EQ(foundOn(NumberList::white, "13000000500"), 0);
}

INSTANTIATE_TEST_SUITE_P(both_starts, NumberLookup, ::testing::Values(StartVariant::plain, StartVariant::norix),
                         [](const ::testing::TestParamInfo<StartVariant> &given) {
                             return std::string(given.param == StartVariant::plain ? "plain" : "norix");
                         });

TEST(number_matching, kept_connection_is_used_registered_anew_and_left_open)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    ASSERT_TRUE(engine.isRunning());
    const DshWatch watch;
    EXPECT_EQ(foundOn(NumberList::white, "13812345678"), 0);
    EXPECT_EQ(foundOn(NumberList::black, "13812345678"), 0);
    EXPECT_EQ(watch.calls(),
              (std::vector<std::string>{"busyHandler", "makeUserHand like 2 5 for the connection",
                                        "prepare select * FROM whiteList WHERE number LIKE ?;", "mapText 1 12 bytes",
                                        "step", "keep", "busyHandler", "makeUserHand like 2 5 for the connection",
                                        "prepare select * FROM blackList WHERE number LIKE ?;", "mapText 1 12 bytes",
                                        "step", "keep"}));
    EXPECT_NE(engineState.whiteListConn, nullptr);
    EXPECT_NE(engineState.blackListConn, nullptr);
}

TEST(number_matching, failed_lookup_leaves_the_kept_connection_open)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    engine.installation.addNumber(NumberList::black, "13812345678");
    const std::string module = "VELQ_DB_Interface\t";
    const struct {
        DshFault fault;
        const char *line;
    } cases[] = {{{.call = DshCall::busyHandler}, "Error: VELQ_DSH_busyHandler"},
                 {{.call = DshCall::makeUserHand}, "Error: VELQ_DSH_makeUserHand"},
                 {{.call = DshCall::prepare}, "Error: VELQ_DSH_Prepare"},
                 {{.call = DshCall::prepare, .isForwarded = true}, "Error: VELQ_DSH_Prepare"},
                 {{.call = DshCall::step}, "Error: VELQ_DSH_doNext, rc=10"}};
    for (const auto &given : cases) {
        SCOPED_TRACE(given.line);
        {
            const DshWatch watch(given.fault);
            EXPECT_EQ(foundOn(NumberList::black, "13812345678"), VELQ_ERR_FAILED);
            EXPECT_EQ(std::count(watch.calls().begin(), watch.calls().end(), "close"), 0);
            EXPECT_TRUE(watch.everythingReleased());
        }
        EXPECT_EQ(engine.newLines(),
                  (std::vector<std::string>{module + given.line,
                                            module + "**********Error:Leave db_SearchNumberList()!********"}));
        EXPECT_EQ(foundOn(NumberList::black, "13812345678"), 1);
    }
}

TEST(number_matching, edits_and_reads_never_use_the_kept_connections)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    const DshWatch watch;
    std::int32_t count = 0;
    NumberListNode *head = nullptr;
    EXPECT_EQ(db_DeleteAllNumberRecords(-1, NUMBER_LIST_BLACK), 0);
    EXPECT_EQ(db_GetTotalCount(&count, NUMBER_LIST_WHITE), 0);
    EXPECT_EQ(db_GetNumberList(&head, -1, NUMBER_LIST_WHITE), 0);
    EXPECT_EQ(watch.connectionsOpened(), 3);
    EXPECT_TRUE(watch.everythingReleased());
}

TEST(number_matching, removal_deletes_exactly_what_a_lookup_finds)
{
    const std::vector<std::string> numbers = {"13812345678", "+8613812345678", "008613812345678", "3812345678", "10086",
                                              "010086",      "+86138",         "23812345678",     "1",          ""};
    for (const std::string &sender : numbers) {
        RunningEngine engine(Trace::off);
        for (const std::string &number : numbers) {
            engine.installation.addNumber(NumberList::white, number);
        }
        std::size_t matching = 0;
        Matcher matcher;
        for (const std::string &number : numbers) {
            matching += matcher.match(keyOf(number), keyOf(sender)).value_or(0) == 1 ? 1u : 0u;
        }
        char buffer[numberKeyCapacity]{};
        std::strcpy(buffer, sender.c_str());
        EXPECT_EQ(foundOn(NumberList::white, sender), matching > 0 ? 1 : 0) << sender;
        EXPECT_EQ(db_DeleteNumberRecord(nullptr, buffer, NUMBER_LIST_WHITE), 0);
        EXPECT_EQ(engine.installation.numberRows(NumberList::white).size(), numbers.size() - matching) << sender;
        EXPECT_EQ(foundOn(NumberList::white, sender), 0) << sender;
    }
}

} // namespace
} // namespace velq::test
