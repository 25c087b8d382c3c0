#include "host/results/Course.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "host/results/Summaries.h"
#include "host/support/Text.h"
#include "tests/support/Folder.h"

namespace {

using testing::HasSubstr;

TEST(Protocols, AskForTheWorkThatTheyAreKnownFor) {
    const struct {
        const char* name;
        int stage;  // from 1 on
        double seconds;
        const char* told;
        double mets;  // at 75 kg
    } cases[] = {
        {"bruce", 1, 0, "2.7 km/h, 10 %", 4.6},
        {"bruce", 4, 540, "6.8 km/h, 16 %", 13.6},
        {"bruce", 5, 720, "8.0 km/h, 18 %", 14.8},
        {"bruce", 7, 1080, "9.7 km/h, 22 %", 19.4},
        {"modified-bruce", 1, 0, "2.7 km/h, 0 %", 2.3},
        {"modified-bruce", 4, 540, "4.0 km/h, 12 %", 7.0},
        {"naughton", 7, 720, "3.2 km/h, 17.5 %", 7.3},
        {"balke", 25, 1440, "5.3 km/h, 25 %", 14.9},
        {"bicycle", 2, 120, "50 W", 4.1},
        {"who25", 4, 360, "100 W", 6.1},
        {"who50", 2, 180, "100 W", 6.1},
        {"ramp", 10, 540, "100 W", 6.1},
    };
    for (const auto& [name, stage, seconds, told, mets] : cases) {
        const std::vector<Stage> stages = ProtocolStages(name, 0, 1e6);
        const Stage& one = stages.at(static_cast<std::size_t>(stage - 1));
        EXPECT_EQ(one.startSeconds, seconds) << name;
        EXPECT_EQ(one.watts ? one.name : DescribePower(one), told) << name;
        EXPECT_NEAR(MetsOf(one, 75), mets, 0.05) << name << stage;
    }
    EXPECT_NEAR(MetsOf({0, {}, "", 7.9, 0}, {}), 4.8, 0.05) << "walking";
    EXPECT_NEAR(MetsOf({0, {}, "", 8.0, 0}, {}), 8.6, 0.05) << "running";
    EXPECT_TRUE(std::isnan(MetsOf({0, 100, ""}, {}))) << "cycling without a weight";
    EXPECT_TRUE(std::isnan(MetsOf({0, 0, "rest"}, 75)));
    EXPECT_FALSE(IsBruce(ProtocolStages("modified-bruce", 0, 1e6)));
}

TEST(StageSources, ReadNotesStagesAndBloodPressures) {
    const std::vector<Note> notes{{0, "Rest, supine"},   {5, "noise in V2"}, {60, "Stage 1: 2.7 km/h 10 %"},
                                  {240, "50 Watts"},     {300, "BP 140/80"}, {360, "2 mph, 3.5%"},
                                  {420, "warm feeling"}, {480, "Recovery"}};
    std::string told;
    for (const Stage& stage : StagesFromNotes(notes))
        told += std::to_string(static_cast<int>(stage.startSeconds)) + " " + DescribePower(stage) +
                (IsWork(stage) ? "; " : "rest; ");
    EXPECT_EQ(told, "0 rest; 60 2.7 km/h, 10 %; 240 50 W; 360 3.2 km/h, 3.5 %; 420 ; 480 rest; ");
    EXPECT_TRUE(StagesFromNotes({{0, "Rest"}, {9, "Recovery"}}).empty());

    const Folder folder;
    const std::vector<Stage> stages = ReadStages(folder.Write("s", "60 5.3/2.5 Balke 2"));
    EXPECT_EQ(DescribePower(stages[0]), "5.3 km/h, 2.5 %");
    const auto read = [&](const std::string& text) { return ReadBloodPressures(folder.Write("b", text)); };
    const auto readings = read("Time;Diastolic;Systolic;Exertion\n1:30;80;140;\n\n200;;150;13\n");
    ASSERT_EQ(readings.size(), 2U);
    EXPECT_EQ(readings[0].seconds, 90);
    EXPECT_EQ(readings[0].systolic, 140);
    EXPECT_TRUE(std::isnan(readings[0].exertion) && std::isnan(readings[1].diastolic));
    EXPECT_EQ(readings[1].exertion, 13);
    for (const auto& refused : {std::pair("1:30,140,80", "line 1: a heading"),
                                {"time,sys\n5,140", "line 1: systolic"},
                                {"time,systolic,diastolic\n5,80,80", "line 2: a systolic pressure above"},
                                {"time,systolic\n1:60", "line 2: a time"},
                                {"time,systolic\n5,401", "line 2: a number for systolic"},
                                {"time,exertion\n5\n5", "line 3: a later time"},
                                {"time,exertion\n", "no reading"}})
        EXPECT_THAT(RefusalOf([&] { read(refused.first); }), HasSubstr(refused.second));
}

/// Rest to 2 min at 70 beats/min, a stage at 120 and one at 160 of 3 min, then 130, 110 and 90 minute by
/// minute, 30 s of them beyond the third. ST falls by 100 uV in the second stage, with J 20 uV lower.
StressResult ATest() {
    StressResult result;
    result.source.leads = {"V5", "aVR", "I", "II", "III"};
    result.seconds = 690;
    result.reference = {{0, 120}, "rest before the exercise"};
    for (int second = 1; second <= 690; ++second) {
        const double bpm = second < 120    ? 70
                           : second < 300  ? 120
                           : second <= 480 ? 160
                                           : 130 - 20 * ((second - 481) / 60);
        result.rates.push_back({second * 1.0, bpm});
        const float uV = second >= 300 && second < 480 ? -100.F : 0.F;
        STReading beat{second * 1.0, bpm, {uV, -2 * uV, 0.5F * uV, 0.4F * uV, 0.3F * uV}, {-2, 0, 0, 0, 0}};
        beat.st.resize(5);
        beat.st[0].jUv = uV - 20;
        beat.st[0].shape = qz::STShape::Downsloping;
        result.beats.push_back(beat);
    }
    result.beatsFound = {{119.9, qz::BeatClass::Ventricular},
                         {120, qz::BeatClass::Ventricular},
                         {500, qz::BeatClass::Supraventricular}};
    result.source.patient.ageYears = 50;
    return result;
}

ExerciseOptions Told() {
    ExerciseOptions options;
    options.stages = ProtocolStages("bruce", 120, 480);
    options.pressures = {
        {60, 120, 80, kNothing}, {300, 150, 80, 11}, {300.1, 200, 90, 15}, {481, 190, kNothing, kNothing}};
    return options;
}

TEST(Course, HasTheFiguresOfEachStageAndMinuteOfRecovery) {
    const StressResult result = ATest();
    const ExerciseSummary summary = SummarizeExercise(result, Told());
    const std::vector<CourseRow> rows = SummarizeCourse(result, summary);
    std::string told;
    for (const CourseRow& row : rows)
        told += row.name + " " + Number(row.bpm, 0) + " " + Number(row.percentOfPredicted, 0) + " " +
                Number(row.pressure.systolic, 0) + " " + Number(row.ratePressure, 0) + " " +
                Number(row.changeUv[0], 0) + " " + std::to_string(row.counts.ventricular) +
                std::to_string(row.counts.supraventricular) + "; ";
    EXPECT_EQ(told,
              "rest 70 41 120 8400 0 10; Bruce 1 120 71 150 18000 0 10; Bruce 2 160 94 200 32000 -100 00; "
              "recovery 1 min 130 76 190 24700 0 01; recovery 2 min 110 65 - - 0 00; "
              "recovery 3 min 90 53 - - 0 00; recovery to its end 70 41 - - 0 00; ");
    EXPECT_NEAR(rows[2].mets, 7, 0.05);
    EXPECT_THAT(summary.stageLeads, testing::ElementsAre(0, 2, 3)) << "aVR does not count";
    const STThen own = MeasureAtLargestChange(result)[0], common = MeasureAllAt(result, 299.4)[0];
    EXPECT_EQ(own.seconds, 300);
    EXPECT_EQ(own.jUv, -120);
    EXPECT_EQ(own.shape, qz::STShape::Downsloping);
    EXPECT_EQ(common.changeUv, 0);
    EXPECT_TRUE(SummarizeCourse(result, SummarizeExercise(result, {})).empty());
}

TEST(Course, IsToldByBeatsAtTheEndsOfStagesAndAfterTheWork) {
    EXPECT_THAT(TellingSeconds(Told().stages), testing::ElementsAre(300, 480, 540, 660, 780));
    EXPECT_THAT(TellingSeconds(ProtocolStages("bruce", 0, INFINITY)),
                testing::ElementsAre(180, 360, 540, 720, 900, 1080));
}

TEST(Capacity, IsMeasuredAgainstTheAgeAndAfterTheWork) {
    StressResult result = ATest();
    Capacity capacity = SummarizeExercise(result, Told()).capacity;
    EXPECT_EQ(capacity.predictedBpm, 170);
    EXPECT_EQ(capacity.targetSeconds, 300) << "144.5 beats/min";
    EXPECT_NEAR(capacity.chronotropicIndex, 0.9, 1e-9);
    EXPECT_EQ(capacity.metsStage, "Bruce 2");
    EXPECT_EQ(capacity.ratePressure, 32000);
    EXPECT_EQ(capacity.recoveryBpm[0], 30) << "six of eleven readings about 9:00 are 130/min";
    EXPECT_EQ(capacity.recoveryBpm[1], 50);
    result.seconds = 604.9;
    EXPECT_TRUE(std::isnan(SummarizeExercise(result, Told()).capacity.recoveryBpm[1]));
    result.seconds = 605;
    EXPECT_EQ(SummarizeExercise(result, Told()).capacity.recoveryBpm[1], 50);
    EXPECT_DOUBLE_EQ(PredictBpm(PredictedRate::Tanaka, 50), 173);
    EXPECT_DOUBLE_EQ(PredictBpm(PredictedRate::Gulati, 50), 162);
    for (const auto& [peak, seconds] : {std::pair(144.4, kNothing), {144.6, 300.0}}) {
        for (RateReading& rate : result.rates)
            if (rate.bpm > 140) rate.bpm = peak;
        const double found = SummarizeExercise(result, Told()).capacity.targetSeconds;
        EXPECT_TRUE(found == seconds || (std::isnan(found) && std::isnan(seconds))) << peak;
    }
    for (RateReading& rate : result.rates)
        if (rate.bpm > 140) rate.bpm = rate.seconds < 312 ? 170 : 144;
    capacity = SummarizeExercise(result, Told()).capacity;
    EXPECT_TRUE(std::isnan(capacity.targetSeconds)) << "the peak of 30 s is 144, that of 10 s 170";
    result.source.patient = {};
    result.reference.span = {120, 200};
    capacity = SummarizeExercise(result, Told()).capacity;
    EXPECT_TRUE(std::isnan(capacity.predictedBpm) && std::isnan(capacity.targetSeconds) &&
                std::isnan(capacity.restBpm));
}

}  // namespace
