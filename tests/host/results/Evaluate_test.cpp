#include "host/results/Evaluate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace {

TEST(ScoreBeats, PairsEachBeatOnceWithTheNearerOfTwoWithin150Ms) {
    // Right; 150 ms late, still right; 151 ms early, missed and extra; doubled, the nearer counts; missed.
    const BeatScore score = ScoreBeats({1.02, 2.15, 2.849, 4.1, 4.13, 9.0}, {1.0, 2.0, 3.0, 4.12, 5.0}, {});
    EXPECT_EQ(score.right, 3);
    EXPECT_EQ(score.missed, 2);
    EXPECT_EQ(score.extra, 3);
    EXPECT_NEAR(score.offsetMs, 20, 1e-9);
    EXPECT_DOUBLE_EQ(score.Sensitivity(), 0.6);
    EXPECT_DOUBLE_EQ(score.PositivePredictivity(), 0.5);
    // A reference beat in reach of two found ones, and a found one in reach of two reference beats.
    EXPECT_EQ(ScoreBeats({1.0}, {0.9, 1.01}, {}).missed, 1);
    EXPECT_NEAR(ScoreBeats({1.0}, {0.9, 1.01}, {}).offsetMs, -10, 1e-9);
    EXPECT_EQ(ScoreBeats({0.0, 0.15}, {0.1, 0.16}, {}).right, 2)
        << "the second pair leaves the first its own";
}

TEST(ScoreBeats, LeavesOutWhatIsSkippedAndKnowsNoRateOfNothing) {
    const std::vector<Span> uncounted{{0, 300}, {310, 320}};
    const BeatScore score =
        ScoreBeats({1, 2, 300.02, 301, 311, 315, 319.9}, {1, 299.98, 300.5, 301, 320}, uncounted);
    EXPECT_EQ(score.right, 2);  // 301, and 320 with a beat found just before the end of the span
    EXPECT_EQ(score.missed, 1);
    EXPECT_EQ(score.extra, 0) << "300.02 belongs to a beat that is skipped";
    EXPECT_TRUE(std::isnan(ScoreBeats({}, {}, {}).Sensitivity()));
    EXPECT_TRUE(std::isnan(ScoreBeats({}, {1}, {}).PositivePredictivity()));
    EXPECT_EQ(ScoreBeats({}, {1}, {}).missed, 1);
}

TEST(TruthFrom, TakesBeatsAndTheStretchesOfFibrillation) {
    const Truth reference = TruthFrom(
        {{0, 28, "(N"}, {100, 1, ""}, {200, 32, ""}, {240, 5, ""}, {300, 33, ""}, {400, 32, ""}}, 100);
    EXPECT_THAT(reference.beatSeconds, testing::ElementsAre(1, 2.4));
    ASSERT_EQ(reference.fibrillation.size(), 2U);
    EXPECT_DOUBLE_EQ(reference.fibrillation[0].fromSeconds, 2);
    EXPECT_DOUBLE_EQ(reference.fibrillation[0].toSeconds, 3);
    EXPECT_GT(reference.fibrillation[1].toSeconds, 1e9) << "to the end of the record";
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
    Truth reference;
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

TEST(Evaluate, FollowsAChangeOfTheReferenceRateWithItsThirdInterval) {
    for (const auto& [seconds, bpm] : {std::pair{5.1, 60.0}, {5.6, 120.0}}) {
        StressResult result;
        result.rates = {{seconds, 0}};
        Truth reference;
        reference.beatSeconds = {0, 1, 2, 3, 4, 4.5, 5, 5.5};
        EXPECT_EQ(Evaluate(result, {}, reference, 0).accuracy.bpm.maximum, bpm) << seconds;
    }
}

TEST(Evaluate, ComparesSTPerLeadWhereTheTruthKnowsItAndNotBeforeTheSkip) {
    const Truth reference{{},
                          {},
                          [](double) { return 60.0; },
                          [](std::size_t lead, double seconds) {
                              return seconds < 6 ? 1000.0 : lead == 0 ? 14 : -20;
                          },
                          [](std::size_t, double) { return std::nan(""); }};
    const Accuracy accuracy = Evaluate(TwoLeads(), {}, reference, 5.5).accuracy;
    EXPECT_DOUBLE_EQ(accuracy.bpm.maximum, 2);
    ASSERT_EQ(accuracy.levelUv.size(), 2U);
    EXPECT_DOUBLE_EQ(accuracy.levelUv[0].maximum, 4);
    EXPECT_DOUBLE_EQ(accuracy.levelUv[1].maximum, 0);
    EXPECT_TRUE(std::isnan(accuracy.slopeUvPerMs[0].median)) << "nothing is known of it";
}

}  // namespace
