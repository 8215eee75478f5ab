// Which messages a hook rates again, and reading them without their host.
#include "kit/hooks/retry.h"
#include "support/kit_errors.h"
#include "support/run_command.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {

namespace fs = std::filesystem;
using kit::gammuMessages;
using kit::HookMessage;
using kit::readGammuFiles;
using kit::Status;
using kit::unratedFiles;

namespace {

class HookRetry : public testing::Test, protected TestFiles {
  protected:
    HookRetry()
    {
        fs::create_directory(path("inbox"));
    }
    fs::path inboxFile(const std::string &name, const std::string &content = "text") const
    {
        return file("inbox/" + name, content);
    }
    // The names of what is left when the log says that.
    std::vector<std::string> unrated(const std::string &log) const
    {
        std::vector<std::string> names;
        for (const fs::path &found : unratedFiles(path("inbox"), file("log", log), "host")) {
            names.push_back(found.filename().string());
        }
        return names;
    }
};

using Names = std::vector<std::string>;

} // namespace

TEST_F(HookRetry, last_line_of_the_host_decides)
{
    for (const char *name : {"a", "b", "c", ".hidden"}) {
        inboxFile(name);
    }
    fs::create_directory(path("inbox/folder"));
    EXPECT_EQ(unrated(""), (Names{"a", "b", "c"}));
    EXPECT_EQ(unrated("t\thost\tham\t1\ta\tkept\nt\thost\tfailed\t1\ta\twhy\nt\thost\tfailed\t\tb\twhy\n"
                      "t\thost\tspam\t1\tb\tmoved\nt\tother\tham\t1\tc\tkept\nt\thost\twarning\t\t\tc\n"),
              (Names{"a", "c"}));
    EXPECT_EQ(unrated("t\thost\tunsure\t1\ta, b\tkept\nt\thost\tfailed\told form\nhalf a li"), (Names{"c"}));
}

TEST_F(HookRetry, names_with_commas_are_found)
{
    inboxFile("IN_A, B_00.txt");
    inboxFile("IN_A, B_01.txt");
    EXPECT_EQ(unrated("t\thost\tham\t1\tIN_A, B_00.txt, IN_A, B_01.txt\tkept\n"), Names{});
}

TEST_F(HookRetry, folder_and_log_must_be_there)
{
    expectError(Status::noInput, "log", [&] { unratedFiles(path("inbox"), path("none"), "host"); });
    expectError(Status::noInput, "none", [&] { unratedFiles(path("none"), file("log", ""), "host"); });
}

TEST_F(HookRetry, parts_of_gammu_messages_find_each_other)
{
    const auto group =
        gammuMessages({"i/IN20240101_000000_00_+45_00.txt", "i/IN20240101_000000_00_MY SHOP_00.txt",
                       "i/IN20240101_000002_00_+45_01.txt", "i/IN20240102_000000_00_+45_00.txt",
                       "i/IN20240102_000000_00_+46_01.txt", "i/IN20240102_000000_00__00.txt", "i/other.txt",
                       "i/IN_1.txt", "i/IN20240101_000000_00_+45_xx.txt", "i/IN20240101_000000_00_+45_00.bin"});
    const std::vector<std::vector<fs::path>> expected = {
        {"i/IN20240101_000000_00_+45_00.txt", "i/IN20240101_000002_00_+45_01.txt"},
        {"i/IN20240101_000000_00_MY SHOP_00.txt"},
        {"i/IN20240102_000000_00_+45_00.txt"},
        {"i/IN20240102_000000_00_+46_01.txt"},
        {"i/IN20240102_000000_00__00.txt"}};
    EXPECT_EQ(group, expected);
}

TEST_F(HookRetry, gammu_files_are_read_as_utf8_and_as_utf16)
{
    const fs::path first = inboxFile("IN20240101_000000_00_A_B_00.txt", "您好 ");
    const fs::path second = inboxFile("IN20240101_000000_00_A_B_01.txt", std::string("\xFE\xFF\x4F\x60\x00\x61", 6));
    const fs::path third = inboxFile("IN20240101_000000_00_A_B_02.txt", std::string("\xFF\xFE\x60\x4F", 4));
    const HookMessage message = readGammuFiles({first, second, third});
    EXPECT_EQ(message.sender, "A_B");
    EXPECT_EQ(message.body, VELQ_TEXT("您好 你a你"));
    EXPECT_EQ(message.files, (std::vector<fs::path>{first, second, third}));
    expectError(Status::badData, "not UTF-8", [&] { readGammuFiles({inboxFile("IN1_2_3_4_00.txt", "\xFF")}); });
    expectError(Status::noInput, "gone", [&] { readGammuFiles({path("inbox/gone")}); });
}

} // namespace velq::test
