// CrtRRdetect: finds QRS complexes in a running ECG, one sample at a time, and reports the RR interval of
// each beat in samples.
//
//   input -> mains notch (optional) -> low-pass 5 Hz -> high-pass 12 Hz -> curve length 100 ms -> RRdetect
//
// RRdetect is a state machine with an adaptive threshold on the curve length:
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
// Delay: a beat is found where the curve length crosses the threshold, some 20 ms after the R peak of a
// narrow QRS. A signal that stays above the threshold after learning is waited for without end; the interval
// counted meanwhile stops at 2^31 - 1 samples (24 days at 1000 Hz). Only the constructor allocates. One
// object belongs to one thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "core/Export.h"
#include "core/detect/CLengthTransform.h"
#include "core/filters/CHighpassFilter.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/filters/CNotchFilter.h"

class QZ_API CrtRRdetect {
public:
    /// fs in samples per second; acFreq the mains frequency in Hz, below 1 for no notch. Under 10 samples
    /// per second no beat is ever found.
    CrtRRdetect(int fs, int acFreq);
    /// Back to the start of learning: clears every filter, the curve length and the state.
    void Init();
    /// One sample of one lead. Returns the RR interval in samples when this sample is a beat and a beat came
    /// before it, else 0.
    int QRSdetect(int x);
    /// One sample of each of three leads, fused in the curve length; returns as the one-lead form.
    int QRSdetect(int a, int b, int c);
    /// The state machine alone, on one curve-length value; returns as QRSdetect. The interval is counted in
    /// calls, from the beat before (exclusive) to this one (inclusive).
    /// Deliberate: after a relearn it is counted from the relearn, not from the last real beat.
    int RRdetect(int v);

private:
    enum class State : std::int32_t {
        Learning,    // gathers the extremes that set the threshold
        WaitBelow,   // learning ended inside a complex: waits for the signal to fall
        Search,      // the next value at or above the threshold is a beat
        Refractory,  // too soon after a beat for another
    };

    int Condition(int lead, int x);
    void Learn(int v);
    void WaitBelow(int v);
    int Search(int v);
    void Refractory(int v);
    void CountSample();
    void ResetExtremes();
    void TakeExtremes(int v);
    int ThresholdFromExtremes() const;

    int m_fs;                  // samples per second
    int m_acFreq;              // Hz; below 1: no notch
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
    CLengthTransform m_length;
    std::array<CLowpassFilter2, 3> m_lowpass;            // one per lead; the one-lead form uses the first
    std::array<CHighpassFilter, 3> m_highpass;           // likewise
    std::array<std::optional<CNotchFilter>, 3> m_notch;  // likewise; empty without mains frequency
};
