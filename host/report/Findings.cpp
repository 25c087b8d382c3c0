#include "host/report/Findings.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/results/STSlope.h"
#include "host/support/IndexOf.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kLatestRateSeconds = 15;

constexpr std::array kPwcNeededRates{120, 130,
                                     150};  // that the heart rate has to exceed for each of kPwcRates

std::string Join(const std::vector<std::string>& words, const char* between) {
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : between) + word;
    return joined;
}

std::string MissingBecause(const std::string& reason) { return "not computed: " + reason; }

std::string Signed(double value, int decimals) { return (value > 0 ? "+" : "") + Number(value, decimals); }

bool KnowsAPower(const std::vector<Stage>& stages) {
    return std::any_of(stages.begin(), stages.end(), [](const Stage& s) { return s.watts && *s.watts > 0; });
}

std::string DescribeDukeOrNone(const Findings& findings) {
    const ExerciseSummary& exercise = findings.exercise;
    if (exercise.duke) return DescribeDuke(exercise);
    if (findings.result.beats.empty()) return MissingBecause("no ST was measured");
    if (!exercise.exerciseSeconds) return MissingBecause("exercise time not given");
    if (!findings.worstLead) return MissingBecause("no ST in the reference");
    return MissingBecause("exercise time out of range");
}

std::string DescribeMissingPwc(const Findings& findings, std::size_t index) {
    if (!KnowsAPower(findings.exercise.stages)) return MissingBecause("no stages of known power");
    return MissingBecause("needs 3 stages of known power at 110 to 190 beats/min, rising above " +
                          std::to_string(kPwcNeededRates[index]));
}

// "9.00 − 5 × 2.16 − 4 × 0 = -1.80, cut to -1".
std::string ShowDuke(const ExerciseSummary& exercise) {
    const Duke& duke = *exercise.duke;
    return Number(*exercise.exerciseSeconds / kSecondsPerMinute, 2) + " − 5 × " +
           Number(duke.st.CountedMm(), 2) + " − 4 × " + std::to_string(exercise.angina.value_or(0)) + " = " +
           Number(duke.points, 2) + ", cut to " + std::to_string(duke.score);
}

}  // namespace

Findings::Findings(const ReportData& data)
    : result(data.result),
      exercise(data.exercise),
      leads(SummarizeLeads(data.result)),
      reference(MeasureReference(data.result)) {
    const std::vector<std::string>& names = result.source.leads;
    const auto worst = std::find(names.begin(), names.end(), exercise.stLead);
    if (!exercise.stLead.empty() && worst != names.end() && !leads.empty()) worstLead = IndexOf(names, worst);
}

std::string DescribeDuke(const ExerciseSummary& exercise) {
    const Duke& duke = *exercise.duke;
    std::string text = Number(duke.points, 1);
    if (duke.risk != nullptr) return text + ", " + duke.risk + " risk";
    text += ", no class of risk: ";
    if (!IsBruce(exercise.stages)) text += kDukeRemark;
    if (!exercise.angina) text += IsBruce(exercise.stages) ? "angina not given" : ", angina not given";
    return text;
}

std::string DescribeDukeST(const StressResult& result, const ExerciseSummary& exercise) {
    const DukeST& st = exercise.duke->st;
    if (st.netMm == 0) return "no ST change that counts";
    const std::optional<std::size_t> stage = StageAt(exercise.stages, st.seconds);
    return (st.netMm < 0 ? std::string(NameShape(ShapeOfSlope(st.slopeUvPerMs))) + " ST depression of "
                         : "ST elevation of ") +
           Number(std::abs(st.netMm), 1) + " mm in " + result.source.leads[st.lead] + " at " +
           LongClock(st.seconds) + (stage ? " (" + NameStage(exercise.stages[*stage], *stage) + ")" : "") +
           (st.CountedMm() > 0 ? "" : ", below 1 mm and counted as 0");
}

std::string DescribeSTHRIndex(const StressResult& result, const ExerciseSummary& exercise) {
    if (!exercise.sthrIndexLead) return "none: no depression over a rising heart rate";
    const std::size_t lead = *exercise.sthrIndexLead;
    return Number(exercise.sthr[lead].index, 2) + " µV/(beats/min) in " + result.source.leads[lead];
}

std::string DescribeSTHRSlope(const StressResult& result, const ExerciseSummary& exercise) {
    if (!exercise.sthrSlopeLead) return "none: no significant line of depression over heart rate";
    const std::size_t lead = *exercise.sthrSlopeLead;
    return Number(exercise.sthr[lead].slope.uVPerBpm, 2) + " µV/(beats/min) in " + result.source.leads[lead] +
           ", over " + std::to_string(exercise.sthr[lead].slope.points) + " points";
}

std::string DescribeAngina(const ExerciseSummary& exercise) {
    if (!exercise.angina) return exercise.duke ? "not given (counted as 0)" : "not given";
    constexpr const char* kWords[] = {"none", "not limiting", "limiting"};
    return kWords[*exercise.angina] + std::string(" (index ") + std::to_string(*exercise.angina) + ")";
}

std::string DescribeBeats(const StressResult& result) {
    return std::to_string(result.beats.size()) + " of " + std::to_string(result.beatsFound.size()) +
           " averaged";
}

std::string DescribeEctopy(const BeatCounts& counts) {
    std::string text = std::to_string(counts.ventricular) + " ventricular";
    if (counts.ventricular > 0) text += " (" + Number(counts.VentricularPercent(), 1) + " %)";
    if (counts.couplets > 0) text += ", " + Counted(counts.couplets, "couplet");
    if (counts.runs > 0)
        text += ", " + Counted(counts.runs, "run") + " (longest " + Counted(counts.longestRun, "beat") +
                ", fastest " + Number(counts.fastestRunBpm, 0) + "/min at " +
                LongClock(counts.fastestRunSeconds) + ")";
    text += "; " + std::to_string(counts.supraventricular) + " supraventricular";
    if (counts.unclassified > 0) text += "; " + std::to_string(counts.unclassified) + " unclassified";
    return text;
}

std::string Counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string LongClock(double seconds) {
    if (std::isnan(seconds)) return "-";
    constexpr auto kPerHour = static_cast<long>(kSecondsPerHour);
    const long whole = std::lround(std::isfinite(seconds) ? std::max(0.0, seconds) : 0.0);
    if (whole < kPerHour) return Clock(static_cast<double>(whole));
    const std::string rest = Clock(static_cast<double>(whole % kPerHour));
    return std::to_string(whole / kPerHour) + (rest.size() < 5 ? ":0" : ":") + rest;
}

double RateAt(const StressResult& result, double seconds) {
    const auto later =
        std::upper_bound(result.rates.begin(), result.rates.end(), seconds,
                         [](double time, const RateReading& rate) { return time < rate.seconds; });
    if (later == result.rates.begin() || seconds - std::prev(later)->seconds > kLatestRateSeconds)
        return kNothing;
    return std::prev(later)->bpm;
}

double STPointMs(const StressResult& result) { return result.positions.j + result.stPoint.UsualMs(); }

std::vector<Fact> ListFacts(const Findings& findings) {
    const StressResult& result = findings.result;
    const SourceInfo& source = result.source;
    std::vector<Fact> facts;
    facts.push_back({"Record", source.name});
    facts.push_back({"Started", source.started.empty() ? "not known" : source.started});
    facts.push_back(
        {"Length", LongClock(result.seconds) + (result.seconds < kSecondsPerHour ? " min:s" : " h:min:s")});
    facts.push_back({"Leads", std::to_string(source.leads.size()) + ": " + Join(source.leads, ", ")});
    facts.push_back({"Sampling", std::to_string(source.fs) + " Hz, " +
                                     Number(source.uVpb, source.uVpb < 10 ? 2 : 0) + " µV per unit"});
    facts.push_back({"Conditioning", result.conditioning.empty() ? "none" : result.conditioning});
    facts.push_back({"Averaged beat", result.learned.beatsUsed > 0 ? DescribeLearning(result) : "none"});
    facts.push_back({"Beats", DescribeBeats(result)});
    facts.push_back({"ST point", result.stPoint.Describe()});
    facts.push_back({"Reference", DescribeReference(result)});
    facts.push_back({"Remarks", source.remarks.empty() ? "none" : Join(source.remarks, "; ")});
    return facts;
}

std::vector<Fact> ListResults(const Findings& findings) {
    const ExerciseSummary& exercise = findings.exercise;
    const StressResult& result = findings.result;
    std::vector<Fact> results;
    results.push_back({"Peak heart rate, 30 s",
                       exercise.peakBpm > 0
                           ? Number(exercise.peakBpm, 0) + " beats/min at " + LongClock(exercise.peakSeconds)
                           : MissingBecause("no heart rate was found")});
    if (findings.worstLead) {
        const LeadSummary& lead = findings.leads[*findings.worstLead];
        results.push_back({"Largest ST change", Signed(lead.changeUv / kUvPerMv, 2) + " mV (" +
                                                    Signed(lead.changeUv / kUvPerMm, 1) + " mm) in " +
                                                    exercise.stLead + " at " + LongClock(lead.seconds)});
    } else {
        results.push_back(
            {"Largest ST change",
             MissingBecause(result.beats.empty() ? "no ST was measured" : "no ST in the reference")});
    }
    results.push_back({"Ectopic beats", findings.result.beatsFound.empty()
                                            ? MissingBecause("no beats were found")
                                            : DescribeEctopy(CountBeats(findings.result, {}).front())});
    results.push_back(
        {"Exercise time", exercise.exerciseSeconds
                              ? LongClock(*exercise.exerciseSeconds) +
                                    (*exercise.exerciseSeconds < kSecondsPerHour ? " min:s" : "")
                              : "not given"});
    results.push_back({"Angina", DescribeAngina(exercise)});
    results.push_back({"Duke score", DescribeDukeOrNone(findings)});
    if (exercise.duke) results.push_back({"Duke ST deviation", DescribeDukeST(result, exercise)});
    results.push_back({"ST/HR index", DescribeSTHRIndex(result, exercise)});
    results.push_back({"ST/HR slope", DescribeSTHRSlope(result, exercise)});
    for (std::size_t i = 0; i < kPwcRates.size(); ++i)
        results.push_back({"PWC" + std::to_string(kPwcRates[i]), exercise.pwcWatts[i]
                                                                     ? Number(*exercise.pwcWatts[i], 0) + " W"
                                                                     : DescribeMissingPwc(findings, i)});
    return results;
}

std::vector<std::string> ListWarnings(const Findings& findings) {
    const StressResult& result = findings.result;
    std::vector<std::string> warnings = result.warnings;
    std::vector<std::string> unusable, relearned;
    for (std::size_t lead = 0; lead < std::min(result.learned.usable.size(), result.source.leads.size());
         ++lead)
        if (!result.learned.usable[lead]) unusable.push_back(result.source.leads[lead]);
    if (!unusable.empty())
        warnings.push_back("matched alone, as noisy, unlike or off while the averaged beat was learned: " +
                           Join(unusable, ", "));
    for (const double seconds : result.relearnedSeconds) relearned.push_back(LongClock(seconds));
    if (!relearned.empty())
        warnings.push_back("beats did not match, and another averaged beat was learned from them, at " +
                           Join(relearned, ", "));
    return warnings;
}

std::vector<std::string> ListMethods(const Findings& findings) {
    const ExerciseSummary& exercise = findings.exercise;
    std::vector<std::string> methods;
    methods.push_back(
        "ST level: height of the averaged beat at " + findings.result.stPoint.Describe() +
        " above the PR level; slope: from " + (findings.result.stPoint.postJms ? "J + 6 ms" : "J") +
        " to there. There is none where that point lies on the T wave. The average follows a change "
        "some ten beats late. 100 µV are 0.1 mV or 1 mm of paper.");
    methods.push_back(
        "Reference: " + DescribeReference(findings.result) +
        "; changes are against the median level there. Largest change: where the level was farthest from it. "
        "STHRindex: level then, divided by the heart rate then.");
    methods.push_back(
        "ST/HR index: ST depression added from the reference to peak exercise, by the heart rate added "
        "(Kligfield et al. 1989). ST/HR slope: steepest significant line of depression over heart rate "
        "through "
        "three or more points that end at peak exercise (Okin, Kligfield 1995). Highest of all leads but "
        "aVR, "
        "aVL and V1.");
    methods.push_back(
        "Peak heart rate: highest median over 30 s, with their end. Beats are found on all leads together; "
        "those that match the averaged beat are averaged. Ventricular beats differ from the normal ones in "
        "shape, width and time; supraventricular ones come early in a regular rhythm; three ventricular "
        "beats in a row are a run.");
    std::string duke = "Duke treadmill score: exercise minutes − 5 × ST deviation in mm − 4 × angina index";
    if (exercise.duke) duke += " = " + ShowDuke(exercise);
    methods.push_back(
        duke +
        ". Risk: low from 5, high from -11 down. The ST deviation is the largest change of any lead but aVR "
        "that is a horizontal or downsloping depression, or an elevation in a lead without a pathological Q "
        "wave, and 0 below 1 mm. Made for the Bruce protocol on a treadmill (Mark et al. 1987, 1991).");
    methods.push_back(
        "PWC130, 150, 170: power at which the straight line through heart rate over power, of stages "
        "with 110 to 190 beats/min in their last minute, reaches so many beats/min.");
    return methods;
}

ReportTable MakeStageTable(const Findings& findings) {
    const StressResult& result = findings.result;
    const std::vector<Stage>& stages = findings.exercise.stages;
    const std::string lead = findings.worstLead ? " " + result.source.leads[*findings.worstLead] : "";
    ReportTable table{"Stages",
                      {{"Stage", "", 2.6, true},
                       {"Power", "W", 1.1},
                       {"Start", "min:s", 1.3},
                       {"Length", "min:s", 1.3},
                       {"Heart rate", "beats/min", 1.7},
                       {"ST" + lead, "µV", 1.5},
                       {"Slope" + lead, "µV/ms", 1.7},
                       {"Ventricular", "beats", 1.7}},
                      {},
                      {}};
    const std::vector<BeatCounts> counts = CountBeats(result, stages);
    for (std::size_t i = 0; i < stages.size(); ++i) {
        const double start = stages[i].startSeconds;
        const double end =
            std::min(i + 1 < stages.size() ? stages[i + 1].startSeconds : result.seconds, result.seconds);
        const double from = std::max(start, end - kStageEndSeconds);
        std::vector<double> bpm, levels, slopes;
        for (const RateReading& rate : result.rates)
            if (rate.seconds >= from && rate.seconds < end) bpm.push_back(rate.bpm);
        for (const STReading& beat : result.beats) {
            if (!findings.worstLead || beat.seconds < from || beat.seconds >= end) continue;
            levels.push_back(beat.levelUv[*findings.worstLead]);
            slopes.push_back(beat.slopeUvPerMs[*findings.worstLead]);
        }
        table.rows.push_back({NameStage(stages[i], i), stages[i].watts ? Number(*stages[i].watts, 0) : "-",
                              LongClock(start), end > start ? LongClock(end - start) : "-",
                              Number(Median(std::move(bpm)), 0), Number(Median(std::move(levels)), 0),
                              Number(Median(std::move(slopes)), 2),
                              std::to_string(counts[i + 1].ventricular)});
    }
    return table;
}

ReportTable MakeLeadTable(const Findings& findings) {
    const StressResult& result = findings.result;
    ReportTable table{"ST per lead",
                      {{"Lead", "", 0.9, true},
                       {"Reference", "µV"},
                       {"Largest change", "µV", 1.4},
                       {"Largest change", "mm", 1.4},
                       {"Level then", "µV"},
                       {"Slope then", "µV/ms"},
                       {"Heart rate then", "beats/min", 1.45},
                       {"When", "min:s", 0.8},
                       {"STHRindex", "µV/(beats/min)", 1.25},
                       {"ST/HR index", "µV/(beats/min)", 1.25},
                       {"ST/HR slope", "µV/(beats/min)", 1.25},
                       {"Latest level", "µV", 1.1}},
                      {},
                      findings.worstLead};
    if (result.seconds >= kSecondsPerHour) table.columns[7].unit = "h:min:s";
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        std::vector<std::string> row{result.source.leads[lead]};
        if (findings.leads.empty()) {
            row.resize(table.columns.size(), "-");
        } else {
            const LeadSummary& s = findings.leads[lead];
            const STHRFigures sthr = lead < findings.exercise.sthr.size() ? findings.exercise.sthr[lead]
                                                                          : STHRFigures{kNothing, {}};
            for (std::string& cell : std::vector<std::string>{
                     std::isnan(s.referenceUv) ? "none" : Number(s.referenceUv, 0), Signed(s.changeUv, 0),
                     Signed(s.changeUv / kUvPerMm, 1), Number(s.levelUv, 0), Number(s.slopeUvPerMs, 2),
                     Number(s.bpm, 0), LongClock(s.seconds), Number(s.sthrIndex, 2), Number(sthr.index, 2),
                     Number(sthr.slope.uVPerBpm, 2), Number(result.beats.back().levelUv[lead], 0)})
                row.push_back(std::move(cell));
        }
        table.rows.push_back(std::move(row));
    }
    return table;
}
