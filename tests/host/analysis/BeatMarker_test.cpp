#include "host/analysis/BeatMarker.h"

#include <gtest/gtest.h>

#include "host/analysis/Exporter.h"
#include "host/analysis/StressAnalysis.h"
#include "host/results/Evaluate.h"
#include "host/simulate/SimulatedTest.h"
#include "tests/support/Beats.h"

namespace {

TEST(BeatMarker, MarksTheTrueBeatsEctopicOnesIncludedAtTheirR) {
    SimulatedTestOptions options;
    options.seconds = 240;
    options.ectopySeconds = 12;
    SimulatedTest test(options);
    BeatMarker marker(test.Info());
    StressAnalysis(test, {}, {&marker}).Run();
    std::vector<double> found, truth;
    const auto coarse = marker.Annotations(options.fs / 4.0);
    for (const Annotation& beat : marker.Annotations(options.fs)) {
        const Annotation& other = coarse.at(found.size());
        EXPECT_NEAR(static_cast<double>(other.sample), static_cast<double>(beat.sample) / 4, 0.63);
        EXPECT_EQ(beat.code, kNormalBeat);
        found.push_back(static_cast<double>(beat.sample) / options.fs);
    }
    for (const SimulatedBeat& beat : test.Beats()) truth.push_back(static_cast<double>(beat.r) / options.fs);
    const BeatScore score = ScoreBeats(found, truth, {{0, 5}});
    EXPECT_GT(score.Sensitivity(), 0.98);
    EXPECT_GT(score.PositivePredictivity(), 0.99);
    EXPECT_NEAR(score.offsetMs, -12, 6) << "the steepest upstroke comes before the peak";
}

TEST(BeatMarker, TakesAMatchedBeatWithin150MsOfADetectionForTheSameBeat) {
    SourceInfo info;
    info.fs = 500;
    info.leads = {"II"};
    Recording recording = BeatTrain(500, 1).Beats(800, 12).Record();
    for (const auto& [lateSeconds, more] : {std::pair{0.14, 0U}, {0.16, 1U}}) {
        BeatMarker marker(info);
        for (std::size_t i = 0; i < recording.Frames(); ++i)
            marker.OnConditioned(recording.Frame(i), static_cast<double>(i) / 500);
        const std::vector<Annotation> found = marker.Annotations(500);
        ASSERT_GT(found.size(), 5U);
        marker.OnBeat({static_cast<double>(found[3].sample) / 500 + lateSeconds, 75, {0}, {0}});
        EXPECT_EQ(marker.Annotations(500).size(), found.size() + more) << lateSeconds;
    }
}

}  // namespace
