// The incomplete gamma function of the GNU Scientific Library.
#include "VELQ_Gamma.h"

#include <cstdio>
#include <gsl/gsl_errno.h>
#include <gsl/gsl_sf_gamma.h>

// In place of GSL's own handler, which ends the process.
static void reportGslError(const char *reason, const char *file, int line, int)
{
    std::fprintf(stderr, "gsl: %s:%d: %s: %s\n", file, line, "ERROR", reason);
    std::fprintf(stderr, "Default GSL error handler invoked.\n");
}

double upper_gamma(double a, double x) noexcept
{
    gsl_set_error_handler(reportGslError);
    return gsl_sf_gamma_inc_Q(a, x);
}
