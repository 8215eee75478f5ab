// The two libraries' incomplete gamma functions over arguments as messages give them: up to 29 tokens, and logarithms
// of products from the smallest to the largest. Each against the finite sum in long double, and against each other.
//
// The environment variable VELQ_GAMMA_ARGUMENTS sets the number of random arguments.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <random>

double upper_gamma_of_gsl(double a, double x) noexcept;
double upper_gamma_of_boost(double a, double x) noexcept;

namespace {

long arguments()
{
    const char *text = std::getenv("VELQ_GAMMA_ARGUMENTS");
    return std::max(text == nullptr ? 20000L : std::strtol(text, nullptr, 10), 1L);
}

struct Argument {
    int a = 1;
    double x = 0;
};

// Half of the values of x spread evenly, half over all magnitudes.
class Arguments {
  public:
    Argument next()
    {
        const bool even = tokens_(numbers_) % 2 == 0;
        return {tokens_(numbers_), even ? value_(numbers_) : std::exp(magnitude_(numbers_))};
    }

  private:
    std::mt19937_64 numbers_{20260101};
    std::uniform_int_distribution<int> tokens_{1, 29};
    std::uniform_real_distribution<double> value_{1e-3, 780};
    std::uniform_real_distribution<double> magnitude_{std::log(1e-12), std::log(780.0)};
};

// e^-x (1 + x + x^2/2! + ... + x^(a-1)/(a-1)!)
long double finiteSum(const Argument &at)
{
    const long double x = at.x;
    long double term = 1;
    long double sum = 0;
    for (int k = 1; k <= at.a; ++k) {
        sum += term;
        term *= x / k;
    }
    // In two steps: where a long double is a double, e^-x alone would have lost its precision.
    const long double half = std::exp(-x / 2);
    return half * (half * sum);
}

// The largest relative difference so far, and where it was.
struct Largest {
    double difference = 0;
    Argument at;

    void take(long double value, long double expected, const Argument &argument)
    {
        const auto relative = static_cast<double>(std::fabs(value - expected) / expected);
        if (!(relative <= difference)) { // NaN is taken too
            difference = relative;
            at = argument;
        }
    }
    void print(const char *what) const
    {
        std::cout << what << ": " << difference << ", at a = " << at.a << ", x = " << at.x << "\n";
    }
};

TEST(upper_gamma, agrees_between_the_libraries_and_with_its_finite_sum)
{
    Arguments random;
    Largest between;
    Largest gsl;
    Largest boost;
    double absolute = 0;
    long compared = 0;
    const long count = arguments();
    for (long i = 0; i < count; ++i) {
        const Argument at = random.next();
        const long double expected = finiteSum(at);
        const double ofGsl = upper_gamma_of_gsl(at.a, at.x);
        const double ofBoost = upper_gamma_of_boost(at.a, at.x);
        absolute = std::max(absolute, std::fabs(ofGsl - ofBoost));
        // Relative differences mean nothing where a double has no full precision left.
        if (expected >= static_cast<long double>(DBL_MIN) * 1e5L) {
            ++compared;
            gsl.take(ofGsl, expected, at);
            boost.take(ofBoost, expected, at);
            between.take(ofBoost, ofGsl, at);
        } else {
            EXPECT_LT(ofGsl, 1e-300) << at.a << " " << at.x;
            EXPECT_LT(ofBoost, 1e-300) << at.a << " " << at.x;
        }
    }
    std::cout << count << " arguments, " << compared << " of them with a tail above " << DBL_MIN * 1e5 << "\n";
    between.print("largest relative difference between the libraries");
    gsl.print("of GSL's from the finite sum");
    boost.print("of Boost's from the finite sum");
    std::cout << "largest absolute difference between the libraries: " << absolute << "\n";
    EXPECT_GT(compared * 2, count);
    EXPECT_LT(between.difference, 1e-9);
    EXPECT_LT(absolute, 1e-13);
}

} // namespace
