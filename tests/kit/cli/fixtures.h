// What the tests of the commands share: installations and stores with words that lean clearly, invented messages, and
// the exit statuses, written out because scripts rely on their numbers.
#ifndef VELQ_TESTS_KIT_CLI_FIXTURES_H
#define VELQ_TESTS_KIT_CLI_FIXTURES_H

#include "support/installation.h"
#include "support/run_command.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace velq::test {

constexpr int badUsage = 64;
constexpr int badData = 65;
constexpr int noInput = 66;
constexpr int cannotCreate = 73;
constexpr int inputOutput = 74;

// The folder that --install takes.
std::string rootOf(const Installation &installation);

void expectDone(const CommandResult &result);

// Messages of the words below, and one of neutral words only.
extern const std::string spamText;
extern const std::string hamText;
// Three counted neutral tokens: the spamicity is the prior, which leaves the classifier unsure.
extern const std::string unsureLongText;

// Words that lean clearly to one side, and neutral ones.
void fillStore(Installation &installation);

// An installation with words, and the prior where the classifier is unsure of messages without evidence.
class CliTest : public testing::Test {
  protected:
    CliTest();

    // The arguments with --install added at the end of the command's words.
    CommandResult run(std::vector<std::string> arguments, const std::string &input = {},
                      const std::filesystem::path &outFile = {}) const;

    // Every file below the installation with its bytes.
    std::map<std::string, std::string> files() const;

    Installation installation;
};

// Messages of both labels, one a line, from two lists of words with some words in common.
std::string inventedMessages(std::size_t messages, std::uint64_t seed);

// Corpora and stores in the test's folder.
class DataCommands : public testing::Test, protected TestFiles {
  protected:
    std::string corpus(std::size_t messages = 240, std::uint64_t seed = 1) const;
    // A prob.bin of these lines of the text form.
    std::string store(const std::string &name, const std::string &lines) const;
};

extern const std::string storeText; // a small store in the text form

// Files, and what is left of them.
class Robustness : public testing::Test, protected TestFiles {
  protected:
    std::string corpus(int messages = 60) const;
    // A prob.bin of storeText, which lies beside it as store.txt.
    std::string store(const std::string &name = "store.bin") const;
    // The names in the folder, to see that nothing was left behind.
    std::vector<std::string> names() const;
    // A new pipe.
    std::string pipe(const std::string &name) const;
};

} // namespace velq::test

#endif
