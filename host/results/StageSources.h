// StageSources: the stages of a test and its blood pressures, as texts and files tell them.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"
#include "host/results/Protocols.h"

/// "90", "1:30" or "1:02:30" in seconds; nothing where it is none of them, where 60 or more stand behind a
/// colon, or beyond a week.
std::optional<double> ParseTime(const std::string& text);

/// Reads "start power name" lines: seconds, min:s or h:min:s; watts, "-" or km/h and % of a treadmill
/// as 2.7/10; further words name the stage; '#' comments. Throws HostError.
std::vector<Stage> ReadStages(const std::string& path);

/// The stages that notes of a recording name, in order of time: "Rest", "Stage 2", "Bruce 3", "Exercise", "50
/// W", "2.7 km/h 10 %", "Warm-up", "Recovery" and the like; notes of other words are left out. Nothing unless
/// one of them is of work.
std::vector<Stage> StagesFromNotes(const std::vector<Note>& notes);

/// A blood pressure that was taken by hand or by a cuff; NaN for what was not.
struct BloodPressure {
    double seconds = 0;
    double systolic = std::numeric_limits<double>::quiet_NaN(), diastolic = systolic;  // mmHg
    double exertion = systolic;  // as the patient perceives it, on the scale of Borg that was used
};
/// Reads a table with a heading of "time" and any of "systolic", "diastolic" and "exertion"; times as in
/// ReadStages, in ascending order; an empty cell is not known. Throws HostError.
std::vector<BloodPressure> ReadBloodPressures(const std::string& path);
