// Strips: which stretches of its signal tell most of a test.
//
// Those that were asked for come first. Then, eight at most: the reference, the peak heart rate, the largest
// ST change, the two stretches that tell most of ventricular beats, the ends of the stages of work from the
// last one to the first, and further ventricular beats: the longest rows first, of equally long ones those
// with most ventricular beats about them, of those the ones that lie apart. A stretch that nearly is one of
// those before it is told with that.
#pragma once

#include <vector>

#include "host/results/Exercise.h"
#include "host/results/StressResult.h"

constexpr double kStripSeconds = 10;
constexpr std::size_t kMostStrips = 8;  // besides those that were asked for

/// Strips without their signal, each within the recording where that is long enough. Times that were asked
/// for and lie behind the end are left out.
std::vector<Strip> ChooseStrips(const StressResult& result, const ExerciseSummary& exercise,
                                const std::vector<double>& askedSeconds);
