// What the processor offers beyond the compiler's baseline (internal): the one place that asks.
#pragma once

// SSE2 is part of every x86-64 processor, so code for it needs no question at run time.
#if defined(__SSE2__) || defined(_M_X64)
#define VX_HAVE_SSE2 1
#endif

// Later instruction sets are compiled into single functions (target attributes) and chosen at
// run time, which GCC and Clang offer on x86-64.
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define VX_CPU_DISPATCH 1

namespace vx::detail {

// Carry-less multiplication (with SSE2), for folding CRCs; asked once.
inline bool cpuHasCarrylessMultiply() {
    static const bool has = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse2");
    return has;
}

// SSSE3 byte shuffles; asked once.
inline bool cpuHasSsse3() {
    static const bool has = __builtin_cpu_supports("ssse3");
    return has;
}

} // namespace vx::detail
#endif
