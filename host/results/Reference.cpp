#include "host/results/Reference.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/results/Summaries.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kFirstSeconds = 30;
// Above 100 beats/min a heart at rest is said to have tachycardia.
constexpr double kFastestRestBpm = 100;
// An hour of quiet daily life moves the heart rate by a fifth to either side; a recovery takes more off it.
constexpr double kRecoveredShare = 0.75;

bool HasValue(const STReading& beat) {
    return std::any_of(beat.levelUv.begin(), beat.levelUv.end(), [](float uV) { return !std::isnan(uV); });
}

// The heart rate to which that of the reference falls later, for two minutes on end; NaN if it does not.
double FindRecoveredBpm(const StressResult& result, double referenceBpm) {
    const double limit = kRecoveredShare * referenceBpm;
    double before = kNothing;
    for (const MinuteRow& row : SummarizeMinutes(result)) {
        if (row.fromSeconds < result.reference.span.toSeconds) continue;
        if (before < limit && row.bpm < limit) return std::max(before, row.bpm);
        before = row.bpm;
    }
    return kNothing;
}

std::string DescribeStretch(const StressResult& result) {
    const Span& span = result.reference.span;
    const bool isWithin = span.fromSeconds < result.seconds;
    return Clock(span.fromSeconds) + " to " +
           Clock(isWithin ? std::min(span.toSeconds, result.seconds) : span.toSeconds) + " min:s";
}

}  // namespace

std::optional<ReferenceStretch> ChooseReference(const std::optional<Span>& asked,
                                                const std::vector<Stage>& stages) {
    if (asked) return ReferenceStretch{*asked, "as asked for"};
    const std::optional<Span> work = FindWork(stages, std::numeric_limits<double>::infinity());
    if (!work || work->fromSeconds <= 0) return {};
    return ReferenceStretch{{0, work->fromSeconds}, "rest before the exercise"};
}

ReferenceStretch FirstReadings(double firstSeconds) {
    return {{firstSeconds, firstSeconds + kFirstSeconds}, "first half minute of ST values"};
}

Reference MeasureReference(const StressResult& result) {
    const Span& span = result.reference.span;
    Reference reference;
    std::vector<double> bpm;
    for (const RateReading& rate : result.rates)
        if (span.Contains(rate.seconds)) bpm.push_back(rate.bpm);
    reference.bpm = Median(std::move(bpm));
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        std::vector<double> levels, slopes;
        for (const STReading& beat : result.beats) {
            if (!span.Contains(beat.seconds) || std::isnan(beat.levelUv[lead])) continue;
            levels.push_back(beat.levelUv[lead]);
            slopes.push_back(beat.slopeUvPerMs[lead]);
        }
        reference.beats.push_back(levels.size());
        reference.levelUv.push_back(Median(std::move(levels)));
        reference.slopeUvPerMs.push_back(Median(std::move(slopes)));
    }
    return reference;
}

std::string DescribeReference(const StressResult& result) {
    if (result.reference.why.empty()) return "none: no ST was measured";
    const auto beats = std::count_if(result.beats.begin(), result.beats.end(), [&](const STReading& beat) {
        return result.reference.span.Contains(beat.seconds) && HasValue(beat);
    });
    return DescribeStretch(result) + ", " + result.reference.why + ": " + std::to_string(beats) +
           (beats == 1 ? " beat, " : " beats, ") + Number(MeasureReference(result).bpm, 0) + " beats/min";
}

ReferenceDoubts DoubtReference(const StressResult& result, const std::vector<Stage>& stages) {
    ReferenceDoubts doubts;
    const Reference reference = MeasureReference(result);
    for (std::size_t lead = 0; lead < reference.beats.size(); ++lead)
        if (reference.beats[lead] == 0) doubts.leadsWithout.push_back(lead);
    const std::optional<Span> work = FindWork(stages, result.seconds);
    doubts.isInExercise = work && result.reference.span.fromSeconds < work->toSeconds &&
                          result.reference.span.toSeconds > work->fromSeconds;
    doubts.bpm = reference.bpm;
    doubts.isFast = reference.bpm > kFastestRestBpm;
    doubts.recoveredBpm = FindRecoveredBpm(result, reference.bpm);
    return doubts;
}

std::vector<std::string> CheckReference(const StressResult& result, const std::vector<Stage>& stages) {
    if (result.beats.empty()) return {};
    std::vector<std::string> warnings;
    const ReferenceDoubts doubts = DoubtReference(result, stages);
    const std::string stretch = "the reference (" + DescribeStretch(result) + ")";
    std::string without;
    for (const std::size_t lead : doubts.leadsWithout)
        without += (without.empty() ? "" : ", ") + result.source.leads[lead];
    if (!without.empty())
        warnings.push_back("no ST in " + stretch + " of " + without +
                           ": changes of it are not known; --reference takes another stretch");

    const std::string consequence = "; changes of ST count from there, and --reference takes another stretch";
    if (doubts.isInExercise)
        warnings.push_back(stretch + " lies in the exercise" + consequence);
    else if (doubts.isFast)
        warnings.push_back("in " + stretch + " the heart rate is " + Number(doubts.bpm, 0) +
                           " beats/min, more than at rest: the recording may begin in exercise" +
                           consequence);
    else if (!std::isnan(doubts.recoveredBpm))
        warnings.push_back("in " + stretch + " the heart rate is " + Number(doubts.bpm, 0) +
                           " beats/min, and later " + Number(doubts.recoveredBpm, 0) +
                           ": the recording may begin in exercise" + consequence);
    return warnings;
}
