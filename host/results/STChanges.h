// STChanges: the largest changes of ST that people have marked, against those that an analysis has measured.
#pragma once

#include <cstddef>
#include <vector>

#include "host/results/StressResult.h"
#include "host/results/Truth.h"

/// The measured change is the median ST level of the 20 s behind the mark, in the middle of which the trend
/// is where the signal was at the mark, less the reference level: the median ST level of the lead outside all
/// its marked episodes. NaN where one of the two is not known.
struct STChange {
    std::size_t lead = 0;
    double seconds = 0;  // of the mark
    double markedUv = 0, measuredUv = 0;
};
/// Lead after lead, each in order of time. Marks of leads that the result lacks are left out.
std::vector<STChange> CompareSTChanges(const StressResult& result, const std::vector<MarkedST>& marked);
