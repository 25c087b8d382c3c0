#include "host/results/Duke.h"

#include <algorithm>
#include <cmath>

#include "core/stress/ExerciseIndices.h"
#include "host/results/Reference.h"
#include "host/results/STSlope.h"
#include "host/results/Summaries.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kLeastMm = 1;
// Levels come from samples of 1 uV, and their medians from floats: 0.1 mV less rounding is still 1 mm.
constexpr double kRoundingMm = 1e-6;
constexpr double kPointsPerMm = 5, kPointsPerAngina = 4;
constexpr int kLowRisk = 5, kHighRisk = -11;
constexpr double kLeastQMs = 30, kLeastQUv = 100;

const char* DukeRisk(double points) {
    return points >= kLowRisk ? "low" : points <= kHighRisk ? "high" : "moderate";
}

}  // namespace

double DukeST::CountedMm() const {
    const double mm = std::abs(netMm);
    return mm >= kLeastMm - kRoundingMm ? mm : 0;
}

std::optional<DukeST> FindDukeST(const StressResult& result, double fromSeconds) {
    const std::vector<double> references = MeasureReference(result).levelUv;
    std::optional<DukeST> largest;
    for (std::size_t lead = 0; lead < references.size(); ++lead) {
        if (!IsChosenForST(result.source.leads[lead])) continue;
        const bool hasQ = HasPathologicalQ(result, lead);
        for (const STReading& beat : result.beats) {
            const double mm = (beat.levelUv[lead] - references[lead]) / kUvPerMm;
            if (beat.seconds < fromSeconds || std::isnan(mm)) continue;
            if (!largest) largest.emplace();
            if (std::abs(mm) <= std::abs(largest->netMm)) continue;
            const double slope = beat.slopeUvPerMs[lead];
            const qz::STShape shape = ShapeOfSlope(slope);
            const bool counts =
                mm > 0 ? !hasQ : shape == qz::STShape::Horizontal || shape == qz::STShape::Downsloping;
            if (!counts || MedianAroundBriefUv(result, lead, references[lead], beat)) continue;
            largest = {mm, lead, beat.seconds, slope};
        }
    }
    return largest;
}

bool HasPathologicalQ(const StressResult& result, std::size_t lead) {
    if (lead >= result.referenceBeatUv.size()) return false;
    const std::vector<float>& beatUv = result.referenceBeatUv[lead];
    const double msPerSample = kMsPerSecond / result.source.fs;
    double ms = 0, widthMs = 0, deepestUv = 0;  // of the wave below the PR level that is being followed
    const auto isQ = [&] { return widthMs >= kLeastQMs && deepestUv >= kLeastQUv; };
    for (const float uV : beatUv) {
        if (ms > result.positions.j || uV >= kLeastQUv) break;  // an R has begun
        if (ms >= result.positions.q && uV < 0) {
            widthMs += msPerSample;
            deepestUv = std::max(deepestUv, -static_cast<double>(uV));
        } else if (isQ()) {
            break;
        } else {
            widthMs = deepestUv = 0;
        }
        ms += msPerSample;
    }
    return isQ();
}

Duke ScoreDuke(const DukeST& st, double exerciseSeconds, std::optional<int> angina, bool isBruce) {
    const int index = angina.value_or(0);
    const double mm = st.CountedMm();
    Duke duke{st, exerciseSeconds / kSecondsPerMinute - kPointsPerMm * mm - kPointsPerAngina * index, 0,
              nullptr};
    duke.score = DukeScore(static_cast<short>(exerciseSeconds), static_cast<float>(mm * kUvPerMm / kUvPerMv),
                           static_cast<short>(index));
    if (angina && isBruce) duke.risk = DukeRisk(duke.points);
    return duke;
}
