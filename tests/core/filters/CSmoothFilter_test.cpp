#include "core/filters/CSmoothFilter.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/Signals.h"

TEST(CSmoothFilter, KeepsALevelAndAnEdgeAndFlattensNoiseBetweenThem) {
    const auto noise = RandomSamples(1, 3000, 50);
    CSmoothFilter smoother(500, 25);
    std::vector<int> y;
    for (std::size_t n = 0; n < noise.size(); ++n)
        y.push_back(smoother.Smooth(noise[n] + (n < 1500 ? 0 : 20000)));
    EXPECT_EQ(y.size(), noise.size());
    double before = 0, after = 0;
    for (std::size_t n = 500; n < 1400; ++n) {
        before += 1.0 * noise[n] * noise[n];
        after += 1.0 * y[n] * y[n];
    }
    EXPECT_LT(after, before / 3);
    // 12 samples late; the edge is as steep as a 1-2-1 kernel leaves it.
    EXPECT_LT(y[1509], 2000);
    EXPECT_GT(y[1514], 18000);
}

TEST(CSmoothFilter, PassesItsInputAtRatesTooLowForAnyWindow) {
    for (const int fs : {-500, 0, 33}) {
        CSmoothFilter filter(fs, 10);
        for (const int x : {5, -32768, 32767, 7}) EXPECT_EQ(filter.Smooth(x), x);
    }
}
