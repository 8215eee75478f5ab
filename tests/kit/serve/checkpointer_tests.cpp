// What a store's file has without its log.
#include "kit/serve/checkpointer.h"
#include "support/installation.h"
#include "support/temporary_folder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <vector>

namespace velq::kit {
namespace {

// A store whose writer leaves it to others to copy the log back.
class checkpointer : public ::testing::Test {
  protected:
    checkpointer()
    {
        setJournal(test::Journal::writeAhead);
    }

    void setJournal(test::Journal journal)
    {
        writer_.reset();
        installation_.setJournal(journal);
        writer_.emplace(store(), DatabaseMode::write);
        writer_->integer("PRAGMA wal_autocheckpoint = 0;");
    }

    std::filesystem::path store() const
    {
        return installation_.dataFile("prob.bin");
    }
    void write()
    {
        writer_->exec("INSERT OR REPLACE INTO velqTable VALUES(x'41004200', x'0100000002000000');");
    }
    // Whether what was written is in the file itself.
    bool isCopiedBack() const
    {
        const std::filesystem::path copy = folder_.path() / "copy.bin";
        std::filesystem::copy_file(store(), copy, std::filesystem::copy_options::overwrite_existing);
        return Database(copy, DatabaseMode::write).integer("SELECT count(*) FROM velqTable WHERE key = x'41004200';") ==
               1;
    }
    // So many messages, until all that was asked for has been done.
    void rateMessages(int count) const
    {
        rateMessages(count, {store()});
    }
    static void rateMessages(int count, const std::vector<std::filesystem::path> &files)
    {
        Checkpointer rated(files);
        for (int i = 0; i < count; ++i) {
            rated.messageRated();
        }
    }

    test::Installation installation_;
    test::TemporaryFolder folder_;
    std::optional<Database> writer_;
};

} // namespace

TEST_F(checkpointer, log_is_copied_back_after_128_messages)
{
    write();
    rateMessages(127);
    EXPECT_FALSE(isCopiedBack());
    rateMessages(128);
    EXPECT_TRUE(isCopiedBack());
}

TEST_F(checkpointer, each_file_is_copied_back_again_and_again)
{
    const test::Installation other;
    for (int round = 0; round < 3; ++round) {
        writer_->exec("DELETE FROM velqTable;");
        rateMessages(128, {other.dataFile("prob.bin"), store()});
        EXPECT_FALSE(isCopiedBack());
        write();
        rateMessages(128, {other.dataFile("prob.bin"), store()});
        EXPECT_TRUE(isCopiedBack());
    }
}

TEST_F(checkpointer, nobody_waits_for_it_and_it_for_nobody)
{
    write();
    Database reader(store(), DatabaseMode::read);
    const ReadTransaction reading(reader);
    EXPECT_EQ(reader.integer("SELECT count(*) FROM velqTable WHERE key = x'41004200';"), 1);
    writer_->exec("BEGIN IMMEDIATE;");
    rateMessages(128);
    EXPECT_TRUE(isCopiedBack()) << "what is committed";
    writer_->exec("ROLLBACK;");
}

TEST_F(checkpointer, file_with_a_rollback_journal_is_left_alone)
{
    setJournal(test::Journal::rollback);
    {
        Checkpointer rated({store()});
        setJournal(test::Journal::writeAhead);
        write();
        for (int i = 0; i < 128; ++i) {
            rated.messageRated();
        }
    }
    EXPECT_FALSE(isCopiedBack());
}

TEST_F(checkpointer, missing_file_is_an_error)
{
    EXPECT_THROW(Checkpointer({folder_.path() / "nothing.bin"}), Error);
}

} // namespace velq::kit
