// PlainLanes: the lanes of internal/Lanes.h as four numbers, for compilers without vector types.
// VectorLanes.h says what each function does.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/Arithmetic.h"
#include "core/filters/FourLeads.h"

template <typename Number>
struct PlainLanes {
    std::array<Number, kLanes> lanes;
};
using IntLanes = PlainLanes<std::int32_t>;
using DoubleLanes = PlainLanes<double>;

/// The lanes f(i) of any kind.
template <typename Function>
inline auto MakeLanes(Function f) {
    return PlainLanes<decltype(f(0))>{{f(0), f(1), f(2), f(3)}};
}
inline DoubleLanes operator+(DoubleLanes a, DoubleLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] + b.lanes[i]; });
}
inline DoubleLanes operator-(DoubleLanes a, DoubleLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] - b.lanes[i]; });
}
inline DoubleLanes operator*(DoubleLanes a, DoubleLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] * b.lanes[i]; });
}
inline DoubleLanes operator/(DoubleLanes a, DoubleLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] / b.lanes[i]; });
}
inline IntLanes operator&(IntLanes a, IntLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] & b.lanes[i]; });
}
inline IntLanes operator|(IntLanes a, IntLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] | b.lanes[i]; });
}
inline IntLanes operator~(IntLanes a) {
    return MakeLanes([&](std::size_t i) { return ~a.lanes[i]; });
}
inline DoubleLanes Load(const FourDoubles& x) { return {x.lanes}; }
inline void Store(FourDoubles& to, DoubleLanes x) { to.lanes = x.lanes; }
inline IntLanes Load(const FourInts& x) { return {x.lanes}; }
inline void Store(FourInts& to, IntLanes x) { to.lanes = x.lanes; }
inline DoubleLanes AllLanes(double x) { return {{x, x, x, x}}; }
inline IntLanes AllLanes(int x) { return {{x, x, x, x}}; }
inline DoubleLanes ToDoubles(IntLanes x) {
    return MakeLanes([&](std::size_t i) { return static_cast<double>(x.lanes[i]); });
}
inline IntLanes TruncateToInts(DoubleLanes x) {
    return MakeLanes([&](std::size_t i) { return TruncateToInt(x.lanes[i]); });
}
inline IntLanes TruncateInRange(DoubleLanes x) { return TruncateToInts(x); }
inline IntLanes WrapAdd(IntLanes a, IntLanes b) {
    return MakeLanes([&](std::size_t i) { return WrapAdd(a.lanes[i], b.lanes[i]); });
}
inline IntLanes WrapSub(IntLanes a, IntLanes b) {
    return MakeLanes([&](std::size_t i) { return WrapSub(a.lanes[i], b.lanes[i]); });
}
inline IntLanes IsAbove(IntLanes a, IntLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] > b.lanes[i] ? -1 : 0; });
}
inline IntLanes Select(IntLanes mask, IntLanes a, IntLanes b) { return (a & mask) | (b & ~mask); }
inline IntLanes WrapToSamples(IntLanes x) {
    return MakeLanes([&](std::size_t i) { return int{WrapToSample(x.lanes[i])}; });
}
inline IntLanes Magnitude(IntLanes x) {
    return MakeLanes([&](std::size_t i) { return WrapAbs(x.lanes[i]); });
}
inline DoubleLanes Least(DoubleLanes a, DoubleLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] < b.lanes[i] ? a.lanes[i] : b.lanes[i]; });
}
inline DoubleLanes Most(DoubleLanes a, DoubleLanes b) {
    return MakeLanes([&](std::size_t i) { return a.lanes[i] > b.lanes[i] ? a.lanes[i] : b.lanes[i]; });
}
inline bool IsAnyAbove(double limit, DoubleLanes x) {
    return std::any_of(x.lanes.begin(), x.lanes.end(),
                       [limit](double lane) { return std::fabs(lane) > limit; });
}
inline bool IsAny(IntLanes x) {
    return std::any_of(x.lanes.begin(), x.lanes.end(), [](std::int32_t lane) { return lane != 0; });
}
inline DoubleLanes ZeroBelow(double limit, DoubleLanes x) {
    return MakeLanes([&](std::size_t i) { return std::fabs(x.lanes[i]) < limit ? 0.0 : x.lanes[i]; });
}
template <typename Sample>
inline IntLanes LoadSamples(const Sample* x) {
    return MakeLanes([&](std::size_t i) { return int{x[i]}; });
}
inline void StoreSamples(int* y, IntLanes x) { std::copy(x.lanes.begin(), x.lanes.end(), y); }
inline void StoreSamples(short* y, IntLanes x) {
    std::transform(x.lanes.begin(), x.lanes.end(), y, WrapToSample);
}
