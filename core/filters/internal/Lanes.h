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
using DoublePair = double __attribute__((vector_size(16)));
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
    using IntPair = std::int32_t __attribute__((vector_size(8)));
    const IntPair low = __builtin_shufflevector(x, x, 0, 1), high = __builtin_shufflevector(x, x, 2, 3);
    return {__builtin_convertvector(low, DoublePair), __builtin_convertvector(high, DoublePair)};
}
/// The truncated values, for lanes that all lie within 32 bits.
inline IntLanes TruncateInRange(DoubleLanes x) {
    using Four = double __attribute__((vector_size(32)));
    const Four four = __builtin_shufflevector(x.low, x.high, 0, 1, 2, 3);
    return __builtin_convertvector(four, IntLanes);
}
inline DoublePair Magnitude(DoublePair x) { return (DoublePair)((MaskPair)x & INT64_MAX); }
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
inline IntLanes LoadSamples(const void* x) {
    using Shorts = std::int16_t __attribute__((vector_size(8)));
    Shorts four;
    std::memcpy(&four, x, sizeof four);
    return __builtin_convertvector(four, IntLanes);
}
/// Stores the low 16 bits of every lane.
inline void StoreSamples(void* y, IntLanes x) {
    using Shorts = std::int16_t __attribute__((vector_size(16)));
    const Shorts halves = (Shorts)x;
    const IntLanes pairs = (IntLanes)__builtin_shufflevector(halves, halves, 0, 2, 0, 2, 4, 6, 4, 6);
    const IntLanes four = __builtin_shufflevector(pairs, pairs, 0, 2, 0, 2);
    std::memcpy(y, &four, kLanes * sizeof(std::int16_t));
}
#endif

/// Runs through a frame in place, four leads at a time: work(four, lanes) returns the new lanes, of which 16
/// bits are stored. Lanes without a lead read 0.
template <typename Work>
inline void ForEachFour(short* frame, std::size_t leads, Work work) {
    std::size_t four = 0;
    for (; (four + 1) * kLanes <= leads; ++four, frame += kLanes)
        StoreSamples(frame, work(four, LoadSamples(frame)));
    const std::size_t rest = leads - four * kLanes;
    if (rest == 0) return;
    std::int64_t last = 0;  // four samples
    std::memcpy(&last, frame, rest * sizeof *frame);
    auto* samples = reinterpret_cast<char*>(&last);
    StoreSamples(samples, work(four, LoadSamples(samples)));
    std::memcpy(frame, &last, rest * sizeof *frame);
}
