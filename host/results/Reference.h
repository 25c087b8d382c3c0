// Reference: the stretch of a recording from which changes of ST count, and what was measured in it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/results/Exercise.h"
#include "host/results/StressResult.h"

/// The stretch that was asked for; else, where stages with work are known, the time before the first of them;
/// else nothing: then it is FirstReadings.
std::optional<ReferenceStretch> ChooseReference(const std::optional<Span>& asked,
                                                const std::vector<Stage>& stages);
/// The half minute from the first ST value on.
ReferenceStretch FirstReadings(double firstSeconds);

/// Medians over the reference; per lead in source order. NaN where there is no value in it.
struct Reference {
    std::vector<double> levelUv, slopeUvPerMs;
    std::vector<std::size_t> beats;  // with an ST value in the lead
    double bpm = 0;
};
Reference MeasureReference(const StressResult& result);

/// "0:00 to 2:00 min:s, rest before the exercise: 131 beats, 70 beats/min".
std::string DescribeReference(const StressResult& result);

/// What may be wrong with a reference.
struct ReferenceDoubts {
    std::vector<std::size_t> leadsWithout;  // without an ST value in it
    bool isInExercise = false;              // it overlaps stages with work
    double bpm = 0;                         // its heart rate
    bool isFast = false;                    // above 100 beats/min
    double recoveredBpm =
        0;  // to which less than three quarters of it falls later, for two minutes; else NaN
};
ReferenceDoubts DoubtReference(const StressResult& result, const std::vector<Stage>& stages);

/// Warnings, a phrase each: no ST values in the reference, or a reference that is not at rest.
std::vector<std::string> CheckReference(const StressResult& result, const std::vector<Stage>& stages);
