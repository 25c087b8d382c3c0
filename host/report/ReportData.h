// ReportData: what a report is made of.
#pragma once

#include "host/report/Language.h"
#include "host/results/Exercise.h"
#include "host/results/StressResult.h"

/// Views: all outlive the call that is given them.
struct ReportData {
    const StressResult& result;
    const ExerciseSummary& exercise;
    const Language& language = FindLanguage("en");
};
