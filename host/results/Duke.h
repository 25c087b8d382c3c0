// Duke: the treadmill score of Duke University, with the ST deviation as its sources define it.
//
//   score = minutes of exercise - 5 * ST deviation in mm - 4 * angina index
//
// The ST deviation is the largest net change from rest, during exercise or after it, in any lead but aVR: a
// depression that is horizontal or downsloping, or an elevation in a lead without a pathological Q wave. One
// below 1 mm counts as 0. A millimetre of paper is 0.1 mV. A change that is over soon (MedianAroundBriefUv)
// is left out: a disturbance of some beats would make a high risk of 5 mm.
//
// Risk: low from 5 up, high from -11 down, moderate between. It was found for the Bruce protocol and patients
// who were asked for angina, and is told for them alone.
//
// Sources: Mark et al., Ann Intern Med 1987; 106: 793-800, and N Engl J Med 1991; 325: 849-853. The Q wave is
// that of the fourth universal definition of myocardial infarction (Thygesen et al., Circulation 2018; 138:
// e618-e651): at least 30 ms wide and 1 mm deep.
#pragma once

#include <cstddef>
#include <optional>

#include "host/results/StressResult.h"

/// The largest net change of ST that may count, even if it is below 1 mm.
struct DukeST {
    double netMm = 0;  // negative is a depression; 0 where no change qualifies
    std::size_t lead = 0;
    double seconds = 0;
    double slopeUvPerMs = 0;
    /// What the score takes of it: its magnitude from 1 mm up, else 0.
    double CountedMm() const;
};
/// Of the readings from `fromSeconds` on; nothing if none of them has a change.
std::optional<DukeST> FindDukeST(const StressResult& result, double fromSeconds);

/// True if the averaged beat of the reference begins with a Q wave at least 30 ms wide and 0.1 mV deep.
bool HasPathologicalQ(const StressResult& result, std::size_t lead);

struct Duke {
    DukeST st;
    double points = 0;           // exact
    int score = 0;               // as DukeScore has it: truncated toward zero
    const char* risk = nullptr;  // "low", "moderate" or "high"; null: not told
};
/// `angina` counts 0 where it is not given.
Duke ScoreDuke(const DukeST& st, double exerciseSeconds, std::optional<int> angina, bool isBruce);
