#include "core/stress/STtrend.h"

#include <algorithm>
#include <cstdint>

#include "core/Arithmetic.h"

static constexpr int kLongestRRms = 2000;  // 30 beats/min
static constexpr int kShortestRRms = 200;  // 300 beats/min
static constexpr short kNoBeat = -1;

static float ToTrend(double smoothed) { return static_cast<float>(smoothed); }
static short ToTrend(int smoothed) { return WrapToSample(smoothed); }

template <typename Number, typename T>
static void Smooth(std::vector<T>& values, std::vector<CLowpassFilter2>& smoothers, bool& first) {
    auto value = values.begin();
    for (CLowpassFilter2& smoother : smoothers) {
        const auto measured = static_cast<Number>(*value);
        if (first) smoother.InitialValue(measured);
        *value++ = ToTrend(smoother.Filter(measured));
    }
    first = false;
}

void SmoothTrend(std::vector<float>& values, std::vector<CLowpassFilter2>& smoothers, bool& first) {
    Smooth<double>(values, smoothers, first);
}

void SmoothTrend(std::vector<short>& values, std::vector<CLowpassFilter2>& smoothers, bool& first) {
    Smooth<int>(values, smoothers, first);
}

short SteadyRRms(int samples, int fs, CZatMidRR& average) {
    const std::int64_t ms = SamplesToMs(samples, fs);
    if (ms < 1) return kNoBeat;
    if (ms >= kLongestRRms) return 0;
    return average.MeanRR(static_cast<short>(std::max<std::int64_t>(ms, kShortestRRms)));
}
