#include "host/StressAnalysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "host/HostError.h"
#include "host/SimulatedTest.h"

namespace {

// Some leads of a simulated test, in any order.
class LeadsOf : public FrameSource {
public:
    /// The first frame is `firstFrameUv` too high.
    LeadsOf(SimulatedTest& all, std::vector<int> leads, short firstFrameUv = 0)
        : m_all(all), m_leads(std::move(leads)), m_info(all.Info()), m_firstFrameUv(firstFrameUv) {
        m_info.leads.clear();
        for (const int lead : m_leads)
            m_info.leads.push_back(all.Info().leads[static_cast<std::size_t>(lead)]);
    }
    const SourceInfo& Info() const override { return m_info; }
    bool Read(short* frame) override {
        short all[SimulatedTest::kLeads];
        if (!m_all.Read(all)) return false;
        for (std::size_t i = 0; i < m_leads.size(); ++i)
            frame[i] = static_cast<short>(all[m_leads[i]] + m_firstFrameUv);
        m_firstFrameUv = 0;
        return true;
    }

private:
    SimulatedTest& m_all;
    std::vector<int> m_leads;
    SourceInfo m_info;
    int m_firstFrameUv;
};

// Analyses the given leads and expects the answers to be close to the truth.
StressResult ExpectAccurate(const SimulatedTestOptions& simulation, const StressOptions& options,
                            const std::vector<int>& leads) {
    SimulatedTest test(simulation);
    LeadsOf source(test, leads);
    const StressResult result = StressAnalysis(source, options).Run();
    const auto lead = [&](int index) { return leads[static_cast<std::size_t>(index)]; };
    const Accuracy accuracy = CompareWithTruth(
        result,
        {[&](double seconds) { return test.TrueHeartRate(seconds); },
         [&](int index, double seconds) { return test.TrueSTuV(lead(index), seconds, options.postJms); },
         [&](int index, double seconds) { return test.TrueSTslope(lead(index), seconds, options.postJms); }});
    EXPECT_LT(accuracy.bpm.median, 2.0);
    for (std::size_t i = 0; i < leads.size(); ++i) {
        EXPECT_LT(accuracy.levelUv[i].median, 25.0) << source.Info().leads[i];
        // The 40 Hz low-pass leaves up to 30 uV of the end of the QRS at J + 6 ms, where the slope begins.
        EXPECT_LT(accuracy.slopeUvPerMs[i].median, 30.0 / options.postJms) << source.Info().leads[i];
    }
    // All but the ectopic beats, which are some 2 %, and the start.
    EXPECT_GT(static_cast<double>(result.beats.size()), 0.9 * static_cast<double>(test.Beats().size()));
    EXPECT_GT(static_cast<double>(result.beatsFound.size()), 0.95 * static_cast<double>(test.Beats().size()));

    // The filters' delay is off the times: what is folded in is a true beat, its upstroke 5 to 30 ms before
    // R.
    std::size_t onTime = 0;
    for (const STReading& beat : result.beats) {
        onTime += std::any_of(test.Beats().begin(), test.Beats().end(), [&](const SimulatedBeat& truth) {
            const double late = beat.seconds - static_cast<double>(truth.r) / simulation.fs;
            return late > -0.030 && late < 0.010;
        });
    }
    EXPECT_GT(static_cast<double>(onTime), 0.95 * static_cast<double>(result.beats.size()));
    return result;
}

std::vector<int> AllLeads() { return {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}; }

}  // namespace

TEST(StressAnalysis, TheTwelveLeadTestIsMeasuredWithinItsLimits) {
    const StressResult result = ExpectAccurate({}, {}, AllLeads());
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
        ExpectAccurate(simulation, options, AllLeads());
    }
}

TEST(StressAnalysis, FewLeadsAreEnoughInAnyOrderAndOfEitherPolarity) {
    SimulatedTestOptions simulation;
    simulation.seconds = 300;
    // II alone, aVR alone (its QRS points down), V1 last (deep S), three leads.
    for (const std::vector<int>& leads : {std::vector<int>{1}, {3}, {10, 6}, {1, 10, 6}}) {
        SCOPED_TRACE(testing::PrintToString(leads));
        ExpectAccurate(simulation, {}, leads);
    }
}

TEST(StressAnalysis, AStartFarFromTheBaselineDoesNotKeepBeatsFromMatching) {
    SimulatedTestOptions simulation;
    simulation.seconds = 120;
    SimulatedTest test(simulation);
    LeadsOf source(test, {0, 1, 10}, 8000);
    StressOptions options;
    options.conditioner.mainsHz = 60;  // the high-pass lets the level fade over seconds
    const StressResult result = StressAnalysis(source, options).Run();
    EXPECT_GT(static_cast<double>(result.beats.size()), 0.9 * static_cast<double>(test.Beats().size()));
}

TEST(StressAnalysis, RefusesWhatItCannotMeasure) {
    const auto messageFor = [](double seconds, const StressOptions& options) -> std::string {
        SimulatedTestOptions simulation;
        simulation.seconds = seconds;
        SimulatedTest source(simulation);
        try {
            StressAnalysis(source, options).Run();
        } catch (const HostError& error) {
            return error.what();
        }
        return "accepted";
    };
    for (const double seconds : {0.01, 1.0, 3.0})
        EXPECT_NE(messageFor(seconds, {}).find("not enough beats to learn from"), std::string::npos)
            << seconds;
    StressOptions late;
    late.postJms = 500;
    EXPECT_NE(messageFor(30, late).find("ms after J"), std::string::npos);
}
