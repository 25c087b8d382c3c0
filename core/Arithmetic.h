// The conversions and the wrapping integer arithmetic that the whole library shares.
//
// Every result is to be the same on every machine, so nothing here is left to the compiler or the
// processor: conversions that C++ leaves undefined are given a value, and 32-bit sums that may overflow
// on absurd input wrap. On ordinary input these are the plain operators. Every source that computes includes
// this header, and with it the guards of core/FloatingPoint.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "core/FloatingPoint.h"

/// double -> int: truncates toward zero, saturates outside the 32-bit range, NaN gives 0.
inline int TruncateToInt(double x) {
    if (x >= 2147483647.0) return INT32_MAX;
    if (x > -2147483649.0) return static_cast<int>(x);
    return x < 0 ? INT32_MIN : 0;  // 0: NaN
}

/// int -> sample: keeps the low 16 bits (40000 becomes -25536).
inline short WrapToSample(int x) { return static_cast<short>(static_cast<std::uint16_t>(x)); }

/// double -> sample: truncates toward zero to 32 bits, then keeps the low 16.
inline short TruncateToSample(double x) { return WrapToSample(TruncateToInt(x)); }

/// 32-bit sums, differences and magnitudes modulo 2^32; |INT32_MIN| stays INT32_MIN.
inline int WrapAdd(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline int WrapSub(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
inline int WrapAbs(int a) { return a < 0 ? WrapSub(0, a) : a; }

/// Milliseconds -> samples at fs samples per second, truncated toward zero.
inline int MsToSamples(int ms, int fs) { return static_cast<int>(std::int64_t{ms} * fs / 1000); }

/// Samples -> milliseconds, truncated toward zero; 0 at a rate of 0. The product wraps at 64 bits.
inline std::int64_t SamplesToMs(std::int64_t samples, int fs) {
    const std::uint64_t product = static_cast<std::uint64_t>(samples) * 1000U;
    if (fs == 0) return 0;
    if (fs == -1) return static_cast<std::int64_t>(0U - product);  // the one quotient that can overflow
    return static_cast<std::int64_t>(product) / fs;
}

/// The number of elements to allocate for `n` channels. A negative count is a request that no allocator
/// can meet and fails as one.
inline std::size_t ElementCount(int n) {
    if (n < 0) throw std::bad_array_new_length();
    return static_cast<std::size_t>(n);
}
