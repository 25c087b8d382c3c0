// Evaluate: how far the answers of an analysis are from a reference.
//
// Beats are counted as ANSI/AAMI EC57 has it: a found beat is right when a reference beat lies within 150 ms;
// each beat is paired once, the nearest pairs first. Sensitivity is the part of the reference beats that was
// found, positive predictivity the part of the found beats that is right. Ventricular fibrillation, which has
// no beats to find, does not count.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host/record/Annotations.h"
#include "host/results/Accuracy.h"
#include "host/results/Truth.h"
#include "host/support/PendingFile.h"

struct BeatScore {
    int right = 0, missed = 0, extra = 0;
    double offsetMs = 0;                  // median of found less reference; NaN without pairs
    double Sensitivity() const;           // 0..1, NaN without reference beats
    double PositivePredictivity() const;  // 0..1, NaN without found beats
};
/// Times and spans are ascending, and spans do not overlap. Beats within a span do not count; a pair lies
/// where its reference beat lies.
BeatScore ScoreBeats(const std::vector<double>& foundSeconds, const std::vector<double>& referenceSeconds,
                     const std::vector<Span>& uncounted);

struct Evaluation {
    std::string record;
    std::vector<std::string> leads;
    BeatScore beats;
    Accuracy accuracy;  // of ST only where the truth knows it
};

/// Nothing before `skipSeconds` is counted.
Evaluation Evaluate(const StressResult& result, const std::vector<Annotation>& found, const Truth& truth,
                    double skipSeconds);
void PrintEvaluation(std::ostream& out, const Evaluation& evaluation);
/// Schema "qzstress-evaluation-1" (docs/schema). The caller commits.
void WriteEvaluationJson(PendingFile& file, const Evaluation& evaluation);
