// velq init through the built program.
#include "cli/fixtures.h"
#include "support/database.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

using cli_init_from_a_pipe = Robustness;

TEST(cli_init, lays_out_an_installation_that_rates)
{
    Installation source;
    fillStore(source);
    const TemporaryFolder folder;
    const std::string root = (folder.path() / "短信 filter").string();
    const CommandResult result = velq({"init", root, "--store", source.dataFile("prob.bin").string()});
    expectDone(result);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("laid out in"), std::string::npos);
    EXPECT_EQ(velq({"rate", "--install", root, spamText}).out, "spam\t" + spamText + "\n");
}

TEST(cli_init, takes_the_text_form_of_a_store)
{
    const TemporaryFolder folder;
    const fs::path text = folder.path() / "store.txt";
    writeFile(text, "velq-store 1\nmessages\t10\t20\ntokens\nfree\t7\t1\nend\n");
    const std::string root = (folder.path() / "new").string();
    expectDone(velq({"init", root, "--store", text.string()}));
    EXPECT_EQ(
        Database(fs::path(root) / "Quenlibra/Tarvolent/data/prob.bin").query("SELECT hex(key) FROM velqTable;").size(),
        2U);
    const json report = json::parse(velq({"explain", "--json", "--install", root, "freedom"}).out)[0];
    EXPECT_EQ(report["spamMessages"], 10);
    EXPECT_EQ(report["tokens"][0]["spam"], 7);
    writeFile(text, "velq-store 1\nnonsense\n");
    expectFailure(velq({"init", root + "2", "--store", text.string()}), 65, "store.txt:2");
}

TEST(cli_init, refuses_to_overwrite)
{
    const Installation existing;
    const std::string before = readFile(existing.dataFile("prob.bin"));
    const Installation source;
    expectFailure(velq({"init", rootOf(existing), "--store", source.dataFile("prob.bin").string()}), 73,
                  "prob.bin exists");
    EXPECT_EQ(readFile(existing.dataFile("prob.bin")), before);
}

TEST(cli_init, says_what_is_wrong_with_the_store)
{
    const TemporaryFolder folder;
    const std::string root = (folder.path() / "new").string();
    writeFile(folder.path() / "text.bin", "this is no token store of any kind");
    expectFailure(velq({"init", root, "--store", (folder.path() / "none").string()}), 66, "no such file");
    expectFailure(velq({"init", root, "--store", (folder.path() / "text.bin").string()}), 65, "text.bin");
    EXPECT_FALSE(fs::exists(root));
}

TEST(cli_init, is_silent_when_quiet)
{
    const Installation source;
    const TemporaryFolder folder;
    const CommandResult result =
        velq({"init", (folder.path() / "new").string(), "--quiet", "--store", source.dataFile("prob.bin").string()});
    expectDone(result);
    EXPECT_EQ(result.out + result.err, "");
}

TEST(cli_init, lays_the_token_store_out_with_the_journal_that_is_asked_for)
{
    Installation source;
    fillStore(source);
    source.setJournal(Journal::writeAhead);
    const TemporaryFolder folder;
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, "delete"}, {{"--journal", "delete"}, "delete"}, {{"--journal", "wal"}, "wal"}};
    for (const auto &[options, mode] : cases) {
        const std::string root = (folder.path() / (mode + std::to_string(options.size()))).string();
        std::vector<std::string> command = {"init", root, "--store", source.dataFile("prob.bin").string()};
        command.insert(command.end(), options.begin(), options.end());
        expectDone(velq(command));
        const std::string store = root + "/Quenlibra/Tarvolent/data/prob.bin";
        const CommandResult verified = velq({"store", "verify", store});
        expectDone(verified);
        EXPECT_NE(verified.err.find("is sound, journal: " + mode), std::string::npos) << verified.err;
        EXPECT_EQ(json::parse(velq({"store", "verify", "--json", store}).out)["journal"], mode);
        EXPECT_EQ(velq({"rate", "--install", root, spamText}).out, "spam\t" + spamText + "\n");
        EXPECT_FALSE(fs::exists(store + "-wal"));
    }
    const std::string root = (folder.path() / "refused").string();
    expectFailure(velq({"init", root, "--journal", "memory"}), 64, "--journal");
    EXPECT_FALSE(fs::exists(root));
}

TEST_F(cli_init_from_a_pipe, installation_is_laid_out_with_a_store_from_a_pipe)
{
    const CommandResult result = velq({"init", path("new"), "--store", "-"}, storeText);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(
        json::parse(velq({"store", "stats", "--json", path("new/Quenlibra/Tarvolent/data/prob.bin")}).out)["tokens"],
        2);
}

} // namespace
} // namespace velq::test
