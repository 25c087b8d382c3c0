// Truth: what an analysis should have found, as annotations, a file or a simulation know it.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "host/record/Annotations.h"
#include "host/results/StressResult.h"

/// Functions are of the time in seconds, with leads in source order; they answer NaN where the value is not
/// known, and may be empty.
struct Truth {
    std::vector<double> beatSeconds;  // R of every beat, ascending
    std::vector<Span> fibrillation;   // without beats to find, in order of time
    std::function<double(double seconds)> bpm;
    std::function<double(std::size_t lead, double seconds)> levelUv;
    std::function<double(std::size_t lead, double seconds)> slopeUvPerMs;

    /// Heart rate at a time: that of `bpm` or, where it is empty, of the median of the last five intervals
    /// between beats; NaN before the second beat.
    double BpmAt(double seconds) const;
};

/// The beats of an annotated recording and its stretches of ventricular flutter or fibrillation.
Truth TruthFrom(const std::vector<Annotation>& annotations, double annotationHz);
