// The token store in write-ahead mode: its log and its shared memory, left behind or put in place by others, and that
// readers and the writer do not wait for each other.
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/temporary_folder.h"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>

using namespace velq::test;

namespace {

constexpr std::chrono::seconds longestCall{20};

const WideText spamBody = VELQ_TEXT("free cash prizes for you");
const WideText hamBody = VELQ_TEXT("lunch at home, bring tea and work");
const WideText trainedBody = VELQ_TEXT("free, cash, priz, lunc");
const WideText stranger = VELQ_TEXT("5551234");

class WriteAhead : public testing::TestWithParam<StartVariant> {
  protected:
    WriteAhead()
    {
        installation_.addTokens({{VELQ_TEXT("free"), {39, 1, 0}},
                                 {VELQ_TEXT("cash"), {38, 1, 0}},
                                 {VELQ_TEXT("priz"), {37, 0, 0}},
                                 {VELQ_TEXT("lunc"), {0, 39, 0}},
                                 {VELQ_TEXT("home"), {0, 38, 0}},
                                 {VELQ_TEXT("work"), {0, 37, 0}}});
        installation_.setMessageCounts(40, 50);
        installation_.setJournal(Journal::writeAhead);
    }

    std::filesystem::path beside(const char *suffix) const
    {
        return installation_.dataFile("prob.bin").string() + suffix;
    }

    // Changes the store so that the change stands in its log alone.
    void leaveLog(const std::string &sql) const
    {
        Database store = installation_.open("prob.bin");
        store.exec(sql);
        sqlite3_db_config(store.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }

    // Puts the counts of "free" to 79 and 2, in the log.
    void leaveChangeOfFree() const
    {
        leaveLog("UPDATE velqTable SET value = x'4f0000000200000000000000' WHERE key = x'6600720065006500';");
    }

    bool hasWaited() const
    {
        const char *log = logFileNameOf(GetParam()) == "engine.log" ? "engine.log" : "norix-engine.log";
        return readFile(installation_.logFile(log)).find("retry chance") != std::string::npos;
    }

    // Start, rating with and without training, corrections, an update and a stop: all return, soon, with a documented
    // result.
    void useStore()
    {
        const std::filesystem::path update = installation_.folder() / "update.db";
        std::filesystem::remove(update);
        makeProbabilityUpdate(update, {probabilityRow(VELQ_TEXT("news"), {3, 4, 5})});
        const WideText updatePath = widePath(update);
        const auto start = std::chrono::steady_clock::now();
        const EngineSession session(installation_, GetParam());
        ASSERT_TRUE(session.result() == VELQ_SUCCESS || session.result() == VELQ_ERR_FAILED) << session.result();
        if (session.result() == VELQ_SUCCESS) {
            for (const WideText &body : {spamBody, hamBody}) {
                std::uint32_t rating = 99;
                EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, body.c_str(), stranger.c_str()), VELQ_SUCCESS);
                EXPECT_LE(rating, static_cast<std::uint32_t>(VELQ_RATING_UNSURE));
            }
            for (const std::int32_t result :
                 {VELQ_SetMsgAsSpam(trainedBody.c_str()), VELQ_SetMsgAsHam(trainedBody.c_str(), stranger.c_str()),
                  VELQ_UpdateData(updatePath.c_str(), 2, nullptr, 0)}) {
                EXPECT_TRUE(result == VELQ_SUCCESS || result == VELQ_ERR_FAILED) << result;
            }
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, longestCall);
    }

    // Corrects to spam, which takes one from the ham side and adds one to the other; what the store says of "free"
    // then.
    TokenCounts trainedFree()
    {
        {
            const EngineSession session(installation_, GetParam());
            EXPECT_EQ(session.result(), VELQ_SUCCESS);
            EXPECT_EQ(VELQ_SetMsgAsSpam(trainedBody.c_str()), VELQ_SUCCESS);
        }
        EXPECT_EQ(installation_.open("prob.bin").integrityCheck(), "ok");
        return installation_.token(VELQ_TEXT("free")).value_or(TokenCounts{});
    }

    Installation installation_;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Starts, WriteAhead, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

// ---- The mode

TEST_P(WriteAhead, is_kept_and_leaves_nothing_beside_a_store_that_nobody_has_open)
{
    useStore();
    EXPECT_FALSE(std::filesystem::exists(beside("-wal")));
    EXPECT_FALSE(std::filesystem::exists(beside("-shm")));
    EXPECT_EQ(installation_.open("prob.bin").query("PRAGMA journal_mode;").at(0).at(0).bytes, "wal");
    for (const char *list : {"bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
        EXPECT_EQ(installation_.open(list).query("PRAGMA journal_mode;").at(0).at(0).bytes, "delete") << list;
    }
}

TEST_P(WriteAhead, of_every_data_and_update_file_works)
{
    for (const char *file : {"bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
        installation_.open(file).query("PRAGMA journal_mode = WAL;");
    }
    const std::filesystem::path update = installation_.folder() / "ahead.db";
    makeProbabilityUpdate(update, {probabilityRow(VELQ_TEXT("news"), {3, 4, 5})});
    {
        Database file(update);
        file.exec("PRAGMA journal_mode = WAL;");
        file.query("UPDATE diffProbTable SET value = ?;", {Value::ofBlob(tokenValueBytes({5, 6, 7}))});
        sqlite3_db_config(file.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    const EngineSession session(installation_, GetParam());
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    WideText number = VELQ_TEXT("13812345678");
    const NumberRecord record{number.data(), nullptr};
    EXPECT_EQ(VELQ_AddBlackNumberSync(&record, 0, 0), VELQ_SUCCESS);
    std::uint32_t rating = 99;
    EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, hamBody.c_str(), number.c_str()), VELQ_SUCCESS);
    EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_SPAM));
    EXPECT_EQ(VELQ_UpdateData(widePath(update).c_str(), 7, nullptr, 0), VELQ_SUCCESS);
    EXPECT_EQ(installation_.token(VELQ_TEXT("news")), (TokenCounts{5, 6, 7}));
    VersionRecord version{VELQ_DATA_PROBABILITY, 0};
    EXPECT_EQ(VELQ_GetCurVersion(&version), VELQ_SUCCESS);
    EXPECT_EQ(version.version, 7);
}

// ---- What lies beside the store

TEST_P(WriteAhead, log_that_a_dead_process_left_is_taken_in)
{
    leaveChangeOfFree();
    ASSERT_GT(std::filesystem::file_size(beside("-wal")), 0U);
    EXPECT_EQ(trainedFree(), (TokenCounts{80, 1, 0}));
}

TEST_P(WriteAhead, log_without_its_shared_memory_is_taken_in)
{
    leaveChangeOfFree();
    std::filesystem::remove(beside("-shm"));
    EXPECT_EQ(trainedFree(), (TokenCounts{80, 1, 0}));
    leaveChangeOfFree();
    writeFile(beside("-shm"), std::string(32768, 's'));
    EXPECT_EQ(trainedFree(), (TokenCounts{80, 1, 0}));
}

TEST_P(WriteAhead, log_cut_anywhere_counts_up_to_its_last_whole_transaction)
{
    const std::string file = readFile(installation_.dataFile("prob.bin"));
    leaveChangeOfFree();
    const std::string log = readFile(beside("-wal"));
    for (std::size_t size = 0; size < log.size(); size += 97) {
        SCOPED_TRACE(size);
        writeFile(installation_.dataFile("prob.bin"), file);
        writeFile(beside("-wal"), log.substr(0, size));
        EXPECT_EQ(trainedFree(), (TokenCounts{40, 0, 0}));
    }
}

TEST_P(WriteAhead, log_with_a_changed_byte_counts_up_to_it)
{
    const std::string file = readFile(installation_.dataFile("prob.bin"));
    leaveChangeOfFree();
    const std::string log = readFile(beside("-wal"));
    for (std::size_t at = 0; at < log.size(); at += 61) {
        SCOPED_TRACE(at);
        std::string changed = log;
        changed[at] = static_cast<char>(changed[at] ^ 0x5A);
        writeFile(installation_.dataFile("prob.bin"), file);
        writeFile(beside("-wal"), changed);
        const TokenCounts free = trainedFree();
        EXPECT_TRUE(free == (TokenCounts{40, 0, 0}) || free == (TokenCounts{80, 1, 0})) << free.spam;
    }
}

TEST_P(WriteAhead, what_is_no_log_keeps_to_the_bounds)
{
    for (const char *suffix : {"-wal", "-shm", "-journal"}) {
        for (const std::string &content : {std::string(), std::string("x"), std::string(40'000, 'w')}) {
            SCOPED_TRACE(testing::Message() << suffix << content.size());
            writeFile(beside(suffix), content);
            useStore();
            EXPECT_EQ(installation_.open("prob.bin").integrityCheck(), "ok");
            std::filesystem::remove(beside(suffix));
        }
    }
}

TEST_P(WriteAhead, folders_and_pipes_in_place_of_the_files_beside_keep_to_the_bounds)
{
    for (const char *suffix : {"-wal", "-shm"}) {
        SCOPED_TRACE(suffix);
        std::filesystem::create_directory(beside(suffix));
        useStore();
        std::filesystem::remove(beside(suffix));
        ASSERT_EQ(mkfifo(beside(suffix).c_str(), 0600), 0);
        useStore();
        std::filesystem::remove(beside(suffix));
        useStore();
        EXPECT_EQ(installation_.open("prob.bin").integrityCheck(), "ok");
    }
}

TEST_P(WriteAhead, links_in_place_of_the_files_beside_change_no_other_file)
{
    const std::filesystem::path letter = installation_.folder() / "letter.txt";
    writeFile(letter, "not the engine's business\n");
    for (const char *suffix : {"-wal", "-shm"}) {
        SCOPED_TRACE(suffix);
        std::filesystem::create_symlink(letter, beside(suffix));
        useStore();
        EXPECT_EQ(readFile(letter), "not the engine's business\n");
        std::filesystem::remove(beside(suffix));
    }
}

TEST_P(WriteAhead, store_cut_short_with_its_log_beside_keeps_to_the_bounds)
{
    const std::string file = readFile(installation_.dataFile("prob.bin"));
    leaveChangeOfFree();
    const std::string log = readFile(beside("-wal"));
    for (const std::size_t size : {std::size_t{0}, std::size_t{17}, std::size_t{100}, std::size_t{4096}}) {
        SCOPED_TRACE(size);
        writeFile(installation_.dataFile("prob.bin"), file.substr(0, size));
        writeFile(beside("-wal"), log);
        useStore();
        std::filesystem::remove(beside("-wal"));
    }
}

// ---- Waiting

TEST_P(WriteAhead, rating_does_not_wait_for_a_writer)
{
    const EngineSession session(installation_, GetParam());
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    Database writer = installation_.open("prob.bin");
    writer.exec("BEGIN EXCLUSIVE; UPDATE velqTable SET value = x'000000000000000000000000';");
    std::uint32_t rating = 99;
    ASSERT_EQ(VELQ_CheckSpamMsgSync(&rating, hamBody.c_str(), stranger.c_str()), VELQ_SUCCESS);
    EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_HAM));
    EXPECT_FALSE(hasWaited());
    writer.exec("ROLLBACK;");
}

TEST_P(WriteAhead, training_does_not_wait_for_a_reader)
{
    const EngineSession session(installation_, GetParam());
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    Database reader = installation_.open("prob.bin");
    reader.exec("BEGIN; SELECT count(*) FROM velqTable;");
    EXPECT_EQ(VELQ_SetMsgAsSpam(trainedBody.c_str()), VELQ_SUCCESS);
    EXPECT_FALSE(hasWaited());
    reader.exec("COMMIT;");
    EXPECT_EQ(installation_.token(VELQ_TEXT("free")), (TokenCounts{40, 0, 0}));
}

TEST_P(WriteAhead, update_beside_a_reader_is_there_at_once)
{
    const std::filesystem::path update = installation_.folder() / "update.db";
    makeProbabilityUpdate(update, {probabilityRow(VELQ_TEXT("free"), {1, 1, 0})});
    const EngineSession session(installation_, GetParam());
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    Database reader = installation_.open("prob.bin");
    reader.exec("BEGIN; SELECT count(*) FROM velqTable;");
    EXPECT_EQ(VELQ_UpdateData(widePath(update).c_str(), 4, nullptr, 0), VELQ_SUCCESS);
    EXPECT_FALSE(hasWaited());
    reader.exec("COMMIT;");
    EXPECT_EQ(installation_.token(VELQ_TEXT("free")), (TokenCounts{40, 2, 0}));
    EXPECT_EQ(installation_.version(VELQ_DATA_PROBABILITY), 4);
}
