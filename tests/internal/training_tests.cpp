// Training: the count arithmetic at its edges, what is written where, and what stays after a failure.
#include "VELQ_DB_Interface.h"
#include "VELQ_Util.h"
#include "VELQ_Word_Seg.h"
#include "bfilter/VELQ_BFilter_Interface.h"
#include "bfilter/VELQ_BFilter_Register.h"
#include "bfilter/VELQ_BFilter_WordList.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"
#include "support/wide.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

namespace velq::test {
namespace {

const std::string registerFailed = "VELQ_BFilter_Interface\tError: register_words";
const std::string tokenFailed = "VELQ_BFilter_Register\tcannot write to data base.";
const std::string countsFailed = "VELQ_BFilter_Register\tcannot set message count values";
const std::string commitFailed =
    "VELQ_BFilter_Datastore_Sqlite\tError executing \"COMMIT;\": cannot commit - no transaction is active (#1)";

class Training : public testing::TestWithParam<StartVariant> {
  protected:
    Training() : engine(Trace::on, GetParam()) {}
    ~Training() override
    {
        close_wordlist(rollBackWordList);
    }

    void segment(const std::string &text)
    {
        ASSERT_EQ(wordSeg(wide(text).c_str()), 0);
        engine.newLines();
    }
    TokenCounts token(const std::string &text) const
    {
        return engine.installation.token(wide(text)).value_or(TokenCounts{99, 99, 99});
    }
    // Three tokens and message counts that every failure test begins with.
    void fill()
    {
        engine.installation.setMessageCounts(5, 6, 7);
        engine.installation.addTokens({{wide("ab"), {1, 2, 3}}, {wide("cd"), {1, 2, 3}}, {wide("ef"), {1, 2, 3}}});
        segment("abcdef");
    }
    // What runs after a busy statement. A kept connection is rolled back once more, lest a commit that failed for
    // another reason keep it in its transaction.
    Texts abortedTransaction() const
    {
        Texts statements = {"BEGIN TRANSACTION;", "ROLLBACK;", "COMMIT;"};
        if (GetParam() == StartVariant::norix) {
            statements.emplace_back("ROLLBACK;");
        }
        return statements;
    }
    std::string stepFailure(const std::string &function, int code) const
    {
        return "VELQ_BFilter_Datastore_Sqlite\t" + function + ": error executing statement on " +
               engineState.tokenStorePath + ": not an error (" + std::to_string(code) + ")";
    }

    RunningEngine engine;
};

INSTANTIATE_TEST_SUITE_P(BothVariants, Training, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

// ---- Arithmetic

TEST_P(Training, moves_token_counts_by_one_and_stops_at_zero_as_signed)
{
    const struct {
        std::uint32_t before, added, subtracted;
    } cases[] = {{0, 1, 0},
                 {1, 2, 0},
                 {2, 3, 1},
                 {0x7FFFFFFF, 0x80000000, 0x7FFFFFFE},
                 {0x80000000, 0x80000001, 0}, // negative as a signed number
                 {0xFFFFFFFF, 0, 0},
                 {0xFFFFFFFE, 0xFFFFFFFF, 0}};
    for (const auto &one : cases) {
        const struct {
            std::uint32_t operation;
            TokenCounts after;
        } operations[] = {{REGISTER_SPAM, {one.added, 50, 9}},
                          {REGISTER_HAM, {60, one.added, 9}},
                          {UNREGISTER_SPAM, {one.subtracted, 50, 9}},
                          {UNREGISTER_HAM, {60, one.subtracted, 9}}};
        for (const auto &operation : operations) {
            const bool spamSide = operation.operation == REGISTER_SPAM || operation.operation == UNREGISTER_SPAM;
            engine.installation.addToken(wide("ab"), spamSide ? one.before : 60, spamSide ? 50 : one.before, 9);
            segment("ab");
            EXPECT_EQ(bfilter_register(operation.operation, 1), 0);
            EXPECT_EQ(token("ab"), operation.after) << operation.operation << " on " << one.before;
        }
    }
}

TEST_P(Training, moves_message_counts_by_the_amount_and_stops_at_zero_as_unsigned)
{
    const struct {
        std::uint32_t before, amount, added, subtracted;
    } cases[] = {{0, 1, 1, 0},
                 {1, 1, 2, 0},
                 {2, 1, 3, 1},
                 {5, 3, 8, 2},
                 {3, 3, 6, 0},
                 {2, 3, 5, 0},
                 {5, 0, 5, 5},
                 {0x80000000, 1, 0x80000001, 0x7FFFFFFF},
                 {0xFFFFFFFF, 1, 0, 0xFFFFFFFE},
                 {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFE, 0},
                 {1, 0x80000000, 0x80000001, 0}};
    segment("");
    for (const auto &one : cases) {
        const struct {
            std::uint32_t operation;
            TokenCounts before, after;
        } operations[] = {{REGISTER_SPAM, {one.before, 50, 9}, {one.added, 50, 9}},
                          {REGISTER_HAM, {60, one.before, 9}, {60, one.added, 9}},
                          {UNREGISTER_SPAM, {one.before, 50, 9}, {one.subtracted, 50, 9}},
                          {UNREGISTER_HAM, {60, one.before, 9}, {60, one.subtracted, 9}}};
        for (const auto &operation : operations) {
            engine.installation.setMessageCounts(operation.before.spam, operation.before.ham, 9);
            EXPECT_EQ(bfilter_register(operation.operation, one.amount), 0);
            EXPECT_EQ(engine.installation.messageCounts(), operation.after)
                << operation.operation << " by " << one.amount << " on " << one.before;
        }
    }
}

TEST_P(Training, operation_outside_0_to_3_is_refused_and_writes_nothing)
{
    fill();
    const Texts before = engine.installation.open("prob.bin").dump();
    for (const std::uint32_t operation : {4U, 5U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(bfilter_register(operation, 1), VELQ_ERR_FAILED) << operation;
        EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, registerFailed, closeDb, closed}));
    }
    EXPECT_EQ(engine.installation.open("prob.bin").dump(), before);
    // registerMsg reports only what segmentation did.
    EXPECT_EQ(registerMsg(4, wide("abcdef").c_str()), 0);
    EXPECT_EQ(engine.installation.open("prob.bin").dump(), before);
}

TEST_P(Training, without_tokens_the_message_count_still_moves)
{
    engine.installation.setMessageCounts(5, 6, 7);
    segment("nothing");
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{6, 6, 7}));
}

TEST_P(Training, missing_message_counts_are_made)
{
    segment("");
    EXPECT_EQ(bfilter_register(UNREGISTER_HAM, 1), 0);
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{0, 0, 0}));
    EXPECT_EQ(bfilter_register(REGISTER_HAM, 1), 0);
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{0, 1, 0}));
}

TEST_P(Training, token_counts_are_those_of_the_segmentation_and_message_counts_fresh)
{
    fill();
    engine.installation.addToken(wide("ab"), 100, 200, 300);
    engine.installation.setMessageCounts(50, 60, 70);
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{51, 60, 70}));
}

TEST_P(Training, token_that_left_the_store_is_not_made_again)
{
    fill();
    engine.installation.open("prob.bin")
        .query("DELETE FROM velqTable WHERE key = ?;", {Value::ofBlob(utf16Bytes(wide("cd")))});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(engine.installation.token(wide("cd")), std::nullopt);
    EXPECT_EQ(token("ef"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{6, 6, 7}));
}

TEST_P(Training, word_list_holds_the_new_message_counts)
{
    fill();
    ASSERT_EQ(open_wordlist(wordListForWriting), 0);
    EXPECT_EQ(register_words(REGISTER_HAM, 4), 0);
    EXPECT_EQ(word_list->spamMessages, 5U);
    EXPECT_EQ(word_list->hamMessages, 10U);
    close_wordlist(commitWordList);
}

TEST_P(Training, list_stays_as_it_was)
{
    fill();
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(get_token_spam_count(0), 1U);
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3})); // not 3: the list was read once
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{7, 6, 7}));
}

TEST_P(Training, updates_tokens_then_reads_and_replaces_the_message_counts_in_one_transaction)
{
    fill();
    const DshWatch watch;
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(watch.executed(), (Texts{"BEGIN TRANSACTION;", "COMMIT;"}));
    EXPECT_EQ(watch.prepared(),
              (Texts{"SELECT value FROM velqTable WHERE key=? LIMIT 1;", "UPDATE velqTable SET value=? where key=?;",
                     "INSERT OR REPLACE INTO velqTable VALUES(?,?);"}));
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, closeDb, closed}));
}

// ---- A message

TEST_P(Training, message_is_filtered_segmented_and_registered)
{
    engine.installation.addTokens({{wide("ab"), {1, 2, 3}}, {wide("cd"), {1, 2, 3}}});
    engine.newLines();
    EXPECT_EQ(registerMsg(REGISTER_SPAM, wide("(ab) x cd!").c_str()), 0);
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(token("cd"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, closeDb, closed, openDb, opened, closeDb, closed}));
}

TEST_P(Training, failed_segmentation_is_the_result_and_nothing_is_written)
{
    fill();
    const Texts before = engine.installation.open("prob.bin").dump();
    const DshWatch watch({.call = DshCall::busyHandler});
    EXPECT_EQ(registerMsg(REGISTER_SPAM, wide("abcdef").c_str()), VELQ_ERR_FAILED);
    const Texts lines = engine.newLines();
    ASSERT_EQ(lines.size(), 9U);
    EXPECT_EQ(lines[5], "VELQ_Word_Seg\tError: open_wordlist");
    EXPECT_EQ(lines[7], "VELQ_DB_Interface\tError: Word Segmentation Error!");
    EXPECT_EQ(lines[8], "VELQ_DB_Interface\t**********Error:Leave registerMsg()!********");
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.installation.open("prob.bin").dump(), before);
}

TEST_P(Training, failed_registration_is_no_failure_of_the_message)
{
    fill();
    const Texts before = engine.installation.open("prob.bin").dump();
    const DshWatch watch({.call = DshCall::busyHandler, .nth = 2});
    EXPECT_EQ(registerMsg(REGISTER_SPAM, wide("abcdef").c_str()), 0);
    EXPECT_EQ(
        engine.newLines(),
        (Texts{openDb, opened, closeDb, closed, openDb,
               "VELQ_BFilter_Datastore_Sqlite\tCan't set user non-service handle: not an error",
               "VELQ_BFilter_Datastore_Sqlite\tError on database " + std::string(engineState.tokenStorePath) +
                   ": not an error",
               "VELQ_BFilter_WordList\tError: ds_open!", closed, "VELQ_BFilter_Interface\tError: open_wordlist"}));
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.installation.open("prob.bin").dump(), before);
}

// ---- Failures inside the transaction. Steps of a registration of three tokens: two for the message counts at the
// opening (row, end), three updates, two for the message counts once more, one to replace them.

TEST_P(Training, failed_token_write_keeps_what_was_written_before_it)
{
    fill();
    const DshWatch watch({.call = DshCall::step, .code = 10, .nth = 5});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, stepFailure("db_update_dbvalue", 10), tokenFailed,
                                        registerFailed, closeDb, closed}));
    EXPECT_EQ(watch.executed(), (Texts{"BEGIN TRANSACTION;", "COMMIT;"}));
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(token("cd"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(token("ef"), (TokenCounts{1, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{5, 6, 7}));
}

TEST_P(Training, busy_token_write_keeps_nothing)
{
    fill();
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY, .nth = 5});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, tokenFailed, registerFailed, commitFailed, closeDb, closed}));
    EXPECT_EQ(watch.executed(), abortedTransaction());
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(token("ab"), (TokenCounts{1, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{5, 6, 7}));
}

TEST_P(Training, unpreparable_token_write_fails)
{
    fill();
    const DshWatch watch({.call = DshCall::prepare, .nth = 2});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    const Texts lines = engine.newLines();
    ASSERT_EQ(lines.size(), 8U);
    EXPECT_EQ(lines[2],
              "VELQ_BFilter_Datastore_Sqlite\tError: velq3_prepare UPDATE velqTable SET value=? where key=?;: "
              "not an error");
    EXPECT_EQ(lines[3], "VELQ_BFilter_Datastore_Sqlite\t");
    // " Error: dbh->update is NULL" has no line end; the reader takes both for one source position.
    EXPECT_EQ(lines[4], tokenFailed);
    EXPECT_EQ(lines[5], registerFailed);
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(token("ab"), (TokenCounts{1, 2, 3}));
}

TEST_P(Training, aborted_message_count_read_fails_without_a_line_and_keeps_nothing)
{
    fill();
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY, .nth = 6});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, registerFailed, commitFailed, closeDb, closed}));
    EXPECT_EQ(token("ab"), (TokenCounts{1, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{5, 6, 7}));
    EXPECT_TRUE(watch.everythingReleased());
}

// The tokens written before are kept, as with every failure that is not a busy file.
TEST_P(Training, message_counts_that_become_unreadable_are_not_replaced)
{
    fill();
    const DshWatch watch({.call = DshCall::step, .code = 10, .nth = 6});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(),
              (Texts{openDb, opened, stepFailure("db_get_dbvalue", 10), registerFailed, closeDb, closed}));
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{5, 6, 7}));
    EXPECT_TRUE(watch.everythingReleased());
}

TEST_P(Training, message_counts_that_no_read_reaches_are_not_replaced)
{
    fill();
    const DshWatch watch(
        {.call = DshCall::prepare, .sql = "SELECT value FROM velqTable WHERE key=? LIMIT 1;", .isLasting = true});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    EXPECT_TRUE(watch.faultHappened());
    EXPECT_EQ(engine.newLines().back(), closed);
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{5, 6, 7}));
}

TEST_P(Training, message_counts_that_no_read_reaches_are_not_replaced_outside_a_transaction)
{
    engine.installation.setMessageCounts(5, 6, 7);
    segment("nothing");
    Database store = engine.installation.open("prob.bin");
    store.exec("ALTER TABLE velqTable RENAME COLUMN value TO other;"); // can be inserted into and not be read
    const Texts before = store.dump();
    const DshWatch watch({.call = DshCall::exec, .sql = "BEGIN TRANSACTION;"});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    EXPECT_TRUE(watch.faultHappened());
    EXPECT_EQ(store.dump(), before);
}

TEST_P(Training, value_that_can_not_be_bound_fails_like_its_execution)
{
    fill();
    const struct {
        int nth;
        const char *function;
        TokenCounts token;
    } cases[] = {{2, "db_update_dbvalue", {1, 2, 3}}, // the first is the opening's read, which may fail
                 {3, "db_update_dbvalue", {1, 2, 3}},
                 {8, "db_get_dbvalue", {2, 2, 3}},
                 {9, "db_set_dbvalue", {2, 2, 3}},
                 {10, "db_set_dbvalue", {2, 2, 3}}};
    for (const auto &one : cases) {
        engine.installation.addToken(wide("ab"), 1, 2, 3);
        engine.newLines();
        const DshWatch watch({.call = DshCall::bind, .nth = one.nth});
        EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED) << one.nth;
        EXPECT_EQ(engine.newLines().at(2), stepFailure(one.function, dshInputOutputError)) << one.nth;
        EXPECT_EQ(token("ab"), one.token) << one.nth;
        EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{5, 6, 7})) << one.nth;
        EXPECT_TRUE(watch.everythingReleased()) << one.nth;
    }
}

TEST_P(Training, failed_message_count_write_keeps_the_tokens)
{
    fill();
    const DshWatch watch({.call = DshCall::step, .code = 10, .nth = 8});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, stepFailure("db_set_dbvalue", 10), countsFailed, registerFailed,
                                        closeDb, closed}));
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(token("ef"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{5, 6, 7}));
    EXPECT_TRUE(watch.everythingReleased());
}

TEST_P(Training, busy_message_count_write_keeps_nothing)
{
    fill();
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY, .nth = 8});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, countsFailed, registerFailed, commitFailed, closeDb, closed}));
    EXPECT_EQ(token("ab"), (TokenCounts{1, 2, 3}));
}

TEST_P(Training, failed_commit_is_logged_and_does_not_change_the_result)
{
    fill();
    const DshWatch watch({.call = DshCall::exec, .code = 13, .nth = 2});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(engine.newLines(),
              (Texts{openDb, opened, "VELQ_BFilter_Datastore_Sqlite\tError executing \"COMMIT;\": NULL (#13)", closeDb,
                     closed}));
    EXPECT_TRUE(watch.everythingReleased());
}

// Out of memory, not even the rollback runs: the connection is given up, and the write lock with it.
TEST_P(Training, transaction_that_can_neither_commit_nor_roll_back_leaves_the_store_writable)
{
    fill();
    {
        const DshWatch watch({.call = DshCall::exec, .code = VELQ_DSH_NOMEM, .nth = 2, .isLasting = true});
        EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    }
    const Texts lines = engine.newLines();
    const std::string givenUp = "VELQ_BFilter_Datastore_Sqlite\tError: no memory to roll back, the token store is not "
                                "kept open any longer";
    EXPECT_EQ(std::count(lines.begin(), lines.end(), givenUp), GetParam() == StartVariant::norix ? 1 : 0);
    EXPECT_EQ(token("ab"), (TokenCounts{1, 2, 3}));
    engine.installation.open("prob.bin").exec("BEGIN IMMEDIATE; COMMIT;");
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
}

TEST_P(Training, failed_begin_writes_outside_a_transaction)
{
    fill();
    const DshWatch watch({.call = DshCall::exec, .code = 5});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(engine.newLines(),
              (Texts{openDb, "VELQ_BFilter_Datastore_Sqlite\tError executing \"BEGIN TRANSACTION;\": NULL (#5)",
                     "VELQ_BFilter_WordList\tError: ds_txn_begin()!", opened, commitFailed, closeDb, closed}));
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{6, 6, 7}));
}

// The opening's read is aborted and rolls back; what follows is written statement by statement and stays.
TEST_P(Training, aborted_opening_writes_outside_the_transaction)
{
    fill();
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY});
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, commitFailed, closeDb, closed}));
    EXPECT_EQ(watch.executed(), abortedTransaction());
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(token("ef"), (TokenCounts{2, 2, 3}));
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{6, 6, 7}));
}

// Another connection writes. The opening's read has begun this transaction, and a transaction that has read is not made
// to wait for the write lock: the first update gives up at once.
TEST_P(Training, store_that_another_connection_writes_to_is_left_alone)
{
    const PlatformGuard guard;
    static int sleeps;
    sleeps = 0;
    platformCalls.sleepMilliseconds = [](std::uint32_t) noexcept { ++sleeps; };
    fill();
    {
        const HeldLock lock(engine.installation.dataFile("prob.bin"), HeldLock::Kind::immediate);
        EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), VELQ_ERR_FAILED);
    }
    EXPECT_EQ(sleeps, 0);
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, tokenFailed, registerFailed, commitFailed, closeDb, closed}));
    EXPECT_EQ(token("ab"), (TokenCounts{1, 2, 3}));
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
}

// Another connection reads: everything is written, but the commit waits five times and gives up.
TEST_P(Training, commit_that_a_reader_holds_up_is_waited_for_and_given_up)
{
    const CountedSleeps sleeps;
    fill();
    Database reader = engine.installation.open("prob.bin");
    reader.exec("BEGIN;");
    reader.query("SELECT * FROM velqTable;");
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    reader.exec("COMMIT;");
    EXPECT_EQ(sleeps.number(), 5);
    Texts expected = linesOfWaitingInVain();
    expected.insert(expected.begin(), {openDb, opened});
    for (const char *line : {"VELQ_BFilter_Datastore_Sqlite\tError executing \"COMMIT;\": database is locked (#5)",
                             "VELQ_BFilter_DataStore\tClose DB!", "VELQ_BFilter_WordList\tOK: close_wordlist()"}) {
        expected.emplace_back(line);
    }
    EXPECT_EQ(engine.newLines(), expected);
    EXPECT_EQ(token("ab"), (TokenCounts{1, 2, 3}));
    EXPECT_EQ(bfilter_register(REGISTER_SPAM, 1), 0);
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, closeDb, closed}));
    EXPECT_EQ(token("ab"), (TokenCounts{2, 2, 3}));
}

// ---- Any one failure: nothing stays open, and the next call works

TEST_P(Training, any_failed_access_call_leaves_nothing_open)
{
    fill();
    for (const DshCall call :
         {DshCall::open, DshCall::busyHandler, DshCall::exec, DshCall::prepare, DshCall::bind, DshCall::step}) {
        for (const int code : std::initializer_list<int>{VELQ_DSH_BUSY, dshInputOutputError}) {
            bool happened = true;
            for (int nth = 1; happened; ++nth) {
                {
                    const DshWatch watch({.call = call, .code = code, .nth = nth});
                    const int result = registerMsg(REGISTER_SPAM, wide("abcdef").c_str());
                    happened = watch.faultHappened();
                    EXPECT_TRUE(result == 0 || result == VELQ_ERR_FAILED);
                    EXPECT_TRUE(watch.everythingReleased())
                        << static_cast<int>(call) << " code " << code << " call " << nth;
                    EXPECT_EQ(word_list, nullptr);
                }
                const TokenCounts before = token("ab");
                EXPECT_EQ(registerMsg(REGISTER_SPAM, wide("abcdef").c_str()), 0);
                EXPECT_EQ(token("ab"), (TokenCounts{before.spam + 1, 2, 3}));
            }
        }
    }
    EXPECT_EQ(engine.installation.open("prob.bin").integrityCheck(), "ok");
}

TEST_P(Training, any_failed_allocation_leaves_nothing_behind)
{
    fill();
    const TokenCounts before = token("ab");
    int refused = 0;
    const int failures = failEachAllocation(
        [] {
            const int result = registerMsg(REGISTER_SPAM, wide("abcdef").c_str());
            EXPECT_EQ(word_list, nullptr);
            return result;
        },
        [&](int /*nth*/, int result, const DshWatch & /*watch*/) {
            EXPECT_EQ(token("ab"), before);
            refused += result == VELQ_ERR_FAILED ? 1 : 0;
        });
    EXPECT_EQ(token("ab"), (TokenCounts{before.spam + 1, 2, 3}));
    EXPECT_GE(failures, 16);
    EXPECT_LT(refused, failures); // failures of the registration itself do not show in the result
    EXPECT_GE(refused, 8);
}

TEST_P(Training, filter_without_memory_fails_the_message)
{
    const AllocationGuard failing(1);
    EXPECT_EQ(registerMsg(REGISTER_SPAM, wide("abcdef").c_str()), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(), (Texts{"VELQ_DB_Interface\tError: Word Segmentation Error!",
                                        "VELQ_DB_Interface\t**********Error:Leave registerMsg()!********"}));
}

} // namespace
} // namespace velq::test
