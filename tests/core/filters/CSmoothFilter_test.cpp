#include "core/filters/CSmoothFilter.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <set>
#include <vector>

#include "core/filters/CLowpassFilter2.h"
#include "core/filters/CSmoothFilterEx.h"
#include "tests/support/Signals.h"

namespace {

// The smoother over whole histories, with every sum recomputed for every sample.
class SlowSmoother {
public:
    SlowSmoother(int fs, int fc) : m_fs(fs), m_lowpass(fc, fs) {}

    void Reset() {
        m_x.clear();
        m_low.clear();
        m_residual.clear();
    }

    int Smooth(int x) {
        const int window = 30 * m_fs / 1000;
        if (window < 1) return x;
        m_x.push_back(x);
        m_low.push_back(Truncated(m_lowpass.Filter(static_cast<double>(x))));
        m_residual.push_back(Ago(m_x, 9 * m_fs / 1000) - m_low.back());
        double total = 0, recent = 0;
        for (const int r : m_residual) total += std::abs(r);
        for (int age = 0; age < window; ++age) recent += std::abs(Ago(m_residual, age));

        const int width = WidthMs(recent, total, window);
        const int k = width * m_fs / 1000;
        widthsSeenMs.insert(width);
        // Ages are taken round the 30 ms: at the lowest rates the average meets the newest value again.
        const int centre = window - window / 2;
        const int low = Ago(m_low, centre % window);
        const auto residual = [&](int age) { return Ago(m_residual, (age + window) % window); };
        if (k == 0) return (2 * residual(centre) + residual(centre + 1) + residual(centre - 1)) / 4 + low;
        int sum = 0;
        for (int age = centre - k; age <= centre + k; ++age) sum += residual(age);
        return sum / (2 * k + 1) + low;
    }

    std::set<int> widthsSeenMs;

private:
    static int Ago(const std::vector<int>& history, int age) {
        return static_cast<std::size_t>(age) < history.size()
                   ? history[history.size() - 1 - static_cast<std::size_t>(age)]
                   : 0;
    }

    // Half the width of the average for an activity, ms; 0 is the 1-2-1 kernel.
    int WidthMs(double recent, double total, int window) const {
        const auto count = static_cast<double>(m_residual.size());
        static constexpr std::array kFactors{4.0, 3.5, 3.0, 2.6, 2.2, 1.8, 1.5, 1.2, 1.0};
        for (std::size_t i = 0; i < kFactors.size(); ++i)
            if (recent > kFactors[i] * window * total / count) return static_cast<int>(i);
        return 9;
    }

    int m_fs;
    CLowpassFilter2 m_lowpass;
    std::vector<int> m_x, m_low, m_residual;
};

// Two smoothers, fast and slow, over one signal.
template <typename Fast, typename Slow>
void ExpectSmoothsAlike(Fast& fast, Slow& slow, const std::vector<short>& x) {
    std::vector<int> expected, actual;
    for (const short sample : x) {
        expected.push_back(slow.Smooth(sample));
        actual.push_back(fast.Smooth(sample));
    }
    ExpectSame(expected, actual);
}

// Three slow stages, with full ints between them.
class SlowSmootherEx {
public:
    explicit SlowSmootherEx(int fs) : m_stages(3, SlowSmoother(fs, 10)) {}
    int Smooth(int x) {
        for (SlowSmoother& stage : m_stages) x = stage.Smooth(x);
        return x;
    }

private:
    std::vector<SlowSmoother> m_stages;
};

}  // namespace

TEST(CSmoothFilter, SmoothsLikeItsSlowFormAtEveryRate) {
    std::set<int> widthsMs;
    for (const int fs : {34, 67, 100, 111, 112, 200, 250, 257, 333, 334, 360, 500, 1000, 2000})
        for (const int fc : {0, 10, 25}) {  // 0: a low-pass of NaN, so that the residual is the plain input
            SCOPED_TRACE(testing::Message() << fs << " Hz, inner low-pass " << fc << " Hz, seed " << fs);
            const auto seed = static_cast<unsigned>(fs);
            for (const auto& x : {RandomSamples(seed, 1500, 32768), NoisyEcg(fs, 1500.0 / fs, seed),
                                  RandomSamples(seed, 1500, 2), SyntheticEcg(fs, 1500.0 / fs, 75, 1000)}) {
                CSmoothFilter fast(fs, fc);
                SlowSmoother slow(fs, fc);
                ExpectSmoothsAlike(fast, slow, x);
                widthsMs.merge(slow.widthsSeenMs);
            }
        }
    EXPECT_EQ(widthsMs.size(), 10U);  // the inputs reached every class of activity
}

TEST(CSmoothFilter, FlattensNoiseButKeepsTheSteepWave) {
    auto x = SyntheticEcg(500, 20, 75, 1000);
    const auto noise = RandomSamples(41, x.size(), 20);
    CSmoothFilter clean(500, 25), noisy(500, 25);
    double noiseIn = 0, noiseOut = 0;
    int peak = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const int smoothed = clean.Smooth(x[i]);
        const int both = noisy.Smooth(x[i] + noise[i]);
        if (i < 1000) continue;  // the activity's mean settles first
        peak = std::max(peak, smoothed);
        noiseIn += std::pow(noise[i], 2);
        noiseOut += std::pow(both - smoothed, 2);
    }
    EXPECT_GT(peak, 900);
    EXPECT_LT(noiseOut,
              0.35 * noiseIn);  // nine samples averaged leave a ninth of the power in the quiet parts
}

TEST(CSmoothFilter, ResetClearsRingsAndStatisticsButTheLowpassRunsOn) {
    const auto before = RandomSamples(42, 333, 20000), after = NoisyEcg(500, 2, 43);
    CSmoothFilter fast(500, 10);
    SlowSmoother slow(500, 10), fresh(500, 10);
    ExpectSmoothsAlike(fast, slow, before);
    fast.Init();
    slow.Reset();
    CSmoothFilter rebuilt = fast;
    ExpectSmoothsAlike(fast, slow, after);
    rebuilt.Init(500, 10);  // clears the low-pass too
    ExpectSmoothsAlike(rebuilt, fresh, after);
    rebuilt.Init(257, 25);
    SlowSmoother other(257, 25);
    ExpectSmoothsAlike(rebuilt, other, after);
}

TEST(CSmoothFilter, ARateTooLowForAnyWindowPassesTheInput) {
    for (const int fs : {-500, 0, 33}) {
        CSmoothFilter filter(fs, 10);
        for (const int x : {5, -32768, 32767, 7}) EXPECT_EQ(filter.Smooth(x), x);
    }
}

TEST(CSmoothFilterEx, RunsThreeStagesWithFullIntsBetweenThem) {
    for (const int fs : kSamplingRates)
        for (const auto& x : {RandomSamples(44, 1200, 32768), NoisyEcg(fs, 1200.0 / fs, 45)}) {
            SCOPED_TRACE(testing::Message() << fs << " Hz, seeds 44, 45");
            CSmoothFilterEx fast(fs);
            SlowSmootherEx slow(fs);
            ExpectSmoothsAlike(fast, slow, x);
        }
}

TEST(CSmoothFilterEx, ASecondInitLeavesStagesAndStateAlone) {
    CSmoothFilterEx fast;
    fast.Init(500);
    SlowSmootherEx slow(500);
    ExpectSmoothsAlike(fast, slow, RandomSamples(46, 300, 5000));
    fast.Init(1000);
    ExpectSmoothsAlike(fast, slow, NoisyEcg(500, 2, 47));
}
