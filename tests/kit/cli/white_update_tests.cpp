// velq white-update build and velq update inspect.
#include "cli/fixtures.h"
#include "support/database.h"
#include "support/wide.h"

namespace velq::test {
namespace {

namespace fs = std::filesystem;

using update_file_commands = DataCommands;

TEST_F(update_file_commands, white_update_is_built_and_inspected)
{
    const CommandResult built =
        velq({"white-update", "build", file("n.csv", "number,name\n111,Ann\n222,Bob\n111,Cat\n"), "-o", path("w.db")});
    EXPECT_EQ(built.status, 0) << built.err;
    EXPECT_NE(built.err.find("n.csv:4: number 111 stands above already; left out"), std::string::npos) << built.err;
    const CommandResult inspected = velq({"update", "inspect", path("w.db")});
    EXPECT_EQ(inspected.status, 0);
    EXPECT_EQ(inspected.out, "white numbers\t2 rows, 2 new, 0 known\n");
    const Rows rows = Database(path("w.db")).query("SELECT number, name FROM diffWnTable;");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[1], (Row{Value::ofBlob(utf16BytesWithTerminator(VELQ_TEXT("222"))),
                            Value::ofBlob(utf16BytesWithTerminator(VELQ_TEXT("Bob")))}));
}

TEST_F(update_file_commands, white_update_ends_with_a_number_new_to_the_list)
{
    const Installation installation;
    const auto know = [&](const VELQ_WideChar *number) {
        installation.open("wn.bin").query("INSERT INTO whiteList(hidden, number, name) VALUES(1, ?, ?);",
                                          {Value::ofBlob(utf16BytesWithTerminator(number)), Value::ofBlob("")});
    };
    know(VELQ_TEXT("222"));
    const std::string list = installation.dataFile("wn.bin").string();
    const std::string csv = file("n.csv", "111,Ann\n222,Bob\n");
    ASSERT_EQ(velq({"white-update", "build", csv, "--white-list", list, "-o", path("w.db")}).status, 0);
    EXPECT_EQ(velq({"update", "inspect", "--white-list", list, path("w.db")}).out,
              "white numbers\t2 rows, 1 new, 1 known\n");
    know(VELQ_TEXT("111"));
    expectFailure(velq({"white-update", "build", csv, "--white-list", list, "-o", path("x")}), badData,
                  "all numbers are in");
    const CommandResult inspected = velq({"update", "inspect", "--white-list", list, path("w.db")});
    EXPECT_EQ(inspected.status, badData);
    EXPECT_NE(inspected.out.find("problem\trow 2\t"), std::string::npos) << inspected.out;
    EXPECT_FALSE(fs::exists(path("x")));
}

TEST_F(update_file_commands, refuse_what_is_wrong)
{
    expectFailure(
        velq({"white-update", "build", file("long.csv", "1,a\n" + std::string(30, '5') + ",b\n"), "-o", path("x")}),
        badData, "long.csv:2");
    expectFailure(velq({"white-update", "build", file("none.csv", "number,name\n"), "-o", path("x")}), badData,
                  "no numbers");
    expectFailure(velq({"white-update", "build", path("missing.csv"), "-o", path("x")}), noInput, "missing.csv");
    expectFailure(velq({"white-update", "build", file("a.csv", "1,a\n"), "-o", path("no/x")}), cannotCreate, "no/x");
    expectFailure(velq({"update", "inspect", path("missing.db")}), noInput, "missing.db");
    expectFailure(velq({"update", "inspect", file("text.db", "a text that is no database, long enough")}), badData,
                  "text.db");
    expectFailure(velq({"update", "inspect", store("s.bin", "tokens\n")}), badData, "not an update file");
    EXPECT_FALSE(fs::exists(path("x")));
}

} // namespace
} // namespace velq::test
