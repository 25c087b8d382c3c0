// Evaluate: how far the answers of an analysis are from a reference, in figures, words and JSON.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "host/record/Annotations.h"
#include "host/results/Accuracy.h"
#include "host/results/BeatScores.h"
#include "host/results/Fiducials.h"
#include "host/results/RateScore.h"
#include "host/results/RawST.h"
#include "host/results/STChanges.h"
#include "host/results/Summaries.h"
#include "host/results/Truth.h"
#include "host/support/PendingFile.h"

struct Evaluation {
    std::string record;
    std::vector<std::string> leads;
    BeatScore beats;
    std::optional<ClassScores> classes;  // empty where the truth does not know them
    RateScore rate;
    FoldingScore folding;
    FiducialScore fiducials;
    std::vector<STChange> stChanges;
    Accuracy accuracy;                    // of ST only where the truth knows it
    RawSTScore rawST;                     // left empty by Evaluate
    std::vector<QualitySummary> quality;  // of the signal, per lead
};

/// Nothing before `skipSeconds` is counted.
Evaluation Evaluate(const StressResult& result, const std::vector<Annotation>& found, const Truth& truth,
                    double skipSeconds);
void PrintEvaluation(std::ostream& out, const Evaluation& evaluation);
/// Schema "qzstress-evaluation-1" (docs/schema). The caller commits.
void WriteEvaluationJson(PendingFile& file, const Evaluation& evaluation);
