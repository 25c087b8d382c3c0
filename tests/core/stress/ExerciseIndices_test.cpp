#include "core/stress/ExerciseIndices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

static constexpr float kInfinity = std::numeric_limits<float>::infinity();
static constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

TEST(DukeScore, WrapsTo16BitsInTheOneFormAndHasNoResultInTheOther) {
    EXPECT_EQ(DukeScore(600, 0.0F, 9000), 10 - 36000 + 65536);
    EXPECT_EQ(DukeScore(0, 1000.0F, 0), -50000 + 65536);
    EXPECT_EQ(DukeScore(0, kNaN, 0), 0);
    for (const float beyond32Bits : {1e9F, 1e38F, -kInfinity}) EXPECT_EQ(DukeScore(0, beyond32Bits, 0), 0);
    for (const float mV : {1000.0F, 1e38F, kInfinity, kNaN})
        EXPECT_EQ(DukeScoreChecked(0, mV, 0), std::nullopt) << mV;
}

TEST(DukeScore, IsComputedInDoubleInTheOneFormAndInFloatUpToItsEndsInTheOther) {
    const float mV = std::nextafter(0.1F, 0.0F);  // 4.9999997 points, and 4 of angina: 9 as a float
    EXPECT_EQ(DukeScore(0, mV, 1), -8);
    EXPECT_EQ(DukeScoreChecked(0, mV, 1), -9);
    EXPECT_EQ(DukeScoreChecked(-299, 0.0F, 8191), -32768);         // of -32768.98
    EXPECT_EQ(DukeScoreChecked(-300, 0.0F, 8191), std::nullopt);   // -32769
    EXPECT_EQ(DukeScoreChecked(-1, 0.0F, -8192), 32767);           // of 32767.98
    EXPECT_EQ(DukeScoreChecked(0, 0.0F, -8192), std::nullopt);     // 32768
    EXPECT_EQ(DukeScoreChecked(0, 0.0F, 8192), std::nullopt);      // its score alone would fit
    EXPECT_EQ(DukeScoreChecked(-600, 0.0F, -8193), std::nullopt);  // likewise
}

/// The three values, PWC130, PWC150 and PWC170, of stages given as {power, heart rate}.
using Stages = std::vector<std::array<float, 2>>;
using Values = std::array<float, 3>;
static constexpr Values kNone = {-1, -1, -1};

static Values Find(const Stages& stages) {
    std::vector<float> power, rate;
    for (const auto& [p, hr] : stages) {
        power.push_back(p);
        rate.push_back(hr);
    }
    const Pwc pwc = FindPwc(power.data(), rate.data(), stages.size());
    return {pwc.pwc130, pwc.pwc150, pwc.pwc170};
}

/// Stages with these heart rates on the line rate = 90 + 0.5 power, which has its targets at 80, 120 and 160.
static Stages OnALine(std::initializer_list<float> rates) {
    Stages stages;
    for (const float rate : rates) stages.push_back({(rate - 90) * 2, rate});
    return stages;
}

TEST(Pwc, ReadsTheLineAtTheRatesThatTheHighestHeartRateOpens) {
    EXPECT_EQ(Find({{50, 110}, {100, 130}, {150, 150}}), (Values{100, 150, -1}));
    // The least squares of 110, 140 and 160 over 0, 50 and 100: rate = 111.67 + 0.5 power.
    EXPECT_THAT(Find({{0, 110}, {50, 140}, {100, 160}}),
                testing::Pointwise(testing::FloatNear(1e-3F), Values{36.6667F, 76.6667F, 116.6667F}));
    const Values none = kNone, one = {80, -1, -1}, two = {80, 120, -1}, three = {80, 120, 160};
    for (const auto& [highest, values] : {std::pair{120.0F, none},
                                          {121.0F, one},
                                          {130.0F, one},
                                          {131.0F, two},
                                          {150.0F, two},
                                          {151.0F, three},
                                          {190.0F, three},
                                          {191.0F, none}})  // two stages are left
        EXPECT_THAT(Find(OnALine({110, 115, highest})), testing::Pointwise(testing::FloatNear(1e-4F), values))
            << highest;
}

TEST(Pwc, LeavesOutStagesOutsideItsRatesWhateverTheirPower) {
    const Values all = {80, 120, 160};
    EXPECT_EQ(Find(OnALine({110, 150, 190})), all);
    Stages stages = OnALine({110, 150, 190});
    for (const float rate :
         {std::nextafter(110.0F, 0.0F), std::nextafter(190.0F, 200.0F), 0.0F, -130.0F, kInfinity, kNaN})
        for (const float power : {1000.0F, kNaN}) stages.insert(stages.begin() + 1, {power, rate});
    EXPECT_EQ(Find(stages), all);
    stages.erase(stages.begin());  // 110: too few are left, however many there are
    EXPECT_EQ(Find(stages), kNone);
}

TEST(Pwc, HasNoValueForTooFewFlatFallingOrUnusableStages) {
    EXPECT_EQ(FindPwc(nullptr, nullptr, 2).pwc130, Pwc::kNotComputed);
    EXPECT_EQ(Find(OnALine({120, 160})), kNone);
    EXPECT_EQ(Find({{50, 140}, {100, 140}, {150, 140}}), kNone);
    EXPECT_EQ(Find({{100, 120}, {100, 140}, {100, 160}}), kNone);
    EXPECT_EQ(Find({{150, 120}, {100, 140}, {50, 160}}), kNone);
    EXPECT_EQ(Find({{50, 160}, {100, 120}, {150, 160}}), kNone);  // rises and falls: slope 0
    EXPECT_EQ(Find({{50, 120}, {kNaN, 140}, {150, 160}}), kNone);
    EXPECT_EQ(Find({{50, 120}, {100, 140}, {kInfinity, 160}}), kNone);
}

TEST(HeartRate, OfThreeLeadsAddsALittleAndNoIntervalHasNone) {
    EXPECT_EQ(HeartRateOfThreeLeads(801), 75);
    EXPECT_EQ(HeartRateOfManyLeads(801), 74);
    for (const auto& rate : {HeartRateOfThreeLeads, HeartRateOfManyLeads})
        for (const short none : std::initializer_list<short>{0, -1, -32768}) EXPECT_EQ(rate(none), 0);
}
