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

/// The size of a step as the doubler sees it: of its low 16 bits, where -32768 has no positive counterpart.
int StepSize(int step) {
    const short low = Wrapped(step);
    return low == -32768 ? low : std::abs(low);
}

/// The doubler as a function of the whole input. It uses the closed form of the cubic: over two output steps
/// from (0, b) with slope m to (2, c) with slope mNew, the midpoint is (b + c) / 2 + (m - mNew) / 4 and the
/// slope there 3 (c - b) / 4 - (m + mNew) / 4. rules[i] counts the isolated steps found by each pattern of
/// step sizes.
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
        const bool any = isolated[0] || isolated[1] || isolated[2];
        for (std::size_t i = 0; rules && i < 3; ++i) (*rules)[i] += isolated[i];
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

Pairs Doubled(const std::vector<short>& x) {
    CDoubleSampleRate doubler;
    return Doubled(doubler, x);
}

/// Flat stretches of one to six samples between steps whose sizes lie at and around both thresholds.
std::vector<short> Staircase(unsigned seed, std::size_t n) {
    static constexpr int kSteps[] = {14, 15, 16, 239, 240, 241, 300, 3000, 32767, 32768, 32769, 40000, 65296};
    const auto random = RandomSamples(seed, 2 * n, 32767);
    std::vector<short> x;
    short level = 0;
    for (std::size_t i = 0; x.size() < n; i += 2) {
        const int step = kSteps[static_cast<std::size_t>(random[i] + 32768) % std::size(kSteps)];
        level = Wrapped(random[i + 1] < 0 ? level - step : level + step);
        x.insert(x.end(), static_cast<std::size_t>(random[i + 1] & 7) % 6 + 1, level);
    }
    return x;
}

}  // namespace

TEST(CDoubleSampleRate, GivesTheWorkedExamples) {
    EXPECT_EQ(Doubled({100, 100, 100, 100, 100, 100}),
              (Pairs{{-6, 0}, {42, 100}, {117, 100}, {95, 100}, {101, 100}, {99, 100}}));
    EXPECT_EQ(Doubled({0, 0, 0, 300, 300, 300, 300}),
              (Pairs{{0, 0}, {0, 0}, {0, 0}, {0, 300}, {300, 300}, {301, 300}, {299, 300}}));
    EXPECT_EQ(Doubled({0, 10, 20, 30, 40, 50, 60}),
              (Pairs{{0, 0}, {0, 0}, {3, 10}, {15, 20}, {24, 30}, {35, 40}, {44, 50}}));
    // A step that was too restless to be seen at once is seen one sample later.
    const Pairs late = Doubled({0, 20, 20, 320, 320});
    EXPECT_EQ(late[3].second, 20);
    EXPECT_EQ(late[4], (std::pair<short, short>{20, 320}));
    CDoubleSampleRate doubler;
    for (const int followed : {0, 0, 50, 50}) EXPECT_EQ(doubler.CalculateReturnValues(50), followed);
}

TEST(CDoubleSampleRate, InsertsTheMidpointOfTheCubicAndHoldsAtEveryPatternOfAnIsolatedStep) {
    std::array<int, 3> rules{};
    for (const unsigned seed : {91U, 92U, 93U}) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::vector<std::vector<short>> inputs{Staircase(seed, 5000)};
        for (const int amplitude : {5, 60, 400, 9000, 32768})
            inputs.push_back(RandomSamples(seed, 5000, amplitude));
        for (const int fs : kSamplingRates) inputs.push_back(NoisyEcg(fs, 10, seed));
        for (const auto& x : inputs) ASSERT_EQ(SlowDouble(x, 15, 240, &rules), Doubled(x));
    }
    for (const int count : rules) EXPECT_GT(count, 50);
}

TEST(CDoubleSampleRate, InitSetsTheThresholdsInMicrovoltsAndClearsHistoryAndTangent) {
    CDoubleSampleRate doubler;
    for (const double uVpb : {1.0, 4.88, 0.305, 2.5, 0.0}) {  // 0: every step is small and none a jump
        SCOPED_TRACE(testing::Message() << uVpb << " uV per unit, seeds 97, 98");
        doubler.Init(uVpb);
        const auto x = Sum(Staircase(97, 3000), RandomSamples(98, 3000, 3));
        ASSERT_EQ(SlowDouble(x, 15 / uVpb, 240 / uVpb), Doubled(doubler, x));
        Doubled(doubler, RandomSamples(99, 50, 20000));  // leaves a steep tangent behind
    }
}

TEST(CMultiChannelDoubleSampleRate, DoublesEachLeadByItselfAtItsScale) {
    CMultiChannelDoubleSampleRate bank(3);
    EXPECT_EQ(bank.GetNumbers(), 2);
    bank.Init(2.5);
    std::vector<CDoubleSampleRate> leads(3);
    for (CDoubleSampleRate& lead : leads) lead.Init(2.5);
    const auto x = Staircase(101, 1800);
    for (std::size_t n = 0; n < 600; ++n) {
        short frame[] = {x[n], x[n + 600], x[n + 1200]};
        short** pairs = bank.GetDoubleSampleRateData(frame);
        short** frames = bank.GetData();
        for (std::size_t k = 0; k < 3; ++k) {
            const short* expected = leads[k].GetDoubleSampleRateData(frame[k]);
            for (std::size_t row = 0; row < 2; ++row) {
                ASSERT_EQ(pairs[k][row], expected[row]) << "frame " << n << ", lead " << k;
                ASSERT_EQ(frames[row][k], expected[row]) << "frame " << n << ", lead " << k;
            }
        }
    }
}
