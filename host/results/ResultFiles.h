// ResultFiles: an analysis as files for other programs.
#pragma once

#include <ostream>

#include "host/record/FrameSource.h"
#include "host/results/Exercise.h"
#include "host/results/StressResult.h"
#include "host/support/PendingFile.h"

/// Comma-separated trends, one row per folded beat, or, with `everySeconds` above 0, the first beat of every
/// such stretch: time, RR, heart rate, per lead ST level, slope, change from the reference and the engine's
/// STHRindex, and from when to when the reference is. Units are in the column names; a figure that is not
/// known is empty. The caller commits.
void WriteTrendsCsv(PendingFile& file, const StressResult& result, double everySeconds);

/// Value of the member "schema" of a result.
inline constexpr const char* kResultSchema = "qzstress-result-1";

/// Value of the member "program": which version made it.
inline constexpr const char* kProgram = "qzstress " QZSTRESS_VERSION;

/// Everything that the analysis found, as JSON with the schema kResultSchema (docs/schema).
void WriteResultJson(std::ostream& out, const StressResult& result, const ExerciseSummary& exercise);
/// The same without the trends, which are most of it: no "heart_rate" and no "st".
void WriteSummaryJson(std::ostream& out, const StressResult& result, const ExerciseSummary& exercise);

/// What a recording holds, as JSON with the schema "qzstress-info-1".
void WriteInfoJson(std::ostream& out, const FrameSource& source);
