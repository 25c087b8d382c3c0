// The three filters made of one second-order section: low-pass, high-pass and notch.
#include "core/filters/DirectForm1.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "core/filters/CHighpassFilter.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/filters/CNotchFilter.h"
#include "tests/support/Signals.h"

static constexpr double kPi = 3.141592653589793;

/// The gain at each of the frequencies, from an impulse response long enough to have died away.
template <typename AnyFilter>
static void ExpectGains(AnyFilter filter, const std::vector<std::pair<double, double>>& gains,
                        double tolerance) {
    std::vector<double> response;
    for (int i = 0; i < 1 << 15; ++i) response.push_back(filter.Filter(i == 0 ? 1.0 : 0.0));
    for (const auto& [hz, gain] : gains) EXPECT_NEAR(Gain(response, hz, 500), gain, tolerance) << hz << " Hz";
}

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

TEST(DirectForm1, PrimedAtALevelTheLowpassStaysThereAndTheHighpassDecaysFromIt) {
    CLowpassFilter2 lowpass(40.0, 500);
    CHighpassFilter highpass(12.0, 500);
    lowpass.InitialValue(1000.25);
    highpass.InitialValue(1000);
    // The rounding of the coefficients moves the level by a few parts in 1e16.
    for (int i = 0; i < 1000; ++i) EXPECT_NEAR(lowpass.Filter(1000.25), 1000.25, 1e-9);
    EXPECT_NEAR(highpass.Filter(1000.0), 980.14, 0.005);  // -(a1 + a2) * 1000
}

TEST(DirectForm1, SettlesWhenItsFiltersSay) {
    const auto expectSettles = [](auto filter, double end) {
        std::vector<double> off;
        for (int i = 0; i < 1 << 16; ++i) off.push_back(std::abs(filter.Filter(1.0) - end));
        const auto settled = off.begin() + filter.SettlingSamples();
        const double most = *std::max_element(off.begin(), off.end());
        EXPECT_LT(*std::max_element(settled, off.end()), 0.03 * most);
        EXPECT_GT(*std::max_element(off.begin() + filter.SettlingSamples() / 2, settled), 0.03 * most);
    };
    for (const double fc : {5.0, 40.0}) expectSettles(CLowpassFilter2(fc, 500), 1);
    for (const double fc : {0.05, 0.5}) expectSettles(CHighpassFilter(fc, 500), 0);
    for (const double q : {2.0, 10.0}) expectSettles(CNotchFilter(50, 500, q), 1);
    EXPECT_EQ(CLowpassFilter2(300, 500).SettlingSamples() | CLowpassFilter2().SettlingSamples(), 0);
}

TEST(DirectForm1, OnlyTheHighpassConstructorRaisesTheCorner) {
    for (const double fc : {0.0, -3.0}) {
        CHighpassFilter raised(fc, 500), lowest(0.01, 500), asGiven(1.0, 500);
        asGiven.Init(fc, 500);
        const double y = lowest.Filter(1000.0);
        EXPECT_EQ(raised.Filter(1000.0), y);
        EXPECT_NE(asGiven.Filter(1000.0), y);
    }
}
