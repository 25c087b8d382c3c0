#include "host/results/Exercise.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <string_view>

#include "core/stress/ExerciseIndices.h"
#include "host/results/PeakRate.h"
#include "host/results/Reference.h"
#include "host/results/Summaries.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kPeakExerciseSeconds = 30;  // the end of the work, of which ST/HR index and slope take it
constexpr double kSlackSeconds = 1;          // times given by hand are rounded to the second
constexpr double kLongestDukeSeconds = std::numeric_limits<short>::max();
constexpr std::array kLeadsWithoutSTHR{"aVR", "aVL", "V1"};  // see STHRIndices.h

std::vector<double> RatesIn(const StressResult& result, const Span& span) {
    std::vector<double> bpm;
    for (const RateReading& rate : result.rates)
        if (span.Contains(rate.seconds)) bpm.push_back(rate.bpm);
    return bpm;
}

double StageEnd(const std::vector<Stage>& stages, std::size_t index, const StressResult& result) {
    return index + 1 < stages.size() ? stages[index + 1].startSeconds : result.seconds;
}

void FindPeak(const StressResult& result, ExerciseSummary& summary) {
    PeakRate peak;
    for (const RateReading& rate : result.rates) peak.Take(rate);
    summary.peakBpm = peak.Bpm();
    summary.peakSeconds = peak.Seconds();
}

void FindSTDeviation(const StressResult& result, ExerciseSummary& summary) {
    const std::vector<LeadSummary> leads = SummarizeLeads(result);
    for (std::size_t lead = 0; lead < leads.size(); ++lead) {
        const double deviationMv = leads[lead].changeUv / kUvPerMv;
        if (!IsChosenForST(result.source.leads[lead]) ||
            !(std::abs(deviationMv) > std::abs(summary.stDeviationMv)))
            continue;
        summary.stDeviationMv = deviationMv;
        summary.stLead = result.source.leads[lead];
    }
}

// The end of each stage with work, or without stages each minute up to the peak heart rate, in order of time.
std::vector<Span> ExerciseCourse(const StressResult& result, const ExerciseSummary& summary) {
    std::vector<Span> course;
    const std::optional<Span> work = FindWork(summary.stages, result.seconds);
    if (work) {
        for (std::size_t i = 0; i < summary.stages.size(); ++i) {
            const double from = summary.stages[i].startSeconds, end = StageEnd(summary.stages, i, result);
            if (work->Contains(from)) course.push_back({std::max(from, end - kStageEndSeconds), end});
        }
        return course;
    }
    for (double end = summary.peakSeconds; end - kSecondsPerMinute >= result.reference.span.toSeconds;
         end -= kSecondsPerMinute)
        course.insert(course.begin(), {end - kSecondsPerMinute, end});
    return course;
}

STAtRate MeasureIn(const StressResult& result, const Span& span, std::size_t lead) {
    std::vector<double> levels;
    for (const STReading& beat : result.beats)
        if (span.Contains(beat.seconds)) levels.push_back(beat.levelUv[lead]);
    return {Median(RatesIn(result, span)), Median(std::move(levels))};
}

void FindSTHR(const StressResult& result, ExerciseSummary& summary) {
    const Reference reference = MeasureReference(result);
    const std::vector<Span> course = ExerciseCourse(result, summary);
    const std::optional<Span> work = FindWork(summary.stages, result.seconds);
    const double peakSeconds = work ? work->toSeconds : summary.peakSeconds;
    const Span peak{std::max(work ? work->fromSeconds : 0.0, peakSeconds - kPeakExerciseSeconds),
                    peakSeconds};
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        const STAtRate rest{reference.bpm, reference.levelUv[lead]};
        std::vector<STAtRate> points{rest};
        for (const Span& span : course) points.push_back(MeasureIn(result, span, lead));
        const STAtRate then = MeasureIn(result, peak, lead);
        summary.sthr.push_back({FindSTHRIndex(rest, then), {}});
        if (then.bpm - rest.bpm >= kLeastSTHRRiseBpm)
            summary.sthr.back().slope = FindSTHRSlope(points.data(), points.size());
        const std::string& name = result.source.leads[lead];
        if (std::any_of(kLeadsWithoutSTHR.begin(), kLeadsWithoutSTHR.end(),
                        [&](const char* left) { return EqualIgnoringCase(name, left); }))
            continue;
        const STHRFigures& figures = summary.sthr.back();
        const auto takeHighest = [&](std::optional<std::size_t>& highest, double value, double soFar) {
            if (value > 0 && (!highest || value > soFar)) highest = lead;
        };
        takeHighest(summary.sthrIndexLead, figures.index,
                    summary.sthr[summary.sthrIndexLead.value_or(lead)].index);
        takeHighest(summary.sthrSlopeLead, figures.slope.uVPerBpm,
                    summary.sthr[summary.sthrSlopeLead.value_or(lead)].slope.uVPerBpm);
    }
}

void FindDuke(const StressResult& result, ExerciseSummary& summary) {
    if (!summary.exerciseSeconds || !(*summary.exerciseSeconds > 0) ||
        *summary.exerciseSeconds > kLongestDukeSeconds)
        return;
    const std::optional<Span> work = FindWork(summary.stages, result.seconds);
    const std::optional<DukeST> st = FindDukeST(result, work ? work->fromSeconds : 0);
    if (st) summary.duke = ScoreDuke(*st, *summary.exerciseSeconds, summary.angina, IsBruce(summary.stages));
}

void FindPowers(const StressResult& result, ExerciseSummary& summary) {
    std::vector<float> watts, bpm;
    for (std::size_t i = 0; i < summary.stages.size(); ++i) {
        const Stage& stage = summary.stages[i];
        if (!stage.watts || *stage.watts <= 0) continue;
        const double end = StageEnd(summary.stages, i, result);
        std::vector<double> rates =
            RatesIn(result, {std::max(stage.startSeconds, end - kStageEndSeconds), end});
        if (rates.empty()) continue;
        watts.push_back(static_cast<float>(*stage.watts));
        bpm.push_back(static_cast<float>(Median(std::move(rates))));
    }
    const Pwc pwc = FindPwc(watts.data(), bpm.data(), watts.size());
    const std::array<float, 3> found{pwc.pwc130, pwc.pwc150, pwc.pwc170};
    for (std::size_t i = 0; i < found.size(); ++i)
        if (found[i] != Pwc::kNotComputed) summary.pwcWatts[i] = found[i];
}

// Those asked for by name, or the three whose ST changes most, in the order of the leads.
void ChooseStageLeads(const StressResult& result, const std::vector<std::string>& asked,
                      ExerciseSummary& summary) {
    constexpr std::size_t kShown = 3;
    const std::vector<std::string>& names = result.source.leads;
    const auto is = [&](std::size_t lead, const std::string& name) {
        return EqualIgnoringCase(names[lead], name);
    };
    for (const std::string& name : asked)
        for (std::size_t lead = 0; lead < names.size(); ++lead)
            if (is(lead, name)) summary.stageLeads.push_back(lead);
    if (!asked.empty()) return;
    const std::vector<LeadSummary> leads = SummarizeLeads(result);
    for (std::size_t lead = 0; lead < leads.size(); ++lead)
        if (!std::isnan(leads[lead].changeUv) && IsChosenForST(names[lead]))
            summary.stageLeads.push_back(lead);
    std::stable_sort(summary.stageLeads.begin(), summary.stageLeads.end(), [&](std::size_t a, std::size_t b) {
        return std::abs(leads[a].changeUv) > std::abs(leads[b].changeUv);
    });
    summary.stageLeads.resize(std::min(summary.stageLeads.size(), kShown));
    std::sort(summary.stageLeads.begin(), summary.stageLeads.end());
}

}  // namespace

std::optional<Span> FindWork(const std::vector<Stage>& stages, double recordingSeconds) {
    const auto first = std::find_if(stages.begin(), stages.end(), IsWork);
    if (first == stages.end() || first->startSeconds >= recordingSeconds) return {};
    const auto end = std::find_if_not(first, stages.end(), IsWork);
    return Span{first->startSeconds, end == stages.end() ? recordingSeconds : end->startSeconds};
}

std::vector<double> TellingSeconds(const std::vector<Stage>& stages) {
    const std::optional<Span> work = FindWork(stages, std::numeric_limits<double>::infinity());
    if (!work) return {};
    std::vector<double> seconds;
    for (std::size_t i = 1; i < stages.size(); ++i)
        if (work->Contains(stages[i - 1].startSeconds)) seconds.push_back(stages[i].startSeconds);
    if (std::isinf(work->toSeconds)) return seconds;
    for (const int minutes : {1, 3, 5}) seconds.push_back(work->toSeconds + minutes * kSecondsPerMinute);
    return seconds;
}

bool IsBruce(const std::vector<Stage>& stages) {
    constexpr std::string_view kName = "Bruce";
    const auto isOther = [&](const Stage& stage) {
        return IsWork(stage) &&
               (stage.watts || !EqualIgnoringCase(stage.name.substr(0, kName.size()), std::string(kName)));
    };
    return std::any_of(stages.begin(), stages.end(), IsWork) &&
           std::none_of(stages.begin(), stages.end(), isOther);
}

std::vector<std::string> CheckExercise(const ExerciseOptions& options, double recordingSeconds) {
    std::vector<std::string> warnings;
    const std::vector<Stage>& stages = options.stages;
    const std::string recordingEnd = ", but the recording ends at " + Clock(recordingSeconds);
    const auto first = std::find_if(stages.begin(), stages.end(), IsWork);
    const double start = first == stages.end() ? 0 : first->startSeconds;
    const std::optional<Span> work = FindWork(stages, recordingSeconds);
    if (first != stages.end() && !work) {
        warnings.push_back("exercise begins at " + Clock(start) + " min:s" + recordingEnd);
    } else if (options.exerciseSeconds || work) {
        const double end = options.exerciseSeconds ? start + *options.exerciseSeconds : work->toSeconds;
        if (end > recordingSeconds + kSlackSeconds)
            warnings.push_back((first == stages.end() ? "exercise lasts " : "exercise ends at ") +
                               Clock(end) + " min:s" + recordingEnd);
        if (!options.exerciseSeconds && std::all_of(first, stages.end(), IsWork))
            warnings.emplace_back(
                "the stages end with work, and exercise is taken to last to the end of the recording: "
                "--exercise-seconds tells otherwise");
    }
    if (options.angina && !options.exerciseSeconds && !work)
        warnings.emplace_back("angina is given but no exercise time is known: there is no Duke score");
    const std::vector<BloodPressure>& pressures = options.pressures;
    const auto late = std::find_if(pressures.begin(), pressures.end(), [&](const BloodPressure& one) {
        return one.seconds > recordingSeconds + kSlackSeconds;
    });
    if (late != pressures.end())
        warnings.push_back("blood pressures from " + Clock(late->seconds) +
                           " min:s on are left out: the recording ends at " + Clock(recordingSeconds));
    return warnings;
}

ExerciseSummary SummarizeExercise(const StressResult& result, const ExerciseOptions& options) {
    ExerciseSummary summary;
    std::copy_if(options.stages.begin(), options.stages.end(), std::back_inserter(summary.stages),
                 [&](const Stage& stage) { return stage.startSeconds < result.seconds; });
    summary.angina = options.angina;
    for (BloodPressure pressure : options.pressures) {
        if (pressure.seconds > result.seconds + kSlackSeconds) break;
        pressure.seconds = std::min(pressure.seconds, result.seconds);
        summary.pressures.push_back(pressure);
    }
    summary.exerciseSeconds = options.exerciseSeconds;
    if (const std::optional<Span> work = FindWork(options.stages, result.seconds);
        work && !summary.exerciseSeconds)
        summary.exerciseSeconds = work->toSeconds - work->fromSeconds;
    FindPeak(result, summary);
    FindSTDeviation(result, summary);
    FindSTHR(result, summary);
    FindDuke(result, summary);
    FindPowers(result, summary);
    summary.capacity =
        MeasureCapacity(result, summary.stages, summary.pressures, summary.peakBpm, options.predicted);
    ChooseStageLeads(result, options.stageLeads, summary);
    return summary;
}

std::optional<std::size_t> StageAt(const std::vector<Stage>& stages, double seconds) {
    std::optional<std::size_t> at;
    for (std::size_t i = 0; i < stages.size() && stages[i].startSeconds <= seconds; ++i) at = i;
    return at;
}

std::string NameStage(const Stage& stage, std::size_t index) {
    return stage.name.empty() ? std::to_string(index + 1) : stage.name;
}
