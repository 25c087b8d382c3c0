// STChanges: the largest changes of ST that people have marked, against those that an analysis has measured.
#pragma once

#include <cstddef>
#include <vector>

#include "host/results/RawST.h"
#include "host/results/StressResult.h"
#include "host/results/Summaries.h"
#include "host/results/Truth.h"

/// The measured change is the median ST level of the 20 s behind the mark, in the middle of which the trend
/// is where the signal was at the mark, less the reference level: the median ST level of the lead outside all
/// its marked episodes. NaN where one of the two is not known, as of an episode that fills the recording.
struct STChange {
    std::size_t lead = 0;
    double seconds = 0;  // of the mark
    double markedUv = 0, measuredUv = 0;
    double rawUv = kNothing;  // as MeasureRawChanges finds it
};
/// Lead after lead, each in order of time. Marks of leads that the result lacks are left out.
std::vector<STChange> CompareSTChanges(const StressResult& result, const std::vector<MarkedST>& marked);
/// The same changes on the signal as it was recorded, from its first frame on: the raw level of those 20 s
/// less the median of `halfMinutes`, its raw levels half minute by half minute, outside all episodes. They
/// tell what is wrong where a change was not measured as marked: the measurement, or the point and the
/// reference of the mark.
void MeasureRawChanges(std::vector<STChange>& changes, FrameSource& source, const StressResult& result,
                       const std::vector<RawSTDifference>& halfMinutes, const std::vector<MarkedST>& marked);
