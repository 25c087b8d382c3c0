// Lanes: four leads side by side, for the banks that filter whole frames.
//
// The types are those of the compiler's vector extension, which g++ and clang++ turn into the vector
// instructions of any processor; other compilers get four numbers in a loop. Every operation rounds each lane
// as the plain operator rounds one number: a bank gives the bits of its single-lead class.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/Arithmetic.h"
#include "core/filters/FourLeads.h"

#if defined(__GNUC__) && !defined(QZ_PLAIN_LANES)

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
    const WordLanes above = (WordLanes)((Magnitude(x.low) > limit) | (Magnitude(x.high) > limit));
    return (above[0] | above[2]) != 0;
}
/// A lane whose magnitude is below the limit becomes 0.
inline DoubleLanes ZeroBelow(double limit, DoubleLanes x) {
    return {(DoublePair)((MaskPair)x.low & ~(Magnitude(x.low) < limit)),
            (DoublePair)((MaskPair)x.high & ~(Magnitude(x.high) < limit))};
}
/// TruncateToInt of every lane.
inline IntLanes TruncateToInts(DoubleLanes x) {
    const DoublePair sum = Magnitude(x.low) + Magnitude(x.high);
    if (sum[0] + sum[1] < 2147483648.0) return TruncateInRange(x);  // not so for a NaN
    return IntLanes{TruncateToInt(x.low[0]), TruncateToInt(x.low[1]), TruncateToInt(x.high[0]),
                    TruncateToInt(x.high[1])};
}
inline IntLanes LoadSamples(const short* x) {
    using Shorts = std::int16_t __attribute__((vector_size(8)));
    Shorts four;
    std::memcpy(&four, x, sizeof four);
    return __builtin_convertvector(four, IntLanes);
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
#endif

/// Runs through a frame of samples of 16 or 32 bits in place, four leads at a time: work(four, lanes) returns
/// the new lanes, of which the sample's bits are stored. Lanes without a lead read 0.
template <typename Sample, typename Work>
inline void ForEachFour(Sample* frame, std::size_t leads, Work work) {
    for (std::size_t four = 0; leads > 0; ++four) {
        struct {
            std::int64_t low, high;
        } last = {0, 0};  // four samples, of which the frame has some
        const bool isFull = leads >= kLanes;
        if (!isFull) std::memcpy(&last, frame, leads * sizeof *frame);
        Sample* samples = isFull ? frame : reinterpret_cast<Sample*>(&last);
        StoreSamples(samples, work(four, LoadSamples(samples)));
        if (!isFull) {
            std::memcpy(frame, &last, leads * sizeof *frame);
            return;
        }
        frame += kLanes;
        leads -= kLanes;
    }
}
