// Moving files of messages aside.
#include "kit/hooks/hook.h"
#include "support/kit_errors.h"
#include "support/run_command.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace velq::test {

namespace fs = std::filesystem;
using kit::moveAside;
using kit::Status;

namespace {

// A folder on another file system than the given one, named like it; no path where there is none to write to.
struct FolderElsewhere {
    explicit FolderElsewhere(const fs::path &folder)
    {
        for (const fs::path candidate : {"/dev/shm", "/var/tmp"}) {
            std::error_code code;
            if (device(candidate) != device(folder) && fs::create_directory(candidate / folder.filename(), code)) {
                path = candidate / folder.filename();
                return;
            }
        }
    }
    ~FolderElsewhere()
    {
        if (!path.empty()) {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    }
    FolderElsewhere(const FolderElsewhere &) = delete;
    FolderElsewhere &operator=(const FolderElsewhere &) = delete;

    static dev_t device(const fs::path &folder)
    {
        struct stat status {};
        return stat(folder.c_str(), &status) == 0 ? status.st_dev : 0;
    }

    fs::path path;
};

} // namespace

TEST(HookMove, keeps_the_name_and_never_replaces)
{
    const TemporaryFolder folder;
    const fs::path spam = folder.path() / "spam";
    fs::create_directory(spam);
    for (const std::string text : {"first", "second", "third"}) {
        writeFile(folder.path() / "message", text);
        const fs::path moved = moveAside(folder.path() / "message", spam);
        EXPECT_EQ(readFile(moved), text);
        EXPECT_FALSE(fs::exists(folder.path() / "message"));
    }
    EXPECT_EQ(readFile(spam / "message"), "first");
    EXPECT_EQ(readFile(spam / "message.1"), "second");
    EXPECT_EQ(readFile(spam / "message.2"), "third");
}

TEST(HookMove, moves_to_another_file_system)
{
    const TemporaryFolder folder;
    const FolderElsewhere elsewhere(folder.path());
    const fs::path spam = elsewhere.path;
    if (spam.empty()) {
        GTEST_SKIP() << "no second file system to write to";
    }
    writeFile(folder.path() / "message", "text");
    writeFile(spam / "message", "taken");
    EXPECT_EQ(moveAside(folder.path() / "message", spam), spam / "message.1");
    EXPECT_EQ(readFile(spam / "message"), "taken");
    EXPECT_EQ(readFile(spam / "message.1"), "text");
    EXPECT_FALSE(fs::exists(folder.path() / "message"));
}

TEST(HookMove, two_at_once_lose_nothing)
{
    constexpr int each = 50;
    const TemporaryFolder folder;
    const fs::path spam = folder.path() / "spam";
    fs::create_directory(spam);
    const auto moveMany = [&](const std::string &from) {
        fs::create_directory(folder.path() / from);
        for (int i = 0; i < each; ++i) {
            writeFile(folder.path() / from / "message", from + std::to_string(i));
            moveAside(folder.path() / from / "message", spam);
        }
    };
    std::thread other(moveMany, "a");
    moveMany("b");
    other.join();
    std::vector<std::string> texts;
    for (const auto &entry : fs::directory_iterator(spam)) {
        texts.push_back(readFile(entry.path()));
    }
    std::ranges::sort(texts);
    EXPECT_EQ(std::unique(texts.begin(), texts.end()) - texts.begin(), 2 * each);
}

TEST(HookMove, file_stays_when_the_folder_is_missing)
{
    const TemporaryFolder folder;
    writeFile(folder.path() / "message", "text");
    expectError(Status::cannotCreate, "stays where it is",
                [&] { moveAside(folder.path() / "message", folder.path() / "none"); });
    EXPECT_EQ(readFile(folder.path() / "message"), "text");
}

} // namespace velq::test
