// The delivered data: the starter store of new installations, and the update that carries older ones to it.
#include "cli/fixtures.h"
#include "kit/reading/message_reading.h"
#include "kit/store/store_form.h"
#include "support/database.h"

#include <cmath>
#include <iostream>
#include <nlohmann/json.hpp>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const fs::path sources = fs::path(VELQ_SOURCE_DIR) / "data";
const fs::path built = VELQ_BUILT_DATA;
const std::string update = (built / "updates" / "1-to-2.update").string();

kit::Store storeIn(const fs::path &file)
{
    return kit::modelOf(kit::readStore(file.string(), std::cin));
}

double logOdds(double probability)
{
    return std::log(probability / (1 - probability));
}

class data_update : public testing::Test, protected TestFiles {
  protected:
    std::string laidOut(const std::string &name, const std::vector<std::string> &options = {}) const
    {
        std::vector<std::string> command = {"init", path(name), "--quiet"};
        command.insert(command.end(), options.begin(), options.end());
        expectDone(velq(command));
        return path(name);
    }
    static int versionOf(const std::string &root)
    {
        return json::parse(velq({"versions", "--json", "--install", root}).out)["probability"];
    }
    static CommandResult merge(const std::string &root)
    {
        return velq({"update", "--install", root, "--prob", update, "--prob-version", "2"});
    }
};

TEST_F(data_update, new_installation_holds_it_already)
{
    const std::string root = laidOut("new");
    EXPECT_EQ(versionOf(root), 2);
    expectFailure(merge(root), badData, "version 2 is installed");
}

TEST_F(data_update, store_of_ones_own_begins_with_version_1)
{
    EXPECT_EQ(versionOf(laidOut("own", {"--store", (sources / "starter-store.txt").string()})), 1);
}

TEST_F(data_update, version_comes_with_the_store_that_is_laid_out)
{
    writeFile(path("store.txt"), storeText);
    expectDone(velq({"store", "load", path("store.txt"), "-o", path("store.bin"), "--data-version", "7"}));
    for (const char *journal : {"delete", "wal"}) {
        EXPECT_EQ(versionOf(laidOut(journal, {"--store", path("store.bin"), "--journal", journal})), 7);
    }
    expectFailure(velq({"store", "load", path("store.txt"), "-o", path("x"), "--data-version", "0"}), badUsage,
                  "--data-version");
}

// Every token of the new store comes out with its lean, beside those of the old store and the stand-ins.
TEST_F(data_update, carries_an_installation_of_data_1_to_the_new_store)
{
    const std::string root = laidOut("old", {"--store", (sources / "starter-store-1.txt").string()});
    ASSERT_EQ(versionOf(root), 1);
    expectDone(merge(root));
    EXPECT_EQ(versionOf(root), 2);
    const kit::Store wanted = storeIn(sources / "starter-store.txt");
    const kit::Store reached = storeIn(fs::path(root) / "Quenlibra/Tarvolent/data/prob.bin");
    std::size_t others = 0;
    for (const auto &[token, counts] : wanted.tokens) {
        ASSERT_TRUE(reached.tokens.contains(token));
        const double is = kit::tokenProbability(reached.tokens.at(token), kit::totalsOf(reached));
        const double shall = kit::tokenProbability(counts, kit::totalsOf(wanted));
        const bool same = kit::probabilityCounts(is) == kit::probabilityCounts(shall);
        others += same && (!kit::probabilityCounts(shall) || std::fabs(logOdds(is) - logOdds(shall)) < 0.1) ? 0 : 1;
    }
    EXPECT_LE(others, wanted.tokens.size() / 100);
    expectFailure(merge(root), badData, "version 2 is installed");
}

TEST_F(data_update, takes_nothing_away_and_is_small)
{
    const json report = json::parse(velq({"store", "diff", "--json", (sources / "starter-store-1.txt").string(),
                                          (sources / "starter-store.txt").string(), "--stand-ins",
                                          (sources / "stand-ins-1-to-2.txt").string(), "-o", path("again.update")})
                                        .out);
    EXPECT_EQ(report["lowered"], 0);
    EXPECT_EQ(readFile(path("again.update")), readFile(update));
    EXPECT_LE(fs::file_size(update), 1'600'000U);
    EXPECT_LE(fs::file_size(built / "prob.bin"), 1'000'000U);
}

// A new starter store needs new stand-ins; data/README.md says how they are made.
TEST_F(data_update, stand_ins_are_those_of_both_stores)
{
    const kit::Store before = storeIn(sources / "starter-store-1.txt");
    const kit::Store after = storeIn(sources / "starter-store.txt");
    const kit::Store standIns = storeIn(sources / "stand-ins-1-to-2.txt");
    for (const auto &[token, counts] : standIns.tokens) {
        EXPECT_FALSE(after.tokens.contains(token));
    }
    for (const auto &[token, counts] : before.tokens) {
        EXPECT_TRUE(after.tokens.contains(token) || standIns.tokens.contains(token));
    }
}

// ---- The command that makes stand-ins -----------------------------------------------------------------------------

class stand_in_command : public DataCommands {};

TEST_F(stand_in_command, stand_ins_are_learned_and_taken_into_an_update)
{
    const std::string messages = corpus();
    const std::string before = store("old.bin", "messages\t80\t80\ntokens\ncash\t1\t1\ngone\t9\t9\n");
    expectDone(velq({"store", "build", messages, "-o", path("new.bin"), "--quiet"}));
    const CommandResult result =
        velq({"store", "stand-ins", before, path("new.bin"), messages, "-o", path("stand-ins.txt")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.err.find("rated worse than by the new store"), std::string::npos) << result.err;
    expectDone(velq({"store", "stand-ins", before, path("new.bin"), messages, "-o", path("again.txt"), "--quiet"}));
    EXPECT_EQ(readFile(path("stand-ins.txt")), readFile(path("again.txt")));
    const json report = json::parse(velq({"store", "diff", "--json", before, path("new.bin"), "--stand-ins",
                                          path("stand-ins.txt"), "-o", path("u.db")})
                                        .out);
    EXPECT_EQ(report["lowered"], 0);
    EXPECT_TRUE(report["standIns"].is_number());
}

TEST_F(stand_in_command, says_what_is_wrong_with_what_it_is_given)
{
    const std::string before = store("old.bin", "messages\t80\t80\ntokens\ngone\t9\t9\n");
    const std::string after = store("new.bin", "messages\t0\t80\ntokens\nab\t0\t9\n");
    const std::string messages = corpus();
    expectFailure(velq({"store", "stand-ins", before, after, messages, "-o", path("x.txt")}), badData,
                  "no messages of one of the classes");
    expectFailure(velq({"store", "stand-ins", before, before, messages, "-o", before}), badUsage, "input");
    expectFailure(velq({"store", "stand-ins", before, before, path("none.tsv"), "-o", path("x.txt")}), noInput, "none");
    const std::string others = store("others.bin", "messages\t90\t80\ntokens\ngone\t9\t9\n");
    const std::string wanted = store("wanted.bin", "messages\t80\t80\ntokens\nab\t1\t9\n");
    expectFailure(velq({"store", "diff", before, wanted, "--stand-ins", others, "-o", path("x")}), badData,
                  "another new store");
    expectFailure(velq({"store", "diff", "--exact", before, wanted, "--stand-ins", others, "-o", path("x")}), badUsage,
                  "--exact");
}

} // namespace
} // namespace velq::test
