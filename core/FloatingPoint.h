// Every result is to be the same on every machine: a build whose floating point differs from plain IEEE
// double arithmetic is refused here, and multiply and add are kept apart whatever the compiler's options are.
//
// The builds of this project pass -ffp-contract=off. The pragmas say the same for builds that cannot pass
// options, Swift packages above all, and for g++ outside this project, which fuses by default where the
// processor can. They hold for the code that follows in the same source. Of the parts of -ffast-math clang
// tells no macro but for all of them together: its pragmas take back those that it does not tell.
#pragma once

#include <cfloat>

#if defined(__FAST_MATH__) || defined(__ASSOCIATIVE_MATH__) || defined(__RECIPROCAL_MATH__) || \
    defined(__NO_SIGNED_ZEROS__) || (defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__) || \
    defined(_M_FP_FAST)
#error "qzStressTemplLib: -ffast-math, or a part of it, changes results. Build without it."
#endif
static_assert(sizeof(1.0) == sizeof(double),
              "qzStressTemplLib: -fsingle-precision-constant changes results. Build without it.");
// 16 speaks of half precision alone and evaluates double as 0 does.
#if FLT_EVAL_METHOD != 0 && FLT_EVAL_METHOD != 16
#error "qzStressTemplLib: excess precision (x87) changes results. Build with -msse2 -mfpmath=sse."
#endif

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wignored-pragmas"  // where a target does not know the first
#pragma float_control(precise, on)
#pragma clang diagnostic pop
#pragma clang fp contract(off) reassociate(off)
#elif defined(__GNUC__)
#pragma GCC optimize("-ffp-contract=off")
#elif defined(_MSC_VER)
#pragma fp_contract(off)
#endif
