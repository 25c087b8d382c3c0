// FilterTaps: coefficients of filters without distortion of phase.
#pragma once

#include <vector>

namespace qz {

/// The ideal band-pass from lowHz to highHz under a Hamming window, less what it would let through of a
/// level: 2 `half` + 1 taps, symmetric, for `rate` samples per second.
std::vector<double> BandPassTaps(double lowHz, double highHz, double rate, long long half);

/// Of taps of odd number: those before the middle one.
inline long long Half(const std::vector<double>& taps) { return static_cast<long long>(taps.size() / 2); }

}  // namespace qz
