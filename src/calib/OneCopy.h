// ZEMCAL_ONE_COPY marks a function of which every caller must run the one
// compiled copy: the compiler may neither inline it nor clone it for
// particular arguments. Internal to the library; never installed.
//
// Why: when two NaNs meet in an operation the processor keeps one of them,
// and which one depends on how the compiler ordered the operands. Two
// compilations of the same source may order them differently, so the
// facade and the prepared corrector return the same NaN bits only if they
// run the same machine code for every step that computes with a point.
#pragma once

#if defined(__clang__)
#define ZEMCAL_ONE_COPY __attribute__((noinline))
#elif defined(__GNUC__)
#define ZEMCAL_ONE_COPY __attribute__((noinline, noclone))
#elif defined(_MSC_VER)
#define ZEMCAL_ONE_COPY __declspec(noinline)
#else
#define ZEMCAL_ONE_COPY
#endif
