#include "core/stress/STtrend.h"

#include <algorithm>
#include <cstdint>

#include "core/Arithmetic.h"

static constexpr int kLongestRRms = 2000;  // 30 beats/min
static constexpr int kShortestRRms = 200;  // 300 beats/min
static constexpr short kNoBeat = -1;

float SmoothTrend(float value, CLowpassFilter2& smoother, bool first) {
    const double measured = value;
    if (first) smoother.InitialValue(measured);
    return static_cast<float>(smoother.Filter(measured));
}

short SmoothTrend(short value, CLowpassFilter2& smoother, bool first) {
    const int measured = value;
    if (first) smoother.InitialValue(measured);
    return WrapToSample(smoother.Filter(measured));
}

template <typename T>
static void SmoothAll(std::vector<T>& values, std::vector<CLowpassFilter2>& smoothers, bool& first) {
    for (std::size_t i = 0; i < smoothers.size(); ++i)
        values[i] = SmoothTrend(values[i], smoothers[i], first);
    first = false;
}

void SmoothTrend(std::vector<float>& values, std::vector<CLowpassFilter2>& smoothers, bool& first) {
    SmoothAll(values, smoothers, first);
}

void SmoothTrend(std::vector<short>& values, std::vector<CLowpassFilter2>& smoothers, bool& first) {
    SmoothAll(values, smoothers, first);
}

short SteadyRRms(int samples, int fs, CZatMidRR& average) {
    const std::int64_t ms = SamplesToMs(samples, fs);
    if (ms < 1) return kNoBeat;
    if (ms >= kLongestRRms) return 0;
    return average.MeanRR(static_cast<short>(std::max<std::int64_t>(ms, kShortestRRms)));
}
