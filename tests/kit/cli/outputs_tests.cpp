// Outputs that are devices, pipes, links, folders or inputs.
#include "cli/fixtures.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace velq::test {
namespace {

namespace fs = std::filesystem;

using outputs = Robustness;

TEST_F(outputs, device_is_written_through_and_stays)
{
    const std::string from = store();
    const std::string device = path("device");
    fs::create_symlink("/dev/null", device);
    EXPECT_EQ(velq({"store", "dump", from, "-o", device}).status, 0);
    EXPECT_TRUE(fs::is_symlink(device));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    expectFailure(velq({"store", "dump", from, "-o", "/dev/full"}), inputOutput, "/dev/full");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(outputs, standard_output_can_be_named)
{
    const CommandResult result = velq({"store", "dump", store(), "-o", "/dev/stdout"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, storeText);
}

TEST_F(outputs, pipe_is_written_through_and_stays)
{
    const std::string from = store();
    const std::string fifo = pipe("fifo");
    std::string read;
    std::thread reader([&] { read = readFile(fifo); });
    const CommandResult result = velq({"store", "dump", from, "-o", fifo});
    if (result.status != 0) { // the reader waits for somebody to write
        close(open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    }
    reader.join();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(read, storeText);
    EXPECT_TRUE(fs::is_fifo(fifo));
}

TEST_F(outputs, database_is_refused_on_a_device_or_a_pipe)
{
    const std::string text = file("s.txt", storeText);
    const std::string fifo = pipe("fifo");
    expectFailure(velq({"store", "load", text, "-o", fifo}), cannotCreate, "give the name of a file");
    expectFailure(velq({"store", "load", text, "-o", "/dev/stdout"}), cannotCreate, "give the name of a file");
    expectFailure(velq({"store", "load", text, "-o", "/dev/null"}), cannotCreate, "give the name of a file");
    expectFailure(velq({"white-update", "build", file("n.csv", "1,a\n"), "-o", fifo}), cannotCreate, "fifo");
    EXPECT_TRUE(fs::is_fifo(fifo));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(outputs, link_is_followed_and_stays)
{
    const std::string from = store();
    file("target.txt", "before");
    fs::create_symlink("target.txt", path("link.txt"));
    fs::create_symlink("missing.bin", path("link.bin"));
    EXPECT_EQ(velq({"store", "dump", from, "-o", path("link.txt")}).status, 0);
    EXPECT_EQ(velq({"store", "load", path("link.txt"), "-o", path("link.bin")}).status, 0);
    EXPECT_TRUE(fs::is_symlink(path("link.txt")));
    EXPECT_TRUE(fs::is_symlink(path("link.bin")));
    EXPECT_EQ(readFile(path("target.txt")), storeText);
    EXPECT_EQ(readFile(path("missing.bin")), readFile(from));
}

TEST_F(outputs, permissions_of_an_existing_file_are_kept)
{
    const std::string from = store();
    for (const char *name : {"a.txt", "a.bin"}) {
        const std::string to = file(name, "before");
        ASSERT_EQ(chmod(to.c_str(), 0640), 0);
        EXPECT_EQ(velq({"store", std::string(name) == "a.txt" ? "dump" : "load",
                        std::string(name) == "a.txt" ? from : path("store.txt"), "-o", to})
                      .status,
                  0);
        EXPECT_NE(readFile(to), "before");
        EXPECT_EQ(fs::status(to).permissions(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    }
}

TEST_F(outputs, folder_is_refused)
{
    expectFailure(velq({"store", "dump", store(), "-o", folder_.path().string()}), cannotCreate,
                  "it is a folder; give a file's name in it");
}

TEST_F(outputs, input_is_never_overwritten)
{
    const std::string messages = corpus();
    const std::string bin = store();
    const std::string text = path("store.txt");
    const std::string csv = file("n.csv", "1,a\n");
    fs::create_hard_link(messages, path("other name.tsv"));
    fs::create_symlink(bin, path("link.bin"));
    const std::vector<std::vector<std::string>> commands = {
        {"store", "build", "--plain", messages, "-o", messages},
        {"store", "build", "--plain", messages, "-o", path("other name.tsv")},
        {"store", "dump", bin, "-o", path("link.bin")},
        {"store", "load", text, "-o", text},
        {"store", "diff", bin, text, "-o", bin},
        {"store", "diff", bin, text, "-o", text},
        {"white-update", "build", csv, "-o", csv},
        {"white-update", "build", csv, "--white-list", bin, "-o", bin},
        {"evaluate", "--plain", "--folds", "2", messages, "--report", messages},
        {"evaluate", "--store", bin, messages, "--report", bin},
        {"evaluate", "--test", text, messages, "--report", text}};
    const auto contents = [&] { return readFile(messages) + readFile(bin) + readFile(text) + readFile(csv); };
    const std::string before = contents();
    for (const std::vector<std::string> &command : commands) {
        expectFailure(velq(command), badUsage, "give another output");
    }
    EXPECT_EQ(contents(), before);
}

} // namespace
} // namespace velq::test
