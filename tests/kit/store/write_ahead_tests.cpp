// Stores in write-ahead mode: what stands in their log counts wherever a store is read, copied or replaced.
#include "kit/engine/installation.h"
#include "kit/store/probability_update.h"
#include "kit/store/store_check.h"
#include "kit/store/store_file.h"
#include "store/store_helpers.h"
#include "support/installation.h"
#include "support/kit_errors.h"
#include "support/run_command.h"

#include <gtest/gtest.h>
#include <optional>
#include <sqlite3.h>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using kit::journalOf;
using kit::Status;

// An installation whose token store has "free" in the file and "home" in its log alone.
class write_ahead : public ::testing::Test {
  protected:
    write_ahead()
    {
        source_.addToken(VELQ_TEXT("free"), 5, 1);
        source_.setMessageCounts(10, 20);
        source_.setJournal(Journal::writeAhead);
        Database store = source_.open("prob.bin");
        store.query("INSERT INTO velqTable(key, value) VALUES(?, ?);",
                    {Value::ofBlob(utf16Bytes(VELQ_TEXT("home"))), Value::ofBlob(tokenValueBytes({1, 7, 0}))});
        sqlite3_db_config(store.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }

    fs::path store() const
    {
        return source_.dataFile("prob.bin");
    }
    fs::path beside(const char *suffix) const
    {
        return store().string() + suffix;
    }
    static std::uint32_t hamOf(const fs::path &file, const WideText &token)
    {
        const kit::StoreContents contents = kit::readStoreContents(file);
        const kit::StoreRow *row = kit::findRow(contents, utf16Bytes(token));
        return row != nullptr ? kit::wordsOf(*row).ham : 0;
    }

    Installation source_;
    TemporaryFolder folder_;
};

} // namespace

TEST_F(write_ahead, log_counts_where_a_store_is_read_and_stays_as_it_is)
{
    const std::string file = readFile(store());
    const std::string log = readFile(beside("-wal"));
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(hamOf(store(), VELQ_TEXT("home")), 7U);
    EXPECT_TRUE(kit::verifyStoreFile(store()).empty());
    const kit::StoreDifference difference =
        kit::differenceOf(kit::storeOf("messages\t10\t20\ntokens\nfree\t5\t1\n"), kit::readStoreContents(store()));
    EXPECT_EQ(difference.added, 1U);
    EXPECT_EQ(readFile(store()), file);
    EXPECT_EQ(readFile(beside("-wal")), log);
}

TEST_F(write_ahead, log_counts_in_a_copy_and_the_mode_is_the_one_asked_for)
{
    for (const kit::Journal journal : {kit::Journal::rollback, kit::Journal::writeAhead}) {
        const TemporaryFolder folder;
        const kit::Installation installation(folder.path());
        kit::layOut(installation, store(), journal);
        const fs::path copy = installation.dataFile("prob.bin");
        EXPECT_EQ(journalOf(copy), journal);
        EXPECT_FALSE(fs::exists(copy.string() + "-wal"));
        EXPECT_EQ(hamOf(copy, VELQ_TEXT("home")), 7U);
        EXPECT_EQ(hamOf(copy, VELQ_TEXT("free")), 1U);
        for (const char *list : {"bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
            EXPECT_EQ(journalOf(installation.dataFile(list)), kit::Journal::rollback) << list;
        }
    }
}

TEST_F(write_ahead, installation_is_copied_with_what_is_in_the_log_while_it_is_in_use)
{
    Database writer = source_.open("prob.bin");
    writer.exec("BEGIN IMMEDIATE; DELETE FROM velqTable;");
    const kit::Installation copy(folder_.path());
    kit::copyInstallation(kit::Installation(source_.programFolder().parent_path().parent_path()), copy);
    EXPECT_EQ(hamOf(copy.dataFile("prob.bin"), VELQ_TEXT("home")), 7U);
    EXPECT_EQ(journalOf(copy.dataFile("prob.bin")), kit::Journal::rollback);
}

TEST_F(write_ahead, store_that_is_laid_out_in_it_holds_what_the_other_mode_does)
{
    const kit::Installation installation(folder_.path());
    const Installation plain;
    kit::layOut(installation, plain.dataFile("prob.bin"), kit::Journal::writeAhead);
    EXPECT_EQ(journalOf(installation.dataFile("prob.bin")), kit::Journal::writeAhead);
    EXPECT_EQ(Database(installation.dataFile("prob.bin")).dump(), plain.open("prob.bin").dump());
}

TEST_F(write_ahead, file_that_takes_the_place_of_another_keeps_its_mode_and_nothing_of_its_log)
{
    kit::writeStoreContents(store(), kit::storeOf("messages\t3\t4\ntokens\nwork\t0\t9\n"));
    EXPECT_EQ(journalOf(store()), kit::Journal::writeAhead);
    EXPECT_FALSE(fs::exists(beside("-wal")));
    EXPECT_EQ(hamOf(store(), VELQ_TEXT("work")), 9U);
    EXPECT_EQ(hamOf(store(), VELQ_TEXT("home")), 0U);
    EXPECT_EQ(hamOf(store(), VELQ_TEXT("free")), 0U);
}

TEST_F(write_ahead, file_in_use_is_not_replaced)
{
    std::optional<Database> user = source_.open("prob.bin");
    EXPECT_EQ(user->query("SELECT count(*) FROM velqTable;").at(0).at(0).integer, 3);
    const kit::StoreContents contents = kit::storeOf("messages\t3\t4\ntokens\nwork\t0\t9\n");
    EXPECT_EQ(statusOf([&] { kit::writeStoreContents(store(), contents); }), Status::inputOutput);
    EXPECT_EQ(hamOf(store(), VELQ_TEXT("home")), 7U);
    EXPECT_EQ(journalOf(store()), kit::Journal::writeAhead);
    user.reset();
    kit::writeStoreContents(store(), contents);
    EXPECT_EQ(hamOf(store(), VELQ_TEXT("work")), 9U);
}

TEST_F(write_ahead, damaged_file_goes_with_its_log)
{
    const std::string start = readFile(store()).substr(0, 100);
    writeFile(store(), start + std::string(5000, '\xA5'));
    writeFile(beside("-wal"), "no log");
    kit::writeStoreContents(store(), kit::storeOf("messages\t3\t4\ntokens\nwork\t0\t9\n"));
    EXPECT_EQ(hamOf(store(), VELQ_TEXT("work")), 9U);
    EXPECT_TRUE(kit::verifyStoreFile(store()).empty());
}

TEST_F(write_ahead, log_of_a_file_that_is_gone_is_not_taken_for_that_of_a_new_one)
{
    const std::string log = readFile(beside("-wal"));
    fs::remove(store());
    EXPECT_EQ(statusOf([&] { kit::writeStoreContents(store(), kit::storeOf("messages\t3\t4\ntokens\n")); }),
              Status::cannotCreate);
    EXPECT_FALSE(fs::exists(store()));
    EXPECT_EQ(readFile(beside("-wal")), log);

    const Installation plain;
    for (const char *name : {"bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
        fs::remove(source_.dataFile(name));
    }
    const kit::Installation installation(source_.programFolder().parent_path().parent_path());
    EXPECT_EQ(statusOf([&] { kit::layOut(installation, plain.dataFile("prob.bin")); }), Status::cannotCreate);
    EXPECT_EQ(statusOf([&] { kit::layOut(installation, {}); }), Status::cannotCreate);
    EXPECT_FALSE(fs::exists(store()));
}

TEST_F(write_ahead, store_that_cannot_be_opened_where_it_lies_is_refused_with_the_reason)
{
    fs::remove(beside("-shm"));
    fs::create_symlink("nowhere", beside("-shm")); // for a folder that cannot be written, which binds no superuser
    EXPECT_EQ(statusOf([&] { kit::readStoreContents(store()); }), Status::noInput);
    EXPECT_EQ(statusOf([&] { kit::verifyStoreFile(store()); }), Status::noInput);
    EXPECT_EQ(statusOf([&] { kit::layOut(kit::Installation(folder_.path() / "new"), store()); }), Status::noInput);
    EXPECT_FALSE(fs::exists(folder_.path() / "new"));
    try {
        kit::readStoreContents(store());
    } catch (const kit::Error &error) {
        EXPECT_NE(std::string(error.what()).find("write-ahead mode"), std::string::npos) << error.what();
    }
}

TEST(journal, of_what_is_no_database_is_the_usual_one)
{
    const TemporaryFolder folder;
    writeFile(folder.path() / "text", "SQLite format, but of another kind altogether");
    writeFile(folder.path() / "short", "SQLite format 3");
    for (const char *name : {"text", "short", "none"}) {
        EXPECT_EQ(journalOf(folder.path() / name), kit::Journal::rollback) << name;
    }
    EXPECT_EQ(journalOf(folder.path()), kit::Journal::rollback);
    EXPECT_EQ(kit::journalName(kit::Journal::rollback), "delete");
    EXPECT_EQ(kit::journalName(kit::Journal::writeAhead), "wal");
}

} // namespace velq::test
