// Scoring over the token list. Segmentation filled it; opening the store is the caller's.
#include "bfilter/VELQ_BFilter_Score.h"

#include "VELQ_Util.h"
#include "VELQ_Word_Seg.h"
#include "bfilter/VELQ_BFilter_WordList.h"
#include "bfilter/VELQ_Gamma.h"

#include <cmath>
#include <limits>

static constexpr double epsilon = std::numeric_limits<double>::epsilon();
static constexpr double defaultPrior = 0.52;

ScoreParameters scoreParameters = {
    .robs = 0, .robx = 0, .min_dev = 0, .spam_cutoff = 0, .ham_cutoff = 0.45, .sp_esf = 1.0, .ns_esf = 1.0};
ScoreState score_state;

// The stored prior, or the default where the store has none.
static double readPrior() noexcept
{
    if (word_list == nullptr || word_list->store == nullptr) {
        return defaultPrior;
    }
    word *key = new_word(".ROBX");
    if (key == nullptr) {
        return defaultPrior;
    }
    token_value value{};
    const int code = ds_read(word_list->store, key, &value);
    freeMemory(key);
    constexpr double unit = 0.000001;
    return code == dsFound && value.spam != 0 ? value.spam * unit : defaultPrior;
}

void init_score_params() noexcept
{
    ScoreParameters &parameters = scoreParameters;
    if (std::fabs(parameters.min_dev) < epsilon) {
        parameters.min_dev = 0.375;
    }
    if (parameters.spam_cutoff < epsilon) {
        parameters.spam_cutoff = 0.9;
    }
    if (std::fabs(parameters.robs) < epsilon) {
        parameters.robs = 0.0178;
    }
    if (std::fabs(parameters.robx) < epsilon) {
        parameters.robx = readPrior();
    }
}

double token_probability(std::uint32_t ham, std::uint32_t spam, std::uint32_t hamMessages,
                         std::uint32_t spamMessages) noexcept
{
    const std::uint32_t seen = ham + spam; // wraps, as do the counts themselves
    if (seen == 0) {
        return scoreParameters.robx;
    }
    const double n = static_cast<std::int32_t>(seen);
    const double spamWeight = static_cast<double>(spam) * static_cast<double>(hamMessages);
    const double hamWeight = static_cast<double>(ham) * static_cast<double>(spamMessages);
    const double p = spamWeight / (hamWeight + spamWeight);
    return (n * p + scoreParameters.robs * scoreParameters.robx) / (n + scoreParameters.robs);
}

static void multiply(ScaledProduct &product, double factor) noexcept
{
    constexpr double smallest = 1e-200;
    product.mantissa *= factor;
    if (product.mantissa < smallest) {
        int exponent = 0;
        product.mantissa = std::frexp(product.mantissa, &exponent);
        product.exponent += exponent;
    }
}

double compute_spamicity() noexcept
{
    ScaledProduct hamSide{1.0, 0};
    ScaledProduct spamSide{1.0, 0};
    std::uint32_t robn = 0;
    for (std::uint32_t i = 0; i < get_token_count(); ++i) {
        const double p = token_probability(get_token_ham_count(i), get_token_spam_count(i), get_token_ham_msgs(i),
                                           get_token_spam_msgs(i));
        if (std::fabs(0.5 - p) - scoreParameters.min_dev >= epsilon) { // false for NaN: such a token is skipped
            multiply(hamSide, 1 - p);
            multiply(spamSide, p);
            ++robn;
        }
    }
    return combine_chi_square(robn, hamSide, spamSide);
}

static double logarithm(const ScaledProduct &product) noexcept
{
    return std::log(product.mantissa) + product.exponent * std::log(2.0);
}

double combine_chi_square(std::uint32_t robn, ScaledProduct hamSide, ScaledProduct spamSide) noexcept
{
    ScoreState &state = score_state;
    if (robn == 0) {
        state.spamicity = scoreParameters.robx;
        return state.spamicity;
    }
    const double sp_esf = scoreParameters.sp_esf;
    const double ns_esf = scoreParameters.ns_esf;
    state.robn = robn;
    state.p_ln = logarithm(hamSide) * sp_esf;
    state.q_ln = logarithm(spamSide) * ns_esf;
    chi2_upper_tail(-2.0 * state.p_ln, robn * sp_esf * 2.0, &state.p_pr);
    chi2_upper_tail(-2.0 * state.q_ln, robn * ns_esf * 2.0, &state.q_pr);
    if (sp_esf >= 1.0 && ns_esf >= 1.0) {
        state.spamicity = (1.0 + state.q_pr - state.p_pr) * 0.5;
    } else if (state.q_pr < epsilon && state.p_pr < epsilon) {
        state.spamicity = 0.5;
    } else {
        state.spamicity = state.q_pr / (state.p_pr + state.q_pr);
    }
    return state.spamicity;
}

double chi2_upper_tail(double statistic, double degrees, double *tail) noexcept
{
    *tail = statistic <= 0 ? 1.0 : upper_gamma(degrees / 2, statistic / 2);
    return *tail;
}

Verdict classify_spamicity() noexcept
{
    if (score_state.spamicity >= scoreParameters.spam_cutoff) {
        return VERDICT_SPAM;
    }
    if (scoreParameters.ham_cutoff < epsilon || score_state.spamicity <= scoreParameters.ham_cutoff) {
        return VERDICT_HAM;
    }
    return VERDICT_UNSURE;
}
