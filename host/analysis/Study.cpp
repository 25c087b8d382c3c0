#include "host/analysis/Study.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <utility>

#include "host/record/OpenRecord.h"
#include "host/results/Reference.h"
#include "host/simulate/TruthFile.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Text.h"

namespace {

// True for a file that is no text, as annotations are.
bool IsBinary(const std::string& path) {
    if (path == "/dev/stdin") return false;
    std::string bytes(1 << 16, '\n');
    std::ifstream file = InputFile(path).Stream();
    file.read(bytes.data(), std::ssize(bytes));
    return bytes.find('\0') != std::string::npos;
}

SourceInfo Described(SourceInfo info, const StudyOptions& options) {
    if (!options.patientFile.empty()) info.patient = Complete(info.patient, ReadPatient(options.patientFile));
    info.patient = Complete(info.patient, options.told);
    if (options.anonymous) {
        LeaveOutPersons(info.patient, info.started);
        info.remarks.clear();
    }
    return info;
}

}  // namespace

std::vector<Stage> ReadAnyStages(const std::string& path, const SourceInfo& info) {
    if (std::filesystem::path(path).extension() == ".json") return ReadTruth(path).stages;
    if (!IsBinary(path)) return ReadStages(path);
    const std::vector<Annotation> annotations = ReadAnnotations(path);
    const double perSecond = StepsPerSecond(annotations, info.AnnotationHz());
    std::vector<Note> notes;
    for (const Annotation& annotation : annotations)
        if (!annotation.text.empty())
            notes.push_back({static_cast<double>(annotation.sample) / perSecond, annotation.text});
    std::vector<Stage> stages = StagesFromNotes(notes);
    if (stages.empty()) throw HostError(path, "holds no note that names a stage of work");
    return stages;
}

SourceInfo TakeStudy(StudyOptions& options, SourceInfo source) {
    SourceInfo info = Described(std::move(source), options);
    ExerciseOptions& exercise = options.exercise;
    for (const std::string& name : exercise.stageLeads)
        if (std::none_of(info.leads.begin(), info.leads.end(),
                         [&](const std::string& lead) { return EqualIgnoringCase(lead, name); }))
            throw HostError(info.name, "lead \"" + name + "\" is not one of those that are used");
    if (!options.stagesFile.empty())
        exercise.stages = ReadAnyStages(options.stagesFile, info);
    else if (options.protocol.empty() && exercise.stages.empty())
        exercise.stages = StagesFromNotes(info.notes);
    if (!options.pressuresFile.empty()) exercise.pressures = ReadBloodPressures(options.pressuresFile);
    if (!options.protocol.empty()) {
        const double start = options.exerciseStartSeconds;
        const double seconds = exercise.exerciseSeconds.value_or(std::numeric_limits<double>::infinity());
        exercise.stages = ProtocolStages(options.protocol, start, start + seconds);
    }
    options.analysis.reference = ChooseReference(options.reference, exercise.stages);
    return info;
}

StudyResult RunStudy(FrameSource& source, const StudyOptions& options, const SourceInfo& info,
                     std::vector<std::string> warnings, const std::vector<AnalysisObserver*>& observers) {
    StressResult result = StressAnalysis(source, options.analysis, observers).Run();
    result.source.patient = info.patient;
    result.source.remarks = info.remarks;
    result.options = options.given;
    if (!result.interrupted)
        for (std::string& warning : CheckExercise(options.exercise, result.seconds))
            warnings.push_back(std::move(warning));
    for (std::string& warning : CheckReference(result, options.exercise.stages))
        warnings.push_back(std::move(warning));
    result.warnings.insert(result.warnings.end(), warnings.begin(), warnings.end());
    ExerciseSummary exercise = SummarizeExercise(result, options.exercise);
    return {std::move(result), std::move(exercise)};
}

GivenOptions TellOptions(const StudyOptions& options, const std::string& templateFrom,
                         const RecordOptions& reading) {
    GivenOptions told = options.given;
    for (auto& [name, value] : told) {
        std::vector<std::string> files;
        if (name == "--stages" && !IsPipe(options.stagesFile)) files = {options.stagesFile};
        if (name == "--template-from") files = OpenRecord(templateFrom, reading)->Files();
        if (files.empty()) continue;
        value = (options.anonymous ? "" : value + ", ") + "contents " + ContentMark(files);
    }
    return told;
}
