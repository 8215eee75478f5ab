// When logs are flushed, and what that leaves of a file.
#include "kit/serve/log_flusher.h"
#include "support/temporary_folder.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

using Texts = std::vector<std::string>;

// What so many messages flush, when all is done.
Texts flushedBy(int messages, const std::vector<std::filesystem::path> &files)
{
    Texts flushed;
    {
        LogFlusher flusher(files, [&flushed](const std::string &log) { flushed.push_back(log); });
        for (int i = 0; i < messages; ++i) {
            flusher.messageRated();
        }
    }
    return flushed;
}

} // namespace

TEST(log_flusher, logs_of_all_files_are_flushed_after_128_messages)
{
    EXPECT_EQ(flushedBy(127, {"a/prob.bin", "journal.db"}), Texts{});
    EXPECT_EQ(flushedBy(128, {"a/prob.bin", "journal.db"}), (Texts{"a/prob.bin-wal", "journal.db-wal"}));
}

TEST(log_flusher, counting_begins_anew_with_each_flush)
{
    std::atomic<int> flushed = 0;
    const auto rate = [](LogFlusher &flusher, int messages) {
        for (int i = 0; i < messages; ++i) {
            flusher.messageRated();
        }
    };
    {
        LogFlusher flusher({"prob.bin"}, [&flushed](const std::string &) {
            ++flushed;
            flushed.notify_one();
        });
        rate(flusher, 128);
        flushed.wait(0);
        rate(flusher, 127);
    }
    EXPECT_EQ(flushed, 1);
}

TEST(log_flusher, messages_that_come_while_it_flushes_are_no_reason_to_wait)
{
    std::mutex disk;
    std::size_t flushed = 0;
    {
        LogFlusher flusher({"prob.bin"}, [&](const std::string &) {
            const std::scoped_lock lock(disk);
            ++flushed;
        });
        const std::scoped_lock slow(disk);
        for (int i = 0; i < 10 * 128; ++i) {
            flusher.messageRated();
        }
    }
    EXPECT_GE(flushed, 1U);
    EXPECT_LE(flushed, 2U) << "one that ran and one that waited";
}

TEST(log_flusher, flushing_leaves_a_file_as_it_is_and_makes_none)
{
    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "prob.bin-wal";
    flushFile(file.string());
    EXPECT_FALSE(std::filesystem::exists(file));
    std::ofstream(file) << "pages";
    flushFile(file.string());
    std::string content;
    std::ifstream(file) >> content;
    EXPECT_EQ(content, "pages");
}

} // namespace velq::kit
