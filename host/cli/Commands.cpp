#include "host/cli/Commands.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "host/analysis/AnalysisProgress.h"
#include "host/analysis/Exporter.h"
#include "host/analysis/Monitor.h"
#include "host/analysis/SignalStore.h"
#include "host/cli/ExitCodes.h"
#include "host/record/CreateRecord.h"
#include "host/record/OpenRecord.h"
#include "host/report/ReportDrawing.h"
#include "host/report/TextReport.h"
#include "host/results/Evaluate.h"
#include "host/results/ResultFiles.h"
#include "host/results/Strips.h"
#include "host/simulate/SimulatedTest.h"
#include "host/simulate/TruthFile.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Interrupt.h"
#include "host/support/PendingFile.h"
#include "host/support/Text.h"

namespace {

constexpr double kTemplateSeconds = 60;  // stretch of another record in which its beat is learned

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

// By what an earlier result is known, which a later run replaces.
constexpr std::string_view kTrendsBeginning = "time_s,rr_ms,";
constexpr std::string_view kResultBeginning = "{\n \"schema\": \"qzstress-result-";
constexpr std::string_view kEvaluationBeginning = "{\n \"schema\": \"qzstress-evaluation-";

// The files of an analysis. All are opened before the analysis begins, so that a name that cannot be written
// is told at once. One that fails costs the others nothing: those that are complete get their names together.
class Outputs : public AnalysisObserver {
public:
    Outputs(const AnalyzeOptions& options, const SourceInfo& info) : m_options(options) {
        if (!options.report.empty()) CheckReportName(options.report);
        if (!options.exported.empty())
            Attempt([&] { m_exporter.emplace(options.exported, info, options.doubled); });
        const std::pair<std::optional<PendingFile>*, const std::string*> files[] = {
            {&m_annotations, &options.annotations},
            {&m_csv, &options.csv},
            {&m_report, &options.report},
            {&m_json, &options.json}};
        for (const auto& output : files)
            if (!output.second->empty()) Attempt([&] { output.first->emplace(*output.second); });
    }

    // Throws HostError if a file would be lost that is no earlier result of the same kind.
    void RefuseReplacing() const {
        if (!m_options.exported.empty())
            for (const std::string& file : RecordFiles(m_options.exported))
                PendingFile::RefuseReplacing(file);
        PendingFile::RefuseReplacing(m_options.annotations);
        PendingFile::RefuseReplacing(m_options.csv, kTrendsBeginning);
        if (!m_options.report.empty())
            PendingFile::RefuseReplacing(m_options.report, ReportBeginning(m_options.report));
        PendingFile::RefuseReplacing(m_options.json, kResultBeginning);
    }

    void OnConditioned(const short* uV, double seconds) override {
        if (m_exporter && !Attempt([&] { m_exporter->OnConditioned(uV, seconds); })) m_exporter.reset();
    }

    // False if one of the files could not be written.
    [[nodiscard]] bool Write(const StressResult& result, const ExerciseSummary& exercise) {
        std::vector<std::vector<PendingFile*>> groups;
        const auto write = [&](std::optional<PendingFile>& file, auto fill) {
            if (file && Attempt([&] { fill(*file); })) groups.push_back({&*file});
        };
        if (m_exporter) Attempt([&] { groups.push_back(m_exporter->Finish()); });
        write(m_annotations, [&](PendingFile& file) {
            WriteAnnotations(file, BeatAnnotations(result, result.source.AnnotationHz()));
        });
        write(m_csv, [&](PendingFile& file) { WriteTrendsCsv(file, result, m_options.csvEverySeconds); });
        write(m_report, [&](PendingFile& file) {
            WriteReport(file, {result, exercise, m_options.paper, FindLanguage(m_options.language)});
        });
        write(m_json, [&](PendingFile& file) { WriteResultJson(file.Stream(), result, exercise); });
        for (const WriteError& error : PendingFile::CommitGroups(groups)) Tell(error);
        return !m_hasFailed;
    }

private:
    // False if the work ends with an error of its own file, which is told.
    template <typename Work>
    bool Attempt(Work work) {
        try {
            work();
            return true;
        } catch (const WriteError& error) {
            Tell(error);
            return false;
        }
    }
    void Tell(const WriteError& error) {
        std::cerr << "qzstress: " << error.what() << "\n";
        m_hasFailed = true;
    }

    const AnalyzeOptions& m_options;
    std::optional<Exporter> m_exporter;
    std::optional<PendingFile> m_annotations, m_csv, m_report, m_json;
    bool m_hasFailed = false;
};

// Learns the averaged beat from the beginning of another source, which has the same leads.
StressResult LearnFrom(FrameSource& source, int fs, const StressOptions& options) {
    const SourceInfo& info = source.Info();
    if (info.fs != fs)
        throw HostError(info.name, "a beat at " + std::to_string(fs) + " Hz is expected, not at " +
                                       std::to_string(info.fs) + " Hz");
    Beginning beginning(source, kTemplateSeconds);
    InterruptWatch interrupt;
    StressResult result = StressAnalysis(beginning, options, {&interrupt}).Run();
    if (result.learned.rows.empty()) throw HostError(info.name, result.warnings.front());
    return result;
}

// The strips of the report with their signal, and a warning about those that there are none of.
std::vector<Strip> CutStrips(SignalStore& signal, const StressResult& result, const ExerciseSummary& exercise,
                             const std::vector<double>& askedSeconds, std::vector<std::string>& warnings) {
    const auto missing = std::count_if(askedSeconds.begin(), askedSeconds.end(),
                                       [&](double seconds) { return seconds >= result.seconds; });
    if (missing > 0 && !result.interrupted)
        warnings.push_back(std::to_string(missing) + (missing == 1 ? " strip begins" : " strips begin") +
                           " after the end of the recording");
    std::vector<Strip> strips = signal.Fill(ChooseStrips(result, exercise, askedSeconds));
    if (!signal.Failure().empty()) warnings.push_back("no strips: " + signal.Failure());
    return strips;
}

void PrintWarnings(const StressResult& result) {
    for (const std::string& warning : result.warnings)
        std::cerr << "qzstress: " << OneLine(result.source.name + ": " + warning) << "\n";
}

}  // namespace

int Analyze(AnalyzeOptions options) {
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
    const SourceInfo info = TakeStudy(options, source->Info());
    std::vector<std::string> warnings;

    if (!options.report.empty()) options.analysis.beatSeconds = TellingSeconds(options.exercise.stages);

    // What goes to stdout for another program goes there alone.
    const bool isPiped = options.csv == "-" || options.json == "-";
    options.quiet |= isPiped;
    InterruptWatch interrupt;
    Outputs outputs(options, info);
    PendingFile::RefuseOverwriting(source->Files());
    PendingFile::RefuseOverwriting({options.stagesFile, options.patientFile, options.pressuresFile});
    std::optional<LearnedBeat> beat;
    if (!options.templateFrom.empty()) {
        RecordOptions reading = options.reading;
        reading.leads = info.leads;
        const std::unique_ptr<FrameSource> other = OpenRecord(options.templateFrom, reading);
        PendingFile::RefuseOverwriting(other->Files());
        StressResult learned = LearnFrom(*other, info.fs, options.analysis);
        for (const std::string& warning : learned.warnings)
            warnings.push_back("averaged beat of " + learned.source.name + ": " + warning);
        options.analysis.beat = &beat.emplace(std::move(learned.learned));
    }
    if (!options.force) outputs.RefuseReplacing();

    AnalysisProgress progress(info, !options.quiet && options.realtime == 0);
    std::vector<AnalysisObserver*> observers{&interrupt, &progress, &outputs};
    std::optional<Monitor> monitor;
    if (options.realtime > 0)
        observers.push_back(&monitor.emplace(isPiped ? std::cerr : std::cout, info, options.realtime,
                                             isatty(isPiped ? STDERR_FILENO : STDOUT_FILENO) == 1));

    std::optional<SignalStore> signal;
    if (!options.report.empty()) observers.push_back(&signal.emplace(info.leads.size(), info.fs));

    options.given = TellOptions(options, options.templateFrom, options.reading);
    auto [result, exercise] = RunStudy(*source, options, info, warnings, observers);
    if (signal) result.strips = CutStrips(*signal, result, exercise, options.stripSeconds, result.warnings);
    PrintWarnings(result);
    const bool isWritten = outputs.Write(result, exercise);
    if (!options.quiet) {
        PrintReport(std::cout, result, exercise);
        if (simulated != nullptr) {
            std::cout << "\nDistance from the truth of the simulation\n";
            PrintAccuracy(std::cout, info.leads,
                          CompareWithTruth(result, TruthOf(*simulated, options.analysis.stPoint)));
        }
        if (!options.report.empty() && isWritten)
            std::cout << "\nReport: " << OneLine(options.report) << "\n";
    }
    if (result.interrupted) return kExitInterrupted;
    return isWritten ? 0 : kExitFailed;
}

void CheckStudy(const AnalyzeOptions& options) {
    CheckOptions(options.analysis);
    if (!options.templateFrom.empty()) OpenRecord(options.templateFrom);
    SourceInfo anyRate;
    anyRate.fs = 1;
    if (!options.stagesFile.empty()) ReadAnyStages(options.stagesFile, anyRate);
}

void PrintInfo(const std::string& record, const RecordOptions& reading, bool asJson) {
    const std::unique_ptr<FrameSource> source = OpenRecord(record, reading);
    if (asJson) return WriteInfoJson(std::cout, *source);
    const SourceInfo& info = source->Info();
    std::cout << info.name << ": " << info.leads.size() << " leads, " << info.fs << " Hz";
    if (info.frames > 0) std::cout << ", " << Clock(info.SecondsOf(info.frames)) << " min:s";
    if (!info.started.empty()) std::cout << ", from " << info.started;
    std::cout << "\nread as " << info.uVpb << " uV per unit\nleads:";
    for (const std::string& lead : info.leads) std::cout << ' ' << lead;
    std::cout << "\n";
    for (const std::string& line : source->Describe()) std::cout << OneLine(line) << "\n";
    for (const std::string& line : PatientRemarks(info.patient))
        std::cout << "patient: " << OneLine(line) << "\n";
    for (const std::string& line : info.remarks) std::cout << "remark: " << line << "\n";
    for (const std::string& line : source->Warnings()) std::cout << "warning: " << OneLine(line) << "\n";
}

void RunEvaluate(const EvaluateOptions& options) {
    if (IsPipe(options.record))
        throw HostError(options.record, "is read twice: expected a file, found a pipe");
    const std::unique_ptr<FrameSource> source = OpenRecord(options.record, options.reading);
    const SourceInfo& info = source->Info();
    if (info.frames > 0 && options.skipSeconds >= info.SecondsOf(info.frames))
        throw HostError(options.record, "--skip " + Number(options.skipSeconds, 0) +
                                            " leaves nothing of its " +
                                            Number(info.SecondsOf(info.frames), 0) + " s");
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
    if (!options.force) PendingFile::RefuseReplacing(options.json, kEvaluationBeginning);
    AnalysisProgress progress(info, !options.quiet);
    const StressResult result = StressAnalysis(*source, analysis, {&interrupt, &progress}).Run();
    if (result.interrupted) throw HostError(options.record, "interrupted; nothing is scored");
    PrintWarnings(result);
    Evaluation evaluation = Evaluate(result, BeatAnnotations(result, info.fs), truth, options.skipSeconds);
    const std::unique_ptr<FrameSource> raw = OpenRecord(options.record, options.reading);
    const std::vector<RawSTDifference> halfMinutes =
        CompareWithRawST(*raw, result, HalfMinutes(result, options.skipSeconds));
    evaluation.rawST = ScoreRawST(halfMinutes);
    if (!evaluation.stChanges.empty())
        MeasureRawChanges(evaluation.stChanges, *OpenRecord(options.record, options.reading), result,
                          halfMinutes, truth.st);
    if (json) {
        WriteEvaluationJson(*json, evaluation);
        json->Commit();
    }
    if (!options.quiet && options.json != "-") PrintEvaluation(std::cout, evaluation);
}
