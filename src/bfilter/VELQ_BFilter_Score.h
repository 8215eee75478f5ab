// Spamicity scoring: Robinson's smoothed token probability, combined by Fisher's method.
#ifndef VELQ_BFILTER_SCORE_H
#define VELQ_BFILTER_SCORE_H

#include <cstdint>

// Tuning parameters. Zero means not set; unset ones get their values at every check.
struct ScoreParameters {
    double robs;        // weight of the prior in the smoothed probability
    double robx;        // prior probability of a token
    double min_dev;     // distance from 0.5 from which a token counts
    double spam_cutoff; // spamicity from which the verdict is SPAM
    double ham_cutoff;  // spamicity up to which the verdict is HAM
    double sp_esf;      // effective-size factors of the two products
    double ns_esf;
};
extern ScoreParameters scoreParameters;

// The last score.
struct ScoreState {
    std::uint32_t robn; // tokens that counted
    double p_ln;        // scaled logarithms of the two products
    double q_ln;
    double p_pr; // their chi-square tails
    double q_pr;
    double spamicity;
};
extern ScoreState score_state;

// mantissa x 2^exponent: products of hundreds of small probabilities do not underflow.
struct ScaledProduct {
    double mantissa;
    std::int32_t exponent;
};

enum Verdict : std::uint32_t { VERDICT_SPAM = 0, VERDICT_HAM = 1, VERDICT_UNSURE = 2 };

// Sets the parameters that are not set; the prior comes from the open word list's store, once.
void init_score_params() noexcept;
// Scores the token list of the last segmentation into score_state.
double compute_spamicity() noexcept;
// NaN where the counts leave the probability undefined.
double token_probability(std::uint32_t ham, std::uint32_t spam, std::uint32_t hamMessages,
                         std::uint32_t spamMessages) noexcept;
double combine_chi_square(std::uint32_t robn, ScaledProduct hamSide, ScaledProduct spamSide) noexcept;
double chi2_upper_tail(double statistic, double degrees, double *tail) noexcept;
// The verdict on score_state's spamicity.
Verdict classify_spamicity() noexcept;

#endif
