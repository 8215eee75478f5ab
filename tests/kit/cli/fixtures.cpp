// Installations, stores and messages for the tests of the commands.
#include "cli/fixtures.h"

#include <algorithm>
#include <array>
#include <sys/stat.h>

namespace velq::test {

namespace fs = std::filesystem;

std::string rootOf(const Installation &installation)
{
    return installation.programFolder().parent_path().parent_path().string();
}

void expectDone(const CommandResult &result)
{
    EXPECT_EQ(result.status, 0) << result.err;
}

const std::string spamText = "prize winner, claim it";
const std::string hamText = "hello, seven o'clock with cake";
const std::string unsureLongText = "neutneutral1ral1mid2mid2xxxxxxxx";
const std::string storeText = "velq-store 1\nmessages\t5\t5\ntokens\nab\t1\t2\ncd\t3\t4\nend\n";

void fillStore(Installation &installation)
{
    installation.addTokens({{VELQ_TEXT("priz"), {90, 1}},
                            {VELQ_TEXT("winn"), {80, 1}},
                            {VELQ_TEXT("clai"), {70, 1}},
                            {VELQ_TEXT("hell"), {1, 90}},
                            {VELQ_TEXT("seve"), {1, 80}},
                            {VELQ_TEXT("cake"), {1, 70}},
                            {VELQ_TEXT("neut"), {50, 50}},
                            {VELQ_TEXT("ral1"), {50, 50}},
                            {VELQ_TEXT("mid2"), {50, 50}},
                            {VELQ_TEXT("发票"), {60, 1}},
                            {VELQ_TEXT("你好"), {1, 60}}});
    installation.setMessageCounts(100, 100);
    installation.setPrior(400000);
}

CliTest::CliTest()
{
    fillStore(installation);
}

// The words of a command stand before its options.
static std::ptrdiff_t commandWords(const std::vector<std::string> &arguments)
{
    return arguments.at(0) == "list" ? 3 : arguments.at(0) == "mark" ? 2 : 1;
}

CommandResult CliTest::run(std::vector<std::string> arguments, const std::string &input, const fs::path &outFile) const
{
    arguments.insert(arguments.begin() + commandWords(arguments), {"--install", rootOf(installation)});
    return velq(arguments, input, outFile);
}

std::map<std::string, std::string> CliTest::files() const
{
    std::map<std::string, std::string> contents;
    for (const auto &entry : fs::recursive_directory_iterator(installation.folder())) {
        contents[entry.path().string()] = entry.is_regular_file() ? readFile(entry.path()) : "folder";
    }
    return contents;
}

static std::size_t pick(std::uint64_t &state, std::size_t bound)
{
    state = state * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::size_t>((state >> 33) % bound);
}

// Messages of both labels from two lists of words with some words in common.
std::string inventedMessages(std::size_t messages, std::uint64_t seed)
{
    constexpr std::array spamWords = {"winner", "prize", "claim now", "free cash", "urgent", "call this number"};
    constexpr std::array hamWords = {"see you", "dinner", "home soon", "love", "tomorrow", "thanks mum"};
    constexpr std::array anyWords = {"today", "with", "about", "please"};
    std::uint64_t state = seed;
    std::string lines;
    for (std::size_t i = 0; i < messages; ++i) {
        const bool isSpam = i % 3 == 0;
        lines += isSpam ? "spam\t" : "ham\t";
        for (int word = 0; word < 6; ++word) {
            lines += word % 3 == 2 ? anyWords[pick(state, anyWords.size())]
                     : isSpam      ? spamWords[pick(state, spamWords.size())]
                                   : hamWords[pick(state, hamWords.size())];
            lines += ' ';
        }
        lines += std::to_string(pick(state, 1000)) + "\n";
    }
    return lines;
}

std::string DataCommands::corpus(std::size_t messages, std::uint64_t seed) const
{
    return file("messages-" + std::to_string(messages) + "-" + std::to_string(seed) + ".tsv",
                inventedMessages(messages, seed));
}

std::string DataCommands::store(const std::string &name, const std::string &lines) const
{
    const std::string text = file(name + ".txt", "velq-store 1\n" + lines + "end\n");
    expectDone(velq({"store", "load", "--quiet", text, "-o", path(name)}));
    return path(name);
}

std::string Robustness::corpus(int messages) const
{
    std::string lines;
    for (int i = 0; i < messages; ++i) {
        lines +=
            (i % 2 == 0 ? "spam\twinner prize claim now " : "ham\tsee you dinner home ") + std::to_string(i) + "\n";
    }
    return file("messages.tsv", lines);
}

std::string Robustness::store(const std::string &name) const
{
    expectDone(velq({"store", "load", "--quiet", file("store.txt", storeText), "-o", path(name)}));
    return path(name);
}

std::vector<std::string> Robustness::names() const
{
    std::vector<std::string> found;
    for (const auto &entry : fs::directory_iterator(folder_.path())) {
        found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::string Robustness::pipe(const std::string &name) const
{
    EXPECT_EQ(mkfifo(path(name).c_str(), 0600), 0);
    return path(name);
}

} // namespace velq::test
