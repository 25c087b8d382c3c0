#include "host/Commands.h"

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>

#include "host/BeatMarker.h"
#include "host/Evaluate.h"
#include "host/Exporter.h"
#include "host/HostError.h"
#include "host/Monitor.h"
#include "host/Progress.h"
#include "host/Report.h"
#include "host/ReportDrawing.h"
#include "host/ResultFiles.h"
#include "host/SimulatedTest.h"
#include "host/Text.h"
#include "host/Truth.h"

namespace {

constexpr double kTemplateSeconds = 60;  // of another record are looked at for its beat
constexpr double kStripMarginSeconds = 5;

volatile std::sig_atomic_t g_interrupted = 0;

// Ends the analysis when the user asks for it.
class InterruptWatch : public AnalysisObserver {
public:
    InterruptWatch() {
        std::signal(SIGINT, [](int) { g_interrupted = 1; });
    }
    ~InterruptWatch() override { std::signal(SIGINT, SIG_DFL); }
    bool Stop() override { return g_interrupted != 0; }
};

// Ends the analysis after so much signal.
class StopAfter : public AnalysisObserver {
public:
    explicit StopAfter(double frames) : m_frames(frames) {}
    void OnFrame(const short* /*frame*/) override { --m_frames; }
    bool Stop() override { return m_frames <= 0; }

private:
    double m_frames;
};

LearnedBeat LearnFrom(const std::string& path, const SourceInfo& target, const RecordOptions& reading,
                      const StressOptions& options) {
    const std::unique_ptr<FrameSource> source = OpenRecord(path, reading);
    const SourceInfo& info = source->Info();
    if (info.fs != target.fs || info.leads.size() != target.leads.size())
        throw HostError(path, "a beat of " + std::to_string(target.leads.size()) + " leads at " +
                                  std::to_string(target.fs) + " Hz is expected, not of " +
                                  std::to_string(info.leads.size()) + " at " + std::to_string(info.fs) +
                                  " Hz");
    StopAfter stop(kTemplateSeconds * info.fs);
    return StressAnalysis(*source, options, {&stop}).Run().learned;
}

// At the start, a third, two thirds and the end of a recording whose length is known.
std::vector<double> DefaultStrips(const SourceInfo& info) {
    const double seconds = static_cast<double>(info.frames) / info.fs;
    if (seconds < 4 * kStripMarginSeconds) return {0};
    return {kStripMarginSeconds, seconds / 3, seconds * 2 / 3, seconds - kStripMarginSeconds};
}

void PrintWarnings(const StressResult& result) {
    for (const std::string& warning : result.warnings)
        std::cerr << "qzstress: " << OneLine(result.source.name + ": " + warning) << "\n";
}

Truth TruthOf(const SimulatedTest& test, int postJms) {
    return {[&test](double seconds) { return test.TrueHeartRate(seconds); },
            [&test, postJms](int lead, double seconds) { return test.TrueSTuV(lead, seconds, postJms); },
            [&test, postJms](int lead, double seconds) { return test.TrueSTslope(lead, seconds, postJms); }};
}

}  // namespace

bool Analyze(AnalyzeOptions options) {
    if (!options.report.empty()) CheckReportName(options.report);
    const SimulatedTest* simulated = nullptr;
    std::unique_ptr<FrameSource> source;
    if (options.record.empty()) {
        auto test = std::make_unique<SimulatedTest>();
        simulated = test.get();
        source = std::move(test);
        if (options.exercise.stages.empty()) options.exercise.stages = simulated->Stages();
    } else {
        source = OpenRecord(options.record, options.reading);
    }
    if (!options.protocol.empty()) {
        const double start = options.exerciseStartSeconds;
        const double seconds =
            options.exercise.exerciseSeconds.value_or(std::numeric_limits<double>::infinity());
        options.exercise.stages = ProtocolStages(options.protocol, start, start + seconds);
    }
    const SourceInfo& info = source->Info();
    if (options.analysis.stripSeconds.empty() && !options.report.empty())
        options.analysis.stripSeconds = DefaultStrips(info);
    std::optional<LearnedBeat> beat;
    if (!options.templateFrom.empty()) {
        beat = LearnFrom(options.templateFrom, info, options.reading, options.analysis);
        options.analysis.beat = &*beat;
    }

    InterruptWatch interrupt;
    AnalysisProgress progress(info, !options.quiet && options.realtime == 0);
    std::vector<AnalysisObserver*> observers{&interrupt, &progress};
    std::optional<Monitor> monitor;
    if (options.realtime > 0)
        observers.push_back(&monitor.emplace(std::cout, info, options.realtime, isatty(STDOUT_FILENO) == 1));
    std::optional<Exporter> exporter;
    if (!options.exported.empty())
        observers.push_back(&exporter.emplace(options.exported, info, options.doubled));
    std::optional<BeatMarker> marker;
    if (!options.annotations.empty()) observers.push_back(&marker.emplace(info));

    const StressResult result = StressAnalysis(*source, options.analysis, observers).Run();
    const ExerciseSummary exercise = SummarizeExercise(result, options.exercise);
    PrintWarnings(result);
    if (exporter) exporter->Finish();
    if (marker) WriteAnnotations(options.annotations, marker->Annotations());
    if (!options.csv.empty()) WriteTrendsCsv(options.csv, result, options.csvEverySeconds);
    if (!options.report.empty()) WriteReport(options.report, {result, exercise});
    if (!options.json.empty()) WriteResultJson(options.json, result, exercise);
    if (!options.quiet) {
        PrintReport(std::cout, result, exercise);
        if (simulated != nullptr) {
            std::cout << "\nDistance from the truth of the simulation\n";
            PrintAccuracy(std::cout, info.leads,
                          CompareWithTruth(result, TruthOf(*simulated, options.analysis.postJms)));
        }
        if (!options.report.empty()) std::cout << "\nReport: " << options.report << "\n";
    }
    return g_interrupted == 0;
}

void PrintInfo(const std::string& record, const RecordOptions& reading) {
    const std::unique_ptr<FrameSource> source = OpenRecord(record, reading);
    const SourceInfo& info = source->Info();
    std::cout << info.name << ": " << info.leads.size() << " leads, " << info.fs << " Hz";
    if (info.frames > 0) std::cout << ", " << Clock(static_cast<double>(info.frames) / info.fs) << " min:s";
    if (!info.started.empty()) std::cout << ", from " << info.started;
    std::cout << "\nread as " << info.uVpb << " uV per unit\nleads:";
    for (const std::string& lead : info.leads) std::cout << ' ' << lead;
    std::cout << "\n";
    for (const std::string& line : source->Describe()) std::cout << line << "\n";
    for (const std::string& line : info.remarks) std::cout << "remark: " << line << "\n";
    for (const std::string& line : source->Warnings()) std::cout << "warning: " << line << "\n";
}

void RunEvaluate(const EvaluateOptions& options) {
    const std::unique_ptr<FrameSource> source = OpenRecord(options.record, options.reading);
    const SourceInfo& info = source->Info();
    Reference reference;
    std::optional<RecordedTruth> truth;
    if (std::filesystem::path(options.reference).extension() == ".json") {
        truth = ReadTruth(options.reference);
        if (truth->postJms != options.analysis.postJms)
            throw HostError(options.reference, "holds ST " + std::to_string(truth->postJms) +
                                                   " ms after J + 6 ms; --post-j " +
                                                   std::to_string(truth->postJms) + " is expected");
        reference = truth->ReferenceFor(info);
    } else {
        reference = ReferenceFrom(ReadAnnotations(options.reference), info.fs);
        if (reference.beatSeconds.empty())
            throw HostError(options.reference, "holds no beats to compare with");
    }
    AnalysisProgress progress(info, !options.quiet);
    BeatMarker marker(info);
    const StressResult result = StressAnalysis(*source, options.analysis, {&progress, &marker}).Run();
    PrintWarnings(result);
    const Evaluation evaluation = Evaluate(result, marker.Annotations(), reference, options.skipSeconds);
    if (!options.json.empty()) WriteEvaluationJson(options.json, evaluation);
    if (!options.quiet) PrintEvaluation(std::cout, evaluation);
}
