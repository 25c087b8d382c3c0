// Course: the figures of a test stage by stage and, in recovery, minute by minute.
#pragma once

#include <string>
#include <vector>

#include "host/results/Ectopy.h"
#include "host/results/Exercise.h"

/// One stage, or one minute of the first stage without work after the work. Heart rate and ST are medians of
/// its last minute, the blood pressure is the last one taken in it, its end included. NaN for what is not
/// known.
struct CourseRow {
    std::string name;
    Stage stage;
    Span span;
    bool isRecovery = false;
    double mets = 0, bpm = 0, percentOfPredicted = 0;
    BloodPressure pressure;
    double ratePressure = 0;                              // mmHg/min
    std::vector<double> levelUv, changeUv, slopeUvPerMs;  // per lead
    BeatCounts counts;
};
/// In order of time; empty without stages. Of a long recovery the first 15 minutes are told one by one.
std::vector<CourseRow> SummarizeCourse(const StressResult& result, const ExerciseSummary& exercise);

/// ST of a lead around its largest change, or at the time of another lead's.
struct STThen {
    double seconds = 0, levelUv = 0, changeUv = 0, jUv = 0, slopeUvPerMs = 0, bpm = 0;
    qz::STShape shape = qz::STShape::Unknown;
};
/// The value of each lead at the reading nearest to `seconds`; NaN where it has none.
std::vector<STThen> MeasureAllAt(const StressResult& result, double seconds);
/// Each lead at its own largest change.
std::vector<STThen> MeasureAtLargestChange(const StressResult& result);
