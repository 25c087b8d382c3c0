// RawST: the ST level that an analysis tells against a plain measure on the signal as it was recorded.
//
// For each half minute, or another stretch, and lead: the beats that have a level, cut out of the raw signal
// at the measured onset of their QRS and put on their PR level; their median at each moment; its level at the
// same point after the same J, against the same PR segment. That is without any filter, and robust against
// beats that are not like the rest. It is compared with the median of the levels that were told.
#pragma once

#include <cstddef>
#include <vector>

#include "host/record/FrameSource.h"
#include "host/results/StressResult.h"

struct RawSTDifference {
    std::size_t lead = 0;
    Span span;  // a half minute, or what else was asked for
    double toldUv = 0, rawUv = 0;
};
struct RawSTScore {
    int halfMinutes = 0;  // measured, those of all leads added up
    int within15Uv = 0, within40Uv = 0;
    double medianUv = 0,
           mostUv = 0;  // of the magnitudes of the differences: median, and what 95 % do not exceed
    RawSTDifference worst;
};

/// The half minutes of an analysis that begin from skipSeconds on.
std::vector<Span> HalfMinutes(const StressResult& result, double skipSeconds);
/// `source` begins with its first frame; `spans` are in order of their beginnings, each with the margin of a
/// second in memory at once. Those with fewer than ten beats are left out; with --post-j there are none, as
/// the engine has a J of its own.
std::vector<RawSTDifference> CompareWithRawST(FrameSource& source, const StressResult& result,
                                              const std::vector<Span>& spans);
RawSTScore ScoreRawST(const std::vector<RawSTDifference>& differences);
