// A whole recording: what qzstress analyze does, by the same code, with its figures as arrays.
#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <optional>
#include <sstream>
#include <string>
#include <tuple>

#include "host/analysis/Study.h"
#include "host/results/Reference.h"
#include "host/results/ResultFiles.h"
#include "host/results/Summaries.h"
#include "python/src/Beats.h"
#include "python/src/Module.h"
#include "python/src/Sources.h"

namespace {

/// The options of an analysis, with the beat that they may point to.
struct Study : StudyOptions {
    std::optional<qz::LearnedBeat> beat;
};

using PythonStage =
    std::tuple<double, std::optional<double>, std::string, std::optional<double>, std::optional<double>>;
using PythonPressure = std::tuple<double, double, double, double>;

/// Ends the analysis when the user asks Python to stop.
class StopWatch : public AnalysisObserver {
public:
    void OnFrame(const short*) override { ++m_frames; }
    bool Stop() override {
        if (!isAsked && m_frames % kFramesPerStopCheck == kFramesPerStopCheck - 1) isAsked = IsStopAsked();
        return isAsked;
    }
    bool isAsked = false;

private:
    long long m_frames = 0;
};

class Result {
public:
    explicit Result(StudyResult found) : m_found(std::move(found)) {}

    nb::bytes Json() const { return Text(WriteResultJson); }
    nb::bytes Summary() const { return Text(WriteSummaryJson); }
    nb::dict Arrays() const;
    nb::dict Learned() const { return BeatToDict(m_found.result.learned); }

private:
    template <typename Write>
    nb::bytes Text(Write write) const {
        std::string text;
        {
            const nb::gil_scoped_release free;
            std::ostringstream out;
            write(out, m_found.result, m_found.exercise);
            text = std::move(out).str();
        }
        return nb::bytes(text.data(), text.size());
    }

    StudyResult m_found;
};

nb::dict Result::Arrays() const {
    const StressResult& result = m_found.result;
    const std::size_t leads = result.source.leads.size(), beats = result.beats.size();
    std::vector<double> found, rates, trend, change, sthr, quality;
    std::vector<float> level, slope, st;
    for (const FoundBeat& beat : result.beatsFound)
        found.insert(found.end(), {beat.seconds, static_cast<double>(beat.beatClass)});
    for (const RateReading& rate : result.rates)
        rates.insert(rates.end(), {rate.seconds, rate.bpm, rate.votedBpm});
    const std::vector<double> referenceUv = MeasureReference(result).levelUv;
    for (const STReading& beat : result.beats) {
        trend.insert(trend.end(), {beat.seconds, beat.rrMs, beat.bpm, beat.stPointMs, beat.qMs, beat.jMs});
        level.insert(level.end(), beat.levelUv.begin(), beat.levelUv.end());
        slope.insert(slope.end(), beat.slopeUvPerMs.begin(), beat.slopeUvPerMs.end());
        for (std::size_t lead = 0; lead < leads; ++lead) {
            const double levelUv = beat.levelUv[lead];
            change.push_back(levelUv - referenceUv[lead]);
            sthr.push_back(STHRindex(levelUv, beat.bpm));
            const STPoints& at = beat.st[lead];
            st.insert(st.end(), {at.jUv, at.j20Uv, at.j60Uv, at.j80Uv});
        }
    }
    for (const qz::QualityEvent& event : result.quality) {
        quality.push_back(event.seconds);
        quality.insert(quality.end(), event.quality.begin(), event.quality.end());
    }
    constexpr std::size_t kFound = 2, kRates = 3, kTrend = 6, kPoints = 4;
    nb::dict arrays;
    arrays["found"] = ToArray(std::move(found), {result.beatsFound.size(), kFound});
    arrays["rates"] = ToArray(std::move(rates), {result.rates.size(), kRates});
    arrays["trend"] = ToArray(std::move(trend), {beats, kTrend});
    arrays["level_uv"] = ToArray(std::move(level), {beats, leads});
    arrays["slope_uv_per_ms"] = ToArray(std::move(slope), {beats, leads});
    arrays["change_uv"] = ToArray(std::move(change), {beats, leads});
    arrays["sthr_uv_min"] = ToArray(std::move(sthr), {beats, leads});
    arrays["points_uv"] = ToArray(std::move(st), {beats, leads, kPoints});
    arrays["quality"] = ToArray(std::move(quality), {result.quality.size(), leads + 1});
    arrays["template"] = RowsToArray(result.latestBeatUv, leads);
    arrays["reference"] = RowsToArray(result.referenceBeatUv, leads);
    return arrays;
}

Result Analyze(FrameSource& source, Study study) {
    if (study.beat) study.analysis.beat = &*study.beat;
    StopWatch watch;
    std::optional<StudyResult> found;
    {
        const nb::gil_scoped_release free;
        try {
            const SourceInfo info = TakeStudy(study, source.Info());
            study.given = TellOptions(study, {});
            found = RunStudy(source, study, info, {}, {&watch});
        } catch (const std::exception&) {
            if (!watch.isAsked) throw;
        }
    }
    if (watch.isAsked) throw nb::python_error();
    return Result(std::move(*found));
}

Result AnalyzeFile(const std::string& path, const std::vector<std::string>& leads, double fs, double uVpb,
                   const Study& study) {
    return Analyze(*OpenForPython(path, leads, fs, uVpb), study);
}

Result AnalyzeArray(const Frames& frames, const std::string& name, int fs, double uVpb,
                    const std::vector<std::string>& leads, const std::string& started,
                    const std::vector<std::string>& remarks, const Study& study) {
    ArraySource source(frames.data(), InfoOf(frames, name, fs, uVpb, leads, started, remarks));
    return Analyze(source, study);
}

void SetStages(Study& study, const std::vector<PythonStage>& stages) {
    for (const auto& [start, watts, name, speedKmh, gradePercent] : stages)
        study.exercise.stages.push_back({start, watts, name, speedKmh, gradePercent});
}

void SetPressures(Study& study, const std::vector<PythonPressure>& pressures) {
    for (const auto& [seconds, systolic, diastolic, exertion] : pressures)
        study.exercise.pressures.push_back({seconds, systolic, diastolic, exertion});
}

void SetMains(Study& study, int hz) {
    study.analysis.measureMains = false;
    study.analysis.conditioner.mainsHz = hz;
}

void SetReference(Study& study, std::pair<double, double> span) {
    study.reference = Span{span.first, span.second};
}

}  // namespace

void AddAnalysis(nb::module_& module) {
    nb::class_<Study>(module, "Study")
        .def(nb::init<>())
        .def("mains_hz", &SetMains)
        .def("paced", [](Study& study, bool isPaced) { study.analysis.isPaced = isPaced; })
        .def("comb", [](Study& study, bool isOn) { study.analysis.conditioner.comb = isOn; })
        .def("lowpass_hz", [](Study& study, int hz) { study.analysis.conditioner.lowpassHz = hz; })
        .def("smooth", [](Study& study, int strength) { study.analysis.conditioner.smooth = strength; })
        .def("post_j_ms", [](Study& study, int ms) { study.analysis.stPoint.postJms = ms; })
        .def("st_rate_limit_per_min",
             [](Study& study, double bpm) { study.analysis.stPoint.rateLimitBpm = bpm; })
        .def(
            "points_ms",
            [](Study& study, std::optional<double> q, std::optional<double> j, std::optional<double> st) {
                study.analysis.stPoint.byHand = {q, j, st};
            },
            nb::arg("q").none(), nb::arg("j").none(), nb::arg("st").none())
        .def("beat", [](Study& study, const nb::dict& beat) { study.beat = BeatFromDict(beat); })
        .def("reference_s", &SetReference)
        .def("anonymous", [](Study& study, bool isOn) { study.anonymous = isOn; })
        .def("angina", [](Study& study, int index) { study.exercise.angina = index; })
        .def("exercise_s", [](Study& study, double seconds) { study.exercise.exerciseSeconds = seconds; })
        .def("stages", &SetStages)
        .def("stages_file", [](Study& study, const std::string& path) { study.stagesFile = path; })
        .def("protocol", [](Study& study, const std::string& name) { study.protocol = name; })
        .def("exercise_start_s", [](Study& study, double start) { study.exerciseStartSeconds = start; })
        .def("predicted", [](Study& study,
                             int formula) { study.exercise.predicted = static_cast<PredictedRate>(formula); })
        .def("stage_leads",
             [](Study& study, const std::vector<std::string>& leads) { study.exercise.stageLeads = leads; })
        .def("patient_file", [](Study& study, const std::string& path) { study.patientFile = path; })
        .def("pressures", &SetPressures)
        .def("pressures_file", [](Study& study, const std::string& path) { study.pressuresFile = path; })
        .def("given", [](Study& study, const GivenOptions& given) { study.given = given; });
    module.attr("protocols") = nb::cast(ProtocolNames());
    module.attr("predicted_rates") = nb::cast(PredictedRateNames());
    nb::class_<Result>(module, "Result")
        .def("json", &Result::Json)
        .def("summary", &Result::Summary)
        .def("arrays", &Result::Arrays)
        .def("learned", &Result::Learned);
    module.def("analyze_file", &AnalyzeFile, nb::arg("path"), nb::arg("leads"), nb::arg("fs"),
               nb::arg("uv_per_bit"), nb::arg("study"));
    module.def("analyze_array", &AnalyzeArray, nb::arg("frames").noconvert(), nb::arg("name"), nb::arg("fs"),
               nb::arg("uv_per_bit"), nb::arg("leads"), nb::arg("started"), nb::arg("remarks"),
               nb::arg("study"));
}
