#include "host/results/Reference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "host/results/Summaries.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::vector<Stage> kThreeStages = {{0, 0, "rest"}, {120, {}, "1"}, {300, 0, "recovery"}};

/// A reading a second over ten minutes: lead I with its time in uV, V5 off for the first minute.
StressResult TenMinutes(double restBpm, double laterBpm, double laterFrom) {
    StressResult result;
    result.source.leads = {"I", "V5"};
    result.seconds = 600;
    result.reference = FirstReadings(0);
    for (int second = 0; second < 600; ++second) {
        const double bpm = second < laterFrom ? restBpm : laterBpm;
        result.rates.push_back({second * 1.0, bpm});
        result.beats.push_back(
            {second * 1.0, bpm, {static_cast<float>(second), second < 60 ? NAN : 5.F}, {0, 0}});
    }
    return result;
}

TEST(Reference, IsThatAskedForOrRestOrTheFirstHalfMinute) {
    EXPECT_EQ(ChooseReference(Span{10, 20}, kThreeStages)->span.fromSeconds, 10);
    EXPECT_EQ(ChooseReference({}, kThreeStages)->span.toSeconds, 120);
    EXPECT_FALSE(ChooseReference({}, {}));
    EXPECT_FALSE(ChooseReference({}, {{0, 50, ""}})) << "there is no rest";
    StressResult result = TenMinutes(70, 70, 0);
    const Reference first = MeasureReference(result);
    EXPECT_EQ(first.levelUv[0], 14.5) << "of 0 to 29 s";
    EXPECT_THAT(first.beats, ElementsAre(30U, 0U));
    EXPECT_EQ(DescribeReference(result),
              "0:00 to 0:30 min:s, first half minute of ST values: 30 beats, 70 beats/min");
    result.reference = *ChooseReference(Span{500, 9000}, {});
    EXPECT_EQ(MeasureReference(result).levelUv[0], 549.5);
    EXPECT_THAT(DescribeReference(result),
                testing::StartsWith("8:20 to 10:00 min:s, as asked for: 100 beats"));
}

TEST(Reference, ALeadWithoutAValueInItHasNoChange) {
    const StressResult result = TenMinutes(70, 70, 0);
    const std::vector<LeadSummary> leads = SummarizeLeads(result);
    EXPECT_EQ(leads[0].changeUv, 599 - 14.5);
    EXPECT_TRUE(std::isnan(leads[1].changeUv) && std::isnan(leads[1].levelUv));
    EXPECT_THAT(CheckReference(result, {}),
                ElementsAre(HasSubstr("0:30 min:s) of V5: changes of it are not")));
}

TEST(Reference, ARecordingThatBeginsInExerciseIsWarnedOf) {
    const auto warning = [](double restBpm, double laterBpm, double laterFrom,
                            const std::vector<Stage>& stages) {
        StressResult result = TenMinutes(restBpm, laterBpm, laterFrom);
        for (STReading& beat : result.beats) beat.levelUv[1] = 0;
        const std::vector<std::string> warnings = CheckReference(result, stages);
        return warnings.empty() ? "" : warnings.front();
    };
    EXPECT_EQ(warning(100, 90, 300, {}), "");
    EXPECT_THAT(warning(101, 90, 300, {}), HasSubstr("heart rate is 101 beats/min, more than at rest"));
    EXPECT_THAT(warning(96, 71, 480, {}), HasSubstr("96 beats/min, and later 71"));
    EXPECT_EQ(warning(96, 73, 480, {}), "") << "three quarters";
    EXPECT_EQ(warning(96, 60, 510, {}), "") << "one whole minute is not for good";
    EXPECT_EQ(warning(70, 150, 120, kThreeStages), "");
    EXPECT_THAT(warning(70, 150, 120, {{0, 50, ""}}), HasSubstr("lies in the exercise"));
    EXPECT_THAT(warning(70, 150, 120, {{29, 50, ""}}), HasSubstr("lies in the exercise"));
    EXPECT_EQ(warning(70, 150, 120, {{30, 50, ""}}), "");
}

}  // namespace
