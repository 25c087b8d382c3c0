#include "host/Evaluate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace {

TEST(ScoreBeats, PairsEachBeatOnceWithTheNearerOfTwoWithin150Ms) {
    // Right; 150 ms late, still right; 151 ms early, missed and extra; doubled, the nearer counts; missed.
    const BeatScore score = ScoreBeats({1.02, 2.15, 2.849, 4.1, 4.13, 9.0}, {1.0, 2.0, 3.0, 4.12, 5.0}, 0);
    EXPECT_EQ(score.right, 3);
    EXPECT_EQ(score.missed, 2);
    EXPECT_EQ(score.extra, 3);
    EXPECT_NEAR(score.offsetMs, 20, 1e-9);
    EXPECT_DOUBLE_EQ(score.Sensitivity(), 0.6);
    EXPECT_DOUBLE_EQ(score.PositivePredictivity(), 0.5);
    // A reference beat in reach of two found ones, and a found one in reach of two reference beats.
    EXPECT_EQ(ScoreBeats({1.0}, {0.9, 1.01}, 0).missed, 1);
    EXPECT_NEAR(ScoreBeats({1.0}, {0.9, 1.01}, 0).offsetMs, -10, 1e-9);
}

TEST(ScoreBeats, LeavesOutWhatIsSkippedAndKnowsNoRateOfNothing) {
    const BeatScore score = ScoreBeats({1, 2, 301}, {1, 300, 301}, 300);
    EXPECT_EQ(score.right, 1);
    EXPECT_EQ(score.missed, 1);
    EXPECT_EQ(score.extra, 0);
    EXPECT_TRUE(std::isnan(ScoreBeats({}, {}, 0).Sensitivity()));
    EXPECT_TRUE(std::isnan(ScoreBeats({}, {1}, 0).PositivePredictivity()));
    EXPECT_EQ(ScoreBeats({}, {1}, 0).missed, 1);
}

StressResult TwoLeads() {
    StressResult result;
    result.source.name = "r";
    result.source.fs = 100;
    result.source.leads = {"I", "II"};
    for (int beat = 1; beat <= 10; ++beat) {
        result.rates.push_back({beat * 1.0, 62});
        result.beats.push_back({beat * 1.0, 62, {10, -20}, {0.5F, 0}});
    }
    return result;
}

TEST(Evaluate, ComparesTheHeartRateWithTheLastFiveIntervalsWhereOnlyBeatsAreKnown) {
    Reference reference;
    for (int beat = 0; beat <= 10; ++beat) reference.beatSeconds.push_back(beat);
    std::vector<Annotation> found;
    for (int beat = 0; beat <= 10; ++beat) found.push_back({beat * 100 + 3, 1, ""});
    const Evaluation evaluation = Evaluate(TwoLeads(), found, reference, 0);
    EXPECT_EQ(evaluation.beats.right, 11);
    EXPECT_DOUBLE_EQ(evaluation.accuracy.bpm.median, 2);
    EXPECT_TRUE(evaluation.accuracy.levelUv.empty());
    std::ostringstream text;
    PrintEvaluation(text, evaluation);
    EXPECT_THAT(text.str(), testing::HasSubstr("sensitivity 100.00 %"));
    EXPECT_THAT(text.str(), testing::HasSubstr("found 30 ms after"));
}

TEST(Evaluate, ComparesSTPerLeadWhereTheTruthKnowsItAndNotBeforeTheSkip) {
    Reference reference;
    reference.truth = Truth{[](double) { return 60.0; },
                            [](int lead, double seconds) {
                                return seconds < 6 ? 1000.0 : lead == 0 ? 14 : -20;
                            },
                            [](int, double) { return std::nan(""); }};
    const Accuracy accuracy = Evaluate(TwoLeads(), {}, reference, 5.5).accuracy;
    EXPECT_DOUBLE_EQ(accuracy.bpm.maximum, 2);
    ASSERT_EQ(accuracy.levelUv.size(), 2U);
    EXPECT_DOUBLE_EQ(accuracy.levelUv[0].maximum, 4);
    EXPECT_DOUBLE_EQ(accuracy.levelUv[1].maximum, 0);
    EXPECT_TRUE(std::isnan(accuracy.slopeUvPerMs[0].median)) << "nothing is known of it";
}

}  // namespace
