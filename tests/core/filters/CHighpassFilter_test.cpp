#include "core/filters/CHighpassFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/Signals.h"
#include "tests/support/SlowSection.h"

static constexpr double kPi = 3.141592653589793;

static SlowSection SlowHighpass(double fc, int fs) {
    const double r = fs / fc;
    const double c = r / kPi;
    const double square = c * c;
    const double divisor = 0.5883003 * r + 1 + square;
    const double b0 = square / divisor;
    return {b0, -2 * b0, b0, (c * -2 * c + 2) / divisor, (-0.5883003 * r + 1 + square) / divisor, 1e-100};
}

TEST(CHighpassFilter, StopsALevelPassesHalfTheRateAndIsMoreDampedThanButterworth) {
    for (const double fc : {0.5, 2.0}) {
        CHighpassFilter filter(fc, 500);
        const auto response = ImpulseResponse(filter, 1U << 15);  // long enough to have died away
        EXPECT_NEAR(Gain(response, 0.0, 500), 0.0, 1e-9);
        EXPECT_NEAR(Gain(response, 250.0, 500), 1.0, 1e-9);
        // The corner is not pre-warped: at these low corners that costs less than 0.01 percent.
        EXPECT_NEAR(Gain(response, fc, 500), 1 / (0.5883003 * kPi), 1e-4);
    }
}

TEST(CHighpassFilter, FollowsItsDifferenceEquationToTheLastBit) {
    for (const int fs : kSamplingRates)
        for (const double fc : {0.01, 0.05, 0.3, 0.5, 1.0, 5.275, 7.55, 10.0, 10.55, 12.0, 40.0}) {
            SCOPED_TRACE(testing::Message() << fc << " Hz at " << fs << " Hz, seed 21");
            const auto x = RandomSamples(21, 400, 32768);
            ExpectFilters(CHighpassFilter(fc, fs), x, SlowHighpass(fc, fs).Run(ConvertAll<double>(x)));
        }
}

TEST(CHighpassFilter, SilenceDecaysToExactlyZeroPastTheDenormals) {
    CHighpassFilter filter(12.0, 500);
    std::vector<short> x(4000, 0);
    x[0] = 1000;
    const auto expected = SlowHighpass(12.0, 500).Run(ConvertAll<double>(x));
    ExpectFilters(filter, x, expected);
    EXPECT_EQ(expected.back(), 0.0);
    for (const double y : ImpulseResponse(filter, 4000)) EXPECT_TRUE(y == 0.0 || std::fabs(y) >= 1e-100);
}

TEST(CHighpassFilter, TheConstructorRaisesTheCornerAndInitDoesNot) {
    const auto x = RandomSamples(22, 300, 3000);
    const auto xs = ConvertAll<double>(x);
    ExpectFilters(CHighpassFilter(0.0, 500), x, SlowHighpass(0.01, 500).Run(xs));
    ExpectFilters(CHighpassFilter(-3.0, 500), x, SlowHighpass(0.01, 500).Run(xs));
    CHighpassFilter filter(1.0, 500);
    filter.Init(0.001, 500);
    ExpectFilters(filter, x, SlowHighpass(0.001, 500).Run(xs));
    filter.Init(0.0, 500);
    EXPECT_TRUE(std::isnan(filter.Filter(1.0)));
    EXPECT_EQ(filter.Filter(1), 0);
    filter.Init(1.0, 250);  // the NaN must have left the delay line
    ExpectFilters(filter, x, SlowHighpass(1.0, 250).Run(xs));
}

TEST(CHighpassFilter, PrimedAtALevelStartsNearItAndDecays) {
    CHighpassFilter filter(12.0, 500);
    filter.InitialValue(1000);
    EXPECT_NEAR(CHighpassFilter(filter).Filter(1000.0), 980.14, 0.005);  // -(a1 + a2) * 1000
    const std::vector<short> level(500, 1000);
    const auto expected = SlowHighpass(12.0, 500).Run(ConvertAll<double>(level), 1000.0);
    ExpectFilters(filter, level, expected);
    EXPECT_NEAR(expected.back(), 0.0, 1e-9);
    CHighpassFilter fromDouble(12.0, 500);
    fromDouble.InitialValue(-0.5);
    ExpectFilters(fromDouble, level, SlowHighpass(12.0, 500).Run(ConvertAll<double>(level), -0.5));
}
