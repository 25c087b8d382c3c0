// Study: an analysis with all that is told of the test beside its signal: stages, blood pressures, patient,
// the reference. Every host that analyses a recording goes this way, so that all find the same.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/analysis/StressAnalysis.h"
#include "host/record/RecordOptions.h"
#include "host/results/Exercise.h"

struct StudyOptions {
    StressOptions analysis;
    ExerciseOptions exercise;
    std::string stagesFile;  // stages, truth of a simulation or annotations; empty: what the recording holds
    std::string pressuresFile;        // file of blood pressures; empty for none
    std::string protocol;             // named stages instead of those in `exercise`; empty for none
    double exerciseStartSeconds = 0;  // start of the protocol
    std::optional<Span> reference;    // from which changes of ST count; empty: as ChooseReference has it
    std::string patientFile;          // what is told of the patient; empty: what the recording tells
    Patient told;                     // as the user tells of the patient, over all else
    bool anonymous = false;           // leaves persons and remarks out of all results
    GivenOptions given;               // what results tell of these options
};

struct StudyResult {
    StressResult result;
    ExerciseSummary exercise;
};

/// Stages of a file of whichever kind: text, truth of a simulation (.json), annotations of the recording
/// `info`. Throws HostError.
std::vector<Stage> ReadAnyStages(const std::string& path, const SourceInfo& info);

/// Reads the files of the options and fills in stages, blood pressures and reference. Returns the facts of
/// the recording with what is told of the patient elsewhere, as results are to have them. Throws HostError.
SourceInfo TakeStudy(StudyOptions& options, SourceInfo info);

/// Analyses the source with options and facts from TakeStudy. `warnings` and those of exercise and reference
/// follow the ones of the analysis. Throws HostError.
StudyResult RunStudy(FrameSource& source, const StudyOptions& options, const SourceInfo& info,
                     std::vector<std::string> warnings, const std::vector<AnalysisObserver*>& observers);

/// The options of the analysis as results tell them: of a file also its contents and, where persons are left
/// out, not its name. `reading` is for the record of the template. Throws HostError for a file that cannot be
/// read.
GivenOptions TellOptions(const StudyOptions& options, const std::string& templateFrom,
                         const RecordOptions& reading = {});
