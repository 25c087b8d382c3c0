#include "session/internal/SignalConditioner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"
#include "tests/support/Signals.h"

using namespace qz;

namespace {

SourceInfo OneLead(int fs, double uVpb = 1.0) {
    SourceInfo info;
    info.name = "record";
    info.fs = fs;
    info.uVpb = uVpb;
    info.leads = {"II"};
    return info;
}

std::vector<short> Conditioned(const std::vector<short>& signal, const SourceInfo& info,
                               const ConditioningOptions& options) {
    SignalConditioner conditioner(info.fs, info.leads.size(), info.uVpb, options);
    std::vector<short> out(signal.size());
    for (std::size_t i = 0; i < signal.size(); ++i) conditioner.Process(&signal[i], &out[i]);
    return out;
}

// The shift of `later` against `earlier` at which they agree best, by cross-correlation.
int BestShift(const std::vector<short>& earlier, const std::vector<short>& later, int longest) {
    double best = 0;
    int bestShift = -1;
    for (int shift = 0; shift <= longest; ++shift) {
        double sum = 0;
        for (std::size_t i = 0; i + static_cast<std::size_t>(shift) < later.size(); ++i)
            sum += static_cast<double>(earlier[i]) * later[i + static_cast<std::size_t>(shift)];
        if (sum > best) {
            best = sum;
            bestShift = shift;
        }
    }
    return bestShift;
}

double ToneLeftPercent(double hz, int fs, const ConditioningOptions& options) {
    const int amplitude = 500;
    const auto second = static_cast<std::size_t>(fs);
    const std::vector<short> out = Conditioned(Tone(fs, 30 * second, hz, amplitude), OneLead(fs), options);
    double squares = 0;
    for (std::size_t i = 10 * second; i < out.size(); ++i) squares += static_cast<double>(out[i]) * out[i];
    return 100.0 * std::sqrt(2.0 * squares / (20.0 * fs)) / amplitude;
}

}  // namespace

TEST(SignalConditioner, TheReportedDelayIsWhereInputAndOutputAgreeBest) {
    for (const int fs : {200, 250, 360, 500, 1000}) {
        for (const ConditioningOptions& options :
             {ConditioningOptions{50, 0, 0}, ConditioningOptions{50, 40, 0}, ConditioningOptions{50, 40, 1},
              ConditioningOptions{50, 40, 2, fs % 50 == 0}, ConditioningOptions{60, 40, 0},
              ConditioningOptions{0, 75, 1}}) {
            const std::vector<short> ecg = SyntheticEcg(fs, 6.0, 71.0, 1000);
            const SignalConditioner conditioner(fs, 1, 1.0, options);
            SCOPED_TRACE(std::to_string(fs) + " Hz, " + conditioner.Description());
            // The low-pass delays a QRS a little less than the low frequencies that its delay is computed
            // for.
            const double tolerance = 1.0 + 0.002 * fs;
            EXPECT_NEAR(BestShift(ecg, Conditioned(ecg, OneLead(fs), options), fs),
                        conditioner.DelaySamples(), tolerance);
        }
    }
}

TEST(SignalConditioner, MainsAreGoneAtEveryRate) {
    for (const int fs : {250, 360, 500, 1000}) {
        SCOPED_TRACE(fs);
        EXPECT_LT(ToneLeftPercent(50, fs, {50, 0, 0}), 0.2);
        EXPECT_LT(ToneLeftPercent(60, fs, {60, 0, 0}), 0.2);
        if (fs % 50 == 0) {  // the comb takes out the second harmonic as well
            EXPECT_LT(ToneLeftPercent(100, fs, {50, 0, 0, true}), 0.2);
        }
        EXPECT_GT(ToneLeftPercent(50, fs, {0, 0, 0}), 99.0);  // without a mains filter the tone stays
    }
}

TEST(SignalConditioner, AnElectrodeOffsetLeavesNoTrace) {
    for (const int mains : {0, 50, 60}) {
        const std::vector<short> out =
            Conditioned(std::vector<short>(3000, 20000), OneLead(500), {mains, 40, 0});
        EXPECT_EQ(out, std::vector<short>(3000, 0)) << "mains " << mains;
    }
}

TEST(SignalConditioner, ALeadThatBeganOrCameBackFarFromItsSignalIsReadAfterASecond) {
    const int fs = 500;
    const std::size_t second = fs;
    for (const int mains : {0, 50}) {
        SCOPED_TRACE(mains);
        const std::vector<short> ecg = SyntheticEcg(fs, 60.0, 60.0, 1000);
        std::vector<short> shifted = ecg;
        shifted[0] = 32000;
        for (std::size_t i = 10 * second; i < 15 * second; ++i) shifted[i] = 32000;  // off
        for (std::size_t i = 15 * second; i < shifted.size(); ++i)
            shifted[i] = static_cast<short>(ecg[i] - 20000);
        const std::vector<short> expected = Conditioned(ecg, OneLead(fs), {mains, 40, 0});
        const std::vector<short> out = Conditioned(shifted, OneLead(fs), {mains, 40, 0});
        const auto differs = [&](std::size_t from, std::size_t to) {
            double most = 0;
            for (std::size_t i = from; i + 1 < to; ++i)  // steps, as drift is still dying away
                most = std::max(most, std::abs(0.0 + out[i + 1] - out[i] - expected[i + 1] + expected[i]));
            return most;
        };
        EXPECT_LT(differs(4 * second, 10 * second), 30);
        EXPECT_LT(differs(20 * second, shifted.size()), 30);
    }
}

TEST(SignalConditioner, DriftIsTakenOutAndTheScaleIsOneMicrovolt) {
    const int fs = 500;
    for (const int mains : {0, 50, 60}) {
        SCOPED_TRACE(mains);
        std::vector<short> ecg = SyntheticEcg(fs, 60.0, 60.0, 200);  // 1000 uV at 5 uV per unit
        for (std::size_t i = 0; i < ecg.size(); ++i)
            ecg[i] = Wrapped(ecg[i] + static_cast<long long>(i) / 30);
        const std::vector<short> out = Conditioned(ecg, OneLead(fs, 5.0), {mains, 0, 0});
        const auto [lowest, highest] = std::minmax_element(out.begin() + 40L * fs, out.end());
        // 5000 uV of drift are down to a tenth; R over Q and S is 1.2 mV.
        EXPECT_LT(std::abs((*highest + *lowest) / 2), 500);
        EXPECT_NEAR(*highest - *lowest, 1200, 120);
    }
}

TEST(SignalConditioner, ASignalBeyondItsRangeIsHeldAndLostAndNeverWraps) {
    const int fs = 500;
    std::vector<short> jump(4000, 0);
    for (std::size_t i = 1000; i < 2000; ++i) jump[i] = 32000;
    for (std::size_t i = 2000; i < 3000; ++i) jump[i] = -32000;
    SignalConditioner conditioner(fs, 1, 1.0, {50, 40, 0, true});
    std::vector<short> out(jump.size());
    int lost = 0;
    for (std::size_t i = 0; i < jump.size(); ++i) {
        conditioner.Process(&jump[i], &out[i]);
        if (conditioner.IsLost(0)) ++lost;
    }
    // A second of each level, and one after the last, which is out of the range around -32 mV.
    EXPECT_EQ(lost, 1500);
    // A wrapped sample would stand 65536 away from its neighbour; the largest true step is that of the input.
    for (std::size_t i = 1; i < out.size(); ++i) ASSERT_LT(std::abs(out[i] - out[i - 1]), 31000) << i;
}

TEST(SignalConditioner, IsLostBeyond15MvOfItsStart) {
    for (const auto& [units, bLost] : {std::pair{7500, false}, {7501, true}, {-7501, true}}) {
        SignalConditioner conditioner(500, 1, 2.0, {0, 0, 0});
        short frame = 0, out = 0;
        conditioner.Process(&frame, &out);
        frame = static_cast<short>(units);
        conditioner.Process(&frame, &out);
        EXPECT_EQ(conditioner.IsLost(0), bLost) << units;
        EXPECT_EQ(conditioner.IsAnyLost(), bLost) << units;
    }
}

TEST(SignalConditioner, LosesSlowDriftAndAlmostMainsAsItsCornersSay) {
    EXPECT_NEAR(ToneLeftPercent(59.9, 500, {60, 0, 0}), 3.67, 0.2);
    EXPECT_NEAR(ToneLeftPercent(0.1, 500, {0, 0, 0}), 84.5, 1);
}

TEST(SignalConditioner, RefusesWhatTheFiltersCannotDo) {
    struct Case {
        int fs;
        ConditioningOptions options;
        bool bRefused;
    };
    for (const Case& c : {Case{99, {0, 0, 0}, true},
                          {100, {0, 0, 0}, false},
                          {10000, {0, 0, 0}, false},
                          {10001, {0, 0, 0}, true},
                          {100, {50, 0, 0}, true},
                          {101, {50, 0, 0}, false},
                          {250, {55, 0, 0}, true},
                          {250, {50, 0, 0, true}, false},
                          {360, {50, 0, 0, true}, true},
                          {300, {60, 0, 0, true}, true},
                          {250, {50, 125, 0}, true},
                          {250, {50, 124, 0}, false},
                          {250, {50, -1, 0}, true},
                          {250, {50, 40, 3}, true},
                          {250, {50, 40, 2}, false}})
        EXPECT_EQ(!SignalConditioner::Refusal(c.fs, c.options).empty(), c.bRefused)
            << c.fs << ' ' << c.options.mainsHz << ' ' << c.options.lowpassHz << ' ' << c.options.smooth;
}
