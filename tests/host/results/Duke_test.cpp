#include "host/results/Duke.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

/// One lead at 1000 Hz, at 0 uV in a reference of 10 s, then for 10 s with this change and slope. Its
/// averaged beat has Q at 100 ms, J at 200 ms, and a Q wave of this size before its R.
StressResult OneLead(float changeUv, float slopeUvPerMs, std::size_t qMs = 0, float qUv = 0) {
    StressResult result;
    result.source = {"r", 1000, 1, {"V5"}, 0, "", {}};
    result.positions = {400, 100, 150, 200};
    result.reference = {{0, 10}, "as asked for"};
    for (int second = 0; second < 20; ++second)
        result.beats.push_back({second * 1.0, 60, {second < 10 ? 0 : changeUv}, {slopeUvPerMs}});
    std::vector<float> beat(400, 0);
    for (std::size_t i = 110; i < 110 + qMs; ++i) beat[i] -= qUv;
    for (std::size_t i = 110 + qMs; i < 160; ++i) beat[i] = 900;
    result.referenceBeatUv = {beat};
    return result;
}

TEST(FindDukeST, CountsWhatItsSourcesCount) {
    struct Case {
        float changeUv, slope;
        std::size_t qMs;
        float qUv;
        double netMm, countedMm;
    };
    for (const Case& c : {Case{-150, 0, 0, 0, -1.5, 1.5},        // horizontal
                          Case{-150, -0.6F, 0, 0, -1.5, 1.5},    // downsloping
                          Case{-150, 0.49F, 0, 0, -1.5, 1.5},    // nearly upsloping
                          Case{-150, 0.5F, 0, 0, 0, 0},          // upsloping
                          Case{-100, 0, 0, 0, -1, 1},            // just 1 mm
                          Case{-99, 0, 0, 0, -0.99, 0},          // just below
                          Case{150, 2, 0, 0, 1.5, 1.5},          // elevation, whatever its slope
                          Case{150, 0, 30, 100, 0, 0},           // in a lead with a Q
                          Case{150, 0, 29, 100, 1.5, 1.5},       // that is too narrow
                          Case{150, 0, 30, 99, 1.5, 1.5},        // or too flat
                          Case{-150, 0, 30, 100, -1.5, 1.5}}) {  // a depression counts there too
        const std::optional<DukeST> st = FindDukeST(OneLead(c.changeUv, c.slope, c.qMs, c.qUv), 0);
        ASSERT_TRUE(st);
        EXPECT_NEAR(st->netMm, c.netMm, 1e-9) << c.changeUv << ' ' << c.slope << ' ' << c.qMs << ' ' << c.qUv;
        EXPECT_NEAR(st->CountedMm(), c.countedMm, 1e-9) << c.changeUv;
    }
    StressResult result = OneLead(-150, 0);
    EXPECT_FALSE(FindDukeST(result, 25)) << "no reading from then on";
    result.source.leads = {"avr"};
    EXPECT_FALSE(FindDukeST(result, 0));
}

TEST(FindDukeST, LeavesOutAChangeThatIsOverSoon) {
    StressResult result = OneLead(-150, 0);
    result.beats[5].levelUv = {510};
    const std::optional<DukeST> st = FindDukeST(result, 0);
    ASSERT_TRUE(st);
    EXPECT_DOUBLE_EQ(st->netMm, -1.5);
    EXPECT_EQ(st->seconds, 10);
}

TEST(ScoreDuke, KeepsTheExactScoreAndTellsRiskOnlyForWhomItWasFound) {
    const DukeST st{-1.25, 0, 12, 0};
    const Duke duke = ScoreDuke(st, 630, 1, true);  // 10.5 - 6.25 - 4
    EXPECT_DOUBLE_EQ(duke.points, 0.25);
    EXPECT_EQ(duke.score, 0);
    EXPECT_STREQ(duke.risk, "moderate");
    EXPECT_EQ(ScoreDuke(st, 630, {}, true).risk, nullptr);
    EXPECT_EQ(ScoreDuke(st, 630, 1, false).risk, nullptr);
    for (const auto& [seconds, risk] : {std::pair{300, "low"}, {299, "moderate"}})
        EXPECT_STREQ(ScoreDuke({}, seconds, 0, true).risk, risk) << seconds;
    // 4 minutes and angina 2: 15 points of ST are 3 mm.
    for (const auto& [mm, risk] : {std::pair{-1.39, "moderate"}, {-1.41, "high"}})
        EXPECT_STREQ(ScoreDuke({mm, 0, 0, 0}, 240, 2, true).risk, risk) << mm;
}

}  // namespace
