// FilterTaps: coefficients of filters without distortion of phase.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace qz {

/// The ideal band-pass from lowHz to highHz under a Hamming window, less what it would let through of a
/// level: 2 `half` + 1 taps, symmetric, for `rate` samples per second.
std::vector<float> BandPassTaps(double lowHz, double highHz, double rate, long long half);

/// Of taps of odd number: those before the middle one.
inline long long Half(const std::vector<float>& taps) { return static_cast<long long>(taps.size() / 2); }

/// The part of Convolve for N leads from `first` on.
template <std::size_t N, typename RowOf>
void ConvolveLeads(const std::vector<float>& taps, std::size_t first, RowOf rowOf, float* sums) {
    float sum[N] = {};
    for (std::size_t i = 0; i < taps.size(); ++i) {
        const float* const row = rowOf(i) + first;
        for (std::size_t c = 0; c < N; ++c) sum[c] += taps[i] * row[c];
    }
    std::copy_n(sum, N, sums + first);
}

/// Writes to `sums` what the taps make of `chn` leads side by side: rowOf(i) are the samples of all leads
/// under tap i. Each lead is summed up from the first tap to the last; leads go together, as none has to wait
/// for the sum of another. Single precision puts a sum of 200 terms off by a hundred thousandth of its
/// largest ones.
template <typename RowOf>
void Convolve(const std::vector<float>& taps, std::size_t chn, RowOf rowOf, float* sums) {
    std::size_t first = 0;
    for (; first + 8 <= chn; first += 8) ConvolveLeads<8>(taps, first, rowOf, sums);
    for (; first + 4 <= chn; first += 4) ConvolveLeads<4>(taps, first, rowOf, sums);
    for (; first < chn; ++first) ConvolveLeads<1>(taps, first, rowOf, sums);
}

}  // namespace qz
