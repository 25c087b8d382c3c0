// FilterTaps: filters without distortion of phase, and correlations: sums of products side by side.
#pragma once

#include <cstddef>
#include <vector>

namespace qz {

/// The ideal band-pass from lowHz to highHz under a Hamming window, less what it would let through of a
/// level: 2 `half` + 1 taps, symmetric, for `rate` samples per second.
std::vector<float> BandPassTaps(double lowHz, double highHz, double rate, long long half);

/// Of taps of odd number: those before the middle one.
inline long long Half(const std::vector<float>& taps) { return static_cast<long long>(taps.size() / 2); }

/// Adds to each of `width` sums side by side what `count` taps make of the samples under them:
///
///   sums[i] += taps[0] x[i] + taps[1] x[i + step] + taps[2] x[i + 2 step] + ...
///
/// Where x holds the samples of all leads at one place, then those at the next, and `step` is the number of
/// leads, a width of so many filters all leads at one place, and a multiple of it several places together.
/// Each sum runs from the first tap to the last, whatever the width; sums side by side do not wait for each
/// other. Single precision puts a sum of 200 terms off by a hundred thousandth of its largest ones.
void AddProducts(const float* taps, std::size_t count, const float* x, std::size_t step, std::size_t width,
                 float* sums);
void AddProducts(const float* taps, std::size_t count, const double* x, std::size_t step, std::size_t width,
                 double* sums);

}  // namespace qz
