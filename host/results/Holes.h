// Holes: when a lead had no ST although beats passed, and why.
#pragma once

#include <string>
#include <vector>

#include "host/results/StressResult.h"

// Causes of a hole besides a lead that is "off".
inline constexpr const char* kHoleDisturbed = "disturbed";
inline constexpr const char* kHoleVentricular = "ventricular beats";
inline constexpr const char* kHoleOnT = "ST point on the T wave";
inline constexpr const char* kHoleRenewed = "another shape, or the average of this lead renewed";
inline constexpr const char* kHoleNotLearned = "no averaged beat";
inline constexpr const char* kHoleUnlike = "beats unlike the averaged one";

/// A stretch between two ST values of a lead, or before its first or after its last one, in which beats were
/// found.
struct Hole {
    Span span;
    std::string why;  // "off", or one of the above
};

/// Holes of 10 s and more of every lead, in order of time.
std::vector<std::vector<Hole>> FindHoles(const StressResult& result);
/// For people, a phrase for all leads with the same holes: "no ST of V5, V6 for 2:10 min:s, the longest from
/// 05:10 to 06:20 (off)".
std::vector<std::string> DescribeHoles(const StressResult& result,
                                       const std::vector<std::vector<Hole>>& holes);
