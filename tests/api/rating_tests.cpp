// The rating of messages as a host sees it: verdicts, and what the token store holds afterwards. The log that a rating
// leaves is pinned in rating_trace_tests.cpp.
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/log_reader.h"
#include "support/wide.h"
#include "velq.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace velq::test {
namespace {

constexpr std::uint32_t noRating = 77;

std::uint32_t rate(const WideText &body, const WideText &number)
{
    std::uint32_t rating = noRating;
    EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, body.c_str(), number.c_str()), 0);
    return rating;
}

std::uint32_t rate(const std::string &body, const std::string &number = "13900000001")
{
    return rate(wide(body), wide(number));
}

// Ten messages of each side; three tokens of each leaning and three that say nothing.
void fillStore(Installation &installation)
{
    installation.setMessageCounts(10, 10, 77);
    installation.addTokens({{wide("cash"), {10, 0, 5}},
                            {wide("free"), {9, 0, 6}},
                            {wide("win"), {8, 0, 7}},
                            {wide("mum"), {0, 10, 8}},
                            {wide("home"), {0, 9, 9}},
                            {wide("soon"), {0, 8, 10}},
                            {wide("call"), {5, 5, 11}},
                            {wide("mail"), {6, 6, 12}},
                            {wide("text"), {7, 7, 13}}});
}

const std::string spamBody = "cash free win today";
const std::string hamBody = "mum home soon today";
const std::string unsureBody = "call mail text"; // 12 characters once filtered
const std::string longUnsureBody = "call mail text and nothing more";

class Rating : public testing::TestWithParam<StartVariant> {
  protected:
    Rating()
    {
        fillStore(installation);
    }

    // Everything that a rating can change.
    std::vector<std::string> contents() const
    {
        std::vector<std::string> all;
        for (const char *name : {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
            const std::vector<std::string> part = installation.open(name).dump();
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    void start()
    {
        session.emplace(installation, GetParam());
        ASSERT_EQ(session->result(), 0);
    }

    Installation installation;
    std::optional<EngineSession> session;
};

INSTANTIATE_TEST_SUITE_P(BothVariants, Rating, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

// ---- Lists and the operator rule

TEST_P(Rating, black_listed_sender_is_spam_and_trains_the_body_as_spam)
{
    installation.addNumber(NumberList::black, "13812345678");
    start();
    EXPECT_EQ(rate(hamBody, "13812345678"), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.token(wide("mum")), (TokenCounts{1, 10, 8}));
    EXPECT_EQ(installation.token(wide("home")), (TokenCounts{1, 9, 9}));
    EXPECT_EQ(installation.token(wide("soon")), (TokenCounts{1, 8, 10}));
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{10, 0, 5}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{11, 10, 77}));
}

TEST_P(Rating, black_listed_sender_matches_by_its_last_eleven_characters)
{
    installation.addNumber(NumberList::black, "13812345678");
    start();
    EXPECT_EQ(rate(hamBody, "+8613812345678"), VELQ_RATING_SPAM);
    EXPECT_EQ(rate(hamBody, "008613812345678"), VELQ_RATING_SPAM);
    EXPECT_EQ(rate(hamBody, "3812345678"), VELQ_RATING_HAM);
}

TEST_P(Rating, black_listed_sender_of_a_body_without_tokens_still_moves_the_message_count)
{
    installation.addNumber(NumberList::black, "13812345678");
    start();
    EXPECT_EQ(rate("", "13812345678"), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{11, 10, 77}));
}

TEST_P(Rating, white_listed_sender_is_ham_and_trains_the_body_as_ham)
{
    installation.addNumber(NumberList::white, "13812345678");
    start();
    EXPECT_EQ(rate(spamBody, "13812345678"), VELQ_RATING_HAM);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{10, 1, 5}));
    EXPECT_EQ(installation.token(wide("free")), (TokenCounts{9, 1, 6}));
    EXPECT_EQ(installation.token(wide("win")), (TokenCounts{8, 1, 7}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{10, 11, 77}));
}

TEST_P(Rating, black_list_is_asked_before_the_white_list)
{
    installation.addNumber(NumberList::black, "13812345678");
    installation.addNumber(NumberList::white, "13812345678");
    start();
    EXPECT_EQ(rate(hamBody, "13812345678"), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{11, 10, 77}));
}

TEST_P(Rating, hidden_entries_count_like_any_other)
{
    installation.addNumber(NumberList::white, "13812345678", 1);
    start();
    EXPECT_EQ(rate(spamBody, "13812345678"), VELQ_RATING_HAM);
}

TEST_P(Rating, operator_rule_looks_at_the_first_five_characters_as_sent)
{
    start();
    const struct {
        const char *number;
        bool isOperator;
    } senders[] = {{"10086", true},   {"10086123", true}, {"1008612345678901", true},
                   {"1008", false},   {"10085", false},   {"10087123", false},
                   {"68001", false},  {"+10086", false},  {"010086", false},
                   {"110086", false}, {"", false},        {"1 0086", false}};
    const std::vector<std::string> before = contents();
    for (const auto &sender : senders) {
        EXPECT_EQ(rate(longUnsureBody, sender.number), sender.isOperator ? VELQ_RATING_HAM : VELQ_RATING_UNSURE)
            << '"' << sender.number << '"';
    }
    EXPECT_EQ(contents(), before);
}

TEST_P(Rating, operator_number_is_ham_whatever_the_text_and_trains_nothing)
{
    start();
    const std::vector<std::string> before = contents();
    EXPECT_EQ(rate(spamBody, "10086123"), VELQ_RATING_HAM);
    EXPECT_EQ(contents(), before);
}

TEST_P(Rating, operator_number_asks_neither_white_list_nor_classifier)
{
    installation.enableDebug();
    installation.addNumber(NumberList::white, "10086123");
    start();
    installation.open("wn.bin").exec("DROP TABLE whiteList;");
    installation.open("prob.bin").exec("DROP TABLE velqTable;");
    EXPECT_EQ(rate(spamBody, "10086123"), VELQ_RATING_HAM);
    const std::vector<std::string> log = normalisedLog(installation.logFile(logFileNameOf(GetParam())));
    EXPECT_EQ(countLinesWith(log, "Error"), 0U);
    EXPECT_EQ(countLinesWith(log, "Open DB!"), 0U);
    EXPECT_EQ(log.back(), "**********OK: 10086* numbers ********");
}

TEST_P(Rating, black_listed_operator_number_is_spam)
{
    installation.addNumber(NumberList::black, "10086");
    start();
    EXPECT_EQ(rate(hamBody, "10086"), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{11, 10, 77}));
}

// The low byte of each unit is kept: U+0131 U+0130 U+0130 U+0138 U+0136 narrows to 10086.
TEST_P(Rating, sender_is_narrowed_to_low_bytes)
{
    start();
    const WideText number = {0x0131, 0x0130, 0x0130, 0x0138, 0x0136};
    EXPECT_EQ(rate(wide(spamBody), number), VELQ_RATING_HAM);
}

TEST_P(Rating, only_the_first_39_characters_of_a_sender_count)
{
    const std::string first39 = "123456789012345678901234567890123456789";
    installation.addNumber(NumberList::white, first39);
    start();
    EXPECT_EQ(rate(longUnsureBody, first39 + "555555"), VELQ_RATING_HAM);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{10, 11, 77}));
    EXPECT_EQ(rate(longUnsureBody, first39.substr(0, 38) + "555555"), VELQ_RATING_UNSURE);
}

// A delivered white number is a UTF-16 blob, whose text is its first character.
TEST_P(Rating, delivered_white_numbers_never_make_a_sender_white_listed)
{
    installation.addNumberRow(NumberList::white, Value::ofInteger(1),
                              Value::ofBlob(utf16BytesWithTerminator(wide("13812345678"))),
                              Value::ofBlob(utf16BytesWithTerminator({})), Value::ofNull());
    start();
    EXPECT_EQ(rate(longUnsureBody, "13812345678"), VELQ_RATING_UNSURE);
}

// ---- Length of the body

TEST_P(Rating, six_filtered_characters_are_ham_and_seven_are_judged)
{
    start();
    const struct {
        const char *body;
        std::uint32_t rating;
    } bodies[] = {
        {"", VELQ_RATING_HAM},
        {"123456", VELQ_RATING_HAM},
        {"1234567", VELQ_RATING_UNSURE},
        {"1 2 3 4 5 6", VELQ_RATING_HAM},
        {"1-2-3-4-5-6-7", VELQ_RATING_UNSURE},
        {"hi!!! ok", VELQ_RATING_HAM},
        {"Hi!!! ok", VELQ_RATING_HAM},
        {"!!!!!!!!!!!!", VELQ_RATING_HAM},
        {"a b c d e f g h i j", VELQ_RATING_HAM},
        {"\xE4\xBD\xA0\xE5\xA5\xBD\xE5\x90\x97\xE6\x88\x91\xE5\xBE\x88\xE5\xA5\xBD", VELQ_RATING_HAM},
        {"\xE4\xBD\xA0\xE5\xA5\xBD\xE5\x90\x97\xE6\x88\x91\xE5\xBE\x88\xE5\xA5\xBD\xE5\x91\xA2", VELQ_RATING_UNSURE}};
    const std::vector<std::string> before = contents();
    for (const auto &body : bodies) {
        EXPECT_EQ(rate(body.body), body.rating) << '"' << body.body << '"';
    }
    EXPECT_EQ(contents(), before);
}

TEST_P(Rating, null_body_and_null_number_read_as_empty_text)
{
    start();
    std::uint32_t rating = noRating;
    EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, nullptr, nullptr), 0);
    EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_HAM));
    rating = noRating;
    EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, wide(longUnsureBody).c_str(), nullptr), 0);
    EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_UNSURE));
    rating = noRating;
    EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, nullptr, wide("10086").c_str()), 0);
    EXPECT_EQ(rating, static_cast<std::uint32_t>(VELQ_RATING_HAM));
}

TEST_P(Rating, null_rating_is_refused_and_changes_nothing)
{
    installation.addNumber(NumberList::black, "13812345678");
    start();
    const std::vector<std::string> before = contents();
    EXPECT_EQ(VELQ_CheckSpamMsgSync(nullptr, wide(spamBody).c_str(), wide("13812345678").c_str()), VELQ_ERR_FAILED);
    EXPECT_EQ(contents(), before);
}

// ---- Classifier

TEST_P(Rating, spam_verdict_is_trained_as_spam)
{
    start();
    EXPECT_EQ(rate(spamBody), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{11, 0, 5}));
    EXPECT_EQ(installation.token(wide("free")), (TokenCounts{10, 0, 6}));
    EXPECT_EQ(installation.token(wide("win")), (TokenCounts{9, 0, 7}));
    EXPECT_EQ(installation.token(wide("mum")), (TokenCounts{0, 10, 8}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{11, 10, 77}));
}

TEST_P(Rating, ham_verdict_is_not_trained)
{
    start();
    const std::vector<std::string> before = contents();
    EXPECT_EQ(rate(hamBody), VELQ_RATING_HAM);
    EXPECT_EQ(contents(), before);
}

TEST_P(Rating, repeated_token_is_trained_once)
{
    start();
    EXPECT_EQ(rate("cash cash free win cash"), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.token(wide("cash")), (TokenCounts{11, 0, 5}));
}

TEST_P(Rating, upper_case_words_without_lower_case_neighbours_are_no_tokens)
{
    start();
    EXPECT_EQ(rate("CASH FREE WIN 1234567890"), VELQ_RATING_UNSURE);
}

TEST_P(Rating, two_tokens_are_not_enough_for_the_classifier)
{
    start();
    const std::vector<std::string> before = contents();
    EXPECT_EQ(rate("cash win"), VELQ_RATING_UNSURE); // seven characters
    EXPECT_EQ(rate("cash win 1234567"), VELQ_RATING_UNSURE);
    EXPECT_EQ(contents(), before);
}

TEST_P(Rating, unsure_bodies_of_up_to_20_characters_are_ham_and_not_trained)
{
    start();
    const std::vector<std::string> before = contents();
    EXPECT_EQ(rate(unsureBody), VELQ_RATING_HAM);
    EXPECT_EQ(rate("call mail text 123"), VELQ_RATING_HAM);      // 15
    EXPECT_EQ(rate("call mail text abcdefgh"), VELQ_RATING_HAM); // 20
    EXPECT_EQ(rate("call mail text abcdefghi"), VELQ_RATING_UNSURE);
    EXPECT_EQ(contents(), before);
}

TEST_P(Rating, unsure_body_with_a_run_of_seven_digits_is_spam_and_trained)
{
    start();
    EXPECT_EQ(rate("call mail text 138-1234-5678"), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.token(wide("call")), (TokenCounts{6, 5, 11}));
    EXPECT_EQ(installation.token(wide("mail")), (TokenCounts{7, 6, 12}));
    EXPECT_EQ(installation.token(wide("text")), (TokenCounts{8, 7, 13}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{11, 10, 77}));
}

TEST_P(Rating, digit_run_outweighs_the_short_body_rule)
{
    start();
    EXPECT_EQ(rate("call mail text 1234567"), VELQ_RATING_SPAM); // 19 characters
    EXPECT_EQ(rate("call mail text 123456"), VELQ_RATING_HAM);
}

TEST_P(Rating, full_width_digits_are_no_telephone_number)
{
    start();
    WideText body = wide("call mail text and some ");
    for (int i = 0; i < 11; ++i) {
        body += static_cast<VELQ_WideChar>(0xFF11);
    }
    EXPECT_EQ(rate(body, wide("13900000001")), VELQ_RATING_UNSURE);
}

TEST_P(Rating, ham_verdict_stays_ham_with_a_digit_run)
{
    start();
    EXPECT_EQ(rate(hamBody + " 13812345678"), VELQ_RATING_HAM);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{10, 10, 77}));
}

TEST_P(Rating, only_29_tokens_of_a_body_are_trained)
{
    WideText body;
    for (int i = 0; i < 40; ++i) {
        const WideText token = {static_cast<VELQ_WideChar>(0x4E00 + i), static_cast<VELQ_WideChar>(0x5E00 + i)};
        installation.addToken(token, 10, 0, 3);
        body += token;
    }
    start();
    EXPECT_EQ(rate(body, wide("13900000001")), VELQ_RATING_SPAM);
    for (int i = 0; i < 40; ++i) {
        const WideText token = {static_cast<VELQ_WideChar>(0x4E00 + i), static_cast<VELQ_WideChar>(0x5E00 + i)};
        EXPECT_EQ(installation.token(token), (TokenCounts{i < 29 ? 11U : 10U, 0, 3})) << i;
    }
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{11, 10, 77}));
}

TEST_P(Rating, short_stored_values_count_their_missing_words_as_zero_and_are_rewritten_whole)
{
    const auto key = [](const char *text) { return Value::ofBlob(utf16Bytes(wide(text))); };
    installation.addTokenRow(key("cash"), Value::ofBlob(bytes({10, 0, 0, 0})));
    installation.addTokenRow(key("free"), Value::ofBlob(bytes({9, 0, 0, 0, 0, 0, 0, 0})));
    installation.addTokenRow(key("win"), Value::ofBlob(bytes({8, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 1, 2, 3})));
    start();
    EXPECT_EQ(rate(spamBody), VELQ_RATING_SPAM);
    const auto stored = [&](const char *text) { return installation.tokenValue(utf16Bytes(wide(text))); };
    EXPECT_EQ(stored("cash"), Value::ofBlob(bytes({11, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})));
    EXPECT_EQ(stored("free"), Value::ofBlob(bytes({10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})));
    EXPECT_EQ(stored("win"), Value::ofBlob(bytes({9, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0})));
}

TEST_P(Rating, keys_stored_as_text_are_no_tokens)
{
    installation.open("prob.bin").exec("DELETE FROM velqTable;");
    installation.setMessageCounts(10, 10);
    for (const char *token : {"cash", "free", "win"}) {
        installation.addTokenRow(Value::ofText(utf16Bytes(wide(token))), Value::ofBlob(tokenValueBytes({10, 0, 0})));
    }
    start();
    EXPECT_EQ(rate(spamBody + " and more words"), VELQ_RATING_UNSURE);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{10, 10, 0}));
}

TEST_P(Rating, without_message_counts_no_token_has_a_probability)
{
    installation.open("prob.bin")
        .query("DELETE FROM velqTable WHERE key = ?;", {Value::ofBlob(utf16Bytes(wide(".MSG_CNT")))});
    start();
    EXPECT_EQ(rate("cash free win today and more"), VELQ_RATING_UNSURE);
    EXPECT_EQ(rate("mum home soon today and more"), VELQ_RATING_UNSURE);
    EXPECT_EQ(installation.messageCounts(), std::nullopt);
}

// Tokens seen in ham only have no probability without spam messages; tokens seen in spam then have 1.
TEST_P(Rating, without_spam_messages_ham_tokens_are_skipped_and_spam_tokens_count)
{
    installation.setMessageCounts(0, 10);
    start();
    EXPECT_EQ(rate("mum home soon and nothing else"), VELQ_RATING_UNSURE);
    EXPECT_EQ(rate("mum home soon cash free win"), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{1, 10, 0}));
}

TEST_P(Rating, training_changes_the_next_verdict)
{
    installation.setMessageCounts(10, 10);
    installation.addTokens({{wide("tea"), {0, 0, 0}}, {wide("cup"), {0, 0, 0}}, {wide("pot"), {0, 0, 0}}});
    installation.addNumber(NumberList::black, "555");
    start();
    const std::string body = "tea cup pot and something else";
    EXPECT_EQ(rate(body), VELQ_RATING_UNSURE);
    EXPECT_EQ(rate(body, "555"), VELQ_RATING_SPAM);
    EXPECT_EQ(rate(body), VELQ_RATING_SPAM);
    EXPECT_EQ(installation.token(wide("tea")), (TokenCounts{2, 0, 0}));
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{12, 10, 0}));
}

// ---- Stores out of order

TEST_P(Rating, failed_black_list_lookup_counts_as_not_listed)
{
    installation.addNumber(NumberList::black, "13812345678");
    installation.addNumber(NumberList::white, "13812345678");
    start();
    installation.open("bn.bin").exec("DROP TABLE blackList;");
    EXPECT_EQ(rate(spamBody, "13812345678"), VELQ_RATING_HAM);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{10, 11, 77}));
}

TEST_P(Rating, failed_white_list_lookup_counts_as_not_listed)
{
    installation.addNumber(NumberList::white, "13812345678");
    start();
    installation.open("wn.bin").exec("DROP TABLE whiteList;");
    EXPECT_EQ(rate(spamBody, "13812345678"), VELQ_RATING_SPAM);
}

TEST_P(Rating, missing_token_table_leaves_the_message_unsure)
{
    start();
    installation.open("prob.bin").exec("DROP TABLE velqTable;");
    EXPECT_EQ(rate(spamBody + " 13812345678"), VELQ_RATING_UNSURE);
    EXPECT_EQ(rate("short"), VELQ_RATING_HAM);
}

TEST(PlainRating, missing_token_store_leaves_the_message_unsure_even_with_a_digit_run)
{
    Installation installation;
    fillStore(installation);
    const EngineSession session(installation);
    ASSERT_EQ(session.result(), 0);
    std::filesystem::remove(installation.dataFile("prob.bin"));
    EXPECT_EQ(rate("call mail text 138-1234-5678"), VELQ_RATING_UNSURE);
    EXPECT_FALSE(std::filesystem::exists(installation.dataFile("prob.bin")));
}

TEST_P(Rating, failed_training_does_not_change_the_verdict)
{
    installation.addNumber(NumberList::white, "555");
    installation.open("prob.bin")
        .exec("CREATE TRIGGER refuse BEFORE UPDATE ON velqTable "
              "BEGIN SELECT RAISE(ABORT, 'no'); END;");
    start();
    const std::vector<std::string> before = contents();
    EXPECT_EQ(rate(spamBody), VELQ_RATING_SPAM);
    EXPECT_EQ(rate(spamBody, "555"), VELQ_RATING_HAM);
    EXPECT_EQ(rate("call mail text 138-1234-5678"), VELQ_RATING_SPAM);
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(installation.open("prob.bin").integrityCheck(), "ok");
}

TEST_P(Rating, nothing_is_rated_before_a_start_and_after_a_stop)
{
    std::uint32_t rating = noRating;
    EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, wide(spamBody).c_str(), wide("1").c_str()), VELQ_NOT_INITIALIZED);
    start();
    EXPECT_EQ(session->stop(), 0);
    EXPECT_EQ(VELQ_CheckSpamMsgSync(&rating, wide(spamBody).c_str(), wide("1").c_str()), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(rating, noRating);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{10, 10, 77}));
}

// ---- The prior. It is read once per loaded engine, so each of these runs in a process of its own.

// The spamicity of each check in the log, as printed.
std::vector<std::string> loggedSpamicities(const Installation &installation)
{
    const std::string mark = "spamicity=";
    std::vector<std::string> found;
    for (const std::string &line : logLines(installation.logFile("engine.log"))) {
        const std::size_t at = line.find(mark);
        if (at != std::string::npos) {
            found.push_back(line.substr(at + mark.size(), line.find(',', at) - at - mark.size()));
        }
    }
    return found;
}

// Rates an unsure body on a store made ready by `prepare`, changes the store, and rates once more. Exits with 0 when
// both checks show `expected`.
[[noreturn]] void exitAfterChecks(const std::function<void(Installation &)> &prepare,
                                  const std::function<void(Installation &)> &change, const std::string &expected,
                                  std::uint32_t expectedRating)
{
    int code = 0;
    {
        Installation installation;
        fillStore(installation);
        installation.enableDebug();
        prepare(installation);
        const EngineSession session(installation);
        for (int round = 0; round < 2; ++round) {
            const std::uint32_t rating = rate(longUnsureBody);
            if (rating != expectedRating) {
                std::fprintf(stderr, "round %d: rating %u\n", round, rating);
                code = 1;
            }
            change(installation);
        }
        for (const std::string &shown : loggedSpamicities(installation)) {
            if (shown != expected) {
                std::fprintf(stderr, "spamicity %s instead of %s\n", shown.c_str(), expected.c_str());
                code = 1;
            }
        }
        if (loggedSpamicities(installation).size() != 2) {
            std::fprintf(stderr, "not two checks\n");
            code = 1;
        }
    }
    std::exit(code);
}

void changeNothing(Installation &) {}

class RatingPrior : public testing::Test {
  protected:
    RatingPrior()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }
};

const auto succeeds = testing::ExitedWithCode(0);

TEST_F(RatingPrior, defaults_to_52_hundredths)
{
    EXPECT_EXIT(exitAfterChecks(changeNothing, changeNothing, "0.520000", VELQ_RATING_UNSURE), succeeds, "");
}

TEST_F(RatingPrior, comes_from_the_six_byte_key_and_is_read_once)
{
    EXPECT_EXIT(exitAfterChecks([](Installation &installation) { installation.setPrior(600000); },
                                [](Installation &installation) { installation.setPrior(700000); }, "0.600000",
                                VELQ_RATING_UNSURE),
                succeeds, "");
}

TEST_F(RatingPrior, a_record_that_comes_after_the_first_check_is_not_read)
{
    EXPECT_EXIT(exitAfterChecks(
                    changeNothing, [](Installation &installation) { installation.setPrior(700000); }, "0.520000",
                    VELQ_RATING_UNSURE),
                succeeds, "");
}

TEST_F(RatingPrior, under_the_utf16_key_is_not_found)
{
    EXPECT_EXIT(exitAfterChecks([](Installation &installation) { installation.addToken(wide(".ROBX"), 600000, 0); },
                                changeNothing, "0.520000", VELQ_RATING_UNSURE),
                succeeds, "");
}

TEST_F(RatingPrior, of_zero_is_the_default)
{
    EXPECT_EXIT(exitAfterChecks([](Installation &installation) { installation.setPrior(0); }, changeNothing, "0.520000",
                                VELQ_RATING_UNSURE),
                succeeds, "");
}

TEST_F(RatingPrior, of_four_bytes_is_enough)
{
    EXPECT_EXIT(exitAfterChecks(
                    [](Installation &installation) {
                        installation.addTokenRow(Value::ofBlob(bytes({0x2E, 0x52, 0x4F, 0x42, 0x58, 0x00})),
                                                 Value::ofBlob(bytes({0xC0, 0x27, 0x09, 0x00}))); // 600000
                    },
                    changeNothing, "0.600000", VELQ_RATING_UNSURE),
                succeeds, "");
}

// 4294967295 is above the signed range. Without message counts no token has a probability, so the prior shows.
TEST_F(RatingPrior, is_unsigned_and_not_bounded)
{
    EXPECT_EXIT(exitAfterChecks(
                    [](Installation &installation) {
                        installation.setMessageCounts(0, 0);
                        installation.setPrior(0xFFFFFFFF);
                    },
                    [](Installation &installation) { installation.setMessageCounts(0, 0); }, "4294.967295",
                    VELQ_RATING_SPAM),
                succeeds, "");
}

TEST_F(RatingPrior, decides_alone_where_no_token_counts)
{
    EXPECT_EXIT(exitAfterChecks([](Installation &installation) { installation.setPrior(440000); }, changeNothing,
                                "0.440000", VELQ_RATING_HAM),
                succeeds, "");
}

} // namespace
} // namespace velq::test
