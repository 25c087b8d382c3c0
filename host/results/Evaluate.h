// Evaluate: how far the answers of an analysis are from a reference.
//
// Beats are counted as ANSI/AAMI EC57 has it: a found beat is right when a reference beat lies within 150 ms;
// each beat is paired once, the nearest pairs first. Sensitivity is the part of the reference beats that was
// found, positive predictivity the part of the found beats that is right. Ventricular fibrillation, which has
// no beats to find, does not count.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "host/record/Annotations.h"
#include "host/results/Trends.h"
#include "host/support/PendingFile.h"

struct BeatScore {
    int right = 0, missed = 0, extra = 0;
    double offsetMs = 0;                  // median of found less reference; NaN without pairs
    double Sensitivity() const;           // 0..1, NaN without reference beats
    double PositivePredictivity() const;  // 0..1, NaN without found beats
};
/// All ascending, the spans apart from each other. What lies in one of the spans is not counted; a pair lies
/// where its reference beat does.
BeatScore ScoreBeats(const std::vector<double>& foundSeconds, const std::vector<double>& referenceSeconds,
                     const std::vector<Span>& uncounted);

struct Evaluation {
    std::string record;
    std::vector<std::string> leads;
    BeatScore beats;
    Accuracy accuracy;  // of ST only where the reference knows it
};

/// What an analysis is compared with.
struct Reference {
    std::vector<double> beatSeconds;  // ascending
    std::vector<Span> fibrillation;
    std::optional<Truth> truth;  // where more than the beats is known
};
/// The beats of an annotated recording and its stretches of ventricular flutter or fibrillation.
Reference ReferenceFrom(const std::vector<Annotation>& annotations, double annotationHz);

/// Nothing before `skipSeconds` is counted. Without a truth the heart rate is compared with that of the
/// median of the last five reference intervals.
Evaluation Evaluate(const StressResult& result, const std::vector<Annotation>& found,
                    const Reference& reference, double skipSeconds);
void PrintEvaluation(std::ostream& out, const Evaluation& evaluation);
/// Schema "qzstress-evaluation-1" (docs/schema). The caller commits.
void WriteEvaluationJson(PendingFile& file, const Evaluation& evaluation);
