// What a StressSession is given and what it tells: plain records, in units that their names or lines carry.
//
// Seconds count from the first frame of the session, filter delays taken off.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "core/stress/TemplGeometry.h"

namespace qz {

/// ST is measured this long after J plus the post-J time: where the engine reads its J level.
constexpr int kSTOffsetMs = TemplGeometry::kJOffsetMs;
/// The post-J time, ms: the usual one, the earliest and the latest.
constexpr int kUsualPostJms = TemplGeometry::kDefaultPostJms, kEarliestPostJms = 10, kLatestPostJms = 200;
/// Microvolts per unit of conditioned frames and of averaged beats.
constexpr double kConditionedUvPerUnit = 1.0;

/// The rate-adapted ST point: this long after J, and that long above the limit of the heart rate, ms; and the
/// usual limit, beats/min.
constexpr int kSTPointMs = 80, kFastSTPointMs = 60;
constexpr double kUsualSTRateLimitBpm = 145;
/// An ST slope from this on is upsloping, from its negative on downsloping, uV/ms (mV/s): 40 uV over 80 ms,
/// less than half a millimetre on paper, are horizontal to a reader.
constexpr double kHorizontalUvPerMs = 0.5;

/// Points of measurement that a person has set, for every averaged beat; those that are empty follow it by
/// themselves. What is measured by the engine (BeatEvent's levelUv, slopeUvPerMs and jUv) keeps its own.
struct PointsByHand {
    std::optional<double> qMs;   // onset of the QRS, from R of BeatPositionsMs, ms: -200 to -8
    std::optional<double> jMs;   // its end, from R, ms: 8 to 250
    std::optional<double> stMs;  // ST point, from J, ms: 10 to 200; it counts on the T wave too

    bool IsAny() const { return qMs || jMs || stMs; }
    /// True where each that is set lies in its range.
    bool AreInRange() const {
        const auto isIn = [](const std::optional<double>& ms, double first, double last) {
            return !ms || (*ms >= first && *ms <= last);
        };
        return isIn(qMs, -200, -8) && isIn(jMs, 8, 250) && isIn(stMs, 10, 200);
    }
};

/// How the signal is conditioned before anything is measured on it.
struct ConditioningOptions {
    int mainsHz = 50;    // 50, 60 or 0 for none
    int lowpassHz = 40;  // cutoff of the low-pass, from 1 to below fs / 2; 0 for none
    int smooth = 0;      // strength of the adaptive smoother: 0 none, 1 or 2
    // The comb of the library's filter chain instead of notch and high-pass: for mains of 50 Hz at a multiple
    // of 50 Hz. It takes out every harmonic of the mains, delays by 740 ms and shifts ST.
    bool comb = false;
};

/// A first averaged beat, which the matching begins with: learned by a session, or handed in by its host.
/// Plain values: a host that keeps them may begin another session of the same leads and rate with them.
struct LearnedBeat {
    std::vector<std::vector<short>> rows;  // one per lead, `length` samples each, 1 uV per unit
    short length = 0;                      // samples
    short posR = 0;                        // steepest place of the QRS over all leads, index into a row; one
                                           // outside of Q to J counts as the nearer of them
    short posQ = 0;                        // Q onset, index into a row
    short posJ = 0;                        // end of the QRS, index into a row
    std::string record;                    // what it was learned from, as its owner names it
    double fromSeconds = 0;                // length of the stretch that it was learned from
    int beatsFound = 0;                    // in that stretch
    int beatsUsed = 0;                     // in the average
    double likeness = 0;                   // median correlation of a used beat with the average, 0..1
    std::vector<bool> usable;              // per lead: its beats are alike, and match about as often as the
                                           // best lead's; such leads match together, each other one alone
    /// At least 8 beats are in it, the averages of odd and even beats agree, and the QRS stands out from what
    /// is before and after it. Where it is not confident, ST values may be off.
    bool confident = false;
};

struct SessionOptions {
    int fs = 0;                      // samples per second and lead, 100 to 10000
    double uVpb = 1;                 // microvolts per unit of the frames, the same for every lead
    std::vector<std::string> leads;  // lead names in frame order, 1 to 64; the session only counts them
    ConditioningOptions conditioning;
    int postJms = kUsualPostJms;                   // ST is measured this long after J + 6 ms; 10 to 200 ms
    double stRateLimitBpm = kUsualSTRateLimitBpm;  // ST is measured at J + 60 ms above it, else at J + 80 ms
    std::optional<LearnedBeat> beat;  // the first averaged beat; empty: the session learns it from the signal
    PointsByHand points;              // set from the start
    bool isPaced = false;             // a pacemaker is at work: beats of a usual shape are BeatClass::Paced
};

/// Where a template has its points, in milliseconds from its start.
struct BeatPositionsMs {
    double length = 0, q = 0, r = 0, j = 0;  // q: the onset as learned; q and j: that set by hand
};

/// What kind of beat it is, as far as its shape and its time tell. A fusion beat is of the class that it
/// resembles more. The pulses of a pacemaker are not looked for: with SessionOptions::isPaced every beat of a
/// usual shape counts as paced, one that the heart conducts itself too if it comes often; without it paced
/// beats are classed as others are.
enum class BeatClass {
    Normal,            // of a usual shape, or of another that tells too little
    Supraventricular,  // not ventricular, but early in a regular rhythm
    Ventricular,       // of an unusual shape, and wide, early, or followed by a pause
    Unclassified,      // it would be ventricular, but noise may have made its shape, or all leads are off or
                       // disturbed
    Paced,             // of a usual shape, where the session is told of a pacemaker
};

/// A beat was found, whether it matches the averaged one or not. Known up to 2.3 s later, 4.3 s at the start.
/// What there is none of is NaN.
struct IntervalEvent {
    double seconds = 0;                                      // of its QRS
    double rrMs = std::numeric_limits<double>::quiet_NaN();  // from the beat before; none after 4 s without
    double bpm = std::numeric_limits<double>::quiet_NaN();   // heart rate
    double votedBpm =
        std::numeric_limits<double>::quiet_NaN();  // heart rate as a majority of the leads' detectors has it
    BeatClass beatClass = BeatClass::Normal;
};

enum class STShape : unsigned char { Unknown, Upsloping, Horizontal, Downsloping };

/// ST of one lead in the mean of its latest ten beats, the two highest and the two lowest at each moment left
/// out, against its PR level: the mean of the 12 ms that end 4 ms before the onset of the QRS. Where P runs
/// into the QRS, at high heart rates, this is the PQ junction. NaN where nothing is measured: where levelUv
/// of the beat is NaN, beyond the end of the averaged beat, and at points that lie on the T wave.
struct STMeasure {
    static constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();
    float jUv = kNothing, j20Uv = kNothing, j60Uv = kNothing, j80Uv = kNothing;  // J and 20, 60, 80 ms after
    float levelUv = kNothing;          // at the rate-adapted point, or at that set by hand
    float slopeUvPerMs = kNothing;     // from J to there
    STShape shape = STShape::Unknown;  // of that slope, by kHorizontalUvPerMs
    bool isOnT = false;                // the point of levelUv lies behind the steepest part of the T wave
};

/// The means that BeatEvent::st is measured on. What is drawn of them shows the levels that are told.
struct MeasuredBeat {
    BeatPositionsMs positions;  // in them; q and j as they are measured from; all 0: there is none
    std::vector<std::vector<float>>
        uV;  // above the PR level, [lead][sample]; empty for a lead with too few beats

    /// The same, all of one length: NaN where `uV` is empty.
    std::vector<std::vector<float>> Rows() const {
        std::size_t length = 0;
        for (const std::vector<float>& row : uV) length = std::max(length, row.size());
        std::vector<std::vector<float>> rows = uV;
        for (std::vector<float>& row : rows) row.resize(length, std::numeric_limits<float>::quiet_NaN());
        return rows;
    }
};

/// A beat has been folded into the averaged one, whose state it tells, one value per lead. NaN where the lead
/// is off or disturbed; where it has had no beat for 10 s, until the averaged beat is renewed by nine of
/// them; and in a beat that is not of the shape, or of the kind of normal beats, that most of the latest ones
/// have.
struct BeatEvent {
    double seconds = 0;  // of its R
    double bpm =
        std::numeric_limits<double>::quiet_NaN();  // heart rate shown at that time; NaN before the first
    std::vector<float> levelUv;       // ST level against the PR segment, smoothed over some beats
    std::vector<float> slopeUvPerMs;  // ST slope from J + 6 ms to the ST point, smoothed likewise
    std::vector<float> jUv;           // level of the J point against the PR segment
    double rrMs = std::numeric_limits<double>::quiet_NaN();  // from the beat before; NaN where not known
    int shape = 0;  // which averaged beat it is like: their number in the order of learning
    BeatClass beatClass = BeatClass::Unclassified;  // Unclassified also if it is none of those found

    // Measured beside the engine, at positions that follow the averaged beat as it changes.
    std::vector<STMeasure> st = {};  // per lead
    double stPointMs = 0;  // that of `st` after J: 80 ms; above the limit 60 ms, until 5/min below it; or the
                           // one set by hand
    double qMs = std::numeric_limits<double>::quiet_NaN();  // onset of the QRS, from `seconds`; negative
    double jMs = std::numeric_limits<double>::quiet_NaN();  // its end, from `seconds`
};

/// How good the signal has been lately, told every kQualitySeconds, one value per lead from 0, nothing to be
/// measured, to 1, clean: the worst of how far the beats stand out from what lies between them, of how calm
/// it is there, and of how like each other the beats are; 0 where the lead was off or disturbed, and until
/// beats have been found.
struct QualityEvent {
    double seconds = 0;  // up to which it is
    std::vector<float> quality;
};
constexpr int kQualitySeconds = 2;

/// What has happened to a lead.
struct LeadEvent {
    enum class Kind {
        Off,        // its signal is a line, as that of a loose electrode; known two seconds late
        On,         // the line has ended
        Disturbed,  // its level jumps by more than 3 mV within 0.2 s and stays away for 0.4 s, or leaves what
                    // can be conditioned
        Calm,       // it has done neither for a second
    };
    Kind kind = Kind::Off;
    std::size_t lead = 0;
    double seconds = 0;  // when that began; of Calm: when the disturbance was last seen
    /// Kind Off only: ST values already given for beats of this lead after this time are void.
    double voidFromSeconds = std::numeric_limits<double>::infinity();
};

}  // namespace qz
