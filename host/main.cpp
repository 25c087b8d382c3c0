// qzstress: analyses a recorded or simulated exercise test and prints its trends.
//
// Exit codes: 0 done; 1 the recording cannot be analysed, one line on stderr naming it; 2 wrong usage.

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "host/HostError.h"
#include "host/Report.h"
#include "host/SimulatedTest.h"
#include "host/StressAnalysis.h"
#include "host/WfdbRecord.h"

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

void PrintWarnings(const StressResult& result) {
    for (const std::string& warning : result.warnings)
        std::cerr << "qzstress: " << OneLine(result.source.name + ": " + warning) << "\n";
}

void AnalyzeRecord(const std::string& record, const StressOptions& options) {
    WfdbRecord source(record);
    const StressResult result = StressAnalysis(source, options).Run();
    PrintWarnings(result);
    PrintReport(std::cout, result);
}

void AnalyzeSimulation(const StressOptions& options) {
    SimulatedTest source;
    const StressResult result = StressAnalysis(source, options).Run();
    const Truth truth{
        [&](double seconds) { return source.TrueHeartRate(seconds); },
        [&](int lead, double seconds) { return source.TrueSTuV(lead, seconds, options.postJms); },
        [&](int lead, double seconds) { return source.TrueSTslope(lead, seconds, options.postJms); }};
    PrintWarnings(result);
    PrintReport(std::cout, result);
    PrintAccuracy(std::cout, result, CompareWithTruth(result, truth));
}

/// Parses the command line and does what it asks for; the exit code.
int Run(int argc, char** argv) {
    CLI::App app{"Stress-ECG analysis of WFDB records"};
    app.require_subcommand(1);
    CLI::App& analyze = *app.add_subcommand("analyze", "Print heart rate and ST trends of a recording");
    std::string record;
    StressOptions options;
    CLI::Option& recordGiven = *analyze.add_option(
        "RECORD", record, "Path of a WFDB header, .hea or not; without it a simulated test");
    analyze.add_option("--mains", options.conditioner.mainsHz, "Mains frequency in Hz, 0 for none")
        ->check(CLI::IsMember({0, 50, 60}))
        ->capture_default_str();
    analyze
        .add_option("--lowpass", options.conditioner.lowpassHz, "Cutoff of the low-pass in Hz, 0 for none")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    analyze.add_option("--smooth", options.conditioner.smooth, "Strength of the smoother, 0 for none")
        ->check(CLI::IsMember({0, 1, 2}))
        ->capture_default_str();
    analyze.add_option("--post-j", options.postJms, "ST is measured this many ms after J + 6 ms")
        ->check(CLI::Range(10, 200))
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);  // --help
        std::cerr << "qzstress: " << OneLine(error.what()) << "\n";
        return kExitUsage;
    }
    if (recordGiven.count() > 0)
        AnalyzeRecord(record, options);
    else
        AnalyzeSimulation(options);
    std::cout.flush();
    if (!std::cout) throw HostError("stdout", "the report could not be written");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "qzstress: " << OneLine(error.what()) << "\n";
        return kExitFailed;
    }
}
