// The word list around each classifier operation: one opening, one transaction, one closing, on every path.
#include "VELQ_Util.h"
#include "bfilter/VELQ_BFilter_WordList.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"
#include "support/wide.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

class WordListLife : public testing::TestWithParam<StartVariant> {
  protected:
    WordListLife() : engine(Trace::on, GetParam()) {}
    ~WordListLife() override
    {
        close_wordlist(rollBackWordList);
    }

    RunningEngine engine;
};

INSTANTIATE_TEST_SUITE_P(BothVariants, WordListLife, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

TEST_P(WordListLife, opening_fills_the_record)
{
    engine.installation.setMessageCounts(11, 22, 33);
    ASSERT_EQ(open_wordlist(wordListForReading), 0);
    ASSERT_NE(word_list, nullptr);
    EXPECT_STREQ(word_list->name, "words");
    ASSERT_NE(word_list->settings, nullptr);
    const std::uint8_t flags[4] = {1, 1, 0, 1};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(word_list->settings->flags[i], flags[i]) << i;
    }
    EXPECT_STREQ(word_list->settings->directory, ".");
    EXPECT_STREQ(word_list->settings->path, engineState.tokenStorePath);
    EXPECT_STREQ(word_list->settings->databasePath, engineState.tokenStorePath);
    EXPECT_NE(word_list->settings->path, word_list->settings->databasePath);
    EXPECT_NE(word_list->store, nullptr);
    EXPECT_EQ(word_list->spamMessages, 11U);
    EXPECT_EQ(word_list->hamMessages, 22U);
    close_wordlist(commitWordList);
    EXPECT_EQ(word_list, nullptr);
}

TEST_P(WordListLife, message_counts_are_zero_without_a_record_and_short_records_count)
{
    ASSERT_EQ(open_wordlist(wordListForReading), 0);
    EXPECT_EQ(word_list->spamMessages + word_list->hamMessages, 0U);
    close_wordlist(commitWordList);
    engine.installation.addTokenRow(Value::ofBlob(utf16Bytes(wide(".MSG_CNT"))), Value::ofBlob(bytes({5, 0, 0, 0})));
    ASSERT_EQ(open_wordlist(wordListForReading), 0);
    EXPECT_EQ(word_list->spamMessages, 5U);
    EXPECT_EQ(word_list->hamMessages, 0U);
}

TEST_P(WordListLife, every_opening_is_one_transaction_whatever_the_mode)
{
    for (const int mode : {wordListForReading, wordListForWriting, 0}) {
        for (const bool commit : {commitWordList, rollBackWordList}) {
            const DshWatch watch;
            ASSERT_EQ(open_wordlist(mode), 0);
            close_wordlist(commit);
            EXPECT_EQ(watch.executed(), (Texts{"BEGIN TRANSACTION;", commit ? "COMMIT;" : "ROLLBACK;"}));
            EXPECT_TRUE(watch.everythingReleased());
            EXPECT_EQ(watch.connectionsOpened(), GetParam() == StartVariant::norix ? 0 : 1);
            EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, closeDb, closed}));
        }
    }
}

TEST_P(WordListLife, closing_keeps_or_drops_what_was_written)
{
    const token_value counts{1, 2, 3};
    ASSERT_EQ(open_wordlist(wordListForWriting), 0);
    EXPECT_EQ(ds_set_msgcounts(word_list->store, &counts), 0);
    close_wordlist(rollBackWordList);
    EXPECT_EQ(engine.installation.messageCounts(), std::nullopt);
    ASSERT_EQ(open_wordlist(wordListForWriting), 0);
    EXPECT_EQ(ds_set_msgcounts(word_list->store, &counts), 0);
    close_wordlist(commitWordList);
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{1, 2, 3}));
}

TEST_P(WordListLife, second_opening_is_refused_and_the_first_stays)
{
    ASSERT_EQ(open_wordlist(wordListForReading), 0);
    const WordList *first = word_list;
    const dsh *store = word_list->store;
    engine.newLines();
    EXPECT_EQ(open_wordlist(wordListForReading), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(), (Texts{"VELQ_BFilter_WordList\tError: word_list->dsh != NULL! Already Opened!"}));
    EXPECT_EQ(word_list, first);
    EXPECT_EQ(word_list->store, store);
    token_value counts{};
    EXPECT_EQ(ds_get_msgcounts(word_list->store, &counts), dsNotFound);
}

TEST_P(WordListLife, second_initialisation_is_told_and_changes_nothing)
{
    init_wordlist("first", "path");
    const WordList *first = word_list;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->store, nullptr);
    EXPECT_EQ(engine.newLines(), Texts{});
    init_wordlist("second", "other");
    EXPECT_EQ(word_list, first);
    EXPECT_STREQ(word_list->name, "first");
    EXPECT_EQ(engine.newLines(), (Texts{"VELQ_BFilter_WordListBase\tword_list is already initialized!"}));
}

TEST_P(WordListLife, closing_nothing_does_nothing)
{
    const DshWatch watch;
    close_wordlist(commitWordList);
    close_wordlist(rollBackWordList);
    free_wordlist();
    EXPECT_EQ(watch.calls(), Texts{});
    EXPECT_EQ(engine.newLines(), Texts{});
}

TEST_P(WordListLife, closing_a_list_that_was_never_opened_only_frees_it)
{
    init_wordlist("words", engineState.tokenStorePath);
    const DshWatch watch;
    close_wordlist(commitWordList);
    EXPECT_EQ(word_list, nullptr);
    EXPECT_EQ(watch.calls(), Texts{});
    EXPECT_EQ(engine.newLines(), (Texts{closed}));
}

// ---- Failures, with the level of each line

class WordListFailure : public testing::TestWithParam<Trace> {};

INSTANTIATE_TEST_SUITE_P(BothLevels, WordListFailure, testing::Values(Trace::on, Trace::off),
                         [](const testing::TestParamInfo<Trace> &level) {
                             return level.param == Trace::on ? "with_debug" : "without_debug";
                         });

TEST_P(WordListFailure, missing_file_fails_the_opening)
{
    RunningEngine engine(GetParam());
    std::filesystem::remove(engine.installation.dataFile("prob.bin"));
    const DshWatch watch;
    EXPECT_EQ(open_wordlist(wordListForReading), VELQ_ERR_FAILED);
    EXPECT_EQ(word_list, nullptr);
    EXPECT_TRUE(watch.everythingReleased());
    const std::string failure = std::string(engineState.tokenStorePath) + ": unable to open database file";
    EXPECT_EQ(engine.newLines(), expectedLog({{false, openDb},
                                              {true, "VELQ_BFilter_Datastore_Sqlite\tCan't open database " + failure},
                                              {true, "VELQ_BFilter_Datastore_Sqlite\tError on database " + failure},
                                              {true, "VELQ_BFilter_WordList\tError: ds_open!"},
                                              {false, closed}},
                                             GetParam()));
}

TEST_P(WordListFailure, failing_busy_handler_fails_the_opening)
{
    RunningEngine engine(GetParam(), StartVariant::norix);
    const DshWatch watch({.call = DshCall::busyHandler});
    EXPECT_EQ(open_wordlist(wordListForReading), VELQ_ERR_FAILED);
    EXPECT_EQ(word_list, nullptr);
    EXPECT_NE(engineState.tokenStoreConn, nullptr);
    EXPECT_EQ(engine.newLines(),
              expectedLog({{false, openDb},
                           {true, "VELQ_BFilter_Datastore_Sqlite\tCan't set user non-service handle: not an error"},
                           {true, "VELQ_BFilter_Datastore_Sqlite\tError on database " +
                                      std::string(engineState.tokenStorePath) + ": not an error"},
                           {true, "VELQ_BFilter_WordList\tError: ds_open!"},
                           {false, closed}},
                          GetParam()));
}

TEST_P(WordListFailure, failed_begin_leaves_the_list_open_without_message_counts)
{
    RunningEngine engine(GetParam());
    engine.installation.setMessageCounts(11, 22);
    const DshWatch watch({.call = DshCall::exec, .code = 5});
    EXPECT_EQ(open_wordlist(wordListForReading), 0);
    ASSERT_NE(word_list, nullptr);
    EXPECT_EQ(word_list->spamMessages + word_list->hamMessages, 0U);
    EXPECT_EQ(watch.prepared(), Texts{});
    close_wordlist(commitWordList);
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines(),
              expectedLog({{false, openDb},
                           {true, "VELQ_BFilter_Datastore_Sqlite\tError executing \"BEGIN TRANSACTION;\": NULL (#5)"},
                           {true, "VELQ_BFilter_WordList\tError: ds_txn_begin()!"},
                           {false, opened},
                           {true, "VELQ_BFilter_Datastore_Sqlite\tError executing \"COMMIT;\": cannot commit - no "
                                  "transaction is active (#1)"},
                           {false, closeDb},
                           {false, closed}},
                          GetParam()));
}

TEST_P(WordListFailure, aborted_message_count_read_leaves_the_list_open_outside_a_transaction)
{
    RunningEngine engine(GetParam());
    engine.installation.setMessageCounts(11, 22);
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY});
    EXPECT_EQ(open_wordlist(wordListForReading), 0);
    ASSERT_NE(word_list, nullptr);
    EXPECT_EQ(word_list->spamMessages + word_list->hamMessages, 0U);
    close_wordlist(commitWordList);
    EXPECT_EQ(watch.executed(), (Texts{"BEGIN TRANSACTION;", "ROLLBACK;", "COMMIT;"}));
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines(),
              expectedLog({{false, openDb},
                           {false, opened},
                           {true, "VELQ_BFilter_Datastore_Sqlite\tError executing \"COMMIT;\": cannot commit - no "
                                  "transaction is active (#1)"},
                           {false, closeDb},
                           {false, closed}},
                          GetParam()));
}

TEST_P(WordListFailure, failed_commit_is_logged_and_everything_is_closed)
{
    for (const bool commit : {commitWordList, rollBackWordList}) {
        RunningEngine engine(GetParam());
        const DshWatch watch({.call = DshCall::exec, .code = 10, .nth = 2});
        EXPECT_EQ(open_wordlist(wordListForReading), 0);
        close_wordlist(commit);
        EXPECT_EQ(word_list, nullptr);
        EXPECT_TRUE(watch.everythingReleased());
        EXPECT_EQ(engine.newLines(),
                  expectedLog({{false, openDb},
                               {false, opened},
                               {true, std::string("VELQ_BFilter_Datastore_Sqlite\tError executing \"") +
                                          (commit ? "COMMIT;" : "ROLLBACK;") + "\": NULL (#10)"},
                               {false, closeDb},
                               {false, closed}},
                              GetParam()));
    }
}

TEST_P(WordListFailure, list_without_memory_is_not_made)
{
    RunningEngine engine(GetParam());
    {
        const AllocationGuard failing(1);
        EXPECT_EQ(open_wordlist(wordListForReading), VELQ_ERR_FAILED);
    }
    EXPECT_EQ(word_list, nullptr);
    EXPECT_EQ(engine.newLines(), expectedLog({{false, "VELQ_BFilter_WordListBase\tMemory allocation Failed!!"},
                                              {true, "VELQ_BFilter_WordList\tError: init_wordlist!"}},
                                             GetParam()));
}

TEST_P(WordListFailure, any_failed_allocation_fails_the_opening_and_releases_everything)
{
    RunningEngine engine(GetParam());
    const int failures = failEachAllocation(
        [] {
            const int result = open_wordlist(wordListForReading);
            close_wordlist(commitWordList);
            EXPECT_EQ(word_list, nullptr);
            return result;
        },
        [](int /*nth*/, int result, const DshWatch & /*watch*/) {
            EXPECT_EQ(result, VELQ_ERR_FAILED);
            EXPECT_EQ(open_wordlist(wordListForReading), 0);
            close_wordlist(commitWordList);
        });
    EXPECT_GE(failures, 8); // record, name, settings with three texts, path, two handles
}

} // namespace
} // namespace velq::test
