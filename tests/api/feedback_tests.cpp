// The user's corrections: what they move in the token store and the black list, and the trace that they leave.
#include "api/front_helpers.h"
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/log_reader.h"
#include "support/system.h"
#include "support/wide.h"
#include "velq.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace velq::test {
namespace {

using Texts = std::vector<std::string>;

const Texts trainingReadsStore = {"VELQ_BFilter_DataStore\tOpen DB!", "VELQ_BFilter_WordList\tOK: open_wordlist()",
                                  "VELQ_BFilter_DataStore\tClose DB!", "VELQ_BFilter_WordList\tOK: close_wordlist()"};

Texts repeated(int count)
{
    Texts lines;
    for (int i = 0; i < count; ++i) {
        lines.insert(lines.end(), trainingReadsStore.begin(), trainingReadsStore.end());
    }
    return lines;
}

std::int32_t setAsHam(const std::string &body, const std::string &number)
{
    return VELQ_SetMsgAsHam(wide(body).c_str(), wide(number).c_str());
}

std::int32_t setAsSpam(const std::string &body)
{
    return VELQ_SetMsgAsSpam(wide(body).c_str());
}

class Feedback : public StartedByTest {
  protected:
    Feedback()
    {
        installation.setMessageCounts(5, 5, 77);
        installation.addTokens({{wide("cash"), {3, 2, 9}}, {wide("free"), {1, 0, 8}}, {wide("win"), {0, 1, 7}}});
    }
};

INSTANTIATE_TEST_SUITE_P(BothVariants, Feedback, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

TEST_P(Feedback, marking_as_ham_moves_words_and_message_from_spam_to_ham)
{
    start();
    EXPECT_EQ(setAsHam("free cash to win", "555"), 0);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{2, 3, 9}));
    EXPECT_EQ(installation.token(wide("free")), (TokenCounts{0, 1, 8}));
    EXPECT_EQ(installation.token(wide("win")), (TokenCounts{0, 2, 7}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{4, 6, 77}));
}

TEST_P(Feedback, marking_as_spam_moves_words_and_message_from_ham_to_spam)
{
    start();
    EXPECT_EQ(setAsSpam("free cash to win"), 0);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{4, 1, 9}));
    EXPECT_EQ(installation.token(wide("free")), (TokenCounts{2, 0, 8}));
    EXPECT_EQ(installation.token(wide("win")), (TokenCounts{1, 0, 7}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{6, 4, 77}));
}

TEST_P(Feedback, words_never_counted_as_spam_are_still_added_as_ham)
{
    installation.addTokens({{wide("cash"), {0, 0, 0}}, {wide("free"), {0, 0, 0}}});
    installation.setMessageCounts(0, 0);
    start();
    EXPECT_EQ(setAsHam("cash free", "555"), 0);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{0, 1, 0}));
    EXPECT_EQ(installation.token(wide("free")), (TokenCounts{0, 1, 0}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{0, 1, 0}));
}

TEST_P(Feedback, marking_twice_as_spam_counts_the_words_twice)
{
    start();
    EXPECT_EQ(setAsSpam("free cash"), 0);
    EXPECT_EQ(setAsSpam("free cash"), 0);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{5, 0, 9}));
    EXPECT_EQ(installation.token(wide("free")), (TokenCounts{3, 0, 8}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{7, 3, 77}));
}

TEST_P(Feedback, marking_twice_as_ham_counts_the_words_twice)
{
    start();
    EXPECT_EQ(setAsHam("free cash", "555"), 0);
    EXPECT_EQ(setAsHam("free cash", "555"), 0);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{1, 4, 9}));
    EXPECT_EQ(installation.token(wide("free")), (TokenCounts{0, 2, 8}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{3, 7, 77}));
}

TEST_P(Feedback, message_counts_stop_at_zero)
{
    installation.setMessageCounts(1, 1, 4);
    start();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(setAsHam("nothing known", "555"), 0);
    }
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{0, 4, 4}));
}

TEST_P(Feedback, message_count_record_is_made_where_there_is_none)
{
    installation.open("prob.bin").exec("DELETE FROM velqTable;");
    start();
    EXPECT_EQ(setAsSpam("nothing known"), 0);
    EXPECT_EQ(installation.tokenValue(utf16Bytes(wide(".MSG_CNT"))),
              Value::ofBlob(bytes({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})));
    EXPECT_EQ(installation.open("prob.bin").query("SELECT COUNT(*) FROM velqTable;"), (Rows{{Value::ofInteger(1)}}));
}

TEST_P(Feedback, no_token_is_ever_added)
{
    start();
    EXPECT_EQ(setAsSpam("words that nobody stored"), 0);
    EXPECT_EQ(setAsHam("words that nobody stored", "555"), 0);
    EXPECT_EQ(installation.open("prob.bin").query("SELECT COUNT(*) FROM velqTable;"), (Rows{{Value::ofInteger(4)}}));
}

TEST_P(Feedback, null_and_empty_bodies_move_the_message_counts_only)
{
    start();
    EXPECT_EQ(VELQ_SetMsgAsSpam(nullptr), 0);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{6, 4, 77}));
    EXPECT_EQ(VELQ_SetMsgAsHam(nullptr, wide("555").c_str()), 0);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{5, 5, 77}));
    EXPECT_EQ(setAsSpam(""), 0);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{6, 4, 77}));
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{3, 2, 9}));
}

TEST_P(Feedback, only_29_tokens_of_a_body_move)
{
    WideText body;
    for (int i = 0; i < 40; ++i) {
        const WideText token = {static_cast<VELQ_WideChar>(0x4E00 + i), static_cast<VELQ_WideChar>(0x5E00 + i)};
        installation.addToken(token, 1, 1, 3);
        body += token;
    }
    start();
    EXPECT_EQ(VELQ_SetMsgAsSpam(body.c_str()), 0);
    for (int i = 0; i < 40; ++i) {
        const WideText token = {static_cast<VELQ_WideChar>(0x4E00 + i), static_cast<VELQ_WideChar>(0x5E00 + i)};
        EXPECT_EQ(installation.token(token), (i < 29 ? TokenCounts{2, 0, 3} : TokenCounts{1, 1, 3})) << i;
    }
}

// ---- The black list

TEST_P(Feedback, marking_as_ham_takes_the_sender_off_the_black_list)
{
    installation.addNumber(NumberList::black, "13812345678");
    installation.addNumber(NumberList::black, "+8613812345678");
    installation.addNumber(NumberList::black, "13812345679");
    installation.addNumber(NumberList::white, "13812345678");
    start();
    EXPECT_EQ(setAsHam("cash", "008613812345678"), 0);
    const Rows left = installation.numberRows(NumberList::black);
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left[0][2], Value::ofText(storedNumber("13812345679")));
    EXPECT_EQ(installation.numberRows(NumberList::white).size(), 1U);
}

TEST_P(Feedback, marking_as_ham_with_an_unlisted_number_succeeds)
{
    installation.addNumber(NumberList::black, "13812345678");
    start();
    EXPECT_EQ(setAsHam("cash", "13812345679"), 0);
    EXPECT_EQ(setAsHam("cash", ""), 0);
    EXPECT_EQ(installation.numberRows(NumberList::black).size(), 1U);
}

TEST_P(Feedback, marking_as_spam_leaves_the_lists_alone)
{
    installation.addNumber(NumberList::white, "13812345678");
    start();
    const Texts white = installation.open("wn.bin").dump();
    const Texts black = installation.open("bn.bin").dump();
    EXPECT_EQ(setAsSpam("free cash"), 0);
    EXPECT_EQ(installation.open("wn.bin").dump(), white);
    EXPECT_EQ(installation.open("bn.bin").dump(), black);
}

TEST_P(Feedback, marking_as_ham_without_a_usable_number_trains_and_is_refused)
{
    installation.addNumber(NumberList::black, "123456789012345678901234567890");
    start();
    EXPECT_EQ(VELQ_SetMsgAsHam(wide("cash").c_str(), nullptr), VELQ_ERR_FAILED);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{2, 3, 9}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{4, 6, 77}));
    EXPECT_EQ(setAsHam("cash", "123456789012345678901234567890"), VELQ_ERR_FAILED);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{1, 4, 9}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{3, 7, 77}));
    EXPECT_EQ(installation.numberRows(NumberList::black).size(), 1U);
    EXPECT_EQ(newLines(), (Texts{"VELQ_DB_Interface\tError: no number given, or number or name too long",
                                 "VELQ_DB_Interface\tError: no number given, or number or name too long"}));
}

TEST_P(Feedback, number_of_29_characters_is_taken)
{
    const std::string number = "12345678901234567890123456789";
    installation.addNumber(NumberList::black, number);
    start();
    EXPECT_EQ(setAsHam("cash", number), 0);
    EXPECT_TRUE(installation.numberRows(NumberList::black).empty());
}

// ---- Traces

TEST_P(Feedback, trace_of_marking_as_ham)
{
    installation.enableDebug();
    start();
    EXPECT_EQ(setAsHam("free cash", "555"), 0);
    EXPECT_EQ(newLines(), repeated(4));
}

TEST_P(Feedback, trace_of_marking_as_spam)
{
    installation.enableDebug();
    start();
    EXPECT_EQ(setAsSpam("free cash"), 0);
    EXPECT_EQ(newLines(), repeated(4));
}

TEST_P(Feedback, trace_of_marking_as_ham_without_a_number)
{
    installation.enableDebug();
    start();
    EXPECT_EQ(VELQ_SetMsgAsHam(wide("cash").c_str(), nullptr), VELQ_ERR_FAILED);
    EXPECT_EQ(newLines(),
              (repeated(4) + Texts{"VELQ_DB_Interface\tError: no number given, or number or name too long"}));
}

TEST_P(Feedback, success_leaves_no_line_without_debug)
{
    start();
    EXPECT_EQ(setAsSpam("free cash"), 0);
    EXPECT_EQ(setAsHam("free cash", "555"), 0);
    EXPECT_EQ(newLines(), (Texts{}));
}

TEST_P(Feedback, trace_of_a_failed_removal)
{
    if (GetParam() == StartVariant::norix && !openFilesCanBeRemoved()) {
        GTEST_SKIP() << "a file that is kept open cannot go missing here";
    }
    installation.enableDebug();
    start();
    std::filesystem::remove(installation.dataFile("bn.bin"));
    EXPECT_EQ(setAsHam("cash", "555"), VELQ_ERR_FAILED);
    EXPECT_EQ(newLines(),
              (repeated(4) + Texts{"VELQ_DB_Interface\tError: VELQ_DSH_Open",
                                   "VELQ_DB_Interface\t**********Error:Leave db_DeleteNumberRecord()!********"}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{4, 6, 77}));
}

TEST_P(Feedback, failed_writes_count_as_success_and_the_rest_goes_on)
{
    installation.addNumber(NumberList::black, "555");
    installation.open("prob.bin")
        .exec("CREATE TRIGGER refuse BEFORE UPDATE ON velqTable "
              "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    start();
    const Texts before = installation.open("prob.bin").dump();
    EXPECT_EQ(setAsSpam("cash"), 0);
    EXPECT_EQ(setAsHam("cash", "555"), 0);
    EXPECT_EQ(installation.open("prob.bin").dump(), before);
    EXPECT_TRUE(installation.numberRows(NumberList::black).empty());
    Texts expected;
    for (int i = 0; i < 4; ++i) {
        expected.insert(expected.end(), {"VELQ_BFilter_Register\tcannot write to data base.",
                                         "VELQ_BFilter_Interface\tError: register_words"});
    }
    EXPECT_EQ(newLines(), expected);
}

// Without kept connections a missing store fails the training.
TEST(PlainFeedback, marking_as_spam_fails_without_a_token_store)
{
    for (const bool withDebug : {true, false}) {
        Installation installation;
        if (withDebug) {
            installation.enableDebug();
        }
        const EngineSession session(installation);
        ASSERT_EQ(session.result(), 0);
        const std::filesystem::path log = installation.logFile("engine.log");
        const auto before = static_cast<std::ptrdiff_t>(logLines(log).size());
        std::filesystem::remove(installation.dataFile("prob.bin"));
        EXPECT_EQ(setAsSpam("cash"), VELQ_ERR_FAILED);
        EXPECT_EQ(setAsHam("cash", "555"), 0);

        const std::string failure = utf8(installation.programDir()) + "\\data\\prob.bin: unable to open database file";
        Texts expected;
        for (int i = 0; i < 4; ++i) {
            if (withDebug) {
                expected.emplace_back("VELQ_BFilter_DataStore\tOpen DB!");
            }
            expected.insert(expected.end(), {"VELQ_BFilter_Datastore_Sqlite\tCan't open database " + failure,
                                             "VELQ_BFilter_Datastore_Sqlite\tError on database " + failure,
                                             "VELQ_BFilter_WordList\tError: ds_open!"});
            if (withDebug) {
                expected.emplace_back("VELQ_BFilter_WordList\tOK: close_wordlist()");
            }
            expected.insert(expected.end(), {"VELQ_Word_Seg\tError: open_wordlist",
                                             "VELQ_Word_Seg\t**********Error:Leave VELQ_Word_Seg  wordSeg()!********",
                                             "VELQ_DB_Interface\tError: Word Segmentation Error!",
                                             "VELQ_DB_Interface\t**********Error:Leave registerMsg()!********"});
        }
        Texts lines = normalisedLog(log);
        lines.erase(lines.begin(), lines.begin() + before);
        EXPECT_EQ(lines, expected);
    }
}

TEST_P(Feedback, is_refused_before_a_start_and_after_a_stop)
{
    EXPECT_EQ(setAsHam("cash", "555"), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(setAsSpam("cash"), VELQ_NOT_INITIALIZED);
    start();
    EXPECT_EQ(session->stop(), 0);
    EXPECT_EQ(setAsHam("cash", "555"), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(setAsSpam("cash"), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{5, 5, 77}));
}

} // namespace
} // namespace velq::test
