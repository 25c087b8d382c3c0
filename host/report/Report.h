// Report: an analysis as text for a terminal of 100 columns, plain ASCII.
//
// Level and slope stand in tables of their own, one row per minute, at most twelve leads wide; more leads
// follow in further tables below. Every column has its unit under its name; "-" stands for nothing measured.
#pragma once

#include <ostream>

#include "host/results/Exercise.h"
#include "host/results/Trends.h"

void PrintReport(std::ostream& out, const StressResult& result, const ExerciseSummary& exercise);

/// How far the answers are from what they should have been; ST per lead where it is known.
void PrintAccuracy(std::ostream& out, const std::vector<std::string>& leads, const Accuracy& accuracy);
