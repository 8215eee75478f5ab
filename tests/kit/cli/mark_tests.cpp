// velq mark: what it teaches and refuses.
#include "cli/fixtures.h"
#include "velq.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace velq::test {
namespace {

using nlohmann::json;

class Mark : public CliTest {
  protected:
    // The whole store as text.
    std::string dump() const
    {
        return velq({"store", "dump", installation.dataFile("prob.bin").string()}).out;
    }
};

TEST_F(CliTest, mark_spam_moves_words_to_the_spam_side)
{
    const CommandResult result = run({"mark", "spam", "hello hello"});
    expectDone(result);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "velq: 1 message marked as spam\n");
    EXPECT_EQ(installation.token(VELQ_TEXT("hell")), (TokenCounts{2, 89}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{101, 99}));
}

TEST_F(CliTest, mark_prepares_texts_unless_they_are_to_be_raw)
{
    expectDone(run({"mark", "spam", "--raw", "HELLO HELLO"}));
    EXPECT_EQ(installation.token(VELQ_TEXT("hell")), (TokenCounts{1, 90}));
    expectDone(run({"mark", "spam", "HELLO HELLO"}));
    EXPECT_EQ(installation.token(VELQ_TEXT("hell")), (TokenCounts{2, 89}));
    expectDone(run({"mark", "ham", "PR\u0406ZE"}));
    EXPECT_EQ(installation.token(VELQ_TEXT("priz")), (TokenCounts{89, 2}));
}

TEST_F(CliTest, mark_ham_moves_words_and_takes_the_sender_off_the_black_list)
{
    installation.addNumber(NumberList::black, "13912345678");
    const CommandResult result = run({"mark", "ham", "--json", "--number", "+8613912345678", "prize prize", "prize"});
    expectDone(result);
    EXPECT_EQ(json::parse(result.out), (json{{"marked", 2}, {"as", "ham"}}));
    EXPECT_EQ(installation.token(VELQ_TEXT("priz")), (TokenCounts{88, 3}));
    EXPECT_TRUE(installation.numberRows(NumberList::black).empty());
}

TEST_F(CliTest, mark_reads_lines_and_is_silent_when_quiet)
{
    const CommandResult result = run({"mark", "spam", "--quiet"}, "hello there\nham\thello again\n");
    expectDone(result);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(installation.token(VELQ_TEXT("hell")), (TokenCounts{3, 88}));
}

TEST_F(CliTest, mark_refuses_long_numbers_and_bad_text_and_learns_nothing)
{
    expectFailure(run({"mark", "ham", "--number", std::string(30, '1'), spamText}), 64, "29 characters");
    expectFailure(run({"mark", "spam", "\xFF"}), 64, "not UTF-8");
    expectFailure(run({"mark", "spam", "--number", "1", "a"}), 64, "--number");
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{100, 100}));
}

TEST_F(Mark, corrects_until_the_verdict_turns)
{
    const CommandResult result = run({"mark", "spam", "--until-changed", "--json", hamText});
    expectDone(result);
    const json answer = json::parse(result.out);
    EXPECT_EQ(answer["as"], "spam");
    const json &message = answer["messages"].at(0);
    EXPECT_EQ(message["before"], "ham");
    EXPECT_EQ(message["changed"], true);
    EXPECT_TRUE(message["obstacle"].is_null());
    const int corrections = message["corrections"].get<int>();
    EXPECT_GT(corrections, 1);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{100U + static_cast<unsigned>(corrections),
                                                         100U - static_cast<unsigned>(std::min(corrections, 100))}));
    EXPECT_EQ(run({"rate", "--dry-run", hamText}).out, "spam\t" + hamText + "\n");
    EXPECT_NE(result.err.find("message 1, rated ham before, is rated spam after "), std::string::npos) << result.err;
    const std::string turned = dump();
    const CommandResult again = run({"mark", "spam", "--until-changed", hamText});
    expectDone(again);
    EXPECT_EQ(again.err, "velq: message 1 is rated spam already; nothing was changed\n");
    EXPECT_EQ(dump(), turned);
}

TEST_F(Mark, what_turned_a_verdict_is_taken_back_by_undo)
{
    const std::string before = dump();
    expectDone(run({"mark", "ham", "--until-changed", spamText}));
    EXPECT_NE(dump(), before);
    const CommandResult undone = run({"mark", "--undo"});
    expectDone(undone);
    EXPECT_NE(undone.err.find("1 message marked as ham"), std::string::npos) << undone.err;
    EXPECT_EQ(dump(), before);
}

TEST_F(Mark, says_why_a_verdict_never_turns_and_changes_nothing)
{
    installation.addNumber(NumberList::white, "13912345678");
    const std::string before = dump();
    const CommandResult few = run({"mark", "spam", "--until-changed", "--json", "qqqq zzzz xxxx qqqq"});
    expectDone(few);
    const json message = json::parse(few.out)["messages"].at(0);
    EXPECT_EQ(message["changed"], false);
    EXPECT_EQ(message["corrections"], 0);
    EXPECT_NE(few.err.find("cannot be made spam: no correction of its words changes what decides"), std::string::npos)
        << few.err;
    const CommandResult brief = run({"mark", "spam", "--until-changed"}, "hello\n");
    EXPECT_NE(brief.err.find("at most 6 characters"), std::string::npos) << brief.err;
    EXPECT_EQ(dump(), before);
    expectFailure(run({"mark", "--undo"}), noInput, "nothing to take back");
}

TEST_F(Mark, takes_back_what_a_thousand_corrections_did_not_turn)
{
    installation.addToken(VELQ_TEXT("oooo"), 0, 4000000);
    installation.addToken(VELQ_TEXT("pppp"), 0, 4000000);
    installation.addToken(VELQ_TEXT("uuuu"), 0, 4000000);
    const std::string before = dump();
    const CommandResult result = run({"mark", "spam", "--until-changed", "oooo pppp uuuu oooo pppp uuuu"});
    expectDone(result);
    EXPECT_NE(result.err.find("after 1000 corrections; nothing was changed"), std::string::npos) << result.err;
    EXPECT_EQ(dump(), before);
}

TEST_F(Mark, until_changed_takes_the_sender_off_the_black_list_first)
{
    installation.addNumber(NumberList::black, "13912345678");
    const CommandResult result = run({"mark", "ham", "--until-changed", "--json", "--number", "13912345678", hamText});
    expectDone(result);
    EXPECT_EQ(json::parse(result.out)["messages"].at(0)["corrections"], 1);
    EXPECT_TRUE(installation.numberRows(NumberList::black).empty());
}

// Lets no file grow beyond one KiB, which is what a full disk is to a store: whoever the user is and wherever the test
// runs.
CommandResult velqWithoutRoom(const std::vector<std::string> &arguments)
{
    std::vector<std::string> shell = {"-c", "trap '' XFSZ; ulimit -f 1 && exec \"$@\"", "bash", velqProgram()};
    shell.insert(shell.end(), arguments.begin(), arguments.end());
    return runProgram("bash", shell);
}

TEST_F(Mark, fails_when_the_store_took_nothing)
{
    const std::string before = dump();
    for (const std::string label : {"spam", "ham"}) {
        const CommandResult result =
            velqWithoutRoom({"mark", label, "--install", rootOf(installation), "hello hello", "prize prize"});
        expectFailure(result, inputOutput, "marking message 1 failed");
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(dump(), before);
    }
    expectFailure(velqWithoutRoom({"mark", "spam", "--install", rootOf(installation), "hello hello"}), inputOutput,
                  "the store did not take it; check the space left");
    expectDone(run({"mark", "spam", "hello hello"}));
}

TEST_F(Mark, undo_brings_the_counts_back_also_those_that_stood_at_0)
{
    installation.addTokens({{VELQ_TEXT("only"), {7, 0}}, {VELQ_TEXT("none"), {0, 0}}});
    const std::string before = dump();
    for (const std::string label : {"spam", "ham"}) {
        expectDone(run({"mark", label, "hello prize only none", "only", "only none", "unknown words"}));
        EXPECT_NE(dump(), before);
        const CommandResult undone = run({"mark", "--undo"});
        expectDone(undone);
        EXPECT_TRUE(undone.err.starts_with("velq: taken back: 4 messages marked as " + label)) << undone.err;
        EXPECT_EQ(dump(), before) << label;
    }
    expectFailure(run({"mark", "--undo"}), noInput, "nothing to take back");
}

TEST_F(Mark, undo_keeps_what_was_learned_since)
{
    expectDone(run({"mark", "spam", "hello hello"}));
    installation.setMessageCounts(111, 99);
    const CommandResult result = run({"mark", "--undo", "--json"});
    expectDone(result);
    EXPECT_EQ(json::parse(result.out), (json{{"takenBack", 1}, {"as", "spam"}}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{110, 100}));
    EXPECT_EQ(installation.token(VELQ_TEXT("hell")), (TokenCounts{1, 90}));
}

TEST_F(Mark, undo_takes_back_the_part_of_a_run_that_failed)
{
    const std::string before = dump();
    expectFailure(run({"mark", "spam"}, "hello there\n\xFF\n"), badData, "UTF-8");
    EXPECT_NE(dump(), before);
    expectDone(run({"mark", "--undo"}));
    EXPECT_EQ(dump(), before);
}

TEST_F(Mark, refuses_undo_with_a_verdict_and_a_damaged_record)
{
    const std::string before = dump();
    expectFailure(velq({"mark", "--install", rootOf(installation)}), badUsage, "say ham or spam, or --undo");
    expectFailure(velq({"mark", "--undo"}), badUsage, "--install");
    expectFailure(velq({"mark", "--undo", "spam", "--install", rootOf(installation), "hello"}), badUsage, "--undo");
    EXPECT_EQ(dump(), before);
    writeFile(installation.programFolder() / "last-mark.json", "{\"verdict\":");
    expectFailure(run({"mark", "--undo"}), badData, "last-mark.json is damaged");
}

} // namespace
} // namespace velq::test
