// Reading what Gammu's SMS daemon hands over in variables and arguments.
#include "hooks/texts.h"
#include "kit/hooks/gammu.h"
#include "support/kit_errors.h"
#include "support/run_command.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>
#include <map>

namespace velq::test {

namespace {

namespace fs = std::filesystem;
using namespace velq::kit;
using Variables = std::map<std::string, std::string>;

HookMessage readVariables(const Variables &variables, const std::string &inbox = {},
                          const std::vector<std::string> &names = {})
{
    return readGammuMessage(
        [&variables](const std::string &name) {
            const auto found = variables.find(name);
            return found == variables.end() ? nullptr : found->second.c_str();
        },
        inbox, names);
}

} // namespace

TEST(GammuHook, single_message_is_the_received_text)
{
    const HookMessage message = readVariables({{"SMS_MESSAGES", "1"},
                                               {"DECODED_PARTS", "0"},
                                               {"SMS_1_NUMBER", "+4512345678"},
                                               {"SMS_1_TEXT", "您好 😀 hello"},
                                               {"DECODED_1_TEXT", "from somewhere else"}});
    EXPECT_EQ(message.sender, "+4512345678");
    EXPECT_EQ(message.body, VELQ_TEXT("您好 😀 hello"));
    EXPECT_TRUE(message.files.empty());
}

TEST(GammuHook, decoded_parts_are_joined_and_come_before_the_received_ones)
{
    const HookMessage message = readVariables({{"SMS_MESSAGES", "2"},
                                               {"DECODED_PARTS", "2"},
                                               {"SMS_1_NUMBER", "ALERTS"},
                                               {"SMS_1_TEXT", "raw"},
                                               {"SMS_2_TEXT", "raw"},
                                               {"DECODED_1_TEXT", "one, "},
                                               {"DECODED_2_TEXT", "two"}});
    EXPECT_EQ(message.sender, "ALERTS");
    EXPECT_EQ(message.body, VELQ_TEXT("one, two"));
}

TEST(GammuHook, received_parts_are_joined_where_nothing_was_decoded)
{
    const Variables parts = {{"SMS_MESSAGES", "11"}, {"SMS_1_TEXT", "a"}, {"SMS_2_TEXT", "b"}, {"SMS_11_TEXT", "k"}};
    EXPECT_EQ(readVariables(parts).body, VELQ_TEXT("abk"));
    Variables emptyPart = parts;
    emptyPart["DECODED_PARTS"] = "1";
    EXPECT_EQ(readVariables(emptyPart).body, VELQ_TEXT("abk"));
}

TEST(GammuHook, text_with_quotes_dollars_and_lines_arrives_whole)
{
    const HookMessage message = readVariables({{"SMS_MESSAGES", "1"}, {"SMS_1_TEXT", hostileText}});
    EXPECT_EQ(utf8FromWide(message.body), hostileText);
}

TEST(GammuHook, binary_message_has_no_text)
{
    EXPECT_TRUE(readVariables({{"SMS_MESSAGES", "1"}, {"SMS_1_NUMBER", "+45"}}).body.empty());
}

TEST(GammuHook, names_are_files_of_the_inbox_also_with_blanks_in_them)
{
    const TemporaryFolder inbox;
    const Variables message = {{"SMS_MESSAGES", "1"}, {"SMS_1_TEXT", "text"}};
    for (const char *name : {"IN_1.txt", "IN_MY SHOP 24_1.txt", "IN_2.txt"}) {
        writeFile(inbox.path() / name, "text");
    }
    const std::vector<fs::path> expected = {inbox.path() / "IN_1.txt", inbox.path() / "IN_MY SHOP 24_1.txt",
                                            inbox.path() / "IN_2.txt"};
    EXPECT_EQ(
        readVariables(message, inbox.path().string(), {"IN_1.txt", "IN_MY", "SHOP", "24_1.txt", "IN_2.txt"}).files,
        expected);
    // One that is not there stays as it came; what follows is found.
    const std::vector<fs::path> partly = {inbox.path() / "gone", inbox.path() / "IN_2.txt"};
    EXPECT_EQ(readVariables(message, inbox.path().string(), {"gone", "IN_2.txt"}).files, partly);
    EXPECT_TRUE(readVariables(message, {}, {"17"}).files.empty());
}

TEST(GammuHook, malformed_variables_are_refused)
{
    expectError(Status::noInput, "SMS_MESSAGES is not set", [] { readVariables({}); });
    for (const char *count : {"", "0", "-1", "two", "1x", "256", "99999999999"}) {
        expectError(Status::badData, "SMS_MESSAGES", [count] { readVariables({{"SMS_MESSAGES", count}}); });
    }
    expectError(Status::badData, "DECODED_PARTS", [] {
        readVariables({{"SMS_MESSAGES", "1"}, {"DECODED_PARTS", "many"}});
    });
    expectError(Status::badData, "not UTF-8", [] {
        readVariables({{"SMS_MESSAGES", "1"}, {"SMS_1_TEXT", "caf\xE9"}});
    });
    expectError(Status::badData, "not UTF-8", [] { readVariables({{"SMS_MESSAGES", "1"}, {"SMS_1_NUMBER", "\xFF"}}); });
    for (const char *name : {"", ".", "..", "../other", "/etc/passwd", "a/b"}) {
        expectError(Status::badData, "not a file name", [name] {
            readVariables({{"SMS_MESSAGES", "1"}}, "inbox", {name});
        });
    }
}

} // namespace velq::test
