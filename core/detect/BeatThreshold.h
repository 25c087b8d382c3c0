// BeatThreshold: the state machine of the QRS detector, for one curve length after the other.
//
// The threshold on the curve length adapts:
//
//             threshold found,                 2 s seen,
//             inside a complex                 below threshold
//   WaitBelow <-------------------- Learning ------------------> Search <------------+
//       |                            ^    ^                      |    |              |
//       +-- below, 100 ms over ------|----|-----------> (Search) |    | at or above  | below it, and
//                                    |    +---- 3 s without beat +    | = a beat     | 195 ms have passed
//                                    |                                v              |
//                                    +---- 3 s above threshold --- Refractory -------+
//
// The first 2 s after Init learn the threshold: the lowest value plus a third of the range. Every fifth
// beat it is renewed from the extremes seen in Refractory since the renewal before.
//
// A curve that stays above the threshold after learning is waited for without end; the interval counted
// meanwhile stops at 2^31 - 1 samples (24 days at 1000 Hz). Delay: none. Cost: 25 instructions per sample.
// Allocates nothing. One object belongs to one thread. Used by CrtRRdetect and CMultirtRRdetect.
#pragma once

#include <cstdint>

#include "core/Export.h"

class QZ_API BeatThreshold {
public:
    /// fs in samples per second. Under 10 samples per second no beat is ever found.
    explicit BeatThreshold(int fs);
    /// Back to the start of learning.
    void Init();
    /// The next curve length. Returns the RR interval in samples when it is a beat and a beat came before it,
    /// else 0. The interval is counted in calls, from the beat before (exclusive) to this one (inclusive).
    /// Deliberate: after a relearn it is counted from the relearn, not from the last real beat.
    int Step(int v) {
        // Most samples lie between beats: what Search does of them, without a call.
        if (m_state == State::Search && v < m_threshold && m_counter < m_lostBeatSamples) {
            ++m_counter;
            return 0;
        }
        // Silence is learned from all the time: what Learning does within its 2 s, likewise.
        if (m_state == State::Learning && m_counter < m_learningSamples && m_timer >= m_blankingSamples) {
            TakeExtremes(v);
            ++m_counter;
            return 0;
        }
        return StepInState(v);
    }

private:
    enum class State : std::int32_t {
        Learning,    // gathers the extremes that set the threshold
        WaitBelow,   // learning ended inside a complex: waits for the signal to fall
        Search,      // the next value at or above the threshold is a beat
        Refractory,  // too soon after a beat for another
    };

    int StepInState(int v);
    void Learn(int v);
    void WaitBelow(int v);
    int Search(int v);
    void Refractory(int v);
    void CountSample();
    void ResetExtremes();
    void TakeExtremes(int v) {
        if (v < m_minimum) m_minimum = v;
        if (v > m_maximum) m_maximum = v;
    }
    int ThresholdFromExtremes() const;

    int m_learningSamples;     // 2 s
    int m_lostBeatSamples;     // 3 s
    int m_refractorySamples;   // 195 ms
    int m_minWaitSamples;      // 100 ms
    int m_blankingSamples;     // 500 ms
    int m_counter = 0;         // samples since the last beat, or since the end of learning
    int m_minimum = 0;         // lowest curve length while learning or after a beat
    int m_maximum = 0;         // highest
    int m_threshold = 0;       // on the curve length
    int m_beats = 0;           // since the last threshold renewal
    std::int64_t m_timer = 0;  // samples of blanking in Learning, of waiting in WaitBelow
    State m_state = State::Learning;
    bool m_bFirstBeat = true;  // the next beat has none before it
};
