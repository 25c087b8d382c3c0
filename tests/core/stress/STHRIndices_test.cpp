#include "core/stress/STHRIndices.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

static STHRSlope SlopeOf(const std::vector<STAtRate>& course) {
    return FindSTHRSlope(course.data(), course.size());
}

TEST(STHRIndex, IsDepressionAddedByHeartRateAdded) {
    EXPECT_DOUBLE_EQ(FindSTHRIndex({70, 20}, {150, -140}), 2.0);  // 160 uV over 80 beats/min
    EXPECT_DOUBLE_EQ(FindSTHRIndex({70, -20}, {150, 60}), -1.0);  // an elevation
    EXPECT_DOUBLE_EQ(FindSTHRIndex({70, 0}, {80, -30}), 3.0);
    EXPECT_TRUE(std::isnan(FindSTHRIndex({70, 0}, {79.9, -30})));
    EXPECT_TRUE(std::isnan(FindSTHRIndex({70, 0}, {})));
}

TEST(STHRSlope, IsTheSteepestSignificantLineThatEndsAtThePeak) {
    // Flat up to 110/min, from there on 3 uV per beat/min: the last three points, and not the flatter lines
    // through more of them.
    const STHRSlope steep = SlopeOf({{70, 0}, {90, 0}, {110, 0}, {130, -60}, {150, -120}});
    EXPECT_DOUBLE_EQ(steep.uVPerBpm, 3);
    EXPECT_EQ(steep.points, 3U);
    // By hand: the last three points have t = 4.0 of the 12.7 needed; the last four Sxy / Sxx = 3200 / 2000
    // with t = 7.5 of 4.3; all five 5400 / 4000 with t = 7.1 of 3.2, which is flatter.
    const STHRSlope four = SlopeOf({{70, 0}, {90, -10}, {110, -30}, {130, -80}, {150, -100}});
    EXPECT_DOUBLE_EQ(four.uVPerBpm, 1.6);
    EXPECT_EQ(four.points, 4U);
    EXPECT_TRUE(std::isnan(SlopeOf({{90, 0}, {110, -50}}).uVPerBpm)) << "two points are no line";
    EXPECT_TRUE(std::isnan(SlopeOf({{90, -120}, {110, -60}, {130, 0}}).uVPerBpm)) << "it recedes";
    EXPECT_EQ(SlopeOf({{90, 0}, {NAN, -500}, {110, -60}, {120, NAN}, {130, -120}}).points, 3U);
}

TEST(STHRSlope, NeedsStudentsLimitOfFivePerCent) {
    // Of three points a step apart with depressions of 0, 1 + d and 2 steps, t is the root of 3 by d.
    for (const auto& [d, isSignificant] : {std::pair{0.136, true}, {0.137, false}})
        EXPECT_NE(std::isnan(SlopeOf({{80, 0}, {90, -10 * (1 + d)}, {100, -20}}).uVPerBpm), isSignificant);
}
