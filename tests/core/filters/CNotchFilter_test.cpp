#include "core/filters/CNotchFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/Signals.h"
#include "tests/support/SlowSection.h"

static constexpr double kPi = 3.141592653589793;

static SlowSection SlowNotch(double f0, int fs, double q) {
    const double c = 1 / std::tan(kPi * f0 / fs);
    const double n = (1 + c * c) * q;
    const double divisor = c + n;
    const double middle = (c * c - 1) * (-2 * q) / divisor;
    return {n / divisor, middle, n / divisor, middle, (n - c) / divisor};
}

TEST(CNotchFilter, StopsItsCentreAndIsThreeDecibelsDownAtBothEdgesOfTheBand) {
    for (const double f0 : {50.0, 60.0})
        for (const double q : {0.7, 5.0, 30.0}) {
            CNotchFilter filter(f0, 500, q);
            const auto response = ImpulseResponse(filter, 8192);  // long enough to have died away
            EXPECT_NEAR(Gain(response, f0, 500), 0.0, 1e-9);
            EXPECT_NEAR(Gain(response, 0.0, 500), 1.0, 1e-9);
            EXPECT_NEAR(Gain(response, 250.0, 500), 1.0, 1e-9);
            for (const double side : {-1.0, 1.0}) {  // edges on the warped axis: |w - 1/w| = 1/Q
                const double w = (side / q + std::sqrt(1 / (q * q) + 4)) / 2;
                const double edgeHz = 500 / kPi * std::atan(w * std::tan(kPi * f0 / 500));
                EXPECT_NEAR(Gain(response, edgeHz, 500), std::sqrt(0.5), 1e-9);
            }
        }
}

TEST(CNotchFilter, FollowsItsDifferenceEquationToTheLastBitAndInitClearsTheDelayLine) {
    CNotchFilter reused(50.0, 500, 1.0);
    for (const int fs : kSamplingRates)
        for (const double f0 : {50.0, 60.0})
            for (const double q : {0.7, 3.3, 30.0}) {
                SCOPED_TRACE(testing::Message() << f0 << " Hz at " << fs << " Hz, Q " << q << ", seed 31");
                const auto x = RandomSamples(31, 400, 32768);
                const auto expected = SlowNotch(f0, fs, q).Run(ConvertAll<double>(x));
                ExpectFilters(CNotchFilter(f0, fs, q), x, expected);
                reused.Filter(30000);
                reused.Init(f0, fs, q);
                ExpectFilters(reused, x, expected);
            }
}
