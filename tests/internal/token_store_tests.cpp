// The token store below the word list: byte forms, the cached statements, transactions, and how each failing database
// call is reported.
#include "VELQ_Util.h"
#include "bfilter/VELQ_BFilter_DataStore.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"
#include "support/wide.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

constexpr char selectSql[] = "SELECT value FROM velqTable WHERE key=? LIMIT 1;";
constexpr char updateSql[] = "UPDATE velqTable SET value=? where key=?;";
constexpr char insertSql[] = "INSERT OR REPLACE INTO velqTable VALUES(?,?);";

// The units as a key; lives as long as the text.
word keyOf(const WideText &text)
{
    return {text.c_str(), static_cast<std::uint32_t>(text.size())};
}

const WideText ab = wide("ab");

class TokenStore : public testing::TestWithParam<StartVariant> {
  protected:
    TokenStore() : engine(Trace::on, GetParam())
    {
        settings.databasePath = engineState.tokenStorePath;
    }
    ~TokenStore() override
    {
        close();
    }

    void open()
    {
        store = ds_open(nullptr, &settings, 1);
        ASSERT_NE(store, nullptr);
        engine.newLines();
    }
    void close()
    {
        if (store != nullptr) {
            ds_close(store);
            store = nullptr;
        }
    }
    bool isNorix() const
    {
        return GetParam() == StartVariant::norix;
    }
    std::string path() const
    {
        return engineState.tokenStorePath;
    }

    RunningEngine engine;
    wordlist_settings settings{};
    dsh *store = nullptr;
};

INSTANTIATE_TEST_SUITE_P(BothVariants, TokenStore, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

// ---- Byte forms

TEST(TokenValue, decodes_what_is_there_and_reads_missing_bytes_as_zero)
{
    const unsigned char stored[15] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    for (std::size_t length = 0; length <= sizeof stored; ++length) {
        unsigned char padded[12]{};
        std::memcpy(padded, stored, length < 12 ? length : 12);
        const auto wordAt = [&padded](int at) {
            return static_cast<std::uint32_t>(padded[at] | padded[at + 1] << 8 | padded[at + 2] << 16 |
                                              padded[at + 3] << 24);
        };
        const token_value value = decodeTokenValue(stored, length);
        EXPECT_EQ(value.spam, wordAt(0)) << length;
        EXPECT_EQ(value.ham, wordAt(4)) << length;
        EXPECT_EQ(value.reserved, wordAt(8)) << length;
    }
    const token_value none = decodeTokenValue(nullptr, 0);
    EXPECT_EQ(none.spam + none.ham + none.reserved, 0U);
}

TEST(TokenValue, encodes_three_little_endian_words)
{
    unsigned char stored[12];
    encodeTokenValue(stored, {0x04030201, 0xFFFEFDFC, 0x80000000});
    EXPECT_EQ(std::string(reinterpret_cast<char *>(stored), 12),
              bytes({1, 2, 3, 4, 0xFC, 0xFD, 0xFE, 0xFF, 0, 0, 0, 0x80}));
}

TEST(TokenWord, made_of_a_narrow_text_holds_its_bytes_and_terminator)
{
    word *made = new_word(".ROBX");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->length, 3U);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(made->text), 6), bytes({0x2E, 0x52, 0x4F, 0x42, 0x58, 0}));
    EXPECT_EQ(made->text[3], 0);
    freeMemory(made);
}

TEST(TokenWord, is_null_without_memory)
{
    const AllocationGuard failing(1);
    EXPECT_EQ(new_word(".ROBX"), nullptr);
}

TEST(TokenWord, comparison_goes_by_bytes_then_by_length)
{
    const struct {
        WideText first;
        WideText second;
        int order;
    } pairs[] = {{wide("ab"), wide("ab"), 0},
                 {wide("ab"), wide("ac"), -1},
                 {wide("ac"), wide("ab"), 1},
                 {wide("ab"), wide("abc"), -1},
                 {wide("abc"), wide("ab"), 1},
                 {wide("b"), wide("abc"), 1},
                 {{}, {}, 0},
                 {{}, wide("a"), -1},
                 {wide("a"), {}, 1},
                 // The low byte comes first in memory: U+0102 is 02 01, U+0201 is 01 02.
                 {{0x0102}, {0x0201}, 1}};
    for (const auto &pair : pairs) {
        const word first = keyOf(pair.first);
        const word second = keyOf(pair.second);
        const int order = compare_words(&first, &second);
        EXPECT_EQ(order < 0 ? -1 : order > 0 ? 1 : 0, pair.order) << utf8(pair.first) << " : " << utf8(pair.second);
    }
}

// ---- Opening and closing

TEST_P(TokenStore, opens_with_the_busy_handler_and_no_statement)
{
    const DshWatch watch;
    dbh *handle = db_open(nullptr, &settings, 2);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->path, settings.databasePath);
    EXPECT_NE(handle->connection, nullptr);
    EXPECT_EQ(handle->connection == engineState.tokenStoreConn, isNorix());
    for (const VELQ_DSH_Statement *slot : {handle->select, handle->update, handle->insert, handle->spare}) {
        EXPECT_EQ(slot, nullptr);
    }
    EXPECT_EQ(transactionTable.begin, &db_txn_begin);
    EXPECT_EQ(transactionTable.abort, &db_txn_abort);
    EXPECT_EQ(transactionTable.commit, &db_txn_commit);
    db_close(handle);
    EXPECT_EQ(watch.calls(), isNorix() ? (Texts{"busyHandler"}) : (Texts{"open prob.bin", "busyHandler", "close"}));
    EXPECT_EQ(engine.newLines(), Texts{});
}

TEST_P(TokenStore, traces_opening_and_closing)
{
    store = ds_open(nullptr, &settings, 1);
    close();
    EXPECT_EQ(engine.newLines(), (Texts{openDb, closeDb}));
}

TEST_P(TokenStore, finalises_its_statements_on_closing_and_leaves_a_kept_connection_open)
{
    const DshWatch watch;
    open();
    const word key = keyOf(ab);
    token_value value{};
    EXPECT_EQ(ds_read(store, &key, &value), dsNotFound);
    EXPECT_EQ(ds_write(store, &key, &value), 0);
    EXPECT_EQ(ds_update(store, &key, &value), 0);
    close();
    EXPECT_TRUE(watch.everythingReleased());
    if (isNorix()) {
        EXPECT_NE(engineState.tokenStoreConn, nullptr);
        EXPECT_EQ(VELQ_DSH_Exec(engineState.tokenStoreConn, "SELECT 1;", nullptr, nullptr, nullptr), 0);
    }
}

TEST(NorixTokenStore, statements_stay_compiled_with_the_kept_connection_and_see_what_others_write)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    engine.installation.addToken(ab, 1, 1, 1);
    wordlist_settings settings{};
    settings.databasePath = engineState.tokenStorePath;
    const word key = keyOf(ab);
    VELQ_DSH_Statement *compiled[3]{};
    for (std::uint32_t i = 1; i < 4; ++i) {
        dsh *store = ds_open(nullptr, &settings, 1);
        ASSERT_NE(store, nullptr);
        token_value value{};
        EXPECT_EQ(ds_read(store, &key, &value), dsFound);
        EXPECT_EQ(value.spam, i);
        EXPECT_EQ(ds_update(store, &key, &value), 0);
        EXPECT_EQ(ds_write(store, &key, &value), 0);
        VELQ_DSH_Statement *const used[] = {store->handle->select, store->handle->update, store->handle->insert};
        for (int at = 0; at < 3; ++at) {
            EXPECT_TRUE(i == 1 || used[at] == compiled[at]) << i << ", " << at;
            compiled[at] = used[at];
        }
        ds_close(store);
        {
            const HeldLock lock(engine.installation.dataFile("prob.bin")); // none is left
        }
        engine.installation.open("prob.bin").exec("DELETE FROM velqTable;");
        engine.installation.addToken(ab, i + 1, 1, 1);
    }
}

TEST(NorixTokenStore, table_that_vanishes_is_reported_when_a_kept_statement_runs_and_then_when_it_is_compiled)
{
    RunningEngine engine(Trace::off, StartVariant::norix);
    wordlist_settings settings{};
    settings.databasePath = engineState.tokenStorePath;
    const key_blob key{ab.data(), 4};
    const auto read = [&] {
        dbh *handle = db_open(nullptr, &settings, 1);
        const int code = db_get_dbvalue(handle, &key, nullptr);
        db_close(handle);
        return code;
    };
    const auto keptStatements = [] {
        int count = 0;
        for (sqlite3_stmt *each = nullptr; (each = sqlite3_next_stmt(engineState.tokenStoreConn, each)) != nullptr;) {
            ++count;
        }
        return count;
    };
    EXPECT_EQ(read(), dbValueNotFound);
    EXPECT_EQ(keptStatements(), 1);
    engine.installation.open("prob.bin").exec("ALTER TABLE velqTable RENAME TO away;");
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(read(), dsPrepareFailed);
    EXPECT_EQ(keptStatements(), 0);
    engine.installation.open("prob.bin").exec("ALTER TABLE away RENAME TO velqTable;");
    EXPECT_EQ(read(), dbValueNotFound);
    EXPECT_EQ(keptStatements(), 1) << "from the next operation on that does not fail";
}

TEST_P(TokenStore, failing_busy_handler_fails_the_opening)
{
    const DshWatch watch({.call = DshCall::busyHandler});
    EXPECT_EQ(ds_open(nullptr, &settings, 1), nullptr);
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines(),
              (Texts{openDb, "VELQ_BFilter_Datastore_Sqlite\tCan't set user non-service handle: not an error",
                     "VELQ_BFilter_Datastore_Sqlite\tError on database " + path() + ": not an error"}));
}

TEST_P(TokenStore, opening_without_memory_fails_and_releases_everything)
{
    const int failures = failEachAllocation(
        [this]() -> int {
            dsh *handle = ds_open(nullptr, &settings, 1);
            if (handle == nullptr) {
                return VELQ_ERR_FAILED;
            }
            ds_close(handle);
            return 0;
        },
        [](int /*nth*/, int result, const DshWatch & /*watch*/) { EXPECT_EQ(result, VELQ_ERR_FAILED); });
    EXPECT_GE(failures, 2);
}

TEST(PlainTokenStore, refused_close_is_logged_without_a_line_end)
{
    RunningEngine engine(Trace::off);
    wordlist_settings settings{};
    settings.databasePath = engineState.tokenStorePath;
    dbh *handle = db_open(nullptr, &settings, 1);
    ASSERT_NE(handle, nullptr);
    VELQ_DSH_Connection *connection = handle->connection;
    VELQ_DSH_Statement *statement = nullptr;
    const char *tail = nullptr;
    ASSERT_EQ(VELQ_DSH_Prepare(connection, selectSql, sizeof selectSql - 1, &statement, &tail), 0);
    db_close(handle);
    VELQ_DSH_Fini(statement);
    EXPECT_EQ(VELQ_DSH_Close(connection), 0);
    logError("next\n");
    EXPECT_EQ(engine.newLines(), (Texts{"VELQ_BFilter_Datastore_Sqlite\tCan't close database " +
                                        std::string(engineState.tokenStorePath) + ": 5next"}));
}

// ---- Reading and writing

TEST_P(TokenStore, reads_values_of_any_length)
{
    const std::string stored = bytes({1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 9, 9, 9});
    const struct {
        std::size_t length;
        token_value value;
    } cases[] = {{4, {1, 0, 0}}, {8, {1, 2, 0}}, {12, {1, 2, 3}}, {15, {1, 2, 3}}, {0, {0, 0, 0}}, {6, {1, 2, 0}}};
    for (const auto &one : cases) {
        engine.installation.addTokenRow(Value::ofBlob(utf16Bytes(ab)), Value::ofBlob(stored.substr(0, one.length)));
        open();
        const word key = keyOf(ab);
        token_value value{7, 7, 7};
        EXPECT_EQ(ds_read(store, &key, &value), dsFound);
        EXPECT_EQ(value.spam, one.value.spam) << one.length;
        EXPECT_EQ(value.ham, one.value.ham) << one.length;
        EXPECT_EQ(value.reserved, one.value.reserved) << one.length;
        close();
    }
}

TEST_P(TokenStore, null_value_is_found_and_reads_as_zero)
{
    engine.installation.addTokenRow(Value::ofBlob(utf16Bytes(ab)), Value::ofNull());
    open();
    const word key = keyOf(ab);
    token_value value{7, 7, 7};
    EXPECT_EQ(ds_read(store, &key, &value), dsFound);
    EXPECT_EQ(value.spam + value.ham + value.reserved, 0U);
}

TEST_P(TokenStore, value_buffer_takes_what_it_has_room_for)
{
    engine.installation.addToken(ab, 0x04030201, 0x08070605, 0);
    open();
    const key_blob key{ab.data(), 4};
    unsigned char room[6] = {9, 9, 9, 9, 9, 9};
    value_buffer buffer{room, 5};
    EXPECT_EQ(db_get_dbvalue(store->handle, &key, &buffer), 0);
    EXPECT_EQ(buffer.length, 5U);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(room), 6), bytes({1, 2, 3, 4, 5, 9}));
    EXPECT_EQ(db_get_dbvalue(store->handle, &key, nullptr), 0);
}

TEST_P(TokenStore, absent_key_is_not_found)
{
    open();
    const word key = keyOf(ab);
    token_value value{7, 7, 7};
    EXPECT_EQ(ds_read(store, &key, &value), dsNotFound);
    EXPECT_EQ(value.spam + value.ham + value.reserved, 0U);
    const key_blob blob{ab.data(), 4};
    EXPECT_EQ(db_get_dbvalue(store->handle, &blob, nullptr), dbValueNotFound);
}

TEST_P(TokenStore, key_stored_as_text_is_not_found)
{
    engine.installation.addTokenRow(Value::ofText(utf16Bytes(ab)), Value::ofBlob(tokenValueBytes({1, 2, 3})));
    open();
    const word key = keyOf(ab);
    token_value value{};
    EXPECT_EQ(ds_read(store, &key, &value), dsNotFound);
}

TEST_P(TokenStore, write_inserts_and_replaces)
{
    open();
    const word key = keyOf(ab);
    const token_value first{1, 2, 3};
    const token_value second{0xFFFFFFFF, 0x80000000, 0x01020304};
    EXPECT_EQ(ds_write(store, &key, &first), 0);
    EXPECT_EQ(engine.installation.tokenValue(utf16Bytes(ab)), Value::ofBlob(tokenValueBytes({1, 2, 3})));
    EXPECT_EQ(ds_write(store, &key, &second), 0);
    EXPECT_EQ(engine.installation.tokenValue(utf16Bytes(ab)),
              Value::ofBlob(bytes({0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0x80, 4, 3, 2, 1})));
}

TEST_P(TokenStore, update_changes_stored_keys_and_passes_over_others)
{
    engine.installation.addToken(ab, 1, 1, 1);
    open();
    const WideText other = wide("cd");
    const word key = keyOf(ab);
    const word missing = keyOf(other);
    const token_value value{4, 5, 6};
    EXPECT_EQ(ds_update(store, &missing, &value), 0);
    EXPECT_EQ(engine.installation.token(other), std::nullopt);
    EXPECT_EQ(ds_update(store, &key, &value), 0);
    EXPECT_EQ(engine.installation.token(ab), (TokenCounts{4, 5, 6}));
}

TEST_P(TokenStore, message_counts_stand_under_their_utf16_key)
{
    open();
    token_value counts{1, 2, 3};
    EXPECT_EQ(ds_get_msgcounts(store, &counts), dsNotFound);
    EXPECT_EQ(counts.spam + counts.ham + counts.reserved, 0U);
    const token_value written{4, 5, 6};
    EXPECT_EQ(ds_set_msgcounts(store, &written), 0);
    EXPECT_EQ(ds_get_msgcounts(store, &counts), dsFound);
    EXPECT_EQ(counts.reserved, 6U);
    EXPECT_EQ(
        engine.installation.tokenValue(bytes({0x2E, 0, 0x4D, 0, 0x53, 0, 0x47, 0, 0x5F, 0, 0x43, 0, 0x4E, 0, 0x54, 0})),
        Value::ofBlob(tokenValueBytes({4, 5, 6})));
}

TEST_P(TokenStore, statements_are_prepared_on_first_use_and_kept)
{
    open();
    const DshWatch watch;
    const word key = keyOf(ab);
    token_value value{1, 2, 3};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ds_read(store, &key, &value), i == 0 ? dsNotFound : dsFound);
        EXPECT_EQ(ds_update(store, &key, &value), 0);
        EXPECT_EQ(ds_write(store, &key, &value), 0);
    }
    EXPECT_EQ(watch.prepared(), (Texts{selectSql, updateSql, insertSql}));
}

TEST_P(TokenStore, binds_keys_and_values_as_blobs_and_resets_after_each_run)
{
    engine.installation.addToken(ab, 1, 1, 1);
    open();
    const word key = keyOf(ab);
    token_value value{};
    {
        const DshWatch watch;
        EXPECT_EQ(ds_read(store, &key, &value), dsFound);
        EXPECT_EQ(watch.calls(),
                  (Texts{std::string("prepare ") + selectSql, "mapBlob 1 4 bytes", "step", "step", "reset"}));
    }
    {
        const DshWatch watch;
        EXPECT_EQ(ds_update(store, &key, &value), 0);
        EXPECT_EQ(watch.calls(), (Texts{std::string("prepare ") + updateSql, "mapBlob 1 12 bytes", "mapBlob 2 4 bytes",
                                        "step", "reset"}));
    }
    {
        const DshWatch watch;
        EXPECT_EQ(ds_write(store, &key, &value), 0);
        EXPECT_EQ(watch.calls(), (Texts{std::string("prepare ") + insertSql, "mapBlob 1 4 bytes", "mapBlob 2 12 bytes",
                                        "step", "reset"}));
    }
}

// ---- Transactions

TEST_P(TokenStore, transactions_run_their_statements)
{
    open();
    const DshWatch watch;
    EXPECT_EQ(ds_txn_begin(store), 0);
    EXPECT_EQ(ds_txn_abort(store), 0);
    EXPECT_EQ(ds_txn_begin(store), 0);
    EXPECT_EQ(ds_txn_commit(store), 0);
    EXPECT_EQ(watch.executed(), (Texts{"BEGIN TRANSACTION;", "ROLLBACK;", "BEGIN TRANSACTION;", "COMMIT;"}));
}

TEST_P(TokenStore, empty_transaction_slots_do_nothing_and_succeed)
{
    open();
    transactionTable = {};
    const DshWatch watch;
    EXPECT_EQ(ds_txn_begin(store), 0);
    EXPECT_EQ(ds_txn_abort(store), 0);
    EXPECT_EQ(ds_txn_commit(store), 0);
    EXPECT_EQ(watch.calls(), Texts{});
}

TEST_P(TokenStore, failed_execution_is_logged_with_statement_reason_and_code)
{
    open();
    EXPECT_EQ(ds_txn_commit(store), 1);
    EXPECT_EQ(ds_txn_abort(store), 1);
    EXPECT_EQ(ds_txn_begin(store), 0);
    EXPECT_EQ(ds_txn_begin(store), 1);
    EXPECT_EQ(ds_txn_abort(store), 0);
    EXPECT_EQ(db_exec_sql(store->handle->connection, "NONSENSE;"), 1);
    const std::string prefix = "VELQ_BFilter_Datastore_Sqlite\tError executing ";
    EXPECT_EQ(engine.newLines(),
              (Texts{prefix + "\"COMMIT;\": cannot commit - no transaction is active (#1)",
                     prefix + "\"ROLLBACK;\": cannot rollback - no transaction is active (#1)",
                     prefix + "\"BEGIN TRANSACTION;\": cannot start a transaction within a transaction (#1)",
                     prefix + "\"NONSENSE;\": near \"NONSENSE\": syntax error (#1)"}));
}

TEST_P(TokenStore, failed_execution_without_a_reason_is_logged_with_null)
{
    open();
    const DshWatch watch({.call = DshCall::exec, .code = 11});
    EXPECT_EQ(ds_txn_begin(store), 11);
    EXPECT_EQ(engine.newLines(),
              (Texts{"VELQ_BFilter_Datastore_Sqlite\tError executing \"BEGIN TRANSACTION;\": NULL (#11)"}));
}

// ---- Failures of statements

TEST_P(TokenStore, failed_preparation_is_reported_and_tried_again_at_the_next_call)
{
    engine.installation.addToken(ab, 1, 2, 3);
    const key_blob key{ab.data(), 4};
    const std::string stored = tokenValueBytes({4, 5, 6});
    const key_blob value{stored.data(), 12};
    const struct {
        const char *sql;
        const char *statement;
        int (*run)(dbh *, const key_blob *, const key_blob *);
    } operations[] = {
        {selectSql, "select",
         [](dbh *handle, const key_blob *k, const key_blob *) { return db_get_dbvalue(handle, k, nullptr); }},
        {updateSql, "update",
         [](dbh *handle, const key_blob *k, const key_blob *v) { return db_update_dbvalue(handle, k, v); }},
        {insertSql, "insert",
         [](dbh *handle, const key_blob *k, const key_blob *v) { return db_set_dbvalue(handle, k, v); }}};
    for (const auto &operation : operations) {
        open();
        {
            const DshWatch watch({.call = DshCall::prepare});
            EXPECT_EQ(operation.run(store->handle, &key, &value), dsPrepareFailed);
            EXPECT_EQ(watch.calls(), (Texts{std::string("prepare ") + operation.sql}));
        }
        logError("next\n");
        // The second message begins with a line end and has none.
        EXPECT_EQ(engine.newLines(), (Texts{"VELQ_BFilter_Datastore_Sqlite\tError: velq3_prepare " +
                                                std::string(operation.sql) + ": not an error",
                                            "VELQ_BFilter_Datastore_Sqlite\t",
                                            " Error: dbh->" + std::string(operation.statement) + " is NULLnext"}));
        EXPECT_EQ(operation.run(store->handle, &key, &value), 0);
        close();
    }
}

TEST_P(TokenStore, unpreparable_read_counts_as_not_found)
{
    open();
    const DshWatch watch({.call = DshCall::prepare});
    const word key = keyOf(ab);
    token_value value{1, 1, 1};
    EXPECT_EQ(ds_read(store, &key, &value), dsNotFound);
    EXPECT_EQ(value.spam + value.ham + value.reserved, 0U);
}

TEST_P(TokenStore, busy_step_rolls_back_and_asks_for_a_retry)
{
    engine.installation.addToken(ab, 1, 2, 3);
    const word key = keyOf(ab);
    token_value value{7, 7, 7};
    for (const int nth : {1, 2}) {
        open();
        ASSERT_EQ(ds_txn_begin(store), 0);
        {
            const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY, .nth = nth});
            EXPECT_EQ(ds_read(store, &key, &value), DS_ABORT_RETRY);
            Texts expected = {std::string("prepare ") + selectSql, "mapBlob 1 4 bytes"};
            expected.insert(expected.end(), static_cast<std::size_t>(nth), "step");
            expected.insert(expected.end(), {"reset", "exec ROLLBACK;"});
            EXPECT_EQ(watch.calls(), expected);
        }
        EXPECT_EQ(value.spam + value.ham + value.reserved, 0U);
        EXPECT_EQ(engine.newLines(), Texts{});
        EXPECT_EQ(ds_txn_commit(store), 1); // there is no transaction any more
        close();
    }
}

TEST_P(TokenStore, busy_write_rolls_back_what_the_transaction_has_written)
{
    engine.installation.addToken(ab, 1, 2, 3);
    open();
    const WideText other = wide("cd");
    const word key = keyOf(ab);
    const word second = keyOf(other);
    const token_value value{9, 9, 9};
    ASSERT_EQ(ds_txn_begin(store), 0);
    ASSERT_EQ(ds_update(store, &key, &value), 0);
    {
        const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY});
        EXPECT_EQ(ds_write(store, &second, &value), DS_ABORT_RETRY);
    }
    EXPECT_EQ(engine.installation.token(ab), (TokenCounts{1, 2, 3}));
    // From here on statements run outside a transaction.
    EXPECT_EQ(ds_write(store, &second, &value), 0);
    EXPECT_EQ(engine.installation.token(other), (TokenCounts{9, 9, 9}));
    EXPECT_EQ(ds_txn_commit(store), 1);
    EXPECT_EQ(engine.installation.token(other), (TokenCounts{9, 9, 9}));
}

TEST_P(TokenStore, other_step_results_are_traced_and_passed_up)
{
    const word key = keyOf(ab);
    const key_blob blob{ab.data(), 4};
    const std::string stored = tokenValueBytes({4, 5, 6});
    const key_blob value{stored.data(), 12};
    const auto traced = [this](const std::string &function, int code) {
        return "VELQ_BFilter_Datastore_Sqlite\t" + function + ": error executing statement on " + path() +
               ": not an error (" + std::to_string(code) + ")";
    };
    open();
    for (const int code : {1, 10, 11, 13}) {
        {
            const DshWatch watch({.call = DshCall::step, .code = code});
            EXPECT_EQ(db_get_dbvalue(store->handle, &blob, nullptr), code);
            EXPECT_EQ(watch.calls().back(), "reset");
            EXPECT_EQ(watch.executed(), Texts{});
        }
        {
            const DshWatch watch({.call = DshCall::step, .code = code});
            EXPECT_EQ(db_update_dbvalue(store->handle, &blob, &value), code);
        }
        {
            const DshWatch watch({.call = DshCall::step, .code = code});
            EXPECT_EQ(db_set_dbvalue(store->handle, &blob, &value), code);
        }
        EXPECT_EQ(engine.newLines(), (Texts{traced("db_get_dbvalue", code), traced("db_update_dbvalue", code),
                                            traced("db_set_dbvalue", code)}));
        const DshWatch watch({.call = DshCall::step, .code = code});
        token_value read{1, 1, 1};
        EXPECT_EQ(ds_read(store, &key, &read), dsNotFound);
        EXPECT_EQ(read.spam, 0U);
        engine.newLines();
    }
}

// With its description of the table already read, a kept connection meets a lock at the step.
TEST(NorixTokenStore, read_of_a_locked_store_waits_five_times_and_asks_for_a_retry)
{
    const CountedSleeps sleeps;
    RunningEngine engine(Trace::on, StartVariant::norix);
    wordlist_settings settings{};
    settings.databasePath = engineState.tokenStorePath;
    dsh *store = ds_open(nullptr, &settings, 1);
    ASSERT_NE(store, nullptr);
    const word key = keyOf(ab);
    token_value value{};
    EXPECT_EQ(ds_read(store, &key, &value), dsNotFound);
    EXPECT_EQ(ds_txn_begin(store), 0);
    engine.newLines();
    {
        const HeldLock lock(engine.installation.dataFile("prob.bin"));
        EXPECT_EQ(ds_read(store, &key, &value), DS_ABORT_RETRY);
    }
    EXPECT_EQ(sleeps.number(), 5);
    EXPECT_EQ(engine.newLines(), linesOfWaitingInVain());
    EXPECT_EQ(ds_txn_commit(store), 1);
    EXPECT_EQ(ds_read(store, &key, &value), dsNotFound);
    ds_close(store);
}

} // namespace
} // namespace velq::test
