// Ectopy: the beats of an analysis by their class, and what the ventricular ones do in a row.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/results/Exercise.h"
#include "host/results/StressResult.h"

/// The beats of a stretch of the recording. Ventricular beats in a row are two for a couplet, three or more
/// for a run; a row belongs to the stretch in which it begins, its beats to those in which they lie.
struct BeatCounts {
    std::string stretch;  // name of the stage; empty for the whole recording
    double fromSeconds = 0, toSeconds = 0;
    int beats = 0, supraventricular = 0, ventricular = 0, paced = 0, unclassified = 0;  // the rest is normal
    std::size_t couplets = 0, runs = 0;
    std::size_t longestRun = 0;                       // beats; 0 without a run
    double fastestRunBpm = 0, fastestRunSeconds = 0;  // mean rate within a run; NaN without one
    /// Part of the beats, percent; NaN without beats.
    double VentricularPercent() const;
    double SupraventricularPercent() const;
};
/// Ventricular beats in a row, a single one too; beats more than 2 s apart are not in a row.
struct VentricularRow {
    double fromSeconds = 0, toSeconds = 0;  // of its first and its last beat
    std::size_t beats = 0;
    /// Mean rate within it, beats/min; NaN of a single beat.
    double Bpm() const;
};
/// In order of time.
std::vector<VentricularRow> FindVentricularRows(const std::vector<FoundBeat>& beats);

/// The whole recording first, then each of the stages.
std::vector<BeatCounts> CountBeats(const StressResult& result, const std::vector<Stage>& stages);
