#include "host/report/Findings.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/results/Course.h"
#include "host/results/PeakRate.h"
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

bool KnowsAPower(const std::vector<Stage>& stages) {
    return std::any_of(stages.begin(), stages.end(), [](const Stage& s) { return s.watts && *s.watts > 0; });
}

// Why there is no largest ST change.
std::string MissingST(const StressResult& result) {
    const std::vector<std::string>& leads = result.source.leads;
    return MissingBecause(result.beats.empty() ? "no ST was measured"
                          : std::none_of(leads.begin(), leads.end(), IsChosenForST)
                              ? "aVR is the only lead"
                              : "no ST in the reference");
}

std::string DescribeDukeOrNone(const Findings& findings) {
    const ExerciseSummary& exercise = findings.exercise;
    if (exercise.duke) return DescribeDuke(exercise);
    if (findings.result.beats.empty()) return MissingST(findings.result);
    if (!exercise.exerciseSeconds) return MissingBecause("exercise time not given");
    if (!findings.worstLead) return MissingST(findings.result);
    return MissingBecause("exercise time out of range");
}

std::string DescribeMissingPwc(std::size_t index) {
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
      tr(data.language),
      exercise(data.exercise),
      holes(FindHoles(data.result)),
      paper(data.paper),
      leads(SummarizeLeads(data.result)),
      reference(MeasureReference(data.result)) {
    const std::vector<std::string>& names = result.source.leads;
    const auto worst = std::find(names.begin(), names.end(), exercise.stLead);
    if (!exercise.stLead.empty() && worst != names.end() && !leads.empty()) worstLead = IndexOf(names, worst);
    for (Stage& stage : exercise.stages) stage.name = tr.Name(stage.name);
    exercise.capacity.metsStage = tr.Name(exercise.capacity.metsStage);
    for (std::vector<Hole>& ofLead : holes)
        for (Hole& hole : ofLead) hole.why = tr(hole.why);
}

std::string PeakStretch(const StressResult& result) {
    return Number(std::min(kPeakRateSeconds, result.seconds), 0) + " s";
}

std::string DescribeLargestST(const StressResult& result, const ExerciseSummary& exercise) {
    const std::vector<std::string>& names = result.source.leads;
    const std::size_t lead = IndexOf(names, std::find(names.begin(), names.end(), exercise.stLead));
    const LeadSummary largest = SummarizeLeads(result)[lead];
    std::string text = Signed(largest.changeUv / kUvPerMv, 2) + " mV (" +
                       Signed(largest.changeUv / kUvPerMm, 1) + " mm) in " + exercise.stLead + " at " +
                       LongClock(largest.seconds);
    const auto reading = std::find_if(result.beats.begin(), result.beats.end(),
                                      [&](const STReading& beat) { return beat.seconds == largest.seconds; });
    if (const auto medianUv = MedianAroundBriefUv(result, lead, largest.referenceUv, *reading))
        text += ", briefly: the median of the minute around it is " + Signed(*medianUv / kUvPerMv, 2) + " mV";
    return text;
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
    if (counts.paced > 0) text += "; " + std::to_string(counts.paced) + " paced";
    if (counts.unclassified > 0) text += "; " + std::to_string(counts.unclassified) + " unclassified";
    return text;
}

std::string DescribeEctopyByStages(const Findings& findings) {
    if (findings.exercise.stages.empty()) return "";
    const std::vector<BeatCounts> counts = CountBeats(findings.result, findings.exercise.stages);
    std::string text;
    for (auto stage = counts.begin() + 1; stage != counts.end(); ++stage) {
        std::string found;
        if (stage->ventricular > 0) found = findings.tr(std::to_string(stage->ventricular) + " ventricular");
        if (stage->supraventricular > 0)
            found += (found.empty() ? "" : ", ") +
                     findings.tr(std::to_string(stage->supraventricular) + " supraventricular");
        if (!found.empty()) text += (text.empty() ? "" : "; ") + stage->stretch + ": " + found;
    }
    return text.empty() ? findings.tr("none in any stage") : text;
}

std::string Signed(double value, int decimals) { return (value > 0 ? "+" : "") + Number(value, decimals); }

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

double BeatHeightUv(const StressResult& result, const std::vector<float>& beatUv, double ms) {
    const double at = ms * result.source.fs / kMsPerSecond;
    if (!(at >= 0 && at <= static_cast<double>(std::ssize(beatUv) - 1))) return kNothing;
    const auto before = beatUv.begin() + static_cast<std::ptrdiff_t>(at);
    const auto after = std::next(before) == beatUv.end() ? before : std::next(before);
    return std::lerp(double{*before}, double{*after}, at - std::floor(at));
}

std::vector<Fact> ListPatient(const Findings& findings) {
    const Language& tr = findings.tr;
    const SourceInfo& source = findings.result.source;
    const Patient& patient = source.patient;
    const std::string without = tr(patient.isAnonymous ? "left out" : "not given");
    const std::string body = DescribeBody(patient, source.started);
    std::vector<Fact> facts{{tr("Name"), patient.name.empty() ? without : patient.name},
                            {tr("Id"), patient.id.empty() ? without : patient.id}};
    const auto add = [&](const char* label, const std::string& text) {
        if (!text.empty()) facts.push_back({tr(label), text});
    };
    add("Born", patient.birthDate);
    facts.push_back({tr("Age, sex"), tr.List(body.empty() ? "not given" : body)});
    add("Indication", patient.indication);
    add("Medication", patient.medication);
    add("Referring", patient.referring);
    add("Performing", patient.performing);
    add("Device", patient.device);
    return facts;
}

std::vector<Fact> ListFacts(const Findings& findings) {
    const StressResult& result = findings.result;
    const SourceInfo& source = result.source;
    const Language& tr = findings.tr;
    const std::string length =
        LongClock(result.seconds) + (result.seconds < kSecondsPerHour ? " min:s" : " h:min:s");
    std::vector<Fact> facts{
        {tr("Record"), source.name},
        {tr("Started"), source.started.empty() ? tr("not known") : source.started},
        {tr("Length"), tr(length)},
        {tr("Leads"), std::to_string(source.leads.size()) + ": " + Join(source.leads, ", ")},
        {tr("Beats"), tr(DescribeBeats(result))},
        {tr("ST point"), tr(result.stPoint.Describe())},
        {tr("Reference"), tr(DescribeReference(result))}};
    if (!source.remarks.empty()) facts.push_back({tr("Remarks"), Join(source.remarks, "; ")});
    return facts;
}

std::vector<Fact> ListSettings(const Findings& findings) {
    const StressResult& result = findings.result;
    const SourceInfo& source = result.source;
    const Language& tr = findings.tr;
    return {{tr("Sampling"), tr(std::to_string(source.fs) + " Hz, " +
                                Number(source.uVpb, source.uVpb < 10 ? 2 : 0) + " µV per unit")},
            {tr("Conditioning"), tr.List(result.conditioning.empty() ? "none" : result.conditioning)},
            {tr("Averaged beat"), tr(result.learned.beatsUsed > 0 ? DescribeLearning(result) : "none")}};
}

std::vector<Fact> ListResults(const Findings& findings) {
    const ExerciseSummary& exercise = findings.exercise;
    const Capacity& capacity = exercise.capacity;
    const StressResult& result = findings.result;
    std::vector<Fact> results;
    const auto add = [&](const std::string& label, bool isKnown, const std::string& text) {
        if (isKnown) results.push_back({findings.tr(label), findings.tr(text)});
    };
    const bool hasPeak = exercise.peakBpm > 0, isPredicted = !std::isnan(capacity.predictedBpm);
    add("Exercise time", true,
        exercise.exerciseSeconds ? LongClock(*exercise.exerciseSeconds) +
                                       (*exercise.exerciseSeconds < kSecondsPerHour ? " min:s" : "")
                                 : "not given");
    add("Peak heart rate, " + PeakStretch(result), true,
        hasPeak ? Number(exercise.peakBpm, 0) + " beats/min at " + LongClock(exercise.peakSeconds)
                : MissingBecause("no heart rate was found"));
    add("Predicted maximum", true,
        isPredicted ? Number(capacity.predictedBpm, 0) + " beats/min (" + DescribeFormula(capacity.formula) +
                          "); peak at " + Number(100 * exercise.peakBpm / capacity.predictedBpm, 0) + " %"
                    : MissingBecause(result.source.patient.birthDate.empty()
                                         ? "age not given"
                                         : "age not given, nor the date of the test"));
    add("Target, 85 %", isPredicted && hasPeak,
        Number(capacity.targetBpm, 0) + " beats/min, " +
            (std::isnan(capacity.targetSeconds) ? "not reached"
                                                : "reached at " + LongClock(capacity.targetSeconds)));
    add("METs", !std::isnan(capacity.mets),
        Number(capacity.mets, 1) + ", steady state of " + capacity.metsStage + " (ACSM)");
    add("Double product", !std::isnan(capacity.ratePressure),
        Number(capacity.ratePressure, 0) + " mmHg/min at " + LongClock(capacity.ratePressureSeconds));
    for (std::size_t i = 0; i < kRecoveryMinutes.size(); ++i)
        add(i == 0 ? "Recovery, 1 min" : "Recovery, 2 min", !std::isnan(capacity.recoveryBpm[i]),
            Number(capacity.recoveryBpm[i], 0) + " beats/min below the peak, " +
                std::to_string(kRecoveryMinutes[i]) + " min after the work");
    add("Chronotropic index", !std::isnan(capacity.chronotropicIndex), Number(capacity.chronotropicIndex, 2));
    if (findings.worstLead) {
        add("Largest ST change", true, DescribeLargestST(result, exercise));
    } else {
        add("Largest ST change", true, MissingST(result));
    }
    add("Ectopic beats", true,
        findings.result.beatsFound.empty() ? MissingBecause("no beats were found")
                                           : DescribeEctopy(CountBeats(findings.result, {}).front()));
    if (const std::string byStages = DescribeEctopyByStages(findings);
        !byStages.empty() && !result.beatsFound.empty())
        results.push_back({findings.tr("Ectopic, by stage"), byStages});
    add("Angina", true, DescribeAngina(exercise));
    add("Duke score", true, DescribeDukeOrNone(findings));
    if (exercise.duke) add("Duke ST deviation", true, DescribeDukeST(result, exercise));
    add("ST/HR index", true, DescribeSTHRIndex(result, exercise));
    add("ST/HR slope", true, DescribeSTHRSlope(result, exercise));
    const bool hasPower = KnowsAPower(exercise.stages);
    const bool hasPwc = std::any_of(exercise.pwcWatts.begin(), exercise.pwcWatts.end(),
                                    [](const auto& watts) { return watts.has_value(); });
    if (hasPower && !hasPwc) add("PWC130, 150, 170", true, DescribeMissingPwc(0));
    for (std::size_t i = 0; i < kPwcRates.size() && hasPower && hasPwc; ++i)
        add("PWC" + std::to_string(kPwcRates[i]), true,
            exercise.pwcWatts[i] ? Number(*exercise.pwcWatts[i], 0) + " W" : DescribeMissingPwc(i));
    const Patient& patient = result.source.patient;
    for (const auto& [label, text] :
         {std::pair("Ended because of", &patient.ended), std::pair("Symptoms", &patient.symptoms)})
        results.push_back({findings.tr(label), text->empty() ? findings.tr("not given") : *text});
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
    for (std::string& warning : warnings) warning = findings.tr(warning);
    return warnings;
}

std::vector<std::string> ListMethods(const Findings& findings) {
    const ExerciseSummary& exercise = findings.exercise;
    std::vector<std::string> methods;
    std::string settings;
    for (const Fact& fact : ListSettings(findings))
        settings += (settings.empty() ? "" : "; ") + fact.label + ": " + fact.value;
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
        "wave, half of it at least in the median of the minute around it, and 0 below 1 mm. Made for the "
        "Bruce protocol on a treadmill (Mark et al. 1987, 1991).");
    methods.push_back(
        "Stages: medians of their last minute. METs by the equations of the ACSM for walking, from 8 km/h up "
        "for running, and for cycling, in a steady state. Predicted maximal heart rate: " +
        DescribeFormula(exercise.capacity.formula) +
        ". Double product: systolic pressure by the heart rate at its reading, in the "
        "table by that of the stage. Recovery: peak less the heart rate of the 10 s around 1 and 2 min after "
        "the work; the table has the "
        "median of each whole minute. Chronotropic index: heart rate "
        "added "
        "from rest to peak by that from rest to the predicted maximum.");
    methods.push_back(
        "PWC130, 150, 170: power at which the straight line through heart rate over power, of stages "
        "with 110 to 190 beats/min in their last minute, reaches so many beats/min.");
    for (std::string& method : methods) method = findings.tr(method);
    methods.insert(methods.begin(), settings + ".");
    return methods;
}

// Times of a long recording have hours, and their headings say so.
static void SetHeadings(const Findings& findings, ReportTable& table) {
    const Language& tr = findings.tr;
    table.title = tr(table.title);
    for (ReportTable::Column& column : table.columns) {
        const bool hasHours = findings.result.seconds >= kSecondsPerHour && column.unit == "min:s";
        column = {tr(column.heading), hasHours ? tr("h:min:s") : tr(column.unit), column.isText};
    }
}

ReportTable MakeStageTable(const Findings& findings) {
    const StressResult& result = findings.result;
    const ExerciseSummary& exercise = findings.exercise;
    ReportTable table{"Stages and recovery: heart rate and ST are medians of the last minute",
                      {{"Stage", "", true},
                       {"Start", "min:s"},
                       {"Length", "min:s"},
                       {"Speed", "km/h"},
                       {"Grade", "%"},
                       {"Power", "W"},
                       {"METs", ""},
                       {"Rate", "beats/min"},
                       {"of max.", "%"},
                       {"Pressure", "mmHg"},
                       {"Borg", ""},
                       {"Product", "mmHg/min"}},
                      {},
                      {}};
    const std::size_t firstLead = table.columns.size();
    for (const std::size_t lead : exercise.stageLeads) {
        table.columns.push_back({"ST " + result.source.leads[lead], "µV"});
        table.columns.push_back({"Slope", "µV/ms"});
    }
    table.columns.push_back({"Suprav.", "beats"});
    table.columns.push_back({"Ventr.", "beats"});
    const auto optional = [](const std::optional<double>& value, int decimals) {
        return Number(value.value_or(kNothing), decimals);
    };
    for (const CourseRow& row : SummarizeCourse(result, exercise)) {
        const BloodPressure& pressure = row.pressure;
        std::vector<std::string> cells{
            findings.tr.Name(row.name),
            LongClock(row.span.fromSeconds),
            row.span.toSeconds > row.span.fromSeconds ? LongClock(row.span.toSeconds - row.span.fromSeconds)
                                                      : "-",
            optional(row.stage.speedKmh, 1),
            optional(row.stage.gradePercent, 1),
            optional(row.stage.watts, 0),
            Number(row.mets, 1),
            Number(row.bpm, 0),
            Number(row.percentOfPredicted, 0),
            std::isnan(pressure.systolic) && std::isnan(pressure.diastolic)
                ? "-"
                : Number(pressure.systolic, 0) + "/" + Number(pressure.diastolic, 0),
            Number(pressure.exertion, 0),
            Number(row.ratePressure, 0)};
        for (const std::size_t lead : exercise.stageLeads) {
            cells.push_back(Number(row.levelUv[lead], 0));
            cells.push_back(Number(row.slopeUvPerMs[lead], 2));
        }
        cells.push_back(std::to_string(row.counts.supraventricular));
        cells.push_back(std::to_string(row.counts.ventricular));
        table.rows.push_back(std::move(cells));
    }
    // A column of what nobody gave tells nothing.
    for (std::size_t column = firstLead; column-- > 3;) {
        const auto isEmpty = [&](const std::vector<std::string>& row) {
            return row[column] == "-" || row[column] == "0";
        };
        if (!std::all_of(table.rows.begin(), table.rows.end(), isEmpty)) continue;
        const auto offset = static_cast<std::ptrdiff_t>(column);
        table.columns.erase(table.columns.begin() + offset);
        for (std::vector<std::string>& row : table.rows) row.erase(row.begin() + offset);
    }
    SetHeadings(findings, table);
    return table;
}

ReportTable MakeCommonTable(const Findings& findings) {
    const StressResult& result = findings.result;
    const std::vector<std::string>& names = result.source.leads;
    ReportTable table{"",
                      {{"Lead", "", true},
                       {"ST level", "µV"},
                       {"Change", "µV"},
                       {"J level", "µV"},
                       {"Slope", "µV/ms"},
                       {"Slope class", "", true},
                       {"Own largest change", "µV"},
                       {"When", "min:s"},
                       {"Stage then", "", true},
                       {"J level then", "µV"},
                       {"Slope class then", "", true}},
                      {},
                      findings.worstLead};
    SetHeadings(findings, table);
    if (!findings.worstLead) return table;
    const double seconds = findings.leads[*findings.worstLead].seconds;
    table.title = findings.tr("ST of all leads at " + LongClock(seconds) + " and at its largest in each");
    const std::vector<STThen> common = MeasureAllAt(result, seconds), own = MeasureAtLargestChange(result);
    for (std::size_t lead = 0; lead < names.size(); ++lead) {
        const std::optional<std::size_t> stage = StageAt(findings.exercise.stages, own[lead].seconds);
        table.rows.push_back(
            {names[lead], Number(common[lead].levelUv, 0), Signed(common[lead].changeUv, 0),
             Number(common[lead].jUv, 0), Number(common[lead].slopeUvPerMs, 2),
             findings.tr(NameShape(common[lead].shape)), Signed(own[lead].changeUv, 0),
             LongClock(own[lead].seconds),
             stage ? findings.tr.Name(NameStage(findings.exercise.stages[*stage], *stage)) : "-",
             Number(own[lead].jUv, 0), findings.tr(NameShape(own[lead].shape))});
    }
    if (findings.exercise.stages.empty()) {
        constexpr std::ptrdiff_t kStageThen = 8;
        table.columns.erase(table.columns.begin() + kStageThen);
        for (std::vector<std::string>& row : table.rows) row.erase(row.begin() + kStageThen);
    }
    return table;
}

ReportTable MakeLeadTable(const Findings& findings) {
    const StressResult& result = findings.result;
    ReportTable table{"ST per lead",
                      {{"Lead", "", true},
                       {"Reference", "µV"},
                       {"Largest change", "µV"},
                       {"Largest change", "mm"},
                       {"Level then", "µV"},
                       {"Slope then", "µV/ms"},
                       {"Heart rate then", "beats/min"},
                       {"When", "min:s"},
                       {"STHRindex", "µV/(beats/min)"},
                       {"ST/HR index", "µV/(beats/min)"},
                       {"ST/HR slope", "µV/(beats/min)"},
                       {"Latest level", "µV"}},
                      {},
                      findings.worstLead};
    SetHeadings(findings, table);
    for (std::size_t lead = 0; lead < findings.leads.size(); ++lead) {
        std::vector<std::string> row{result.source.leads[lead]};
        const LeadSummary& s = findings.leads[lead];
        const STHRFigures sthr =
            lead < findings.exercise.sthr.size() ? findings.exercise.sthr[lead] : STHRFigures{kNothing, {}};
        for (std::string& cell : std::vector<std::string>{
                 std::isnan(s.referenceUv) ? findings.tr("none") : Number(s.referenceUv, 0),
                 Signed(s.changeUv, 0), Signed(s.changeUv / kUvPerMm, 1), Number(s.levelUv, 0),
                 Number(s.slopeUvPerMs, 2), Number(s.bpm, 0), LongClock(s.seconds), Number(s.sthrIndex, 2),
                 Number(sthr.index, 2), Number(sthr.slope.uVPerBpm, 2),
                 Number(result.beats.back().levelUv[lead], 0)})
            row.push_back(std::move(cell));
        table.rows.push_back(std::move(row));
    }
    return table;
}
