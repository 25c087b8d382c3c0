// Test signals, measurements and comparisons shared by all tests. Everything here is deterministic: the same
// arguments give the same samples on every platform (std::mt19937 is fixed by the standard, the standard
// distributions are not, so none is used).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

/// The sampling rates the library meets in the field, Hz; 257 and 360 are no multiple of a mains frequency.
inline constexpr int kSamplingRates[] = {200, 250, 257, 360, 500, 1000};
/// The low 16 bits of a value: what a 16-bit store keeps.
inline short Wrapped(long long value) { return static_cast<short>(value & 0xFFFF); }

/// A double as an int: toward zero, saturating at the ends of int, NaN gives 0.
inline int Truncated(double value) {
    if (std::isnan(value)) return 0;
    if (value >= std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
    if (value <= std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
    return static_cast<int>(value);
}

/// `n` samples, evenly spread over -amplitude .. amplitude; 32768 covers the whole 16-bit range.
/// A test that uses it names the seed in a SCOPED_TRACE, so that a failure prints it.
inline std::vector<short> RandomSamples(unsigned seed, std::size_t n, int amplitude) {
    std::mt19937 generator(seed);
    std::vector<short> samples(n);
    for (short& sample : samples)
        sample = Wrapped(static_cast<long long>(generator() % (2U * static_cast<unsigned>(amplitude) + 1U)) -
                         amplitude);
    return samples;
}

/// A sine of `hz` starting at phase 0, rounded to samples.
inline std::vector<short> Tone(int fs, std::size_t n, double hz, double amplitude) {
    std::vector<short> samples(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double angle = 2.0 * std::numbers::pi * hz * static_cast<double>(i) / fs;
        samples[i] = Wrapped(std::lround(amplitude * std::sin(angle)));
    }
    return samples;
}

/// A regular ECG of one lead: P, Q, R, S and T as Gaussians, the first R peak 0.4 of a cycle after the start.
/// `amplitude` is the height of the R peak in sample units; the base line is 0.
inline std::vector<short> SyntheticEcg(int fs, double seconds, double bpm, int amplitude) {
    struct Wave {
        double height;         // of R
        double centreSeconds;  // from R
        double sigmaSeconds;
    };
    static constexpr Wave kWaves[] = {{0.12, -0.170, 0.022},
                                      {-0.12, -0.028, 0.008},
                                      {1.0, 0.0, 0.010},
                                      {-0.20, 0.028, 0.009},
                                      {0.28, 0.230, 0.040}};
    const double cycle = 60.0 / bpm;
    std::vector<short> samples(static_cast<std::size_t>(seconds * fs));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double time = static_cast<double>(i) / fs;
        double value = 0;
        for (const Wave& wave : kWaves) {
            const double toCentre = std::remainder(time - 0.4 * cycle - wave.centreSeconds, cycle);
            value += wave.height * std::exp(-0.5 * std::pow(toCentre / wave.sigmaSeconds, 2.0));
        }
        samples[i] = Wrapped(std::lround(amplitude * value));
    }
    return samples;
}

/// The magnitude of the response's spectrum at `hz`; for a unit impulse response the gain there.
template <typename Number>
double Gain(const std::vector<Number>& response, double hz, double fs) {
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < response.size(); ++i)
        sum += static_cast<double>(response[i]) *
               std::polar(1.0, -2.0 * std::numbers::pi * hz * static_cast<double>(i) / fs);
    return std::abs(sum);
}

/// Fails with the first place where two sequences differ. Doubles compare to the bit but for the sign and
/// payload of NaN.
template <typename Number>
void ExpectSame(const std::vector<Number>& expected, const std::vector<Number>& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const bool bothNan = std::isnan(1.0 * expected[i]) && std::isnan(1.0 * actual[i]);
        ASSERT_TRUE(expected[i] == actual[i] || bothNan)
            << "at sample " << i << ": expected " << expected[i] << ", got " << actual[i];
    }
}
