// RateScore: the heart rate as a display would have shown it, second by second, against a reference.
#pragma once

#include <vector>

#include "host/results/StressResult.h"
#include "host/results/Truth.h"

/// Seconds that have beats: the last reference beat is at most 3 s ago and a reference rate is known
/// (Truth::BpmAt). Shown is the latest heart rate, for 10 s at most. It is right within 5 % or 3 beats/min of
/// the reference, whichever is more.
struct RateScore {
    int right = 0, wrong = 0, none = 0;  // seconds; none: no rate is shown
    double Part() const;                 // right, of all that have beats; 0..1, NaN without any
};
/// Asked once a second, from second 1 of the recording on; not within a span of `uncounted`.
RateScore ScoreRate(const StressResult& result, const Truth& truth, const std::vector<Span>& uncounted);
