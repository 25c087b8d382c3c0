#include "host/simulate/SimulatedTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <stdexcept>

namespace {

using Frame = std::array<short, SimulatedTest::kLeads>;
enum Lead : std::size_t { I, II, III, aVR, aVL, aVF, V1, V2, V3, V4, V5, V6 };

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
              "0 0 rest; 108 -1 Bruce 1; 288 -1 Bruce 2; 468 -1 Bruce 3; 648 0 recovery; ");
    EXPECT_EQ(told(Protocol::Bicycle, 700),
              "0 0 rest; 84 25 25 W; 204 50 50 W; 324 75 75 W; 444 100 100 W; 504 0 recovery; ");
    EXPECT_EQ(told(Protocol::Ramp, 200), "0 0 rest; 24 10 10 W; 84 20 20 W; 144 0 recovery; ");
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
        const auto at = [&](std::size_t lead, double ms) {
            const auto frame = static_cast<std::size_t>(beat.r + std::lround(ms * fs / 1000));
            return static_cast<double>(frames[frame][lead]);
        };
        // 24 ms of flat PR segment up to Q onset; 10 ms on, the QRS is there; R is the peak in V5 and II.
        for (std::size_t lead = I; lead <= V6; ++lead)
            for (int ms = -24; ms <= 0; ms += 2) ASSERT_EQ(at(lead, beat.onsetMs + ms), 0) << beat.r;
        EXPECT_GT(at(V1, beat.onsetMs + 10), 50);
        for (const Lead lead : {II, V5})
            for (int ms = -60; ms <= 60; ms += 2) ASSERT_GE(at(lead, 0), at(lead, ms)) << beat.r;
        for (std::size_t lead = I; lead <= V6; ++lead) {
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

TEST(SimulatedTest, RefusesOptionsOutsideTheirRangeAndReportsClipping) {
    using Options = SimulatedTestOptions;
    std::vector<Options> ruined(7);
    ruined[0].fs = 99;
    ruined[1].fs = 2001;
    ruined[2].leads = {"I", "I"};
    ruined[3].leadOff = {{"v5", 0, 1, false}};
    ruined[4].seconds = std::nan("");
    ruined[5].stDepressionUv = 1001;
    ruined[6].muscleUv = -1;
    for (const Options& options : ruined) EXPECT_THROW(SimulatedTest{options}, std::invalid_argument);
    Options options;
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
