// velq update and velq versions: merges, their failures, and what is installed.
#include "cli/fixtures.h"
#include "support/database.h"
#include "velq.h"

#include <nlohmann/json.hpp>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

using cli_update = Robustness;

TEST_F(CliTest, versions_prints_the_three_versions)
{
    installation.setVersion(0, 4);
    installation.setVersion(1, 5);
    installation.setVersion(2, 6);
    EXPECT_EQ(run({"versions"}).out, "probability data\t4\nwhite numbers\t5\nrules\t6\n");
    EXPECT_EQ(json::parse(run({"versions", "--json"}).out),
              (json{{"probability", 4}, {"whiteNumbers", 5}, {"rules", 6}}));
}

TEST_F(CliTest, update_merges_both_files_and_records_their_versions)
{
    const fs::path prob = installation.folder() / "words 词.upd";
    const fs::path white = installation.folder() / "white.upd";
    makeProbabilityUpdate(prob, {probabilityRow(VELQ_TEXT("priz"), {5, 6})});
    makeWhiteNumberUpdate(white, {whiteNumberRow(VELQ_TEXT("10010"), VELQ_TEXT("name"))});
    const CommandResult result = run({"update", "--json", "--prob", prob.string(), "--prob-version", "7", "--white",
                                      white.string(), "--white-version", "8"});
    expectDone(result);
    EXPECT_EQ(json::parse(result.out), (json{{"probability", 7}, {"whiteNumbers", 8}, {"rules", 1}}));
    EXPECT_EQ(installation.token(VELQ_TEXT("priz")), (TokenCounts{95, 7}));
    EXPECT_EQ(installation.numberRows(NumberList::white).size(), 1U);
}

TEST_F(CliTest, update_reports_a_failed_first_merge_and_changes_nothing)
{
    const fs::path prob = installation.folder() / "words.upd";
    const fs::path white = installation.folder() / "white.upd";
    makeProbabilityUpdate(prob,
                          {probabilityRow(VELQ_TEXT("priz"), {5, 6}), {Value::ofBlob("ab"), Value::ofBlob("short")}});
    makeWhiteNumberUpdate(white, {whiteNumberRow(VELQ_TEXT("10010"), {})});
    expectFailure(run({"update", "--prob", prob.string(), "--prob-version", "7", "--white", white.string(),
                       "--white-version", "8"}),
                  65, "row 2: the key is not ended by a zero unit");
    EXPECT_EQ(installation.token(VELQ_TEXT("priz")), (TokenCounts{90, 1}));
    EXPECT_EQ(installation.version(0), 1);
    EXPECT_EQ(installation.version(1), 1);
}

TEST_F(CliTest, update_refuses_missing_and_wrong_files_and_half_options)
{
    const fs::path white = installation.folder() / "white.upd";
    makeWhiteNumberUpdate(white, {});
    expectFailure(run({"update"}), 64, "--prob");
    expectFailure(velq({"update", "--white", white.string(), "--white-version", "1"}), 64, "--install");
    expectFailure(run({"update", "--prob", white.string()}), 64, "--prob-version");
    expectFailure(run({"update", "--white-version", "3"}), 64, "--white");
    expectFailure(run({"update", "--prob", white.string(), "--prob-version", "x"}), 64, "--prob-version");
    expectFailure(run({"update", "--prob", "/no/such.upd", "--prob-version", "2"}), 66, "/no/such.upd");
    expectFailure(run({"update", "--prob", white.string(), "--prob-version", "2"}), 65, "no diffProbTable");
    expectFailure(run({"update", "--prob", "/" + std::string(255, 'a'), "--prob-version", "2"}), 64, "255 bytes");
    expectFailure(run({"update", "--prob", "a\\b", "--prob-version", "2"}), 64, "backslash");
    EXPECT_EQ(installation.version(0), 1);
}

TEST_F(CliTest, update_of_a_locked_store_fails_instead_of_being_skipped)
{
    const fs::path prob = installation.folder() / "words.upd";
    makeProbabilityUpdate(prob, {probabilityRow(VELQ_TEXT("priz"), {5, 6})});
    const HeldLock lock(installation.dataFile("prob.bin"), HeldLock::Kind::immediate);
    expectFailure(run({"update", "--prob", prob.string(), "--prob-version", "7"}), 74, "in use");
    EXPECT_EQ(installation.version(0), 1);
}

TEST_F(cli_update, that_cannot_be_merged_points_to_inspect)
{
    Installation installation;
    const std::string list = installation.dataFile("wn.bin").string();
    ASSERT_EQ(velq({"white-update", "build", "--quiet", file("n.csv", "1,a\n"), "-o", path("w.db")}).status, 0);
    const std::vector<std::string> update = {
        "update", "--install", rootOf(installation), "--white", path("w.db"), "--white-version", "3"};
    EXPECT_EQ(velq(update).status, 0);
    const std::string before = readFile(list);
    expectFailure(velq(update), badData, "velq update inspect " + path("w.db"));
    EXPECT_EQ(readFile(list), before);
}

} // namespace
} // namespace velq::test
