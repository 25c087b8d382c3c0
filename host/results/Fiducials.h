// Fiducials: onset and end of the QRS against marks that people have put by hand.
//
// The measured onset and end of a beat are those of the averaged beat as it was then, aligned with this one.
// Only beats that were folded in have them: the averaged beat is theirs alone.
#pragma once

#include <cstddef>
#include <vector>

#include "host/record/Annotations.h"
#include "host/results/StressResult.h"
#include "host/results/Truth.h"

/// The QRS complexes in a file of waveform marks: a beat is the peak, "(" right before it the onset, ")"
/// right behind it the end. Ascending.
std::vector<QrsMark> QrsMarksFrom(const std::vector<Annotation>& annotations, double annotationHz);

/// One list of the marks that several leads have each. A beat needs marks of its peak in half of the leads,
/// and its peak is their median. With three onsets or more its onset is the second earliest, so that no
/// single lead decides, otherwise the earliest; its end likewise from behind.
std::vector<QrsMark> CombineLeads(const std::vector<std::vector<QrsMark>>& leads);

struct OffsetSize {
    int count = 0;
    double meanMs = 0, sdMs = 0;  // measured less marked; NaN without, and with fewer than two
};
struct FiducialScore {
    std::size_t marked = 0;  // QRS complexes
    OffsetSize onset, end;
};
FiducialScore ScoreFiducials(const StressResult& result, const std::vector<QrsMark>& marks);
