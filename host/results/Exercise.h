// Exercise: what the doctor knows of a test (stages, angina, exercise time), and the indices made from it.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "core/stress/STHRIndices.h"
#include "host/results/Capacity.h"
#include "host/results/Duke.h"
#include "host/results/Protocols.h"
#include "host/results/StageSources.h"
#include "host/results/StressResult.h"

/// The figures of a stage are medians over this long before its end.
constexpr double kStageEndSeconds = 60;
/// Heart rates at which the physical working capacity is given, beats/min.
constexpr std::array kPwcRates{130, 150, 170};

struct ExerciseOptions {
    std::vector<Stage> stages;                  // in order of their starts
    std::optional<double> exerciseSeconds;      // else from the first stage with work to the first after it
    std::optional<int> angina;                  // 0 none, 1 not limiting, 2 limiting; empty: not given
    std::vector<BloodPressure> pressures = {};  // in order of time
    PredictedRate predicted = PredictedRate::Fox;
    std::vector<std::string> stageLeads = {};  // for the table of stages; empty: the three that change most
};

/// The published ST/HR index and slope of a lead, uV per beat/min. Rest is the reference; peak exercise is
/// the last half minute of the work or, without stages, that of the peak heart rate. The slope goes through
/// the reference and the end of each stage with work or, without stages, each minute up to the peak.
struct STHRFigures {
    double index = 0;  // NaN where not known
    STHRSlope slope;
};

struct ExerciseSummary {
    std::vector<Stage> stages;             // those that begin before the end of the recording
    std::optional<int> angina;             // as in ExerciseOptions
    std::vector<BloodPressure> pressures;  // those to the end of the recording
    Capacity capacity;
    std::vector<std::size_t> stageLeads;  // for the table of stages
    std::optional<double> exerciseSeconds;
    /// Highest median over a whole half minute, or over the whole of a shorter recording, and the end of that
    /// stretch; NaN without heart rate.
    double peakBpm = 0;
    double peakSeconds = 0;
    /// Largest ST change of any lead that IsChosenForST from the reference, mV (0.1 mV is 1 mm on ECG paper;
    /// a depression is negative), and its lead.
    double stDeviationMv = 0;
    std::string stLead;
    std::optional<Duke> duke;       // empty without an exercise time, or without ST changes from then on
    std::vector<STHRFigures> sthr;  // per lead
    std::optional<std::size_t> sthrIndexLead, sthrSlopeLead;  // with the highest of all but aVR, aVL and V1
    std::array<std::optional<double>, kPwcRates.size()> pwcWatts;  // at kPwcRates
};

/// The stretch from the first stage with work to the first stage without work after it, or to the end of the
/// recording; nothing if there is no work.
std::optional<Span> FindWork(const std::vector<Stage>& stages, double recordingSeconds);

/// When beats tell most of a test: at the end of each stage of work, and 1, 3 and 5 minutes after the work.
/// Nothing without work and an end of it.
std::vector<double> TellingSeconds(const std::vector<Stage>& stages);

/// True if the stages are named like those of the Bruce protocol, for which the Duke score is made.
bool IsBruce(const std::vector<Stage>& stages);

/// Warnings, a phrase each, about exercise and blood pressures that do not fit a recording of this length, or
/// leave figures unknown.
std::vector<std::string> CheckExercise(const ExerciseOptions& options, double recordingSeconds);

ExerciseSummary SummarizeExercise(const StressResult& result, const ExerciseOptions& options);

/// The stage at a time as an index; nothing before the first.
std::optional<std::size_t> StageAt(const std::vector<Stage>& stages, double seconds);
/// The name of a stage or, where it has none, its number from 1 on.
std::string NameStage(const Stage& stage, std::size_t index);
