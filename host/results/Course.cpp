#include "host/results/Course.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/results/Reference.h"
#include "host/results/STSlope.h"
#include "host/results/Summaries.h"
#include "host/support/Units.h"

namespace {

constexpr int kMostRecoveryMinutes = 15;

struct Stretch {
    std::string name;
    Span span;
    std::size_t stage = 0;
    bool isRecovery = false;
};

std::vector<Stretch> ListStretches(const StressResult& result, const std::vector<Stage>& stages) {
    std::vector<Stretch> stretches;
    const std::optional<Span> work = FindWork(stages, result.seconds);
    for (std::size_t i = 0; i < stages.size(); ++i) {
        const double end =
            i + 1 < stages.size() ? std::min(stages[i + 1].startSeconds, result.seconds) : result.seconds;
        double from = stages[i].startSeconds;
        const std::string name = NameStage(stages[i], i);
        if (!work || from != work->toSeconds) {
            stretches.push_back({name, {from, end}, i, false});
            continue;
        }
        for (int minute = 1; minute <= kMostRecoveryMinutes && from + kSecondsPerMinute <= end; ++minute) {
            stretches.push_back(
                {name + " " + std::to_string(minute) + " min", {from, from + kSecondsPerMinute}, i, true});
            from += kSecondsPerMinute;
        }
        if (from < end) stretches.push_back({name + " to its end", {from, end}, i, true});
    }
    return stretches;
}

STThen ThenOf(const StressResult& result, const STReading& beat, std::size_t lead, double referenceUv) {
    const double slope = beat.slopeUvPerMs[lead];
    const bool hasPoints = lead < beat.st.size();
    return {beat.seconds,
            beat.levelUv[lead],
            beat.levelUv[lead] - referenceUv,
            hasPoints ? beat.st[lead].jUv : kNothing,
            slope,
            beat.bpm,
            hasPoints && !result.stPoint.postJms ? beat.st[lead].shape : ShapeOfSlope(slope)};
}

const STThen kNeverThen{kNothing, kNothing, kNothing, kNothing, kNothing, kNothing, qz::STShape::Unknown};

}  // namespace

std::vector<CourseRow> SummarizeCourse(const StressResult& result, const ExerciseSummary& exercise) {
    std::vector<CourseRow> rows;
    const Reference reference = MeasureReference(result);
    std::vector<Stage> bounds;  // CountBeats counts to the start of the next
    const std::vector<Stretch> stretches = ListStretches(result, exercise.stages);
    for (const Stretch& stretch : stretches) bounds.push_back({stretch.span.fromSeconds, {}, stretch.name});
    const std::vector<BeatCounts> counts = CountBeats(result, bounds);
    for (std::size_t i = 0; i < stretches.size(); ++i) {
        const auto& [name, span, stage, isRecovery] = stretches[i];
        CourseRow row;
        row.name = name;
        row.stage = exercise.stages[stage];
        row.span = span;
        row.isRecovery = isRecovery;
        row.mets = MetsOf(row.stage, result.source.patient.weightKg);
        row.counts = counts[i + 1];
        const Span last{std::max(span.fromSeconds, span.toSeconds - kStageEndSeconds), span.toSeconds};
        std::vector<double> bpm;
        for (const RateReading& rate : result.rates)
            if (last.Contains(rate.seconds)) bpm.push_back(rate.bpm);
        row.bpm = Median(std::move(bpm));
        row.percentOfPredicted = 100 * row.bpm / exercise.capacity.predictedBpm;
        for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
            std::vector<double> levels, slopes;
            for (const STReading& beat : result.beats) {
                if (!last.Contains(beat.seconds)) continue;
                levels.push_back(beat.levelUv[lead]);
                slopes.push_back(beat.slopeUvPerMs[lead]);
            }
            row.levelUv.push_back(Median(std::move(levels)));
            row.changeUv.push_back(row.levelUv.back() - reference.levelUv[lead]);
            row.slopeUvPerMs.push_back(Median(std::move(slopes)));
        }
        for (const BloodPressure& pressure : exercise.pressures)
            if (pressure.seconds <= span.toSeconds && (pressure.seconds > span.fromSeconds || i == 0))
                row.pressure = pressure;
        row.ratePressure = row.pressure.systolic * row.bpm;
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<STThen> MeasureAllAt(const StressResult& result, double seconds) {
    const std::vector<double> referencesUv = MeasureReference(result).levelUv;
    std::vector<STThen> all(result.source.leads.size(), kNeverThen);
    const auto nearest = std::min_element(
        result.beats.begin(), result.beats.end(), [&](const STReading& a, const STReading& b) {
            return std::abs(a.seconds - seconds) < std::abs(b.seconds - seconds);
        });
    if (nearest == result.beats.end() || std::isnan(seconds)) return all;
    for (std::size_t lead = 0; lead < all.size(); ++lead)
        all[lead] = ThenOf(result, *nearest, lead, referencesUv[lead]);
    return all;
}

std::vector<STThen> MeasureAtLargestChange(const StressResult& result) {
    const std::vector<double> referencesUv = MeasureReference(result).levelUv;
    std::vector<STThen> all(result.source.leads.size(), kNeverThen);
    for (const STReading& beat : result.beats)
        for (std::size_t lead = 0; lead < all.size(); ++lead) {
            const double changeUv = beat.levelUv[lead] - referencesUv[lead];
            if (!std::isnan(changeUv) && !(std::abs(changeUv) <= std::abs(all[lead].changeUv)))
                all[lead] = ThenOf(result, beat, lead, referencesUv[lead]);
        }
    return all;
}
