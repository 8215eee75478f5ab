// velq mark: what it teaches and refuses.
#include "cli/fixtures.h"
#include "velq.h"

#include <nlohmann/json.hpp>

namespace velq::test {
namespace {

using nlohmann::json;

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

} // namespace
} // namespace velq::test
