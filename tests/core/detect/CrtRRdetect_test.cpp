#include "core/detect/CrtRRdetect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

#include "core/filters/CHighpassFilter.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/filters/CNotchFilter.h"
#include "tests/support/Beats.h"
#include "tests/support/Signals.h"

using Curve = std::vector<int>;

struct ReportedBeat {
    std::size_t at;  // index of the sample
    int rr;
    bool operator==(const ReportedBeat&) const = default;
};

static void PrintTo(const ReportedBeat& beat, std::ostream* out) { *out << beat.rr << " @ " << beat.at; }

static std::vector<ReportedBeat> Detect(CrtRRdetect& detector, const Curve& curve) {
    std::vector<ReportedBeat> beats;
    for (std::size_t i = 0; i < curve.size(); ++i)
        if (const int rr = detector.RRdetect(curve[i])) beats.push_back({i, rr});
    return beats;
}

static std::vector<ReportedBeat> Detect(int fs, const Curve& curve) {
    CrtRRdetect detector(fs, 0);
    return Detect(detector, curve);
}

/// The minimum plus a third of the range; the extremes start out as 32767 and 0.
static std::pair<int, int> Extremes(const Curve& values) {
    int low = 32767, high = 0;
    for (const int v : values) low = std::min(low, v), high = std::max(high, v);
    return {low, high};
}
static int Third(const Curve& values) {
    const auto [low, high] = Extremes(values);
    return low + (high - low) / 3;
}

/// The detector as a reader with the whole curve on paper would work: looks ahead for the next crossing, the
/// next fall, the end of the pass. No state, no counters, every distance a difference of two indices.
static std::vector<ReportedBeat> DetectOnPaper(int fs, const Curve& curve) {
    const auto rate = static_cast<std::size_t>(fs);
    const std::size_t refractory = rate * 195 / 1000, lost = 3 * rate, pass = 2 * rate + 1,
                      blanking = rate / 2;
    const std::size_t end = curve.size();
    std::vector<ReportedBeat> beats;
    Curve seen;  // sets the next threshold
    bool firstBeat = true;
    std::size_t i = 0, passLength = pass;
    while (true) {
        int threshold = 0;
        for (std::size_t blanked = 0; threshold <= 0; passLength = pass) {
            for (const std::size_t passEnd = i + passLength; i < passEnd; ++i) {
                if (i == end) return beats;
                seen.push_back(blanked < blanking ? 0 : curve[i]);
                ++blanked;
            }
            threshold = Third(seen);
        }
        std::size_t origin = i - 1;  // intervals count from here
        if (seen.back() >= threshold) {
            i += rate / 10;
            while (i < end && curve[i] >= threshold) ++i;
            ++i;
        }
        seen.clear();
        for (int found = 0;;) {
            while (i < end && curve[i] < threshold && i - origin <= lost) ++i;
            if (i >= end) return beats;
            if (curve[i] < threshold) break;
            if (!firstBeat) beats.push_back({i, static_cast<int>(i - origin)});
            firstBeat = false;
            origin = i;
            if (++found == 5) {
                if (const auto [low, high] = Extremes(seen); high - low >= 4) threshold = Third(seen);
                seen.clear();
                found = 0;
            }
            i += refractory + 1;
            while (i < end && curve[i] >= threshold && i - origin <= lost) ++i;
            if (i >= end) return beats;
            seen.insert(seen.end(), curve.begin() + static_cast<long>(origin) + 1,
                        curve.begin() + static_cast<long>(i) + 1);
            if (i - origin > lost) break;
            ++i;
        }
        ++i;             // the sample that lost the beat belongs to no pass
        passLength = 1;  // enough time has gone by: the next sample ends the pass
    }
}

/// A curve in words: runs of one level.
static Curve Runs(std::initializer_list<std::pair<int, int>> levelsAndCounts) {
    Curve curve;
    for (const auto& [level, count] : levelsAndCounts)
        curve.insert(curve.end(), static_cast<std::size_t>(count), level);
    return curve;
}

static Curve operator+(Curve left, const Curve& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// Two seconds with a top of 300 at 500 Hz: leaves a threshold of 100 and the detector searching from
/// sample 1001 on.
static Curve Learned() { return Runs({{0, 600}, {300, 1}, {0, 400}}); }

TEST(CrtRRdetect, FindsTheBeatsThatAReaderFindsOnPaper) {
    for (const int fs : {200, 250, 257, 360, 500, 1000})
        for (unsigned seed = 1; seed <= 25; ++seed) {
            SCOPED_TRACE(testing::Message() << fs << " Hz, seed " << seed);
            std::mt19937 random(seed);
            const auto upTo = [&random](int n) {
                return static_cast<int>(random() % static_cast<unsigned>(n));
            };
            Curve curve;
            while (curve.size() < static_cast<std::size_t>(fs) * 60) {
                // Mostly complexes on a quiet ground; now and then a gap, a plateau or noise around the
                // threshold.
                const int kind = upTo(40), height = 50 + upTo(1 << (4 + upTo(9)));
                if (kind == 0) curve = curve + Runs({{upTo(3), fs * (1 + upTo(6))}});
                if (kind == 1) curve = curve + Runs({{height, fs / 2 + upTo(fs * 4)}});
                if (kind == 2) curve = curve + Runs({{-upTo(50), upTo(fs)}});
                if (kind == 3)
                    for (int n = upTo(fs); n > 0; --n) curve.push_back(upTo(height));
                curve = curve + Runs({{height, 1 + upTo(fs / 5)}, {upTo(40), upTo(fs)}});
            }
            EXPECT_EQ(Detect(fs, curve), DetectOnPaper(fs, curve));
        }
}

TEST(CrtRRdetect, LearnsForTwoSecondsAndIsBlindForTheFirstHalf) {
    // Two beats of the level under test, after learning has seen one value of 300 at call `at`.
    const auto beatsAfterTopAt = [](int at, int level) {
        return Detect(500, Runs({{0, at - 1}, {300, 1}, {0, 1001 - at}, {level, 1}, {0, 199}, {level, 1}}));
    };
    EXPECT_TRUE(beatsAfterTopAt(250, 300).empty()) << "the top is blanked: nothing is learned";
    EXPECT_EQ(beatsAfterTopAt(251, 100), (std::vector<ReportedBeat>{{1201, 200}}));
    EXPECT_TRUE(beatsAfterTopAt(251, 99).empty()) << "the threshold is a third of the top";
    EXPECT_EQ(beatsAfterTopAt(1000, 100).size(), 1u);
    // A top at the very last call of the pass counts too, and sends the detector waiting: for 51 samples at
    // least.
    const Curve endsInside = Runs({{0, 1000}, {300, 1}});
    for (const auto& [pause, reported] : {std::pair{50, 0}, {51, 1}}) {
        const auto beats = Detect(500, endsInside + Runs({{0, pause}, {100, 1}, {0, 200}, {100, 1}}));
        EXPECT_EQ(beats.size(), static_cast<std::size_t>(reported)) << pause;
    }
    // It waits for as long as the signal stays up.
    EXPECT_EQ(Detect(500, endsInside + Runs({{100, 2000}, {99, 1}, {100, 1}, {0, 299}, {100, 1}})),
              (std::vector<ReportedBeat>{{1001 + 2000 + 1 + 300, 300}}));
}

TEST(CrtRRdetect, ReportsTheDistanceFromTheSecondBeatOn) {
    EXPECT_EQ(Detect(500, Learned() +
                              Runs({{500, 1}, {0, 399}, {500, 1}, {0, 122}, {500, 1}, {0, 1499}, {500, 1}})),
              (std::vector<ReportedBeat>{{1401, 400}, {1524, 123}, {3024, 1500}}));
}

TEST(CrtRRdetect, IsRefractoryFor97SamplesAndTheSampleAfter) {
    const auto secondBeat = [](int distance) {
        return Detect(500, Learned() + Runs({{500, 1}, {0, distance - 1}, {500, 1}, {0, 300}}));
    };
    EXPECT_TRUE(secondBeat(98).empty());
    EXPECT_EQ(secondBeat(99), (std::vector<ReportedBeat>{{1100, 99}}));
    // It stays so while the signal is up.
    EXPECT_EQ(Detect(500, Learned() + Runs({{500, 700}, {99, 1}, {500, 1}})),
              (std::vector<ReportedBeat>{{1001 + 701, 701}}));
}

TEST(CrtRRdetect, RenewsTheThresholdAtEveryFifthBeatFromTheRefractorySamples) {
    // Four beats whose refractory spans run from 30 up to `top`; the fifth renews, and `probe` is the sixth.
    const auto sixthBeat = [](int bottom, int top, int probe) {
        Curve curve = Learned();
        for (int beat = 0; beat < 4; ++beat)
            curve = curve + Runs({{150, 1}, {bottom, 40}, {top, 1}, {bottom, 300}});
        return Detect(500, curve + Runs({{150, 1}, {0, 200}, {probe, 1}})).size() == 5;
    };
    EXPECT_TRUE(sixthBeat(30, 630, 230));
    EXPECT_FALSE(sixthBeat(30, 630, 229));
    EXPECT_TRUE(sixthBeat(96, 99, 100)) << "a spread of 3 leaves the threshold at 100";
    EXPECT_FALSE(sixthBeat(96, 99, 99));
    EXPECT_TRUE(sixthBeat(90, 94, 91)) << "a spread of 4 does not";
    EXPECT_FALSE(sixthBeat(90, 94, 90));
    // The sample that ends the refractory state is counted, the next is not.
    for (const int at : {98, 99}) {
        Curve curve = Learned();
        for (int beat = 0; beat < 4; ++beat)
            curve = curve + Runs({{150, 1}, {30, at - 1}, {90, 1}, {30, 200}});
        curve = curve + Runs({{150, 1}, {30, 200}, {50, 1}});
        EXPECT_EQ(Detect(500, curve).size(), at == 98 ? 5u : 4u);
    }
}

TEST(CrtRRdetect, LooksForALostBeatForThreeSeconds) {
    // A beat at a distance of 1501 is still one; after a silent sample there the detector learns anew.
    EXPECT_EQ(Detect(500, Learned() + Runs({{500, 1}, {0, 1500}, {500, 1}})),
              (std::vector<ReportedBeat>{{2502, 1501}}));
    // Refractory saw a top of 60 here: relearned at once, the threshold is 20, and intervals count from
    // there.
    const auto afterGap = [](int gap, int level) {
        return Detect(500, Learned() + Runs({{500, 1}, {60, 30}, {0, gap - 30}, {level, 1}}));
    };
    EXPECT_EQ(afterGap(1501, 500), (std::vector<ReportedBeat>{})) << "the sample of the relearn is blind";
    EXPECT_EQ(afterGap(1502, 20), (std::vector<ReportedBeat>{{1002 + 1502, 1}}));
    EXPECT_TRUE(afterGap(1502, 19).empty());
}

TEST(CrtRRdetect, LearnsAFullPassWhereTheInstantRelearnSawNothing) {
    // Silence from the end of learning: lost at 1501 samples, relearn fails on the next, the pass after it
    // has 1001 samples of which the first 249 are still blanked.
    const Curve lost = Learned() + Runs({{0, 1502}});
    const auto learnsFromTopAt = [&lost](int at) {
        const Curve pass = Runs({{0, at - 1}, {300, 1}, {0, 1001 - at}});
        return !Detect(500, lost + pass + Runs({{100, 1}, {0, 200}, {100, 1}})).empty();
    };
    EXPECT_FALSE(learnsFromTopAt(249));
    EXPECT_TRUE(learnsFromTopAt(250));
}

TEST(CrtRRdetect, ATooLongPlateauWinsOverTheEndOfTheRefractoryState) {
    // Falls below on the very sample at which three seconds are up, and one sample earlier.
    const auto detected = [](int plateau) {
        return Detect(500, Learned() + Runs({{500, 1}, {300, plateau}, {0, 1}, {110, 1}, {110, 1}}));
    };
    EXPECT_EQ(detected(1499), (std::vector<ReportedBeat>{{1002 + 1500, 1501}}));
    EXPECT_EQ(detected(1500), (std::vector<ReportedBeat>{{1002 + 1502, 1}}))
        << "relearned: threshold 100, counts anew";
}

TEST(CrtRRdetect, NeverFindsABeatInSilenceOrBelowTenSamplesPerSecond) {
    CrtRRdetect silent(500, 50);
    for (int i = 0; i < 20000; ++i) ASSERT_EQ(silent.QRSdetect(0, 0, 0), 0);
    const auto noise = RandomSamples(3, 5000, 32768);
    for (const int fs : {9, 1, 0, -500}) {
        CrtRRdetect slow(fs, 50);
        for (const short x : noise) {
            ASSERT_EQ(slow.QRSdetect(x), 0);
            ASSERT_EQ(slow.QRSdetect(x, -x, 5), 0);
        }
    }
}

/// What stands before the state machine, put together from its parts: the filters of one lead...
struct PlainFront {
    PlainFront(int fs, int acFreq)
        : lowpass(5.0, fs), highpass(12.0, fs), notch(acFreq, fs, 40.0), mains(acFreq > 0) {}
    int Filter(int x) {
        if (mains) x = static_cast<int>(notch.Filter(static_cast<double>(x)));
        return highpass.Filter(static_cast<int>(lowpass.Filter(static_cast<double>(x))));
    }
    CLowpassFilter2 lowpass;
    CHighpassFilter highpass;
    CNotchFilter notch;
    bool mains;
};

/// ...and the curve length of one or three leads, summed anew for every sample.
static Curve CurveOf(int fs, int acFreq, const Recording& input) {
    std::vector<PlainFront> fronts(input.leads, PlainFront(fs, acFreq));
    std::vector<int> last(input.leads, 0), changes;
    Curve curve;
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        int sum = 0;
        for (std::size_t lead = 0; lead < input.leads; ++lead) {
            const int y = fronts[lead].Filter(input.At(i, lead));
            sum += std::abs(y - std::exchange(last[lead], y));
        }
        changes.push_back(sum / static_cast<int>(input.leads));
        const auto summed = std::min(changes.size(), static_cast<std::size_t>(fs / 10 - 1));
        int length = 0;
        for (std::size_t k = changes.size() - summed; k < changes.size(); ++k) length += changes[k];
        curve.push_back(length);
    }
    return curve;
}

static std::vector<ReportedBeat> DetectIn(CrtRRdetect& detector, Recording& input) {
    std::vector<ReportedBeat> beats;
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        const short* x = input.Frame(i);
        const int rr = input.leads == 1 ? detector.QRSdetect(x[0]) : detector.QRSdetect(x[0], x[1], x[2]);
        if (rr != 0) beats.push_back({i, rr});
    }
    return beats;
}

static Recording ExerciseEcg(int fs, std::size_t leads, double amplitude) {
    BeatForm form;
    form.amplitude = amplitude;
    return BeatTrain(fs, leads)
        .Form(form)
        .Beats(900, 12)
        .Beats(600, 14)
        .Pause(3700)
        .Beats(420, 30)
        .Noise(12, 11)
        .Record();
}

TEST(CrtRRdetect, RunsFiltersAndCurveLengthBeforeTheStateMachine) {
    for (const int fs : {200, 250, 257, 360, 500, 1000})
        for (const int acFreq : {0, 50, 60, -1})
            for (const std::size_t leads : {1u, 3u}) {
                SCOPED_TRACE(testing::Message() << fs << " Hz, mains " << acFreq << ", leads " << leads);
                auto input = ExerciseEcg(fs, leads, leads == 1 ? 900 : 60000);  // three leads: folded over
                CrtRRdetect detector(fs, acFreq);
                const auto expected = DetectOnPaper(fs, CurveOf(fs, acFreq, input));
                EXPECT_GT(expected.size(), 30u);
                EXPECT_EQ(DetectIn(detector, input), expected);
                detector.Init();
                EXPECT_EQ(DetectIn(detector, input), expected) << "Init starts over";
            }
}

TEST(CrtRRdetect, FollowsTheHeartRateOfACleanTrain) {
    auto input = BeatTrain(500, 1).Beats(800, 20).Record();
    CrtRRdetect detector(500, 50);
    const auto beats = DetectIn(detector, input);
    ASSERT_GE(beats.size(), 16u);                                  // the first two seconds are spent learning
    for (const auto& beat : beats) EXPECT_NEAR(beat.rr, 400, 10);  // a renewed threshold is crossed elsewhere
}
