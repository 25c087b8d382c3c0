#include "core/filters/CLowpassFilter2.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/Signals.h"
#include "tests/support/SlowSection.h"

static constexpr double kPi = 3.141592653589793;
static constexpr double kSqrt2 = 1.4142135623730951;

static SlowSection SlowLowpass(double fc, int fs) {
    const double c = 1 / std::tan(kPi * fc / fs);
    const double square = c * c;
    const double divisor = kSqrt2 * c + square + 1;
    return {1 / divisor, 2 / divisor, 1 / divisor, (square - 1) * -2 / divisor,
            (c * -kSqrt2 + square + 1) / divisor};
}

TEST(CLowpassFilter2, PassesASteadyLevelHalvesThePowerAtTheCutoffAndStopsHalfTheRate) {
    for (const double fc : {5.0, 25.0, 40.0, 75.0}) {
        CLowpassFilter2 filter(fc, 500);
        const auto response = ImpulseResponse(filter, 4096);  // long enough to have died away
        EXPECT_NEAR(Gain(response, 0.0, 500), 1.0, 1e-9);
        EXPECT_NEAR(Gain(response, fc, 500), std::sqrt(0.5), 1e-9);
        EXPECT_NEAR(Gain(response, 250.0, 500), 0.0, 1e-9);
    }
}

TEST(CLowpassFilter2, FollowsItsDifferenceEquationToTheLastBit) {
    for (const int fs : kSamplingRates)
        for (const double fc : {0.3, 5.0, 10.0, 12.0, 25.0, 35.0, 40.0, 75.0, 99.0, 150.0}) {
            SCOPED_TRACE(testing::Message() << fc << " Hz at " << fs << " Hz, seed 11");
            const auto x = RandomSamples(11, 400, 32768);
            ExpectFilters(CLowpassFilter2(fc, fs), x, SlowLowpass(fc, fs).Run(ConvertAll<double>(x)));
        }
}

TEST(CLowpassFilter2, PrimedAtALevelShowsNoTransient) {
    CLowpassFilter2 fromInt(40.0, 500), fromDouble(40.0, 500);
    fromInt.InitialValue(-1000);
    fromDouble.InitialValue(1000.25);
    for (int i = 0; i < 1000;
         ++i) {  // the rounding of the coefficients moves the level by a few parts in 1e16
        EXPECT_NEAR(fromInt.Filter(-1000.0), -1000.0, 1e-9);
        EXPECT_NEAR(fromDouble.Filter(1000.25), 1000.25, 1e-9);
    }
    CLowpassFilter2 primed(5.0, 100);
    primed.InitialValue(300);
    const auto x = RandomSamples(12, 300, 2000);
    ExpectFilters(primed, x, SlowLowpass(5.0, 100).Run(ConvertAll<double>(x), 300.0));
}

TEST(CLowpassFilter2, TheIntFormKeepsFullPrecisionInTheSharedDelayLine) {
    CLowpassFilter2 mixed(40.0, 500), whole(40.0, 500);
    const auto x = RandomSamples(13, 600, 50);
    bool negativeFraction = false;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double y = whole.Filter(static_cast<double>(x[i]));
        negativeFraction |= y < 0 && y > -1;
        if (i % 3 != 0)
            EXPECT_EQ(mixed.Filter(static_cast<int>(x[i])), Truncated(y));
        else
            EXPECT_EQ(mixed.Filter(static_cast<double>(x[i])), y);
    }
    EXPECT_TRUE(negativeFraction);  // -0.7 must have given 0, not -1
}

TEST(CLowpassFilter2, EveryInitClearsTheDelayLineAndKeepsWhatItIsNotGiven) {
    const auto x = RandomSamples(14, 200, 3000);
    const auto xs = ConvertAll<double>(x);
    CLowpassFilter2 filter;
    filter.Init(5.0, 100);
    filter.InitialValue(5000);
    filter.Init();
    ExpectFilters(filter, x, SlowLowpass(5.0, 100).Run(xs));
    filter.InitialValue(5000);
    filter.Init(12.0);
    ExpectFilters(filter, x, SlowLowpass(12.0, 100).Run(xs));
    filter.InitialValue(5000);
    filter.Init();
    ExpectFilters(filter, x, SlowLowpass(12.0, 100).Run(xs));
    filter.Init(12.0, 360);
    filter.Init(30.0);
    ExpectFilters(filter, x, SlowLowpass(30.0, 360).Run(xs));
}

TEST(CLowpassFilter2, CoefficientsThatAreNotFiniteReachTheOutputAndTruncateToZero) {
    for (const auto& [fc, fs] : {std::pair{40.0, 0}, std::pair{0.0, 500}, std::pair{0.0, 0}}) {
        CLowpassFilter2 filter(fc, fs);
        EXPECT_TRUE(std::isnan(filter.Filter(100.0)));
        EXPECT_EQ(filter.Filter(100), 0);
    }
    CLowpassFilter2 unstable(40.0, -500);  // runs away: saturates, then ends in NaN
    const auto x = RandomSamples(15, 3000, 32768);
    ExpectFilters(unstable, x, SlowLowpass(40.0, -500).Run(ConvertAll<double>(x)));
}
