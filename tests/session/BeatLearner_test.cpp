#include "session/internal/BeatLearner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "core/Arithmetic.h"
#include "host/simulate/SimulatedTest.h"
#include "session/internal/SignalConditioner.h"
#include "tests/support/Signals.h"

using namespace qz;

namespace {

constexpr std::size_t kLeadII = 1;

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
// Readers, whom the positions follow, put the onset before the first bend of a wave and the end behind its
// last.
constexpr double kReadersOnsetMs = -8.0, kReadersEndMs = 4.0;

void ExpectTrueBoundaries(const LearnedBeat& beat, std::size_t rowOfLeadII, int fs) {
    const Boundaries found = FromRPeak(beat, rowOfLeadII, fs);
    EXPECT_NEAR(found.q, SimulatedTest::kQOnsetMs + kReadersOnsetMs, kToleranceMs);
    EXPECT_NEAR(found.j, SimulatedTest::kJMs + kReadersEndMs, kToleranceMs);
}

}  // namespace

TEST(BeatLearner, FindsQAndJOfTheSimulatedBeatAtEveryRate) {
    for (const int fs : {250, 360, 500, 1000}) {
        for (const std::uint64_t seed : {1U, 2U}) {
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

TEST(BeatLearner, LearnsThroughWanderAsLargeAsTheQrs) {
    const SimulatedTestOptions options;
    std::vector<short> frames = ConditionedRest(options, 10);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const double seconds = static_cast<double>(i / SimulatedTest::kLeads) / options.fs;
        frames[i] = static_cast<short>(frames[i] + 1500 * std::sin(2 * 3.14159 * 0.3 * seconds));
    }
    const auto beat = BeatLearner(options.fs, SimulatedTest::kLeads).Learn(std::move(frames));
    ASSERT_TRUE(beat);
    EXPECT_GE(beat->beatsUsed, BeatLearner::kConfidentBeats);
    ExpectTrueBoundaries(*beat, kLeadII, options.fs);
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

// Beats whose likeness is known, at 250 Hz: each is a QRS of 40 ms and a bump beside it, and bumps at
// different places have nothing in common. Two beats with bumps of their own correlate with cosine * cosine.
struct BuiltBeat {
    int intervalMs = 800;  // from the beat before
    double cosine = 1;     // of the beat with one that has no bump
    int place = 0;         // of its bump, 0 to 4
    double tUv = 0;        // T wave, from 160 to 400 ms after
};

void AddPulse(std::vector<double>& row, long from, int length, double height) {
    for (int i = 0; i < length; ++i)
        row[static_cast<std::size_t>(from + i)] -= height * std::sin(2 * std::acos(-1) * (i + 0.5) / length);
}

std::vector<short> Built(const std::vector<BuiltBeat>& beats, int qrsSamples = 10) {
    constexpr int kFs = 250, kBump = 8, kPlaces[] = {-23, -15, 6, 14, 22};
    std::vector<double> row(static_cast<std::size_t>(2 * kFs));
    long at = kFs / 2;
    for (const BuiltBeat& beat : beats) {
        at += MsToSamples(beat.intervalMs, kFs);
        row.resize(static_cast<std::size_t>(at) + 2U * kFs);
        AddPulse(row, at - qrsSamples / 2, qrsSamples, 1000);
        const double tangent = std::sqrt(1 / (beat.cosine * beat.cosine) - 1);
        AddPulse(row, at + kPlaces[beat.place], kBump, 1000 * tangent * std::sqrt(1.0 * qrsSamples / kBump));
        AddPulse(row, at + 40, 60, beat.tUv);
    }
    std::vector<short> frames;
    for (const double value : row) frames.push_back(static_cast<short>(std::lround(value)));
    return frames;
}

// `count` beats, of which the i-th is beatAt(i).
template <typename BeatAt>
std::vector<short> Built(int count, BeatAt beatAt) {
    std::vector<BuiltBeat> beats;
    for (int i = 0; i < count; ++i) beats.push_back(beatAt(i));
    return Built(beats);
}

// How many beats are used; 0 where nothing is learned.
int Used(const std::vector<short>& frames) {
    const auto learned = BeatLearner(250, 1).Learn(frames);
    return learned ? learned->beatsUsed : 0;
}

TEST(BeatLearner, NeedsFiveBeatsIsSureOfEightAndOfAQrsOf40To240Ms) {
    struct Case {
        std::size_t beats;
        int qrsSamples;  // three more on either side are found to belong to it
        bool bLearned, bConfident;
    };
    for (const Case& c : {Case{4, 10, false, false},
                          {5, 10, true, false},
                          {7, 10, true, false},
                          {8, 10, true, true},
                          {8, 3, false, false},
                          {8, 4, true, true},
                          {8, 55, true, true},
                          {8, 56, false, false}}) {
        const auto learned = BeatLearner(250, 1).Learn(Built(std::vector<BuiltBeat>(c.beats), c.qrsSamples));
        EXPECT_EQ(learned.has_value(), c.bLearned) << c.beats << ' ' << c.qrsSamples;
        EXPECT_EQ(learned && learned->confident, c.bConfident) << c.beats << ' ' << c.qrsSamples;
        EXPECT_NEAR(learned ? learned->posJ - learned->posQ : c.qrsSamples + 5, c.qrsSamples + 5.5, 0.5);
    }
}

TEST(BeatLearner, EndsASmoothQrsWhereItsSlopeHasDiedAway) {
    const auto learned = BeatLearner(1000, 1).Learn(SyntheticEcg(1000, 12, 60, 1000));
    ASSERT_TRUE(learned);
    EXPECT_EQ(learned->posQ - learned->posR, -64);
    EXPECT_EQ(learned->posJ - learned->posR, 40);
}

TEST(BeatLearner, UsesTheBeatsThatAreLikeTheAverageByNineTenths) {
    for (const auto& [cosine, used] : {std::pair{0.89, 12}, {0.91, 15}})
        EXPECT_EQ(
            Used(Built(15,
                       [c = cosine](int i) {
                           return BuiltBeat{800, i % 5 == 2 ? c : 1, i / 5 * 2, i % 2 == 0 ? 200.0 : -200.0};
                       })),
            used);
}

TEST(BeatLearner, TakesAsTypicalWhatMostBeatsAreLikeBy85Hundredths) {
    // Six of one kind; five of another, and three that are like those.
    for (const auto& [cosine, used] : {std::pair{0.84, 6}, {0.86, 5}})
        EXPECT_EQ(
            Used(Built(
                14,
                [c = cosine](int i) {
                    return i < 6 ? BuiltBeat{800, 0.7} : BuiltBeat{800, i < 11 ? 1 : c, i < 11 ? 2 : i - 9};
                })),
            used);
}

TEST(BeatLearner, TakesABeatAsNoisyThatDeviatesTwoAndAHalfTimesAsMuch) {
    for (const auto& [uV, used] : {std::pair{290, 13}, {315, 12}})  // the usual deviation is that of 120 uV
        EXPECT_EQ(Used(Built(13,
                             [tUv = uV](int i) {
                                 return BuiltBeat{800, 1, 0, i == 6 ? tUv : i % 2 == 0 ? -100.0 : 100.0};
                             })),
                  used);
}

TEST(BeatLearner, IsConfidentWhereTheHalvesAgreeBy95Hundredths) {
    for (const auto& [uV, bConfident] : {std::pair{62, true}, {68, false}})
        EXPECT_EQ(BeatLearner(250, 1)
                      .Learn(Built(12,
                                   [tUv = uV](int i) {
                                       return BuiltBeat{800, 1, 0, i % 2 == 0 ? 1.0 * tUv : -1.0 * tUv};
                                   }))
                      ->confident,
                  bConfident);
}

TEST(BeatLearner, TakesShorterIntervalsAsPrematureBy13PercentAndUpToTwicePerNormalBeat) {
    const BuiltBeat early{700, 0.83, 3}, late{1000};
    for (const auto& [earlyMs, used] : {std::pair{860, 8}, {880, 9}})
        EXPECT_EQ(Used(Built(17,
                             [&, ms = earlyMs](int i) {
                                 return i % 2 == 1 ? late : BuiltBeat{ms, early.cosine, early.place};
                             })),
                  used);
    for (const auto& [beats, used] : {std::pair{21, 7}, {22, 15}})
        EXPECT_EQ(Used(Built(beats, [&](int i) { return i % 3 == 2 ? late : early; })), used);
}

TEST(BeatLearner, ALeadIsUsableWhereAThirdOfItsBeatsAreAlikeAndMatch) {
    struct Case {
        int clean, others;
        double cosine;  // of the others with the clean ones
        bool bUsable;
    };
    for (const Case& c : {Case{5, 10, 0.2, true}, {5, 11, 0.2, false}, {5, 10, 0.65, true}}) {
        const int count = c.clean + c.others;
        const auto bumpy = Built(count, [&](int i) {
            return i < c.clean ? BuiltBeat{} : BuiltBeat{800, c.cosine, i % 5};
        });
        const auto plain = Built(count, [](int) { return BuiltBeat{}; });
        std::vector<short> frames;  // four plain leads find the beats
        for (std::size_t i = 0; i < plain.size(); ++i)
            frames.insert(frames.end(), {plain[i], plain[i], bumpy[i], plain[i], plain[i]});
        const auto learned = BeatLearner(250, 5).Learn(frames);
        ASSERT_TRUE(learned);
        EXPECT_EQ(learned->usable[2], c.bUsable) << c.clean << ' ' << c.others << ' ' << c.cosine;
    }
}

TEST(BeatLearner, IsNotConfidentOfNoise) {
    // Noise of the size of R in the only lead: what is learned, if anything, is not to be trusted.
    SimulatedTestOptions options;
    options.muscleUv = 2500;
    const auto noisy = BeatLearner(options.fs, 1).Learn(OnlyLeads(ConditionedRest(options, 12), {kLeadII}));
    EXPECT_FALSE(noisy && noisy->confident);
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
