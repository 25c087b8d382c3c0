#include "core/filters/CSmoothFilter.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <set>
#include <vector>

#include "core/filters/CLowpassFilter2.h"
#include "tests/support/Signals.h"

namespace {

/// The smoother over whole histories, with every sum recomputed for every sample.
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
        // At the lowest rates the low-pass is unstable, and every sum then wraps at 32 bits.
        m_residual.push_back(Wrapped32(1LL * Ago(m_x, 9 * m_fs / 1000) - m_low.back()));
        double total = 0, recent = 0;
        for (const int r : m_residual) total += Wrapped32(std::abs(1LL * r));
        for (int age = 0; age < window; ++age) recent += Wrapped32(std::abs(1LL * Ago(m_residual, age)));

        const int width = WidthMs(recent, total, window);
        const int k = width * m_fs / 1000;
        widthsSeenMs.insert(width);
        // Ages are taken round the 30 ms: at the lowest rates the average meets the newest value again.
        const int centre = window - window / 2;
        const int low = Ago(m_low, centre % window);
        const auto residual = [&](int age) -> long long { return Ago(m_residual, (age + window) % window); };
        if (k == 0)
            return Wrapped32(
                Wrapped32(2 * residual(centre) + residual(centre + 1) + residual(centre - 1)) / 4LL + low);
        long long sum = 0;
        for (int age = centre - k; age <= centre + k; ++age) sum += residual(age);
        return Wrapped32(Wrapped32(sum) / (2LL * k + 1) + low);
    }

    std::set<int> widthsSeenMs;

private:
    static int Wrapped32(long long value) { return static_cast<int>(value & 0xFFFFFFFF); }

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

/// Two smoothers, fast and slow, over one signal.
template <typename Fast, typename Slow>
void ExpectSmoothsAlike(Fast& fast, Slow& slow, const std::vector<short>& x) {
    for (std::size_t i = 0; i < x.size(); ++i) ASSERT_EQ(fast.Smooth(x[i]), slow.Smooth(x[i])) << i;
}

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
    EXPECT_EQ(widthsMs.size(), 10U);      // the inputs reached every class of activity
    for (const int fs : {-500, 0, 33}) {  // too low for any window
        CSmoothFilter filter(fs, 10);
        for (const int x : {5, -32768, 32767, 7}) EXPECT_EQ(filter.Smooth(x), x);
    }
}

TEST(CSmoothFilter, ResetClearsRingsAndStatisticsButTheLowpassRunsOn) {
    const auto after = NoisyEcg(500, 2, 43);
    CSmoothFilter fast(500, 10);
    SlowSmoother slow(500, 10), fresh(500, 10), other(257, 25);
    ExpectSmoothsAlike(fast, slow, RandomSamples(42, 333, 20000));
    fast.Init();
    slow.Reset();
    ExpectSmoothsAlike(fast, slow, after);
    fast.Init(500, 10);  // clears the low-pass too
    ExpectSmoothsAlike(fast, fresh, after);
    fast.Init(257, 25);
    ExpectSmoothsAlike(fast, other, after);
}
