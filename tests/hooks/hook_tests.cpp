// Reading what message hosts hand over, moving files, and the hooks as commands without a host.
#include "kit/base/status.h"
#include "kit/hooks/gammu.h"
#include "kit/hooks/hook.h"
#include "kit/hooks/smstools.h"
#include "support/run_command.h"
#include "support/installation.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>
#include <thread>

namespace velq::test {

namespace {

namespace fs = std::filesystem;
using namespace velq::kit;
using Variables = std::map<std::string, std::string>;

// Whole, for the names of the test support and of the kit are alike.
using TestInstallation = velq::test::Installation;

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

template <typename Action>
void expectError(Status status, const std::string &part, const Action &action)
{
    try {
        action();
        ADD_FAILURE() << "no error that says " << part;
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), status) << error.what();
        EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
    }
}

std::string fileOf(const std::string &headers, const std::string &body)
{
    return "From: 4512345678\nFrom_TOA: 91 international, ISDN/telephone\nReport: no\n" + headers + "\n\n" + body;
}

const std::string hostileText = "\"q\" 'x' $HOME $(id) `id` \\ ; | & *\nsecond line\n\nthird\t{}";

} // namespace

// ---- Gammu

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
        expectError(Status::badData, "no file name", [name] {
            readVariables({{"SMS_MESSAGES", "1"}}, "inbox", {name});
        });
    }
}

// ---- SMS Server Tools

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

// ---- Moving

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

// ---- The commands

namespace {

class HookCommand : public testing::Test {
  protected:
    HookCommand()
    {
        installation.addTokens({{VELQ_TEXT("priz"), {90, 1}},
                                {VELQ_TEXT("winn"), {80, 1}},
                                {VELQ_TEXT("clai"), {70, 1}},
                                {VELQ_TEXT("hell"), {1, 90}},
                                {VELQ_TEXT("seve"), {1, 80}},
                                {VELQ_TEXT("cake"), {1, 70}}});
        installation.setMessageCounts(100, 100);
        installation.setPrior(600000);
        fs::create_directory(inbox);
    }

    std::string root() const
    {
        return installation.programFolder().parent_path().parent_path().string();
    }
    // The hook on a message file of that text, with both folders and a log.
    CommandResult smstools(const std::string &text, std::vector<std::string> more = {}) const
    {
        writeFile(inbox / "GSM1.abc", fileOf("Alphabet: UTF-8", text));
        std::vector<std::string> arguments = {"hook",          "smstools",    "--install",       root(),
                                              "--spam-folder", spam.string(), "--unsure-folder", unsure.string(),
                                              "--log",         log.string()};
        if (more.empty()) {
            more = {"RECEIVED", (inbox / "GSM1.abc").string()};
        }
        arguments.insert(arguments.end(), more.begin(), more.end());
        return velq(arguments);
    }
    // The log's only line without its time.
    std::string logged() const
    {
        const std::string text = readFile(log);
        EXPECT_EQ(std::ranges::count(text, '\n'), 1) << text;
        return text.substr(text.find('\t') + 1, text.size() - text.find('\t') - 2);
    }

    TestInstallation installation;
    const fs::path inbox = installation.folder() / "inbox";
    const fs::path spam = installation.folder() / "spam";
    const fs::path unsure = installation.folder() / "unsure";
    const fs::path log = installation.folder() / "hook.log";
};

} // namespace

TEST_F(HookCommand, spam_is_moved_and_logged)
{
    const CommandResult result = smstools("prize winner, claim it");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(readFile(spam / "GSM1.abc"), fileOf("Alphabet: UTF-8", "prize winner, claim it"));
    EXPECT_FALSE(fs::exists(inbox / "GSM1.abc"));
    EXPECT_EQ(logged(), "smstools\tspam\t+4512345678\tGSM1.abc\tmoved to " + (spam / "GSM1.abc").string());
}

TEST_F(HookCommand, unsure_message_is_moved_to_its_own_folder)
{
    EXPECT_EQ(smstools("nothing that it knows of").status, 0);
    EXPECT_TRUE(fs::exists(unsure / "GSM1.abc"));
    EXPECT_FALSE(fs::exists(inbox / "GSM1.abc"));
}

TEST_F(HookCommand, ham_stays)
{
    EXPECT_EQ(smstools("hello, seven o'clock with cake").status, 0);
    EXPECT_TRUE(fs::exists(inbox / "GSM1.abc"));
    EXPECT_EQ(logged(), "smstools\tham\t+4512345678\tGSM1.abc\tkept");
}

TEST_F(HookCommand, number_of_the_sender_counts)
{
    installation.addNumber(NumberList::black, "+4512345678");
    EXPECT_EQ(smstools("hello, seven o'clock with cake").status, 0);
    EXPECT_TRUE(fs::exists(spam / "GSM1.abc"));
}

TEST_F(HookCommand, without_folders_everything_stays_and_standard_error_takes_the_line)
{
    writeFile(inbox / "message", fileOf("Alphabet: UTF-8", "prize winner, claim it"));
    const CommandResult result =
        velq({"hook", "smstools", "--install", root(), "RECEIVED", (inbox / "message").string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.err.ends_with("\tsmstools\tspam\t+4512345678\tmessage\tkept\n")) << result.err;
    EXPECT_TRUE(fs::exists(inbox / "message"));
}

TEST_F(HookCommand, other_events_are_passed_over)
{
    for (const std::vector<std::string> &event : std::vector<std::vector<std::string>>{
             {"SENT", "/no/file", "17"}, {"REPORT", "/no/file"}, {"USSD", "GSM1", "a", "b", "c"}, {"CALL"}}) {
        const CommandResult result = smstools("prize winner, claim it", event);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out + result.err, "");
    }
    EXPECT_TRUE(fs::exists(inbox / "GSM1.abc"));
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(HookCommand, malformed_message_stays_untouched_and_untrained)
{
    const std::string store = readFile(installation.dataFile("prob.bin"));
    writeFile(inbox / "odd", "From: 1\n\nprize winner, claim it");
    const CommandResult result = smstools("", {"RECEIVED", (inbox / "odd").string()});
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
    EXPECT_NE(result.err.find("odd: the file has no Alphabet header"), std::string::npos) << result.err;
    EXPECT_TRUE(logged().starts_with("smstools\tfailed\t"));
    EXPECT_EQ(readFile(inbox / "odd"), "From: 1\n\nprize winner, claim it");
    EXPECT_EQ(readFile(installation.dataFile("prob.bin")), store);
}

TEST_F(HookCommand, what_cannot_be_acted_on_is_not_rated)
{
    const std::string store = readFile(installation.dataFile("prob.bin"));
    writeFile(spam, "a file where the folder should be");
    EXPECT_EQ(smstools("prize winner, claim it").status, 73);
    fs::remove(spam);
    fs::create_directory_symlink(inbox, spam);
    EXPECT_EQ(smstools("prize winner, claim it").status, 64);
    fs::remove(spam);
    fs::create_symlink(inbox / "GSM1.abc", inbox / "link");
    EXPECT_EQ(smstools("prize winner, claim it", {"RECEIVED", (inbox / "link").string()}).status, 66);
    EXPECT_EQ(smstools("prize winner, claim it", {"RECEIVED", (inbox / "gone").string()}).status, 66);
    EXPECT_EQ(smstools("prize winner, claim it", {"RECEIVED"}).status, 64);
    fs::create_directory(installation.folder() / "folder");
    EXPECT_EQ(velq({"hook", "smstools", "--install", root(), "--log", (installation.folder() / "folder").string(),
                    "RECEIVED", (inbox / "GSM1.abc").string()})
                  .status,
              73);
    EXPECT_TRUE(fs::exists(inbox / "GSM1.abc"));
    EXPECT_EQ(readFile(installation.dataFile("prob.bin")), store);
}

// Through env, which sets what the daemon would.
class GammuCommand : public HookCommand {
  protected:
    CommandResult gammu(const std::vector<std::string> &variables, const std::vector<std::string> &more) const
    {
        std::vector<std::string> arguments = variables;
        for (const std::string &argument : {std::string(VELQ_COMMAND), std::string("hook"), std::string("gammu"),
                                            std::string("--install"), root(), std::string("--log"), log.string()}) {
            arguments.push_back(argument);
        }
        arguments.insert(arguments.end(), more.begin(), more.end());
        return runProgram("env", arguments);
    }
    std::vector<std::string> folders() const
    {
        return {"--inbox",         inbox.string(),  "--spam-folder", spam.string(),
                "--unsure-folder", unsure.string(), "IN_1_00.txt",   "IN_1_01.txt"};
    }
    const std::vector<std::string> message = {"LC_ALL=C.UTF-8", "SMS_MESSAGES=2", "SMS_1_NUMBER=+4512345678",
                                              "DECODED_PARTS=1", "DECODED_1_TEXT=prize winner, claim it"};
};

TEST_F(GammuCommand, every_file_of_a_message_is_moved)
{
    writeFile(inbox / "IN_1_00.txt", "one");
    writeFile(inbox / "IN_1_01.txt", "two");
    const CommandResult result = gammu(message, folders());
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(readFile(spam / "IN_1_00.txt"), "one");
    EXPECT_EQ(readFile(spam / "IN_1_01.txt"), "two");
    EXPECT_TRUE(fs::is_empty(inbox));
    EXPECT_TRUE(logged().starts_with("gammu\tspam\t+4512345678\tIN_1_00.txt, IN_1_01.txt\tmoved to ")) << logged();
}

TEST_F(GammuCommand, message_with_a_missing_file_stays_whole)
{
    writeFile(inbox / "IN_1_00.txt", "one");
    const CommandResult result = gammu(message, folders());
    EXPECT_EQ(result.status, 66);
    EXPECT_NE(result.err.find("IN_1_01.txt is missing"), std::string::npos) << result.err;
    EXPECT_EQ(readFile(inbox / "IN_1_00.txt"), "one");
}

TEST_F(GammuCommand, service_without_files_is_rated_and_logged)
{
    const CommandResult result = gammu(message, {});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(logged(), "gammu\tspam\t+4512345678\t\tkept");
}

TEST_F(GammuCommand, folders_need_the_inbox)
{
    const CommandResult result = gammu(message, {"--spam-folder", spam.string()});
    EXPECT_EQ(result.status, 64);
    EXPECT_NE(result.err.find("--inbox"), std::string::npos) << result.err;
}

TEST_F(GammuCommand, locale_that_is_not_utf8_or_not_installed_is_warned_of)
{
    for (const char *locale : {"LC_ALL=C", "LC_ALL=xx_XX.UTF-8"}) {
        std::vector<std::string> variables = message;
        variables[0] = locale;
        const CommandResult result = gammu(variables, {});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(result.err.starts_with("velq: the daemon's character set is ")) << result.err;
        EXPECT_NE(readFile(log).find("\tgammu\twarning\tthe daemon's character set is "), std::string::npos);
    }
}

TEST_F(GammuCommand, hook_that_no_daemon_started_says_so)
{
    const CommandResult result = gammu({"LC_ALL=C.UTF-8"}, {});
    EXPECT_EQ(result.status, 66);
    EXPECT_NE(result.err.find("RunOnReceive"), std::string::npos) << result.err;
}

} // namespace velq::test
