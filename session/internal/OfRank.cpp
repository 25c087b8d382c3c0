#include "session/internal/OfRank.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "core/FloatingPoint.h"
#include "core/filters/internal/WideVectors.h"

namespace qz {

namespace {

QZ_BOTH_WIDTHS float FindOfRank(float* values, std::size_t count, std::size_t rank, float guess) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (; count % kRankAtOnce != 0; ++count) values[count] = kInfinity;
    while (true) {
        int below[kRankAtOnce] = {}, above[kRankAtOnce] = {};
        float under[kRankAtOnce], over[kRankAtOnce];
        std::fill_n(under, kRankAtOnce, -kInfinity);
        std::fill_n(over, kRankAtOnce, kInfinity);
        for (const float* x = values; x != values + count; x += kRankAtOnce) {
            for (std::size_t n = 0; n < kRankAtOnce; ++n) {
                below[n] += x[n] < guess ? 1 : 0;
                above[n] += x[n] > guess ? 1 : 0;
                under[n] = x[n] < guess && x[n] > under[n] ? x[n] : under[n];
                over[n] = x[n] > guess && x[n] < over[n] ? x[n] : over[n];
            }
        }
        if (static_cast<std::size_t>(std::accumulate(below, below + kRankAtOnce, 0)) > rank)
            guess = *std::max_element(under, under + kRankAtOnce);
        else if (count - static_cast<std::size_t>(std::accumulate(above, above + kRankAtOnce, 0)) <= rank)
            guess = *std::min_element(over, over + kRankAtOnce);
        else
            return guess;
    }
}

QZ_WIDE_VECTORS float FindOfRankWide(float* values, std::size_t count, std::size_t rank, float guess) {
    return FindOfRank(values, count, rank, guess);
}

}  // namespace

float OfRank(float* values, std::size_t count, std::size_t rank, float guess) {
    return HasWideVectors() ? FindOfRankWide(values, count, rank, guess)
                            : FindOfRank(values, count, rank, guess);
}

}  // namespace qz
