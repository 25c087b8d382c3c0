// Trends: what an analysis has found over time, and the figures that a report makes of it.
//
// Seconds count from the first frame of the source, filter delays taken off. An ST value belongs to the time
// of the R of the beat that was folded in last; as the engine averages over about ten beats and smooths over
// five more, it follows a change some ten seconds late at rest.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"
#include "session/SessionTypes.h"

using qz::BeatPositionsMs;
using qz::kSTOffsetMs;
using qz::LearnedBeat;

/// The first ST level is the median over this long, from the first reading on.
constexpr double kFirstSeconds = 30;

/// From the first moment on and before the second.
struct Span {
    double fromSeconds = 0, toSeconds = 0;
};

struct RateReading {
    double seconds = 0;
    double bpm = 0;  // beats per minute
};

/// The state of the averaged beat after one more beat, one value per lead in source order; NaN where the lead
/// is off or disturbed, and until enough beats after that nothing of it is left in the averaged beat.
struct STReading {
    double seconds = 0;
    double bpm = 0;  // heart rate shown at that time; NaN before the first
    std::vector<float> levelUv;
    std::vector<float> slopeUvPerMs;
};

/// A stretch of signal as recorded and as conditioned, in step, [lead][sample] in microvolts.
struct Strip {
    double seconds = 0;                     // of its first sample
    std::vector<std::vector<float>> rawUv;  // less the first sample of the recording
    std::vector<std::vector<float>> cleanUv;
};

/// The averaged beat of a lead where its ST level was farthest from its first, after the first half minute.
struct FarthestBeat {
    double changeUv = 0, seconds = 0;
    std::vector<float> uV;  // at the positions of the first; empty where there is none
};

struct StressResult {
    SourceInfo source;
    std::string conditioning;  // filters in words
    double delayMs = 0;        // of the filters, taken off all times
    double seconds = 0;        // length of what was read of the source
    bool interrupted = false;  // an observer ended the analysis, not the source
    int postJms = 0;           // ST is measured this long after J + 6 ms
    LearnedBeat learned;
    BeatPositionsMs positions;
    std::vector<std::vector<float>> firstBeatUv;   // [lead][sample], as first handed to the engine
    std::vector<std::vector<float>> latestBeatUv;  // and as it left off, at the same positions
    std::vector<FarthestBeat> farthest;            // per lead
    std::vector<double> relearnedSeconds;          // from when on a newly learned beat was matched
    std::vector<Strip> strips;                     // in order of time
    std::vector<RateReading> rates;
    std::vector<STReading> beats;  // one for each beat folded in
    // Of each lead, when it was off, and when its baseline jumped or left the range; in order of time.
    std::vector<std::vector<Span>> off, disturbed;
    std::vector<double> beatsFound;  // seconds of every heart-rate answer, one beat after its beat
    std::vector<std::string> warnings;
};

/// What the averaged beat was learned from: "11 of 12 beats in 10 s", and of which recording if of another.
std::string DescribeLearning(const StressResult& result);

/// Of what is a number; the mean of the middle two where they are even in number, NaN of none.
double Median(std::vector<double> values);
/// The value of a reading's lead, as `&STReading::levelUv` chooses it.
using LeadValues = std::vector<float> STReading::*;
/// Per lead the median of the first half minute of readings, uV or uV/ms; NaN without any.
std::vector<double> FirstMedians(const StressResult& result, LeadValues values);
/// ST level in uV divided by the heart rate in beats/min; NaN without heart rate.
double STHRindex(double levelUv, double bpm);

/// Medians over one minute; NaN where nothing was measured in it.
struct MinuteRow {
    int minute = 0;  // from `minute` to `minute` + 1 minutes
    double bpm = 0;
    std::vector<double> levelUv;
    std::vector<double> slopeUvPerMs;
};
std::vector<MinuteRow> SummarizeMinutes(const StressResult& result);

/// What a lead's ST did, for tables: where it was farthest from its first level. NaN where nothing of it was
/// measured.
struct LeadSummary {
    double firstUv = 0;
    double changeUv = 0;  // from the first level
    double levelUv = 0, slopeUvPerMs = 0, bpm = 0, sthrIndex = 0, seconds = 0;
};
/// One per lead; empty without a folded beat.
std::vector<LeadSummary> SummarizeLeads(const StressResult& result);

/// NaN where nothing was measured.
struct LeadExtremes {
    double lowestUv = 0, lowestSeconds = 0;
    double highestUv = 0, highestSeconds = 0;
};
/// One per lead; empty without a folded beat.
std::vector<LeadExtremes> FindExtremes(const StressResult& result);

struct ErrorSize {
    double median = 0, maximum = 0;  // of the magnitude; NaN without readings
};
/// What the answers should have been at a time in seconds, NaN where that is not known; leads in source
/// order. Level and slope may be left out.
struct Truth {
    std::function<double(double seconds)> bpm;
    std::function<double(int lead, double seconds)> levelUv;
    std::function<double(int lead, double seconds)> slopeUvPerMs;
};
struct Accuracy {
    ErrorSize bpm;
    std::vector<ErrorSize> levelUv, slopeUvPerMs;  // per lead
};
Accuracy CompareWithTruth(const StressResult& result, const Truth& truth);
