// velq list: editing, showing, importing and exporting the two lists.
#include "cli/fixtures.h"
#include "velq.h"

#include <map>
#include <nlohmann/json.hpp>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

using cli_list = Robustness;

TEST_F(CliTest, list_add_show_count_remove_clear)
{
    for (const std::string list : {"black", "white"}) {
        expectDone(
            run({"list", list, "add", "13912345678", "--name", "王芳 \"F\" 😀", "--hidden", "1", "--extend-id", "-7"}));
        expectDone(run({"list", list, "add", "10000"}));
        EXPECT_EQ(run({"list", list, "count"}).out, "2\n");
        EXPECT_EQ(json::parse(run({"list", list, "count", "--json"}).out), (json{{"count", 2}}));
        EXPECT_EQ(run({"list", list, "show"}).out, "uid\tnumber\thidden\textendID\tname\n"
                                                   "2\t10000\t0\t0\t\n"
                                                   "1\t13912345678\t1\t-7\t王芳 \"F\" 😀\n");
        const json hidden = json::parse(run({"list", list, "show", "--hidden", "1", "--json"}).out);
        EXPECT_EQ(
            hidden,
            json::array(
                {{{"number", "13912345678"}, {"name", "王芳 \"F\" 😀"}, {"hidden", 1}, {"extendID", -7}, {"uid", 1}}}));
        EXPECT_EQ(run({"list", list, "remove", "+8613912345678"}).err,
                  "velq: 1 taken off the " + list + " list, 1 left\n");
        expectDone(run({"list", list, "clear"}));
        EXPECT_EQ(run({"list", list, "count"}).out, "0\n");
        EXPECT_EQ(json::parse(run({"list", list, "show", "--json"}).out), json::array());
    }
}

TEST_F(CliTest, list_add_moves_a_number_and_tells_a_repeated_one)
{
    expectDone(run({"list", "white", "add", "13912345678"}));
    EXPECT_EQ(run({"list", "black", "add", "+8613912345678"}).err,
              "velq: +8613912345678 added to the black list, 1 taken off the white list\n");
    EXPECT_EQ(run({"list", "white", "count"}).out, "0\n");
    EXPECT_NE(run({"list", "black", "add", "13912345678"}).err.find("already"), std::string::npos);
}

TEST_F(CliTest, list_removes_by_uid_and_link_value_and_clears_by_flag)
{
    installation.addNumber(NumberList::black, "1001", 0, {}, 5);
    installation.addNumber(NumberList::black, "1002", 1, {}, 5);
    installation.addNumber(NumberList::black, "1003", 1, {}, 6);
    installation.addNumber(NumberList::black, "1004", 0, {}, 7);
    expectDone(run({"list", "black", "remove", "--uid", "4"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "3\n");
    expectDone(run({"list", "black", "remove", "--extend-id", "5"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "1\n");
    expectDone(run({"list", "black", "clear", "--hidden", "0"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "1\n");
    expectDone(run({"list", "black", "clear", "--hidden", "1"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "0\n");
}

TEST_F(CliTest, list_refuses_entries_that_the_list_cannot_hold)
{
    expectFailure(run({"list", "black", "add", std::string(30, '1')}), 64, "29 characters");
    expectFailure(run({"list", "black", "add", "１３９"}), 64, "ASCII");
    expectFailure(run({"list", "black", "add", ""}), 64, "at least one");
    expectFailure(run({"list", "black", "add", "1", "--name", std::string(30, 'n')}), 64, "29 UTF-16 units");
    expectFailure(run({"list", "black", "add", "1", "--name", "\xFF"}), 64, "not UTF-8");
    expectFailure(run({"list", "black", "add", "1", "--hidden", "2"}), 64, "--hidden");
    expectFailure(run({"list", "black", "remove"}), 64, "NUMBER");
    expectFailure(run({"list", "black", "remove", "1", "--uid", "1"}), 64, "said more than once");
    expectFailure(run({"list", "black", "show", "--hidden", "2"}), 64, "--hidden");
    EXPECT_EQ(run({"list", "black", "count"}).out, "0\n");
}

TEST_F(CliTest, list_export_and_import_give_the_same_list)
{
    installation.addNumber(NumberList::white, "+8613912345678", 0, VELQ_TEXT("a,\"b\"\r\nc"), 3);
    installation.addNumber(NumberList::white, "10000", 1, VELQ_TEXT(" 王芳 \U0001F600 "), -2147483647 - 1);
    installation.addNumber(NumberList::white, "#21#", 0);
    const std::string exported = run({"list", "white", "export"}).out;
    EXPECT_TRUE(exported.starts_with("number,name,hidden,extendID\r\n")) << exported;
    const fs::path file = installation.folder() / "white.csv";
    expectDone(run({"list", "white", "export", file.string()}));
    EXPECT_EQ(readFile(file), exported);
    for (const std::vector<std::string> &options : {std::vector<std::string>{}, std::vector<std::string>{"--batch"}}) {
        expectDone(run({"list", "white", "clear"}));
        std::vector<std::string> arguments = {"list", "white", "import", file.string(), "--json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(json::parse(run(arguments).out),
                  (json{{"rows", 3}, {"added", 3}, {"movedOff", json::array()}, {"skipped", json::array()}}));
        EXPECT_EQ(run({"list", "white", "export"}).out, exported);
    }
}

TEST_F(CliTest, list_import_takes_columns_in_any_order_and_standard_input)
{
    const CommandResult result =
        run({"list", "black", "import", "-"}, "Name,Number\nWang,10000\n,10001\nagain,10000\n");
    expectDone(result);
    EXPECT_EQ(result.err, "velq: 2 of 3 numbers added to the black list\n");
    EXPECT_EQ(run({"list", "black", "export"}).out, "number,name,hidden,extendID\r\n10000,Wang,0,0\r\n10001,,0,0\r\n");
}

TEST_F(CliTest, list_import_names_file_and_line_and_adds_nothing)
{
    const std::map<std::string, std::string> faults = {
        {"name\nWang\n", "standard input:1: "},
        {"number\n1\n" + std::string(30, '1') + "\n", "standard input:3: the number is longer"},
        {"number,name\n1,\"a\nb\"\n2," + std::string(30, 'n') + "\n", "standard input:4: the name is longer"},
        {"number,hidden\n1,2\n", "standard input:2: hidden"},
        {"number,hidden\n1,x\n", "standard input:2: hidden and extendID"},
        {"number,extendID\n1,2147483648\n", "standard input:2: hidden and extendID"},
        {"number,name\n1\n", "standard input:2: 1 field where the header has 2"},
        {"number\n\xFF\n", "standard input:2: not UTF-8"}};
    for (const auto &[input, message] : faults) {
        expectFailure(run({"list", "white", "import", "-"}, input), 65, message);
    }
    expectFailure(run({"list", "white", "import", "/no/such/file.csv"}), 66, "/no/such/file.csv");
    expectFailure(run({"list", "black", "import", "--batch", "-"}), 64, "--batch");
    EXPECT_EQ(run({"list", "white", "count"}).out, "0\n");
}

TEST_F(CliTest, list_import_tells_all_bad_rows_at_once_or_skips_them)
{
    const std::string input = "number,name\n10000,a\nMY BANK,b\n10001,c\n" + std::string(30, '1') + ",d\n";
    const CommandResult refused = run({"list", "black", "import", "-"}, input);
    EXPECT_EQ(refused.status, badData);
    for (const char *part :
         {"standard input:3: a number has at least one character", "(MY BANK)",
          "standard input:5: the number is longer than 29", "2 rows of standard input are wrong", "--skip-bad"}) {
        EXPECT_NE(refused.err.find(part), std::string::npos) << part << "\n" << refused.err;
    }
    EXPECT_EQ(run({"list", "black", "count"}).out, "0\n");
    const CommandResult skipped = run({"list", "black", "import", "--skip-bad", "--json", "-"}, input);
    expectDone(skipped);
    const json report = json::parse(skipped.out);
    EXPECT_EQ(report["rows"], 4);
    EXPECT_EQ(report["added"], 2);
    ASSERT_EQ(report["skipped"].size(), 2U);
    EXPECT_EQ(report["skipped"][0]["line"], 3);
    EXPECT_EQ(report["skipped"][0]["number"], "MY BANK");
    EXPECT_NE(skipped.err.find("skipped standard input:5: "), std::string::npos) << skipped.err;
    EXPECT_NE(skipped.err.find("2 of 4 numbers added to the black list"), std::string::npos) << skipped.err;
}

TEST_F(CliTest, list_import_names_columns_that_it_passes_over)
{
    EXPECT_EQ(run({"list", "black", "import", "-"}, "number,nme\n10000,a\n").err,
              "velq: passed over the column \"nme\"\nvelq: 1 of 1 number added to the black list\n");
}

TEST_F(CliTest, list_import_tells_what_it_took_off_the_other_list)
{
    expectDone(run({"list", "white", "import", "-"}, "+8613912345678\n10000\n10001\n"));
    const CommandResult result = run({"list", "black", "import", "--json", "-"}, "13912345678\n10001\n10002\n");
    expectDone(result);
    EXPECT_EQ(json::parse(result.out)["movedOff"], (json{"+8613912345678", "10001"}));
    EXPECT_NE(result.err.find("2 numbers taken off the white list: +8613912345678, 10001\n"), std::string::npos)
        << result.err;
    EXPECT_EQ(run({"list", "white", "count"}).out, "1\n");
}

TEST_F(CliTest, list_check_finds_entries_that_can_never_match)
{
    expectDone(run({"list", "black", "add", "10000"}));
    const std::vector<std::string> check = {"list", "check", "--install", rootOf(installation)};
    EXPECT_EQ(velq(check).err, "velq: every entry of the lists can match\n");
    installation.addNumber(NumberList::white, "+44 7668");
    const CommandResult found = velq(check);
    expectFailure(found, badData, "1 entry of the lists can never match");
    EXPECT_EQ(found.out, "white\t1\t+44 7668\tsenders come without blanks and dashes; add +447668 instead\n");
    std::vector<std::string> asJson = check;
    asJson.emplace_back("--json");
    EXPECT_EQ(json::parse(velq(asJson).out).at(0).at("list"), "white");
}

#ifdef VELQ_WITH_COUNTRIES
TEST_F(CliTest, country_makes_all_spellings_match)
{
    expectDone(run({"list", "black", "add", "--country", "GB", "7668835601"}));
    expectDone(run({"list", "black", "import", "--country", "GB", "-"}, "number\n07668 835602\n+44 7668 835602\n"));
    EXPECT_EQ(run({"list", "black", "count"}).out, "2\n");
    for (const std::string sender : {"+447668835601", "07668835601", "7668 835602", "0044 7668 835602"}) {
        EXPECT_EQ(run({"rate", "--country", "GB", "--number", sender, hamText}).out, "spam\t" + hamText + "\n")
            << sender;
        const json answer = json::parse(
            run({"rate", "--json-lines", "--country", "gb"}, json{{"number", sender}, {"body", hamText}}.dump() + "\n")
                .out);
        EXPECT_EQ(answer["reason"], "black-list") << sender;
        EXPECT_NE(run({"explain", "--country", "GB", "--number", sender, hamText}).out.find("+44766883560"),
                  std::string::npos);
    }
    EXPECT_EQ(run({"rate", "--dry-run", "--number", "07668835601", hamText}).out.substr(0, 4), "ham\t");
    expectDone(run({"mark", "ham", "--country", "GB", "--number", "07668 835601", "see you"}));
    expectDone(run({"list", "black", "remove", "--country", "GB", "07668835602"}));
    EXPECT_EQ(run({"list", "black", "count"}).out, "0\n");
    expectFailure(run({"rate", "--country", "UK", "--number", "1", "text"}), badUsage, "UK is not a country");
}

TEST_F(CliTest, list_check_knows_the_country_of_senders)
{
    expectDone(run({"list", "black", "add", "07668835601"}));
    const std::string root = rootOf(installation);
    expectDone(velq({"list", "check", "--install", root}));
    expectFailure(velq({"list", "check", "--install", root, "--country", "GB"}), badData, "can never match");
}
#endif

TEST_F(CliTest, list_export_into_a_missing_folder_cannot_be_created)
{
    expectFailure(run({"list", "black", "export", "/no/such/folder/a.csv"}), 73, "/no/such/folder/a.csv");
}

TEST_F(cli_list, exported_list_is_written_whole_and_never_over_a_data_file)
{
    const Installation installation;
    const std::string data = installation.dataFile("bn.bin").string();
    const std::string before = readFile(data);
    expectFailure(velq({"list", "black", "export", "--install", rootOf(installation), data}), badUsage, "bn.bin");
    EXPECT_EQ(readFile(data), before);
    EXPECT_EQ(velq({"list", "black", "export", "--install", rootOf(installation), path("a.csv")}).status, 0);
    EXPECT_EQ(names(), std::vector<std::string>{"a.csv"});
}

// What an update brings is listed by its first character and makes no sender trusted that has more than that one.
TEST_F(cli_list, delivered_numbers_are_listed_by_their_first_character)
{
    const Installation installation;
    const std::string root = rootOf(installation);
    ASSERT_EQ(velq({"white-update", "build", file("n.csv", "+4598765432,Shop\n"), "-o", path("w.db")}).status, 0);
    ASSERT_EQ(velq({"update", "--install", root, "--white", path("w.db"), "--white-version", "2"}).status, 0);
    EXPECT_EQ(velq({"list", "white", "export", "--install", root}).out,
              "number,name,hidden,extendID\r\n+,Shop,1,0\r\n");
    const auto reason = [&](const std::string &number) {
        const CommandResult result = velq({"rate", "--json", "--install", root, "--number", number, "a longer text"});
        return json::parse(result.out).at(0).at("reason").get<std::string>();
    };
    EXPECT_EQ(reason("+4598765432"), "few-tokens");
    EXPECT_EQ(reason("+"), "white-list");
}

TEST_F(cli_list, remove_tells_none_from_two)
{
    const Installation installation;
    const std::string root = rootOf(installation);
    expectFailure(velq({"list", "black", "remove", "--install", root}), badUsage, "what is to be removed is not said");
    expectFailure(velq({"list", "black", "remove", "--install", root, "1", "--uid", "2"}), badUsage,
                  "said more than once");
}

} // namespace
} // namespace velq::test
