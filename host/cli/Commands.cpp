#include "host/cli/Commands.h"

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "host/analysis/AnalysisProgress.h"
#include "host/analysis/Exporter.h"
#include "host/analysis/Monitor.h"
#include "host/record/OpenRecord.h"
#include "host/report/ReportDrawing.h"
#include "host/report/TextReport.h"
#include "host/results/Evaluate.h"
#include "host/results/Reference.h"
#include "host/results/ResultFiles.h"
#include "host/simulate/SimulatedTest.h"
#include "host/simulate/TruthFile.h"
#include "host/support/HostError.h"
#include "host/support/Interrupt.h"
#include "host/support/PendingFile.h"
#include "host/support/Text.h"

namespace {

constexpr double kTemplateSeconds = 60;  // stretch of another record in which its beat is learned
constexpr double kStripMarginSeconds = 5;

// Ends the analysis when the user asks for it.
class InterruptWatch : public AnalysisObserver {
public:
    bool Stop() override { return Interrupt::IsAsked(); }

private:
    Interrupt m_interrupt;
};

// The first seconds of a source.
class Beginning : public FrameSource {
public:
    Beginning(FrameSource& source, double seconds)
        : m_source(source), m_framesLeft(std::llround(seconds * source.Info().fs)) {}
    const SourceInfo& Info() const override { return m_source.Info(); }
    bool Read(short* frame) override { return m_framesLeft-- > 0 && m_source.Read(frame); }
    std::vector<std::string> Warnings() const override { return m_source.Warnings(); }

private:
    FrameSource& m_source;
    long long m_framesLeft;
};

// The files of an analysis. All are opened before the analysis begins, so that a name that cannot be written
// is an error at once; all get their names together, when all are complete.
class Outputs {
public:
    Outputs(const AnalyzeOptions& options, const SourceInfo& info) : m_options(options) {
        if (!options.report.empty()) CheckReportName(options.report);
        if (!options.exported.empty()) m_exporter.emplace(options.exported, info, options.doubled);
        const std::pair<std::optional<PendingFile>*, const std::string*> files[] = {
            {&m_annotations, &options.annotations},
            {&m_csv, &options.csv},
            {&m_report, &options.report},
            {&m_json, &options.json}};
        for (const auto& [file, path] : files)
            if (!path->empty()) file->emplace(*path);
    }

    void Observe(std::vector<AnalysisObserver*>& observers) {
        if (m_exporter) observers.push_back(&*m_exporter);
    }

    void Write(const StressResult& result, const ExerciseSummary& exercise) {
        if (m_annotations)
            WriteAnnotations(*m_annotations, BeatAnnotations(result, result.source.AnnotationHz()));
        if (m_csv) WriteTrendsCsv(*m_csv, result, m_options.csvEverySeconds);
        if (m_report) WriteReport(*m_report, {result, exercise});
        if (m_json) WriteResultJson(*m_json, result, exercise);
        std::vector<PendingFile*> files;
        if (m_exporter) files = m_exporter->Finish();
        for (auto* file : {&m_annotations, &m_csv, &m_report, &m_json})
            if (*file) files.push_back(&**file);
        PendingFile::CommitAll(files);
    }

private:
    const AnalyzeOptions& m_options;
    std::optional<Exporter> m_exporter;
    std::optional<PendingFile> m_annotations, m_csv, m_report, m_json;
};

// Learns the averaged beat from the beginning of another source, which has the same leads.
StressResult LearnFrom(FrameSource& source, int fs, const StressOptions& options) {
    const SourceInfo& info = source.Info();
    if (info.fs != fs)
        throw HostError(info.name, "a beat at " + std::to_string(fs) + " Hz is expected, not at " +
                                       std::to_string(info.fs) + " Hz");
    Beginning beginning(source, kTemplateSeconds);
    StressOptions learning = options;
    learning.stripSeconds.clear();
    InterruptWatch interrupt;
    StressResult result = StressAnalysis(beginning, learning, {&interrupt}).Run();
    if (result.learned.rows.empty()) throw HostError(info.name, result.warnings.front());
    return result;
}

// Where strips begin if the user names no times: at the start, the middle and the end of the work, and at the
// end of the recording; without known work at a third and two thirds. Only 0 if the length is not known.
std::vector<double> DefaultStrips(const SourceInfo& info, const std::vector<Stage>& stages) {
    const double seconds = info.SecondsOf(info.frames);
    if (seconds < 4 * kStripMarginSeconds) return {0};
    const double last = seconds - kStripMarginSeconds;
    const std::optional<Span> work = FindWork(stages, seconds);
    if (work && work->fromSeconds > kStripMarginSeconds && work->toSeconds < last)
        return {kStripMarginSeconds, (work->fromSeconds + work->toSeconds) / 2,
                work->toSeconds - kStripMarginSeconds, last};
    return {kStripMarginSeconds, seconds / 3, seconds * 2 / 3, last};
}

void PrintWarnings(const StressResult& result) {
    for (const std::string& warning : result.warnings)
        std::cerr << "qzstress: " << OneLine(result.source.name + ": " + warning) << "\n";
}

}  // namespace

bool Analyze(AnalyzeOptions options) {
    const SimulatedTest* simulated = nullptr;
    std::unique_ptr<FrameSource> source;
    if (options.record.empty()) {
        SimulatedTestOptions simulation;
        simulation.leads = options.reading.leads;
        auto test = std::make_unique<SimulatedTest>(std::move(simulation));
        simulated = test.get();
        source = std::move(test);
        if (options.exercise.stages.empty()) options.exercise.stages = simulated->Stages();
    } else {
        source = OpenRecord(options.record, options.reading);
    }
    const SourceInfo& info = source->Info();
    std::vector<std::string> warnings;
    if (!options.protocol.empty()) {
        const double start = options.exerciseStartSeconds;
        const double seconds =
            options.exercise.exerciseSeconds.value_or(std::numeric_limits<double>::infinity());
        options.exercise.stages = ProtocolStages(options.protocol, start, start + seconds);
    }
    if (options.analysis.stripSeconds.empty() && !options.report.empty())
        options.analysis.stripSeconds = DefaultStrips(info, options.exercise.stages);

    options.analysis.reference = ChooseReference(options.reference, options.exercise.stages);

    InterruptWatch interrupt;
    Outputs outputs(options, info);
    PendingFile::RefuseOverwriting(source->Files());
    PendingFile::RefuseOverwriting({options.stagesFile});
    std::optional<LearnedBeat> beat;
    if (!options.templateFrom.empty()) {
        RecordOptions reading = options.reading;
        reading.leads = info.leads;
        const std::unique_ptr<FrameSource> other = OpenRecord(options.templateFrom, reading);
        PendingFile::RefuseOverwriting(other->Files());
        StressResult learned = LearnFrom(*other, info.fs, options.analysis);
        for (const std::string& warning : learned.warnings)
            warnings.push_back(learned.source.name + ": " + warning);
        options.analysis.beat = &beat.emplace(std::move(learned.learned));
    }

    AnalysisProgress progress(info, !options.quiet && options.realtime == 0);
    std::vector<AnalysisObserver*> observers{&interrupt, &progress};
    std::optional<Monitor> monitor;
    if (options.realtime > 0)
        observers.push_back(&monitor.emplace(std::cout, info, options.realtime, isatty(STDOUT_FILENO) == 1));
    outputs.Observe(observers);

    StressResult result = StressAnalysis(*source, options.analysis, observers).Run();
    if (!result.interrupted)
        for (std::string& warning : CheckExercise(options.exercise, result.seconds))
            warnings.push_back(std::move(warning));
    for (std::string& warning : CheckReference(result, options.exercise.stages))
        warnings.push_back(std::move(warning));
    result.warnings.insert(result.warnings.end(), warnings.begin(), warnings.end());
    const ExerciseSummary exercise = SummarizeExercise(result, options.exercise);
    PrintWarnings(result);
    outputs.Write(result, exercise);
    if (!options.quiet) {
        PrintReport(std::cout, result, exercise);
        if (simulated != nullptr) {
            std::cout << "\nDistance from the truth of the simulation\n";
            PrintAccuracy(std::cout, info.leads,
                          CompareWithTruth(result, TruthOf(*simulated, options.analysis.stPoint)));
        }
        if (!options.report.empty()) std::cout << "\nReport: " << OneLine(options.report) << "\n";
    }
    return !result.interrupted;
}

void PrintInfo(const std::string& record, const RecordOptions& reading) {
    const std::unique_ptr<FrameSource> source = OpenRecord(record, reading);
    const SourceInfo& info = source->Info();
    std::cout << info.name << ": " << info.leads.size() << " leads, " << info.fs << " Hz";
    if (info.frames > 0) std::cout << ", " << Clock(info.SecondsOf(info.frames)) << " min:s";
    if (!info.started.empty()) std::cout << ", from " << info.started;
    std::cout << "\nread as " << info.uVpb << " uV per unit\nleads:";
    for (const std::string& lead : info.leads) std::cout << ' ' << lead;
    std::cout << "\n";
    for (const std::string& line : source->Describe()) std::cout << OneLine(line) << "\n";
    for (const std::string& line : info.remarks) std::cout << "remark: " << line << "\n";
    for (const std::string& line : source->Warnings()) std::cout << "warning: " << OneLine(line) << "\n";
}

void RunEvaluate(const EvaluateOptions& options) {
    const std::unique_ptr<FrameSource> source = OpenRecord(options.record, options.reading);
    const SourceInfo& info = source->Info();
    std::vector<std::vector<QrsMark>> marks;  // [file]
    for (const std::string& file : options.fiducials) {
        const std::vector<Annotation> annotations = ReadAnnotations(file);
        marks.push_back(QrsMarksFrom(annotations, StepsPerSecond(annotations, info.AnnotationHz())));
    }
    StressOptions analysis = options.analysis;
    Truth truth;
    std::optional<RecordedTruth> recorded;
    if (std::filesystem::path(options.reference).extension() == ".json") {
        recorded = ReadTruth(options.reference);
        if (!analysis.stPoint.postJms) analysis.stPoint.postJms = recorded->postJms;
        if (recorded->postJms != *analysis.stPoint.postJms)
            throw HostError(options.reference, "holds ST " + std::to_string(recorded->postJms) +
                                                   " ms after J + 6 ms; --post-j " +
                                                   std::to_string(recorded->postJms) + " is expected");
        truth = recorded->For(info);
    } else if (!options.reference.empty()) {
        const std::vector<Annotation> annotations = ReadAnnotations(options.reference);
        truth = TruthFrom(annotations, StepsPerSecond(annotations, info.AnnotationHz()));
        // The marks number the leads of the file.
        if (!options.reading.leads.empty()) truth.st.clear();
    }
    if (options.reference.empty())
        truth = TruthFrom(CombineLeads(marks));
    else
        truth.qrs = CombineLeads(marks);
    const std::string& reference = options.reference.empty() ? options.fiducials.front() : options.reference;
    if (truth.beats.empty()) throw HostError(reference, "holds no beats to compare with");
    InterruptWatch interrupt;
    std::optional<PendingFile> json;
    if (!options.json.empty()) json.emplace(options.json);
    PendingFile::RefuseOverwriting(source->Files());
    PendingFile::RefuseOverwriting({options.reference});
    PendingFile::RefuseOverwriting(options.fiducials);
    AnalysisProgress progress(info, !options.quiet);
    const StressResult result = StressAnalysis(*source, analysis, {&interrupt, &progress}).Run();
    if (result.interrupted) throw HostError(options.record, "interrupted; nothing is scored");
    PrintWarnings(result);
    Evaluation evaluation = Evaluate(result, BeatAnnotations(result, info.fs), truth, options.skipSeconds);
    const std::unique_ptr<FrameSource> raw = OpenRecord(options.record, options.reading);
    evaluation.rawST = ScoreRawST(CompareWithRawST(*raw, result, options.skipSeconds));
    if (json) {
        WriteEvaluationJson(*json, evaluation);
        json->Commit();
    }
    if (!options.quiet) PrintEvaluation(std::cout, evaluation);
}
