#include "session/internal/STMeter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/filters/CHighpassFilter.h"

using namespace qz;

namespace {

constexpr int kMeterFs = 250, kBefore = 75, kLength = 180, kInterval = 200;  // samples
constexpr double kMeterMsPerSample = 4;

// One lead: a QRS of 80 ms and 1000 uV about R, an ST on a line behind it, and a T wave.
struct BuiltST {
    double jUv = 0, uVPerMs = 0;
    double tUv = 0, tFromMs = 160, tPeakMs = 240;  // from R
    double pUv = 0;                                // of all that is before the QRS

    double At(double ms) const {
        if (ms < -40) return pUv;
        const double qrs = 1000 * std::max(0.0, 1 - std::abs(ms) / 40);
        const double st = ms > 0 && ms < 500 ? (jUv + uVPerMs * (ms - 40)) * std::min(1.0, ms / 40) : 0;
        const double rise = (ms - tFromMs) / (tPeakMs - tFromMs);
        return qrs + st + (rise > 0 && rise < 2 ? tUv * (1 - std::cos(std::acos(-1) * rise)) / 2 : 0);
    }
};

class Heart {
public:
    // The engine has its R so many samples behind the steepest place.
    explicit Heart(const BuiltST& first, double sagPerSecond = 0, int engineR = 2)
        : m_meter(kMeterFs, 1, kUsualSTRateLimitBpm, sagPerSecond), m_frames(1, 20000), m_engineR(engineR) {
        LearnedBeat beat;
        beat.length = kLength;
        beat.posR = kBefore;
        beat.posQ = kBefore - 13;
        beat.posJ = kBefore + 12;
        beat.usable = {true};
        beat.rows.resize(1);
        for (int i = 0; i < kLength; ++i)
            beat.rows[0].push_back(
                static_cast<short>(std::lround(first.At((i - kBefore) * kMeterMsPerSample))));
        m_meter.Start(beat, (kBefore + engineR) * kMeterMsPerSample);
    }

    void SetPoints(const PointsByHand& points) { m_meter.SetPoints(points); }
    // What is measured after so many more beats.
    STMeasure After(int beats, const BuiltST& heard, double bpm = 75, bool isGood = true) {
        BeatEvent event;
        event.bpm = bpm;
        event.levelUv = {0};
        event.st.resize(1);
        for (; beats > 0; --beats) {
            for (int i = 0; i < kInterval; ++i) {
                const double uV = heard.At((i - kBefore) * kMeterMsPerSample);
                const short sample = static_cast<short>(std::lround(highpass ? highpass->Filter(uV) : uV));
                m_frames.Push(&sample);
            }
            m_meter.Fold(m_frames, m_frames.End() - kInterval + kBefore + m_engineR, {isGood}, event);
        }
        pointMs = event.stPointMs;
        qMs = event.qMs;
        jMs = event.jMs;
        return event.st[0];
    }

    double pointMs = 0, qMs = 0, jMs = 0;  // of the latest beat
    CHighpassFilter* highpass = nullptr;   // what is heard goes through it

private:
    STMeter m_meter;
    FrameRing m_frames;
    int m_engineR;  // samples
};

TEST(STMeter, MeasuresLevelsSlopeAndItsClassFromJAgainstThePRSegment) {
    for (const auto& [slope, shape] : {std::pair{0.6, STShape::Upsloping},
                                       {0.45, STShape::Horizontal},
                                       {-0.45, STShape::Horizontal},
                                       {-0.6, STShape::Downsloping}}) {
        const BuiltST heard{-100, slope, 0, 160, 240, 30};
        Heart heart(heard);
        const STMeasure st = heart.After(12, heard);
        EXPECT_NEAR(heart.jMs, 40, 6);  // 8 ms less as R is late, 8 ms more as readers put J late
        const double jUv = -130 + slope * 8;
        EXPECT_NEAR(st.j20Uv, jUv + 20 * slope, 6);
        EXPECT_NEAR(st.j60Uv, jUv + 60 * slope, 6);
        EXPECT_NEAR(st.j80Uv, jUv + 80 * slope, 6);
        EXPECT_EQ(st.levelUv, st.j80Uv);
        EXPECT_NEAR(st.slopeUvPerMs, slope, 0.04);
        EXPECT_EQ(st.shape, shape) << slope;
        EXPECT_FALSE(st.isOnT);
    }
}

// As in a wide QRS of two peaks.
TEST(STMeter, MeasuresTheSameWhereTheEngineHasItsRFarAway) {
    const BuiltST heard{-100, 0.45, 0, 160, 240, 30};
    Heart near(heard, 0, 0);
    const STMeasure expected = near.After(12, heard);
    for (const int samples : {-25, 25}) {
        Heart far(heard, 0, samples);
        EXPECT_EQ(far.After(12, heard).levelUv, expected.levelUv) << samples;
        EXPECT_EQ(far.jMs, near.jMs - samples * kMeterMsPerSample);
    }
}

TEST(STMeter, MeasuresAtJPlus60MsAboveTheLimitUntilTheRateIs5Below) {
    const BuiltST heard{0, 2};
    Heart heart(heard);
    for (const auto& [bpm, pointMs] : {std::pair{145.0, 80}, {145.1, 60}, {140.1, 60}, {139.9, 80}}) {
        const STMeasure st = heart.After(1, heard, bpm);
        EXPECT_EQ(heart.pointMs, pointMs) << bpm;
        EXPECT_EQ(st.levelUv, pointMs == 80 ? st.j80Uv : st.j60Uv) << bpm;
    }
}

TEST(STMeter, HasNoLevelOnATWaveButOnAnSTThatRisesIntoItsPeakInOneBow) {
    const auto isOnT = [](const BuiltST& heard) { return Heart(heard).After(12, heard); };
    EXPECT_FALSE(isOnT({0, 0, 400, 90, 180}).isOnT) << "steepest at 135 ms, 5 ms behind the point";
    const STMeasure st = isOnT({0, 0, 400, 70, 160});  // and at 115 ms
    EXPECT_TRUE(st.isOnT);
    EXPECT_TRUE(std::isnan(st.levelUv) && std::isnan(st.slopeUvPerMs) && std::isnan(st.j80Uv));
    EXPECT_EQ(st.shape, STShape::Unknown);
    EXPECT_FALSE(std::isnan(st.j20Uv));
    EXPECT_FALSE(isOnT({0, 0, 180, 70, 160}).isOnT) << "a low T wave";
    EXPECT_FALSE(isOnT({300, 3, 400, 20, 220}).isOnT) << "steep from J on";
}

TEST(STMeter, MeasuresAtPointsThatAreSetByHandUntilTheyAreGivenBack) {
    const BuiltST heard{0, 1, 400, 110, 200, 30};
    Heart heart(heard);
    const STMeasure own = heart.After(12, heard);
    const double ownJms = heart.jMs;
    heart.SetPoints(
        {-30.0, 60.0,
         100.0});  // from R of the engine, 8 ms late; PR on the QRS, and an ST point on the T wave
    const STMeasure st = heart.After(1, heard, 160);
    EXPECT_EQ(heart.qMs, -30);
    EXPECT_EQ(heart.jMs, 60);
    EXPECT_EQ(heart.pointMs, 100);  // at any heart rate
    const double prUv = (heard.At(-38) + heard.At(-34) + heard.At(-30) + heard.At(-26)) / 4;
    EXPECT_NEAR(st.jUv, heard.At(68) - prUv, 8);
    EXPECT_NEAR(st.levelUv, heard.At(168) - prUv, 8);
    EXPECT_TRUE(st.isOnT);
    EXPECT_NEAR(st.slopeUvPerMs, (st.levelUv - st.jUv) / 100, 1e-4);
    heart.SetPoints({});
    EXPECT_EQ(heart.After(1, heard).j20Uv, own.j20Uv);
    EXPECT_EQ(heart.jMs, ownJms);
    EXPECT_EQ(heart.pointMs, 80);
}

TEST(STMeter, FollowsTheLatestTenBeatsAndLeavesOutTwoOnEitherSide) {
    const BuiltST low{-100, 0}, high{300, 0}, none;
    Heart heart(none);
    const double j80 = heart.After(10, none).j80Uv;
    EXPECT_NEAR(heart.After(2, high).j80Uv, j80, 3);
    EXPECT_GT(heart.After(1, high).j80Uv, j80 + 40);
    EXPECT_NEAR(heart.After(10, low).j80Uv, -100, 6);
    EXPECT_TRUE(std::isnan(heart.After(1, none, 75, false).j80Uv));
    EXPECT_TRUE(std::isnan(heart.After(4, none).j80Uv));
    EXPECT_NEAR(heart.After(1, none).j80Uv, 0, 6) << "five good beats";
}

TEST(STMeter, MovesOnsetAndEndWhenThreeMeansAgree) {
    const BuiltST narrow{0, 0}, wide{0, 0, 900, 0, 70};  // a second wave of the QRS, to 140 ms
    Heart heart(narrow);
    heart.After(10, narrow);
    const double j = heart.jMs;
    heart.After(29, wide);
    EXPECT_EQ(heart.jMs, j);
    heart.After(11, wide);
    EXPECT_NEAR(heart.jMs - j, 100, 15);
}

TEST(STMeter, GivesBackWhatAHighpassTakesOffBehindTheQRS) {
    const BuiltST heard{-100, 0};
    CHighpassFilter highpass(0.05, kMeterFs);
    const auto j80 = [&](double sag) {
        Heart heart(heard, sag);
        highpass.Init(0.05, kMeterFs);
        heart.highpass = &highpass;
        return heart.After(60, heard).j80Uv;
    };
    EXPECT_GT(std::abs(j80(0) + 100), 12);
    EXPECT_NEAR(j80(0.58), -100, 4);  // 1.85 times 2 pi 0.05 Hz
}

}  // namespace
