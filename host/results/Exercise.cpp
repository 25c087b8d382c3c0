#include "host/results/Exercise.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <sstream>
#include <string_view>

#include "core/stress/ExerciseIndices.h"
#include "host/results/Reference.h"
#include "host/results/Summaries.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kPeakWindowSeconds = 30;  // the peak heart rate is the highest median over this long
// Readings come with the beats: a window is whole if its first reading is at most this far from its start.
constexpr double kLongestIntervalSeconds = 2;
constexpr double kMostWatts = 2000;
constexpr double kLatestStartSeconds = 7 * 24 * 3600.0;
constexpr double kSlackSeconds = 1;  // times given by hand are rounded to the second
constexpr double kLongestDukeSeconds = std::numeric_limits<short>::max();
constexpr std::array kLeadsWithoutSTHR{"aVR", "aVL", "V1"};  // see STHRIndices.h

constexpr std::array kProtocols{ProtocolPlan{"bruce", 180, 7, 0}, ProtocolPlan{"bicycle", 120, 16, 25},
                                ProtocolPlan{"ramp", 60, 40, 10}};

// Speed and slope of the belt (Bruce, Blackmon, Jones, Strait, Pediatrics 1963; 32: 742-756).
constexpr std::array kBruceStages{"2.7 km/h, 10 %", "4.0 km/h, 12 %", "5.5 km/h, 14 %", "6.8 km/h, 16 %",
                                  "8.0 km/h, 18 %", "8.9 km/h, 20 %", "9.7 km/h, 22 %"};

std::vector<double> RatesIn(const StressResult& result, const Span& span) {
    std::vector<double> bpm;
    for (const RateReading& rate : result.rates)
        if (span.Contains(rate.seconds)) bpm.push_back(rate.bpm);
    return bpm;
}

double StageEnd(const std::vector<Stage>& stages, std::size_t index, const StressResult& result) {
    return index + 1 < stages.size() ? stages[index + 1].startSeconds : result.seconds;
}

// "90", "1:30" or "1:02:30"; nothing where it is none of them, or 60 or more stand behind a colon.
std::optional<double> ParseStart(const std::string& text) {
    double seconds = 0;
    std::istringstream parts(text);
    std::string part;
    int count = 0;
    while (std::getline(parts, part, ':')) {
        if (part.empty() || part.find_first_not_of("0123456789.") != std::string::npos || ++count > 3)
            return {};
        std::istringstream number(part);
        double value = 0;
        if (!(number >> value) || !number.eof() || value > kLatestStartSeconds) return {};
        if (count > 1 && value >= kSecondsPerMinute) return {};
        seconds = seconds * kSecondsPerMinute + value;
    }
    if (count == 0 || text.back() == ':' || seconds > kLatestStartSeconds) return {};
    return seconds;
}

// "-" for a power that is not known.
bool ParseWatts(const std::string& text, std::optional<double>& watts) {
    if (text == "-") {
        watts.reset();
        return true;
    }
    std::istringstream number(text);
    double value = 0;
    if (!(number >> value) || !number.eof() || value < 0 || value > kMostWatts) return false;
    watts = value;
    return true;
}

bool IsWork(const Stage& stage) { return !stage.watts || *stage.watts > 0; }

void FindPeak(const StressResult& result, ExerciseSummary& summary) {
    summary.peakBpm = std::numeric_limits<double>::quiet_NaN();
    const std::vector<RateReading>& rates = result.rates;
    std::vector<std::size_t> firsts;  // of the window that ends with each reading
    double longestSeconds = 0;
    for (std::size_t last = 0, first = 0; last < rates.size(); ++last) {
        while (rates[last].seconds - rates[first].seconds > kPeakWindowSeconds) ++first;
        firsts.push_back(first);
        longestSeconds = std::max(longestSeconds, rates[last].seconds - rates[first].seconds);
    }
    // A few readings after the start or a pause make no half minute, and are likely to be wrong.
    const double wholeSeconds = std::min(longestSeconds, kPeakWindowSeconds - kLongestIntervalSeconds);
    for (std::size_t last = 0; last < rates.size(); ++last) {
        if (rates[last].seconds - rates[firsts[last]].seconds < wholeSeconds) continue;
        std::vector<double> bpm;
        for (std::size_t rate = firsts[last]; rate <= last; ++rate) bpm.push_back(rates[rate].bpm);
        const double median = Median(std::move(bpm));
        if (!(median <= summary.peakBpm)) {
            summary.peakBpm = median;
            summary.peakSeconds = rates[last].seconds;
        }
    }
}

void FindSTDeviation(const StressResult& result, ExerciseSummary& summary) {
    const std::vector<LeadSummary> leads = SummarizeLeads(result);
    for (std::size_t lead = 0; lead < leads.size(); ++lead) {
        const double deviationMv = leads[lead].changeUv / kUvPerMv;
        if (EqualIgnoringCase(result.source.leads[lead], "aVR") ||
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
    const Span peak{std::max(work ? work->fromSeconds : 0.0, peakSeconds - kPeakWindowSeconds), peakSeconds};
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        const STAtRate rest{reference.bpm, reference.levelUv[lead]};
        std::vector<STAtRate> points{rest};
        for (const Span& span : course) points.push_back(MeasureIn(result, span, lead));
        summary.sthr.push_back({FindSTHRIndex(rest, MeasureIn(result, peak, lead)),
                                FindSTHRSlope(points.data(), points.size())});
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

}  // namespace

std::vector<Stage> ReadStages(const std::string& path) {
    std::istringstream file(ReadText(path));
    std::vector<Stage> stages;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        const auto fail = [&](const std::string& expected) {
            throw HostError(path, "line " + std::to_string(number) + ": " + expected);
        };
        std::istringstream words(line.substr(0, line.find('#')));
        std::string start, watts;
        if (!(words >> start)) continue;
        Stage stage;
        const std::optional<double> seconds = ParseStart(start);
        if (!seconds) fail("a start in seconds, min:s or h:min:s is expected, not \"" + start + "\"");
        stage.startSeconds = *seconds;
        if (!(words >> watts) || !ParseWatts(watts, stage.watts))
            fail("a power of 0 to 2000 W or - is expected after the start, not \"" + watts + "\"");
        if (!stages.empty() && stage.startSeconds <= stages.back().startSeconds)
            fail("a later start than that of the stage before is expected");
        std::getline(words >> std::ws, stage.name);
        stage.name = OneLine(stage.name);
        stages.push_back(std::move(stage));
    }
    if (stages.empty()) throw HostError(path, "holds no stage; a line is expected to be: start power name");
    return stages;
}

const std::vector<std::string>& ProtocolNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const ProtocolPlan& protocol : kProtocols) all.emplace_back(protocol.name);
        return all;
    }();
    return names;
}

const ProtocolPlan& FindProtocol(const std::string& name) {
    return *std::find_if(kProtocols.begin(), kProtocols.end(),
                         [&](const ProtocolPlan& known) { return name == known.name; });
}

Stage StageOf(const ProtocolPlan& plan, int stage, double startSeconds) {
    const double watts = (stage + 1) * plan.wattsPerStage;
    if (watts > 0) return {startSeconds, watts, Number(watts, 0) + " W"};
    return {startSeconds, {}, "Bruce " + std::to_string(stage + 1) + ", " + kBruceStages.begin()[stage]};
}

std::vector<Stage> ProtocolStages(const std::string& name, double startSeconds, double endSeconds) {
    const ProtocolPlan& plan = FindProtocol(name);
    std::vector<Stage> stages;
    if (startSeconds > 0) stages.push_back({0, 0, "rest"});
    for (int i = 0; i < plan.stages; ++i) {
        const double start = startSeconds + i * plan.stageSeconds;
        if (start < endSeconds) stages.push_back(StageOf(plan, i, start));
    }
    if (std::isfinite(endSeconds)) stages.push_back({endSeconds, 0, "recovery"});
    return stages;
}

std::optional<Span> FindWork(const std::vector<Stage>& stages, double recordingSeconds) {
    const auto first = std::find_if(stages.begin(), stages.end(), IsWork);
    if (first == stages.end() || first->startSeconds >= recordingSeconds) return {};
    const auto end = std::find_if_not(first, stages.end(), IsWork);
    return Span{first->startSeconds, end == stages.end() ? recordingSeconds : end->startSeconds};
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
    return warnings;
}

ExerciseSummary SummarizeExercise(const StressResult& result, const ExerciseOptions& options) {
    ExerciseSummary summary;
    std::copy_if(options.stages.begin(), options.stages.end(), std::back_inserter(summary.stages),
                 [&](const Stage& stage) { return stage.startSeconds < result.seconds; });
    summary.angina = options.angina;
    summary.exerciseSeconds = options.exerciseSeconds;
    if (const std::optional<Span> work = FindWork(options.stages, result.seconds);
        work && !summary.exerciseSeconds)
        summary.exerciseSeconds = work->toSeconds - work->fromSeconds;
    FindPeak(result, summary);
    FindSTDeviation(result, summary);
    FindSTHR(result, summary);
    FindDuke(result, summary);
    FindPowers(result, summary);
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

std::string DescribePower(const Stage& stage) {
    if (!stage.watts || *stage.watts <= 0) return "";
    const std::string power = Number(*stage.watts, 0) + " W";
    return power == stage.name ? "" : power;
}
