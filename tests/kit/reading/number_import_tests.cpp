// Adding many numbers at once: both lists are then as if the engine had added them one by one, or as they were.
#include "kit/base/status.h"
#include "kit/engine/engine.h"
#include "kit/reading/number_import.h"
#include "support/installation.h"
#include "support/kit_errors.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <sstream>

namespace velq::test {
namespace {

using kit::ListEntry;

// An installation below a folder of its own, as the kit names it.
kit::Installation kitOf(const Installation &installation)
{
    return kit::Installation(installation.programFolder().parent_path().parent_path());
}

std::size_t addAtOnce(const Installation &installation, const kit::ListCalls &calls,
                      const std::vector<ListEntry> &entries)
{
    std::ostringstream none;
    kit::Progress progress(none, "importing", entries.size(), kit::ProgressWhen::never);
    return kit::importNumbers(kitOf(installation), calls, entries, progress).added;
}

void addOneByOne(const Installation &installation, const kit::ListCalls &calls, const std::vector<ListEntry> &entries)
{
    const kit::Engine engine(kitOf(installation));
    for (const ListEntry &entry : entries) {
        kit::addEntry(engine, calls, entry);
    }
}

std::vector<std::string> contents(const Installation &installation)
{
    std::vector<std::string> lines = installation.open("bn.bin").dump();
    const std::vector<std::string> white = installation.open("wn.bin").dump();
    lines.insert(lines.end(), white.begin(), white.end());
    return lines;
}

// Numbers that often match each other, in every form in which a list can hold them.
class Numbers {
  public:
    explicit Numbers(std::uint32_t seed) : random_(seed) {}

    int below(int bound)
    {
        return std::uniform_int_distribution<int>(0, bound - 1)(random_);
    }
    std::string number()
    {
        static const char *const starts[] = {"", "+86", "0086", "1", "#"};
        const std::string digits = std::to_string(below(60));
        return below(3) == 0 ? "1" + digits : starts[below(5)] + ("138" + std::string(8 - digits.size(), '0')) + digits;
    }
    Value stored()
    {
        const std::string key = storedNumber(number());
        switch (below(8)) {
        case 0:
            return Value::ofBlob(key);
        case 1:
            return Value::ofText(key.substr(0, key.size() - 1));
        case 2:
            return Value::ofText(key + "tail");
        case 3:
            return below(2) == 0 ? Value::ofNull() : Value::ofInteger(below(200));
        case 4:
            return Value::ofBlob(utf16BytesWithTerminator(wide(number())));
        default:
            return Value::ofText(key);
        }
    }
    ListEntry entry()
    {
        static const char *const names[] = {"", "Wang", "王芳", "a,\"b\" \U0001F600", "29 units of a name, no more ."};
        return {.number = number(), .name = names[below(5)], .hidden = below(2), .extendID = below(5) - 2};
    }
    std::vector<ListEntry> entries(int count)
    {
        std::vector<ListEntry> made;
        for (int i = 0; i < count; ++i) {
            made.push_back(entry());
        }
        return made;
    }

  private:
    std::mt19937 random_;
};

// The same rows in both installations.
void fillAlike(const std::vector<const Installation *> &installations, Numbers &numbers)
{
    for (const NumberList list : {NumberList::black, NumberList::white}) {
        Rows rows;
        for (int i = numbers.below(80); i > 0; --i) {
            rows.push_back(
                {Value::ofInteger(i % 2), numbers.stored(), Value::ofBlob(std::string(2, '\0')), Value::ofInteger(i)});
        }
        for (const Installation *installation : installations) {
            Database database = installation->open(fileOf(list));
            database.execForEach("INSERT INTO " + tableOf(list) + "(hidden,number,name,extendID) VALUES(?,?,?,?);",
                                 rows);
            database.exec("DELETE FROM " + tableOf(list) + " WHERE uid % 7 = 0;"); // identifiers with gaps
        }
    }
}

void remake(const Installation &installation, NumberList list, const std::string &encoding, const std::string &columns)
{
    std::filesystem::remove(installation.dataFile(fileOf(list)));
    Database database(installation.dataFile(fileOf(list)), OpenMode::create);
    database.exec("PRAGMA encoding = '" + encoding + "'; CREATE TABLE " + tableOf(list) + columns + ";");
}

void compareWays(const std::string &blackEncoding, const std::string &whiteEncoding, const std::string &columns)
{
    Numbers numbers(5);
    for (int round = 0; round < 12; ++round) {
        const Installation atOnce;
        const Installation oneByOne;
        for (const Installation *installation : {&atOnce, &oneByOne}) {
            if (!columns.empty()) {
                remake(*installation, NumberList::black, blackEncoding, columns);
                remake(*installation, NumberList::white, whiteEncoding, columns);
            }
        }
        fillAlike({&atOnce, &oneByOne}, numbers);
        ASSERT_EQ(contents(atOnce), contents(oneByOne));
        const std::vector<ListEntry> entries = numbers.entries(numbers.below(60));
        const bool isBlack = round % 2 == 0;
        const kit::ListCalls &calls = isBlack ? kit::blackListCalls : kit::whiteListCalls;
        const NumberList list = isBlack ? NumberList::black : NumberList::white;
        const std::size_t before = atOnce.numberRows(list).size();
        addOneByOne(oneByOne, calls, entries);
        EXPECT_EQ(before + addAtOnce(atOnce, calls, entries), oneByOne.numberRows(list).size());
        ASSERT_EQ(contents(atOnce), contents(oneByOne)) << "round " << round;
        EXPECT_EQ(addAtOnce(atOnce, calls, entries), 0U) << "all are there";
        ASSERT_EQ(contents(atOnce), contents(oneByOne)) << "again, round " << round;
        EXPECT_EQ(atOnce.open("bn.bin").integrityCheck(), "ok");
    }
}

constexpr char plainColumns[] = "(uid INTEGER PRIMARY KEY, hidden, number, name, extendID)";

TEST(number_import, lists_are_as_if_numbers_were_added_one_by_one)
{
    compareWays("", "", "");
}

TEST(number_import, lists_of_other_makers_are_treated_alike)
{
    compareWays("UTF-8", "UTF-8", "(uid INTEGER PRIMARY KEY, hidden INT, number TEXT COLLATE NOCASE, name, extendID)");
    compareWays("UTF-16le", "UTF-16le", plainColumns);
}

TEST(number_import, lists_in_different_encodings_are_treated_alike)
{
    compareWays("UTF-8", "UTF-16be", plainColumns);
    compareWays("UTF-16le", "UTF-8", plainColumns);
}

TEST(number_import, write_ahead_logs_are_treated_alike)
{
    Numbers numbers(6);
    const Installation atOnce;
    const Installation oneByOne;
    for (const Installation *installation : {&atOnce, &oneByOne}) {
        installation->open("bn.bin").query("PRAGMA journal_mode = WAL;");
        installation->open("wn.bin").query("PRAGMA journal_mode = WAL;");
    }
    fillAlike({&atOnce, &oneByOne}, numbers);
    const std::vector<ListEntry> entries = numbers.entries(60);
    addOneByOne(oneByOne, kit::whiteListCalls, entries);
    addAtOnce(atOnce, kit::whiteListCalls, entries);
    EXPECT_EQ(contents(atOnce), contents(oneByOne));
}

TEST(number_import, failure_leaves_both_lists_as_they_were)
{
    Numbers numbers(7);
    Installation installation;
    fillAlike({&installation}, numbers);
    installation.addNumber(NumberList::white, "13900000001");
    const std::vector<ListEntry> entries = {{.number = "13900000001", .name = {}},
                                            {.number = "13900000002", .name = {}, .extendID = 77}};
    installation.open("bn.bin").exec("CREATE TRIGGER refuse BEFORE INSERT ON blackList WHEN new.extendID = 77 "
                                     "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    const std::vector<std::string> before = contents(installation);
    expectError(kit::Status::inputOutput, "refused", [&] { addAtOnce(installation, kit::blackListCalls, entries); });
    EXPECT_EQ(contents(installation), before);
    installation.open("bn.bin").exec("DROP TRIGGER refuse;");
    EXPECT_EQ(addAtOnce(installation, kit::blackListCalls, entries), 2U);
}

TEST(number_import, list_in_use_leaves_both_lists_as_they_were)
{
    Numbers numbers(8);
    Installation installation;
    fillAlike({&installation}, numbers);
    const std::vector<std::string> before = contents(installation);
    for (const char *file : {"bn.bin", "wn.bin"}) {
        const HeldLock lock(installation.dataFile(file), HeldLock::Kind::immediate);
        expectError(kit::Status::inputOutput, "in use",
                    [&] { addAtOnce(installation, kit::blackListCalls, numbers.entries(30)); });
    }
    EXPECT_EQ(contents(installation), before);
}

TEST(number_import, file_without_its_list_is_refused)
{
    Installation installation;
    installation.open("wn.bin").exec("DROP TABLE whiteList;");
    expectError(kit::Status::badData, "wn.bin holds no whiteList",
                [&] { addAtOnce(installation, kit::blackListCalls, {{.number = "1", .name = {}}}); });
}

} // namespace
} // namespace velq::test
