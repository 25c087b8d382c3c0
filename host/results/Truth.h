// Truth: what an analysis should have found, as annotations, a file or a simulation know it.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "host/record/Annotations.h"
#include "host/results/StressResult.h"

struct MarkedBeat {
    double seconds = 0;
    int code = kNormalBeat;  // of its annotation
};
/// When each of the beats, readings or marks is.
template <typename All>
std::vector<double> TimesOf(const All& all) {
    std::vector<double> seconds;
    for (const auto& timed : all) seconds.push_back(timed.seconds);
    return seconds;
}

/// A QRS complex as a person has marked it, in seconds; NaN for an onset or end without a mark.
struct QrsMark {
    double seconds = 0;  // peak
    double onset = 0, end = 0;
};

/// What a person has marked of the ST of a lead: when it is away from its reference level, and the changes
/// from that level, in uV, where they are largest.
struct MarkedST {
    struct Extreme {
        double seconds = 0, changeUv = 0;
    };
    std::vector<Span> episodes;  // in order of time, apart; infinite where they begin or end without a mark
    std::vector<Extreme> extremes;
};

/// Functions are of the time in seconds, with leads in source order; they answer NaN where the value is not
/// known, and may be empty.
struct Truth {
    std::vector<MarkedBeat> beats;  // R of every beat, ascending
    std::vector<Span> uncounted;    // fibrillation, or beats without marks; in order of time, apart
    std::function<double(double seconds)> bpm = {};
    // At a point so long after J, in ms; the slope up to there.
    std::function<double(std::size_t lead, double seconds, double pointMs)> levelUv = {};
    std::function<double(std::size_t lead, double seconds, double pointMs)> slopeUvPerMs = {};
    bool classesKnown = true;       // the codes of the beats tell their class
    std::vector<QrsMark> qrs = {};  // ascending
    std::vector<MarkedST> st = {};  // per lead of the recording as far as there are marks

    /// Heart rate at a time: that of `bpm` or, where it is empty, the number of the intervals between beats
    /// that end within the last 10 s by the time they last, those through uncounted stretches left out; NaN
    /// without one. It is a mean, as only that is a rate in bigeminy and atrial fibrillation.
    double BpmAt(double seconds) const;
};

/// True if the moment lies in one of the spans, which are in order of time and apart.
bool LiesIn(const std::vector<Span>& spans, double seconds);

/// The beats of an annotated recording, its stretches of ventricular flutter or fibrillation, and its
/// episodes of ST: marks with the texts "(ST2-", "AST2-150" and "ST2-)" at the beginning, the extreme (its
/// change in uV) and the end, where 2 is the number of the lead.
Truth TruthFrom(const std::vector<Annotation>& annotations, double annotationHz);

/// The truth that hand marks of QRS complexes are. Beats before, after and between marks that are more than
/// one and a half times the median interval apart do not count, as nobody has marked them.
Truth TruthFrom(std::vector<QrsMark> marks);
