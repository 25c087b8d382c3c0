// StressResult: what an analysis has found over time.
//
// Seconds count from the first frame of the source, filter delays taken off. An ST value belongs to the time
// of the R of the beat that was folded in last; as the engine averages over about ten beats and smooths over
// five more, it follows a change some ten seconds late at rest.
#pragma once

#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/record/Annotations.h"
#include "host/record/FrameSource.h"
#include "session/SessionTypes.h"

using qz::BeatPositionsMs;
using qz::kSTOffsetMs;
using qz::LearnedBeat;

/// A stretch of time: from the first moment on and before the second.
struct Span {
    double fromSeconds = 0, toSeconds = 0;
    bool Contains(double seconds) const { return seconds >= fromSeconds && seconds < toSeconds; }
};

/// The stretch from which changes of ST count: the level that they are against is the median in it.
struct ReferenceStretch {
    Span span;
    std::string why;  // in words why it is this one; empty without any ST value
};

/// Where the ST level is measured.
struct STPointRule {
    std::optional<int>
        postJms;  // so long after J + 6 ms, as the engine does; empty: at the rate-adapted point
    double rateLimitBpm = qz::kUsualSTRateLimitBpm;  // of that
    qz::PointsByHand byHand = {};                    // empty where postJms is not

    /// After J, ms; below the limit.
    double UsualMs() const { return postJms ? kSTOffsetMs + *postJms : byHand.stMs.value_or(qz::kSTPointMs); }
    /// True where the point does not depend on the heart rate.
    bool IsFixed() const { return postJms || byHand.stMs; }
    /// "J + 66 ms", "J + 80 ms (J + 60 ms above 145/min)", "J + 100 ms; set by hand: Q 44 ms before R, ST".
    std::string Describe() const;
};

struct RateReading {
    double seconds = 0;
    double bpm = 0;                                              // from the mean interval, beats per minute
    double votedBpm = std::numeric_limits<double>::quiet_NaN();  // as the leads' detectors vote; NaN: none
};

/// A beat, whether it was folded in or not.
struct FoundBeat {
    double seconds = 0;  // of its QRS
    qz::BeatClass beatClass = qz::BeatClass::Normal;
};

/// What is kept of a qz::STMeasure beside the level and the slope of a reading.
struct STPoints {
    STPoints() = default;
    explicit STPoints(const qz::STMeasure& st)
        : jUv(st.jUv), j20Uv(st.j20Uv), j60Uv(st.j60Uv), j80Uv(st.j80Uv), shape(st.shape), isOnT(st.isOnT) {}
    float jUv = qz::STMeasure::kNothing, j20Uv = qz::STMeasure::kNothing, j60Uv = qz::STMeasure::kNothing,
          j80Uv = qz::STMeasure::kNothing;
    qz::STShape shape = qz::STShape::Unknown;
    bool isOnT = false;
};

/// The state of the averaged beat after one more beat, one value per lead in source order; NaN where the lead
/// is off or disturbed, and until enough beats after that nothing of it is left in the averaged beat.
struct STReading {
    double seconds = 0;
    double bpm = 0;                   // heart rate shown at that time; NaN before the first
    std::vector<float> levelUv;       // at the ST point
    std::vector<float> slopeUvPerMs;  // from J to there, of the engine from J + 6 ms
    double rrMs = std::numeric_limits<double>::quiet_NaN();  // from the beat before; NaN where not known
    double stPointMs = 0;                                    // the ST point, after J
    double qMs = 0, jMs = 0;                                 // onset and end of the QRS, from `seconds`
    std::vector<STPoints> st = {};                           // at the points of the field
};

/// What a strip was chosen for.
enum class StripKind { Asked, Reference, PeakRate, LargestST, Ventricular, StageEnd, Start };

/// A stretch of the conditioned signal.
struct Strip {
    double seconds = 0;                       // time of its first sample
    std::vector<StripKind> kinds = {};        // the one that it was chosen for first
    std::vector<std::vector<float>> uV = {};  // [lead][sample]
};

// Averaged beats are those that the levels were measured on, in uV above the PR level, with their QRS at
// that of StressResult::positions. Their onset and J follow them, in ms from the first sample.

/// The averaged beat of a lead when its ST level was the lowest, the highest or farthest from the reference.
struct BeatThen {
    double levelUv = std::numeric_limits<double>::quiet_NaN(), seconds = 0;
    std::vector<float> uV;                                  // empty where there is none
    double qMs = std::numeric_limits<double>::quiet_NaN();  // onset of the QRS
    double jMs = qMs, stMs = qMs;                           // J, and where the level was measured
};

/// The averaged beats of all leads at a time that was asked for.
struct BeatsThen {
    double askedSeconds = 0;
    std::size_t reading = 0;             // of StressResult::beats, after which they were so
    std::vector<std::vector<float>> uV;  // [lead][sample]
    double jMs = std::numeric_limits<double>::quiet_NaN();
};

/// Names and values of options as the command line gave them; the value of a flag is "true".
using GivenOptions = std::vector<std::pair<std::string, std::string>>;

struct StressResult {
    SourceInfo source;
    GivenOptions options;      // of the analysis
    std::string conditioning;  // filters in words
    int mainsHz = 0;           // taken out; 0: none
    int measuredMainsHz = 0;   // stands out in the first seconds of the source; 0: none
    double delayMs = 0;        // of the filters, taken off all times
    double seconds = 0;        // length of what was read of the source
    bool interrupted = false;  // an observer ended the analysis, not the source
    STPointRule stPoint;
    LearnedBeat learned;
    BeatPositionsMs positions;  // of the first averaged beat
    ReferenceStretch reference;
    // The averaged beat, [lead][sample]: its mean over the reference, empty for a lead that has no ST value
    // there; and as it was left.
    std::vector<std::vector<float>> referenceBeatUv, latestBeatUv;
    double referenceQMs = std::numeric_limits<double>::quiet_NaN();  // the mean onset there
    double referenceJMs = std::numeric_limits<double>::quiet_NaN();  // the mean J there
    std::vector<BeatThen> farthest;                                  // per lead
    std::vector<BeatsThen> asked;          // in order of time; without times that had no beats
    std::vector<double> relearnedSeconds;  // from when on newly learned beats were matched, sorted
    std::optional<BeatsThen> peak;         // at the highest heart rate, PeakRate; empty without beats then
    std::vector<Strip> strips;             // those that tell most first
    std::vector<RateReading> rates;
    std::deque<STReading> beats;  // one for each beat folded in
    // Of each lead, when it was off, and when its baseline jumped or left the range; in order of time.
    std::vector<std::vector<Span>> off, disturbed;
    std::vector<FoundBeat> beatsFound;
    std::vector<qz::QualityEvent> quality;  // of the signal, from 0 to 1 per lead
    std::vector<std::string> warnings;
};

/// What the averaged beat was learned from: "11 of 12 beats in 10 s", and of which recording if of another.
std::string DescribeLearning(const StressResult& result);
/// "N", "S", "V", "/" where paced, or "Q" where unclassified.
const char* LetterOf(qz::BeatClass beatClass);
/// The beats found, at `perSecond` steps per second, with the codes of LetterOf.
std::vector<Annotation> BeatAnnotations(const StressResult& result, double perSecond);
