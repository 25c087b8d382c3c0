#include "host/results/Holes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "host/results/Summaries.h"

namespace {

/// A beat and a reading a second over 100 s in two leads; the second one lacks ST within `hole`.
StressResult WithHole(const Span& hole) {
    StressResult result;
    result.source.leads = {"I", "V5"};
    result.off.resize(2);
    result.disturbed.resize(2);
    for (int second = 0; second <= 100; ++second) {
        result.beatsFound.push_back({second * 1.0});
        STReading reading{second * 1.0, 60, {0, hole.Contains(second) ? NAN : 0.F}, {0, 0}};
        reading.st.resize(2);
        result.beats.push_back(reading);
    }
    return result;
}

std::string WhyOf(const StressResult& result) {
    const std::vector<std::vector<Hole>> holes = FindHoles(result);
    return holes[1].empty() ? "" : holes[1][0].why;
}

}  // namespace

TEST(Holes, LastTenSecondsAndMoreAndSayWhy) {
    EXPECT_EQ(WhyOf(WithHole({20, 28})), "");
    StressResult result = WithHole({20, 40});
    EXPECT_EQ(WhyOf(result), "another shape, or the average of this lead renewed");
    EXPECT_TRUE(FindHoles(result)[0].empty());
    for (std::size_t i = 20; i < 31; ++i) result.beats[i].st[1].isOnT = true;
    EXPECT_EQ(WhyOf(result), "ST point on the T wave");
    result.beats.erase(result.beats.begin() + 20, result.beats.begin() + 35);
    EXPECT_EQ(WhyOf(result), "beats unlike the averaged one");
    for (std::size_t i = 20; i < 31; ++i) result.beatsFound[i].beatClass = qz::BeatClass::Ventricular;
    EXPECT_EQ(WhyOf(result), "ventricular beats");
    result.disturbed[1] = {{38, 38}};
    EXPECT_EQ(WhyOf(result), "disturbed");
    result.off[1] = {{25, 60}};
    EXPECT_EQ(WhyOf(result), "off");
    EXPECT_THAT(DescribeHoles(result, FindHoles(result)),
                testing::Contains("no ST of V5 for 0:21 min:s, from 0:19 to 0:40 (off)"));
    result.beatsFound.erase(result.beatsFound.begin() + 20, result.beatsFound.begin() + 40);
    EXPECT_EQ(WhyOf(result), "") << "no beats passed";
}

TEST(Holes, TheSignalIsPoorBelowOneHalf) {
    StressResult result = WithHole({0, 0});
    for (const float quality : {0.F, 0.49F, 0.5F, 1.F}) result.quality.push_back({0, {1, quality}});
    EXPECT_EQ(SummarizeQuality(result)[0].poorPart, 0);
    EXPECT_EQ(SummarizeQuality(result)[1].poorPart, 0.5);
}
