// The incomplete gamma function of Boost.Math. Its errors give NaN, or 0 for what is too small, without a message.
#include "VELQ_Gamma.h"

#include <boost/math/policies/policy.hpp>
#include <boost/math/special_functions/gamma.hpp>

namespace policies = boost::math::policies;

// All in double: long double differs between processors.
using GammaPolicy = policies::policy<
    policies::domain_error<policies::ignore_error>, policies::pole_error<policies::ignore_error>,
    policies::overflow_error<policies::ignore_error>, policies::underflow_error<policies::ignore_error>,
    policies::denorm_error<policies::ignore_error>, policies::evaluation_error<policies::ignore_error>,
    policies::rounding_error<policies::ignore_error>, policies::indeterminate_result_error<policies::ignore_error>,
    policies::promote_float<false>, policies::promote_double<false>>;

double upper_gamma(double a, double x) noexcept
{
    return boost::math::gamma_q(a, x, GammaPolicy());
}
