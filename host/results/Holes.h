// Holes: when a lead had no ST although beats passed, and why.
#pragma once

#include <string>
#include <vector>

#include "host/results/StressResult.h"

/// A stretch between two ST values of a lead, or before its first or after its last one, in which beats were
/// found.
struct Hole {
    Span span;
    std::string why;  // "off", "disturbed", "ventricular beats", "beats unlike the averaged one", ...
};

/// Holes of 10 s and more of every lead, in order of time.
std::vector<std::vector<Hole>> FindHoles(const StressResult& result);
/// For people, a phrase for all leads with the same holes: "no ST of V5, V6 for 2:10 min:s, the longest from
/// 05:10 to 06:20 (off)".
std::vector<std::string> DescribeHoles(const StressResult& result,
                                       const std::vector<std::vector<Hole>>& holes);
