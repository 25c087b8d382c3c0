// BeatScores: found, classified and folded beats against those of a reference, as ANSI/AAMI EC57 counts them.
//
// A found beat is right when a reference beat lies within 150 ms; each beat is paired once, the nearest pairs
// first. Sensitivity is the part of the reference beats that was found, positive predictivity the part of the
// found beats that is right. Times and spans are ascending, and spans do not overlap. Beats within a span do
// not count; a pair lies where its reference beat lies.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/results/StressResult.h"
#include "host/results/Truth.h"

struct Hits {
    std::ptrdiff_t right = 0, missed = 0, extra = 0;
    double Sensitivity() const;           // 0..1, NaN without reference beats
    double PositivePredictivity() const;  // 0..1, NaN without found beats
};
struct BeatScore : Hits {
    double offsetMs = 0;  // median of found less reference; NaN without pairs
};
BeatScore ScoreBeats(const std::vector<double>& foundSeconds, const std::vector<double>& referenceSeconds,
                     const std::vector<Span>& uncounted);

/// The classes of EC57. Normal are N, L, R, B, e, j and n, supraventricular A, a, J and S, ventricular V, E
/// and r, fusion F; all other beats (paced, unclassified) are unknown.
enum class BeatClass { Normal, Supraventricular, Ventricular, Fusion, Unknown };
BeatClass ClassOf(int code);

/// Ventricular and supraventricular beats against all others. A reference beat of the class that was not
/// found is missed; a found beat of the class without a reference beat is extra. Not counted as extra are
/// fusion and unknown beats found ventricular, and unknown beats found supraventricular.
struct ClassScores {
    Hits ventricular, supraventricular;
};
ClassScores ScoreClasses(const std::vector<MarkedBeat>& found, const std::vector<MarkedBeat>& reference,
                         const std::vector<Span>& uncounted);

/// How the normal beats of the reference got into the averaged beat. A hole is a row of normal beats, at most
/// 10 s from one to the next, none of which has an ST value in any lead; it lasts from the first to the last
/// of them.
struct FoldingScore {
    std::ptrdiff_t normal = 0, folded = 0;        // normal beats, and those with a folded beat within 150 ms
    double Part() const;                          // 0..1, NaN without normal beats
    double holeSeconds = 0, holeFromSeconds = 0;  // the longest; NaN where every normal beat has a value
};
FoldingScore ScoreFolding(const std::deque<STReading>& folded, const std::vector<MarkedBeat>& reference,
                          const std::vector<Span>& uncounted);

/// A found and a reference beat, as indices, that belong together.
struct BeatPair {
    std::size_t found = 0, reference = 0;
    double offset = 0;  // seconds, found less reference
};
/// Each beat in at most one pair; the nearest pairs first.
std::vector<BeatPair> PairBeats(const std::vector<double>& foundSeconds,
                                const std::vector<double>& referenceSeconds);
