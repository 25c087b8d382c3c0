#include "session/internal/FilterTaps.h"

#include <cmath>
#include <cstddef>
#include <numeric>

#include "core/FloatingPoint.h"
#include "core/filters/DirectForm1.h"

namespace qz {

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
