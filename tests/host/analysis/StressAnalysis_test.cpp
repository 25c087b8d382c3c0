#include "host/analysis/StressAnalysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "host/results/Accuracy.h"
#include "host/results/Summaries.h"
#include "host/simulate/SimulatedTest.h"
#include "host/simulate/TruthFile.h"
#include "tests/support/Folder.h"

namespace {

// A simulated test of which some leads are 8 mV too high for some frames.
class Raised : public FrameSource {
public:
    Raised(SimulatedTest& test, std::vector<std::size_t> leads, long long from, long long to)
        : m_test(test), m_leads(std::move(leads)), m_from(from), m_to(to) {}
    const SourceInfo& Info() const override { return m_test.Info(); }
    bool Read(short* frame) override {
        if (!m_test.Read(frame)) return false;
        if (m_frame >= m_from && m_frame < m_to)
            for (const std::size_t lead : m_leads) frame[lead] = static_cast<short>(frame[lead] + 8000);
        ++m_frame;
        return true;
    }

private:
    SimulatedTest& m_test;
    std::vector<std::size_t> m_leads;
    long long m_from, m_to, m_frame = 0;
};

// Analyses the simulated test and expects the answers to be close to the truth.
StressResult ExpectAccurate(const SimulatedTestOptions& simulation, const StressOptions& options) {
    SimulatedTest test(simulation);
    StressResult result = StressAnalysis(test, options).Run();
    const Accuracy accuracy = CompareWithTruth(result, TruthOf(test, options.postJms));
    EXPECT_LT(accuracy.bpm.median, 2.0);
    for (std::size_t i = 0; i < accuracy.levelUv.size(); ++i) {
        EXPECT_LT(accuracy.levelUv[i].median, 25.0) << test.Info().leads[i];
        // The 40 Hz low-pass leaves up to 30 uV of the end of the QRS at J + 6 ms, where the slope begins.
        EXPECT_LT(accuracy.slopeUvPerMs[i].median, 30.0 / options.postJms) << test.Info().leads[i];
    }
    // All but the ectopic beats, which are some 2 %, and the start.
    EXPECT_GT(static_cast<double>(result.beats.size()), 0.9 * static_cast<double>(test.Beats().size()));
    EXPECT_GT(static_cast<double>(result.beatsFound.size()), 0.95 * static_cast<double>(test.Beats().size()));
    return result;
}

// Two leads that are others from a moment on, as after cables were swapped.
class SwappedLeads : public FrameSource {
public:
    SwappedLeads(SimulatedTest& before, SimulatedTest& after, double seconds)
        : m_before(before), m_after(after), m_framesLeft(std::llround(seconds * before.Info().fs)) {}
    const SourceInfo& Info() const override { return m_before.Info(); }
    bool Read(short* frame) override {
        short other[2];
        return m_framesLeft-- > 0 ? m_after.Read(other) && m_before.Read(frame)
                                  : m_before.Read(other) && m_after.Read(frame);
    }

private:
    SimulatedTest &m_before, &m_after;
    long long m_framesLeft;
};

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

std::string MessageFor(FrameSource& source, const StressOptions& options) {
    return RefusalOf([&] { StressAnalysis(source, options).Run(); });
}

}  // namespace

TEST(StressAnalysis, TheTwelveLeadTestIsMeasuredWithinItsLimits) {
    const StressResult result = ExpectAccurate({}, {});
    EXPECT_TRUE(result.warnings.empty());
    EXPECT_DOUBLE_EQ(result.seconds, 900);
    EXPECT_NEAR(result.positions.j - result.positions.q, SimulatedTest::kJMs - SimulatedTest::kQOnsetMs, 12);
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
    for (const int fs : {250, 360, 1000}) {
        SCOPED_TRACE(fs);
        SimulatedTestOptions simulation;
        simulation.fs = fs;
        simulation.mainsHz = 60;
        simulation.seconds = 300;
        StressOptions options;
        options.conditioner.mainsHz = 60;
        options.postJms = 40;
        ExpectAccurate(simulation, options);
    }
}

TEST(StressAnalysis, FewLeadsAreEnoughInAnyOrderAndOfEitherPolarity) {
    SimulatedTestOptions simulation;
    simulation.seconds = 300;
    // II alone, aVR alone (its QRS points down), V1 last (deep S), three leads.
    const std::vector<std::vector<std::string>> kinds = {{"II"}, {"aVR"}, {"V5", "V1"}, {"II", "V5", "V1"}};
    for (const std::vector<std::string>& leads : kinds) {
        SCOPED_TRACE(testing::PrintToString(leads));
        simulation.leads = leads;
        ExpectAccurate(simulation, {});
    }
}

TEST(StressAnalysis, AStartFarFromTheBaselineDoesNotKeepBeatsFromMatching) {
    SimulatedTestOptions simulation;
    simulation.seconds = 120;
    simulation.leads = {"I", "II", "V5"};
    SimulatedTest test(simulation);
    Raised source(test, {0, 1, 2}, 0, 1);
    StressOptions options;
    options.conditioner.mainsHz = 60;  // the high-pass lets the level fade over seconds
    const StressResult result = StressAnalysis(source, options).Run();
    EXPECT_GT(static_cast<double>(result.beats.size()), 0.9 * static_cast<double>(test.Beats().size()));
    EXPECT_TRUE(result.disturbed[0].empty()) << "one sample is no jump";
}

TEST(StressAnalysis, AfterACableSwapABeatIsLearnedAgainAndTheTrendHasNoGap) {
    SimulatedTestOptions simulation;
    simulation.seconds = 420;
    constexpr double kSwap = 150;  // seconds
    StressOptions options;
    const auto run = [&](bool bRelearn) {
        simulation.leads = {"II", "V5"};
        SimulatedTest before(simulation);
        simulation.leads = {"V3", "V1"};
        SimulatedTest after(simulation);
        SwappedLeads source(before, after, kSwap);
        options.relearn = bRelearn;
        const StressResult result = StressAnalysis(source, options).Run();
        std::vector<double> errors;
        for (const STReading& beat : result.beats) {
            if (beat.seconds < kSwap + 15) continue;  // the average is of old beats, too
            for (int lead = 0; lead < 2; ++lead)
                errors.push_back(std::abs(beat.levelUv[static_cast<std::size_t>(lead)] -
                                          after.TrueSTuV(lead, beat.seconds, options.postJms)));
        }
        return std::pair{result, Median(errors)};
    };
    EXPECT_LT(run(false).first.beats.back().seconds, kSwap + 15) << "the leads are too much like each other";

    const auto [result, error] = run(true);
    EXPECT_LT(error, 25.0);
    ASSERT_EQ(result.relearnedSeconds.size(), 1U);
    EXPECT_NEAR(result.relearnedSeconds[0], kSwap, 15);
    double longest = 0;
    for (std::size_t i = 1; i < result.beats.size(); ++i) {
        const double interval = result.beats[i].seconds - result.beats[i - 1].seconds;
        EXPECT_GT(interval, 0.2);
        longest = std::max(longest, interval);
    }
    EXPECT_LT(longest, 15);  // half a minute without a match is made up for
}

struct LeadEvents : AnalysisObserver {
    void OnLead(std::size_t lead, bool isOff, double seconds) override {
        events.push_back({static_cast<double>(lead), isOff ? 1.0 : 0.0, seconds});
    }
    std::vector<std::vector<double>> events;
};

TEST(StressAnalysis, ALeadThatIsOffOrJumpsHasNoSTUntilItIsRightAgain) {
    SimulatedTestOptions simulation;
    simulation.seconds = 240;
    simulation.protocol = SimulatedProtocol::Ramp;
    simulation.leads = {"I", "II", "V4", "V5", "V6", "V2"};
    SimulatedTest whole(simulation);
    simulation.leadOff = {{"V4", 100, 20, false}, {"V5", 135, 15, false}};
    SimulatedTest disturbed(simulation);
    Raised source(disturbed, {1}, 60LL * simulation.fs, 1LL << 40);
    LeadEvents told;
    const StressResult expected = StressAnalysis(whole, {}).Run();
    const StressResult result = StressAnalysis(source, {}, {&told}).Run();
    EXPECT_EQ(told.events,
              (std::vector<std::vector<double>>{{2, 1, 100}, {2, 0, 120}, {3, 1, 135}, {3, 0, 150}}));
    ASSERT_EQ(result.off[3].size(), 1U);
    EXPECT_TRUE(result.off[0].empty() && result.disturbed[0].empty());
    EXPECT_NEAR(result.disturbed[1].at(0).fromSeconds, 60, 0.2);

    const Span without[] = {{0, 0}, {58, 95}, {98, 150}, {133, 175}, {0, 0}, {0, 0}};
    std::vector<int> known(6);
    for (const STReading& reading : result.beats) {
        const auto same =
            std::lower_bound(expected.beats.begin(), expected.beats.end(), reading.seconds - 0.02,
                             [](const STReading& beat, double seconds) { return beat.seconds < seconds; });
        for (std::size_t lead = 0; lead < 6; ++lead) {
            if (std::isnan(reading.levelUv[lead])) {
                EXPECT_TRUE(std::isnan(reading.slopeUvPerMs[lead]));
                EXPECT_GE(reading.seconds, without[lead].fromSeconds) << lead;
                EXPECT_LE(reading.seconds, without[lead].toSeconds) << lead;
            } else if (same != expected.beats.end() && same->seconds < reading.seconds + 0.02) {
                ++known[lead];
                EXPECT_NEAR(reading.levelUv[lead], same->levelUv[lead], 10) << lead << " " << reading.seconds;
            }
        }
    }
    for (std::size_t lead = 0; lead < 6; ++lead) EXPECT_GT(known[lead], 200) << lead;
    EXPECT_EQ(result.warnings.size(), 2U);
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

TEST(StressAnalysis, StripsShowTheRecordedAndTheConditionedSignalInStep) {
    SimulatedTestOptions simulation;
    simulation.seconds = 60;
    simulation.uVpb = 2.5;
    simulation.leads = {"II", "V5"};
    simulation.wanderUv = simulation.muscleUv = simulation.mainsUv = 0;
    SimulatedTest source(simulation);
    Witness witness(source.Info(), -1);
    StressOptions options;
    options.conditioner.smooth = 1;
    options.stripSeconds = {20, 58.8, 21, 5.001, 70};  // two overlap, one is cut, one is beyond the end
    const StressResult result = StressAnalysis(source, options, {&witness}).Run();
    ASSERT_EQ(result.strips.size(), 4U);
    double last = 0;
    for (const Strip& strip : result.strips) {
        SCOPED_TRACE(strip.seconds);
        EXPECT_GT(strip.seconds, last);
        last = strip.seconds;
        const auto first = static_cast<std::size_t>(std::llround(strip.seconds * simulation.fs));
        const std::size_t length = std::min<std::size_t>(1250, 30000 - first);
        for (std::size_t lead = 0; lead < 2; ++lead) {
            ASSERT_EQ(strip.rawUv[lead].size(), length);
            ASSERT_EQ(strip.cleanUv[lead].size(), length);
            for (std::size_t i = 0; i < length; ++i) {
                ASSERT_EQ(strip.rawUv[lead][i],
                          2.5F * static_cast<float>(witness.raw[(first + i) * 2 + lead] - witness.raw[lead]));
                ASSERT_EQ(strip.cleanUv[lead][i], witness.clean[(first + i) * 2 + lead]);
            }
        }
    }
}

TEST(StressAnalysis, ABeatOfAnotherRecordingGivesTheSameTrend) {
    SimulatedTestOptions simulation;
    simulation.seconds = 300;
    simulation.seed = 7;
    SimulatedTest elsewhere(simulation);
    const LearnedBeat beat = StressAnalysis(elsewhere, {}).Run().learned;
    simulation.seed = 8;
    SimulatedTest own(simulation), same(simulation);
    const StressResult expected = StressAnalysis(own, {}).Run();
    StressOptions options;
    options.beat = &beat;
    const StressResult result = StressAnalysis(same, options).Run();
    EXPECT_EQ(result.learned.rows, beat.rows);
    EXPECT_EQ(result.learned.record, elsewhere.Info().name);
    ASSERT_NEAR(static_cast<double>(result.beats.size()), static_cast<double>(expected.beats.size()), 2);
    const std::vector<MinuteRow> rows = SummarizeMinutes(result), expectedRows = SummarizeMinutes(expected);
    for (std::size_t minute = 0; minute < rows.size(); ++minute) {
        for (std::size_t lead = 0; lead < SimulatedTest::kLeads; ++lead)
            EXPECT_NEAR(rows[minute].levelUv[lead], expectedRows[minute].levelUv[lead], 8)
                << "minute " << minute << ", lead " << lead;
    }

    simulation.leads = {"II"};
    SimulatedTest oneLead(simulation);
    EXPECT_NE(MessageFor(oneLead, options).find("has 12 leads, not 1"), std::string::npos);
}

TEST(StressAnalysis, RefusesWhatItCannotMeasure) {
    const auto messageFor = [](double seconds, const StressOptions& options) {
        SimulatedTestOptions simulation;
        simulation.seconds = seconds;
        SimulatedTest source(simulation);
        return MessageFor(source, options);
    };
    for (const double seconds : {0.01, 1.0, 3.0})
        EXPECT_NE(messageFor(seconds, {}).find("not enough beats to learn from"), std::string::npos)
            << seconds;
    StressOptions late;
    late.postJms = 500;
    EXPECT_NE(messageFor(30, late).find("ms after J"), std::string::npos);
}
