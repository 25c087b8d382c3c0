// Lanes: four leads side by side, for the banks that filter whole frames.
//
// VectorLanes.h has them in the compiler's vector types, which g++ and clang++ turn into the vector
// instructions of any processor; PlainLanes.h for other compilers in four numbers. Every operation rounds
// each lane as the plain operator rounds one number: a bank gives the bits of its single-lead class.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if (defined(__clang__) || (defined(__GNUC__) && __GNUC__ >= 12)) && \
    __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ && !defined(QZ_PLAIN_LANES)
#include "core/filters/internal/VectorLanes.h"
#else
#include "core/filters/internal/PlainLanes.h"
#endif

/// Loads and stores the first `count` lanes, up to kLanes; the others load 0.
template <typename Sample>
inline IntLanes LoadSome(const Sample* x, std::size_t count) {
    if (count == kLanes) return LoadSamples(x);
    Sample four[kLanes] = {};
    std::memcpy(four, x, count * sizeof *x);
    return LoadSamples(four);
}
template <typename Sample>
inline void StoreSome(Sample* y, std::size_t count, IntLanes x) {
    if (count == kLanes) return StoreSamples(y, x);
    Sample four[kLanes];
    StoreSamples(four, x);
    std::memcpy(y, four, count * sizeof *y);
}

/// Runs through a frame of samples of 16 or 32 bits, four leads at a time: work(four, count, lanes), where
/// count is that of the leads in the four.
template <typename Sample, typename Work>
inline void ForEachFour(const Sample* frame, std::size_t leads, Work work) {
    for (std::size_t four = 0; leads > 0; ++four) {
        const std::size_t count = leads < kLanes ? leads : kLanes;
        work(four, count, LoadSome(frame, count));
        frame += count;
        leads -= count;
    }
}
/// The same in place: work(four, lanes) returns the new lanes, of which the bits of a sample are stored.
template <typename Sample, typename Work>
inline void ChangeEachFour(Sample* frame, std::size_t leads, Work work) {
    const auto change = [frame, &work](std::size_t four, std::size_t count, IntLanes x) {
        StoreSome(frame + four * kLanes, count, work(four, x));
    };
    ForEachFour(static_cast<const Sample*>(frame), leads, change);
}
