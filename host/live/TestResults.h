// TestResults: what a test that has ended leaves beside its recording.
//
//   stages.txt, pressures.txt   as `qzstress analyze --stages --bp` reads them, kept up to date in the test
//   results/                    report.pdf, result.json, trends.csv and beats.atr, as `analyze` writes them
#pragma once

#include <string>
#include <vector>

#include "host/live/LiveState.h"
#include "host/results/StressResult.h"

/// Names in results/, that which is looked at first.
inline const std::vector<std::string> kResultFiles{"report.pdf", "result.json", "trends.csv", "beats.atr"};

/// Writes stages and pressures, as far as there are any. Throws HostError.
void WriteCourse(const std::string& folder, const live::State& state);

/// The words of the `qzstress analyze` that makes the results of the record in `folder`, with the options of
/// the analysis as they were given.
std::vector<std::string> AnalysisWords(const std::string& folder, const live::State& state,
                                       const GivenOptions& given);

/// Runs this program with these words and waits for it. An interrupt of the terminal does not reach it.
/// Returns its exit code. Throws HostError where it cannot be started or is ended by a signal.
int RunProgram(const std::vector<std::string>& words);
