// CrtRRdetect: finds QRS complexes in a running ECG, one sample at a time, and reports the RR interval of
// each beat in samples.
//
//   input -> mains notch (optional) -> low-pass 5 Hz -> high-pass 12 Hz -> curve length 100 ms ->
//   BeatThreshold
//
// Delay: a beat is found where the curve length crosses the threshold, some 20 ms after the R peak of a
// narrow QRS. Only the constructor allocates. One
// object belongs to one thread.
#pragma once

#include <array>
#include <optional>

#include "core/Export.h"
#include "core/detect/BeatThreshold.h"
#include "core/detect/CLengthTransform.h"
#include "core/filters/CHighpassFilter.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/filters/CNotchFilter.h"

class QZ_API CrtRRdetect {
public:
    static constexpr double kLowpassHz = 5.0;
    static constexpr double kHighpassHz = 12.0;
    static constexpr double kNotchQ = 40.0;
    static constexpr int kCurveWindowMs = 100;

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
    /// The state machine alone, on one curve-length value; see BeatThreshold::Step.
    int RRdetect(int v) { return m_threshold.Step(v); }

private:
    int Condition(int lead, int x);

    int m_fs;      // samples per second
    int m_acFreq;  // Hz; below 1: no notch
    BeatThreshold m_threshold;
    CLengthTransform m_length;
    std::array<CLowpassFilter2, 3> m_lowpass;            // one per lead; the one-lead form uses the first
    std::array<CHighpassFilter, 3> m_highpass;           // likewise
    std::array<std::optional<CNotchFilter>, 3> m_notch;  // likewise; empty without mains frequency
};
