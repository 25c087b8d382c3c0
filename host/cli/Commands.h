// Commands: what the program does for each of its subcommands, apart from reading the command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/analysis/Study.h"
#include "host/record/RecordOptions.h"
#include "host/report/ReportData.h"

struct AnalyzeOptions : StudyOptions {
    std::string record;  // empty: the simulated test
    RecordOptions reading;
    std::string templateFrom;  // record to learn the first averaged beat from; empty: the record itself
    std::string csv, json, annotations, exported, report;  // paths of results; empty: not written
    std::vector<double> stripSeconds;  // starts of strips in the report, besides those that tell most
    Paper paper = Paper::A4;           // of the report
    std::string language = "en";       // of the report
    double csvEverySeconds = 0;        // 0: a row per beat
    bool doubled = false;              // of the exported signal
    double realtime = 0;               // speed; 0: as fast as it goes
    bool quiet = false;                // no report on stdout, no progress bar
    bool force = false;                // replaces files that are no earlier results of the same kind
};
/// Analyses a record: the report goes to stdout, warnings to stderr. Returns the exit code: 0,
/// kExitInterrupted with results up to there, or kExitFailed where a file could not be written, which stderr
/// tells and which costs the others nothing. Throws HostError, and then writes none of the files.
[[nodiscard]] int Analyze(AnalyzeOptions options);

/// Throws HostError for options with which no recording could be analysed.
void CheckStudy(const AnalyzeOptions& options);

/// Prints what a recording holds to stdout.
void PrintInfo(const std::string& record, const RecordOptions& reading, bool asJson);

struct EvaluateOptions {
    std::string record;
    RecordOptions reading;
    StressOptions analysis;
    std::string reference;  // annotation file, or the truth of a simulated test (.json); may be empty
    std::vector<std::string> fiducials;  // files of QRS marks by hand, one or one for each lead; may be empty
    double skipSeconds = 0;              // stretch at the start that does not count; EC57 leaves out 300 s
    std::string json;
    bool quiet = false;
    bool force = false;  // as above
};
void RunEvaluate(const EvaluateOptions& options);
