#include "session/internal/BeatLearner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "host/simulate/SimulatedTest.h"
#include "session/internal/SignalConditioner.h"

using namespace qz;

namespace {

constexpr std::size_t kLeadII = 1, kLeadV1 = 6;

// The first seconds of a simulated test after conditioning, leads interleaved.
std::vector<short> ConditionedRest(const SimulatedTestOptions& options, double seconds) {
    SimulatedTest source(options);
    SignalConditioner conditioner(source.Info().fs, source.Info().leads.size(), source.Info().uVpb, {});
    std::vector<short> frame(SimulatedTest::kLeads), frames;
    const auto settling = static_cast<double>(conditioner.SettlingSamples());
    for (int i = 0; i < settling + seconds * options.fs && source.Read(frame.data()); ++i) {
        conditioner.Process(frame.data(), frame.data());
        if (i >= settling) frames.insert(frames.end(), frame.begin(), frame.end());
    }
    return frames;
}

std::vector<short> OnlyLeads(const std::vector<short>& frames, const std::vector<std::size_t>& leads) {
    std::vector<short> picked;
    for (std::size_t i = 0; i < frames.size(); i += SimulatedTest::kLeads) {
        for (const std::size_t lead : leads) picked.push_back(frames[i + lead]);
    }
    return picked;
}

// Milliseconds from the R peak, which in lead II is the peak of the row between Q and J.
struct Boundaries {
    double q, j;
};
Boundaries FromRPeak(const LearnedBeat& beat, std::size_t row, int fs) {
    const auto& samples = beat.rows[row];
    const auto peak =
        std::max_element(samples.begin() + beat.posQ, samples.begin() + beat.posJ) - samples.begin();
    return {1000.0 * (beat.posQ - static_cast<double>(peak)) / fs,
            1000.0 * (beat.posJ - static_cast<double>(peak)) / fs};
}

constexpr double kToleranceMs = 8.0;  // two readers of the same ECG differ by as much

void ExpectTrueBoundaries(const LearnedBeat& beat, std::size_t rowOfLeadII, int fs) {
    const Boundaries found = FromRPeak(beat, rowOfLeadII, fs);
    EXPECT_NEAR(found.q, SimulatedTest::kQOnsetMs, kToleranceMs);
    EXPECT_NEAR(found.j, SimulatedTest::kJMs, kToleranceMs);
}

}  // namespace

TEST(BeatLearner, FindsQAndJOfTheSimulatedBeatAtEveryRate) {
    for (const int fs : {250, 360, 500, 1000}) {
        for (const std::uint64_t seed : {1U, 2U, 3U}) {
            SCOPED_TRACE(std::to_string(fs) + " Hz, seed " + std::to_string(seed));
            SimulatedTestOptions options;
            options.fs = fs;
            options.seed = seed;
            const auto beat = BeatLearner(fs, SimulatedTest::kLeads).Learn(ConditionedRest(options, 10));
            ASSERT_TRUE(beat);
            EXPECT_TRUE(beat->confident);
            EXPECT_GE(beat->beatsUsed, BeatLearner::kConfidentBeats);
            EXPECT_EQ(std::count(beat->usable.begin(), beat->usable.end(), true), SimulatedTest::kLeads);
            ExpectTrueBoundaries(*beat, kLeadII, fs);
        }
    }
}

TEST(BeatLearner, OfTwoKindsOfBeatsTheOneThatIsNotPrematureIsLearned) {
    SimulatedTestOptions clean, third, every;
    clean.ectopySeconds = 0;
    third.ectopySeconds = 1.9;  // about 30 % of the beats
    every.ectopySeconds = 0.1;  // bigeminy: every other beat
    BeatLearner learner(clean.fs, SimulatedTest::kLeads);
    const auto expected = learner.Learn(ConditionedRest(clean, 40));
    ASSERT_TRUE(expected);
    for (const SimulatedTestOptions& ectopic : {third, every}) {
        SCOPED_TRACE(ectopic.ectopySeconds);
        const auto beat = learner.Learn(ConditionedRest(ectopic, 40));
        ASSERT_TRUE(beat);
        EXPECT_TRUE(beat->confident);
        EXPECT_LT(beat->beatsUsed, 0.75 * beat->beatsFound);
        ExpectTrueBoundaries(*beat, kLeadII, clean.fs);
        for (std::size_t i = 130; i < 280; ++i)  // from before Q to well into ST
            ASSERT_NEAR(beat->rows[kLeadV1][i], expected->rows[kLeadV1][i], 60) << i;
    }
}

TEST(BeatLearner, ALeadThatIsOffForALongTimeIsLearnedFromTheRest) {
    SimulatedTestOptions whole, off;
    off.leadOff = {{"V5", 4, 9, false}, {"V2", 8, 5, true}};  // of 15 s, the settling of the filters included
    BeatLearner learner(whole.fs, SimulatedTest::kLeads);
    const auto expected = learner.Learn(ConditionedRest(whole, 15));
    const auto beat = learner.Learn(ConditionedRest(off, 15));
    ASSERT_TRUE(expected);
    ASSERT_TRUE(beat);
    EXPECT_TRUE(beat->confident);
    EXPECT_EQ(std::count(beat->usable.begin(), beat->usable.end(), true), SimulatedTest::kLeads);
    ExpectTrueBoundaries(*beat, kLeadII, whole.fs);
    for (const std::size_t lead : {std::size_t{10}, std::size_t{7}}) {
        const auto fromQ = [&](const LearnedBeat& b, int i) {
            const short* const r = b.rows[lead].data() + b.posR;
            return r[i] - r[-20];
        };
        for (int i = -20; i <= 80; ++i)
            ASSERT_NEAR(fromQ(*beat, i), fromQ(*expected, i), 40) << "lead " << lead << " at " << i;
    }
}

TEST(BeatLearner, IsNotConfidentOfFewBeatsNorOfNoise) {
    SimulatedTestOptions options;
    const auto few = BeatLearner(options.fs, SimulatedTest::kLeads).Learn(ConditionedRest(options, 6.5));
    ASSERT_TRUE(few);
    EXPECT_GE(few->beatsUsed, BeatLearner::kFewestBeats);
    EXPECT_FALSE(few->confident);
    // Noise of the size of R in the only lead: what is learned, if anything, is not to be trusted.
    options.muscleUv = 2500;
    const auto noisy = BeatLearner(options.fs, 1).Learn(OnlyLeads(ConditionedRest(options, 12), {kLeadII}));
    EXPECT_FALSE(noisy && noisy->confident);
}

TEST(BeatLearner, ALeadThatIsOffOrNoisyIsToldApart) {
    const SimulatedTestOptions options;
    const std::vector<short> rest = ConditionedRest(options, 12);
    std::mt19937 random(5);
    const auto disturb = [&](std::vector<short> frames, std::size_t chn, std::size_t lead, bool bNoise) {
        for (std::size_t i = lead; i < frames.size(); i += chn)
            frames[i] = bNoise ? static_cast<short>(static_cast<int>(random() % 3000U) - 1500) : short{0};
        return frames;
    };
    for (const bool bNoise : {false, true}) {
        SCOPED_TRACE(bNoise ? "noise, seed 5" : "off");
        const auto twelve = BeatLearner(options.fs, 12).Learn(disturb(rest, 12, 3, bNoise));
        const auto two =
            BeatLearner(options.fs, 2).Learn(disturb(OnlyLeads(rest, {kLeadII, 7}), 2, 1, bNoise));
        ASSERT_TRUE(twelve);
        ASSERT_TRUE(two);
        EXPECT_FALSE(twelve->usable[3]);
        EXPECT_EQ(std::count(twelve->usable.begin(), twelve->usable.end(), true), 11);
        EXPECT_EQ(two->usable, (std::vector<bool>{true, false}));
        ExpectTrueBoundaries(*twelve, kLeadII, options.fs);
        EXPECT_TRUE(two->confident);
        EXPECT_LT(std::abs(FromRPeak(*two, 0, options.fs).j - SimulatedTest::kJMs),
                  2 * kToleranceMs);  // one lead
    }
}

TEST(BeatLearner, FindsNothingWhereThereIsNothingToLearn) {
    const SimulatedTestOptions options;
    BeatLearner learner(options.fs, SimulatedTest::kLeads);
    EXPECT_FALSE(learner.Learn({}));
    EXPECT_FALSE(learner.Learn(std::vector<short>(SimulatedTest::kLeads * std::size_t{5000}, 0)));
    EXPECT_FALSE(learner.Learn(ConditionedRest(options, 3)));  // three or four beats
    std::mt19937 random(6);
    std::vector<short> noise(SimulatedTest::kLeads * std::size_t{5000});
    for (short& sample : noise) sample = static_cast<short>(static_cast<int>(random() % 2000U) - 1000);
    EXPECT_FALSE(learner.Learn(noise)) << "seed 6";
    std::vector<short> hum;  // alike all the time, but no QRS
    for (int i = 0; i < 10000; ++i)
        hum.push_back(static_cast<short>(std::lround(500 * std::sin(i * 0.0126))));
    EXPECT_FALSE(BeatLearner(options.fs, 1).Learn(hum));
}
