// Reading the message files of SMS Server Tools 3.
#include "hooks/texts.h"
#include "kit/hooks/smstools.h"
#include "support/kit_errors.h"
#include "support/run_command.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace velq::test {

using namespace velq::kit;

TEST(SmstoolsHook, international_sender_gets_its_plus)
{
    const std::string rest = "\nAlphabet: UTF-8\n\ntext";
    const auto sender = [&rest](const std::string &from, const std::string &type) {
        return parseSmstoolsMessage("From: " + from + "\nFrom_TOA: " + type + rest).sender;
    };
    EXPECT_EQ(sender("4512345678", "91 international, ISDN/telephone"), "+4512345678");
    EXPECT_EQ(sender("10010", "81 unknown, ISDN/telephone"), "10010");
    EXPECT_EQ(sender("12345678", "A1 national, ISDN/telephone"), "12345678");
    EXPECT_EQ(sender("ALERTS", "D0 alphanumeric, unknown"), "ALERTS");
    EXPECT_EQ(sender("2024", "D0 alphanumeric, unknown"), "2024");
    EXPECT_EQ(sender("MY SHOP", "91 international"), "MY SHOP");
    EXPECT_EQ(sender("123", ""), "123");
    EXPECT_EQ(sender("", "91 international"), "");
    EXPECT_EQ(parseSmstoolsMessage("From: 123\nAlphabet: UTF-8\n\n").sender, "123");
}

TEST(SmstoolsHook, body_is_read_in_each_alphabet)
{
    EXPECT_EQ(parseSmstoolsMessage(fileOf("Alphabet: UTF-8\nLength: 3", "é€请")).body, VELQ_TEXT("é€请"));
    EXPECT_EQ(parseSmstoolsMessage(fileOf("Alphabet: ISO", "\xE9\xA4\xA6\xA8\xB4\xB8\xBC\xBD\xBE a")).body,
              VELQ_TEXT("é€ŠšŽžŒœŸ a"));
    const std::string utf16 = {'\x8B', '\xF7', '\xFF', '\x01', '\xD8', '\x3D', '\xDE', '\0', '\0', '\n', '\0', 'a'};
    EXPECT_EQ(parseSmstoolsMessage(fileOf("Alphabet: UCS2", utf16)).body, VELQ_TEXT("请！😀\na"));
    EXPECT_TRUE(parseSmstoolsMessage(fileOf("Alphabet: binary", "\xFF\x01")).body.empty());
    EXPECT_TRUE(parseSmstoolsMessage(fileOf("Alphabet: UTF-8", "")).body.empty());
}

TEST(SmstoolsHook, text_with_quotes_dollars_and_lines_arrives_whole)
{
    const HookMessage message = parseSmstoolsMessage(fileOf("Alphabet: UTF-8", hostileText));
    EXPECT_EQ(utf8FromWide(message.body), hostileText);
}

TEST(SmstoolsHook, body_is_not_cut_at_a_zero)
{
    EXPECT_EQ(parseSmstoolsMessage(fileOf("Alphabet: UTF-8", std::string("ab\0cd", 5))).body, VELQ_TEXT("abcd"));
    EXPECT_EQ(parseSmstoolsMessage(fileOf("Alphabet: UCS2", std::string("\0a\0\0\0b", 6))).body, VELQ_TEXT("ab"));
}

TEST(SmstoolsHook, line_ends_in_the_name_of_a_sender_do_not_shift_the_body)
{
    const std::string rest = "From_TOA: D0 alphanumeric, unknown\nAlphabet: UTF-8\nLength: 4\n\ntext";
    for (const char *name : {"X\n\nq", "X\nFrom: 1", "X\nAlphabet:"}) {
        const HookMessage message = parseSmstoolsMessage("From: " + std::string(name) + "\n" + rest);
        EXPECT_EQ(message.sender, "X");
        EXPECT_EQ(message.body, VELQ_TEXT("text"));
    }
}

TEST(SmstoolsHook, headers_with_carriage_returns_are_read)
{
    const HookMessage message = parseSmstoolsMessage("From: 1\r\nAlphabet: UTF-8\r\n\r\na\r\nb");
    EXPECT_EQ(message.sender, "1");
    EXPECT_EQ(message.body, VELQ_TEXT("a\r\nb"));
}

TEST(SmstoolsHook, malformed_files_are_refused)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "no Alphabet"},
        {"From: 1\n\ntext", "no Alphabet"},
        {"From: 1\nAlphabet: UTF-8\ntext", "no empty line"},
        {"From: 1\nAlphabet: UTF-8", "no Alphabet"},
        {"Alphabet: UTF-8\n\ntext", "no From"},
        {"From: \xFF\nAlphabet: UTF-8\n\ntext", "From header is not UTF-8"},
        {"From: 1\nAlphabet: UTF-8\n\n\xE9", "body is not UTF-8"},
        {"From: 1\nAlphabet: UCS2\n\nabc", "half a character"},
        {"From: 1\nAlphabet: runes\n\nabc", "runes is not known"}};
    for (const auto &[bytes, part] : cases) {
        expectError(Status::badData, part, [&bytes = bytes] { parseSmstoolsMessage(bytes); });
    }
}

TEST(SmstoolsHook, file_that_is_missing_or_too_large_is_refused_by_name)
{
    const TemporaryFolder folder;
    expectError(Status::noInput, "nothing here", [&] { readSmstoolsMessage(folder.path() / "nothing here"); });
    writeFile(folder.path() / "large", fileOf("Alphabet: UTF-8", std::string(std::size_t{1} << 20, 'a')));
    expectError(Status::badData, "large: the file is larger", [&] { readSmstoolsMessage(folder.path() / "large"); });
}

} // namespace velq::test
