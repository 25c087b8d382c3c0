// VectorLanes: the lanes of internal/Lanes.h in the vector types of g++ and clang++.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/Arithmetic.h"
#include "core/filters/FourLeads.h"

using IntLanes = std::int32_t __attribute__((vector_size(16)));
using WordLanes = std::uint32_t __attribute__((vector_size(16)));
using DoublePair = double __attribute__((vector_size(16)));
using DoubleFour = double __attribute__((vector_size(32)));
using MaskPair = std::int64_t __attribute__((vector_size(16)));  // a lane is all ones or all zeros
struct DoubleLanes {
    DoublePair low, high;
};

inline DoubleLanes operator+(DoubleLanes a, DoubleLanes b) { return {a.low + b.low, a.high + b.high}; }
inline DoubleLanes operator-(DoubleLanes a, DoubleLanes b) { return {a.low - b.low, a.high - b.high}; }
inline DoubleLanes operator*(DoubleLanes a, DoubleLanes b) { return {a.low * b.low, a.high * b.high}; }
inline DoubleLanes operator/(DoubleLanes a, DoubleLanes b) { return {a.low / b.low, a.high / b.high}; }
inline DoubleLanes Load(const FourDoubles& x) {
    const auto* pairs = reinterpret_cast<const DoublePair*>(x.lanes.data());  // pairs alias doubles
    return {pairs[0], pairs[1]};
}
inline void Store(FourDoubles& to, DoubleLanes x) {
    auto* pairs = reinterpret_cast<DoublePair*>(to.lanes.data());
    pairs[0] = x.low;
    pairs[1] = x.high;
}
inline IntLanes Load(const FourInts& x) { return *reinterpret_cast<const IntLanes*>(x.lanes.data()); }
inline void Store(FourInts& to, IntLanes x) { *reinterpret_cast<IntLanes*>(to.lanes.data()) = x; }
inline DoubleLanes AllLanes(double x) {
    const DoublePair both = {x, x};
    return {both, both};
}
inline DoubleLanes ToDoubles(IntLanes x) {
    const DoubleFour four = __builtin_convertvector(x, DoubleFour);
    return {__builtin_shufflevector(four, four, 0, 1), __builtin_shufflevector(four, four, 2, 3)};
}
/// The truncated values, for lanes that all lie within 32 bits.
inline IntLanes TruncateInRange(DoubleLanes x) {
    const DoubleFour four = __builtin_shufflevector(x.low, x.high, 0, 1, 2, 3);
    return __builtin_convertvector(four, IntLanes);
}
inline IntLanes WrapAdd(IntLanes a, IntLanes b) { return (IntLanes)((WordLanes)a + (WordLanes)b); }
inline IntLanes WrapSub(IntLanes a, IntLanes b) { return (IntLanes)((WordLanes)a - (WordLanes)b); }
inline IntLanes AllLanes(int x) { return IntLanes{x, x, x, x}; }
/// All ones in the lanes of a that are above those of b, else 0.
inline IntLanes IsAbove(IntLanes a, IntLanes b) { return a > b; }
/// Every lane of a where the mask has all ones, and of b where it has all zeros.
inline IntLanes Select(IntLanes mask, IntLanes a, IntLanes b) { return (a & mask) | (b & ~mask); }
/// WrapToSample of every lane.
inline IntLanes WrapToSamples(IntLanes x) { return (IntLanes)((WordLanes)x << 16) >> 16; }
/// WrapAbs of every lane.
inline IntLanes Magnitude(IntLanes x) {
    const IntLanes sign = x >> 31;
    return WrapSub(x ^ sign, sign);
}
/// The smaller and the larger of every two lanes; b where a is NaN.
inline DoubleLanes Least(DoubleLanes a, DoubleLanes b) {
    return {a.low < b.low ? a.low : b.low, a.high < b.high ? a.high : b.high};
}
inline DoubleLanes Most(DoubleLanes a, DoubleLanes b) {
    return {a.low > b.low ? a.low : b.low, a.high > b.high ? a.high : b.high};
}
inline DoublePair Magnitude(DoublePair x) { return (DoublePair)((MaskPair)x & INT64_MAX); }
/// True if a lane's magnitude is above the limit.
inline bool IsAnyAbove(double limit, DoubleLanes x) {
    const MaskPair above = (Magnitude(x.low) > limit) | (Magnitude(x.high) > limit);
    return (above[0] | above[1]) != 0;
}
/// A lane whose magnitude is below the limit becomes 0.
inline DoubleLanes ZeroBelow(double limit, DoubleLanes x) {
    return {(DoublePair)((MaskPair)x.low & ~(Magnitude(x.low) < limit)),
            (DoublePair)((MaskPair)x.high & ~(Magnitude(x.high) < limit))};
}
/// True if a lane is not 0.
inline bool IsAny(IntLanes x) {
    const MaskPair lanes = (MaskPair)x;
    return (lanes[0] | lanes[1]) != 0;
}
/// TruncateToInt of every lane.
inline IntLanes TruncateToInts(DoubleLanes x) {
    const DoublePair sum = Magnitude(x.low) + Magnitude(x.high);
    if (sum[0] + sum[1] < 2147483648.0) return TruncateInRange(x);  // not so for a NaN
    return IntLanes{TruncateToInt(x.low[0]), TruncateToInt(x.low[1]), TruncateToInt(x.high[0]),
                    TruncateToInt(x.high[1])};
}
inline IntLanes LoadSamples(const short* x) {
    // Each sample goes into the upper half of a lane and is shifted down.
    using Shorts = std::int16_t __attribute__((vector_size(16)));
    std::int64_t bits;
    std::memcpy(&bits, x, sizeof bits);
    const auto four = (Shorts)MaskPair{bits, 0};
    return (IntLanes)__builtin_shufflevector(four, four, 0, 0, 1, 1, 2, 2, 3, 3) >> 16;
}
inline IntLanes LoadSamples(const int* x) {
    IntLanes four;
    std::memcpy(&four, x, sizeof four);
    return four;
}
inline void StoreSamples(int* y, IntLanes x) { std::memcpy(y, &x, sizeof x); }
/// Stores the low 16 bits of every lane.
inline void StoreSamples(short* y, IntLanes x) {
    using Shorts = std::int16_t __attribute__((vector_size(16)));
    const Shorts halves = (Shorts)x;
    const IntLanes pairs = (IntLanes)__builtin_shufflevector(halves, halves, 0, 2, 0, 2, 4, 6, 4, 6);
    const IntLanes four = __builtin_shufflevector(pairs, pairs, 0, 2, 0, 2);
    std::memcpy(y, &four, kLanes * sizeof(std::int16_t));
}
