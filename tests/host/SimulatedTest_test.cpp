#include "host/SimulatedTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <stdexcept>

namespace {

using Frame = std::array<short, SimulatedTest::kLeads>;
enum Lead { I, II, III, aVR, aVL, aVF, V1, V2, V3, V4, V5, V6 };

std::vector<Frame> ReadAll(SimulatedTest& test) {
    std::vector<Frame> frames;
    for (Frame frame; test.Read(frame.data());) frames.push_back(frame);
    return frames;
}

SimulatedTestOptions Clean(int fs = 500, double seconds = 900) {
    SimulatedTestOptions options;
    options.fs = fs;
    options.seconds = seconds;
    options.mainsUv = options.muscleUv = options.wanderUv = 0;
    return options;
}

/// 64-bit FNV-1a over the samples, low byte first whatever the machine.
std::uint64_t Hash(const std::vector<Frame>& frames) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const Frame& frame : frames)
        for (const short sample : frame)
            for (const int shift : {0, 8})
                hash = (hash ^ ((static_cast<std::uint16_t>(sample) >> shift) & 0xffU)) * 0x100000001b3U;
    return hash;
}

/// A course of one minute, so that the hash covers rest, exercise, peak, recovery and ectopic beats.
std::uint64_t MinuteHash(std::uint64_t seed) {
    SimulatedTestOptions options;
    options.seconds = 60;
    options.ectopySeconds = 10;
    options.seed = seed;
    SimulatedTest test(options);
    return Hash(ReadAll(test));
}

TEST(SimulatedTest, GivesTheSameSamplesForASeedOnEveryMachine) {
    // Stored from the failure message of
    // host_simulated_test --gtest_filter=SimulatedTest.GivesTheSameSamplesForASeedOnEveryMachine
    EXPECT_EQ(MinuteHash(1), 5370628092240365025U);
    EXPECT_EQ(MinuteHash(2), MinuteHash(2));
    EXPECT_NE(MinuteHash(2), MinuteHash(1));
    SimulatedTestOptions options;
    options.seconds = 60;
    options.protocol = SimulatedProtocol::Bicycle;
    options.motionUv = 300;
    options.stDepressionUv = 100;
    SimulatedTest bicycle(options);
    EXPECT_EQ(Hash(ReadAll(bicycle)), 11974001068864641271U);
}

TEST(SimulatedTest, KeepsEinthovensRelationsUnderNoiseToo) {
    SimulatedTest test;
    // Every lead is rounded by up to half a unit, and the coefficients of a relation weigh that.
    long long broken = 0;
    for (const Frame& f : ReadAll(test)) {
        broken += std::abs(f[II] - f[I] - f[III]) > 1.5;
        broken += std::abs((f[I] + f[II]) / 2.0 + f[aVR]) > 1.0;
        broken += std::abs(f[I] - f[II] / 2.0 - f[aVL]) > 1.25;
        broken += std::abs(f[II] - f[I] / 2.0 - f[aVF]) > 1.25;
    }
    EXPECT_EQ(broken, 0);
}

TEST(SimulatedTest, RunsFromRestToThePeakAndBackAndItsBeatsFollow) {
    SimulatedTest test(Clean());
    EXPECT_EQ(ReadAll(test).size(), 450000U);
    EXPECT_DOUBLE_EQ(test.TrueHeartRate(0), 70);
    EXPECT_DOUBLE_EQ(test.TrueHeartRate(900 * 0.7), 170);
    EXPECT_LT(test.TrueHeartRate(900), 100);
    EXPECT_GT(test.TrueHeartRate(900), 80);
    for (int second = 1; second < 640; ++second)
        EXPECT_GE(test.TrueHeartRate(second), test.TrueHeartRate(second - 1)) << second;
    // An ectopic beat and its pause take two intervals together and leave the mean alone; 2 % is three
    // standard errors of the variability over 30 s and half the swing of one breath.
    for (int start = 0; start < 870; start += 30) {
        double meanRate = 0, rr = 0, beats = 0;
        for (const SimulatedBeat& beat : test.Beats()) {
            const double seconds = static_cast<double>(beat.r) / 500;
            if (seconds < start || seconds >= start + 30 || beat.rrMs <= 0) continue;
            meanRate += test.TrueHeartRate(seconds - beat.rrMs / 1000);
            rr += beat.rrMs;
            ++beats;
        }
        EXPECT_NEAR(60000 * beats / rr, meanRate / beats, 0.02 * meanRate / beats) << start;
    }
}

TEST(SimulatedTest, FollowsTheStagesOfItsProtocol) {
    using Protocol = SimulatedProtocol;
    const auto with = [](Protocol protocol, double seconds) {
        SimulatedTestOptions options = Clean(500, seconds);
        options.protocol = protocol;
        return SimulatedTest(options);
    };
    const auto told = [&](Protocol protocol, double seconds) {
        std::ostringstream text;
        for (const Stage& stage : with(protocol, seconds).Stages())
            text << std::round(stage.startSeconds * 100) / 100 << ' ' << stage.watts.value_or(-1) << ' '
                 << stage.name << "; ";
        return text.str();
    };
    EXPECT_EQ(told(Protocol::Steps, 900),
              "0 0 rest; 108 50 50 W; 229.5 100 100 W; 351 150 150 W; 472.5 200 200 W; 648 0 recovery; ");
    EXPECT_EQ(told(Protocol::Bruce, 900),
              "0 0 rest; 108 -1 Bruce 1, 2.7 km/h, 10 %; 288 -1 Bruce 2, 4.0 km/h, 12 %; "
              "468 -1 Bruce 3, 5.5 km/h, 14 %; 648 0 recovery; ");
    EXPECT_EQ(told(Protocol::Bicycle, 700),
              "0 0 rest; 84 25 25 W; 204 50 50 W; 324 75 75 W; 444 100 100 W; 504 0 recovery; ");
    EXPECT_EQ(told(Protocol::Ramp, 200), "0 0 rest; 24 10 10 W; 84 20 20 W; 144 0 recovery; ");
    EXPECT_EQ(with(Protocol::Bruce, 1e5).Stages().size(), 2U + 7);
    EXPECT_EQ(with(Protocol::Steps, 0.5).Stages().size(), 2U + 4);
    for (const Protocol protocol : {Protocol::Steps, Protocol::Bruce, Protocol::Bicycle, Protocol::Ramp}) {
        SCOPED_TRACE(NameOf(protocol));
        for (const double seconds : {2.0, 700.0, 1e5}) {
            const SimulatedTest test = with(protocol, seconds);
            const std::vector<Stage> stages = test.Stages();
            EXPECT_EQ(test.TrueHeartRate(stages[1].startSeconds), 70);
            EXPECT_NEAR(test.TrueHeartRate(stages.back().startSeconds), 170, 1e-9);
            // Rising without a jump, and steady at the end of a stage.
            for (int step = 0; step < 1439; ++step) {  // up to 71.95 %
                const double at = step * seconds / 2000;
                const double rise = test.TrueHeartRate(at + seconds / 2000) - test.TrueHeartRate(at);
                ASSERT_GE(rise, 0) << at;
                ASSERT_LT(rise, 1) << at;
            }
            if (protocol == Protocol::Ramp) continue;
            for (std::size_t stage = 1; stage + 1 < stages.size(); ++stage) {
                const double start = stages[stage].startSeconds, end = stages[stage + 1].startSeconds;
                EXPECT_NEAR(test.TrueHeartRate(end - 0.25 * (end - start)), test.TrueHeartRate(end), 1e-9);
                EXPECT_LT(test.TrueHeartRate(start), test.TrueHeartRate(end));
            }
        }
    }
}

void ExpectTruthAtEveryBeat(int fs) {
    SCOPED_TRACE(fs);
    SimulatedTest test(Clean(fs, 450000.0 / fs));
    const std::vector<Frame> frames = ReadAll(test);
    ASSERT_GT(test.Beats().size(), 750U);
    long long previousR = 0;
    for (const SimulatedBeat& beat : test.Beats()) {
        EXPECT_NEAR(beat.rrMs, previousR ? static_cast<double>(beat.r - previousR) * 1000 / fs : 0, 1e-9);
        previousR = beat.r;
        if (beat.type == SimulatedBeatType::Ectopic || beat.r + fs / 5 >= std::ssize(frames)) continue;
        const double seconds = static_cast<double>(beat.r) / fs;
        const auto at = [&](int lead, double ms) {
            const auto frame = static_cast<std::size_t>(beat.r + std::lround(ms * fs / 1000));
            return static_cast<double>(frames[frame][static_cast<std::size_t>(lead)]);
        };
        // 24 ms of flat PR segment up to Q onset; 10 ms on, the QRS is there; R is the peak in V5 and II.
        for (int lead = I; lead <= V6; ++lead)
            for (int ms = -24; ms <= 0; ms += 2) ASSERT_EQ(at(lead, beat.onsetMs + ms), 0) << beat.r;
        EXPECT_GT(at(V1, beat.onsetMs + 10), 50);
        for (const int lead : {II, V5})
            for (int ms = -60; ms <= 60; ms += 2) ASSERT_GE(at(lead, 0), at(lead, ms)) << beat.r;
        for (int lead = I; lead <= V6; ++lead) {
            const double base = at(lead, beat.jMs + kSTOffsetMs);
            for (const double post : {60.0, 80.0}) {
                const double point = at(lead, beat.jMs + kSTOffsetMs + post);
                // Rounding moves a sample by half a microvolt; R itself is exact.
                ASSERT_NEAR(point, test.TrueSTuV(lead, seconds, post), 0.51) << beat.r << ' ' << lead;
                ASSERT_NEAR((point - base) / post, test.TrueSTslope(lead, seconds, post), 1.02 / post);
            }
            // From J on a straight line for 50 ms: the corner at J is where the beat says.
            const double middle = (at(lead, beat.jMs) + at(lead, beat.jMs + 40)) / 2;
            ASSERT_NEAR(at(lead, beat.jMs + 20), middle, 1.01) << beat.r << ' ' << lead;
        }
        EXPECT_GT(std::abs(at(V3, beat.jMs - 10) - at(V3, beat.jMs)), 100);
    }
}

TEST(SimulatedTest, TellsTheTruthAboutItsCleanSignal) {
    for (const int fs : {500, 1000}) ExpectTruthAtEveryBeat(fs);
}

TEST(SimulatedTest, DepressesSTUpslopingThenHorizontalThenDownslopingAndRecovers) {
    const SimulatedTest test;
    constexpr double kRest = 50, kExercise = 380, kPeak = 630, kRecovery = 750;  // seconds
    const auto fall = [&test](int lead) {  // of the ST level from rest to the peak, uV
        return test.TrueSTuV(lead, kRest, 60) - test.TrueSTuV(lead, kPeak, 60);
    };
    EXPECT_NEAR(test.TrueSTuV(V5, kPeak, 60), -200, 15);
    for (const int lead : {II, III, aVF, V4, V5, V6}) {
        EXPECT_GT(test.TrueSTslope(lead, kExercise, 60), 0.4) << lead;
        EXPECT_NEAR(test.TrueSTslope(lead, kPeak, 60), 0, 0.2) << lead;
        EXPECT_LT(test.TrueSTslope(lead, kRecovery, 60), -0.4) << lead;
        EXPECT_GT(fall(lead), 100) << lead;
    }
    for (const int lead : {aVR, V1}) EXPECT_LT(fall(lead), -40) << lead;
    for (const int lead : {V2, V3, aVL}) EXPECT_NEAR(fall(lead), 0, 35) << lead;
    for (int lead = I; lead <= V6; ++lead)
        EXPECT_NEAR(test.TrueSTuV(lead, 900, 60), test.TrueSTuV(lead, kRest, 60), 2) << lead;
}

TEST(SimulatedTest, FlagsEctopicBeatsThatArePrematureWideAndFollowedByAPause) {
    SimulatedTest test(Clean());
    const std::vector<Frame> frames = ReadAll(test);
    const std::vector<SimulatedBeat>& beats = test.Beats();
    int ectopic = 0;
    for (std::size_t n = 1; n + 1 < beats.size(); ++n) {
        if (beats[n].type == SimulatedBeatType::Sinus) continue;
        ++ectopic;
        const double sinusRR = 60000 / test.TrueHeartRate(static_cast<double>(beats[n].r) / 500);
        EXPECT_LT(beats[n].rrMs, 0.82 * sinusRR) << n;
        EXPECT_NEAR(beats[n].rrMs + beats[n + 1].rrMs, 2 * sinusRR, 0.2 * sinusRR) << n;
        EXPECT_GT(beats[n].jMs - beats[n].onsetMs, 120) << n;
        // The signal shows it: still high 30 ms from R, where a sinus beat is over its R wave.
        const auto r = static_cast<std::size_t>(beats[n].r);
        EXPECT_GT(frames[r][V5], 1000) << n;
        EXPECT_GT(frames[r - 15][V5], 500) << n;
        EXPECT_EQ(beats[n + 1].type, SimulatedBeatType::Sinus) << n;
    }
    EXPECT_NEAR(ectopic, 20, 5);  // one in 45 s
    SimulatedTestOptions none = Clean();
    none.ectopySeconds = 0;
    SimulatedTest regular(none);
    ReadAll(regular);
    for (const SimulatedBeat& beat : regular.Beats()) ASSERT_EQ(beat.type, SimulatedBeatType::Sinus);
}

TEST(SimulatedTest, AddsEachNoiseAtTheLevelAskedAndGrowsItWithExercise) {
    SimulatedTest cleanTest(Clean(500, 450));
    const std::vector<Frame> clean = ReadAll(cleanTest);
    // rms in a modelled lead between two times; III would show the difference of two of them.
    const auto rms = [&](const std::vector<Frame>& noisy, Lead lead, int from, int to) {
        double sum = 0;
        for (auto n = static_cast<std::size_t>(from) * 500; n < static_cast<std::size_t>(to) * 500; ++n)
            sum += std::pow(noisy[n][lead] - clean[n][lead], 2);
        return std::sqrt(sum / ((to - from) * 500.0));
    };
    const auto with = [](double SimulatedTestOptions::*level, double uV) {
        SimulatedTestOptions options = Clean(500, 450);
        options.*level = uV;
        SimulatedTest test(options);
        return ReadAll(test);
    };
    const auto muscle = with(&SimulatedTestOptions::muscleUv, 40),
               wander = with(&SimulatedTestOptions::wanderUv, 200),
               mains = with(&SimulatedTestOptions::mainsUv, 50);
    // 23 s and 46 s hold the drift of the wander, 52 s that of the mains, in whole periods.
    for (const Lead lead : {I, II, V1, V5}) {
        EXPECT_NEAR(rms(muscle, lead, 299, 322), 40, 4) << lead;
        EXPECT_NEAR(rms(muscle, lead, 0, 46), 10, 1) << lead;
        EXPECT_NEAR(rms(wander, lead, 299, 322), 200, 20) << lead;
        EXPECT_NEAR(rms(wander, lead, 0, 46), 50, 5) << lead;
        // Fundamental, third harmonic of a fifth, drift by a quarter: their powers add.
        EXPECT_NEAR(rms(mains, lead, 0, 52), 50 * std::sqrt(0.5 * 1.04 * (1 + 0.25 * 0.25 / 2)), 1) << lead;
    }
}

TEST(SimulatedTest, RecordsTheLeadsAskedForAndTellsTheirTruth) {
    SimulatedTestOptions options;
    options.seconds = 20;
    SimulatedTest all(options);
    options.leads = {"V5", "aVF", "I"};
    SimulatedTest some(options);
    EXPECT_EQ(some.Info().leads, options.leads);
    std::array<short, 3> frame;
    for (const Frame& whole : ReadAll(all)) {
        ASSERT_TRUE(some.Read(frame.data()));
        ASSERT_EQ(frame, (std::array{whole[V5], whole[aVF], whole[I]}));
    }
    EXPECT_EQ(some.TrueSTuV(0, 13, 60), all.TrueSTuV(V5, 13, 60));
    EXPECT_EQ(some.TrueSTslope(1, 13, 60), all.TrueSTslope(aVF, 13, 60));
}

TEST(SimulatedTest, ScalesTheDepressionOfST) {
    const auto fall = [](double depressionUv, int lead) {
        SimulatedTestOptions options = Clean();
        options.stDepressionUv = depressionUv;
        const SimulatedTest test(options);
        return test.TrueSTuV(lead, 50, 60) - test.TrueSTuV(lead, 630, 60);
    };
    EXPECT_NEAR(fall(230, V5), 230, 15);
    for (const int lead : {II, V1, V5}) {
        const double rest = fall(0, lead);  // what the T wave alone moves
        EXPECT_NEAR(rest, 0, 15) << lead;
        EXPECT_NEAR(fall(460, lead) - rest, 2 * (fall(230, lead) - rest), 1e-9) << lead;
    }
}

TEST(SimulatedTest, LosesALeadForItsTimeAlone) {
    SimulatedTestOptions options;
    options.seconds = 10;
    SimulatedTest whole(options);
    options.leadOff = {{"V2", 2, 3, false}, {"II", 4.5, 100, true}};
    SimulatedTest broken(options);
    const std::vector<Frame> expected = ReadAll(whole), found = ReadAll(broken);
    for (std::size_t n = 0; n < found.size(); ++n) {
        Frame frame = expected[n];
        if (n >= 1000 && n < 2500) frame[V2] = 0;
        if (n >= 2250) frame[II] = 32767;
        ASSERT_EQ(found[n], frame) << n;
    }
    EXPECT_THAT(broken.Warnings(), testing::IsEmpty());
}

TEST(SimulatedTest, MovesTheBaselineInJumpsThatDieAway) {
    SimulatedTest cleanTest(Clean(250, 3000));
    SimulatedTestOptions options = Clean(250, 3000);
    options.motionUv = 400;
    SimulatedTest test(options);
    const std::vector<Frame> clean = ReadAll(cleanTest), moved = ReadAll(test);
    std::array<int, SimulatedTest::kLeads> jumps{};
    double heights = 0;
    constexpr std::size_t kRestFrames = 90000;  // 360 s
    for (std::size_t n = 1; n < kRestFrames; ++n)
        for (const Lead lead : {I, V1, V5}) {
            const double before = moved[n - 1][lead] - clean[n - 1][lead],
                         now = moved[n][lead] - clean[n][lead];
            if (std::abs(now - before) > 0.02 * std::abs(before) + 5) {
                ++jumps[lead];
                heights += (now - before) * (now - before);
            } else if (std::abs(before) > 20) {
                ASSERT_LE(std::abs(now), std::abs(before) + 2) << n;  // four roundings
            }
        }
    // One in 20 s over 360 s of rest: 18 with a deviation of 4; three times that either way.
    int all = 0;
    for (const Lead lead : {I, V1, V5}) {
        EXPECT_NEAR(jumps[lead], 18, 13) << lead;
        all += jumps[lead];
    }
    EXPECT_NEAR(std::sqrt(heights / all), 100, 30);  // a quarter at rest; 54 heights have a deviation of 10
}

TEST(SimulatedTest, RefusesOptionsOutsideTheirRangeAndReportsClipping) {
    using Options = SimulatedTestOptions;
    constexpr void (*kRuined[])(Options&) = {[](Options& o) { o.fs = 99; },
                                             [](Options& o) { o.fs = 2001; },
                                             [](Options& o) { o.uVpb = 0; },
                                             [](Options& o) { o.muscleUv = -1; },
                                             [](Options& o) { o.seconds = std::nan(""); },
                                             [](Options& o) { o.motionUv = -1; },
                                             [](Options& o) { o.stDepressionUv = 1001; },
                                             [](Options& o) { o.leads = {"V7"}; },
                                             [](Options& o) {
                                                 o.leads = {"I", "I"};
                                             },
                                             [](Options& o) {
                                                 o.leadOff = {{"v5", 0, 1, false}};
                                             },
                                             [](Options& o) {
                                                 o.leadOff = {{"V5", std::nan(""), 1, false}};
                                             }};
    Options options;
    for (const auto ruin : kRuined) {
        Options ruined = options;
        ruin(ruined);
        EXPECT_THROW(SimulatedTest{ruined}, std::invalid_argument);
    }
    options.seconds = 2;
    for (const int fs : {100, 2000}) {
        options.fs = fs;
        SimulatedTest test(options);
        EXPECT_EQ(std::ssize(ReadAll(test)), test.Info().frames);
        EXPECT_EQ(test.Info().frames, 2 * fs);
        EXPECT_THAT(test.Warnings(), testing::IsEmpty());
    }
    options.uVpb = 0.02;  // 16 bits then hold 655 uV
    SimulatedTest clipped(options);
    EXPECT_EQ(std::ranges::max(ReadAll(clipped), {}, [](const Frame& f) { return f[V5]; })[V5], 32767);
    EXPECT_THAT(clipped.Warnings(), testing::ElementsAre(testing::HasSubstr("clipped")));
}

}  // namespace
