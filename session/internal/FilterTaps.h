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

/// The part of Convolve for N leads, the first of which `rows` and `sums` point to.
template <std::size_t N>
void ConvolveLeads(const std::vector<float>& taps, std::size_t chn, const float* rows, float* sums) {
    float sum[N] = {};
    for (const float tap : taps) {
        for (std::size_t c = 0; c < N; ++c) sum[c] += tap * rows[c];
        rows += chn;
    }
    std::copy_n(sum, N, sums);
}

/// Writes to `sums` what the taps make of `chn` leads side by side: `rows` holds the samples of all leads
/// under the first tap, then those under the next. Each lead is summed up from the first tap to the last;
/// leads go together, as none has to wait for the sum of another. Single precision puts a sum of 200 terms
/// off by a hundred thousandth of its largest ones.
inline void Convolve(const std::vector<float>& taps, std::size_t chn, const float* rows, float* sums) {
    std::size_t c = 0;
    for (; c + 12 <= chn; c += 12) ConvolveLeads<12>(taps, chn, rows + c, sums + c);
    for (; c + 4 <= chn; c += 4) ConvolveLeads<4>(taps, chn, rows + c, sums + c);
    for (; c < chn; ++c) ConvolveLeads<1>(taps, chn, rows + c, sums + c);
}

}  // namespace qz
