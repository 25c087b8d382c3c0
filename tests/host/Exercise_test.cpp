#include "host/Exercise.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "host/HostError.h"

namespace {

class ReadStagesTest : public testing::Test {
protected:
    ~ReadStagesTest() override { std::filesystem::remove(m_path); }
    std::vector<Stage> Read(const std::string& text) {
        std::ofstream(m_path) << text;
        return ReadStages(m_path);
    }
    std::string Refusal(const std::string& text) {
        try {
            Read(text);
        } catch (const HostError& error) {
            return error.what();
        }
        return "read";
    }
    std::string m_path = testing::TempDir() + "stages_" + std::to_string(::getpid()) + ".txt";
};

TEST_F(ReadStagesTest, ReadsStartsPowersAndNames) {
    const std::vector<Stage> stages =
        Read("# bicycle\n0 0 rest\n\n1:30 25 first stage # easy\n1:02:03.5 - walk\n");
    ASSERT_EQ(stages.size(), 3U);
    EXPECT_EQ(stages[0].name, "rest");
    EXPECT_EQ(stages[1].startSeconds, 90);
    EXPECT_EQ(stages[1].watts, 25);
    EXPECT_EQ(stages[1].name.substr(0, 11), "first stage");
    EXPECT_EQ(stages[2].startSeconds, 3723.5);
    EXPECT_FALSE(stages[2].watts);
}

TEST_F(ReadStagesTest, RefusesWithTheLineAndWhatIsExpected) {
    for (const char* bad : {"0 0\nx 25", "0 0\n1: 25", "0 0\n1:2:3:4 25", "0 0\n-5 25", "0 0\n1e9 25",
                            "0 0\n5", "0 0\n5 -3", "0 0\n5 25W", "0 0\n5 nan", "0 0\n0 25"})
        EXPECT_THAT(Refusal(bad), testing::AllOf(testing::StartsWith(m_path + ": line 2: "),
                                                 testing::HasSubstr("expected")))
            << bad;
    EXPECT_THAT(Refusal("# nothing\n"), testing::HasSubstr("no stage"));
    EXPECT_THROW(ReadStages(m_path + "x"), HostError);
}

/// Twelve minutes: rest, stages of 50, 100 and 150 W at 110, 130 and 150 beats/min, recovery.
StressResult TestOf12Minutes() {
    StressResult result;
    result.source.leads = {"II", "aVR"};
    result.seconds = 720;
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
    EXPECT_EQ(*summary.duke, -1) << "9 minutes - 6.5 - 4, truncated";
    EXPECT_NEAR(*summary.pwcWatts[0], 100, 0.01);
    EXPECT_NEAR(*summary.pwcWatts[1], 150, 0.01);
    EXPECT_FALSE(summary.pwcWatts[2]) << "needs a rate above 150";
}

TEST(SummarizeExercise, TakesTheGivenTimeAndComputesNothingFromNothing) {
    EXPECT_EQ(*SummarizeExercise(TestOf12Minutes(), {{}, 60.0, 0}).duke, -5);
    const ExerciseSummary unknown = SummarizeExercise(TestOf12Minutes(), {});
    EXPECT_FALSE(unknown.exerciseSeconds);
    EXPECT_FALSE(unknown.duke);
    const ExerciseSummary treadmill =
        SummarizeExercise(TestOf12Minutes(), {{{60, {}, "1"}, {600, 0, "recovery"}}, {}, 0});
    EXPECT_DOUBLE_EQ(*treadmill.exerciseSeconds, 540);
    EXPECT_FALSE(treadmill.pwcWatts[0]);
    EXPECT_TRUE(std::isnan(SummarizeExercise({}, {kStages, {}, 0}).peakBpm));
}

}  // namespace
