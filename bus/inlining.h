// Two wishes to the compiler, for the functions that each control calls several times.
//
// KT_SELDOM     stays out of whoever calls it, whose usual way is then a few steps without a frame.
// KT_IN_PLACE   becomes part of whoever calls it, although that has several callers.
#pragma once

#if defined(__GNUC__)
#define KT_SELDOM __attribute__((noinline))
#define KT_IN_PLACE inline __attribute__((always_inline))
#else
#define KT_SELDOM
#define KT_IN_PLACE inline
#endif
