// The steps from what a matcher and a detector answer to what is shown: smoothing of ST values from beat to
// beat, and the RR interval in milliseconds. Shared by api/qzStressECGLib.h and qz::StressSession.
#pragma once

#include <vector>

#include "core/Export.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/stress/CZatMidRR.h"

/// The smoothers are built with these: the corner is a twentieth of the rate at which they are called, once
/// per beat.
constexpr double kSTsmootherHz = 5.0;
constexpr int kSTsmootherFs = 100;

/// Runs every lead's new value through its smoother, slopes in doubles and levels in whole numbers. The first
/// values, while `first` is true, prime the smoothers. As many values as smoothers at least.
QZ_API void SmoothTrend(std::vector<float>& values, std::vector<CLowpassFilter2>& smoothers, bool& first);
QZ_API void SmoothTrend(std::vector<short>& values, std::vector<CLowpassFilter2>& smoothers, bool& first);
/// The same for one lead: returns the smoothed value.
QZ_API float SmoothTrend(float value, CLowpassFilter2& smoother, bool first);
QZ_API short SmoothTrend(short value, CLowpassFilter2& smoother, bool first);

/// The steadied RR interval in ms for an interval of `samples` at fs samples per second, which enters
/// `average`: -1 for none (below 1 ms), 0 for one of 2000 ms or more; one under 200 ms counts as 200.
QZ_API short SteadyRRms(int samples, int fs, CZatMidRR& average);
