#include "host/results/Strips.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/results/PeakRate.h"

namespace {

using Kinds = std::vector<StripKind>;

/// Ten minutes with a beat a second, ventricular at some, and the largest ST change at 333 s.
StressResult WithVentricular(const std::vector<int>& ventricular) {
    StressResult result;
    result.source.leads = {"II"};
    result.seconds = 600;
    result.reference = {{0, 60}, "rest before the exercise"};
    for (int second = 1; second < 600; ++second) {
        const bool isV = std::find(ventricular.begin(), ventricular.end(), second) != ventricular.end();
        result.beatsFound.push_back(
            {double(second), isV ? qz::BeatClass::Ventricular : qz::BeatClass::Normal});
        result.rates.push_back({double(second), second > 420 && second <= 450 ? 150.0 : 80.0});
        STReading beat{double(second), 80, {second == 333 ? -200.F : 0.F}, {0}};
        result.beats.push_back(beat);
    }
    return result;
}

std::vector<std::pair<double, Kinds>> Choose(const StressResult& result, const std::vector<double>& asked) {
    ExerciseOptions options;
    options.stages = {{0, 0, "rest"}};
    for (int stage = 0; stage < 7; ++stage)
        options.stages.push_back({60.0 * (stage + 1), 25.0 * (stage + 1), ""});
    options.stages.push_back({480, 0, "recovery"});
    std::vector<std::pair<double, Kinds>> chosen;
    for (const Strip& strip : ChooseStrips(result, SummarizeExercise(result, options), asked))
        chosen.emplace_back(strip.seconds, strip.kinds);
    return chosen;
}

using enum StripKind;
using testing::ElementsAre;
using testing::Pair;

TEST(Strips, ThoseThatTellMostComeFirst) {
    // Eight: the stages' ends at 300, 240, 180 and 120 s and the couplet have no room.
    EXPECT_THAT(
        Choose(WithVentricular({100, 200, 201, 202, 500, 501}), {}),
        ElementsAre(Pair(50, Kinds{Reference}), Pair(416, Kinds{PeakRate}), Pair(323, Kinds{LargestST}),
                    Pair(198, Kinds{Ventricular}), Pair(498, Kinds{Ventricular}), Pair(470, Kinds{StageEnd}),
                    Pair(410, Kinds{StageEnd}), Pair(350, Kinds{StageEnd})));
    const auto alike = Choose(WithVentricular({21, 42, 100, 200, 560}), {});
    EXPECT_THAT(alike[3].first, 98);  // the middle one
    EXPECT_THAT(alike[4].first, 40);
}

TEST(Strips, WhatOneShowsIsToldWithIt) {
    // Asked for are one about the peak and one that the end of the recording moves; 700 s is beyond it.
    const auto chosen = Choose(WithVentricular({420}), {418, 598, 700});
    EXPECT_THAT(chosen[0], Pair(418, (Kinds{Asked, PeakRate, Ventricular})));
    EXPECT_THAT(chosen[1], Pair(590, Kinds{Asked}));
    EXPECT_EQ(chosen.size(), 2U + 8U);
    EXPECT_THAT(Choose(WithVentricular({}), {420.9})[0].second, ElementsAre(Asked, PeakRate));
    EXPECT_THAT(Choose(WithVentricular({}), {421})[0].second, ElementsAre(Asked));  // 5 s apart
}

TEST(Strips, AShortOrEmptyRecordingHasOneFromItsStart) {
    StressResult result = WithVentricular({});
    result.seconds = 8;
    const std::vector<Strip> strips = ChooseStrips(result, SummarizeExercise(result, {}), {});
    ASSERT_EQ(strips.size(), 1U);
    EXPECT_EQ(strips[0].seconds, 0);
    EXPECT_EQ(ChooseStrips({}, {}, {}).at(0).kinds, Kinds{Start});
}

TEST(PeakRate, AWholeWindowCountsMoreThanAnyShorterOne) {
    ::PeakRate peak;
    peak.Take({0, 200});
    EXPECT_EQ(peak.Bpm(), 200);
    for (int second = 1; second <= 60; ++second) {
        const bool isPeak = peak.Take({double(second), second <= 40 ? 100.0 + second : 90.0});
        EXPECT_TRUE(second <= 40 || !isPeak) << second;
    }
    EXPECT_EQ(peak.Bpm(), 125);  // from 10 to 40 s
    EXPECT_EQ(peak.Seconds(), 40);
}

}  // namespace
