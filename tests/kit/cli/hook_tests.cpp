// velq hook without a host: what is moved, kept, logged and refused.
#include "cli/fixtures.h"
#include "hooks/texts.h"

#include <algorithm>

namespace velq::test {

namespace fs = std::filesystem;

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

    // The hook on a message file of that text, with both folders and a log.
    CommandResult smstools(const std::string &text, std::vector<std::string> more = {}) const
    {
        writeFile(inbox / "GSM1.abc", fileOf("Alphabet: UTF-8", text));
        std::vector<std::string> arguments = {"hook",          "smstools",    "--install",       rootOf(installation),
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

    Installation installation;
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

TEST_F(HookCommand, text_is_prepared_unless_it_is_to_be_raw)
{
    const std::string message = (inbox / "GSM1.abc").string();
    EXPECT_EQ(smstools("PRIZE WINNER, CLAIM IT", {"--raw", "RECEIVED", message}).status, 0);
    EXPECT_TRUE(fs::exists(message));
    EXPECT_EQ(smstools("PRIZE WINNER, CLAIM IT").status, 0);
    EXPECT_TRUE(fs::exists(spam / "GSM1.abc"));
}

#ifdef VELQ_WITH_COUNTRIES
TEST_F(HookCommand, sender_is_compared_in_the_form_of_the_country)
{
    expectDone(velq({"list", "black", "add", "--install", rootOf(installation), "--country", "DK", "12 34 56 78"}));
    const std::string message = (inbox / "GSM1.abc").string();
    const auto hook = [&](const std::vector<std::string> &more) {
        writeFile(message,
                  "From: 12345678\nFrom_TOA: 81 unknown, ISDN/telephone\nAlphabet: UTF-8\n\nnothing that it knows of");
        std::vector<std::string> arguments = {"hook",          "smstools",   "--install", rootOf(installation),
                                              "--spam-folder", spam.string()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        arguments.insert(arguments.end(), {"RECEIVED", message});
        EXPECT_EQ(velq(arguments).status, 0);
        return fs::exists(spam / "GSM1.abc");
    };
    EXPECT_FALSE(hook({}));
    EXPECT_TRUE(hook({"--country", "DK"}));
}
#endif

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
        velq({"hook", "smstools", "--install", rootOf(installation), "RECEIVED", (inbox / "message").string()});
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
    EXPECT_TRUE(logged().starts_with("smstools\tfailed\t\todd\t" + (inbox / "odd").string() + ": the file has no"))
        << logged();
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
    EXPECT_EQ(velq({"hook", "smstools", "--install", rootOf(installation), "--log",
                    (installation.folder() / "folder").string(), "RECEIVED", (inbox / "GSM1.abc").string()})
                  .status,
              73);
    EXPECT_TRUE(fs::exists(inbox / "GSM1.abc"));
    EXPECT_EQ(readFile(installation.dataFile("prob.bin")), store);
}

TEST_F(HookCommand, failure_is_logged_with_sender_and_file)
{
    writeFile(spam, "a file where the folder should be");
    EXPECT_EQ(smstools("prize winner, claim it").status, 73);
    EXPECT_TRUE(logged().starts_with("smstools\tfailed\t+4512345678\tGSM1.abc\tcannot make the folder ")) << logged();
}

TEST_F(HookCommand, what_cannot_be_logged_is_not_filed)
{
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no device that is always full";
    }
    writeFile(inbox / "GSM1.abc", fileOf("Alphabet: UTF-8", "prize winner, claim it"));
    const CommandResult result = velq({"hook", "smstools", "--install", rootOf(installation), "--spam-folder",
                                       spam.string(), "--log", "/dev/full", "RECEIVED", (inbox / "GSM1.abc").string()});
    expectFailure(result, cannotCreate, "cannot append to the log /dev/full; the message stays where it is");
    EXPECT_TRUE(fs::exists(inbox / "GSM1.abc"));
    EXPECT_TRUE(fs::is_empty(spam));
}

TEST_F(HookCommand, log_that_cannot_grow_files_nothing)
{
    // The file may not grow: as on a full disk, whoever the user is.
    writeFile(inbox / "GSM1.abc", fileOf("Alphabet: UTF-8", "prize winner, claim it"));
    writeFile(log, std::string(2048, 'x') + "\n");
    const std::string before = readFile(log);
    const std::string store = readFile(installation.dataFile("prob.bin"));
    const CommandResult result =
        runProgram("bash", {"-c", "trap '' XFSZ; ulimit -f 2 && exec \"$@\"", "bash", velqProgram(), "hook", "smstools",
                            "--install", rootOf(installation), "--spam-folder", spam.string(), "--log", log.string(),
                            "RECEIVED", (inbox / "GSM1.abc").string()});
    EXPECT_EQ(result.status, cannotCreate) << result.err;
    EXPECT_TRUE(fs::exists(inbox / "GSM1.abc"));
    EXPECT_TRUE(!fs::exists(spam) || fs::is_empty(spam));
    EXPECT_EQ(readFile(installation.dataFile("prob.bin")), store);
    EXPECT_EQ(readFile(log), before);
}

TEST_F(HookCommand, line_that_a_full_disk_cut_is_ended_first)
{
    writeFile(log, "2024-01-01T00:00:00Z\tsmstools\tsp");
    EXPECT_EQ(smstools("hello, seven o'clock with cake").status, 0);
    const std::string text = readFile(log);
    EXPECT_TRUE(text.starts_with("2024-01-01T00:00:00Z\tsmstools\tsp\n20")) << text;
    EXPECT_TRUE(text.ends_with("\tsmstools\tham\t+4512345678\tGSM1.abc\tkept\n")) << text;
}

TEST_F(HookCommand, retry_rates_what_could_not_be_rated_and_nothing_else)
{
    const auto retry = [&] {
        return velq({"hook", "smstools", "--install", rootOf(installation), "--spam-folder", spam.string(), "--log",
                     log.string(), "--retry", inbox.string()});
    };
    EXPECT_EQ(smstools("hello, seven o'clock with cake").status, 0); // GSM1.abc: rated, stays
    writeFile(inbox / "GSM1.failed", fileOf("Alphabet: UTF-8", "prize winner, claim it"));
    writeFile(inbox / "GSM1.unseen", fileOf("Alphabet: UTF-8", "hello, cake at seven again"));
    fs::rename(installation.dataFile("prob.bin"), installation.folder() / "away");
    EXPECT_EQ(smstools("", {"RECEIVED", (inbox / "GSM1.failed").string()}).status, 66);
    fs::rename(installation.folder() / "away", installation.dataFile("prob.bin"));
    const CommandResult result = retry();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "velq: 2 messages rated again\n");
    EXPECT_TRUE(fs::exists(spam / "GSM1.failed"));
    EXPECT_TRUE(fs::exists(inbox / "GSM1.unseen"));
    EXPECT_EQ(retry().err, "velq: 0 messages rated again\n");
    const std::string text = readFile(log);
    EXPECT_EQ(std::ranges::count(text, '\n'), 4) << text;
    EXPECT_EQ(std::ranges::count(text, '\t'), 4 * 5) << text;
}

TEST_F(HookCommand, retry_goes_on_after_a_failure_and_reports_it)
{
    writeFile(log, "");
    writeFile(inbox / "a", "From: 1\n\nno alphabet");
    writeFile(inbox / "b", fileOf("Alphabet: UTF-8", "prize winner, claim it"));
    const std::vector<std::string> retry = {"hook",          "smstools",    "--install", rootOf(installation),
                                            "--spam-folder", spam.string(), "--log",     log.string(),
                                            "--retry",       inbox.string()};
    expectFailure(velq(retry), badData, "1 message of 2 could not be rated; the first: " + (inbox / "a").string());
    EXPECT_TRUE(fs::exists(inbox / "a"));
    EXPECT_TRUE(fs::exists(spam / "b"));
    expectFailure(velq({"hook", "smstools", "--install", rootOf(installation), "--retry", inbox.string()}), badUsage,
                  "--log");
    expectFailure(velq({"hook", "smstools", "--install", rootOf(installation)}), badUsage, "EVENT");
}

// Through env, which sets what the daemon would.
class GammuCommand : public HookCommand {
  protected:
    CommandResult gammu(const std::vector<std::string> &variables, const std::vector<std::string> &more) const
    {
        std::vector<std::string> arguments = variables;
        for (const std::string &argument :
             {velqProgram(), std::string("hook"), std::string("gammu"), std::string("--install"), rootOf(installation),
              std::string("--log"), log.string()}) {
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

TEST_F(GammuCommand, retry_puts_parts_together_and_takes_the_sender_from_their_names)
{
    installation.addNumber(NumberList::black, "+4500000001");
    writeFile(log, "");
    writeFile(inbox / "IN20240229_235959_00_+4512345678_00.txt", "prize win");
    writeFile(inbox / "IN20240229_235959_00_+4512345678_01.txt", "ner, claim it");
    writeFile(inbox / "IN20240301_000000_00_+4500000001_00.txt", "hello, seven o'clock with cake");
    writeFile(inbox / "notes.txt", "no message");
    const CommandResult result =
        gammu({"LC_ALL=C"}, {"--inbox", inbox.string(), "--spam-folder", spam.string(), "--retry", inbox.string()});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "velq: 2 messages rated again\n");
    EXPECT_TRUE(fs::exists(spam / "IN20240229_235959_00_+4512345678_01.txt"));
    EXPECT_TRUE(fs::exists(spam / "IN20240301_000000_00_+4500000001_00.txt"));
    EXPECT_TRUE(fs::exists(inbox / "notes.txt"));
    EXPECT_NE(readFile(log).find("\tgammu\tspam\t+4512345678\tIN20240229_235959_00_+4512345678_00.txt, "),
              std::string::npos)
        << readFile(log);
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
        EXPECT_NE(readFile(log).find("\tgammu\twarning\t\t\tthe daemon's character set is "), std::string::npos);
    }
}

TEST_F(GammuCommand, hook_that_no_daemon_started_says_so)
{
    const CommandResult result = gammu({"LC_ALL=C.UTF-8"}, {});
    EXPECT_EQ(result.status, 66);
    EXPECT_NE(result.err.find("RunOnReceive"), std::string::npos) << result.err;
}

} // namespace velq::test
