// The complete trace of one rating of each kind, line by line. Every scenario runs twice, with debug lines and without,
// so that the level of each line is pinned as well.
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/log_reader.h"
#include "support/system.h"
#include "support/wide.h"
#include "velq.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace velq::test {
namespace {

// One expected line and whether it is written without debug lines too.
struct Line {
    bool isError;
    std::string text;
};
using Lines = std::vector<Line>;

Line debug(std::string text)
{
    return {false, std::move(text)};
}

Line error(std::string text)
{
    return {true, std::move(text)};
}

Lines operator+(Lines first, const Lines &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const Line enter = debug("********** Enter  checkSpamMsg() ********");
// The last line of a rating that reached the classifier's part.
const Line leave = debug("**********OK: Leave checkSpamMsg()!********");

// One opening and closing of the token store.
const Lines openAndClose = {
    debug("VELQ_BFilter_DataStore\tOpen DB!"), debug("VELQ_BFilter_WordList\tOK: open_wordlist()"),
    debug("VELQ_BFilter_DataStore\tClose DB!"), debug("VELQ_BFilter_WordList\tOK: close_wordlist()")};

const Lines trainedListedTokens = openAndClose + Lines{debug("****** registerMsg(), result=0 ******")};

Line utf8Dump(const std::string &text)
{
    return debug("===> UTF8-String:" + text);
}

// Q(n, x/2) by its finite sum: the tail of the chi-square distribution with 2n degrees of freedom.
double chiSquareTail(double statistic, int tokens)
{
    const double half = statistic / 2;
    double term = std::exp(-half);
    double sum = 0;
    for (int k = 0; k < tokens; ++k) {
        sum += term;
        term *= half / (k + 1);
    }
    return sum;
}

double tokenProbability(double spam, double ham, double spamMessages, double hamMessages)
{
    const double p = spam * hamMessages / (ham * spamMessages + spam * hamMessages);
    const double n = spam + ham;
    return (n * p + 0.0178 * 0.52) / (n + 0.0178);
}

double combined(const std::vector<double> &probabilities)
{
    double logHamSide = 0;
    double logSpamSide = 0;
    for (const double p : probabilities) {
        logHamSide += std::log(1 - p);
        logSpamSide += std::log(p);
    }
    const int n = static_cast<int>(probabilities.size());
    return (1 + chiSquareTail(-2 * logSpamSide, n) - chiSquareTail(-2 * logHamSide, n)) / 2;
}

Line verdictLine(int result, double spamicity, int rating)
{
    char text[100];
    std::snprintf(text, sizeof text, "checkSpam result=%d, spamicity=%f, rating=%d", result, spamicity, rating);
    return debug(text);
}

// Few messages, so that spamicities are not all nines.
void fillTracedStore(Installation &installation)
{
    installation.setMessageCounts(2, 2);
    installation.addTokens({{wide("cash"), {1, 0, 0}},
                            {wide("free"), {2, 0, 0}},
                            {wide("win"), {1, 0, 0}},
                            {wide("mum"), {0, 1, 0}},
                            {wide("home"), {0, 2, 0}},
                            {wide("soon"), {0, 1, 0}},
                            {wide("call"), {1, 1, 0}},
                            {wide("mail"), {1, 1, 0}},
                            {wide("text"), {1, 1, 0}}});
}

struct Scenario {
    std::string body;
    std::string number = "13900000001";
    std::uint32_t rating = VELQ_RATING_UNSURE;
    // Before the start, and between start and rating.
    std::function<void(Installation &)> prepare = [](Installation &) {};
    std::function<void(Installation &)> disturb = [](Installation &) {};
};

class RatingTrace : public testing::TestWithParam<StartVariant> {
  protected:
    // `expected` is asked after the installation was made, since lines may hold its paths.
    void expectTrace(const Scenario &scenario, const std::function<Lines(const Installation &)> &expected) const
    {
        for (const bool withDebug : {true, false}) {
            Installation installation;
            fillTracedStore(installation);
            scenario.prepare(installation);
            if (withDebug) {
                installation.enableDebug();
            }
            const EngineSession session(installation, GetParam());
            ASSERT_EQ(session.result(), 0);
            const std::filesystem::path log = installation.logFile(logFileNameOf(GetParam()));
            const auto before = static_cast<std::ptrdiff_t>(logLines(log).size());
            scenario.disturb(installation);

            std::uint32_t rating = 77;
            const WideText body = wide(scenario.body);
            EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, body.c_str(), wide(scenario.number).c_str()), 0);
            EXPECT_EQ(rating, scenario.rating);

            std::vector<std::string> lines = normalisedLog(log);
            lines.erase(lines.begin(), lines.begin() + before);
            std::vector<std::string> wanted;
            for (const Line &line : expected(installation)) {
                if (withDebug || line.isError) {
                    wanted.push_back(line.text);
                }
            }
            EXPECT_EQ(lines, wanted) << (withDebug ? "with" : "without") << " debug lines";
        }
    }

    void expectTrace(const Scenario &scenario, const Lines &expected) const
    {
        expectTrace(scenario, [&expected](const Installation &) { return expected; });
    }

    // The lines from the entry to the dump of the filtered body.
    static Lines opening(const Scenario &scenario, const std::string &filtered)
    {
        return {enter, debug("---> number:" + scenario.number), utf8Dump(scenario.body), utf8Dump(filtered)};
    }
};

INSTANTIATE_TEST_SUITE_P(BothVariants, RatingTrace, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

TEST_P(RatingTrace, of_a_black_list_hit)
{
    const Scenario scenario{"mum, come home soon!", "+8613812345678", VELQ_RATING_SPAM, [](Installation &installation) {
                                installation.addNumber(NumberList::black, "13812345678");
                            }};
    expectTrace(scenario, Lines{enter, debug("---> number:+8613812345678"), utf8Dump("mum, come home soon!"),
                                debug("SPAM: number in Black-List, is a Spam Msg")} +
                              openAndClose + openAndClose +
                              Lines{debug("VELQ_Rating_Manager\t== Auto add the spam msg to DB ==="),
                                    debug("**********OK: Leave   checkSpamMsg()!********")});
}

TEST_P(RatingTrace, of_the_operator_rule)
{
    const Scenario scenario{"free cash, win!", "10086123", VELQ_RATING_HAM};
    expectTrace(scenario, {enter, debug("---> number:10086123"), utf8Dump("free cash, win!"),
                           debug("**********OK: 10086* numbers ********")});
}

TEST_P(RatingTrace, of_a_white_list_hit)
{
    const Scenario scenario{"free cash, win!", "13812345678", VELQ_RATING_HAM, [](Installation &installation) {
                                installation.addNumber(NumberList::white, "13812345678");
                            }};
    expectTrace(scenario, Lines{enter, debug("---> number:13812345678"), utf8Dump("free cash, win!")} + openAndClose +
                              openAndClose +
                              Lines{debug(" ********** registerMsg(), result=0 ********"),
                                    debug("HAM: number in While-List, is a Good Msg"),
                                    debug(" **********OK: Leave  checkSpamMsg()!********")});
}

TEST_P(RatingTrace, of_a_short_body)
{
    const Scenario scenario{"Hi!!! ok", "13900000001", VELQ_RATING_HAM};
    expectTrace(scenario, opening(scenario, "hok") + Lines{debug("HAM: msg body length <=5"),
                                                           debug("**********OK: Leave  checkSpamMsg()!********")});
}

TEST_P(RatingTrace, of_an_empty_body_and_number)
{
    const Scenario scenario{"", "", VELQ_RATING_HAM};
    expectTrace(scenario, opening(scenario, "") + Lines{debug("HAM: msg body length <=5"),
                                                        debug("**********OK: Leave  checkSpamMsg()!********")});
}

TEST_P(RatingTrace, of_too_few_tokens)
{
    const Scenario scenario{"free and then cash"};
    expectTrace(scenario,
                opening(scenario, "freeandthencash") + openAndClose + Lines{utf8Dump("free"), utf8Dump("cash"), leave});
}

TEST_P(RatingTrace, of_no_token_at_all)
{
    const Scenario scenario{"1234567"};
    expectTrace(scenario, opening(scenario, "1234567") + openAndClose + Lines{leave});
}

TEST_P(RatingTrace, of_a_classifier_spam)
{
    const Scenario scenario{"free cash, WIN! win", "13900000001", VELQ_RATING_SPAM};
    const double one = tokenProbability(1, 0, 2, 2);
    const double two = tokenProbability(2, 0, 2, 2);
    expectTrace(scenario, opening(scenario, "freecash,win") + openAndClose +
                              Lines{utf8Dump("free"), utf8Dump("cash"), utf8Dump("win")} + openAndClose +
                              Lines{verdictLine(0, combined({two, one, one}), 0)} + trainedListedTokens + Lines{leave});
}

TEST_P(RatingTrace, of_a_classifier_ham)
{
    const Scenario scenario{"mum, home soon?", "13900000001", VELQ_RATING_HAM};
    const double one = tokenProbability(0, 1, 2, 2);
    const double two = tokenProbability(0, 2, 2, 2);
    expectTrace(scenario, opening(scenario, "mum,homesoon") + openAndClose +
                              Lines{utf8Dump("mum"), utf8Dump("home"), utf8Dump("soon")} + openAndClose +
                              Lines{verdictLine(0, combined({one, two, one}), 1), leave});
}

TEST_P(RatingTrace, of_an_unsure_verdict_with_a_digit_run)
{
    const Scenario scenario{"call mail text 138-1234-5678", "13900000001", VELQ_RATING_SPAM};
    expectTrace(scenario, opening(scenario, "callmailtext13812345678") + openAndClose +
                              Lines{utf8Dump("call"), utf8Dump("mail"), utf8Dump("text")} + openAndClose +
                              Lines{verdictLine(0, 0.52, 2),
                                    debug("-------> UNSURE,  But, Has Tel number, set to SPAM <--------")} +
                              trainedListedTokens + Lines{leave});
}

TEST_P(RatingTrace, of_an_unsure_verdict_on_a_short_body)
{
    const Scenario scenario{"call mail text", "13900000001", VELQ_RATING_HAM};
    expectTrace(scenario, opening(scenario, "callmailtext") + openAndClose +
                              Lines{utf8Dump("call"), utf8Dump("mail"), utf8Dump("text")} + openAndClose +
                              Lines{verdictLine(0, 0.52, 2),
                                    debug("-------> UNSURE,  But,  len<=20, set to HAM <--------"), leave});
}

TEST_P(RatingTrace, of_an_unsure_verdict_on_a_long_body)
{
    const Scenario scenario{"call mail text and nothing more"};
    expectTrace(scenario, opening(scenario, "callmailtextandnothingmore") + openAndClose +
                              Lines{utf8Dump("call"), utf8Dump("mail"), utf8Dump("text")} + openAndClose +
                              Lines{verdictLine(0, 0.52, 2), leave});
}

TEST_P(RatingTrace, dumps_the_first_39_characters_of_a_long_number)
{
    const Scenario scenario{"ok", "123456789012345678901234567890123456789012345", VELQ_RATING_HAM};
    expectTrace(scenario,
                {enter, debug("---> number:123456789012345678901234567890123456789"), utf8Dump("ok"), utf8Dump("ok"),
                 debug("HAM: msg body length <=5"), debug("**********OK: Leave  checkSpamMsg()!********")});
}

TEST_P(RatingTrace, cuts_a_long_body_dump_at_a_character_boundary_below_300_bytes)
{
    std::string body = "x1";
    for (int i = 0; i < 100; ++i) {
        body += "\xE4\xBD\xA0"; // three bytes each
    }
    const Scenario scenario{body};
    const std::string cut = body.substr(0, 2 + 99 * 3);
    std::string filteredCut;
    for (int i = 0; i < 99; ++i) {
        filteredCut += "\xE4\xBD\xA0";
    }
    expectTrace(scenario, Lines{enter, debug("---> number:13900000001"), utf8Dump(cut), utf8Dump("1" + filteredCut)} +
                              openAndClose + Lines{leave});
}

// ---- Failures

void drop(Installation &installation, const std::string &file, const std::string &table)
{
    installation.open(file).exec("DROP TABLE " + table + ";");
}

TEST_P(RatingTrace, of_failed_lookups)
{
    const Scenario scenario{"ok", "13900000001", VELQ_RATING_HAM, [](Installation &) {},
                            [](Installation &installation) {
                                drop(installation, "bn.bin", "blackList");
                                drop(installation, "wn.bin", "whiteList");
                            }};
    const Lines failedLookup = {error("VELQ_DB_Interface\tError: VELQ_DSH_Prepare"),
                                error("VELQ_DB_Interface\t**********Error:Leave db_SearchNumberList()!********")};
    expectTrace(scenario,
                Lines{enter, debug("---> number:13900000001"), utf8Dump("ok")} + failedLookup +
                    Lines{error("Error: db_SearchBlackNumberList ")} + failedLookup +
                    Lines{error("VELQ_Rating_Manager\tError: db_SearchWhiteNumberList "), utf8Dump("ok"),
                          debug("HAM: msg body length <=5"), debug("**********OK: Leave  checkSpamMsg()!********")});
}

// Without kept connections the files are opened for each lookup.
TEST_P(RatingTrace, of_lookups_in_missing_files)
{
    if (GetParam() == StartVariant::norix && !openFilesCanBeRemoved()) {
        GTEST_SKIP() << "a file that is kept open cannot go missing here";
    }
    const Scenario scenario{"ok", "13900000001", VELQ_RATING_HAM, [](Installation &) {},
                            [](Installation &installation) {
                                std::filesystem::remove(installation.dataFile("bn.bin"));
                                std::filesystem::remove(installation.dataFile("wn.bin"));
                            }};
    const bool opens = GetParam() == StartVariant::plain;
    const Lines failedLookup = {error("VELQ_DB_Interface\tError:  Can not open db"),
                                error("VELQ_DB_Interface\t**********Error: db_SearchNumberList()!********")};
    const Lines failedBlack = failedLookup + Lines{error("Error: db_SearchBlackNumberList ")};
    const Lines failedWhite = failedLookup + Lines{error("VELQ_Rating_Manager\tError: db_SearchWhiteNumberList ")};
    expectTrace(scenario, Lines{enter, debug("---> number:13900000001"), utf8Dump("ok")} +
                              (opens ? failedBlack + failedWhite : Lines{}) +
                              Lines{utf8Dump("ok"), debug("HAM: msg body length <=5"),
                                    debug("**********OK: Leave  checkSpamMsg()!********")});
}

// What a failed opening of the token store leaves, up to the word list's end.
Lines failedOpen(const Installation &installation)
{
    const std::string path = utf8(installation.programDir()) + "\\data\\prob.bin";
    const std::string reason = ": unable to open database file";
    return {debug("VELQ_BFilter_DataStore\tOpen DB!"),
            error("VELQ_BFilter_Datastore_Sqlite\tCan't open database " + path + reason),
            error("VELQ_BFilter_Datastore_Sqlite\tError on database " + path + reason),
            error("VELQ_BFilter_WordList\tError: ds_open!"), debug("VELQ_BFilter_WordList\tOK: close_wordlist()")};
}

const Lines failedSegmentation = {error("VELQ_Word_Seg\tError: open_wordlist"),
                                  error("VELQ_Word_Seg\t**********Error:Leave VELQ_Word_Seg  wordSeg()!********")};

const Lines failedRegister = {error("VELQ_DB_Interface\tError: Word Segmentation Error!"),
                              error("VELQ_DB_Interface\t**********Error:Leave registerMsg()!********")};

// A kept connection is not opened again; how it fails is pinned with the internal functions.
class RatingTraceWithoutKeptConnections : public RatingTrace {};

INSTANTIATE_TEST_SUITE_P(PlainVariant, RatingTraceWithoutKeptConnections, testing::Values(StartVariant::plain),
                         testing::PrintToStringParamName());

void removeTokenStore(Installation &installation)
{
    std::filesystem::remove(installation.dataFile("prob.bin"));
}

TEST_P(RatingTraceWithoutKeptConnections, of_a_failed_segmentation)
{
    const Scenario scenario{"call mail text 138-1234-5678", "13900000001", VELQ_RATING_UNSURE, [](Installation &) {},
                            removeTokenStore};
    expectTrace(scenario, [&scenario](const Installation &installation) {
        return opening(scenario, "callmailtext13812345678") + failedOpen(installation) + failedSegmentation;
    });
}

TEST_P(RatingTraceWithoutKeptConnections, of_a_black_list_hit_whose_training_fails)
{
    const Scenario scenario{"mum", "555", VELQ_RATING_SPAM,
                            [](Installation &installation) { installation.addNumber(NumberList::black, "555"); },
                            removeTokenStore};
    expectTrace(scenario, [](const Installation &installation) {
        return Lines{enter, debug("---> number:555"), utf8Dump("mum"),
                     debug("SPAM: number in Black-List, is a Spam Msg")} +
               failedOpen(installation) + failedSegmentation + failedRegister +
               Lines{debug("VELQ_Rating_Manager\t== Auto add the spam msg to DB ==="),
                     debug("**********OK: Leave   checkSpamMsg()!********")};
    });
}

TEST_P(RatingTraceWithoutKeptConnections, of_a_white_list_hit_whose_training_fails)
{
    const Scenario scenario{"mum", "555", VELQ_RATING_HAM,
                            [](Installation &installation) { installation.addNumber(NumberList::white, "555"); },
                            removeTokenStore};
    expectTrace(scenario, [](const Installation &installation) {
        return Lines{enter, debug("---> number:555"), utf8Dump("mum")} + failedOpen(installation) + failedSegmentation +
               failedRegister +
               Lines{debug(" ********** registerMsg(), result=-2 ********"),
                     debug("HAM: number in While-List, is a Good Msg"),
                     debug(" **********OK: Leave  checkSpamMsg()!********")};
    });
}

// The whole log with source positions ("src/VELQ_Word_Seg.cpp:12" and a tab) cut to the module's name and the tab.
// Unlike normalised lines it shows what follows a message that has no line end.
std::string normalisedText(const std::filesystem::path &log)
{
    std::string text;
    for (const std::string &line : logLines(log)) {
        text += line + "\n";
    }
    const std::string extension = ".cpp:";
    for (std::size_t at = text.find(extension); at != std::string::npos; at = text.find(extension, at)) {
        const std::size_t tab = text.find('\t', at);
        const std::size_t folder = text.rfind("src", at);
        const std::size_t name = text.find_last_of("/\\", at) + 1;
        text = text.substr(0, folder) + text.substr(name, at - name) + text.substr(tab);
        at = folder;
    }
    return text;
}

// Every read fails to prepare, and preparing is tried again at each: once for the message counts and for the 15
// candidates of two to four units in "1234567". The second message of a failure begins with a line end and has none.
TEST_P(RatingTrace, of_a_token_store_without_its_table)
{
    const std::string failedRead =
        "VELQ_BFilter_Datastore_Sqlite\tError: velq3_prepare SELECT value FROM velqTable WHERE key=? LIMIT 1;: "
        "no such table: velqTable\n"
        "VELQ_BFilter_Datastore_Sqlite\t\n Error: dbh->select is NULL";
    std::string failedCandidates;
    for (int i = 0; i < 15; ++i) {
        failedCandidates += failedRead;
    }
    for (const bool withDebug : {true, false}) {
        Installation installation;
        if (withDebug) {
            installation.enableDebug();
        }
        const EngineSession session(installation, GetParam());
        ASSERT_EQ(session.result(), 0);
        const std::filesystem::path log = installation.logFile(logFileNameOf(GetParam()));
        const std::string before = normalisedText(log);
        drop(installation, "prob.bin", "velqTable");
        std::uint32_t rating = 77;
        EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, wide("1234567").c_str(), wide("555").c_str()), 0);
        EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_UNSURE));
        const std::string expected =
            withDebug ? "********** Enter  checkSpamMsg() ********\n---> number:555\n===> UTF8-String:1234567\n"
                        "===> UTF8-String:1234567\nVELQ_BFilter_DataStore\tOpen DB!\n" +
                            failedRead + "VELQ_BFilter_WordList\tOK: open_wordlist()\n" + failedCandidates +
                            "VELQ_BFilter_DataStore\tClose DB!\nVELQ_BFilter_WordList\tOK: close_wordlist()\n"
                            "**********OK: Leave checkSpamMsg()!********\n"
                      : failedRead + failedCandidates + "\n";
        EXPECT_EQ(normalisedText(log).substr(before.size()), expected);
    }
}

TEST_P(RatingTrace, of_a_classifier_spam_whose_training_fails)
{
    const Scenario scenario{"free cash win", "13900000001", VELQ_RATING_SPAM, [](Installation &installation) {
                                installation.open("prob.bin")
                                    .exec("CREATE TRIGGER refuse BEFORE UPDATE ON velqTable "
                                          "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
                            }};
    const double one = tokenProbability(1, 0, 2, 2);
    const double two = tokenProbability(2, 0, 2, 2);
    expectTrace(scenario, [&](const Installation &installation) {
        const std::string path = utf8(installation.programDir()) + "\\data\\prob.bin";
        return opening(scenario, "freecashwin") + openAndClose +
               Lines{utf8Dump("free"), utf8Dump("cash"), utf8Dump("win")} + openAndClose +
               Lines{verdictLine(0, combined({two, one, one}), 0),
                     debug("VELQ_BFilter_DataStore\tOpen DB!"),
                     debug("VELQ_BFilter_WordList\tOK: open_wordlist()"),
                     debug("VELQ_BFilter_Datastore_Sqlite\tdb_update_dbvalue: error executing statement on " + path +
                           ": refused (19)"),
                     error("VELQ_BFilter_Register\tcannot write to data base."),
                     error("VELQ_BFilter_Interface\tError: register_words"),
                     debug("VELQ_BFilter_DataStore\tClose DB!"),
                     debug("VELQ_BFilter_WordList\tOK: close_wordlist()"),
                     debug("****** registerMsg(), result=-2 ******"),
                     leave};
    });
}

TEST_P(RatingTrace, of_a_locked_white_list_shows_five_retries)
{
    Installation installation;
    installation.enableDebug();
    const EngineSession session(installation, GetParam());
    ASSERT_EQ(session.result(), 0);
    const std::filesystem::path log = installation.logFile(logFileNameOf(GetParam()));
    const auto before = static_cast<std::ptrdiff_t>(logLines(log).size());
    {
        const HeldLock lock(installation.dataFile("wn.bin"));
        std::uint32_t rating = 77;
        EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, wide("ok").c_str(), wide("555").c_str()), 0);
        EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_HAM));
    }
    std::vector<std::string> lines = normalisedLog(log);
    lines.erase(lines.begin(), lines.begin() + before);
    std::vector<std::string> wanted = {enter.text, "---> number:555", "===> UTF8-String:ok"};
    const std::vector<std::string> waiting = linesOfWaitingInVain();
    wanted.insert(wanted.end(), waiting.begin(), waiting.end());
    // The table's description has to be read first, so preparing fails already.
    for (const char *text : {"VELQ_DB_Interface\tError: VELQ_DSH_Prepare",
                             "VELQ_DB_Interface\t**********Error:Leave db_SearchNumberList()!********",
                             "VELQ_Rating_Manager\tError: db_SearchWhiteNumberList ", "===> UTF8-String:ok",
                             "HAM: msg body length <=5", "**********OK: Leave  checkSpamMsg()!********"}) {
        wanted.emplace_back(text);
    }
    EXPECT_EQ(lines, wanted);
}

} // namespace
} // namespace velq::test
