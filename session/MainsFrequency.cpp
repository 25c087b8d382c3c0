#include "session/MainsFrequency.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/FloatingPoint.h"

namespace qz {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr int kFewestSeconds = 3;
// Under the Hann window a tone of a whole frequency reaches 1 Hz to either side, and one in between 2 Hz.
constexpr int kNearestNeighbourHz = 3, kFarthestNeighbourHz = 6;
// Times the mean power of the neighbours. Recordings without a hum have up to 4 in one of their leads.
constexpr double kStandsOut = 5.0;

// The power at `hz` of fs samples, `stride` apart, under a Hann window; in squared units, to a constant
// factor.
double Power(const short* samples, std::size_t stride, int fs, int hz) {
    const double twiceCosine = 2 * std::cos(kTwoPi * hz / fs);
    const double twiceWindow = 2 * std::cos(kTwoPi / fs);
    double window = 1, windowBefore = std::cos(kTwoPi / fs);  // cos(2 pi i / fs), at i and i - 1
    double s = 0, sBefore = 0;
    for (int i = 0; i < fs; ++i) {
        const double x = samples[static_cast<std::size_t>(i) * stride] * (1 - window);
        const double next = x + twiceCosine * s - sBefore;
        sBefore = s;
        s = next;
        const double windowNext = twiceWindow * window - windowBefore;
        windowBefore = window;
        window = windowNext;
    }
    return s * s + sBefore * sBefore - twiceCosine * s * sBefore;
}

// How many times as strong as its neighbours `hz` is in the median second of a lead.
double Prominence(const short* lead, std::size_t seconds, std::size_t leads, int fs, int hz) {
    std::array<double, kMainsSeconds> ratios{};
    for (std::size_t second = 0; second < seconds; ++second) {
        const short* from = lead + second * static_cast<std::size_t>(fs) * leads;
        double beside = 0;
        for (int away = kNearestNeighbourHz; away <= kFarthestNeighbourHz; ++away)
            beside += Power(from, leads, fs, hz - away) + Power(from, leads, fs, hz + away);
        const double mean = beside / (2 * (kFarthestNeighbourHz - kNearestNeighbourHz + 1));
        // A line has no power but what rounding leaves.
        ratios[second] = mean > 1e-6 ? Power(from, leads, fs, hz) / mean : 0;
    }
    const auto middle = ratios.begin() + static_cast<std::ptrdiff_t>(seconds / 2);
    std::nth_element(ratios.begin(), middle, ratios.begin() + static_cast<std::ptrdiff_t>(seconds));
    return *middle;
}

}  // namespace

int MeasureMainsHz(const short* frames, std::size_t count, std::size_t leads, int fs) noexcept {
    if (fs <= 0) return 0;
    const std::size_t seconds =
        std::min(count / static_cast<std::size_t>(fs), static_cast<std::size_t>(kMainsSeconds));
    if (seconds < kFewestSeconds) return 0;
    int mainsHz = 0;
    double most = kStandsOut;
    for (const int hz : {50, 60}) {
        if (2 * (hz + kFarthestNeighbourHz) >= fs) continue;
        for (std::size_t lead = 0; lead < leads; ++lead) {
            const double prominence = Prominence(frames + lead, seconds, leads, fs, hz);
            if (prominence <= most) continue;
            most = prominence;
            mainsHz = hz;
        }
    }
    return mainsHz;
}

}  // namespace qz
