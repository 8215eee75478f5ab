// The incomplete gamma function, from the library that the build has chosen (VELQ_GAMMA).
#ifndef VELQ_GAMMA_H
#define VELQ_GAMMA_H

// The normalised upper incomplete gamma function Q(a, x), for x above 0. NaN where it is not defined. An error of the
// library never ends the process.
double upper_gamma(double a, double x) noexcept;

#endif
