// Commands: what the program does for each of its subcommands, apart from reading the command line.
#pragma once

#include <string>
#include <vector>

#include "host/analysis/StressAnalysis.h"
#include "host/record/RecordOptions.h"
#include "host/results/Exercise.h"

struct AnalyzeOptions {
    std::string record;  // empty: the simulated test
    RecordOptions reading;
    StressOptions analysis;
    ExerciseOptions exercise;
    std::string stagesFile;           // that `exercise` has its stages from; empty for none
    std::string protocol;             // named stages instead of those in `exercise`; empty for none
    double exerciseStartSeconds = 0;  // of the protocol
    std::string templateFrom;  // record to learn the first averaged beat from; empty: the record itself
    std::string csv, json, annotations, exported, report;  // paths of results; empty: not written
    double csvEverySeconds = 0;                            // 0: a row per beat
    bool doubled = false;                                  // of the exported signal
    double realtime = 0;                                   // speed; 0: as fast as it goes
    bool quiet = false;                                    // no report on stdout, no progress bar
};
/// The report goes to stdout, warnings to stderr. False where it was interrupted: the results are then those
/// up to there. Throws HostError, and none of the files is written then.
bool Analyze(AnalyzeOptions options);

/// What the file holds, to stdout.
void PrintInfo(const std::string& record, const RecordOptions& reading);

struct EvaluateOptions {
    std::string record;
    RecordOptions reading;
    StressOptions analysis;
    std::string reference;   // annotation file, or the truth of a simulated test (.json)
    double skipSeconds = 0;  // not counted at the start; EC57 leaves out 300
    std::string json;
    bool quiet = false;
};
void RunEvaluate(const EvaluateOptions& options);
