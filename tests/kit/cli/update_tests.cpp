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

class Update : public CliTest {
  protected:
    Update()
    {
        installation.setVersion(0, 6);
        makeProbabilityUpdate(update, {probabilityRow(VELQ_TEXT("priz"), {5, 6})});
    }
    CommandResult merge(const fs::path &file, int version, const std::vector<std::string> &more = {}) const
    {
        std::vector<std::string> arguments = {"update", "--prob", file.string(), "--prob-version",
                                              std::to_string(version)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }
    TokenCounts prize() const
    {
        return installation.token(VELQ_TEXT("priz")).value_or(TokenCounts{});
    }

    const fs::path update = installation.folder() / "words.upd";
};

TEST_F(Update, refuses_a_version_that_is_not_above_the_installed_one)
{
    expectFailure(merge(update, 6), badData,
                  "version 6 is installed, and " + update.string() +
                      " is given as 6: an update that is merged twice counts twice; nothing was changed; --force");
    expectFailure(merge(update, 5), badData, "older data would be added to newer");
    EXPECT_EQ(prize(), (TokenCounts{90, 1}));
    EXPECT_EQ(installation.version(0), 6);
    const CommandResult forced = merge(update, 5, {"--force"});
    expectDone(forced);
    EXPECT_TRUE(forced.err.starts_with("velq: forced: version 6 is installed")) << forced.err;
    EXPECT_EQ(prize(), (TokenCounts{95, 7}));
    EXPECT_EQ(installation.version(0), 5);
}

TEST_F(Update, refuses_what_was_merged_already_under_another_version_and_name)
{
    expectDone(merge(update, 7));
    const fs::path copy = installation.folder() / "copy.upd";
    fs::copy_file(update, copy);
    expectFailure(merge(copy, 8), badData, "was merged already, as version 7 at 20");
    EXPECT_EQ(prize(), (TokenCounts{95, 7}));
    EXPECT_EQ(installation.version(0), 7);
    expectDone(merge(copy, 8, {"--force"}));
    EXPECT_EQ(prize(), (TokenCounts{100, 13}));
    EXPECT_NE(readFile(installation.programFolder() / "updates.tsv").find("\tprobability\t8\t"), std::string::npos);

    const fs::path other = installation.folder() / "other.upd";
    makeProbabilityUpdate(other, {probabilityRow(VELQ_TEXT("priz"), {5, 5})});
    expectDone(merge(other, 9));
}

TEST_F(Update, without_rows_may_be_merged_again)
{
    const fs::path empty = installation.folder() / "empty.upd";
    makeProbabilityUpdate(empty, {});
    expectDone(merge(empty, 7));
    expectDone(merge(empty, 8));
    EXPECT_EQ(installation.version(0), 8);
}

TEST_F(Update, refuses_a_file_that_would_wrap_a_count)
{
    const fs::path lowering = installation.folder() / "lowering.upd";
    makeProbabilityUpdate(lowering, {probabilityRow(VELQ_TEXT("priz"), {static_cast<std::uint32_t>(-80), 0}),
                                     probabilityRow(VELQ_TEXT("hell"), {static_cast<std::uint32_t>(-1), 0}),
                                     probabilityRow(VELQ_TEXT("cake"), {static_cast<std::uint32_t>(-2), 0})});
    const std::string store = readFile(installation.dataFile("prob.bin"));
    const CommandResult refused = merge(lowering, 7);
    expectFailure(refused, badData,
                  "would ruin counts: row 3 (cake): the counts become 4294967295 spam, 70 ham: the store has less than "
                  "the update takes away");
    EXPECT_NE(refused.err.find("velq update inspect " + lowering.string()), std::string::npos) << refused.err;
    EXPECT_EQ(readFile(installation.dataFile("prob.bin")), store);
    const CommandResult inspected =
        velq({"update", "inspect", lowering.string(), "--store", installation.dataFile("prob.bin").string()});
    EXPECT_NE(inspected.out.find("wraps\trow 3 (cake)\t"), std::string::npos) << inspected.out;
    const CommandResult forced = merge(lowering, 7, {"--force"});
    expectDone(forced);
    EXPECT_EQ(prize(), (TokenCounts{10, 1}));
    EXPECT_EQ(installation.token(VELQ_TEXT("cake")), (TokenCounts{4294967295, 70}));
}

TEST_F(Update, of_ordinary_corrections_since_is_refused_when_exact_and_taken_when_it_adds)
{
    // Sixteen corrections take the ham counts below what the exact difference takes away.
    const std::string store = installation.dataFile("prob.bin").string();
    const fs::path old = installation.folder() / "old.bin";
    fs::copy_file(store, old);
    const fs::path next = installation.folder() / "next.txt";
    writeFile(next, "velq-store 1\nmessages\t100\t100\nprior\t400000\ntokens\ncake\t30\t5\nhell\t1\t90\nend\n");
    const fs::path exact = installation.folder() / "exact.upd";
    const fs::path adding = installation.folder() / "adding.upd";
    expectDone(velq({"store", "diff", "--exact", old.string(), next.string(), "-o", exact.string()}));
    expectDone(velq({"store", "diff", old.string(), next.string(), "-o", adding.string()}));
    expectDone(run({"mark", "spam", "cake", "cake", "cake", "cake", "cake", "cake", "cake", "cake", "cake", "cake",
                    "cake", "cake", "cake", "cake", "cake", "cake"}));
    expectFailure(merge(exact, 7), badData, "would ruin counts");
    expectDone(merge(adding, 7));
    const TokenCounts cake = installation.token(VELQ_TEXT("cake")).value_or(TokenCounts{});
    EXPECT_GE(cake.spam, 17U);
    EXPECT_GE(cake.ham, 54U);
    EXPECT_LT(cake.spam + cake.ham, 100000U);
}

TEST_F(Update, that_could_not_be_stored_is_a_failure)
{
    const CommandResult result =
        runProgram("bash", {"-c", "trap '' XFSZ; ulimit -f 1 && exec \"$@\"", "bash", velqProgram(), "update",
                            "--install", rootOf(installation), "--prob", update.string(), "--prob-version", "7"});
    expectFailure(result, inputOutput, "changed nothing");
    EXPECT_EQ(prize(), (TokenCounts{90, 1}));
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
