#include "core/filters/CDoubleSampleRate.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "core/filters/CMultiChannelDoubleSampleRate.h"
#include "tests/support/Signals.h"

namespace {

using Pairs = std::vector<std::pair<short, short>>;

// The size of a step as the doubler sees it: of its low 16 bits, where -32768 has no positive counterpart.
int StepSize(int step) {
    const short low = Wrapped(step);
    return low == -32768 ? low : std::abs(low);
}

// The doubler as a function of the whole input. It uses the closed form of the cubic: over two output steps
// from (0, b) with slope m to (2, c) with slope mNew, the midpoint is (b + c) / 2 + (m - mNew) / 4 and the
// slope there 3 (c - b) / 4 - (m + mNew) / 4. rules[i] counts the isolated steps found by each pattern of
// step sizes.
Pairs SlowDouble(const std::vector<short>& x, double small = 15, double jump = 240,
                 std::array<int, 3>* rules = nullptr) {
    Pairs pairs;
    long double tangent = 0;
    int a = 0, b = 0, c = 0;
    for (const short newest : x) {
        const int s1 = StepSize(b - a), s2 = StepSize(c - b), s3 = StepSize(newest - c);
        const std::array<bool, 3> isolated{s1 <= small && s3 <= small && s2 > jump,
                                           s1 <= small && s2 <= small && s3 > jump,
                                           s2 <= small && s3 <= small && s1 > jump};
        bool any = false;
        for (std::size_t i = 0; i < 3; ++i) {
            any |= isolated[i];
            if (rules && isolated[i]) ++(*rules)[i];
        }
        const long double slope = (newest - b) / 4.0L;
        const long double midpoint = (b + c) / 2.0L + (tangent - slope) / 4;
        if (any)
            pairs.emplace_back(Wrapped(b), newest);
        else
            pairs.emplace_back(Wrapped(static_cast<long long>(midpoint)), Wrapped(c));
        tangent = 3 * static_cast<long double>(c - b) / 4 - (tangent + slope) / 4;
        a = b;
        b = any ? newest : c;
        c = newest;
    }
    return pairs;
}

Pairs Doubled(CDoubleSampleRate& doubler, const std::vector<short>& x) {
    Pairs pairs;
    for (const short sample : x) {
        const short* pair = doubler.GetDoubleSampleRateData(sample);
        pairs.emplace_back(pair[0], pair[1]);
    }
    return pairs;
}

void ExpectSamePairs(const Pairs& expected, const Pairs& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(expected[i], actual[i]) << "at input " << i;
}

// Flat stretches of one to six samples between steps whose sizes lie at and around both thresholds.
std::vector<short> Staircase(unsigned seed, std::size_t n) {
    static constexpr int kSteps[] = {14, 15, 16, 239, 240, 241, 300, 3000, 32767, 32768, 32769, 40000, 65296};
    const auto random = RandomSamples(seed, 2 * n, 32767);
    std::vector<short> x;
    int level = 0;
    for (std::size_t i = 0; x.size() < n; i += 2) {
        const int step = kSteps[static_cast<std::size_t>(random[i] + 32768) % std::size(kSteps)];
        level = Wrapped(random[i + 1] < 0 ? level - step : level + step);
        x.insert(x.end(), static_cast<std::size_t>(random[i + 1] & 7) % 6 + 1, static_cast<short>(level));
    }
    return x;
}

}  // namespace

TEST(CDoubleSampleRate, GivesTheWorkedExamples) {
    struct Example {
        std::vector<short> x;
        Pairs pairs;
    };
    const Example kExamples[] = {
        {{100, 100, 100, 100, 100, 100}, {{-6, 0}, {42, 100}, {117, 100}, {95, 100}, {101, 100}, {99, 100}}},
        {{0, 0, 0, 300, 300, 300, 300},
         {{0, 0}, {0, 0}, {0, 0}, {0, 300}, {300, 300}, {301, 300}, {299, 300}}},
        {{0, 10, 20, 30, 40, 50, 60}, {{0, 0}, {0, 0}, {3, 10}, {15, 20}, {24, 30}, {35, 40}, {44, 50}}}};
    for (const Example& example : kExamples) {
        CDoubleSampleRate doubler;
        EXPECT_EQ(Doubled(doubler, example.x), example.pairs);
        EXPECT_EQ(doubler.GetNumbers(), 2);
    }
}

TEST(CDoubleSampleRate, InsertsTheMidpointOfTheCubicOnNoisySignals) {
    for (const int amplitude : {5, 60, 400, 9000, 32768})
        for (const unsigned seed : {91U, 92U}) {
            SCOPED_TRACE(testing::Message() << "amplitude " << amplitude << ", seed " << seed);
            const auto x = RandomSamples(seed, 5000, amplitude);
            CDoubleSampleRate doubler;
            ExpectSamePairs(SlowDouble(x), Doubled(doubler, x));
        }
    for (const int fs : kSamplingRates) {
        const auto x = NoisyEcg(fs, 10, 93);
        CDoubleSampleRate doubler;
        ExpectSamePairs(SlowDouble(x), Doubled(doubler, x));
    }
}

TEST(CDoubleSampleRate, HoldsAtEveryPatternOfAnIsolatedStep) {
    std::array<int, 3> rules{};
    for (const unsigned seed : {94U, 95U, 96U}) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const auto x = Staircase(seed, 5000);
        CDoubleSampleRate doubler;
        ExpectSamePairs(SlowDouble(x, 15, 240, &rules), Doubled(doubler, x));
    }
    for (const int count : rules) EXPECT_GT(count, 50);
    // A step that was too restless to be seen at once is seen one sample later.
    CDoubleSampleRate late;
    const Pairs pairs = Doubled(late, {0, 20, 20, 320, 320});
    EXPECT_EQ(pairs[3].second, 20);
    EXPECT_EQ(pairs[4], (std::pair<short, short>{20, 320}));
}

TEST(CDoubleSampleRate, JudgesAStepByItsLowSixteenBits) {
    const auto last = [](short from, short to) {
        CDoubleSampleRate doubler;
        doubler.Init(1.0);
        std::vector<short> x(40, from);
        x.push_back(to);
        return Doubled(doubler, x).back();
    };
    EXPECT_EQ(last(-20000, 20000), (std::pair<short, short>{-20000, 20000}));  // 40000 counts as 25536
    EXPECT_EQ(last(-32768, 32767).second, -32768);                             // 65535 counts as 1: no jump
    EXPECT_EQ(last(-16384, 16384).second, -16384);  // 32768 counts as -32768: no jump
    EXPECT_EQ(last(0, 240).second, 0);              // exactly the threshold
    EXPECT_EQ(last(0, 241).second, 241);
}

TEST(CDoubleSampleRate, InitSetsTheThresholdsInMicrovoltsAndClearsHistoryAndTangent) {
    CDoubleSampleRate doubler;
    for (const double uVpb : {1.0, 4.88, 0.305, 2.5}) {
        SCOPED_TRACE(testing::Message() << uVpb << " uV per unit, seeds 97, 98");
        doubler.Init(uVpb);
        const auto x = Sum(Staircase(97, 3000), RandomSamples(98, 3000, 3));
        ExpectSamePairs(SlowDouble(x, 15 / uVpb, 240 / uVpb), Doubled(doubler, x));
        Doubled(doubler, RandomSamples(99, 50, 20000));  // leaves a steep tangent behind
    }
    doubler.Init(0.0);  // every step is small and none a jump
    const auto x = Staircase(97, 2000);
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    ExpectSamePairs(SlowDouble(x, kInfinite, kInfinite), Doubled(doubler, x));
}

TEST(CDoubleSampleRate, CalculateReturnValuesGivesTheSampleBeforeTheMidpoint) {
    CDoubleSampleRate doubler;
    EXPECT_EQ(doubler.CalculateReturnValues(50), 0);
    EXPECT_EQ(doubler.CalculateReturnValues(100), 0);
    EXPECT_EQ(doubler.CalculateReturnValues(150), 50);
    EXPECT_EQ(doubler.CalculateReturnValues(200), 100);
}

TEST(CMultiChannelDoubleSampleRate, DoublesEachLeadByItself) {
    for (const short chn : kChannelCounts) {
        SCOPED_TRACE(testing::Message() << chn << " leads, seeds 101 + lead");
        CMultiChannelDoubleSampleRate doubler(chn);
        EXPECT_EQ(doubler.GetNumbers(), 2);
        doubler.Init(2.5);
        const auto leads = static_cast<std::size_t>(chn);
        std::vector<std::vector<short>> x;
        std::vector<Pairs> expected;
        for (std::size_t k = 0; k < leads; ++k) {
            const auto seed = static_cast<unsigned>(101 + k);
            x.push_back(k % 2 == 0 ? Staircase(seed, 600) : RandomSamples(seed, 600, 32768));
            expected.push_back(SlowDouble(x[k], 15 / 2.5, 240 / 2.5));
        }
        for (std::size_t n = 0; n < 600; ++n) {
            std::vector<short> frame;
            for (const auto& lead : x) frame.push_back(lead[n]);
            short** pairs = doubler.GetDoubleSampleRateData(frame.data());
            short** frames = doubler.GetData();
            for (std::size_t k = 0; k < leads; ++k) {
                ASSERT_EQ(std::pair(pairs[k][0], pairs[k][1]), expected[k][n])
                    << "frame " << n << ", lead " << k;
                ASSERT_EQ(std::pair(frames[0][k], frames[1][k]), expected[k][n]) << "frame " << n;
            }
        }
    }
}
