#include "host/results/RateScore.h"

#include <algorithm>
#include <cmath>

#include "host/results/Summaries.h"

namespace {

constexpr double kPauseSeconds = 3;   // longer without a beat there is no heart rate to show
constexpr double kShownSeconds = 10;  // that a rate stays on a display
constexpr double kTolerance = 0.05, kToleranceBpm = 3;

// The latest of those that are in order of time, up to `seconds`; null if it is older than `age`.
template <typename Timed>
const Timed* Latest(const std::vector<Timed>& all, double seconds, double age) {
    const auto after = std::upper_bound(all.begin(), all.end(), seconds,
                                        [](double s, const Timed& timed) { return s < timed.seconds; });
    return after != all.begin() && (after - 1)->seconds >= seconds - age ? &*(after - 1) : nullptr;
}

}  // namespace

double RateScore::Part() const {
    const int all = right + wrong + none;
    return all > 0 ? static_cast<double>(right) / all : kNothing;
}

RateScore ScoreRate(const StressResult& result, const Truth& truth, const std::vector<Span>& uncounted) {
    RateScore score;
    for (int second = 1; second <= result.seconds; ++second) {
        if (LiesIn(uncounted, second) || Latest(truth.beats, second, kPauseSeconds) == nullptr) continue;
        const double reference = truth.BpmAt(second);
        if (std::isnan(reference)) continue;
        const RateReading* shown = Latest(result.rates, second, kShownSeconds);
        if (shown == nullptr)
            ++score.none;
        else if (std::abs(shown->bpm - reference) <= std::max(kTolerance * reference, kToleranceBpm))
            ++score.right;
        else
            ++score.wrong;
    }
    return score;
}
