#include "host/analysis/StressAnalysis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "host/analysis/SignalStore.h"
#include "host/report/Findings.h"
#include "host/results/Accuracy.h"
#include "host/results/Exercise.h"
#include "host/results/Summaries.h"
#include "host/simulate/SimulatedTest.h"
#include "host/simulate/TruthFile.h"

namespace {

// Analyses the simulated test and expects the answers to be close to the truth.
StressResult ExpectAccurate(const SimulatedTestOptions& simulation, const StressOptions& options) {
    SimulatedTest test(simulation);
    StressResult result = StressAnalysis(test, options).Run();
    const Accuracy accuracy = CompareWithTruth(result, TruthOf(test, options.stPoint));
    EXPECT_LT(accuracy.bpm.median, 2.0);
    for (std::size_t i = 0; i < accuracy.levelUv.size(); ++i) {
        EXPECT_LT(accuracy.levelUv[i].median, 25.0) << test.Info().leads[i];
        // The 40 Hz low-pass leaves up to 30 uV of the end of the QRS at J + 6 ms, where the slope begins.
        EXPECT_LT(accuracy.slopeUvPerMs[i].median, 30.0 / options.stPoint.postJms.value_or(60))
            << test.Info().leads[i];
    }
    // All but the ectopic beats, which are some 2 %, and the start.
    EXPECT_GT(static_cast<double>(result.beats.size()), 0.9 * static_cast<double>(test.Beats().size()));
    EXPECT_GT(static_cast<double>(result.beatsFound.size()), 0.95 * static_cast<double>(test.Beats().size()));
    return result;
}

// Notes what it is told, and checks the order in which it is.
class Witness : public AnalysisObserver {
public:
    Witness(const SourceInfo& info, long long stopAfter) : m_info(info), m_stopAfter(stopAfter) {}
    void OnFrame(const short* frame) override {
        EXPECT_EQ(++frames, asked) << "asked before every frame whether to stop";
        raw.insert(raw.end(), frame, frame + m_info.leads.size());
    }
    void OnConditioned(const short* uV, double seconds) override {
        const std::size_t before = clean.size() / m_info.leads.size();
        EXPECT_DOUBLE_EQ(seconds * m_info.fs, static_cast<double>(before));
        now = seconds;
        clean.insert(clean.end(), uV, uV + m_info.leads.size());
    }
    void OnRate(const RateReading& rate) override {
        EXPECT_LE(rate.seconds, now);
        rates.push_back(rate);
    }
    void OnBeat(const STReading& beat) override {
        EXPECT_LT(beat.seconds, now);
        beats.push_back(beat);
    }
    bool Stop() override { return asked++ == m_stopAfter; }

    long long frames = 0, asked = 0;
    double now = 0;  // seconds of the latest conditioned frame
    std::vector<short> raw, clean;
    std::vector<RateReading> rates;
    std::vector<STReading> beats;

private:
    const SourceInfo& m_info;
    long long m_stopAfter;
};

}  // namespace

TEST(StressAnalysis, PacemakersAreThoseOfTheRemarksUnlessTheOptionsSayOtherwise) {
    SourceInfo info;
    info.fs = 500;
    info.uVpb = 1;
    info.leads = {"I"};
    for (const bool isTold : {false, true}) {
        StressOptions options;
        if (isTold) info.remarks = {"Pacemaker."};
        EXPECT_EQ(SessionOptionsFor(info, options).isPaced, isTold);
        options.isPaced = !isTold;
        EXPECT_EQ(SessionOptionsFor(info, options).isPaced, !isTold);
    }
}

TEST(StressAnalysis, TheTwelveLeadTestIsMeasuredWithinItsLimits) {
    SimulatedTestOptions simulation;
    simulation.fs = 250;
    const StressResult result = ExpectAccurate(simulation, {});
    EXPECT_TRUE(result.warnings.empty());
    EXPECT_DOUBLE_EQ(result.seconds, 900);
    EXPECT_NEAR(result.positions.j - result.positions.q, SimulatedTest::kJMs - SimulatedTest::kQOnsetMs, 24);
    const std::vector<MinuteRow> rows = SummarizeMinutes(result);
    ASSERT_EQ(rows.size(), 15U);
    EXPECT_NEAR(rows[10].bpm, 170, 2);        // peak exercise
    EXPECT_LT(rows[10].levelUv[10], -150);    // V5 at the peak
    EXPECT_NEAR(rows[0].levelUv[10], 0, 25);  // and at rest
    const LeadExtremes v5 = FindExtremes(result)[10];
    EXPECT_GT(v5.lowestSeconds, 9 * 60);
    EXPECT_LT(v5.lowestSeconds, 12 * 60);
}

TEST(StressAnalysis, OtherRatesMainsAndOptionsAreMeasuredAsWell) {
    for (const int fs : {360, 500, 1000}) {
        SCOPED_TRACE(fs);
        SimulatedTestOptions simulation;
        simulation.fs = fs;
        simulation.mainsHz = 60;
        simulation.seconds = 200;
        simulation.leads = {"II", "V2", "V5"};
        StressOptions options;
        options.stPoint.postJms = 40;
        EXPECT_EQ(ExpectAccurate(simulation, options).mainsHz, 60);
    }
}

TEST(StressAnalysis, FewLeadsAreEnoughInAnyOrderAndOfEitherPolarity) {
    SimulatedTestOptions simulation;
    simulation.seconds = 300;
    // II alone, aVR alone (its QRS points down), V1 last (deep S).
    const std::vector<std::vector<std::string>> kinds = {{"II"}, {"aVR"}, {"V5", "V1"}};
    for (const std::vector<std::string>& leads : kinds) {
        SCOPED_TRACE(testing::PrintToString(leads));
        simulation.leads = leads;
        ExpectAccurate(simulation, {});
    }
}

struct LeadEvents : AnalysisObserver {
    void OnLead(std::size_t lead, bool isOff, double seconds) override {
        events.push_back({static_cast<double>(lead), isOff ? 1.0 : 0.0, seconds});
    }
    std::vector<std::vector<double>> events;
};

TEST(StressAnalysis, ALeadThatIsOffIsToldAndWhatWasTakenForItsSTIsTakenBack) {
    SimulatedTestOptions simulation;
    simulation.seconds = 140;
    simulation.leads = {"II", "V5"};
    simulation.leadOff = {{"V5", 100, 20, false}};
    SimulatedTest source(simulation);
    LeadEvents told;
    const StressResult result = StressAnalysis(source, {}, {&told}).Run();
    EXPECT_EQ(told.events, (std::vector<std::vector<double>>{{1, 1, 100}, {1, 0, 120}}));
    ASSERT_EQ(result.off[1].size(), 1U);
    EXPECT_EQ(result.off[1][0].toSeconds, 120);
    EXPECT_TRUE(result.off[0].empty() && result.disturbed[1].empty());
    for (const STReading& reading : result.beats) {
        // It has ST again after the six beats that renew its average.
        const bool isOff = reading.seconds > 100 && reading.seconds < 122;
        if (isOff || reading.seconds < 99 || reading.seconds > 126) {
            EXPECT_EQ(std::isnan(reading.levelUv[1]), isOff) << reading.seconds;
        }
        EXPECT_FALSE(std::isnan(reading.levelUv[0]));
    }
    ASSERT_EQ(result.warnings.size(), 2U);
    EXPECT_THAT(result.warnings[1],
                testing::AllOf(testing::StartsWith("no ST of V5 for 0:2"), testing::EndsWith("(off)")));
}

TEST(StressAnalysis, ObserversAreToldOfEverythingOnceAndInOrder) {
    SimulatedTestOptions simulation;
    simulation.seconds = 120;
    simulation.leads = {"II", "V2", "V5"};
    for (const double stopSeconds : {1e6, 60.0}) {
        SCOPED_TRACE(stopSeconds);
        SimulatedTest source(simulation);
        Witness witness(source.Info(), std::llround(stopSeconds * simulation.fs));
        AnalysisObserver idle;
        const StressResult result = StressAnalysis(source, {}, {&idle, &witness}).Run();
        const double expected = std::min(stopSeconds, simulation.seconds);
        EXPECT_DOUBLE_EQ(result.seconds, expected);
        EXPECT_EQ(witness.frames, std::llround(expected * simulation.fs));
        EXPECT_EQ(witness.raw.size(), witness.clean.size());  // up to the last frame, for all the delay
        ASSERT_EQ(witness.rates.size(), result.rates.size());
        ASSERT_EQ(witness.beats.size(), result.beats.size());
        EXPECT_LT(result.rates.front().seconds, 4);
        EXPECT_GT(result.beats.back().seconds, expected - 3);
    }
}

TEST(PlaceBeat, PutsTheQrsOverThatOfTheOther) {
    const auto beatAt = [](std::size_t r, float uV) {
        qz::MeasuredBeat beat{{400, 100, 130, 180}, {std::vector<float>(400, 0), {}}};
        for (std::size_t i = 0; i < 20; ++i)
            beat.uV[0][r - i] = beat.uV[0][r + i] = uV * (20.F - static_cast<float>(i));
        return beat;
    };
    const qz::MeasuredBeat like = beatAt(140, 50);
    qz::MeasuredBeat beat = beatAt(179, 30);  // 39 ms later
    beat.positions.j = 219;
    PlaceBeat(beat, like, 1000);
    EXPECT_EQ(beat.uV[0], beatAt(140, 30).uV[0]);
    EXPECT_TRUE(beat.uV[1].empty());
    EXPECT_EQ(beat.positions.j, 180);
}

TEST(StressAnalysis, BeatsAreKeptWhenAskedAndAtThePeak) {
    SimulatedTestOptions simulation;
    simulation.seconds = 300;
    simulation.leads = {"II", "V5"};
    SimulatedTest source(simulation);
    StressOptions options;
    options.beatSeconds = {20, 40, 300, 320};  // the last one has no beat
    SignalStore store(2, simulation.fs);
    Witness witness(source.Info(), -1);
    const StressResult result = StressAnalysis(source, options, {&witness, &store}).Run();
    ASSERT_EQ(result.asked.size(), 3U);
    for (const BeatsThen& then : result.asked) {
        EXPECT_NEAR(result.beats.at(then.reading).seconds, then.askedSeconds - 1.5, 0.8);
        EXPECT_EQ(then.uV[1].size(), result.latestBeatUv[1].size());
        const STReading& told = result.beats.at(then.reading);
        EXPECT_NEAR(BeatHeightUv(result, then.uV[1], then.jMs + told.stPointMs), told.levelUv[1], 0.01);
        EXPECT_NEAR(BeatHeightUv(result, then.uV[1], then.jMs), told.st[1].jUv, 0.01);
    }
    for (const BeatThen& then : result.farthest) {
        EXPECT_NEAR(BeatHeightUv(result, then.uV, then.stMs), then.levelUv, 0.01);
        EXPECT_NEAR(BeatHeightUv(result, then.uV, then.qMs - 10), 0, 5);  // the PR level
        EXPECT_GT(std::abs(BeatHeightUv(result, then.uV, then.qMs + 20)), 20);
    }
    EXPECT_NEAR(result.referenceQMs, result.farthest[0].qMs, 20);
    EXPECT_NE(result.asked[0].uV[1], result.asked[1].uV[1]);
    ASSERT_TRUE(result.peak);
    EXPECT_EQ(result.peak->askedSeconds, SummarizeExercise(result, {}).peakSeconds);
    EXPECT_NEAR(result.beats.at(result.peak->reading).seconds, result.peak->askedSeconds, 2);

    // The strips are of the conditioned signal; two overlap, one is cut by the end.
    const std::vector<Strip> strips = store.Fill({{20, {}}, {298.8, {}}, {12.002, {}}});
    ASSERT_EQ(strips.size(), 3U);
    for (const Strip& strip : strips) {
        SCOPED_TRACE(strip.seconds);
        const auto first = static_cast<std::size_t>(std::llround(strip.seconds * simulation.fs));
        const std::size_t length = std::min<std::size_t>(5000, 150000 - first);
        for (std::size_t lead = 0; lead < 2; ++lead) {
            ASSERT_EQ(strip.uV[lead].size(), length);
            for (std::size_t i = 0; i < length; ++i)
                ASSERT_EQ(strip.uV[lead][i], witness.clean[(first + i) * 2 + lead]);
        }
    }
}
