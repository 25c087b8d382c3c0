#include "host/results/ResultFiles.h"

#include <cmath>
#include <utility>

#include "host/results/Course.h"
#include "host/results/Ectopy.h"
#include "host/results/Holes.h"
#include "host/results/Reference.h"
#include "host/results/STSlope.h"
#include "host/results/Summaries.h"
#include "host/support/Json.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

void WriteRow(std::ostream& out, const STReading& beat, const std::vector<double>& referencesUv,
              const Span& reference) {
    const auto cell = [&](double value, int decimals) {
        out << ',' << (std::isnan(value) ? "" : Number(value, decimals));
    };
    out << Number(beat.seconds, 3);
    cell(beat.rrMs, 0);
    cell(beat.bpm, 1);
    for (std::size_t lead = 0; lead < referencesUv.size(); ++lead) {
        cell(beat.levelUv[lead], 0);
        cell(beat.slopeUvPerMs[lead], 3);
        cell(beat.levelUv[lead] - referencesUv[lead], 0);
        cell(STHRindex(beat.levelUv[lead], beat.bpm), 3);
    }
    cell(reference.fromSeconds, 3);
    cell(reference.toSeconds, 3);
    out << '\n';
}

// To a microvolt.
Json Rounded(double value) { return std::isnan(value) ? Json() : Json(std::lround(value)); }

Json BeatJson(const StressResult& result) {
    const LearnedBeat& learned = result.learned;
    const BeatPositionsMs& at = result.positions;
    Json usable = Json::array(), first = Json::object(), latest = Json::object();
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        const std::string& name = result.source.leads[lead];
        if (learned.usable[lead]) usable.push_back(name);
        first[name] = result.referenceBeatUv[lead];
        latest[name] = result.latestBeatUv[lead];
    }
    return {{"learned_from", learned.record},
            {"learned_from_s", learned.fromSeconds},
            {"beats_found", learned.beatsFound},
            {"beats_used", learned.beatsUsed},
            {"likeness", learned.likeness},
            {"confident", learned.confident},
            {"usable_leads", usable},
            {"relearned_s", result.relearnedSeconds},
            {"length_ms", at.length},
            {"q_ms", at.q},
            {"r_ms", at.r},
            {"j_ms", at.j},
            {"st_ms", at.j + result.stPoint.UsualMs()},
            {"first_uv", first},
            {"latest_uv", latest}};
}

Json OptionsJson(const GivenOptions& options) {
    Json all = Json::object();
    for (const auto& [name, value] : options) all[name] = value;
    return all;
}

Json SpansJson(const std::vector<Span>& spans) {
    Json all = Json::array();
    for (const Span& span : spans) all.push_back({{"from_s", span.fromSeconds}, {"to_s", span.toSeconds}});
    return all;
}

Json HolesJson(const std::vector<Hole>& holes) {
    Json all = Json::array();
    for (const Hole& hole : holes)
        all.push_back({{"from_s", hole.span.fromSeconds}, {"to_s", hole.span.toSeconds}, {"why", hole.why}});
    return all;
}

Json PatientJson(const SourceInfo& source) {
    const Patient& patient = source.patient;
    Json all{{"anonymous", patient.isAnonymous}};
    for (const PatientText& field : kPatientTexts)
        all[field.key] = (patient.*field.text).empty() ? Json() : Json(patient.*field.text);
    for (const PatientNumber& field : kPatientNumbers) all[field.key] = Value(patient.*field.number);
    all["age_years"] = Value(AgeAt(patient, source.started));
    return all;
}

Json ReferenceJson(const StressResult& result) {
    if (result.reference.why.empty()) return {};
    return {{"from_s", result.reference.span.fromSeconds},
            {"to_s", result.reference.span.toSeconds},
            {"why", result.reference.why},
            {"heart_rate_per_min", Value(MeasureReference(result).bpm)}};
}

Json ShapeJson(qz::STShape shape) { return shape == qz::STShape::Unknown ? Json() : Json(NameShape(shape)); }

// The name of the stage at a time; null before the first and of NaN.
Json StageJson(const ExerciseSummary& exercise, double seconds) {
    const std::optional<std::size_t> stage = StageAt(exercise.stages, seconds);
    return stage ? Json(NameStage(exercise.stages[*stage], *stage)) : Json();
}

Json LeadsJson(const StressResult& result, const ExerciseSummary& exercise) {
    const std::vector<std::size_t> referenceBeats = MeasureReference(result).beats;
    Json leads = Json::array();
    const std::vector<LeadSummary> summaries = SummarizeLeads(result);
    const std::vector<LeadExtremes> extremes = FindExtremes(result);
    const std::vector<std::vector<Hole>> holes = FindHoles(result);
    const std::vector<QualitySummary> quality = SummarizeQuality(result);
    const std::vector<STThen> then = MeasureAtLargestChange(result);
    for (std::size_t lead = 0; lead < summaries.size(); ++lead) {
        const LeadSummary& s = summaries[lead];
        const LeadExtremes& e = extremes[lead];
        const STHRFigures sthr =
            lead < exercise.sthr.size() ? exercise.sthr[lead] : STHRFigures{kNothing, {}};
        leads.push_back({{"name", result.source.leads[lead]},
                         {"off", SpansJson(result.off[lead])},
                         {"disturbed", SpansJson(result.disturbed[lead])},
                         {"not_measured", HolesJson(holes[lead])},
                         {"signal_quality_median", Value(quality[lead].median)},
                         {"signal_poor_part", Value(quality[lead].poorPart)},
                         {"first_level_uv", Value(s.referenceUv)},
                         {"reference_beats", referenceBeats[lead]},
                         {"largest_change_uv", Value(s.changeUv)},
                         {"largest_change_s", Value(s.seconds)},
                         {"level_then_uv", Value(s.levelUv)},
                         {"slope_then_uv_per_ms", Value(s.slopeUvPerMs)},
                         {"j_level_then_uv", Value(then[lead].jUv)},
                         {"shape_then", ShapeJson(then[lead].shape)},
                         {"stage_then", StageJson(exercise, s.seconds)},
                         {"heart_rate_then_per_min", Value(s.bpm)},
                         {"sthr_index_then_uv_min", Value(s.sthrIndex)},
                         {"published_sthr_index_uv_min", Value(sthr.index)},
                         {"published_sthr_slope_uv_min", Value(sthr.slope.uVPerBpm)},
                         {"published_sthr_slope_points", sthr.slope.points},
                         {"lowest_level_uv", Value(e.lowestUv)},
                         {"lowest_level_s", Value(e.lowestSeconds)},
                         {"highest_level_uv", Value(e.highestUv)},
                         {"highest_level_s", Value(e.highestSeconds)}});
    }
    return leads;
}

Json DukeJson(const StressResult& result, const ExerciseSummary& exercise) {
    if (!exercise.duke) return {};
    const Duke& duke = *exercise.duke;
    const std::optional<std::size_t> stage = StageAt(exercise.stages, duke.st.seconds);
    const bool isThere = duke.st.netMm != 0;
    return {{"points", duke.points},
            {"risk", duke.risk != nullptr ? Json(duke.risk) : Json()},
            {"st_mm", duke.st.CountedMm()},
            {"st_net_mm", duke.st.netMm},
            {"st_lead", isThere ? Json(result.source.leads[duke.st.lead]) : Json()},
            {"st_s", isThere ? Json(duke.st.seconds) : Json()},
            {"st_slope_uv_per_ms", isThere ? Value(duke.st.slopeUvPerMs) : Json()},
            {"st_stage", isThere && stage ? Json(NameStage(exercise.stages[*stage], *stage)) : Json()}};
}

Json CountsJson(const BeatCounts& counts) {
    return {{"stretch", counts.stretch},
            {"from_s", counts.fromSeconds},
            {"to_s", counts.toSeconds},
            {"beats", counts.beats},
            {"supraventricular", counts.supraventricular},
            {"supraventricular_percent", Value(counts.SupraventricularPercent())},
            {"ventricular", counts.ventricular},
            {"ventricular_percent", Value(counts.VentricularPercent())},
            {"paced", counts.paced},
            {"unclassified", counts.unclassified},
            {"couplets", counts.couplets},
            {"runs", counts.runs},
            {"longest_run_beats", counts.longestRun},
            {"fastest_run_per_min", Value(counts.fastestRunBpm)},
            {"fastest_run_s", Value(counts.fastestRunSeconds)}};
}

Json BeatClassesJson(const StressResult& result, const std::vector<Stage>& stages) {
    Json all = Json::array();
    for (const BeatCounts& counts : CountBeats(result, stages)) all.push_back(CountsJson(counts));
    return all;
}

Json CourseJson(const StressResult& result, const ExerciseSummary& exercise) {
    Json all = Json::array();
    for (const CourseRow& row : SummarizeCourse(result, exercise)) {
        Json leads = Json::array();
        for (std::size_t lead = 0; lead < row.levelUv.size(); ++lead)
            leads.push_back({{"name", result.source.leads[lead]},
                             {"level_uv", Value(row.levelUv[lead])},
                             {"change_uv", Value(row.changeUv[lead])},
                             {"slope_uv_per_ms", Value(row.slopeUvPerMs[lead])}});
        all.push_back({{"name", row.name},
                       {"from_s", row.span.fromSeconds},
                       {"to_s", row.span.toSeconds},
                       {"recovery", row.isRecovery},
                       {"speed_kmh", Value(row.stage.speedKmh)},
                       {"grade_percent", Value(row.stage.gradePercent)},
                       {"power_w", Value(row.stage.watts)},
                       {"mets", Value(row.mets)},
                       {"heart_rate_per_min", Value(row.bpm)},
                       {"percent_of_predicted", Value(row.percentOfPredicted)},
                       {"systolic_mmhg", Value(row.pressure.systolic)},
                       {"diastolic_mmhg", Value(row.pressure.diastolic)},
                       {"exertion", Value(row.pressure.exertion)},
                       {"rate_pressure_mmhg_per_min", Value(row.ratePressure)},
                       {"supraventricular", row.counts.supraventricular},
                       {"ventricular", row.counts.ventricular},
                       {"leads", leads}});
    }
    return all;
}

Json CapacityJson(const Capacity& capacity) {
    Json all{{"predicted_by", DescribeFormula(capacity.formula)},
             {"predicted_per_min", Value(capacity.predictedBpm)},
             {"target_per_min", Value(capacity.targetBpm)},
             {"target_reached_s", Value(capacity.targetSeconds)},
             {"rest_heart_rate_per_min", Value(capacity.restBpm)},
             {"chronotropic_index", Value(capacity.chronotropicIndex)},
             {"mets", Value(capacity.mets)},
             {"rate_pressure_mmhg_per_min", Value(capacity.ratePressure)},
             {"rate_pressure_s", Value(capacity.ratePressureSeconds)}};
    for (std::size_t i = 0; i < kRecoveryMinutes.size(); ++i)
        all["recovery_" + std::to_string(kRecoveryMinutes[i]) + "_min_per_min"] =
            Value(capacity.recoveryBpm[i]);
    return all;
}

Json ExerciseJson(const StressResult& result, const ExerciseSummary& exercise) {
    Json stages = Json::array();
    for (const Stage& stage : exercise.stages)
        stages.push_back({{"start_s", stage.startSeconds},
                          {"power_w", Value(stage.watts)},
                          {"name", stage.name},
                          {"speed_kmh", Value(stage.speedKmh)},
                          {"grade_percent", Value(stage.gradePercent)}});
    return {{"stages", stages},
            {"course", CourseJson(result, exercise)},
            {"capacity", CapacityJson(exercise.capacity)},
            {"exercise_s", Value(exercise.exerciseSeconds)},
            {"angina", exercise.angina ? Json(*exercise.angina) : Json()},
            {"st_deviation_mv", exercise.stDeviationMv},
            {"st_deviation_lead", exercise.stLead},
            {"duke", exercise.duke ? Json(exercise.duke->score) : Json()},
            {"duke_detail", DukeJson(result, exercise)},
            {"peak_heart_rate_per_min", Value(exercise.peakBpm)},
            {"peak_heart_rate_s", exercise.peakSeconds},
            {"pwc130_w", Value(exercise.pwcWatts[0])},
            {"pwc150_w", Value(exercise.pwcWatts[1])},
            {"pwc170_w", Value(exercise.pwcWatts[2])}};
}

// All but the trends.
std::string SummaryText(const StressResult& result, const ExerciseSummary& exercise) {
    const SourceInfo& source = result.source;
    const Json summary = {
        {"schema", kResultSchema},
        {"program", kProgram},
        {"options", OptionsJson(result.options)},
        {"interrupted", result.interrupted},
        {"record",
         {{"name", source.name},
          {"started", source.started},
          {"remarks", source.remarks},
          {"leads", source.leads},
          {"sampling_rate_hz", source.fs},
          {"uv_per_unit", source.uVpb},
          {"length_s", result.seconds}}},
        {"patient", PatientJson(source)},
        {"conditioning",
         {{"stages", result.conditioning},
          {"mains_hz", result.mainsHz},
          {"measured_mains_hz", result.measuredMainsHz},
          {"delay_ms", result.delayMs}}},
        {"st_point", result.stPoint.Describe()},
        {"st_measured_ms_after_j", result.stPoint.UsualMs()},
        {"st_rate_limit_per_min", result.stPoint.IsFixed() ? Json() : Json(result.stPoint.rateLimitBpm)},
        {"warnings", result.warnings},
        {"averaged_beat", BeatJson(result)},
        {"reference", ReferenceJson(result)},
        {"exercise", ExerciseJson(result, exercise)},
        {"beats_found", result.beatsFound.size()},
        {"beats_folded", result.beats.size()},
        {"beat_classes", BeatClassesJson(result, exercise.stages)},
        {"leads", LeadsJson(result, exercise)}};
    // File names and lead names need not be UTF-8.
    return summary.dump(1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

void WriteTrendsCsv(PendingFile& file, const StressResult& result, double everySeconds) {
    std::ostream& out = file.Stream();
    out << "time_s,rr_ms,heart_rate_per_min";
    for (const std::string& lead : result.source.leads)
        out << ',' << CsvField(lead + "_st_uv") << ',' << CsvField(lead + "_slope_uv_per_ms") << ','
            << CsvField(lead + "_change_uv") << ',' << CsvField(lead + "_sthr_uv_min");
    out << ",reference_from_s,reference_to_s\n";
    const std::vector<double> referencesUv = MeasureReference(result).levelUv;
    double due = 0;
    for (const STReading& beat : result.beats) {
        if (beat.seconds < due) continue;
        WriteRow(out, beat, referencesUv, result.reference.span);
        if (everySeconds > 0) due = (std::floor(beat.seconds / everySeconds) + 1) * everySeconds;
    }
}

void WriteSummaryJson(std::ostream& out, const StressResult& result, const ExerciseSummary& exercise) {
    out << SummaryText(result, exercise) << "\n";
}

void WriteResultJson(std::ostream& out, const StressResult& result, const ExerciseSummary& exercise) {
    std::string head = SummaryText(result, exercise);
    head.resize(head.rfind('\n'));
    out << head;
    // The trends go out row by row: those of a day would fill a hundred megabytes.
    const auto writeRows = [&out](const char* name, const auto& readings, const auto& toJson) {
        out << ",\n \"" << name << "\": [";
        const char* separator = "\n  ";
        for (const auto& reading : readings) {
            out << separator << toJson(reading).dump();
            separator = ",\n  ";
        }
        out << "\n ]";
    };
    writeRows("heart_rate", result.rates, [](const RateReading& rate) {
        Json row;
        row["time_s"] = rate.seconds;
        row["heart_rate_per_min"] = rate.bpm;
        row["voted_heart_rate_per_min"] = Value(rate.votedBpm);
        return row;
    });
    writeRows("st", result.beats, [](const STReading& beat) {
        Json row;
        row["time_s"] = beat.seconds;
        row["heart_rate_per_min"] = Value(beat.bpm);
        row["point_ms"] = beat.stPointMs;
        row["qrs_onset_ms"] = Value(beat.qMs);
        row["j_ms"] = Value(beat.jMs);
        row["level_uv"] = beat.levelUv;
        row["slope_uv_per_ms"] = beat.slopeUvPerMs;
        const auto add = [&](const char* name, auto toJson) {
            Json::array_t all;
            all.reserve(beat.st.size());
            for (const STPoints& st : beat.st) all.push_back(toJson(st));
            if (!all.empty()) row[name] = std::move(all);
        };
        add("j_uv", [](const STPoints& st) { return Rounded(st.jUv); });
        add("j20_uv", [](const STPoints& st) { return Rounded(st.j20Uv); });
        add("j60_uv", [](const STPoints& st) { return Rounded(st.j60Uv); });
        add("j80_uv", [](const STPoints& st) { return Rounded(st.j80Uv); });
        add("shape", [](const STPoints& st) { return ShapeJson(st.shape); });
        add("is_on_t", [](const STPoints& st) { return Json(st.isOnT); });
        return row;
    });
    out << "\n}\n";
}

void WriteInfoJson(std::ostream& out, const FrameSource& source) {
    const SourceInfo& info = source.Info();
    const bool isLong = info.frames > 0;
    const Json json{{"schema", "qzstress-info-1"},
                    {"program", kProgram},
                    {"name", info.name},
                    {"started", info.started},
                    {"length_s", isLong ? Json(info.SecondsOf(info.frames)) : Json()},
                    {"frames", isLong ? Json(info.frames) : Json()},
                    {"sampling_rate_hz", info.fs},
                    {"uv_per_unit", info.uVpb},
                    {"leads", info.leads},
                    {"format", source.Describe()},
                    {"patient", PatientJson(info)},
                    {"remarks", info.remarks},
                    {"warnings", source.Warnings()},
                    {"files", source.Files()}};
    out << json.dump(1, ' ', false, Json::error_handler_t::replace) << "\n";
}
