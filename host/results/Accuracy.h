// Accuracy: how far heart rate and ST of a result are from what they should have been.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host/results/StressResult.h"
#include "host/results/Truth.h"

struct ErrorSize {
    double median = 0, maximum = 0;  // of the absolute error; NaN without readings
};
struct Accuracy {
    ErrorSize bpm;
    std::vector<ErrorSize> levelUv, slopeUvPerMs;  // per lead
};
Accuracy CompareWithTruth(const StressResult& result, const Truth& truth);
/// A line for the heart rate, and a table of ST per lead where it is known, 100 columns wide.
void PrintAccuracy(std::ostream& out, const std::vector<std::string>& leads, const Accuracy& accuracy);
