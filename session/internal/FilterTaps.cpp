#include "session/internal/FilterTaps.h"

#include <cmath>
#include <cstddef>
#include <numeric>

#include "core/FloatingPoint.h"
#include "core/filters/DirectForm1.h"
#include "core/filters/internal/WideVectors.h"

namespace qz {

namespace {

// N taps at once: each sum is loaded and stored once for all of them.
template <std::size_t N, typename Number>
QZ_BOTH_WIDTHS void AddTaps(const float* taps, const Number* x, std::size_t step, std::size_t width,
                            Number* __restrict sums) {
    for (std::size_t i = 0; i < width; ++i) {
        Number sum = sums[i];
        for (std::size_t n = 0; n < N; ++n) sum += static_cast<Number>(taps[n]) * x[n * step + i];
        sums[i] = sum;
    }
}

template <typename Number>
QZ_BOTH_WIDTHS void AddAll(const float* taps, std::size_t count, const Number* x, std::size_t step,
                           std::size_t width, Number* sums) {
    std::size_t k = 0;
    for (; k + 8 <= count; k += 8) AddTaps<8>(taps + k, x + k * step, step, width, sums);
    for (; k + 3 <= count; k += 3) AddTaps<3>(taps + k, x + k * step, step, width, sums);
    for (; k < count; ++k) AddTaps<1>(taps + k, x + k * step, step, width, sums);
}

template <typename Number>
QZ_WIDE_VECTORS void AddAllWide(const float* taps, std::size_t count, const Number* x, std::size_t step,
                                std::size_t width, Number* sums) {
    AddAll(taps, count, x, step, width, sums);
}

template <typename Number>
void AddWhereItRuns(const float* taps, std::size_t count, const Number* x, std::size_t step,
                    std::size_t width, Number* sums) {
    if (HasWideVectors())
        AddAllWide(taps, count, x, step, width, sums);
    else
        AddAll(taps, count, x, step, width, sums);
}

}  // namespace

void AddProducts(const float* taps, std::size_t count, const float* x, std::size_t step, std::size_t width,
                 float* sums) {
    AddWhereItRuns(taps, count, x, step, width, sums);
}

void AddProducts(const float* taps, std::size_t count, const double* x, std::size_t step, std::size_t width,
                 double* sums) {
    AddWhereItRuns(taps, count, x, step, width, sums);
}

std::vector<float> BandPassTaps(double lowHz, double highHz, double rate, long long half) {
    const double pi = DirectForm1::kPi;
    std::vector<double> taps, window;
    for (long long i = -half; i <= half; ++i) {
        const double t = static_cast<double>(i) / rate;
        const double ideal = i == 0
                                 ? 2 * (highHz - lowHz)
                                 : (std::sin(2 * pi * highHz * t) - std::sin(2 * pi * lowHz * t)) / (pi * t);
        window.push_back(0.54 + 0.46 * std::cos(pi * static_cast<double>(i) / static_cast<double>(half)));
        taps.push_back(ideal / rate * window.back());
    }
    const double excess =
        std::accumulate(taps.begin(), taps.end(), 0.0) / std::accumulate(window.begin(), window.end(), 0.0);
    std::vector<float> rounded;
    for (std::size_t i = 0; i < taps.size(); ++i)
        rounded.push_back(static_cast<float>(taps[i] - excess * window[i]));
    return rounded;
}

}  // namespace qz
