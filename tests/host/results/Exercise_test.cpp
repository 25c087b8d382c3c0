#include "host/results/Exercise.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "host/results/Summaries.h"
#include "tests/support/Folder.h"

namespace {

class ReadStagesTest : public testing::Test {
protected:
    std::vector<Stage> Read(const std::string& text) { return ReadStages(m_folder.Write("s", text)); }
    std::string Refusal(const std::string& text) {
        return RefusalOf([&] { Read(text); });
    }
    const Folder m_folder;
};

TEST_F(ReadStagesTest, ReadsStartsPowersAndNames) {
    const std::vector<Stage> stages =
        Read("# bicycle\n0 0 rest\n\n1:30 25 first stage # easy\n1:02:03.5 - walk\n90:59.9 0");
    ASSERT_EQ(stages.size(), 4U);
    EXPECT_EQ(stages[0].name, "rest");
    EXPECT_EQ(stages[1].startSeconds, 90);
    EXPECT_EQ(stages[1].watts, 25);
    EXPECT_EQ(stages[1].name.substr(0, 11), "first stage");
    EXPECT_EQ(stages[2].startSeconds, 3723.5);
    EXPECT_FALSE(stages[2].watts);
    EXPECT_EQ(stages[3].startSeconds, 5459.9);
}

TEST_F(ReadStagesTest, RefusesWithTheLineAndWhatIsExpected) {
    for (const char* bad :
         {"0 0\nx 25", "0 0\n1: 25", "0 0\n1:2:3:4 25", "0 0\n-5 25", "0 0\n1e9 25", "0 0\n1:60 25",
          "0 0\n1:75:00 25", "0 0\n5", "0 0\n5 -3", "0 0\n5 25W", "0 0\n5 nan", "0 0\n0 25"})
        EXPECT_THAT(Refusal(bad), testing::AllOf(testing::StartsWith(m_folder.Path("s: line 2: ")),
                                                 testing::HasSubstr("expected")))
            << bad;
    EXPECT_THAT(Refusal("# nothing\n"), testing::HasSubstr("no stage"));
    EXPECT_THROW(ReadStages(m_folder.Path("none")), HostError);
}

/// Twelve minutes: rest, stages of 50, 100 and 150 W at 110, 130 and 150 beats/min, recovery.
StressResult TestOf12Minutes() {
    StressResult result;
    result.source.leads = {"II", "aVR"};
    result.seconds = 720;
    result.reference = {{0, 120}, "rest before the exercise"};
    for (int second = 1; second <= 720; ++second) {
        const double bpm = second < 120   ? 70
                           : second < 300 ? 110
                           : second < 480 ? 130
                           : second < 660 ? 150
                                          : 90;
        result.rates.push_back({second * 1.0, second % 180 == 119 ? 220 : bpm});  // a wrong one now and then
        const float depth = second < 300 ? 0.F : second < 650 ? 130.F : 40.F;
        result.beats.push_back({second * 1.0, bpm, {20 - depth, 20 + 2 * depth}, {0, 0}});
    }
    return result;
}
const std::vector<Stage> kStages = {
    {0, 0, "rest"}, {120, 50, ""}, {300, 100, ""}, {480, 150, ""}, {660, 0, "recovery"}};

TEST(SummarizeExercise, FindsPeakDeviationTimeAndIndices) {
    const ExerciseSummary summary = SummarizeExercise(TestOf12Minutes(), {kStages, {}, 1});
    EXPECT_DOUBLE_EQ(summary.peakBpm, 150) << "single wrong rates are no peak";
    EXPECT_DOUBLE_EQ(*summary.exerciseSeconds, 540);
    EXPECT_NEAR(summary.stDeviationMv, -0.13, 1e-6) << "of any lead but aVR";
    EXPECT_EQ(summary.stLead, "II");
    EXPECT_EQ(summary.duke->score, -1) << "9 minutes - 6.5 - 4, truncated";
    EXPECT_NEAR(summary.duke->points, -1.5, 1e-5);
    EXPECT_EQ(summary.duke->risk, nullptr) << "not on a treadmill";
    EXPECT_EQ(summary.duke->st.seconds, 300);
    EXPECT_NEAR(*summary.pwcWatts[0], 100, 0.01);
    EXPECT_NEAR(*summary.pwcWatts[1], 150, 0.01);
    EXPECT_FALSE(summary.pwcWatts[2]) << "needs a rate above 150";
}

TEST(SummarizeExercise, TakesTheGivenTimeAndComputesNothingFromNothing) {
    EXPECT_EQ(SummarizeExercise(TestOf12Minutes(), {{}, 60.0, 0}).duke->score, -5);
    const ExerciseSummary unknown = SummarizeExercise(TestOf12Minutes(), {});
    EXPECT_FALSE(unknown.exerciseSeconds);
    EXPECT_FALSE(unknown.duke);
    const ExerciseSummary treadmill =
        SummarizeExercise(TestOf12Minutes(), {{{60, {}, "1"}, {600, 0, "recovery"}}, {}, 0});
    EXPECT_DOUBLE_EQ(*treadmill.exerciseSeconds, 540);
    EXPECT_FALSE(treadmill.pwcWatts[0]);
    EXPECT_TRUE(std::isnan(SummarizeExercise({}, {kStages, {}, 0}).peakBpm));
}

TEST(SummarizeExercise, TakesThePeakFromWholeHalfMinutesAlone) {
    // The first readings after the start and after a pause are far too high.
    StressResult result;
    for (int second = 8; second < 200; ++second)
        if (second < 80 || second >= 130)
            result.rates.push_back({second * 1.0, second < 20 || (second >= 130 && second < 142)
                                                      ? 240
                                                      : 80.0 + std::floor(second / 10.0)});
    ExerciseSummary summary = SummarizeExercise(result, {});
    EXPECT_DOUBLE_EQ(summary.peakBpm, 98);  // one more every ten seconds: of 165 to 195 s
    EXPECT_DOUBLE_EQ(summary.peakSeconds, 195);
    result.rates.erase(result.rates.begin() + 20, result.rates.end());
    summary = SummarizeExercise(result, {});
    EXPECT_DOUBLE_EQ(summary.peakBpm, 240) << "of 20 s, the median of all";
    EXPECT_DOUBLE_EQ(summary.peakSeconds, 27);
}

TEST(SummarizeExercise, LeavesOutWhatIsBeyondTheRecordingButKeepsTheTime) {
    StressResult result = TestOf12Minutes();
    result.seconds = 480;
    const ExerciseSummary summary = SummarizeExercise(result, {kStages, {}, {}, {{60}, {481}, {481.1}}});
    ASSERT_EQ(summary.stages.size(), 3U);
    ASSERT_EQ(summary.pressures.size(), 2U);
    EXPECT_EQ(summary.pressures[1].seconds, 480) << "told in whole seconds, and taken at the end";
    EXPECT_DOUBLE_EQ(*summary.exerciseSeconds, 540);
    EXPECT_FALSE(summary.angina);
    EXPECT_EQ(summary.duke->score, 2) << "9 minutes - 6.5, and 0 for angina that nobody asked for";
}

TEST(SummarizeExercise, TakesTheMedianOfAStagesLastMinuteAndThePeakOfHalfAMinute) {
    // Each stage is 20 beats/min faster for its last seconds.
    for (const auto& [lateSeconds, pwc130] : {std::pair{29, 150}, {31, 50}}) {
        StressResult result;
        result.seconds = 700;
        for (int second = 60; second < 600; ++second) {
            const int stage = (second - 60) / 180, left = 180 - (second - 60) % 180;
            result.rates.push_back({second * 1.0, 110.0 + 10 * stage + (left <= lateSeconds ? 20 : 0)});
        }
        const ExerciseSummary summary = SummarizeExercise(
            result, {{{0, 0, ""}, {60, 50, ""}, {240, 100, ""}, {420, 150, ""}, {600, 0, ""}}, {}, 0});
        EXPECT_NEAR(summary.pwcWatts[0].value_or(0), pwc130, 0.1) << lateSeconds;
    }
    for (const auto& [fastSeconds, bpm] : {std::pair{15, 100}, {16, 150}}) {
        StressResult result;
        for (int second = 0; second < 200; ++second)
            result.rates.push_back(
                {second * 1.0, second / 100 == 1 && second % 100 < fastSeconds ? 150.0 : 100.0});
        EXPECT_EQ(SummarizeExercise(result, {}).peakBpm, bpm) << fastSeconds;
    }
}

TEST(SummarizeExercise, TakesSTHRFromTheReferenceToPeakExercise) {
    // 70 beats/min and 0 uV at rest; 110, 130 and 150 with 0, -130 and -130 at the ends of the stages.
    const ExerciseSummary stages = SummarizeExercise(TestOf12Minutes(), {kStages, {}, {}});
    EXPECT_NEAR(stages.sthr[0].index, 130 / 80.0, 1e-6);
    EXPECT_EQ(stages.sthrIndexLead, 0U);
    EXPECT_TRUE(std::isnan(stages.sthr[0].slope.uVPerBpm)) << "no line is significant";
    EXPECT_FALSE(stages.sthrSlopeLead);
    EXPECT_NEAR(stages.sthr[1].index, -260 / 80.0, 1e-6);

    // Without stages minute by minute: from 70 beats/min in the first half minute 10 more a minute and from
    // minute 2 on 20 uV deeper each, up to minute 8, in aVL twice that.
    StressResult result;
    result.source.leads = {"aVL", "V5"};
    result.seconds = 720;
    result.reference = {{0, 30}, "first half minute of ST values"};
    for (int second = 0; second < 720; ++second) {
        const int minute = second / 60;
        const double bpm = minute < 8 ? 70 + 10 * minute : 90;
        const auto uV = static_cast<float>(minute < 2 ? 0 : minute < 8 ? -20 * (minute - 1) : -20);
        result.rates.push_back({second * 1.0, bpm});
        result.beats.push_back({second * 1.0, bpm, {2 * uV, uV}, {0, 0}});
    }
    const ExerciseSummary minutes = SummarizeExercise(result, {});
    EXPECT_EQ(minutes.sthrSlopeLead, 1U) << "aVL does not count";
    EXPECT_NEAR(minutes.sthr[1].slope.uVPerBpm, 2, 0.1);
    EXPECT_NEAR(minutes.sthr[0].slope.uVPerBpm, 4, 0.2);
    for (const auto& [part, isThere] :
         {std::pair{0.153, false}, {0.155, true}}) {  // 9.9 and 10.1 of 65 beats/min
        StressResult slow = result;
        for (RateReading& rate : slow.rates) rate.bpm = 70 + part * (rate.bpm - 70);
        EXPECT_EQ(SummarizeExercise(slow, {}).sthrSlopeLead.has_value(), isThere) << part;
    }
}

TEST(CheckExercise, TellsWhatDoesNotFitTheRecording) {
    using testing::ElementsAre;
    using testing::HasSubstr;
    using testing::IsEmpty;
    const std::vector<Stage> openEnd(kStages.begin(), kStages.end() - 1);
    EXPECT_THAT(CheckExercise({}, 720), IsEmpty());
    EXPECT_THAT(CheckExercise({kStages, {}, 1}, 659.1), IsEmpty());
    EXPECT_THAT(CheckExercise({kStages, {}, 1}, 658.9), testing::SizeIs(1));
    EXPECT_THAT(CheckExercise({openEnd, 540.0, {}}, 720), IsEmpty());
    EXPECT_THAT(CheckExercise({kStages, {}, 1}, 600),
                ElementsAre("exercise ends at 11:00 min:s, but the recording ends at 10:00"));
    EXPECT_THAT(CheckExercise({openEnd, 605.0, {}}, 720), ElementsAre(HasSubstr("ends at 12:05 min:s")));
    EXPECT_THAT(CheckExercise({{}, 605.0, 1}, 600), ElementsAre(HasSubstr("lasts 10:05 min:s")));
    EXPECT_THAT(CheckExercise({openEnd, {}, {}}, 720), ElementsAre(HasSubstr("stages end with work")));
    EXPECT_THAT(CheckExercise({kStages, {}, 1}, 120),
                ElementsAre("exercise begins at 2:00 min:s, but the recording ends at 2:00",
                            HasSubstr("no exercise time")));
    EXPECT_THAT(CheckExercise({{}, {}, 0}, 720), ElementsAre(HasSubstr("no exercise time")));
    EXPECT_THAT(CheckExercise({{}, {}, {}, {{60}, {721}, {721.1}, {780}}}, 720),
                ElementsAre("blood pressures from 12:01 min:s on are left out: the recording ends at 12:00"));
}

}  // namespace
