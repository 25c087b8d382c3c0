// TextReport: an analysis as text for a terminal of 100 columns, plain ASCII.
//
// Level and slope stand in tables of their own, one row per minute, at most twelve leads wide; more leads
// follow in further tables below. Every column has its unit under its name; "-" stands for nothing measured.
#pragma once

#include <ostream>

#include "host/results/Exercise.h"
#include "host/results/StressResult.h"

void PrintReport(std::ostream& out, const StressResult& result, const ExerciseSummary& exercise);
