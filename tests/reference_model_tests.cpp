// Checks of the reference model by itself: the edge cases of every rule, worked out by hand. What the model says is
// only worth comparing with the engine when these hold.
#include "reference/classifier.h"
#include "reference/engine_model.h"
#include "reference/stores.h"
#include "reference/text_rules.h"
#include "support/installation.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

namespace velq::reference {
namespace {

using test::probabilityRow;
using test::utf16Bytes;
using test::utf16BytesWithTerminator;
using test::whiteNumberRow;
using test::wide;

WideText repeated(const WideText &part, int times)
{
    WideText out;
    for (int i = 0; i < times; ++i) {
        out += part;
    }
    return out;
}

// A store of tokens with equal lean: spam and ham count each.
void put(Tokens &tokens, const WideText &key, std::uint32_t spam, std::uint32_t ham, std::uint32_t reserved = 0)
{
    tokens[utf16Bytes(key)] = Value::ofBlob(test::tokenValueBytes({spam, ham, reserved}));
}

void putMessages(Tokens &tokens, std::uint32_t spam, std::uint32_t ham, std::uint32_t reserved = 0)
{
    tokens[messageCountKeyBytes] = Value::ofBlob(test::tokenValueBytes({spam, ham, reserved}));
}

void putPrior(Tokens &tokens, std::uint32_t millionths)
{
    tokens[priorKeyBytes] = Value::ofBlob(test::tokenValueBytes({millionths, 0, 0}));
}

TokenCounts countsOf(const Tokens &tokens, const WideText &key)
{
    return readCounts(tokens, utf16Bytes(key));
}

TokenCounts messagesOf(const Tokens &tokens)
{
    return readCounts(tokens, messageCountKeyBytes);
}

std::vector<std::string> tokensOf(const Segmentation &found)
{
    std::vector<std::string> out;
    for (unsigned i = 0; i < found.count; ++i) {
        out.push_back(test::utf8(found.slots.at(i).token()));
    }
    return out;
}

// ---- Text ----

TEST(reference_text, punctuation_is_the_table_and_the_latin_range)
{
    const unsigned table[] = {0x0023, 0x0027, 0x002B, 0x002F, 0x003B, 0x003F, 0x005B, 0x005F, 0x007B, 0x0024, 0x0028,
                              0x0027, 0x003C, 0x0040, 0x005C, 0x007C, 0x0021, 0x0025, 0x0029, 0x002D, 0x003D, 0x005D,
                              0x007D, 0x0022, 0x002A, 0x003A, 0x003E, 0x0020, 0x005E, 0x007E, 0x0060, 0xFF03, 0x25CE,
                              0xFFE5, 0xFF05, 0x203B, 0x00D7, 0xFF0B, 0xFF0D, 0x00F7, 0x00B7, 0xFF5E, 0x300A, 0x300B,
                              0xFF1F, 0xFF0C, 0x3002, 0x3010, 0x3011, 0xFF09, 0xFF08, 0x3001, 0xFF1A, 0x002E, 0x3001,
                              0xFF01, 0xFF1B, 0x2605, 0x2192, 0x000D, 0x000A};
    static_assert(std::size(table) == 61);
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        const bool listed = std::find(std::begin(table), std::end(table), unit) != std::end(table);
        const bool latin = unit > 0x80 && unit < 0xFE;
        EXPECT_EQ(isPunctuation(static_cast<VELQ_WideChar>(unit)), listed || latin) << "unit " << unit;
    }
}

TEST(reference_text, filter_drops_punctuation_and_isolated_letters)
{
    const struct {
        const char *body;
        const char *filtered;
    } cases[] = {
        {"", ""},
        {"a", "a"},
        {"A", ""},
        {"ab", "ab"},
        {"Ab", "a"},
        {"aB", "b"},
        {"AB", ""},
        {"a!b", ""},
        {"hi!!! ok", "hiok"},
        {"Hi!!! ok", "hok"},
        {"abC", "abc"},
        {"aBc", "b"},
        {"ABc", "b"},
        {"a1b", "1"},
        {"1,2&3", "1,2&3"},
        {"caf\u00e9", "caf"},
        {"\u4e2d a \u6587", "\u4e2d\u6587"},
        {"\u4e2da\u6587", "\u4e2d\u6587"},
        {"138-1234 5678", "13812345678"},
        {"\uff11\u3002\uff12", "\uff11\uff12"},
        {"aXb", "x"},
        {"xyZW", "xyz"},
        {"a\r\nbc", "bc"},
        {"\u20ac5", "\u20ac5"},
    };
    for (const auto &entry : cases) {
        EXPECT_EQ(test::utf8(filterMessageBody(wide(entry.body))), entry.filtered) << entry.body;
    }
}

TEST(reference_text, telephone_number_is_seven_ascii_digits_in_a_row)
{
    EXPECT_FALSE(hasTelNumber(wide("")));
    EXPECT_FALSE(hasTelNumber(wide("123456")));
    EXPECT_TRUE(hasTelNumber(wide("1234567")));
    EXPECT_FALSE(hasTelNumber(wide("123456a7")));
    EXPECT_TRUE(hasTelNumber(wide("12a1234567")));
    EXPECT_FALSE(hasTelNumber(wide("\uff11\uff12\uff13\uff14\uff15\uff16\uff17")));
}

TEST(reference_text, number_key_is_narrow_and_reversed)
{
    EXPECT_EQ(numberKey(wide("13912345678")), "87654321931");
    EXPECT_EQ(narrowNumber(wide("+8613912345678")), "+8613912345678");
    EXPECT_EQ(numberKey(wide("")), "");
    const std::string longNumber = "123456789012345678901234567890123456789012345";
    EXPECT_EQ(narrowNumber(wide(longNumber)), longNumber.substr(0, 39));
    EXPECT_EQ(narrowNumber(WideText{0x0131, 0x4E32, 0x0033}), "123");
    EXPECT_EQ(narrowNumber(WideText{0x0031, 0x0100, 0x0033}), "1");
}

TEST(reference_text, displayed_number_undoes_the_reversal_and_extends_the_sign)
{
    EXPECT_EQ(displayedNumber("87654321831"), wide("13812345678"));
    EXPECT_EQ(displayedNumber(std::string("\x80\x7f\xff")), (WideText{0xFFFF, 0x007F, 0xFF80}));
}

TEST(reference_text, numbers_match_by_their_last_eleven_characters)
{
    const struct {
        const char *a;
        const char *b;
        bool match;
    } cases[] = {
        {"13812345678", "+8613812345678", true},
        {"+8613812345678", "008613812345678", true},
        {"13812345678", "13812345678", true},
        {"10086", "10086", true},
        {"10086", "010086", false},
        {"10086", "100860", false},
        {"3812345678", "13812345678", false},
        {"23812345678", "13812345678", false},
        {"+86138", "+86138", true},
        {"ABC", "abc", false},
        {"", "", false},
        {"", "1", false},
        {"1", "", false},
        {"1234567890", "1234567890", true},
    };
    for (const auto &entry : cases) {
        EXPECT_EQ(numbersMatch(numberKey(wide(entry.a)), numberKey(wide(entry.b))), entry.match)
            << entry.a << " and " << entry.b;
    }
}

// ---- Segmentation ----

TEST(reference_segmentation, longest_stored_sequence_wins_and_single_units_never_do)
{
    Tokens tokens;
    put(tokens, wide("ab"), 1, 2);
    put(tokens, wide("abcd"), 3, 4, 5);
    put(tokens, wide("x"), 9, 9);
    put(tokens, wide("abcdx"), 9, 9);
    putMessages(tokens, 7, 8);
    const Segmentation found = segment(wide("abcdx"), tokens);
    ASSERT_EQ(tokensOf(found), std::vector<std::string>{"abcd"});
    EXPECT_EQ(found.slots[0].counts, (TokenCounts{3, 4, 5}));
    EXPECT_EQ(found.slots[0].messages, (TokenCounts{7, 8, 0}));
    EXPECT_EQ(segment(wide(""), tokens).count, 0u);
    EXPECT_EQ(segment(wide("x"), tokens).count, 0u);
    EXPECT_EQ(tokensOf(segment(wide("xabx"), tokens)), std::vector<std::string>{"ab"});
    EXPECT_EQ(tokensOf(segment(wide("aababcab"), tokens)), std::vector<std::string>{"ab"});
}

TEST(reference_segmentation, without_a_message_count_record_the_counts_are_zero)
{
    Tokens tokens;
    put(tokens, wide("ab"), 1, 2);
    EXPECT_EQ(segment(wide("ab"), tokens).slots[0].messages, TokenCounts{});
}

TEST(reference_segmentation, shorter_values_read_their_missing_bytes_as_zero)
{
    Tokens tokens;
    tokens[utf16Bytes(wide("ab"))] = Value::ofBlob(test::bytes({1, 0, 0, 0, 2, 0, 0, 0}));
    tokens[utf16Bytes(wide("cd"))] = Value::ofBlob(test::bytes({3, 0, 0, 0}));
    tokens[utf16Bytes(wide("ef"))] = Value::ofBlob(test::bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 1, 77}));
    EXPECT_EQ(countsOf(tokens, wide("ab")), (TokenCounts{1, 2, 0}));
    EXPECT_EQ(countsOf(tokens, wide("cd")), (TokenCounts{3, 0, 0}));
    EXPECT_EQ(countsOf(tokens, wide("ef")), (TokenCounts{0x04030201, 0x08070605, 0x01000009}));
}

TEST(reference_segmentation, the_thirtieth_slot_is_overwritten_and_never_counted)
{
    Tokens tokens;
    WideText text;
    std::vector<WideText> keys;
    for (int i = 0; i < 40; ++i) {
        keys.push_back(WideText{static_cast<VELQ_WideChar>(0x4E00 + i), static_cast<VELQ_WideChar>(0x5E00 + i)});
        put(tokens, keys.back(), 1, 1);
        text += keys.back();
    }
    const Segmentation found = segment(text, tokens);
    EXPECT_EQ(found.count, 29u);
    EXPECT_EQ(found.slots[28].token(), keys[28]);
    EXPECT_EQ(found.slots[29].token(), keys[39]);
}

TEST(reference_segmentation, the_thirtieth_slot_keeps_the_tail_of_a_longer_text)
{
    Tokens tokens;
    WideText text;
    for (int i = 0; i < 29; ++i) {
        const WideText key{static_cast<VELQ_WideChar>(0x4E00 + i), static_cast<VELQ_WideChar>(0x5E00 + i)};
        put(tokens, key, 1, 1);
        text += key;
    }
    put(tokens, wide("wxyz"), 1, 1);
    put(tokens, wide("ab"), 1, 1);
    put(tokens, wide("cd"), 1, 1);
    // "abyz" is what the slot shows after "ab" went over "wxyz": its first listing is taken for a repetition.
    put(tokens, wide("abyz"), 1, 1);
    const Segmentation short1 = segment(text + wide("wxyzab"), tokens);
    EXPECT_EQ(short1.slots[29].token(), wide("ab"));
    EXPECT_EQ(short1.slots[29].wholeText(), wide("abyz"));
    const Segmentation repeatedTail = segment(text + wide("wxyzab1abyz"), tokens);
    EXPECT_EQ(repeatedTail.slots[29].token(), wide("ab"));
    // And "ab" itself is no repetition any more: it is written again.
    const Segmentation again = segment(text + wide("wxyzab1cd1ab"), tokens);
    EXPECT_EQ(again.slots[29].wholeText(), wide("abyz"));
    EXPECT_EQ(again.slots[29].length, 2u);
}

// ---- Scoring ----

TEST(reference_scoring, chi_square_tail_agrees_with_numerical_integration)
{
    EXPECT_EQ(chiSquareUpperTail(3, 0), 1);
    EXPECT_EQ(chiSquareUpperTail(3, -1), 1);
    EXPECT_NEAR(static_cast<double>(chiSquareUpperTail(1, 2)), std::exp(-2.0), 1e-15);
    EXPECT_NEAR(static_cast<double>(chiSquareUpperTail(2, 3)), std::exp(-3.0) * 4, 1e-15);
    for (const unsigned n : {1u, 2u, 5u, 29u}) {
        for (const double start : {0.5, 3.0, 20.0, 60.0}) {
            // Simpson's rule over the gamma density of order n, from `start` up to where nothing is left.
            const int steps = 200000;
            const long double width = (start + 200.0L - start) / steps;
            long double sum = 0;
            for (int i = 0; i <= steps; ++i) {
                const long double x = start + i * width;
                const long double density =
                    std::exp((n - 1) * std::log(x) - x - std::lgamma(static_cast<long double>(n)));
                sum += density * (i == 0 || i == steps ? 1 : i % 2 == 1 ? 4 : 2);
            }
            const long double integral = sum * width / 3;
            EXPECT_NEAR(static_cast<double>(chiSquareUpperTail(n, start)), static_cast<double>(integral), 1e-11)
                << n << " from " << start;
        }
    }
}

TEST(reference_scoring, token_probability_smooths_towards_the_prior)
{
    EXPECT_EQ(tokenProbability(0, 0, 5, 5, 0.52), 0.52);
    // Seen in spam only: p = 1, pulled towards the prior by its weight.
    EXPECT_DOUBLE_EQ(tokenProbability(0, 10, 5, 5, 0.52), (10 + 0.0178 * 0.52) / 10.0178);
    EXPECT_DOUBLE_EQ(tokenProbability(10, 0, 5, 5, 0.52), 0.0178 * 0.52 / 10.0178);
    EXPECT_DOUBLE_EQ(tokenProbability(2, 6, 10, 20, 0.5), (8 * (60.0 / 100.0) + 0.0178 * 0.5) / 8.0178);
    // Counts whose 32-bit sum is zero count as none.
    EXPECT_EQ(tokenProbability(0xFFFFFFFFu, 1, 5, 5, 0.25), 0.25);
    // No spam message known: nothing can be said of a ham token, everything of a spam token.
    EXPECT_TRUE(std::isnan(tokenProbability(3, 0, 5, 0, 0.52)));
    EXPECT_DOUBLE_EQ(tokenProbability(0, 3, 5, 0, 0.52), (3 + 0.0178 * 0.52) / 3.0178);
}

TEST(reference_scoring, without_a_telling_token_the_prior_decides)
{
    Tokens tokens;
    putMessages(tokens, 10, 10);
    put(tokens, wide("ab"), 0, 0);
    put(tokens, wide("cd"), 5, 5);
    LoadedState loaded;
    const Score score = check(segment(wide("abcd"), tokens), tokens, loaded);
    EXPECT_EQ(score.used, 0u);
    EXPECT_EQ(static_cast<double>(score.spamicity), 0.52);
    EXPECT_EQ(score.verdict, Verdict::unsure);
    EXPECT_FALSE(score.uncertain);
    EXPECT_EQ(check(Segmentation{}, tokens, loaded).verdict, Verdict::unsure);
}

TEST(reference_scoring, cutoffs_belong_to_the_decided_side)
{
    EXPECT_EQ(classify(0.9), Verdict::spam);
    EXPECT_EQ(classify(std::nextafter(0.9, 0.0)), Verdict::unsure);
    EXPECT_EQ(classify(0.45), Verdict::ham);
    EXPECT_EQ(classify(std::nextafter(0.45, 1.0)), Verdict::unsure);
    EXPECT_EQ(classify(std::nan("")), Verdict::unsure);
}

TEST(reference_scoring, the_prior_is_a_product_in_double)
{
    const struct {
        std::uint32_t millionths;
        Verdict verdict;
    } cases[] = {
        {0, Verdict::unsure},      {449999, Verdict::ham},    {450000, Verdict::ham},  {450001, Verdict::unsure},
        {899999, Verdict::unsure}, {900000, Verdict::unsure}, {900001, Verdict::spam},
    };
    // The product of 900000 lies one step below the cut-off.
    static_assert(900000 * 0.000001 < 0.9);
    for (const auto &entry : cases) {
        Tokens tokens;
        putPrior(tokens, entry.millionths);
        LoadedState loaded;
        EXPECT_EQ(check(Segmentation{}, tokens, loaded).verdict, entry.verdict) << entry.millionths;
    }
}

TEST(reference_scoring, the_prior_is_read_once_for_all_installations)
{
    Tokens first;
    putPrior(first, 600000);
    Tokens second;
    putPrior(second, 950000);
    LoadedState loaded;
    EXPECT_EQ(static_cast<double>(check(Segmentation{}, first, loaded).spamicity), 600000 * 0.000001);
    EXPECT_EQ(static_cast<double>(check(Segmentation{}, second, loaded).spamicity), 600000 * 0.000001);
    LoadedState other;
    put(first, wide(".ROBX"), 700000, 0);
    first.erase(priorKeyBytes);
    EXPECT_EQ(static_cast<double>(check(Segmentation{}, first, other).spamicity), 0.52);
}

TEST(reference_scoring, spam_tokens_lead_to_spam_and_ham_tokens_to_ham)
{
    Tokens tokens;
    putMessages(tokens, 100, 100);
    for (const char *key : {"ab", "cd", "ef"}) {
        put(tokens, wide(key), 30, 0);
    }
    for (const char *key : {"gh", "ij", "kl"}) {
        put(tokens, wide(key), 0, 30);
    }
    LoadedState loaded;
    const Score spam = check(segment(wide("abcdef"), tokens), tokens, loaded);
    EXPECT_EQ(spam.used, 3u);
    EXPECT_EQ(spam.verdict, Verdict::spam);
    EXPECT_GT(spam.spamicity, 0.999);
    const Score ham = check(segment(wide("ghijkl"), tokens), tokens, loaded);
    EXPECT_EQ(ham.verdict, Verdict::ham);
    EXPECT_LT(ham.spamicity, 0.001);
    const Score mixed = check(segment(wide("abghcdij"), tokens), tokens, loaded);
    EXPECT_EQ(mixed.used, 4u);
    EXPECT_EQ(mixed.verdict, Verdict::unsure);
    EXPECT_NEAR(static_cast<double>(mixed.spamicity), 0.5, 1e-3);
}

TEST(reference_scoring, with_no_spam_message_ham_tokens_are_skipped)
{
    Tokens tokens;
    putMessages(tokens, 0, 10);
    put(tokens, wide("ab"), 0, 5);
    put(tokens, wide("cd"), 5, 0);
    LoadedState loaded;
    EXPECT_EQ(check(segment(wide("abcd"), tokens), tokens, loaded).used, 1u);
}

TEST(reference_scoring, a_negative_product_leaves_the_verdict_open)
{
    Tokens tokens;
    putMessages(tokens, 10, 10);
    // A count from 2^31 up is a negative number of sightings: "ab" gets a probability above 1, "cd" one below 0.
    put(tokens, wide("ab"), 0x80000000u, 0);
    put(tokens, wide("cd"), 0, 0x80000000u);
    put(tokens, wide("ef"), 0, 0x80000000u);
    LoadedState loaded;
    const Score one = check(segment(wide("ab"), tokens), tokens, loaded);
    EXPECT_EQ(one.used, 1u);
    EXPECT_TRUE(std::isnan(one.spamicity));
    EXPECT_EQ(one.verdict, Verdict::unsure);
    EXPECT_FALSE(one.uncertain);
    const Score two = check(segment(wide("cdef"), tokens), tokens, loaded);
    EXPECT_EQ(two.used, 2u);
    EXPECT_EQ(two.verdict, Verdict::ham);
}

// ---- Training ----

TEST(reference_training, tokens_and_message_counts_move_together)
{
    Tokens tokens;
    put(tokens, wide("ab"), 1, 2, 33);
    put(tokens, wide("zz"), 9, 9);
    putMessages(tokens, 4, 5, 66);
    train(Training::addSpam, segment(wide("abab"), tokens), tokens);
    EXPECT_EQ(countsOf(tokens, wide("ab")), (TokenCounts{2, 2, 33}));
    EXPECT_EQ(messagesOf(tokens), (TokenCounts{5, 5, 66}));
    train(Training::addHam, segment(wide("ab"), tokens), tokens);
    train(Training::removeSpam, segment(wide("ab"), tokens), tokens);
    EXPECT_EQ(countsOf(tokens, wide("ab")), (TokenCounts{1, 3, 33}));
    EXPECT_EQ(messagesOf(tokens), (TokenCounts{4, 6, 66}));
    EXPECT_EQ(countsOf(tokens, wide("zz")), (TokenCounts{9, 9, 0}));
}

TEST(reference_training, removal_stops_at_zero)
{
    Tokens tokens;
    put(tokens, wide("ab"), 0, 1);
    putMessages(tokens, 1, 0);
    const Segmentation found = segment(wide("ab"), tokens);
    train(Training::removeSpam, found, tokens);
    EXPECT_EQ(countsOf(tokens, wide("ab")), (TokenCounts{0, 1, 0}));
    EXPECT_EQ(messagesOf(tokens), (TokenCounts{0, 0, 0}));
    train(Training::removeHam, found, tokens);
    EXPECT_EQ(countsOf(tokens, wide("ab")), (TokenCounts{0, 0, 0}));
    EXPECT_EQ(messagesOf(tokens), (TokenCounts{0, 0, 0}));
}

TEST(reference_training, huge_token_counts_are_negative_when_something_is_removed)
{
    Tokens tokens;
    put(tokens, wide("ab"), 0x80000000u, 0xFFFFFFFFu);
    put(tokens, wide("cd"), 0x7FFFFFFFu, 5);
    putMessages(tokens, 0x80000000u, 0xFFFFFFFFu);
    train(Training::removeSpam, segment(wide("abcd"), tokens), tokens);
    EXPECT_EQ(countsOf(tokens, wide("ab")).spam, 0u);
    EXPECT_EQ(countsOf(tokens, wide("cd")).spam, 0x7FFFFFFEu);
    EXPECT_EQ(messagesOf(tokens).spam, 0x7FFFFFFFu);
    train(Training::addHam, segment(wide("ab"), tokens), tokens);
    EXPECT_EQ(countsOf(tokens, wide("ab")).ham, 0u);
    EXPECT_EQ(messagesOf(tokens).ham, 0u);
}

TEST(reference_training, a_message_without_tokens_still_counts)
{
    Tokens tokens;
    train(Training::addSpam, segment(wide("nothing"), tokens), tokens);
    EXPECT_EQ(messagesOf(tokens), (TokenCounts{1, 0, 0}));
    EXPECT_EQ(tokens.size(), 1u);
}

TEST(reference_training, a_token_that_has_left_the_store_is_not_recreated)
{
    Tokens tokens;
    put(tokens, wide("ab"), 1, 1);
    const Segmentation found = segment(wide("ab"), tokens);
    tokens.clear();
    train(Training::addSpam, found, tokens);
    EXPECT_EQ(tokens.count(utf16Bytes(wide("ab"))), 0u);
}

TEST(reference_training, a_short_value_grows_to_its_full_size)
{
    Tokens tokens;
    tokens[utf16Bytes(wide("ab"))] = Value::ofBlob(test::bytes({3, 0, 0, 0}));
    train(Training::addHam, segment(wide("ab"), tokens), tokens);
    EXPECT_EQ(tokens[utf16Bytes(wide("ab"))].bytes, test::tokenValueBytes({3, 1, 0}));
}

// ---- Rating and feedback ----

class reference_engine : public testing::Test {
  protected:
    LoadedState loaded;
    EngineModel engine{Stores{}, loaded};

    void list(NumberList kind, const char *number, std::int32_t hidden = 0, std::int32_t extendID = 0)
    {
        ASSERT_EQ(engine.addNumber(kind, {wide(number), wide("name")}, hidden, extendID), 0);
    }

    void expectRating(const char *body, const char *number, Verdict rating, RatedBy by)
    {
        const RatedMessage rated = engine.rate(wide(body), wide(number));
        EXPECT_EQ(rated.rating, rating) << body;
        EXPECT_EQ(rated.by, by) << body;
        EXPECT_FALSE(rated.score && rated.score->uncertain) << body;
    }
};

TEST_F(reference_engine, black_list_comes_first_and_trains_spam)
{
    put(engine.stores.tokens, wide("ab"), 0, 0);
    list(NumberList::black, "10086123");
    list(NumberList::black, "13812345678");
    engine.addWhiteNumbers({{wide("13812345678"), wide("both"), 0}}, 0);
    expectRating("ab", "10086123", Verdict::spam, RatedBy::blackList);
    expectRating("ab", "+8613812345678", Verdict::spam, RatedBy::blackList);
    EXPECT_EQ(countsOf(engine.stores.tokens, wide("ab")), (TokenCounts{2, 0, 0}));
    EXPECT_EQ(messagesOf(engine.stores.tokens), (TokenCounts{2, 0, 0}));
}

TEST_F(reference_engine, operator_rule_comes_before_the_white_list)
{
    list(NumberList::white, "10086123");
    expectRating("any message at all", "10086123", Verdict::ham, RatedBy::operatorRule);
    expectRating("any message at all", "10086", Verdict::ham, RatedBy::operatorRule);
    expectRating("any message at all", "1008", Verdict::unsure, RatedBy::tooFewTokens);
    expectRating("any message at all", "+8610086", Verdict::unsure, RatedBy::tooFewTokens);
    EXPECT_TRUE(engine.stores.tokens.empty());
}

TEST_F(reference_engine, white_list_trains_ham)
{
    put(engine.stores.tokens, wide("ab"), 1, 1);
    list(NumberList::white, "13812345678");
    expectRating("ab", "008613812345678", Verdict::ham, RatedBy::whiteList);
    EXPECT_EQ(countsOf(engine.stores.tokens, wide("ab")), (TokenCounts{1, 2, 0}));
}

TEST_F(reference_engine, six_filtered_characters_are_ham)
{
    expectRating("abcdef", "1", Verdict::ham, RatedBy::length);
    expectRating("a.b.c!! abcdef", "1", Verdict::ham, RatedBy::length);
    expectRating("abcdefg", "1", Verdict::unsure, RatedBy::tooFewTokens);
    EXPECT_EQ(engine.rate(std::nullopt, std::nullopt).by, RatedBy::length);
}

TEST_F(reference_engine, two_tokens_are_too_few)
{
    putMessages(engine.stores.tokens, 10, 10);
    for (const char *key : {"ab", "cd", "ef"}) {
        put(engine.stores.tokens, wide(key), 10, 0);
    }
    expectRating("abcdxxx", "1", Verdict::unsure, RatedBy::tooFewTokens);
    expectRating("abcdefx", "1", Verdict::spam, RatedBy::classifier);
    EXPECT_EQ(countsOf(engine.stores.tokens, wide("ab")), (TokenCounts{11, 0, 0}));
    EXPECT_EQ(messagesOf(engine.stores.tokens), (TokenCounts{11, 10, 0}));
}

TEST_F(reference_engine, unsure_messages_are_settled_by_digits_and_length)
{
    putMessages(engine.stores.tokens, 10, 10);
    for (const char *key : {"ab", "cd", "ef"}) {
        put(engine.stores.tokens, wide(key), 5, 5);
    }
    expectRating("abcdef some longer text follows", "1", Verdict::unsure, RatedBy::classifier);
    expectRating("abcdef nine more", "1", Verdict::ham, RatedBy::shortText);
    EXPECT_EQ(messagesOf(engine.stores.tokens), (TokenCounts{10, 10, 0}));
    expectRating("abcdef please call 138-1234-5678 now", "1", Verdict::spam, RatedBy::digitRun);
    EXPECT_EQ(messagesOf(engine.stores.tokens), (TokenCounts{11, 10, 0}));
    expectRating("abcdef1234567", "1", Verdict::spam, RatedBy::digitRun);
    EXPECT_EQ(countsOf(engine.stores.tokens, wide("ef")), (TokenCounts{7, 5, 0}));
}

TEST_F(reference_engine, ham_verdicts_are_not_trained)
{
    putMessages(engine.stores.tokens, 10, 10);
    for (const char *key : {"ab", "cd", "ef"}) {
        put(engine.stores.tokens, wide(key), 0, 10);
    }
    expectRating("abcdef1234567", "1", Verdict::ham, RatedBy::classifier);
    EXPECT_EQ(messagesOf(engine.stores.tokens), (TokenCounts{10, 10, 0}));
}

TEST_F(reference_engine, feedback_moves_words_and_clears_the_black_listing)
{
    put(engine.stores.tokens, wide("ab"), 1, 0);
    putMessages(engine.stores.tokens, 1, 0);
    list(NumberList::black, "+8613812345678");
    EXPECT_EQ(engine.setAsHam(wide("ab"), wide("13812345678")), 0);
    EXPECT_EQ(countsOf(engine.stores.tokens, wide("ab")), (TokenCounts{0, 1, 0}));
    EXPECT_EQ(messagesOf(engine.stores.tokens), (TokenCounts{0, 1, 0}));
    EXPECT_EQ(engine.count(NumberList::black), 0);
    EXPECT_EQ(engine.setAsHam(wide("ab"), wide("555")), 0);
    EXPECT_EQ(countsOf(engine.stores.tokens, wide("ab")), (TokenCounts{0, 2, 0}));
    EXPECT_EQ(engine.setAsSpam(wide("ab")), 0);
    EXPECT_EQ(engine.setAsSpam(wide("ab")), 0);
    EXPECT_EQ(countsOf(engine.stores.tokens, wide("ab")), (TokenCounts{2, 0, 0}));
    EXPECT_EQ(messagesOf(engine.stores.tokens), (TokenCounts{2, 0, 0}));
}

TEST_F(reference_engine, feedback_with_a_refused_number_trains_all_the_same)
{
    put(engine.stores.tokens, wide("ab"), 1, 0);
    EXPECT_EQ(engine.setAsHam(wide("ab"), std::nullopt), -2);
    EXPECT_EQ(engine.setAsHam(wide("ab"), repeated(wide("1"), 30)), -2);
    EXPECT_EQ(countsOf(engine.stores.tokens, wide("ab")), (TokenCounts{0, 2, 0}));
}

// ---- Number lists ----

TEST_F(reference_engine, a_listed_number_is_left_as_it_is)
{
    list(NumberList::black, "13812345678", 1, 5);
    EXPECT_EQ(engine.addNumber(NumberList::black, {wide("+8613812345678"), wide("other")}, 0, 6), 0);
    const ShownNumber expected{wide("13812345678"), wide("name"), 5};
    EXPECT_EQ(engine.numbers(NumberList::black, -1), std::vector<ShownNumber>{expected});
    EXPECT_EQ(engine.stores.black.entries[0].number, Value::ofText(std::string("87654321831\0", 12)));
    EXPECT_EQ(engine.stores.black.entries[0].name, Value::ofBlob(utf16BytesWithTerminator(wide("name"))));
}

TEST_F(reference_engine, adding_takes_the_number_off_the_other_list_even_when_it_fails)
{
    engine.addWhiteNumbers({{wide("13812345678"), {}, 0}, {wide("+8613812345678"), {}, 0}, {wide("1"), {}, 0}}, 0);
    EXPECT_EQ(engine.addNumber(NumberList::black, {wide("13812345678"), {}}, 2, 0), -2);
    EXPECT_EQ(engine.count(NumberList::white), 1);
    EXPECT_EQ(engine.count(NumberList::black), 0);
    list(NumberList::black, "1");
    EXPECT_EQ(engine.count(NumberList::white), 0);
    list(NumberList::white, "1");
    EXPECT_EQ(engine.count(NumberList::black), 0);
}

TEST_F(reference_engine, refused_records_change_nothing)
{
    list(NumberList::white, "1");
    const WideText tooLong = repeated(wide("1"), 30);
    EXPECT_EQ(engine.addNumber(NumberList::black, {std::nullopt, wide("n")}, 0, 0), -2);
    EXPECT_EQ(engine.addNumber(NumberList::black, {tooLong, {}}, 0, 0), -2);
    EXPECT_EQ(engine.addNumber(NumberList::black, {wide("1"), tooLong}, 0, 0), -2);
    EXPECT_EQ(engine.removeNumber(NumberList::white, {wide("1"), tooLong}), -2);
    EXPECT_EQ(engine.removeNumber(NumberList::white, {std::nullopt, {}}), -2);
    EXPECT_EQ(engine.count(NumberList::white), 1);
    EXPECT_EQ(engine.addNumber(NumberList::black, {repeated(wide("1"), 29), repeated(wide("n"), 29)}, 0, 0), 0);
    EXPECT_EQ(engine.count(NumberList::black), 1);
}

TEST_F(reference_engine, empty_numbers_never_match)
{
    list(NumberList::white, "");
    list(NumberList::white, "");
    EXPECT_EQ(engine.count(NumberList::white), 2);
    EXPECT_EQ(engine.removeNumber(NumberList::white, {wide(""), {}}), 0);
    EXPECT_EQ(engine.count(NumberList::white), 2);
    EXPECT_EQ(engine.rate(std::nullopt, std::nullopt).by, RatedBy::length);
}

TEST_F(reference_engine, batch_is_all_or_none_and_compares_nothing)
{
    EXPECT_EQ(engine.addWhiteNumbers({{wide("1"), {}, 0}}, 5), -9);
    EXPECT_EQ(engine.addWhiteNumbers({}, 0), -9);
    EXPECT_EQ(engine.addWhiteNumbers({{wide("1"), {}, 0}, {wide("2"), {}, 0}, {std::nullopt, {}, 0}}, 0), -8);
    EXPECT_EQ(engine.addWhiteNumbers({{wide("1"), repeated(wide("x"), 30), 0}}, 0), -8);
    EXPECT_EQ(engine.count(NumberList::white), 0);
    EXPECT_EQ(engine.addWhiteNumbers({{wide("1"), {}, 7}, {wide("1"), wide("b"), 8}}, 1), 0);
    const std::vector<ShownNumber> expected{{wide("1"), {}, 7}, {wide("1"), wide("b"), 8}};
    EXPECT_EQ(engine.numbers(NumberList::white, 1), expected);
}

TEST_F(reference_engine, removals_select_by_hidden_uid_and_link_value)
{
    list(NumberList::white, "1", 0, 7);
    list(NumberList::white, "2", 1, 7);
    list(NumberList::white, "3", 1, 8);
    EXPECT_EQ(engine.removeAll(NumberList::white, 2), -2);
    EXPECT_EQ(engine.removeAll(NumberList::white, -2), -2);
    EXPECT_EQ(engine.deleteByUid(NumberList::white, 99), 0);
    EXPECT_EQ(engine.count(NumberList::white), 3);
    EXPECT_EQ(engine.removeAll(NumberList::white, 0), 0);
    EXPECT_EQ(engine.uids(NumberList::white, -1), (std::vector<std::int32_t>{2, 3}));
    EXPECT_EQ(engine.deleteByExtendID(NumberList::white, 7), 0);
    EXPECT_EQ(engine.uids(NumberList::white, 1), (std::vector<std::int32_t>{3}));
    EXPECT_EQ(engine.deleteByUid(NumberList::white, 3), 0);
    EXPECT_EQ(engine.count(NumberList::white), 0);
    list(NumberList::white, "4");
    EXPECT_EQ(engine.uids(NumberList::white, -1), (std::vector<std::int32_t>{4}));
    EXPECT_EQ(engine.removeAll(NumberList::white, -1), 0);
    EXPECT_EQ(engine.count(NumberList::white), 0);
}

TEST_F(reference_engine, reading_shows_numbers_as_given)
{
    list(NumberList::black, "+8613812345678", 1, 12);
    EXPECT_EQ(engine.readByUid(NumberList::black, 1), (ShownNumber{wide("+8613812345678"), wide("name"), 0}));
    EXPECT_EQ(engine.readByUid(NumberList::black, 2), std::nullopt);
    EXPECT_EQ(engine.numbers(NumberList::black, 2), std::nullopt);
    EXPECT_EQ(engine.uids(NumberList::black, -2), std::nullopt);
    EXPECT_EQ(engine.numbers(NumberList::black, 0)->size(), 0u);
}

// ---- Updates ----

ProbabilityUpdate probabilities(std::vector<test::ProbabilityRow> rows)
{
    return {0, true, std::move(rows), 0};
}

WhiteNumberUpdate whiteNumbers(std::vector<test::WhiteNumberRow> rows)
{
    return {0, true, std::move(rows), 0};
}

TEST(reference_merge, probability_rows_are_added_or_inserted)
{
    Tokens tokens;
    put(tokens, wide("ab"), 1, 0xFFFFFFFFu, 3);
    EXPECT_TRUE(mergeProbabilities(probabilities({}), tokens));
    EXPECT_TRUE(mergeProbabilities(
        probabilities({probabilityRow(wide("ab"), {10, 20, 30}), probabilityRow(wide("cd"), {1, 2, 3}),
                       probabilityRow(wide("cd"), {1, 2, 9})}),
        tokens));
    EXPECT_EQ(countsOf(tokens, wide("ab")), (TokenCounts{11, 19, 3}));
    EXPECT_EQ(countsOf(tokens, wide("cd")), (TokenCounts{2, 4, 3}));
}

TEST(reference_merge, a_malformed_probability_row_undoes_the_whole_merge)
{
    const test::ProbabilityRow good = probabilityRow(wide("cd"), {1, 2, 3});
    const test::ProbabilityRow malformed[] = {
        {Value::ofBlob(utf16BytesWithTerminator(wide("ab"))), Value::ofBlob(std::string(11, 'x'))},
        {Value::ofBlob(utf16Bytes(wide("ab"))), good.value},
        {Value::ofNull(), good.value},
        {Value::ofBlob(utf16Bytes(wide("a")) + std::string(1, '\0')), good.value},
    };
    for (const test::ProbabilityRow &row : malformed) {
        Tokens tokens;
        EXPECT_FALSE(mergeProbabilities(probabilities({good, row}), tokens)) << test::show({row.key, row.value});
        EXPECT_TRUE(tokens.empty());
    }
}

TEST(reference_merge, probability_values_are_cut_to_their_size_and_keys_at_their_zero_unit)
{
    Tokens tokens;
    const std::string key = utf16BytesWithTerminator(wide("ab")) + utf16Bytes(wide("cd"));
    const std::string value = test::tokenValueBytes({1, 2, 3}) + "tail";
    EXPECT_TRUE(mergeProbabilities(probabilities({{Value::ofBlob(key), Value::ofBlob(value)}}), tokens));
    EXPECT_EQ(tokens, (Tokens{{utf16Bytes(wide("ab")), Value::ofBlob(test::tokenValueBytes({1, 2, 3}))}}));
}

TEST(reference_merge, white_numbers_are_inserted_hidden_and_once)
{
    NumberTable white;
    EXPECT_TRUE(mergeWhiteNumbers(whiteNumbers({}), white));
    EXPECT_TRUE(
        mergeWhiteNumbers(whiteNumbers({whiteNumberRow(wide("1"), wide("one")),
                                        whiteNumberRow(wide("1"), wide("again")), whiteNumberRow(wide("2"), wide(""))}),
                          white));
    ASSERT_EQ(white.entries.size(), 2u);
    const NumberEntry first{1, Value::ofInteger(1), Value::ofBlob(utf16BytesWithTerminator(wide("1"))),
                            Value::ofBlob(utf16BytesWithTerminator(wide("one"))), Value::ofNull()};
    EXPECT_EQ(white.entries[0], first);
}

TEST(reference_merge, a_white_number_update_ending_on_a_known_number_is_undone)
{
    NumberTable white;
    ASSERT_TRUE(mergeWhiteNumbers(whiteNumbers({whiteNumberRow(wide("1"), wide("one"))}), white));
    EXPECT_FALSE(mergeWhiteNumbers(
        whiteNumbers({whiteNumberRow(wide("2"), wide("two")), whiteNumberRow(wide("1"), wide("one"))}), white));
    EXPECT_EQ(white.entries.size(), 1u);
    EXPECT_TRUE(mergeWhiteNumbers(
        whiteNumbers({whiteNumberRow(wide("1"), wide("one")), whiteNumberRow(wide("2"), wide("two"))}), white));
    EXPECT_EQ(white.entries.back().uid, 2);
}

TEST(reference_merge, a_malformed_white_number_row_undoes_the_whole_merge)
{
    const WideText longest = repeated(wide("1"), 29);
    NumberTable white;
    EXPECT_TRUE(mergeWhiteNumbers(whiteNumbers({whiteNumberRow(longest, longest)}), white));
    const Value good = Value::ofBlob(utf16BytesWithTerminator(wide("2")));
    const test::WhiteNumberRow malformed[] = {
        whiteNumberRow(longest + wide("1"), wide("n")),
        whiteNumberRow(wide("3"), longest + wide("1")),
        {Value::ofBlob(utf16Bytes(wide("3"))), good},
        {good, Value::ofNull()},
    };
    for (const test::WhiteNumberRow &row : malformed) {
        EXPECT_FALSE(mergeWhiteNumbers(whiteNumbers({{good, good}, row}), white)) << test::show({row.number, row.name});
        EXPECT_EQ(white.entries.size(), 1u);
    }
}

TEST_F(reference_engine, a_merged_white_number_is_not_found_by_its_digits)
{
    engine.stores.versions = {{0, Value::ofInteger(1)}, {1, Value::ofInteger(1)}};
    WhiteNumberUpdate update = whiteNumbers({whiteNumberRow(wide("12345678901"), wide("n"))});
    update.version = 7;
    EXPECT_EQ(engine.update(std::nullopt, update), 0);
    EXPECT_EQ(engine.version(1), 7);
    EXPECT_EQ(engine.version(0), 1);
    EXPECT_EQ(engine.rate(wide("abc"), wide("12345678901")).by, RatedBy::length);
    // The stored form reads as its first character only.
    EXPECT_EQ(engine.numbers(NumberList::white, 1)->at(0), (ShownNumber{wide("1"), wide("n"), 0}));
    EXPECT_EQ(engine.rate(wide("abc"), wide("1")).by, RatedBy::whiteList);
    // A number added by hand is another record for the merge, and the other way round.
    EXPECT_EQ(engine.addNumber(NumberList::white, {wide("12345678901"), {}}, 0, 0), 0);
    EXPECT_EQ(engine.count(NumberList::white), 2);
}

TEST_F(reference_engine, the_last_step_of_an_update_decides_its_result)
{
    engine.stores.versions = {{0, Value::ofInteger(1)}, {1, Value::ofInteger(1)}, {2, Value::ofInteger(1)}};
    ProbabilityUpdate bad = probabilities({});
    bad.usable = false;
    bad.version = 5;
    WhiteNumberUpdate good = whiteNumbers({});
    good.version = 6;
    EXPECT_EQ(engine.update(std::nullopt, std::nullopt), -2);
    EXPECT_EQ(engine.update(bad, std::nullopt), -2);
    EXPECT_EQ(engine.update(bad, good), 0);
    EXPECT_EQ(engine.version(0), 1);
    EXPECT_EQ(engine.version(1), 6);
    EXPECT_EQ(engine.version(2), 1);
    EXPECT_EQ(engine.version(3), 0);
}

TEST_F(reference_engine, an_update_path_that_is_too_long_stops_everything)
{
    ProbabilityUpdate update = probabilities({probabilityRow(wide("ab"), {1, 1, 1})});
    WhiteNumberUpdate tooLong = whiteNumbers({});
    tooLong.pathLength = 256;
    EXPECT_EQ(engine.update(update, tooLong), -2);
    EXPECT_TRUE(engine.stores.tokens.empty());
    tooLong.pathLength = 255;
    EXPECT_EQ(engine.update(update, tooLong), 0);
    EXPECT_EQ(engine.stores.tokens.size(), 1u);
}

TEST_F(reference_engine, a_version_without_its_row_is_not_recorded)
{
    ProbabilityUpdate update = probabilities({});
    update.version = 9;
    EXPECT_EQ(engine.update(update, std::nullopt), 0);
    EXPECT_EQ(engine.version(0), 0);
    EXPECT_TRUE(engine.stores.versions.empty());
}

// ---- Stores ----

TEST(reference_stores, are_read_with_their_storage_classes_and_compared_row_by_row)
{
    test::Installation installation;
    installation.addToken(wide("ab"), 1, 2, 3);
    installation.addNumber(NumberList::white, "123", 1, wide("n"), 4);
    const Stores read = readStores(installation);
    EXPECT_EQ(countsOf(read.tokens, wide("ab")), (TokenCounts{1, 2, 3}));
    ASSERT_EQ(read.white.entries.size(), 1u);
    EXPECT_EQ(read.white.entries[0].number, Value::ofText(std::string("321\0", 4)));
    EXPECT_EQ(read.versions.size(), 3u);
    EXPECT_TRUE(differences(read, readStores(installation)).empty());

    Stores other = read;
    other.white.entries[0].number = Value::ofBlob(std::string("321\0", 4));
    put(other.tokens, wide("ab"), 1, 2, 4);
    put(other.tokens, wide("cd"), 0, 0);
    other.versions.erase(2);
    other.rules.push_back({Value::ofText("1")});
    other.black.entries.push_back({5, {}, {}, {}, {}});
    EXPECT_EQ(differences(other, read).size(), 6u);
    EXPECT_EQ(differences(read, other).size(), 6u);
}

TEST(reference_stores, remember_the_highest_identifier_after_removals)
{
    test::Installation installation;
    installation.addNumber(NumberList::black, "1");
    installation.addNumber(NumberList::black, "2");
    installation.open("bn.bin").exec("DELETE FROM blackList;");
    EXPECT_EQ(readStores(installation).black.lastUid, 2);
    EXPECT_EQ(readStores(installation).white.lastUid, 0);
}

} // namespace
} // namespace velq::reference
