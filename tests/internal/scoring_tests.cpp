// Scoring: the token probability, the combination against closed forms, the cut-offs, and the parameters' life.
#include "VELQ_Util.h"
#include "VELQ_Word_Seg.h"
#include "bfilter/VELQ_BFilter_Interface.h"
#include "bfilter/VELQ_BFilter_Score.h"
#include "bfilter/VELQ_BFilter_WordList.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"
#include "support/wide.h"

#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace velq::test {
namespace {

constexpr bool gammaIsGsl = VELQ_GAMMA_IS_GSL != 0;
constexpr double epsilon = 2.220446049250313e-16;
constexpr ScoreParameters unsetParameters = {
    .robs = 0, .robx = 0, .min_dev = 0, .spam_cutoff = 0, .ham_cutoff = 0.45, .sp_esf = 1.0, .ns_esf = 1.0};
constexpr ScoreParameters defaultParameters = {.robs = 0.0178,
                                               .robx = 0.52,
                                               .min_dev = 0.375,
                                               .spam_cutoff = 0.9,
                                               .ham_cutoff = 0.45,
                                               .sp_esf = 1.0,
                                               .ns_esf = 1.0};

// The tail of the chi-square distribution with 2n degrees of freedom: e^-h (1 + h + h^2/2! + ... + h^(n-1)/(n-1)!).
long double chiSquareTail(long double statistic, int halfDegrees)
{
    const long double half = statistic / 2;
    long double term = std::exp(-half);
    long double sum = 0;
    for (int k = 0; k < halfDegrees; ++k) {
        sum += term;
        term *= half / (k + 1);
    }
    return sum;
}

// Parameters as at load before each test, and again after it.
class FreshScore : public testing::Test {
  protected:
    FreshScore()
    {
        reset();
    }
    ~FreshScore() override
    {
        reset();
    }
    static void reset()
    {
        scoreParameters = unsetParameters;
        score_state = {};
    }
};

using ScoringArithmetic = FreshScore;
using ScoringParameters = FreshScore;

// ---- Token probability

double expectedProbability(double ham, double spam, double hamMessages, double spamMessages, double n)
{
    const double p = (spam * hamMessages) / (ham * spamMessages + spam * hamMessages);
    return (n * p + 0.0178 * 0.52) / (n + 0.0178);
}

TEST_F(ScoringArithmetic, token_probability_is_the_smoothed_share_of_spam)
{
    scoreParameters = defaultParameters;
    const struct {
        std::uint32_t ham, spam, hamMessages, spamMessages;
    } cases[] = {{0, 1, 1, 1},    {1, 0, 1, 1},          {1, 1, 1, 1},          {3, 7, 100, 50},
                 {7, 3, 50, 100}, {0, 1000, 2000, 3000}, {1000, 0, 2000, 3000}, {1, 2, 0xFFFFFFFF, 0xFFFFFFFE}};
    for (const auto &c : cases) {
        EXPECT_DOUBLE_EQ(token_probability(c.ham, c.spam, c.hamMessages, c.spamMessages),
                         expectedProbability(c.ham, c.spam, c.hamMessages, c.spamMessages, c.ham + c.spam))
            << c.ham << ' ' << c.spam << ' ' << c.hamMessages << ' ' << c.spamMessages;
    }
}

TEST_F(ScoringArithmetic, untrained_token_has_the_prior)
{
    scoreParameters = defaultParameters;
    scoreParameters.robx = 0.61;
    EXPECT_EQ(token_probability(0, 0, 5, 5), 0.61);
    EXPECT_EQ(token_probability(0, 0, 0, 0), 0.61);
}

TEST_F(ScoringArithmetic, count_sum_wraps_and_is_taken_as_signed)
{
    scoreParameters = defaultParameters;
    EXPECT_EQ(token_probability(0x80000000, 0x80000000, 5, 5), 0.52);
    EXPECT_EQ(token_probability(0xFFFFFFFF, 1, 5, 5), 0.52);
    EXPECT_DOUBLE_EQ(token_probability(0xFFFFFFFF, 2, 5, 5), expectedProbability(4294967295.0, 2, 5, 5, 1));
    EXPECT_DOUBLE_EQ(token_probability(0, 0x80000000, 5, 5), expectedProbability(0, 2147483648.0, 5, 5, -2147483648.0));
    EXPECT_DOUBLE_EQ(token_probability(0, 0xFFFFFFFF, 5, 5), expectedProbability(0, 4294967295.0, 5, 5, -1));
}

TEST_F(ScoringArithmetic, side_without_messages_leaves_its_tokens_without_a_probability)
{
    scoreParameters = defaultParameters;
    EXPECT_TRUE(std::isnan(token_probability(5, 0, 10, 0)));
    EXPECT_TRUE(std::isnan(token_probability(0, 5, 0, 10)));
    EXPECT_TRUE(std::isnan(token_probability(5, 5, 0, 0)));
    EXPECT_DOUBLE_EQ(token_probability(0, 5, 10, 0), (5 * 1.0 + 0.0178 * 0.52) / (5 + 0.0178));
    EXPECT_DOUBLE_EQ(token_probability(5, 5, 10, 0), (10 * 1.0 + 0.0178 * 0.52) / (10 + 0.0178));
    EXPECT_DOUBLE_EQ(token_probability(5, 0, 0, 10), (5 * 0.0 + 0.0178 * 0.52) / (5 + 0.0178));
}

// ---- Chi-square tail

TEST_F(ScoringArithmetic, chi_square_tail_agrees_with_its_finite_sum)
{
    for (int tokens = 1; tokens <= 29; ++tokens) {
        for (const double statistic :
             {1e-9, 0.001, 0.1, 0.5, 1.0, 2.0, 3.7, 5.0, 10.0, 17.5, 25.0, 33.3, 58.0, 80.0, 120.0, 200.0, 350.0}) {
            double tail = -1;
            const double result = chi2_upper_tail(statistic, 2.0 * tokens, &tail);
            EXPECT_NEAR(result, static_cast<double>(chiSquareTail(statistic, tokens)), 1e-13)
                << tokens << " tokens, statistic " << statistic;
            EXPECT_EQ(result, tail);
        }
    }
}

TEST_F(ScoringArithmetic, chi_square_tail_is_one_up_to_zero)
{
    for (const double statistic : {0.0, -0.0, -1e-300, -5.0, -1e300}) {
        double tail = -1;
        EXPECT_EQ(chi2_upper_tail(statistic, 4, &tail), 1.0) << statistic;
        EXPECT_EQ(tail, 1.0);
    }
}

// The reasons in what the error handler has printed; everything printed must be such reports:
// "gsl: file:line: ERROR: reason" and "Default GSL error handler invoked.", a line each.
Texts reportedReasons(const std::string &printed)
{
    Texts reasons;
    std::istringstream lines(printed);
    for (std::string line; std::getline(lines, line);) {
        const std::string mark = ": ERROR: ";
        const std::size_t at = line.find(mark);
        const std::size_t colon = line.find(':', 5);
        EXPECT_TRUE(line.starts_with("gsl: ") && at != std::string::npos && colon < at) << printed;
        if (at == std::string::npos || colon >= at) {
            return reasons;
        }
        const std::string number = line.substr(colon + 1, at - colon - 1);
        EXPECT_FALSE(number.empty()) << printed;
        EXPECT_EQ(number.find_first_not_of("0123456789"), std::string::npos) << printed;
        reasons.push_back(line.substr(at + mark.size()));
        EXPECT_TRUE(std::getline(lines, line)) << printed;
        EXPECT_EQ(line, "Default GSL error handler invoked.");
    }
    return reasons;
}

TEST_F(ScoringArithmetic, library_errors_are_printed_and_do_not_end_the_process)
{
    testing::internal::CaptureStderr();
    double tail = 7;
    const double result = chi2_upper_tail(1.0, -2.0, &tail);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::isnan(result));
    EXPECT_TRUE(std::isnan(tail));
    if (!gammaIsGsl) {
        EXPECT_EQ(printed, "") << "Boost.Math reports nothing";
        return;
    }
    // The library reports from where the error arose and once more from its own wrapper.
    const Texts reasons = reportedReasons(printed);
    ASSERT_FALSE(reasons.empty());
    EXPECT_EQ(reasons.front(), "domain error");
}

TEST_F(ScoringArithmetic, scoring_goes_on_with_the_value_of_an_underflow)
{
    testing::internal::CaptureStderr();
    double tail = 7;
    const double result = chi2_upper_tail(4000.0, 2.0, &tail);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_LE(result, 1e-300);
    EXPECT_GE(result, 0.0);
    if (!gammaIsGsl) {
        EXPECT_EQ(printed, "") << "Boost.Math reports nothing";
        return;
    }
    reportedReasons(printed);
}

// ---- Combination

TEST_F(ScoringArithmetic, no_counting_token_gives_the_prior_and_leaves_the_products)
{
    scoreParameters = defaultParameters;
    score_state = {9, 1.5, 2.5, 3.5, 4.5, 5.5};
    EXPECT_EQ(combine_chi_square(0, {0.5, 0}, {0.5, 0}), 0.52);
    EXPECT_EQ(score_state.spamicity, 0.52);
    EXPECT_EQ(score_state.p_ln, 1.5);
    EXPECT_EQ(score_state.q_pr, 4.5);
}

TEST_F(ScoringArithmetic, combination_follows_fishers_method)
{
    scoreParameters = defaultParameters;
    const struct {
        std::uint32_t tokens;
        ScaledProduct hamSide, spamSide;
    } cases[] = {{1, {0.01, 0}, {0.99, 0}},    {1, {0.99, 0}, {0.01, 0}},    {3, {1e-9, 0}, {0.97, 0}},
                 {5, {0.75, -40}, {0.9, 0}},   {29, {0.6, -300}, {0.8, -3}}, {29, {0.8, -3}, {0.6, -300}},
                 {10, {1.0, 0}, {0.5, -1000}}, {2, {0.5, 0}, {0.5, 0}}};
    for (const auto &c : cases) {
        const long double lnP =
            std::log(static_cast<long double>(c.hamSide.mantissa)) + c.hamSide.exponent * std::log(2.0L);
        const long double lnQ =
            std::log(static_cast<long double>(c.spamSide.mantissa)) + c.spamSide.exponent * std::log(2.0L);
        const int tokens = static_cast<int>(c.tokens);
        const long double pTail = chiSquareTail(-2 * lnP, tokens);
        const long double qTail = chiSquareTail(-2 * lnQ, tokens);
        testing::internal::CaptureStderr();
        const double spamicity = combine_chi_square(c.tokens, c.hamSide, c.spamSide);
        testing::internal::GetCapturedStderr();
        EXPECT_NEAR(spamicity, static_cast<double>((1 + qTail - pTail) / 2), 1e-13);
        EXPECT_EQ(score_state.spamicity, spamicity);
        EXPECT_EQ(score_state.robn, c.tokens);
        EXPECT_NEAR(score_state.p_ln, static_cast<double>(lnP), 1e-12);
        EXPECT_NEAR(score_state.q_ln, static_cast<double>(lnQ), 1e-12);
        EXPECT_NEAR(score_state.p_pr, static_cast<double>(pTail), 1e-13);
        EXPECT_NEAR(score_state.q_pr, static_cast<double>(qTail), 1e-13);
    }
}

TEST_F(ScoringArithmetic, smaller_size_factors_take_the_quotient_of_the_tails)
{
    for (const bool hamSideSmaller : {true, false}) {
        scoreParameters = defaultParameters;
        (hamSideSmaller ? scoreParameters.sp_esf : scoreParameters.ns_esf) = 0.5;
        const double spamicity = combine_chi_square(4, {0.001, 0}, {0.9, 0});
        const double lnP = std::log(0.001) * (hamSideSmaller ? 0.5 : 1.0);
        const double lnQ = std::log(0.9) * (hamSideSmaller ? 1.0 : 0.5);
        const long double pTail = chiSquareTail(-2 * lnP, hamSideSmaller ? 2 : 4);
        const long double qTail = chiSquareTail(-2 * lnQ, hamSideSmaller ? 4 : 2);
        EXPECT_NEAR(spamicity, static_cast<double>(qTail / (pTail + qTail)), 1e-13);
    }
}

TEST_F(ScoringArithmetic, two_vanishing_tails_cancel_out_under_smaller_size_factors)
{
    scoreParameters = defaultParameters;
    scoreParameters.sp_esf = 0.5;
    testing::internal::CaptureStderr();
    EXPECT_EQ(combine_chi_square(2, {0.5, -3000}, {0.5, -3000}), 0.5);
    testing::internal::GetCapturedStderr();
}

// ---- Verdict

TEST_F(ScoringArithmetic, both_cut_offs_belong_to_the_decided_side)
{
    scoreParameters = defaultParameters;
    const struct {
        double spamicity;
        Verdict verdict;
    } cases[] = {{0.9, VERDICT_SPAM},    {std::nextafter(0.9, 0), VERDICT_UNSURE},
                 {1.0, VERDICT_SPAM},    {4294.0, VERDICT_SPAM},
                 {0.52, VERDICT_UNSURE}, {std::nextafter(0.45, 1), VERDICT_UNSURE},
                 {0.45, VERDICT_HAM},    {0.0, VERDICT_HAM},
                 {-1.0, VERDICT_HAM},    {std::numeric_limits<double>::quiet_NaN(), VERDICT_UNSURE}};
    for (const auto &one : cases) {
        score_state.spamicity = one.spamicity;
        EXPECT_EQ(classify_spamicity(), one.verdict) << one.spamicity;
    }
}

TEST_F(ScoringArithmetic, unset_ham_cut_off_makes_everything_below_spam_ham)
{
    scoreParameters = defaultParameters;
    for (const double cutoff : {0.0, -0.5, epsilon / 2}) {
        scoreParameters.ham_cutoff = cutoff;
        score_state.spamicity = 0.89;
        EXPECT_EQ(classify_spamicity(), VERDICT_HAM) << cutoff;
        score_state.spamicity = 0.9;
        EXPECT_EQ(classify_spamicity(), VERDICT_SPAM) << cutoff;
    }
}

// ---- Parameters

TEST_F(ScoringParameters, unset_ones_get_their_values_without_a_word_list)
{
    ASSERT_EQ(word_list, nullptr);
    init_score_params();
    EXPECT_EQ(scoreParameters.robs, 0.0178);
    EXPECT_EQ(scoreParameters.robx, 0.52);
    EXPECT_EQ(scoreParameters.min_dev, 0.375);
    EXPECT_EQ(scoreParameters.spam_cutoff, 0.9);
    EXPECT_EQ(scoreParameters.ham_cutoff, 0.45);
    EXPECT_EQ(scoreParameters.sp_esf, 1.0);
    EXPECT_EQ(scoreParameters.ns_esf, 1.0);
}

TEST_F(ScoringParameters, set_ones_are_kept)
{
    const ScoreParameters set = {
        .robs = 1, .robx = 0.3, .min_dev = 0.1, .spam_cutoff = 0.99, .ham_cutoff = 0, .sp_esf = 0.5, .ns_esf = 0.7};
    scoreParameters = set;
    init_score_params();
    EXPECT_EQ(scoreParameters.robs, 1);
    EXPECT_EQ(scoreParameters.robx, 0.3);
    EXPECT_EQ(scoreParameters.min_dev, 0.1);
    EXPECT_EQ(scoreParameters.spam_cutoff, 0.99);
    EXPECT_EQ(scoreParameters.ham_cutoff, 0);
    EXPECT_EQ(scoreParameters.sp_esf, 0.5);
    EXPECT_EQ(scoreParameters.ns_esf, 0.7);
}

// The spam cut-off alone is compared with its sign.
TEST_F(ScoringParameters, negative_ones_are_kept_but_for_the_spam_cut_off)
{
    scoreParameters.robs = scoreParameters.robx = scoreParameters.min_dev = scoreParameters.spam_cutoff = -0.25;
    init_score_params();
    EXPECT_EQ(scoreParameters.robs, -0.25);
    EXPECT_EQ(scoreParameters.robx, -0.25);
    EXPECT_EQ(scoreParameters.min_dev, -0.25);
    EXPECT_EQ(scoreParameters.spam_cutoff, 0.9);
}

TEST_F(ScoringParameters, values_below_the_machine_epsilon_are_unset_and_the_epsilon_is_not)
{
    for (const double sign : {1.0, -1.0}) {
        reset();
        const double tiny = sign * std::nextafter(epsilon, 0);
        scoreParameters.robs = scoreParameters.robx = scoreParameters.min_dev = tiny;
        init_score_params();
        EXPECT_EQ(scoreParameters.robs, 0.0178);
        EXPECT_EQ(scoreParameters.robx, 0.52);
        EXPECT_EQ(scoreParameters.min_dev, 0.375);
        reset();
        scoreParameters.robs = scoreParameters.robx = scoreParameters.min_dev = sign * epsilon;
        init_score_params();
        EXPECT_EQ(scoreParameters.robs, sign * epsilon);
        EXPECT_EQ(scoreParameters.robx, sign * epsilon);
        EXPECT_EQ(scoreParameters.min_dev, sign * epsilon);
    }
    reset();
    scoreParameters.spam_cutoff = epsilon;
    init_score_params();
    EXPECT_EQ(scoreParameters.spam_cutoff, epsilon);
}

// ---- Checks on a store

class Scoring : public FreshScore {
  protected:
    explicit Scoring(Trace trace = Trace::on) : engine(trace) {}

    // Segments and checks; the verdict.
    std::uint32_t check(const WideText &text)
    {
        EXPECT_EQ(wordSeg(text.c_str()), 0);
        std::uint32_t verdict = 77;
        spamicity = -1;
        EXPECT_EQ(bfilter_check(&verdict, &spamicity), 0);
        EXPECT_EQ(spamicity, score_state.spamicity);
        return verdict;
    }

    RunningEngine engine;
    double spamicity = -1;
};

TEST_F(Scoring, empty_token_list_gives_the_prior_and_unsure)
{
    EXPECT_EQ(check({}), VERDICT_UNSURE);
    EXPECT_EQ(spamicity, 0.52);
}

TEST_F(Scoring, untrained_and_undecided_tokens_do_not_count)
{
    engine.installation.setMessageCounts(10, 10);
    engine.installation.addToken(wide("ab"), 0, 0);
    engine.installation.addToken(wide("cd"), 5, 5);
    engine.installation.addToken(wide("ef"), 7, 1); // 0.874: not far enough from one half
    engine.installation.addToken(wide("gh"), 1, 7);
    EXPECT_EQ(check(wide("abcdefgh")), VERDICT_UNSURE);
    EXPECT_EQ(spamicity, 0.52);
    EXPECT_EQ(get_token_count(), 4U);
}

TEST_F(Scoring, tokens_from_the_deviation_on_count)
{
    engine.installation.setMessageCounts(10, 10);
    engine.installation.addToken(wide("ef"), 8, 1);
    EXPECT_EQ(check(wide("ef")), VERDICT_UNSURE);
    EXPECT_EQ(score_state.robn, 1U);
    const double p = (9 * (80.0 / 90.0) + 0.0178 * 0.52) / (9 + 0.0178);
    // One token: the tails are the products themselves.
    EXPECT_NEAR(spamicity, (1 + p - (1 - p)) / 2, 1e-13);
}

TEST_F(Scoring, spamicity_agrees_with_the_closed_form_for_any_number_of_tokens)
{
    engine.installation.setMessageCounts(40, 60);
    WideText text;
    std::vector<double> probabilities;
    for (int i = 0; i < 29; ++i) {
        const WideText token = {static_cast<VELQ_WideChar>(0x4E00 + i), static_cast<VELQ_WideChar>(0x5E00 + i)};
        const std::uint32_t spam = i % 3 == 0 ? 0U : static_cast<std::uint32_t>(i);
        const std::uint32_t ham = i % 3 == 0 ? static_cast<std::uint32_t>(i + 1) : 0U;
        engine.installation.addToken(token, spam, ham);
        text += token;
        const double n = spam + ham;
        const double p = spam * 60.0 / (ham * 40.0 + spam * 60.0);
        probabilities.push_back((n * p + 0.0178 * 0.52) / (n + 0.0178));
        long double lnP = 0;
        long double lnQ = 0;
        for (const double probability : probabilities) {
            lnP += std::log(1.0L - probability);
            lnQ += std::log(static_cast<long double>(probability));
        }
        check(text);
        EXPECT_EQ(score_state.robn, probabilities.size());
        const int tokens = i + 1;
        EXPECT_NEAR(spamicity,
                    static_cast<double>((1 + chiSquareTail(-2 * lnQ, tokens) - chiSquareTail(-2 * lnP, tokens)) / 2),
                    1e-12)
            << tokens;
    }
}

// 29 tokens with a probability near 4e-12 each: the plain product would be 1e-330.
TEST_F(Scoring, tiny_products_are_rescaled_instead_of_underflowing)
{
    for (const bool hammy : {true, false}) {
        engine.installation.setMessageCounts(1, 1);
        WideText text;
        for (int i = 0; i < 29; ++i) {
            const WideText token = {static_cast<VELQ_WideChar>(0x4E00 + i), static_cast<VELQ_WideChar>(0x5E00 + i)};
            engine.installation.addToken(token, hammy ? 0 : 0x7FFFFFFF, hammy ? 0x7FFFFFFF : 0);
            text += token;
        }
        testing::internal::CaptureStderr(); // the tail may underflow, which the library reports
        const std::uint32_t verdict = check(text);
        testing::internal::GetCapturedStderr();
        const double n = 2147483647.0;
        const double p = ((hammy ? 0 : n) + 0.0178 * 0.52) / (n + 0.0178);
        EXPECT_EQ(verdict, hammy ? VERDICT_HAM : VERDICT_SPAM);
        EXPECT_NEAR(score_state.p_ln, 29 * std::log(1 - p), 1e-9);
        EXPECT_NEAR(score_state.q_ln, 29 * std::log(p), 1e-9);
        EXPECT_LT(hammy ? score_state.q_ln : score_state.p_ln, -745); // beyond the smallest double
        EXPECT_NEAR(spamicity, hammy ? 0.0 : 1.0, 1e-13);
    }
}

TEST_F(Scoring, tokens_without_a_probability_are_skipped)
{
    engine.installation.setMessageCounts(0, 10);
    engine.installation.addToken(wide("ab"), 0, 5);
    engine.installation.addToken(wide("cd"), 5, 0);
    check(wide("ab"));
    EXPECT_EQ(spamicity, 0.52);
    check(wide("abcd"));
    EXPECT_EQ(score_state.robn, 1U);
    const double p = (5 + 0.0178 * 0.52) / (5 + 0.0178);
    EXPECT_NEAR(spamicity, p, 1e-13);
}

TEST_F(Scoring, message_counts_are_those_of_the_segmentation)
{
    engine.installation.setMessageCounts(10, 10);
    engine.installation.addToken(wide("ab"), 10, 0);
    ASSERT_EQ(wordSeg(wide("ab").c_str()), 0);
    engine.installation.setMessageCounts(0, 0);
    std::uint32_t verdict = 77;
    EXPECT_EQ(bfilter_check(&verdict, &spamicity), 0);
    EXPECT_EQ(verdict, VERDICT_SPAM);
}

// ---- The prior

TEST_F(Scoring, prior_is_read_from_its_six_byte_key_in_millionths)
{
    engine.installation.setPrior(600000);
    EXPECT_EQ(check({}), VERDICT_UNSURE);
    EXPECT_EQ(spamicity, 600000 * 0.000001);
    EXPECT_EQ(scoreParameters.robx, 600000 * 0.000001);
}

TEST_F(Scoring, prior_is_not_read_again_once_it_is_set)
{
    engine.installation.setPrior(600000);
    check({});
    engine.installation.setPrior(700000);
    const DshWatch watch;
    check({});
    EXPECT_EQ(spamicity, 600000 * 0.000001);
    for (const std::string &call : watch.calls()) {
        EXPECT_NE(call, "mapBlob 1 6 bytes"); // the prior's key
    }
}

// One million times 0.000001 need not be exact: 900,000 is just below the cut-off.
TEST_F(Scoring, prior_alone_may_reach_a_verdict)
{
    const struct {
        std::uint32_t millionths;
        std::uint32_t verdict;
    } cases[] = {{900001, VERDICT_SPAM}, {899999, VERDICT_UNSURE}, {450001, VERDICT_UNSURE},
                 {449999, VERDICT_HAM},  {1, VERDICT_HAM},         {0xFFFFFFFF, VERDICT_SPAM}};
    for (const auto &one : cases) {
        reset();
        engine.installation.setPrior(one.millionths);
        EXPECT_EQ(check({}), one.verdict) << one.millionths;
        EXPECT_EQ(spamicity, one.millionths * 0.000001);
    }
}

TEST_F(Scoring, prior_falls_back_where_the_record_is_missing_zero_or_elsewhere)
{
    check({});
    EXPECT_EQ(scoreParameters.robx, 0.52);
    reset();
    engine.installation.addToken(wide(".ROBX"), 600000, 0);
    check({});
    EXPECT_EQ(scoreParameters.robx, 0.52);
    reset();
    engine.installation.addTokenRow(Value::ofBlob(".ROBX"), Value::ofBlob(tokenValueBytes({600000, 0, 0})));
    check({});
    EXPECT_EQ(scoreParameters.robx, 0.52);
    reset();
    engine.installation.setPrior(0);
    check({});
    EXPECT_EQ(scoreParameters.robx, 0.52);
}

TEST_F(Scoring, prior_falls_back_where_it_cannot_be_read)
{
    engine.installation.setPrior(600000);
    for (const DshFault &fault : {DshFault{.call = DshCall::step, .code = VELQ_DSH_BUSY, .nth = 2},
                                  DshFault{.call = DshCall::step, .code = 10, .nth = 3}}) {
        // The first step is that of the message counts, or the second where a record is found.
        reset();
        std::uint32_t verdict = 77;
        ASSERT_EQ(wordSeg(wide("").c_str()), 0);
        const DshWatch watch(fault);
        EXPECT_EQ(bfilter_check(&verdict, &spamicity), 0);
        EXPECT_TRUE(watch.faultHappened());
        EXPECT_EQ(spamicity, 0.52);
        EXPECT_EQ(verdict, VERDICT_UNSURE);
        EXPECT_TRUE(watch.everythingReleased());
    }
}

TEST_F(Scoring, prior_falls_back_without_memory_for_its_key)
{
    engine.installation.setPrior(600000);
    ASSERT_EQ(wordSeg(wide("").c_str()), 0);
    int fallbacks = 0;
    std::uint32_t verdict = 0;
    failEachAllocation(
        [&] {
            reset();
            verdict = 77;
            spamicity = -1;
            return bfilter_check(&verdict, &spamicity);
        },
        [&](int /*nth*/, int result, const DshWatch & /*watch*/) {
            if (result == 0) {
                EXPECT_EQ(spamicity, 0.52);
                ++fallbacks;
            } else {
                EXPECT_EQ(result, VELQ_ERR_FAILED);
                EXPECT_EQ(verdict, 77U);
                EXPECT_EQ(spamicity, -1);
            }
        });
    EXPECT_EQ(spamicity, 600000 * 0.000001);
    EXPECT_EQ(fallbacks, 1);
}

// ---- The check entry

TEST_F(Scoring, check_is_one_transaction_that_commits)
{
    ASSERT_EQ(wordSeg(wide("").c_str()), 0);
    engine.newLines();
    const DshWatch watch;
    std::uint32_t verdict = 77;
    EXPECT_EQ(bfilter_check(&verdict, &spamicity), 0);
    EXPECT_EQ(watch.executed(), (Texts{"BEGIN TRANSACTION;", "COMMIT;"}));
    EXPECT_TRUE(watch.everythingReleased());
    EXPECT_EQ(engine.newLines(),
              (Texts{"VELQ_BFilter_DataStore\tOpen DB!", "VELQ_BFilter_WordList\tOK: open_wordlist()",
                     "VELQ_BFilter_DataStore\tClose DB!", "VELQ_BFilter_WordList\tOK: close_wordlist()"}));
}

TEST_F(ScoringParameters, failed_opening_fails_the_check_and_leaves_the_outputs)
{
    for (const Trace trace : {Trace::on, Trace::off}) {
        RunningEngine other(trace);
        const DshWatch watch({.call = DshCall::busyHandler});
        std::uint32_t verdict = 77;
        double untouched = -1;
        EXPECT_EQ(bfilter_check(&verdict, &untouched), VELQ_ERR_FAILED);
        EXPECT_EQ(verdict, 77U);
        EXPECT_EQ(untouched, -1);
        EXPECT_EQ(word_list, nullptr);
        EXPECT_TRUE(watch.everythingReleased());
        EXPECT_EQ(other.newLines(),
                  expectedLog({{false, "VELQ_BFilter_DataStore\tOpen DB!"},
                               {true, "VELQ_BFilter_Datastore_Sqlite\tCan't set user non-service handle: not an error"},
                               {true, "VELQ_BFilter_Datastore_Sqlite\tError on database " +
                                          std::string(engineState.tokenStorePath) + ": not an error"},
                               {true, "VELQ_BFilter_WordList\tError: ds_open!"},
                               {false, "VELQ_BFilter_WordList\tOK: close_wordlist()"},
                               {true, "VELQ_BFilter_Interface\tError: open_wordlist!"}},
                              trace));
    }
}

// A word list left open refuses the check, which then closes it.
TEST_F(Scoring, check_on_an_open_word_list_fails_and_commits_it)
{
    ASSERT_EQ(open_wordlist(wordListForWriting), 0);
    const token_value counts{1, 2, 3};
    ASSERT_EQ(ds_set_msgcounts(word_list->store, &counts), 0);
    std::uint32_t verdict = 77;
    EXPECT_EQ(bfilter_check(&verdict, &spamicity), VELQ_ERR_FAILED);
    EXPECT_EQ(word_list, nullptr);
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{1, 2, 3}));
}

} // namespace
} // namespace velq::test
