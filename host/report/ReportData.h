// ReportData: what a report is made of.
#pragma once

#include "host/report/Language.h"
#include "host/results/Exercise.h"
#include "host/results/StressResult.h"

enum class Paper { A4, Letter };

/// Views: all outlive the call that is given them.
struct ReportData {
    const StressResult& result;
    const ExerciseSummary& exercise;
    Paper paper = Paper::A4;
    const Language& language = FindLanguage("en");
};
