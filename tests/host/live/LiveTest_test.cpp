#include "host/live/LiveTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "host/live/LiveSource.h"
#include "host/simulate/SimulatedTest.h"

using live::Alarm;
using live::Command;
using testing::ElementsAre;

namespace {

constexpr int kFs = 250;

SimulatedTestOptions Simulation(double seconds) {
    SimulatedTestOptions options;
    options.fs = kFs;
    options.seconds = seconds;
    options.leads = {"I", "II", "V5"};
    return options;
}

// The simulated patient, whose frames may be changed on the way.
class Patient {
public:
    explicit Patient(double seconds, const std::string& protocol = {})
        : m_source(Simulation(seconds)), m_test(m_source.Info(), {}, protocol) {}
    LiveTest& Test() { return m_test; }
    const live::State& State() const { return m_test.State(); }
    // Up to this second; `change` may write to each frame.
    Patient& Until(double seconds, const std::function<void(std::vector<short>&)>& change = {}) {
        std::vector<short> frame(m_source.Info().leads.size());
        while (m_test.State().seconds < seconds && m_source.Read(frame.data())) {
            if (change) change(frame);
            m_test.Take(frame.data(), 1);
        }
        return *this;
    }

private:
    SimulatedTest m_source;
    LiveTest m_test;
};

void LeaveOut(std::vector<short>& frame) { frame.assign(frame.size(), kMissing); }

std::vector<Alarm::Kind> Kinds(const live::State& state) {
    std::vector<Alarm::Kind> kinds;
    for (const Alarm& alarm : state.alarms) kinds.push_back(alarm.kind);
    return kinds;
}

TEST(LiveTest, FindsWhatAnAnalysisOfTheRecordingFindsToTheBit) {
    Patient patient(100);
    patient.Until(100).Test().Finish();
    SimulatedTest again(Simulation(100));
    const StressResult result = StressAnalysis(again, {}).Run();
    ASSERT_FALSE(result.beats.empty());
    EXPECT_EQ(patient.State().beats, std::ssize(result.beatsFound));
    EXPECT_EQ(patient.State().bpm, result.rates.back().bpm);
    for (std::size_t lead = 0; lead < 3; ++lead)
        EXPECT_EQ(patient.State().leads[lead].levelUv, result.beats.back().levelUv[lead]) << lead;
}

TEST(LiveTest, TellsAGapWithItsLengthAndHoldsTheSignalOverIt) {
    Patient patient(60);
    patient.Until(30).Until(33, LeaveOut);
    EXPECT_EQ(patient.State().gapSeconds, 3);
    EXPECT_THAT(Kinds(patient.State()), ElementsAre(Alarm::Kind::NoSignal));  // and no lead by itself
    patient.Test().TakeEvents();
    EXPECT_GT(patient.Until(39, LeaveOut).State().bpm, 50);
    EXPECT_TRUE(std::isnan(patient.Until(42, LeaveOut).State().bpm));  // that was 10 s ago
    patient.Until(50);
    const std::vector<live::Event> events = patient.Test().TakeEvents();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].kind, live::Event::Kind::Gap);
    EXPECT_EQ(events[0].value, 12);
    EXPECT_EQ(patient.State().seconds, 50);
}

TEST(LiveTest, TellsAGapBeforeTheSessionBeginsAsAGapAlone) {
    Patient patient(60);
    patient.Until(3).Until(6, LeaveOut).Until(20);
    for (const live::Event& event : patient.Test().TakeEvents())
        EXPECT_THAT(event.kind, testing::AnyOf(live::Event::Kind::Gap, live::Event::Kind::Learned));
}

TEST(LiveTest, KeepsAnAlarmUntilItIsAcknowledgedAndItsCauseGone) {
    Patient patient(600);
    const auto loosen = [](std::vector<short>& frame) { frame[1] = 0; };
    patient.Until(20).Until(25, loosen);
    ASSERT_THAT(Kinds(patient.State()), ElementsAre(Alarm::Kind::LeadOff));
    EXPECT_EQ(patient.State().alarms[0].lead, "II");
    const Command acknowledge{Command::Kind::Acknowledge, {}, 1};
    EXPECT_TRUE(patient.Test().Do(acknowledge));
    EXPECT_EQ(patient.State().alarms.size(), 1U);  // it is still off
    patient.Until(30);
    EXPECT_TRUE(patient.State().alarms.empty());
    patient.Until(35, loosen).Until(40);
    ASSERT_EQ(patient.State().alarms.size(), 1U);  // nobody has seen it
    EXPECT_FALSE(patient.State().alarms[0].isActive);
    EXPECT_FALSE(patient.Test().Do(acknowledge));
    EXPECT_TRUE(patient.Test().Do({Command::Kind::Acknowledge, {}, 2}));
    EXPECT_TRUE(patient.State().alarms.empty());
}

TEST(LiveTest, CountsChangesFromTheRestOrFromANewReference) {
    Patient patient(120);
    patient.Until(80).Test().Do({Command::Kind::Start});
    EXPECT_EQ(patient.State().reference.toSeconds, 80);
    patient.Until(100);
    const double before = patient.State().leads[2].changeUv;
    EXPECT_LT(before, -30);  // the simulated ST falls
    EXPECT_TRUE(patient.Test().Do({Command::Kind::Reference}));
    EXPECT_GT(patient.State().leads[2].changeUv, before / 2);
    EXPECT_TRUE(patient.State().isReferenceByHand);
}

TEST(LiveTest, TakesPointsSetByHandWithinTheirRanges) {
    using enum Command::Kind;
    Patient patient(60);
    patient.Until(50);
    for (const auto& [point, ms, isTaken] : {std::tuple{QPoint, -201.0, false},
                                             {QPoint, -200.0, true},
                                             {QPoint, -8.0, true},
                                             {QPoint, -7.0, false},
                                             {JPoint, 7.0, false},
                                             {JPoint, 8.0, true},
                                             {JPoint, 250.0, true},
                                             {JPoint, 251.0, false},
                                             {STPoint, 9.0, false},
                                             {STPoint, 10.0, true},
                                             {STPoint, 200.0, true},
                                             {STPoint, 201.0, false},
                                             {STPoint, INFINITY, false}})
        EXPECT_EQ(patient.Test().Do({point, {}, ms}), isTaken) << static_cast<int>(point) << " " << ms;
}

TEST(LiveTest, MeasuresAtPointsSetByHandAsAnAnalysisWithThemDoes) {
    Patient patient(300);
    using enum Command::Kind;
    EXPECT_TRUE(patient.Until(40).Test().Do({Reference}));
    const double own = patient.State().leads[1].levelUv;
    for (const auto& [point, ms] : {std::pair{QPoint, -50.0}, {JPoint, 60.0}, {STPoint, 180.0}})
        EXPECT_TRUE(patient.Test().Do({point, {}, ms}));
    patient.Until(41.5);  // with the next beat
    EXPECT_EQ(patient.State().stPointMs, 180);
    const live::Beats beats = patient.Test().Beats();
    EXPECT_EQ(beats.positions.q - beats.positions.r, -50);
    EXPECT_NEAR(beats.stMs - beats.positions.j, 180, 1e-9);
    EXPECT_GT(patient.State().leads[1].levelUv, own + 50);  // on the T wave
    EXPECT_NEAR(patient.State().leads[1].changeUv, 0, 25);  // no change that the moving has made
    patient.Until(300).Test().Finish();
    SimulatedTest again(Simulation(300));
    StressOptions options;
    options.stPoint.byHand = {-50.0, 60.0, 180.0};
    const StressResult result = StressAnalysis(again, options).Run();
    for (std::size_t lead = 0; lead < 3; ++lead)
        EXPECT_EQ(patient.State().leads[lead].levelUv, result.beats.back().levelUv[lead]) << lead;
    EXPECT_EQ(result.positions.j - result.positions.r, 60);
    EXPECT_EQ(result.stPoint.Describe(), "J + 180 ms; set by hand: Q 50 ms before R, J 60 ms after R, ST");
}

TEST(LiveTest, GivesAPointBackToWhatTheOptionsTell) {
    using enum Command::Kind;
    Patient patient(300);
    patient.Until(40).Test().Do({STPoint, {}, 140});
    patient.Until(42).Test().Do({STPoint});
    patient.Until(44);
    EXPECT_EQ(patient.State().stPointMs, 80);
    EXPECT_FALSE(patient.State().byHand.IsAny());
}

TEST(LiveTest, GoesThroughAProtocolByItsClockAndByHand) {
    Patient patient(600, "who25");  // 25 W more every 2 minutes
    patient.Until(10).Test().Do({Command::Kind::Start});
    patient.Until(131).Test().Do({Command::Kind::Next});
    patient.Until(300).Test().Do({Command::Kind::Recovery});
    EXPECT_FALSE(patient.Test().Do({Command::Kind::Next}));
    std::vector<double> starts, watts;
    for (const Stage& stage : patient.State().stages) {
        starts.push_back(stage.startSeconds);
        watts.push_back(stage.watts.value_or(-1));
    }
    EXPECT_THAT(starts, ElementsAre(0, 10, 130, 131, 251, 300));
    EXPECT_THAT(watts, ElementsAre(0, 25, 50, 75, 100, 0));
}

TEST(LiveTest, RefusesFiguresThatNoPatientHas) {
    Patient patient(20);
    patient.Until(1);
    for (const auto& [systolic, diastolic, isTaken] : {std::tuple{39.0, 30.0, false},
                                                       {40.0, 30.0, true},
                                                       {350.0, 90.0, true},
                                                       {351.0, 90.0, false},
                                                       {140.0, 141.0, false},
                                                       {140.0, 9.0, false},
                                                       {140.0, std::nan(""), false}})
        EXPECT_EQ(patient.Test().Do({Command::Kind::Pressure, {}, systolic, diastolic}), isTaken) << systolic;
    EXPECT_EQ(patient.State().pressures.size(), 1U);  // of one moment: the latest counts
    EXPECT_EQ(patient.State().pressures[0].systolic, 350);
    EXPECT_FALSE(patient.Test().Do({Command::Kind::Mark}));  // without a text
}

TEST(LiveTest, KeepsATrendOfALongTestInBoundedMemory) {
    SourceInfo info;  // three hours of a flat line
    info.name = "flat";
    info.fs = 100;
    info.uVpb = 1;
    info.leads = {"I"};
    LiveTest test(info, {}, {});
    const std::vector<short> minute(6000);
    for (int i = 0; i < 180; ++i) test.Take(minute.data(), minute.size());
    EXPECT_LE(test.Trend().size(), LiveTest::kMostTrendRows);
    EXPECT_GE(test.Trend().size(), LiveTest::kMostTrendRows / 2);
    EXPECT_LT(test.Trend().front().seconds, 1);
    EXPECT_GT(test.Trend().back().seconds, 180 * 60 - 2 * 2 * LiveTest::kTrendSeconds);
}

}  // namespace
