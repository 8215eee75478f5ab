// What actions changed on the lists, taken back: every row is as it was, whatever stands in it.
#include "kit/base/status.h"
#include "kit/base/wide_text.h"
#include "kit/engine/engine.h"
#include "kit/engine/number_list.h"
#include "kit/reading/number_match.h"
#include "kit/store/list_changes.h"
#include "support/installation.h"
#include "support/kit_errors.h"

#include <gtest/gtest.h>
#include <limits>

namespace velq::test {
namespace {

constexpr char movedNumber[] = "+8613812345678";

kit::Installation placeOf(const Installation &installation)
{
    return kit::Installation(installation.programFolder().parent_path().parent_path());
}

std::vector<kit::ListRow> rowsOf(const Installation &installation)
{
    return kit::matchingRows(placeOf(installation), kit::matchKey(kit::wideArgument(movedNumber, "the number")));
}

// What adding the number to a list changes.
kit::ListChange changeOfAdding(const Installation &installation, const kit::ListCalls &calls)
{
    const kit::Engine engine(placeOf(installation));
    const std::vector<kit::ListRow> before = rowsOf(installation);
    kit::addEntry(engine, calls, {.number = movedNumber, .name = "new"});
    return kit::changeBetween(before, rowsOf(installation));
}

std::vector<Rows> bothLists(const Installation &installation)
{
    return {installation.open("bn.bin").query("SELECT * FROM blackList ORDER BY uid;"),
            installation.open("wn.bin").query("SELECT * FROM whiteList ORDER BY uid;")};
}

// Rows of every storage class that match the number, and others around them.
void fillWhiteList(const Installation &installation)
{
    const std::string key = storedNumber(movedNumber);
    installation.open("wn.bin").execForEach(
        "INSERT INTO whiteList(hidden,number,name,extendID) VALUES(?,?,?,?);",
        {{Value::ofInteger(0), Value::ofText(storedNumber("13900000001")), Value::ofNull(), Value::ofInteger(1)},
         {Value::ofInteger(1), Value::ofText(key), Value::ofBlob(utf16BytesWithTerminator(wide("Wang"))),
          Value::ofInteger(-2)},
         {Value::ofNull(), Value::ofBlob(key), Value::ofText(std::string("a\0b", 3)), Value::ofText("x")},
         {Value::ofInteger(0), Value::ofText(key + "tail"), Value::ofBlob(""), Value::ofNull()},
         {Value::ofReal(std::numeric_limits<double>::infinity()), Value::ofText(key), Value::ofReal(0.1),
          Value::ofNull()},
         {Value::ofInteger(0), Value::ofText(storedNumber("13900000002")), Value::ofNull(), Value::ofInteger(1)}});
}

void takeBackThroughText(const kit::ListChange &change, const Installation &installation)
{
    kit::ListChange none;
    const kit::ListChange read = kit::listChangeOf(kit::listChangeText(change), "the change");
    EXPECT_EQ(read.added, change.added);
    EXPECT_EQ(read.removed, change.removed);
    kit::takeBack(read, none, placeOf(installation));
}

TEST(list_changes, rows_that_a_list_lost_are_put_back_as_they_were)
{
    const Installation installation;
    fillWhiteList(installation);
    const std::vector<Rows> before = bothLists(installation);
    const kit::ListChange change = changeOfAdding(installation, kit::blackListCalls);
    EXPECT_EQ(change.added.size(), 1U);
    EXPECT_GE(change.removed.size(), 2U);
    EXPECT_NE(bothLists(installation), before);
    takeBackThroughText(change, installation);
    EXPECT_EQ(bothLists(installation), before);
}

TEST(list_changes, lists_in_different_encodings_are_treated_alike)
{
    const Installation installation;
    std::filesystem::remove(installation.dataFile("wn.bin"));
    Database(installation.dataFile("wn.bin"), OpenMode::create)
        .exec("PRAGMA encoding = 'UTF-16le'; CREATE TABLE whiteList(uid INTEGER PRIMARY KEY, hidden, number, name, "
              "extendID);");
    fillWhiteList(installation);
    const std::vector<Rows> before = bothLists(installation);
    takeBackThroughText(changeOfAdding(installation, kit::blackListCalls), installation);
    EXPECT_EQ(bothLists(installation), before);
}

TEST(list_changes, changes_add_up_and_are_taken_back_at_once)
{
    const Installation installation;
    fillWhiteList(installation);
    const std::vector<Rows> before = bothLists(installation);
    kit::ListChange all;
    for (const kit::ListCalls *calls :
         {&kit::blackListCalls, &kit::whiteListCalls, &kit::whiteListCalls, &kit::blackListCalls}) {
        all.add(changeOfAdding(installation, *calls));
    }
    EXPECT_EQ(all.added.size(), 1U);
    takeBackThroughText(all, installation);
    EXPECT_EQ(bothLists(installation), before);
}

TEST(list_changes, what_was_decided_since_stays)
{
    const Installation installation;
    fillWhiteList(installation);
    const kit::ListChange blocked = changeOfAdding(installation, kit::blackListCalls);
    changeOfAdding(installation, kit::whiteListCalls);
    const std::vector<Rows> decided = bothLists(installation);
    takeBackThroughText(blocked, installation);
    EXPECT_EQ(bothLists(installation), decided);
}

TEST(list_changes, what_another_change_added_hands_over_what_cannot_be_put_back_yet)
{
    const Installation installation;
    fillWhiteList(installation);
    const std::vector<Rows> before = bothLists(installation);
    kit::ListChange blocked = changeOfAdding(installation, kit::blackListCalls);
    kit::ListChange allowed = changeOfAdding(installation, kit::whiteListCalls);
    kit::takeBack(blocked, allowed, placeOf(installation));
    kit::ListChange none;
    kit::takeBack(allowed, none, placeOf(installation));
    EXPECT_EQ(bothLists(installation), before);
}

TEST(list_changes, failure_leaves_both_lists_as_they_were)
{
    const Installation installation;
    fillWhiteList(installation);
    const kit::ListChange change = changeOfAdding(installation, kit::blackListCalls);
    installation.open("wn.bin").exec(
        "CREATE TRIGGER refuse BEFORE INSERT ON whiteList BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    const std::vector<Rows> before = bothLists(installation);
    kit::ListChange none;
    expectError(kit::Status::inputOutput, "refused", [&] { kit::takeBack(change, none, placeOf(installation)); });
    EXPECT_EQ(bothLists(installation), before);
}

TEST(list_changes, damaged_text_is_refused)
{
    for (const char *text :
         {"x", "{}", "[]", R"({"added":[],"removed":[{"list":"black"}]})",
          R"({"added":[],"removed":[{"list":"black","row":[1,2]}]})",
          R"({"added":[],"removed":[{"list":"white","row":["integer:1","null","text:zz","null","null"]}]})",
          R"({"added":[],"removed":[{"list":"white","row":["integer:1","null","null","null",0]}]})"}) {
        expectError(kit::Status::badData, "the change is damaged", [text] { kit::listChangeOf(text, "the change"); });
    }
    EXPECT_TRUE(kit::listChangeOf("", "the change").empty());
}

} // namespace
} // namespace velq::test
