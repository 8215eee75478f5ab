/* What GSL's own configuration would find out: every C library here has these functions. */
#define HAVE_DECL_ACOSH 1
#define HAVE_DECL_ASINH 1
#define HAVE_DECL_ATANH 1
#define HAVE_DECL_EXPM1 1
#define HAVE_DECL_FINITE 1
#define HAVE_DECL_FREXP 1
#define HAVE_DECL_HYPOT 1
#define HAVE_DECL_ISFINITE 1
#define HAVE_DECL_ISINF 1
#define HAVE_DECL_ISNAN 1
#define HAVE_DECL_LDEXP 1
#define HAVE_DECL_LOG1P 1
#define HAVE_EXIT_SUCCESS_AND_FAILURE 1
#define HAVE_C99_INLINE 1
#define HAVE_INLINE 1
#define HAVE_IEEE_COMPARISONS 1
#define HAVE_IEEE_DENORMALS 1
#define HAVE_PRINTF_LONGDOUBLE 1
#define HAVE_VPRINTF 1
#define RELEASED
