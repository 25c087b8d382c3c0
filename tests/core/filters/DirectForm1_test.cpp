// The three filters made of one second-order section: low-pass, high-pass and notch.
#include "core/filters/DirectForm1.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/filters/CHighpassFilter.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/filters/CNotchFilter.h"
#include "tests/support/Signals.h"

namespace {

constexpr double kPi = 3.141592653589793, kSqrt2 = 1.4142135623730951;

/// The difference equation over the whole past: the slow form of all three, to the last bit.
struct SlowSection {
    double b0, b1, b2, a1, a2;
    double smallest = 0;  // outputs below this magnitude become 0

    /// The outputs for `x`, when all inputs and outputs before the first were `before`.
    std::vector<double> Run(const std::vector<short>& x, double before = 0) const {
        std::vector<double> in(2, before), out(2, before);
        for (const short value : x) {
            in.push_back(value);
            const std::size_t n = in.size() - 1;
            double sum = b0 * in[n];
            sum += b1 * in[n - 1];
            sum += b2 * in[n - 2];
            sum -= a1 * out[n - 1];
            sum -= a2 * out[n - 2];
            out.push_back(std::fabs(sum) < smallest ? 0.0 : sum);
        }
        return {out.begin() + 2, out.end()};
    }
};

SlowSection SlowLowpass(double fc, int fs) {
    const double c = 1 / std::tan(kPi * fc / fs), square = c * c, divisor = kSqrt2 * c + square + 1;
    return {1 / divisor, 2 / divisor, 1 / divisor, (square - 1) * -2 / divisor,
            (c * -kSqrt2 + square + 1) / divisor};
}

SlowSection SlowHighpass(double fc, int fs) {
    const double r = fs / fc, c = r / kPi, square = c * c, divisor = 0.5883003 * r + 1 + square;
    const double b0 = square / divisor;
    return {b0, -2 * b0, b0, (c * -2 * c + 2) / divisor, (-0.5883003 * r + 1 + square) / divisor, 1e-100};
}

SlowSection SlowNotch(double f0, int fs, double q) {
    const double c = 1 / std::tan(kPi * f0 / fs), n = (1 + c * c) * q, divisor = c + n;
    const double middle = (c * c - 1) * (-2 * q) / divisor;
    return {n / divisor, middle, n / divisor, middle, (n - c) / divisor};
}

/// The double form must give `expected` to the bit; so must a copy that is fed in both forms by turns, where
/// the int form truncates: both share one delay line of full precision.
template <typename AnyFilter>
void ExpectFilters(AnyFilter filter, const std::vector<short>& x, const std::vector<double>& expected) {
    AnyFilter mixed = filter;
    std::vector<double> outputs, mixedOutputs, truncated = expected;
    for (std::size_t i = 0; i < x.size(); ++i) {
        outputs.push_back(filter.Filter(static_cast<double>(x[i])));
        const bool whole = i % 3 != 0;
        if (whole) truncated[i] = Truncated(expected[i]);
        mixedOutputs.push_back(whole ? mixed.Filter(static_cast<int>(x[i]))
                                     : mixed.Filter(static_cast<double>(x[i])));
    }
    ExpectSame(expected, outputs);
    ExpectSame(truncated, mixedOutputs);
}

/// The gain at each of the frequencies, from an impulse response long enough to have died away.
template <typename AnyFilter>
void ExpectGains(AnyFilter filter, const std::vector<std::pair<double, double>>& gains, double tolerance) {
    std::vector<double> response;
    for (int i = 0; i < 1 << 15; ++i) response.push_back(filter.Filter(i == 0 ? 1.0 : 0.0));
    for (const auto& [hz, gain] : gains) EXPECT_NEAR(Gain(response, hz, 500), gain, tolerance) << hz << " Hz";
}

}  // namespace

TEST(DirectForm1, PassesAndStopsWhereItsThreeFiltersPromise) {
    for (const double fc : {5.0, 40.0, 75.0})
        ExpectGains(CLowpassFilter2(fc, 500), {{0, 1}, {fc, std::sqrt(0.5)}, {250, 0}}, 1e-9);
    // More damped than Butterworth; the corner is not pre-warped, which costs less than 0.01 % down here.
    for (const double fc : {0.5, 2.0})
        ExpectGains(CHighpassFilter(fc, 500), {{0, 0}, {fc, 1 / (0.5883003 * kPi)}, {250, 1}}, 1e-4);
    for (const double q : {0.7, 5.0, 30.0}) {
        const auto edge = [q](double side) {  // of the band, on the warped axis: |w - 1/w| = 1/Q
            const double w = (side / q + std::sqrt(1 / (q * q) + 4)) / 2;
            return std::pair(500 / kPi * std::atan(w * std::tan(kPi * 50 / 500)), std::sqrt(0.5));
        };
        ExpectGains(CNotchFilter(50, 500, q), {{50, 0}, {0, 1}, {250, 1}, edge(-1), edge(1)}, 1e-9);
    }
}

TEST(DirectForm1, FollowsItsDifferenceEquationToTheLastBitAndInitClearsTheDelayLine) {
    CLowpassFilter2 lowpass;
    CHighpassFilter highpass(1.0, 500);
    CNotchFilter notch(50.0, 500, 1.0);
    const auto x = RandomSamples(11, 400, 32768);
    const auto expectBoth = [&x](auto fresh, auto& used, const SlowSection& slow, auto... arguments) {
        const auto expected = slow.Run(x);
        ExpectFilters(fresh, x, expected);
        used.Filter(30000);
        used.Init(arguments...);
        ExpectFilters(used, x, expected);
    };
    for (const int fs : kSamplingRates)
        for (const double fc :
             {0.01, 0.05, 0.3, 0.5, 1.0, 5.0, 5.275, 10.0, 12.0, 25.0, 35.0, 40.0, 75.0, 99.0}) {
            SCOPED_TRACE(testing::Message() << fc << " Hz at " << fs << " Hz, seed 11");
            expectBoth(CLowpassFilter2(fc, fs), lowpass, SlowLowpass(fc, fs), fc, fs);
            expectBoth(CHighpassFilter(fc, fs), highpass, SlowHighpass(fc, fs), fc, fs);
            for (const double q : {0.7, 3.3, 30.0})
                expectBoth(CNotchFilter(fc + 48, fs, q), notch, SlowNotch(fc + 48, fs, q), fc + 48, fs, q);
        }
}

TEST(DirectForm1, PrimedAtALevelTheLowpassStaysThereAndTheHighpassDecaysFromIt) {
    CLowpassFilter2 lowpass(5.0, 100), fractional(40.0, 500);
    CHighpassFilter highpass(12.0, 500);
    lowpass.InitialValue(300);
    fractional.InitialValue(1000.25);
    highpass.InitialValue(1000);
    // The rounding of the coefficients moves the level by a few parts in 1e16.
    for (int i = 0; i < 1000; ++i) EXPECT_NEAR(fractional.Filter(1000.25), 1000.25, 1e-9);
    EXPECT_NEAR(CHighpassFilter(highpass).Filter(1000.0), 980.14, 0.005);  // -(a1 + a2) * 1000
    const std::vector<short> level(500, 1000);
    ExpectFilters(lowpass, level, SlowLowpass(5.0, 100).Run(level, 300.0));
    ExpectFilters(highpass, level, SlowHighpass(12.0, 500).Run(level, 1000.0));
}

TEST(DirectForm1, SilenceOfTheHighpassDecaysToExactlyZeroPastTheDenormals) {
    CHighpassFilter highpass(12.0, 500);
    highpass.Filter(1000.0);
    double y = 1;
    for (int i = 0; i < 4000; ++i) {
        y = highpass.Filter(0.0);
        EXPECT_TRUE(y == 0 || std::fabs(y) >= 1e-100) << i;
    }
    EXPECT_EQ(y, 0.0);
}

TEST(DirectForm1, LowpassInitKeepsWhatItIsNotGivenAndOnlyTheHighpassConstructorRaisesTheCorner) {
    const auto x = RandomSamples(14, 300, 3000);
    CLowpassFilter2 lowpass(5.0, 100);
    lowpass.InitialValue(5000);
    lowpass.Init();
    ExpectFilters(lowpass, x, SlowLowpass(5.0, 100).Run(x));
    for (int round = 0; round < 2; ++round) {
        round == 0 ? lowpass.Init(12.0) : lowpass.Init();
        ExpectFilters(lowpass, x, SlowLowpass(12.0, 100).Run(x));
        lowpass.InitialValue(5000);
    }
    for (const double fc : {0.0, -3.0})
        ExpectFilters(CHighpassFilter(fc, 500), x, SlowHighpass(0.01, 500).Run(x));
    CHighpassFilter highpass(1.0, 500);
    for (const double fc : {0.001, 0.0, 1.0}) {  // 0: NaN throughout, which the next Init clears
        highpass.Init(fc, 250);
        ExpectFilters(highpass, x, SlowHighpass(fc, 250).Run(x));
    }
}

TEST(DirectForm1, CoefficientsThatAreNotFiniteReachTheOutputAndTruncateToZero) {
    const auto x = RandomSamples(15, 3000, 32768);
    for (const auto& [fc, fs] :
         {std::pair{40.0, 0}, {0.0, 500}, {40.0, -500}})  // -500: saturates, ends in NaN
        ExpectFilters(CLowpassFilter2(fc, fs), x, SlowLowpass(fc, fs).Run(x));
}
