// Beats and rates where the truth is known: trains of beats with what disturbs them beside them.
#include "session/internal/BeatFinder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numeric>
#include <string>
#include <vector>

#include "session/internal/RateFollower.h"
#include "tests/support/Beats.h"

using namespace qz;

namespace {

// A recording whose leads can be replaced: interleaved frames, and where its beats are.
struct Train {
    Recording recording;
    std::vector<double> beats;  // seconds of R
    int fs = 250;
    std::vector<bool> clear;  // leads, as Find has them

    Train(int rate, std::size_t leads, const std::vector<int>& intervalsMs) : fs(rate) {
        BeatTrain train(rate, leads);
        train.Noise(6, 1);
        double at = 0;
        for (const int ms : intervalsMs) {
            train.Beats(ms, 1);
            beats.push_back(at += ms / 1000.0);
        }
        recording = train.Pause(-380).Record();  // 0.12 s after the last R
    }
    short& At(std::size_t frame, std::size_t lead) {
        return recording.samples[frame * recording.leads + lead];
    }
    double Seconds(std::size_t frame) const { return static_cast<double>(frame) / fs; }
};

std::vector<double> Find(Train& train, double uVpb = 1) {
    BeatFinder finder(train.fs, train.recording.leads, uVpb);
    std::vector<double> found;
    const auto keep = [&](const std::vector<long long>& frames, std::size_t now) {
        for (const long long frame : frames) {
            found.push_back(static_cast<double>(frame) / train.fs);
            EXPECT_LE(found.back(), train.Seconds(now));
            EXPECT_GT(found.back(), train.Seconds(now) - (train.Seconds(now) > 5 ? 2 : 5)) << "late";
        }
    };
    for (std::size_t i = 0; i < train.recording.Frames(); ++i) keep(finder.Take(train.recording.Frame(i)), i);
    keep(finder.Finish(), train.recording.Frames());
    train.clear = finder.ClearLeads();
    return found;
}

/// Each beat from the `first` on once, within 60 ms of its R, and nothing else.
void ExpectAll(Train& train, std::size_t first = 0) {
    std::vector<double> found = Find(train),
                        expected(train.beats.begin() + static_cast<long>(first), train.beats.end());
    while (first > 0 && !found.empty() && found.front() < expected.front() - 0.1) found.erase(found.begin());
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], expected[i], 0.06) << i;
}

TEST(BeatFinder, FindsTheBeatsOfEveryRateFromTheFirstOn) {
    for (const int fs : {100, 250, 257, 360, 500, 1000})
        for (const int ms : {330, 600, 1400}) {
            SCOPED_TRACE(std::to_string(fs) + " Hz, " + std::to_string(ms) + " ms");
            Train train(fs, 3, std::vector<int>(12, ms));
            for (short& sample : train.recording.samples) sample = static_cast<short>(sample + 20000);
            ExpectAll(train);
        }
}

TEST(BeatFinder, FollowsEarlyBeatsPausesAndBeatsThatBecomeSmall) {
    std::vector<int> intervals(30, 800);
    intervals[9] = 450;
    intervals[10] = 1150;
    intervals[20] = 2600;
    Train train(360, 2, intervals);
    for (std::size_t i = 0; i < train.recording.Frames(); ++i) {
        const double at = train.Seconds(i);
        const int smaller = at > 13 ? 5 : std::abs(at - train.beats[9]) < 0.1 ? 2 : 1;
        for (const std::size_t lead : {0U, 1U})
            train.At(i, lead) = static_cast<short>(train.At(i, lead) / smaller);
    }
    ExpectAll(train);
}

TEST(BeatFinder, IsNotDisturbedByALeadThatIsBad) {
    enum Kind { Flat, Noise, LargeT, OffAtFirst };
    for (const Kind kind : {Flat, Noise, LargeT, OffAtFirst}) {
        SCOPED_TRACE(kind);
        Train train(250, 2, std::vector<int>(40, 852));
        const std::vector<short> noise = RandomSamples(3, train.recording.Frames(), 1500);
        for (std::size_t i = 0; i < train.recording.Frames(); ++i) {
            short& sample = train.At(i, 1);
            const double sinceR = std::fmod(train.Seconds(i) - 0.852, 0.852);
            switch (kind) {
                case Flat: sample = -7; break;
                case Noise: sample = noise[i]; break;
                case LargeT:
                    sample = static_cast<short>(1500 * std::exp(-0.5 * std::pow((sinceR - 0.3) / 0.03, 2)));
                    break;
                case OffAtFirst:
                    if (train.Seconds(i) < 9) train.At(i, 0) = sample = 20;
                    break;
            }
        }
        // What lies between the beats of a lead is known after five of them.
        ExpectAll(train, kind == OffAtFirst ? 14 : kind == LargeT ? 8 : 0);
        EXPECT_EQ(train.clear, (std::vector<bool>{true, kind == OffAtFirst}));
    }
}

TEST(BeatFinder, GoesOnWithALesserLeadWhereTheBestFallsSilent) {
    for (const auto& [part, partOfLesser] : {std::pair{0.0, 1.0}, {0.05, 1.0}, {0.05, 0.7}}) {
        Train train(250, 2, std::vector<int>(60, 852));
        const std::vector<short> noise = RandomSamples(3, train.recording.Frames(), 60);
        for (std::size_t i = 0; i < train.recording.Frames(); ++i) {
            train.At(i, 1) = static_cast<short>(train.At(i, 1) / 3 + noise[i]);
            if (train.Seconds(i) <= 20) continue;
            train.At(i, 0) = static_cast<short>(part * train.At(i, 0));
            train.At(i, 1) = static_cast<short>(partOfLesser * train.At(i, 1));
        }
        EXPECT_GE(Find(train).size(), part * partOfLesser > 0.04 ? 60U : 59U) << part << ' ' << partOfLesser;
    }
}

// The last but nine of beats 0.8 s apart comes early, and is small on one or two leads.
TEST(BeatFinder, TakesAnEarlyBeatForASpikeWhereClearLeadsShowNothing) {
    struct Case {
        const char* what;
        std::size_t leads, small;
        int earlyMs, percent;
        bool isBeat;
    };
    for (const Case& c : {Case{"a tenth", 2, 1, 600, 7, false},
                          {"above a tenth", 2, 1, 600, 14, true},
                          {"at 0.82 of the interval", 2, 1, 656, 7, false},
                          {"at 0.88", 2, 1, 704, 7, true},
                          {"one of three", 3, 1, 600, 0, true},
                          {"two of three", 3, 2, 600, 0, false},
                          {"one alone", 1, 1, 600, 50, true}}) {
        std::vector<int> intervals(30, 800);
        intervals[20] = c.earlyMs;
        intervals[21] = 1000 - c.earlyMs;
        Train train(250, c.leads, intervals);
        for (std::size_t i = 0; i < train.recording.Frames(); ++i) {
            if (std::abs(train.Seconds(i) - train.beats[20]) > 0.15) continue;
            for (std::size_t lead = 0; lead < c.leads; ++lead)
                train.At(i, lead) =
                    static_cast<short>(train.At(i, lead) * (lead < c.small ? c.percent : 100) / 100);
        }
        EXPECT_EQ(Find(train).size(), c.isBeat ? 30U : 29U) << c.what;
    }
}

// Wide beats, whose slope is as that of a T wave, and what of these lies within the T wave of the beat
// before.
TEST(BeatFinder, FindsWideEarlyBeatsBehindTheTWave) {
    struct Case {
        int earlyMs;
        double width, height;
        std::size_t found;
    };
    for (const Case& c : {Case{300, 3.2, 1500, 45}, {260, 3.2, 1500, 44}, {300, 5, 2000, 44}}) {
        BeatTrain train(250, 2);
        train.Noise(6, 1).Beats(480, 30).Form({c.width, 0, c.height}).Beats(c.earlyMs, 1);
        train.Form({}).Beats(960 - c.earlyMs, 1).Beats(480, 13);
        Train whole(250, 2, {});
        whole.recording = train.Record();
        EXPECT_EQ(Find(whole).size(), c.found) << c.earlyMs << " ms, " << c.width;
    }
}

/// Adds noise of the beats' band to both leads.
void AddNoise(Train& train, unsigned seed, int peak) {
    for (const unsigned lead : {0U, 1U}) {
        const std::vector<short> noise = RandomSamples(seed + 10 * lead, train.recording.Frames(), peak);
        for (std::size_t i = 8; i < noise.size(); ++i)
            train.At(i, lead) =
                static_cast<short>(train.At(i, lead) + std::accumulate(&noise[i - 8], &noise[i], 0) / 8);
    }
}

TEST(BeatFinder, SearchesSmallBeatsAfterAPauseThatIsLongerInNoise) {
    struct Case {
        int pauseMs, noise;
        bool isFound;
    };
    for (const Case& c : {Case{1000, 0, false}, {1080, 0, true}, {1080, 120, false}, {1300, 120, true}}) {
        std::vector<int> intervals(30, 800);
        intervals[20] = 540;
        intervals[21] = c.pauseMs - 540;
        Train train(250, 2, intervals);
        for (std::size_t i = 0; i < train.recording.Frames(); ++i)
            for (const std::size_t lead : {0U, 1U})
                if (std::abs(train.Seconds(i) - train.beats[20]) < 0.15)
                    train.At(i, lead) = static_cast<short>(train.At(i, lead) * 28 / 100);
        if (c.noise > 0) AddNoise(train, 1, c.noise);
        EXPECT_EQ(Find(train).size(), c.isFound ? 30U : 29U) << c.pauseMs << " ms, " << c.noise;
    }
}

TEST(BeatFinder, FindsBeatsThroughNoiseOfTheirBandOnAllLeads) {
    for (unsigned seed = 1; seed <= 7; ++seed) {
        SCOPED_TRACE(seed);
        Train train(250, 2, std::vector<int>(60, 700));
        AddNoise(train, seed, 800);
        ExpectAll(train, 6);
    }
}

TEST(BeatFinder, FindsNothingWhereThereIsNothing) {
    for (const short level : {short{0}, short{-32768}}) {
        BeatFinder finder(250, 2, 1);
        const short frame[] = {level, level};
        for (int i = 0; i < 5000; ++i) ASSERT_TRUE(finder.Take(frame).empty());
        EXPECT_TRUE(finder.Finish().empty());
    }
    EXPECT_TRUE(BeatFinder(250, 2, 1).Finish().empty());
    Train train(250, 2, std::vector<int>(30, 800));
    EXPECT_TRUE(Find(train, 1e-3).empty());  // below 1 uV
    for (const double uVpb : {0.02, 1e300}) EXPECT_EQ(Find(train, uVpb).size(), 30U);
}

TEST(RateFollower, TellsFiveAlikeIntervalsOrTenSecondsAndStartsAnewAfterFour) {
    RateFollower follower(500, 1);
    long long frame = 1000;
    EXPECT_TRUE(std::isnan(follower.TakeBeat(frame).rrMs));
    for (int i = 0; i < 20; ++i) EXPECT_EQ(follower.TakeBeat(frame += 500).bpm, 60);
    EXPECT_EQ(follower.TakeBeat(frame += 476).rrMs, 952);
    EXPECT_NEAR(follower.TakeBeat(frame += 476).bpm, 60 * 5 * 500 / (3 * 500.0 + 2 * 476), 1e-9);
    EXPECT_NEAR(follower.TakeBeat(frame += 474).bpm, 60 * 11 * 500 / (8 * 500.0 + 2 * 476 + 474), 1e-9);
    EXPECT_EQ(follower.TakeBeat(frame += 2000).rrMs, 4000);
    const IntervalEvent late = follower.TakeBeat(frame += 2001);
    EXPECT_TRUE(std::isnan(late.rrMs) && std::isnan(late.bpm));
    EXPECT_EQ(follower.TakeBeat(frame += 500).bpm, 60);
}

}  // namespace
