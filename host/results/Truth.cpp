#include "host/results/Truth.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "host/results/Summaries.h"
#include "host/support/Units.h"

static constexpr std::ptrdiff_t kIntervals = 5;  // that the heart rate is steadied over

double Truth::BpmAt(double seconds) const {
    if (bpm) return bpm(seconds);
    const auto end = std::upper_bound(beatSeconds.begin(), beatSeconds.end(), seconds);
    const auto first = end - std::min(kIntervals + 1, end - beatSeconds.begin());
    std::vector<double> intervals;
    for (auto beat = first; beat != end && beat + 1 != end; ++beat) intervals.push_back(*(beat + 1) - *beat);
    return kSecondsPerMinute / Median(std::move(intervals));
}

Truth TruthFrom(const std::vector<Annotation>& annotations, double annotationHz) {
    Truth truth;
    bool inFibrillation = false;
    for (const Annotation& annotation : annotations) {
        const double seconds = static_cast<double>(annotation.sample) / annotationHz;
        if (IsBeat(annotation.code)) truth.beatSeconds.push_back(seconds);
        if (annotation.code == kFibrillationStart && !inFibrillation)
            truth.fibrillation.push_back({seconds, std::numeric_limits<double>::infinity()});
        if (annotation.code == kFibrillationEnd && inFibrillation)
            truth.fibrillation.back().toSeconds = seconds;
        else if (annotation.code == kFibrillationEnd && truth.beatSeconds.empty())
            truth.fibrillation.push_back({-std::numeric_limits<double>::infinity(), seconds});
        if (annotation.code == kFibrillationStart || annotation.code == kFibrillationEnd)
            inFibrillation = annotation.code == kFibrillationStart;
    }
    return truth;
}
