// StripPage: ten seconds of a test on ECG paper, as a PDF by the drawing of reports.
//
//   kept frames -> conditioned anew from kLeadInSeconds before -> strip, beats as the test has classed them
//
// All that is drawn is copied first, so that another thread draws while the test goes on.
#pragma once

#include <ostream>

#include "host/live/KeptSignal.h"
#include "host/live/LiveTest.h"
#include "host/report/Language.h"
#include "host/results/Exercise.h"
#include "host/results/StressResult.h"

struct StripPage {
    static constexpr double kLeadInSeconds = 10;  // in which the filters settle

    qz::SessionOptions session;  // conditions the frames as the test's session does
    StressResult result;         // one strip, without its signal yet
    ExerciseSummary exercise;
    std::vector<short> frames;     // kept ones
    double framesFromSeconds = 0;  // time of the first
};

/// The strip of which `seconds` is the middle, moved so that it lies within the test. Nothing until the
/// session has begun.
std::optional<StripPage> GatherStrip(const LiveTest& test, const KeptSignal& signal, double seconds);

/// Throws std::runtime_error where drawing fails.
void WriteStrip(std::ostream& out, StripPage page, const Language& language);
