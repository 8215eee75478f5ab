// Commits that are seen without a transaction.
#include "kit/base/file_watch.h"
#include "support/installation.h"

#include <gtest/gtest.h>

namespace velq::kit {
namespace {

// A token store in either mode, read by a connection that is watched.
class file_watch : public ::testing::TestWithParam<test::Journal> {
  protected:
    file_watch()
    {
        installation_.addToken(VELQ_TEXT("free"), 5, 1);
        installation_.setJournal(GetParam());
    }

    static void readOnce(Database &store, FileWatch &watch)
    {
        const ReadTransaction transaction(store);
        EXPECT_EQ(store.integer("SELECT count(*) FROM velqTable;"), 1);
        watch.follow();
    }

    test::Installation installation_;
};

} // namespace

TEST_P(file_watch, state_is_known_once_it_was_read_and_stays_until_a_commit)
{
    Database store(installation_.dataFile("prob.bin"), DatabaseMode::read);
    FileWatch watch(store);
    EXPECT_FALSE(watch.state());
    readOnce(store, watch);
    const std::optional<FileState> before = watch.state();
    ASSERT_TRUE(before);
    readOnce(store, watch);
    EXPECT_EQ(watch.state(), before);
    installation_.open("prob.bin").exec("UPDATE velqTable SET value = x'07';");
    const std::optional<FileState> after = watch.state();
    ASSERT_TRUE(after);
    EXPECT_NE(after, before);
    EXPECT_EQ(after->commits, before->commits + 1);
    test::Database other = installation_.open("prob.bin");
    other.exec("UPDATE velqTable SET value = x'08';");
    other.exec("UPDATE velqTable SET value = x'09';");
    EXPECT_EQ(watch.state()->commits, before->commits + 3);
}

TEST_P(file_watch, what_is_taken_back_changes_nothing)
{
    Database store(installation_.dataFile("prob.bin"), DatabaseMode::read);
    FileWatch watch(store);
    test::Database other = installation_.open("prob.bin");
    readOnce(store, watch);
    const std::optional<FileState> before = watch.state();
    ASSERT_TRUE(before);
    other.exec("BEGIN IMMEDIATE; DELETE FROM velqTable;");
    // A file with a rollback journal cannot be read at some moments of a write.
    EXPECT_EQ(watch.state(), GetParam() == test::Journal::writeAhead ? before : std::nullopt);
    other.exec("ROLLBACK;");
    EXPECT_EQ(watch.state(), before);
}

INSTANTIATE_TEST_SUITE_P(journals, file_watch, ::testing::Values(test::Journal::rollback, test::Journal::writeAhead),
                         ::testing::PrintToStringParamName());

TEST(file_watch_modes, change_of_the_mode_is_noticed)
{
    test::Installation installation;
    installation.addToken(VELQ_TEXT("free"), 5, 1);
    Database store(installation.dataFile("prob.bin"), DatabaseMode::read);
    FileWatch watch(store);
    watch.follow();
    ASSERT_TRUE(watch.state());
    installation.setJournal(test::Journal::writeAhead);
    EXPECT_FALSE(watch.state());
    {
        const ReadTransaction transaction(store);
        EXPECT_EQ(store.integer("SELECT count(*) FROM velqTable;"), 1);
        watch.follow();
    }
    EXPECT_TRUE(watch.state());
}

} // namespace velq::kit
