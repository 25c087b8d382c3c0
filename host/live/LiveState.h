// LiveState: what is known of a running test at a moment: plain records, as pages and journals tell them.
//
// Seconds count from the first frame of the test. NaN is a figure that is not known.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "host/results/Protocols.h"
#include "host/results/StageSources.h"
#include "host/results/StressResult.h"

namespace live {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

/// What a person asks of a test.
struct Command {
    enum class Kind {
        Start,        // of the exercise, the first stage
        Next,         // stage, by hand
        Recovery,     // the work has ended
        End,          // of the test; text: why
        Pressure,     // value: systolic, other: diastolic, mmHg
        Exertion,     // value: on the scale of Borg
        Symptom,      // text
        Mark,         // text
        Reference,    // changes of ST count from the latest half minute on
        QPoint,       // value: onset of the QRS, whole ms from R; NaN for the session's own
        JPoint,       // value: its end, likewise
        STPoint,      // value: after J, whole ms; NaN for the session's own
        Limits,       // value: highest rate, other: lowest, stUv: largest change of ST
        Acknowledge,  // an alarm; value: its number
    };
    Kind kind = Kind::Mark;
    std::string text = {};
    double value = kUnknown, other = kUnknown, stUv = kUnknown;
};

/// When alarms are raised.
struct Limits {
    double highestBpm = 200, lowestBpm = 40, stUv = 200;
    bool operator==(const Limits&) const = default;
};

/// An alarm stays until it is acknowledged and its cause is gone.
struct Alarm {
    enum class Kind { RateHigh, RateLow, STChange, LeadOff, VentricularRun, NoSignal, NotKept };
    int number = 0;
    Kind kind = Kind::RateHigh;
    std::string lead = {};    // of STChange and LeadOff
    double value = kUnknown;  // beats/min, uV, or beats of a run
    double seconds = 0;       // when it was raised
    bool isActive = true;     // its cause goes on
    bool isAcknowledged = false;
};

/// What happened, as the journal and the page list it.
struct Event {
    enum class Kind {
        Gap,         // the source gave nothing; value: for so many seconds, told when it has ended
        LeadOff,     // lead
        LeadOn,      // lead
        Learned,     // the averaged beat
        NotLearned,  // text: why
        Stage,       // text: its name
        Run,         // of ventricular beats: the third in a row
        Source,      // text: what became of the device
        Kept,        // text: what is wrong with the disk; empty when all is well again
        Done,        // a command; text: in words
        Ended,
    };
    Kind kind = Kind::Done;
    double seconds = 0;
    std::string lead = {}, text = {};
    double value = kUnknown;
};

struct LeadState {
    double levelUv = kUnknown, slopeUvPerMs = kUnknown, jUv = kUnknown;
    double changeUv = kUnknown;  // of the level from the reference
    double quality = kUnknown;   // 0 to 1
    bool isOff = false, isDisturbed = false;
};

struct BeatMark {
    double seconds = 0;
    qz::BeatClass beatClass = qz::BeatClass::Normal;
};

struct State {
    long long frames = 0;
    double seconds = 0;
    double bpm = kUnknown;
    double stPointMs = kUnknown;         // after J
    double nextStageSeconds = kUnknown;  // when the protocol goes on
    double gapSeconds = 0;               // of the gap that goes on; 0: none
    double gapsSeconds = 0;              // of all gaps
    double delayMs = 0;                  // of the filters
    std::vector<LeadState> leads;
    std::vector<Stage> stages;  // those that have begun, rest first
    std::vector<Alarm> alarms;
    std::vector<BloodPressure> pressures;
    std::vector<std::string> symptoms, marks;  // with their times, as a report tells them
    std::string conditioning;                  // in words; empty before the mains are known
    std::string notLearned, endedBecause;
    Span reference;  // empty: none yet
    Limits limits;
    qz::PointsByHand byHand;  // of measurement
    int beats = 0, supraventricular = 0, ventricular = 0, paced = 0, unclassified = 0, runs = 0;
    int gaps = 0;
    bool isWork = false;  // exercise has begun and not ended
    bool isRecovery = false;
    bool isReferenceByHand = false;
    bool isLearned = false;
    bool hasEnded = false;
};

/// The averaged beat of all leads, uV at 0 before the QRS, and where it has its points, ms from its start.
struct Beats {
    std::vector<std::vector<float>> uV, referenceUv;  // [lead][sample]; the reference's may be empty
    double referenceRMs = 0;                          // R of the reference, from its own start
    BeatPositionsMs positions;
    double stMs = 0;
};

/// Places of a test that somebody looks for.
struct Finds {
    std::vector<double> ventricular;  // seconds of the first ventricular beats, up to 4096
    std::vector<Span> gaps;           // the first ones, up to 4096
    double largestUv = kUnknown;      // the largest change of ST from the reference,
    double largestSeconds = kUnknown;
    std::string largestLead;
};

/// Heart rate and ST over the whole test, in bounded memory.
struct TrendRow {
    double seconds = 0;
    float bpm = 0;
    std::vector<float> levelUv;  // per lead
};

}  // namespace live
