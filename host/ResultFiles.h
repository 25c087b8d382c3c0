// ResultFiles: an analysis as files for other programs.
#pragma once

#include <string>

#include "host/Exercise.h"
#include "host/Trends.h"

/// Comma-separated trends, one row per folded beat, or, with `everySeconds` above 0, the first beat of every
/// such stretch: time, RR, heart rate, and per lead ST level, slope, change since the first level and ST/HR
/// index. Units are in the column names; a figure that is not known is empty.
void WriteTrendsCsv(const std::string& path, const StressResult& result, double everySeconds);

/// Everything that the analysis found, as JSON with the schema "qzstress-result-1" (docs/qzstress.md).
void WriteResultJson(const std::string& path, const StressResult& result, const ExerciseSummary& exercise);
